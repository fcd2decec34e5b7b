// The scanner's construction, cursor, tag recognisers and XML tag reading.
#include "parser/OrelParser.h"

#include "common/LocalFile.h"
#include "common/Log.h"
#include "links/SynchronousFetch.h"
#include "parser/OrelDbItem.h"
#include "parser/OrelParserText.h"
#include "parser/OrelXmlTag.h"

#include <QDir>

#include <cstring>

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

OrelParser::OrelParser() = default;
OrelParser::~OrelParser() = default;

void OrelParser::setBytes(const QByteArray &bytesIn)
{
    m_data = bytesIn;
    m_bytes = m_data.isNull() ? nullptr : m_data.constData();
    // Positions are 64-bit, so a page of any size is read to its last byte.
    m_l = m_data.size();
}

std::unique_ptr<OrelParser> OrelParser::initWithData(const QByteArray &pageData,
                                                     const QString &userAgent, bool seo,
                                                     bool cachePage, bool checkNoIndex,
                                                     bool checkNofollow)
{
    Q_UNUSED(userAgent);
    Q_UNUSED(seo); // word counting stays off for pages of a crawl
    std::unique_ptr<OrelParser> p(new OrelParser);
    p->m_seoOn = false;
    p->m_endHead = 0;
    p->m_wordCount = 0;
    p->m_characterCount = 0;
    p->m_insideWord = false;
    p->m_insideBrackets = true;
    p->m_isScriptOrComment = false;
    p->m_plaintextmode = false;
    p->m_xmlmode = false;
    p->m_followNofollow = checkNofollow;
    if (pageData.isNull()) {
        log(QStringLiteral("data is invalid"));
        return nullptr;
    }
    p->setBytes(pageData);
    p->m_metatitle = p->findTitle();
    p->reset();
    const std::optional<QString> base = p->findBaseHref();
    if (base && !base->isEmpty()) {
        QUrl url(*base);
        if (url.isValid())
            p->m_codebase = url;
    }
    p->reset();
    if (checkNoIndex) {
        p->m_shouldBeIndexed = !p->headContainsNoIndex();
        p->reset();
    } else {
        p->m_shouldBeIndexed = true;
    }
    if (checkNofollow) {
        p->m_headContainsNofollow = p->headContainsNoFollow();
        p->reset();
    } else {
        p->m_headContainsNofollow = false;
    }
    Q_UNUSED(cachePage); // keeping the page is the archive's work; nothing to do here
    return p;
}

std::unique_ptr<OrelParser> OrelParser::initWithUrl(const QString &urlString,
                                                    const QString &userAgent)
{
    std::unique_ptr<OrelParser> p(new OrelParser);
    p->m_plaintextmode = false;
    p->m_headContainsNofollow = false;
    if (hasSkippedExtension(urlString)) {
        p->m_l = 0;
        return nullptr;
    }
    const QUrl url(urlString, QUrl::StrictMode);
    if (urlString.isEmpty() || !url.isValid() || url.isRelative()) {
        log(QStringLiteral("url is badly formed"));
        return nullptr;
    }

    // The same request as a crawl's fetch, with the scanner's own time-out.
    const FetchResult fetched =
            fetchSynchronously(fetchRequest(QString::fromLatin1(url.toEncoded()), userAgent, 60));
    if (!fetched.ok()) {
        p->m_l = 0;
        return nullptr;
    }
    p->setBytes(fetched.body.isNull() ? QByteArray("") : fetched.body);
    bool hasContentType = false;
    const QByteArray contentType = fetched.contentType(&hasContentType);
    if (!hasContentType) {
        log(QStringLiteral("can't establish content type for %1").arg(urlString));
        return nullptr;
    }
    if (!contentType.contains("html"))
        return nullptr;
    const QString effectiveUrl = fetched.finalUrl();
    p->m_initialStatus = static_cast<qint32>(fetched.statusCode());
    p->m_metatitle = p->findTitle();
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
        p->m_codebase = baseUrl;
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
    p->m_plaintextmode = true;
    p->setBytes(all->isNull() ? QByteArray("") : *all);
    p->m_indent = 0;
    return p;
}

void OrelParser::setXMLMode()
{
    m_xmlmode = true;
    log(QStringLiteral("setting xml mode"));
}

void OrelParser::reset()
{
    m_counter = 0;
    m_wordCount = 0;
    m_characterCount = 0;
    // A stale "<" from an earlier walk must not count as the start of a tag at offset 0.
    m_aBuffer = 0;
    m_lastWasImg = false;
    m_isScriptOrComment = false;
}

void OrelParser::curlUpAndDie()
{
    m_metatitle.clear();
    m_data = QByteArray();
    m_bytes = nullptr;
    m_l = 0;
    m_counter = 0;
    m_codebase.reset();
}

std::optional<QUrl> OrelParser::getBaseHref() const
{
    return m_codebase;
}

void OrelParser::countWord()
{
    // Called from getNextByte() before the cursor moves on.
    if (m_counter <= m_endHead || m_isScriptOrComment)
        return;
    const signed char b = m_aBuffer;
    if (b == '>') {
        m_insideBrackets = false;
        m_insideWord = false;
        return;
    }
    if (b == '<') {
        m_insideBrackets = true;
        m_insideWord = false;
        return;
    }
    if (m_insideBrackets)
        return;
    if (b >= 1 && b <= 38) {
        m_insideWord = false;
    } else if (!m_insideWord) {
        m_insideWord = true;
        ++m_wordCount;
    }
}

bool OrelParser::moveIntoNextTag()
{
    for (;;) {
        if (m_aBuffer == '<') {
            if (!getNextByte())
                return false;
            if (m_aBuffer != '!') {
                m_lastTagPassed = m_counter;
                return true;
            }
            if (!getNextByte())
                return false;
            if (m_aBuffer == '-') {
                // A comment ends at the first ">" directly after one or more dashes; the dash
                // that opened it does not count. Word counting is off inside, so the search can
                // jump from ">" to ">".
                m_isScriptOrComment = true;
                const qsizetype start = m_counter;
                for (;;) {
                    const void *hit = m_counter < m_l
                            ? std::memchr(m_bytes + m_counter, '>', size_t(m_l - m_counter))
                            : nullptr;
                    if (!hit) {
                        if (m_counter < m_l) {
                            m_aBuffer = static_cast<signed char>(m_bytes[m_l - 1]);
                            m_counter = m_l;
                        }
                        m_isScriptOrComment = false;
                        return false;
                    }
                    const qsizetype at = static_cast<const char *>(hit) - m_bytes;
                    m_counter = at + 1;
                    m_aBuffer = '>';
                    if (at - 1 >= start && m_bytes[at - 1] == '-')
                        break;
                }
                m_isScriptOrComment = false;
            }
        }
        if (!m_seoOn) {
            // Without word counting every byte up to the next "<" would only be looked at and
            // dropped, so jump straight to it.
            const void *hit = m_counter < m_l
                    ? std::memchr(m_bytes + m_counter, '<', size_t(m_l - m_counter))
                    : nullptr;
            if (!hit) {
                if (m_counter < m_l) {
                    m_aBuffer = static_cast<signed char>(m_bytes[m_l - 1]);
                    m_counter = m_l;
                }
                return false;
            }
            m_counter = static_cast<const char *>(hit) - m_bytes + 1;
            m_aBuffer = '<';
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
    while (m_aBuffer == ' ') {
        if (!getNextByte())
            return false;
    }
    for (const char *c = lower; *c; ++c) {
        if (*c == '/' ? m_aBuffer != '/' : !isLetter(m_aBuffer, *c))
            return false;
        if (!getNextByte())
            return false;
    }
    return after(m_aBuffer);
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
    while (m_aBuffer == ' ') {
        if (!getNextByte())
            return false;
    }
    if (!isLetter(m_aBuffer, 'a'))
        return false;
    if (!getNextByte())
        return false;
    // A tab or ">" right after the "a" is not accepted.
    if (m_aBuffer == ' ' || m_aBuffer == '\n' || m_aBuffer == '\r')
        return true;
    if (!isLetter(m_aBuffer, 'r'))
        return false;
    if (!getNextByte() || !isLetter(m_aBuffer, 'e'))
        return false;
    if (!getNextByte() || m_aBuffer == '>')
        return false;
    return isLetter(m_aBuffer, 'a');
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
    if (m_aBuffer != '>') {
        // The first byte is the one in m_aBuffer; a "/" there marks a closing tag and is dropped.
        if (m_aBuffer == '/')
            tag.closing = true;
        else
            copy(static_cast<char>(m_aBuffer));
        if (m_seoOn) {
            for (;;) {
                if (!getNextByte())
                    return false;
                if (m_aBuffer == '>')
                    break;
                if (m_aBuffer == '/')
                    tag.closing = true;
                copy(static_cast<char>(m_aBuffer));
            }
        } else {
            const qsizetype from = m_counter;
            const void *hit =
                    from < m_l ? std::memchr(m_bytes + from, '>', size_t(m_l - from)) : nullptr;
            if (!hit) {
                if (from < m_l) {
                    m_aBuffer = static_cast<signed char>(m_bytes[m_l - 1]);
                    m_counter = m_l;
                }
                return false;
            }
            const qsizetype end = static_cast<const char *>(hit) - m_bytes;
            const size_t span = static_cast<size_t>(end - from);
            if (span && std::memchr(m_bytes + from, '/', span))
                tag.closing = true;
            const size_t room = static_cast<size_t>(TagBytes::cap - tag.n);
            const size_t take = span < room ? span : room;
            std::memcpy(tag.buf + tag.n, m_bytes + from, take);
            tag.n += static_cast<int>(take);
            m_counter = end + 1;
            m_aBuffer = '>';
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
    const QString text = parsertext::decode(raw.buf, raw.n);
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
            --m_indent;
        } else {
            // Only an opening tag names the levels above the rows.
            ++m_indent;
            if (m_indent == 2)
                m_grandParent = tag->getData();
            if (m_indent == 3) {
                m_parent = tag->getData();
                m_newParentPending = true;
            }
        }
        if (m_indent <= 0)
            return nullptr;
        if (m_indent >= 4) {
            // Element text is read even though a file parser is in plain-text mode.
            readText(m_content);
            if (m_content.isEmpty())
                return nullptr;
            auto item = std::make_unique<OrelDbItem>();
            item->setData(m_content);
            item->setName(tag->getData());
            item->setParentName(m_parent);
            item->setGrandParentName(m_grandParent);
            item->setNewParent(m_newParentPending);
            m_newParentPending = false;
            // readText() stepped back onto the "<" of the closing tag.
            getTag(false);
            --m_indent;
            return item;
        }
    }
}

} // namespace orel
