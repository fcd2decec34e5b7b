// The scanner's construction, cursor, tag recognisers, text runs and XML tag reading.
#include "parser/OrelParser.h"

#include "common/LocalFile.h"
#include "common/Log.h"
#include "links/SynchronousFetch.h"
#include "parser/OrelDbItem.h"
#include "parser/OrelParserText.h"
#include "parser/OrelXmlTag.h"

#include <QDir>
#include <QStringDecoder>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

namespace orel {

namespace {

inline bool isLetter(signed char b, char lower)
{
    return b == lower || b == lower - ('a' - 'A');
}

// Extensions of files that are never fetched for scanning.
bool hasSkippedExtension(const QString &url)
{
    QString path = url;
    while (path.size() > 1 && path.endsWith(QLatin1Char('/')))
        path.chop(1);
    const QString last = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
    const qsizetype dot = last.lastIndexOf(QLatin1Char('.'));
    if (dot < 0)
        return false;
    const QString extension = last.mid(dot + 1).toUpper();
    static const char *const skipped[] = { "DOC", "MOV", "WAV", "MP3", "ZIP", "MPG", "MP4", "PDF" };
    for (const char *s : skipped) {
        if (extension == QLatin1String(s))
            return true;
    }
    return false;
}

} // namespace

namespace parsertext {

// Text with bytes beyond ASCII (or none): each encoding in turn.
static QString decodeNonAscii(const char *text, qsizetype n, bool *ok)
{
    if (ok)
        *ok = true;
    {
        QStringDecoder utf8(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
        QString s = utf8.decode(QByteArrayView(text, n));
        if (!utf8.hasError())
            return s;
    }
    // ISO Latin 1 maps every byte, so it is taken as failed when the bytes hold C1 controls
    // (0x80-0x9F), which real Latin 1 text never contains.
    bool c1 = false;
    for (qsizetype i = 0; i < n && !c1; ++i) {
        const auto b = static_cast<unsigned char>(text[i]);
        c1 = b >= 0x80 && b <= 0x9F;
    }
    if (!c1)
        return QString::fromLatin1(text, n);
    if (n % 2 == 0) {
        QStringDecoder utf16(QStringConverter::Utf16, QStringConverter::Flag::Stateless);
        QString s = utf16.decode(QByteArrayView(text, n));
        if (!utf16.hasError())
            return s;
    }
    bool ascii = true;
    for (qsizetype i = 0; i < n && ascii; ++i)
        ascii = static_cast<unsigned char>(text[i]) < 0x80;
    if (ascii)
        return QString::fromLatin1(text, n);
    if (ok)
        *ok = false;
    return QString();
}

QString decode(const char *text, qsizetype n, bool *ok)
{
    QString s;
    decode(text, n, s, ok);
    return s;
}

void decode(const char *text, qsizetype n, QString &into, bool *ok)
{
    // Plain ASCII reads the same in every encoding tried below.
    qsizetype i = 0;
    while (i < n && static_cast<unsigned char>(text[i]) < 0x80)
        ++i;
    if (n > 0 && i == n) {
        if (ok)
            *ok = true;
        into = QLatin1StringView(text, n);
        return;
    }
    into = decodeNonAscii(text, n, ok);
}

QString urlString(const char *text, qsizetype n)
{
    bool ascii = true;
    for (qsizetype i = 0; i < n && ascii; ++i)
        ascii = static_cast<unsigned char>(text[i]) < 0x80;
    if (ascii)
        return QString::fromLatin1(text, n);
    // Bytes above 127 are kept: as UTF-8 when they are valid UTF-8, else one character each.
    QStringDecoder utf8(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    QString s = utf8.decode(QByteArrayView(text, n));
    if (!utf8.hasError())
        return s;
    return QString::fromLatin1(text, n);
}

QByteArray asciiLossy(const QString &text)
{
    QByteArray out;
    out.reserve(text.size());
    for (QChar c : text)
        out.append(c.unicode() < 0x80 ? static_cast<char>(c.unicode()) : '?');
    return out;
}

bool equalsIgnoringCase(const char *text, qsizetype n, const char *lowerWord)
{
    const qsizetype m = static_cast<qsizetype>(std::strlen(lowerWord));
    if (n != m)
        return false;
    for (qsizetype i = 0; i < n; ++i) {
        char c = text[i];
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c + ('a' - 'A'));
        if (c != lowerWord[i])
            return false;
    }
    return true;
}

bool containsIgnoringCase(const char *text, qsizetype n, const char *lowerWord)
{
    const qsizetype m = static_cast<qsizetype>(std::strlen(lowerWord));
    for (qsizetype i = 0; i + m <= n; ++i) {
        qsizetype j = 0;
        for (; j < m; ++j) {
            char c = text[i + j];
            if (c >= 'A' && c <= 'Z')
                c = static_cast<char>(c + ('a' - 'A'));
            if (c != lowerWord[j])
                break;
        }
        if (j == m)
            return true;
    }
    return false;
}

} // namespace parsertext

OrelParser::OrelParser() = default;
OrelParser::~OrelParser() = default;

void OrelParser::setBytes(const QByteArray &bytesIn)
{
    data = bytesIn;
    bytes = data.isNull() ? nullptr : data.constData();
    // The cursor is a signed 32-bit index; bytes beyond its reach are never read.
    l = static_cast<quint32>(std::min<qsizetype>(data.size(), std::numeric_limits<qint32>::max()));
}

std::unique_ptr<OrelParser> OrelParser::initWithData(const QByteArray &pageData,
                                                     const QString &userAgent, bool seo,
                                                     bool cachePage, bool checkNoIndex,
                                                     bool checkNofollow)
{
    Q_UNUSED(userAgent);
    Q_UNUSED(seo); // word counting stays off for pages of a crawl
    std::unique_ptr<OrelParser> p(new OrelParser);
    p->seoOn = false;
    p->endHead = 0;
    p->wordCount = 0;
    p->characterCount = 0;
    p->insideWord = false;
    p->insideBrackets = true;
    p->isScriptOrComment = false;
    p->plaintextmode = false;
    p->xmlmode = false;
    p->followNofollow = checkNofollow;
    if (pageData.isNull()) {
        log(QStringLiteral("data is invalid"));
        return nullptr;
    }
    p->setBytes(pageData);
    p->metatitle = p->findTitle();
    p->reset();
    const std::optional<QString> base = p->findBaseHref();
    if (base && !base->isEmpty()) {
        QUrl url(*base);
        if (url.isValid())
            p->codebase = url;
    }
    p->reset();
    if (checkNoIndex) {
        p->shouldBeIndexed = !p->headContainsNoIndex();
        p->reset();
    } else {
        p->shouldBeIndexed = true;
    }
    if (checkNofollow) {
        p->headContainsNofollow = p->headContainsNoFollow();
        p->reset();
    } else {
        p->headContainsNofollow = false;
    }
    Q_UNUSED(cachePage); // keeping the page is the archive's work; nothing to do here
    return p;
}

std::unique_ptr<OrelParser> OrelParser::initWithUrl(const QString &urlString,
                                                    const QString &userAgent)
{
    std::unique_ptr<OrelParser> p(new OrelParser);
    p->plaintextmode = false;
    p->headContainsNofollow = false;
    if (hasSkippedExtension(urlString)) {
        p->l = 0;
        return nullptr;
    }
    const QUrl url(urlString, QUrl::StrictMode);
    if (urlString.isEmpty() || !url.isValid() || url.isRelative()) {
        log(QStringLiteral("url is badly formed"));
        return nullptr;
    }

    // The cache policy "reload, ignoring local data" needs nothing: there is no local cache.
    UrlRequest request;
    request.url = QString::fromLatin1(url.toEncoded());
    request.timeoutSeconds = 60;
    request.reloadIgnoringCache = true;
    request.setHeader("User-Agent", userAgent.toUtf8());
    const FetchResult fetched = fetchSynchronously(request);
    if (!fetched.ok()) {
        p->l = 0;
        return nullptr;
    }
    p->setBytes(fetched.body.isNull() ? QByteArray("") : fetched.body);
    bool hasContentType = false;
    const QByteArray contentType =
            headerValue(fetched.response->headers, "Content-Type", &hasContentType);
    if (!hasContentType) {
        log(QStringLiteral("can't establish content type for %1").arg(urlString));
        return nullptr;
    }
    if (!contentType.contains("html"))
        return nullptr;
    const QString effectiveUrl = fetched.finalUrl();
    p->initialStatus = static_cast<qint32>(fetched.statusCode());
    p->metatitle = p->findTitle();
    p->reset();
    const std::optional<QString> base = p->findBaseHref();
    QString baseText;
    if (!base || base->isEmpty()) {
        QString extended = urlString;
        const QString lastComponent = extended.mid(extended.lastIndexOf(QLatin1Char('/')) + 1);
        if (extended.size() > 1 && !extended.endsWith(QLatin1Char('/'))
            && !lastComponent.contains(QLatin1Char('.')))
            extended += QLatin1Char('/');
        baseText = effectiveUrl.isEmpty() ? extended : effectiveUrl;
    } else {
        baseText = *base;
    }
    const QUrl baseUrl(baseText);
    if (baseUrl.isValid())
        p->codebase = baseUrl;
    p->reset();
    return p;
}

std::unique_ptr<OrelParser> OrelParser::initWithFilePath(const QString &path)
{
    QString expanded = path;
    if (expanded == QLatin1String("~"))
        expanded = QDir::homePath();
    else if (expanded.startsWith(QLatin1String("~/")))
        expanded = QDir::homePath() + expanded.mid(1);
    // Only a regular file: a FIFO or a device would block or never end.
    const std::optional<QByteArray> all = LocalFile::readRegular(expanded);
    if (!all)
        return nullptr;
    std::unique_ptr<OrelParser> p(new OrelParser);
    p->plaintextmode = true;
    p->setBytes(all->isNull() ? QByteArray("") : *all);
    p->indent = 0;
    return p;
}

void OrelParser::setXMLMode()
{
    xmlmode = true;
    log(QStringLiteral("setting xml mode"));
}

void OrelParser::reset()
{
    counter = 0;
    wordCount = 0;
    characterCount = 0;
    // A stale "<" from an earlier walk must not count as the start of a tag at offset 0.
    aBuffer = 0;
    lastWasImg = false;
    isScriptOrComment = false;
}

void OrelParser::curlUpAndDie()
{
    metatitle.clear();
    data = QByteArray();
    bytes = nullptr;
    l = 0;
    counter = 0;
    codebase.reset();
}

std::optional<QUrl> OrelParser::getBaseHref() const
{
    return codebase;
}

void OrelParser::countWord()
{
    // Called from getNextByte() before the cursor moves on.
    if (counter <= endHead || isScriptOrComment)
        return;
    const signed char b = aBuffer;
    if (b == '>') {
        insideBrackets = false;
        insideWord = false;
        return;
    }
    if (b == '<') {
        insideBrackets = true;
        insideWord = false;
        return;
    }
    if (insideBrackets)
        return;
    if (b >= 1 && b <= 38) {
        insideWord = false;
    } else if (!insideWord) {
        insideWord = true;
        ++wordCount;
    }
}

bool OrelParser::moveIntoNextTag()
{
    for (;;) {
        if (aBuffer == '<') {
            if (!getNextByte())
                return false;
            if (aBuffer != '!') {
                lastTagPassed = counter;
                return true;
            }
            if (!getNextByte())
                return false;
            if (aBuffer == '-') {
                // A comment ends at the first ">" directly after one or more dashes; the dash
                // that opened it does not count. Word counting is off inside, so the search can
                // jump from ">" to ">".
                isScriptOrComment = true;
                const qint32 start = counter;
                for (;;) {
                    const void *hit = counter < static_cast<qint32>(l)
                            ? std::memchr(bytes + counter, '>', l - counter)
                            : nullptr;
                    if (!hit) {
                        if (counter < static_cast<qint32>(l)) {
                            aBuffer = static_cast<signed char>(bytes[l - 1]);
                            counter = static_cast<qint32>(l);
                        }
                        isScriptOrComment = false;
                        return false;
                    }
                    const qint32 at = static_cast<qint32>(static_cast<const char *>(hit) - bytes);
                    counter = at + 1;
                    aBuffer = '>';
                    if (at - 1 >= start && bytes[at - 1] == '-')
                        break;
                }
                isScriptOrComment = false;
            }
        }
        if (!seoOn) {
            // Without word counting every byte up to the next "<" would only be looked at and
            // dropped, so jump straight to it.
            const void *hit = counter < static_cast<qint32>(l)
                    ? std::memchr(bytes + counter, '<', l - counter)
                    : nullptr;
            if (!hit) {
                if (counter < static_cast<qint32>(l)) {
                    aBuffer = static_cast<signed char>(bytes[l - 1]);
                    counter = static_cast<qint32>(l);
                }
                return false;
            }
            counter = static_cast<qint32>(static_cast<const char *>(hit) - bytes) + 1;
            aBuffer = '<';
            continue;
        }
        if (!getNextByte())
            return false;
    }
}

// Skips spaces, then matches the letters of lower in either case, reading one byte past the
// last; after() judges that byte.
bool OrelParser::matchWord(const char *lower, bool (*after)(signed char))
{
    while (aBuffer == ' ') {
        if (!getNextByte())
            return false;
    }
    for (const char *c = lower; *c; ++c) {
        if (*c == '/' ? aBuffer != '/' : !isLetter(aBuffer, *c))
            return false;
        if (!getNextByte())
            return false;
    }
    return after(aBuffer);
}

namespace {
bool spaceAfter(signed char b)
{
    return b == ' ';
}
bool spaceOrCloseAfter(signed char b)
{
    return b == ' ' || b == '>';
}
bool anyAfter(signed char)
{
    return true;
}
} // namespace

bool OrelParser::isThisAnATag()
{
    while (aBuffer == ' ') {
        if (!getNextByte())
            return false;
    }
    if (!isLetter(aBuffer, 'a'))
        return false;
    if (!getNextByte())
        return false;
    // A tab or ">" right after the "a" is not accepted.
    if (aBuffer == ' ' || aBuffer == '\n' || aBuffer == '\r')
        return true;
    if (!isLetter(aBuffer, 'r'))
        return false;
    if (!getNextByte() || !isLetter(aBuffer, 'e'))
        return false;
    if (!getNextByte() || aBuffer == '>')
        return false;
    return isLetter(aBuffer, 'a');
}

bool OrelParser::isThisABaseTag()
{
    return matchWord("base", spaceAfter);
}

bool OrelParser::isThisALinkTag()
{
    return matchWord("link", spaceAfter);
}

bool OrelParser::isThisAnImgTag()
{
    return matchWord("img", spaceAfter);
}

bool OrelParser::isThisAHeadTag()
{
    return matchWord("head", spaceOrCloseAfter);
}

bool OrelParser::isThisAScriptTag()
{
    return matchWord("script", spaceOrCloseAfter);
}

bool OrelParser::isThisAFrameTag()
{
    return matchWord("frame", spaceOrCloseAfter);
}

bool OrelParser::isThisEndScriptTag()
{
    return matchWord("/script", anyAfter);
}

void OrelParser::unescapeEntities(QString &text)
{
    if (!text.contains(QLatin1Char('&')))
        return;
    text.replace(QLatin1String("&quot;"), QLatin1String("\""), Qt::CaseInsensitive);
    text.replace(QLatin1String("&amp;"), QLatin1String("&"), Qt::CaseInsensitive);
    text.replace(QLatin1String("&apos;"), QLatin1String("'"), Qt::CaseInsensitive);
    text.replace(QLatin1String("&lt;"), QLatin1String("<"), Qt::CaseInsensitive);
    text.replace(QLatin1String("&gt;"), QLatin1String(">"), Qt::CaseInsensitive);
}

namespace {
constexpr int textCap = 1500;

struct TextRun
{
    std::array<char, textCap> buf;
    int n = 0;
    void add(char c)
    {
        if (n < textCap)
            buf[static_cast<size_t>(n++)] = c;
    }
    void add(const char *s)
    {
        while (*s)
            add(*s++);
    }
};
} // namespace

QString OrelParser::altText()
{
    // The alt value runs to the quote that opened it (or ">"), control bytes left out.
    const signed char closing = insideQuotes ? '"' : insideSingleQuotes ? '\'' : ' ';
    QByteArray alt;
    while (getNextByte()) {
        if (aBuffer == closing || aBuffer == '>')
            break;
        if (static_cast<unsigned char>(aBuffer) >= 32)
            alt.append(static_cast<char>(aBuffer));
        if (alt.size() >= textCap)
            break;
    }
    return QString::fromLatin1(alt); // carries raw bytes; decoded with the rest of the run
}

QString OrelParser::getData()
{
    QString text;
    getData(text);
    return text;
}

void OrelParser::getData(QString &text)
{
    if (plaintextmode)
        text = QLatin1String("");
    else
        readText(text);
}

void OrelParser::readText(QString &text)
{
    TextRun run;
    auto addAlt = [&] {
        if (digOutAlt()) {
            run.add(':');
            const QString alt = altText();
            for (QChar c : alt)
                run.add(static_cast<char>(c.unicode()));
        }
    };
    if (lastWasImg) {
        run.add("[img src]");
        addAlt();
    } else {
        // Without word counting the bytes up to the next "<" are taken in one copy; the loop
        // below then meets the "<" (or the end, or the cap) exactly as it would have.
        if (!seoOn && counter < static_cast<qint32>(l)) {
            const qint32 avail = qMin(static_cast<qint32>(l) - counter, textCap - run.n);
            const char *start = bytes + counter;
            const auto *lt = static_cast<const char *>(std::memchr(start, '<', size_t(avail)));
            const qint32 take = lt ? static_cast<qint32>(lt - start) : avail;
            if (take > 0) {
                std::memcpy(run.buf.data() + run.n, start, size_t(take));
                run.n += take;
                counter += take;
                aBuffer = static_cast<signed char>(start[take - 1]);
            }
        }
        while (run.n < textCap && getNextByte()) {
            if (aBuffer == '<') {
                lastTagPassed = counter;
                if (getNextByte() && isThisAnImgTag()) {
                    run.add("[linked img]");
                    addAlt();
                }
                // Step back so that the next reader sees this tag again.
                counter = lastTagPassed - 1;
                break;
            }
            run.add(static_cast<char>(aBuffer));
        }
    }
    int n = run.n;
    if (const void *zero = std::memchr(run.buf.data(), 0, static_cast<size_t>(n)))
        n = static_cast<int>(static_cast<const char *>(zero) - run.buf.data());
    if (n == 0) {
        text = QLatin1String("");
        return;
    }
    parsertext::decode(run.buf.data(), n, text, nullptr);
    if (text.size() == 1
        && (text[0] == QLatin1Char(' ') || text[0] == QLatin1Char('\r')
            || text[0] == QLatin1Char('\n') || text[0] == QLatin1Char('\t'))) {
        text = QLatin1String("");
        return;
    }
    text = std::move(text).trimmed(); // in place: no second string
    unescapeEntities(text);
}

bool OrelParser::readTagBytes(bool alreadyInside, TagBytes &tag)
{
    if (!alreadyInside && !moveIntoNextTag())
        return false;
    tag.n = 0;
    tag.closing = false;
    auto copy = [&tag](char c) {
        if (tag.n < TagBytes::cap)
            tag.buf[tag.n++] = c;
    };
    if (aBuffer != '>') {
        // The first byte is the one in aBuffer; a "/" there marks a closing tag and is dropped.
        if (aBuffer == '/')
            tag.closing = true;
        else
            copy(static_cast<char>(aBuffer));
        if (seoOn) {
            for (;;) {
                if (!getNextByte())
                    return false;
                if (aBuffer == '>')
                    break;
                if (aBuffer == '/')
                    tag.closing = true;
                copy(static_cast<char>(aBuffer));
            }
        } else {
            const qint32 from = counter;
            const void *hit = from < static_cast<qint32>(l)
                    ? std::memchr(bytes + from, '>', l - from)
                    : nullptr;
            if (!hit) {
                if (from < static_cast<qint32>(l)) {
                    aBuffer = static_cast<signed char>(bytes[l - 1]);
                    counter = static_cast<qint32>(l);
                }
                return false;
            }
            const qint32 end = static_cast<qint32>(static_cast<const char *>(hit) - bytes);
            const size_t span = static_cast<size_t>(end - from);
            if (span && std::memchr(bytes + from, '/', span))
                tag.closing = true;
            const size_t room = static_cast<size_t>(TagBytes::cap - tag.n);
            const size_t take = span < room ? span : room;
            std::memcpy(tag.buf + tag.n, bytes + from, take);
            tag.n += static_cast<int>(take);
            counter = end + 1;
            aBuffer = '>';
        }
    }
    if (tag.n > 0 && tag.buf[tag.n - 1] == '/')
        --tag.n;
    return true;
}

std::unique_ptr<OrelXmlTag> OrelParser::getTag(bool alreadyInside)
{
    TagBytes raw;
    if (!readTagBytes(alreadyInside, raw))
        return nullptr;
    bool ok = true;
    const QString text = parsertext::decode(raw.buf, raw.n, &ok);
    if (!ok)
        return nullptr;
    auto tag = std::make_unique<OrelXmlTag>();
    tag->setData(text);
    tag->setClosing(raw.closing);
    return tag;
}

std::unique_ptr<OrelDbItem> OrelParser::getItem()
{
    for (;;) {
        std::unique_ptr<OrelXmlTag> tag = getTag(false);
        if (!tag)
            return nullptr;
        if (tag->isClosing()) {
            --indent;
        } else {
            // Only an opening tag names the levels above the rows.
            ++indent;
            if (indent == 2)
                grandParent = tag->getData();
            if (indent == 3) {
                parent = tag->getData();
                newParentPending = true;
            }
        }
        if (indent <= 0)
            return nullptr;
        if (indent >= 4) {
            // Element text is read even though a file parser is in plain-text mode.
            readText(content);
            if (content.isEmpty())
                return nullptr;
            auto item = std::make_unique<OrelDbItem>();
            item->setData(content);
            item->setName(tag->getData());
            item->setParentName(parent);
            item->setGrandParentName(grandParent);
            item->setNewParent(newParentPending);
            newParentPending = false;
            // readText() stepped back onto the "<" of the closing tag.
            getTag(false);
            --indent;
            return item;
        }
    }
}

} // namespace orel
