// The scanner's link, image, script, frame and base readers.
#include "parser/OrelParser.h"

#include "common/Log.h"
#include "parser/OrelParserText.h"
#include "parser/OrelXmlTag.h"

namespace orel {

namespace {

constexpr int valueCap = 1000;

inline bool isLetter(signed char b, char lower)
{
    return b == lower || b == lower - ('a' - 'A');
}

const QString &mcmsZref()
{
    static const QString text = QStringLiteral("MCMS zref");
    return text;
}

} // namespace

void OrelParser::trimThisCharacter(char c, char *url)
{
    size_t n = std::strlen(url);
    while (n > 0 && url[n - 1] == c)
        url[--n] = 0;
    size_t start = 0;
    while (start < n && url[start] == c)
        ++start;
    if (start > 0)
        std::memmove(url, url + start, n - start + 1);
}

void OrelParser::trimWhitespaceFromUrl(char *url)
{
    // Below 33 as a signed byte: spaces, controls and every byte with the high bit set.
    size_t n = std::strlen(url);
    while (n > 0 && static_cast<signed char>(url[n - 1]) < 33)
        url[--n] = 0;
    size_t start = 0;
    while (start < n && static_cast<signed char>(url[start]) < 33)
        ++start;
    if (start > 0)
        std::memmove(url, url + start, n - start + 1);
}

bool OrelParser::moveToStartOfUrl()
{
    m_zrefFound = false;
    m_insideQuotes = false;
    m_insideSingleQuotes = false;
    for (;;) {
        // Find an "h" or "z" that starts an attribute name: the byte before it must be 32 or
        // less as a signed byte.
        signed char before;
        do {
            before = m_aBuffer;
            if (!getNextByte() || m_aBuffer == '>')
                return false;
        } while (!isLetter(m_aBuffer, 'h') && !isLetter(m_aBuffer, 'z'));
        m_zrefFound = isLetter(m_aBuffer, 'z');
        if (!getNextByte() || m_aBuffer == '>')
            return false;
        if (before > 32)
            continue;
        if (!isLetter(m_aBuffer, 'r'))
            continue;
        if (!getNextByte() || m_aBuffer == '>')
            return false;
        if (!isLetter(m_aBuffer, 'e'))
            continue;
        if (!getNextByte() || m_aBuffer == '>')
            return false;
        if (!isLetter(m_aBuffer, 'f'))
            continue;
        break;
    }
    if (!getNextByte() || m_aBuffer == '>')
        return false;
    // Skip "=", quotes, spaces and line breaks; a repeated quote of the same kind is an empty
    // value and stops the skip on itself.
    for (;;) {
        if (m_aBuffer == '"') {
            if (m_insideQuotes)
                return true;
            m_insideQuotes = true;
        } else if (m_aBuffer == '\'') {
            if (m_insideSingleQuotes)
                return true;
            m_insideSingleQuotes = true;
        } else if (m_aBuffer != ' ' && m_aBuffer != '=' && m_aBuffer != '\n' && m_aBuffer != '\r') {
            return true;
        }
        if (!getNextByte())
            return false;
    }
}

bool OrelParser::moveToStartOfSrc()
{
    m_insideQuotes = false;
    m_insideSingleQuotes = false;
    // "src" anywhere in the tag, so data-src and srcset count too.
    for (;;) {
        if (m_aBuffer == '>')
            return false;
        if (isLetter(m_aBuffer, 's')) {
            if (!getNextByte() || m_aBuffer == '>')
                return false;
            if (!isLetter(m_aBuffer, 'r'))
                continue;
            if (!getNextByte() || m_aBuffer == '>')
                return false;
            if (!isLetter(m_aBuffer, 'c'))
                continue;
            break;
        }
        if (!getNextByte())
            return false;
    }
    while (m_aBuffer != '=') {
        if (!getNextByte() || m_aBuffer == '>')
            return false;
    }
    do {
        if (!getNextByte())
            return false;
    } while (m_aBuffer == ' ');
    if (m_aBuffer == '"' || m_aBuffer == '\'') {
        (m_aBuffer == '"' ? m_insideQuotes : m_insideSingleQuotes) = true;
        return getNextByte();
    }
    return m_aBuffer != '>';
}

bool OrelParser::digOutAlt()
{
    m_insideQuotes = false;
    if (m_aBuffer == '>') // already at the end of the tag (an unquoted src)
        return false;
    for (;;) {
        if (!getNextByte() || m_aBuffer == '>')
            return false;
        while (isLetter(m_aBuffer, 'a')) {
            if (!getNextByte() || m_aBuffer == '>')
                return false;
            if (!isLetter(m_aBuffer, 'l'))
                continue;
            if (!getNextByte() || m_aBuffer == '>')
                return false;
            if (!isLetter(m_aBuffer, 't'))
                continue;
            do {
                if (!getNextByte())
                    return false;
            } while (m_aBuffer == ' ' || m_aBuffer == '=');
            if (m_aBuffer == '"') {
                m_insideQuotes = true;
                return true;
            }
            if (m_aBuffer == '\'') {
                m_insideSingleQuotes = true;
                return true;
            }
            return false; // an unquoted alt is not read
        }
    }
}

bool OrelParser::isThisNofollow() const
{
    if (!m_bytes || m_counter >= m_l)
        return false;
    const char *from = m_bytes + m_counter;
    size_t n = size_t(m_l - m_counter);
    if (const void *end = std::memchr(from, '>', n))
        n = static_cast<size_t>(static_cast<const char *>(end) - from);
    return parsertext::containsIgnoringCase(from, static_cast<qsizetype>(n), "nofollow");
}

void OrelParser::readToEndOfTag()
{
    while (m_aBuffer != '>') {
        if (!getNextByte())
            return;
    }
}

void OrelParser::skipValue()
{
    const signed char closing = m_insideQuotes ? '"' : m_insideSingleQuotes ? '\'' : ' ';
    while (m_aBuffer != closing && m_aBuffer != '>') {
        if (!getNextByte())
            return;
    }
    readToEndOfTag();
}

QString OrelParser::readValue(ValueKind kind, bool trim)
{
    const signed char closing = m_insideQuotes ? '"' : m_insideSingleQuotes ? '\'' : ' ';
    char buf[valueCap + 1];
    int n = 0;
    bool more = true;
    if (!m_seoOn) {
        // The same steps as below with the cursor in locals: writes to buf could otherwise
        // alias the parser's fields and force a reload of each one for every byte.
        const char *const p = m_bytes;
        const qsizetype end = m_l;
        qsizetype i = m_counter;
        signed char c = m_aBuffer;
        while (c != closing && c != '>') {
            if (static_cast<unsigned char>(c) >= 32 && n < valueCap)
                buf[n++] = static_cast<char>(c);
            if (i >= end) {
                more = false;
                break;
            }
            c = static_cast<signed char>(p[i++]);
        }
        m_counter = i;
        m_aBuffer = c;
    } else {
        while (m_aBuffer != closing && m_aBuffer != '>') {
            if (static_cast<unsigned char>(m_aBuffer) >= 32 && n < valueCap)
                buf[n++] = static_cast<char>(m_aBuffer);
            if (!getNextByte()) {
                more = false;
                break;
            }
        }
    }
    buf[n] = 0;
    if (more && kind != ValueKind::Image)
        readToEndOfTag();
    if (trim) {
        trimThisCharacter('\'', buf);
        trimThisCharacter('"', buf);
        trimThisCharacter(' ', buf);
    }
    const size_t length = std::strlen(buf);
    QString url = valueString(buf, static_cast<qsizetype>(length));
    // Most values need none of the replacements; one look at the bytes saves four scans.
    bool plain = true;
    for (size_t i = 0; i < length && plain; ++i) {
        const char c = buf[i];
        plain = c != '&' && c != ' ' && c != '{' && c != '}';
    }
    if (plain)
        return url;
    unescapeEntities(url);
    url.replace(QLatin1Char(' '), QLatin1String("%20"));
    if (kind == ValueKind::Anchor) {
        url.replace(QLatin1Char('{'), QLatin1String("%7B"));
        url.replace(QLatin1Char('}'), QLatin1String("%7D"));
    }
    return url;
}

// A crawl reads tens of link values per page and drops each before asking for the next, so an
// ASCII value is written into a buffer kept between calls; a value still held elsewhere makes
// this call start a new one (implicit sharing). Same text as parsertext::urlString().
QString OrelParser::valueString(const char *text, qsizetype n)
{
    for (qsizetype i = 0; i < n; ++i) {
        if (static_cast<unsigned char>(text[i]) >= 0x80)
            return parsertext::urlString(text, n);
    }
    if (n == 0)
        return parsertext::urlString(text, n);
    if (m_valueBuffer.isDetached() && m_valueBuffer.capacity() >= n) {
        m_valueBuffer.resize(n);
    } else {
        m_valueBuffer = QString();
        m_valueBuffer.reserve(qMax<qsizetype>(n, 128));
        m_valueBuffer.resize(n);
    }
    QChar *out = m_valueBuffer.data();
    for (qsizetype i = 0; i < n; ++i)
        out[i] = QLatin1Char(text[i]);
    return m_valueBuffer;
}

std::optional<QString> OrelParser::getNextHref(bool checkImages, bool trim)
{
    if (!m_bytes) {
        log(QStringLiteral("getNextHref returning nil (no data)"));
        return std::nullopt;
    }
    if (m_plaintextmode)
        return getNextHttp();
    if (m_xmlmode)
        return getNextXml();
    ValueKind kind;
    for (;;) {
        if (m_counter >= m_l || !moveIntoNextTag())
            return std::nullopt;
        m_lastWasImg = false;
        // Every recogniser below first skips spaces and then needs its own first letter; any
        // other byte fails them all without reading, so such tags are passed over at once.
        switch (m_aBuffer) {
        case ' ':
        case 'a':
        case 'A':
        case 's':
        case 'S':
        case 'f':
        case 'F':
            break;
        case 'i':
        case 'I':
            if (checkImages)
                break;
            continue;
        default:
            continue;
        }
        if (isThisAnATag()) {
            if (!m_followNofollow)
                m_nofollow = false;
            else if (m_headContainsNofollow)
                m_nofollow = true;
            else
                m_nofollow = isThisNofollow();
            if (moveToStartOfUrl()) {
                kind = ValueKind::Anchor;
                break;
            }
            continue;
        }
        if (isThisAScriptTag()) {
            // Nothing inside a script is a link; its own src is not one either.
            m_isScriptOrComment = true;
            do {
                if (!moveIntoNextTag()) {
                    m_isScriptOrComment = false;
                    return std::nullopt;
                }
            } while (!isThisEndScriptTag());
            m_isScriptOrComment = false;
            continue;
        }
        if (isThisAFrameTag()) {
            if (moveToStartOfSrc()) {
                kind = ValueKind::Frame;
                break;
            }
            continue;
        }
        if (checkImages && isThisAnImgTag()) {
            if (moveToStartOfSrc()) {
                kind = ValueKind::Image;
                break;
            }
            continue;
        }
    }
    if (kind == ValueKind::Anchor && m_zrefFound) {
        // The value is passed over unread, so that getData() starts at the link text.
        skipValue();
        return mcmsZref();
    }
    QString url = readValue(kind, trim);
    // The cursor stays inside an img tag so that getData() can still find its alt text.
    if (kind == ValueKind::Image)
        m_lastWasImg = true;
    return url;
}

std::optional<QString> OrelParser::getNextImg()
{
    if (!m_bytes) {
        log(QStringLiteral("getNextHref returning nil (no data)"));
        return std::nullopt;
    }
    for (;;) {
        if (m_counter >= m_l || !moveIntoNextTag())
            return std::nullopt;
        if (isThisAnImgTag() && moveToStartOfSrc())
            return readValue(ValueKind::Resource, true);
    }
}

std::optional<QString> OrelParser::getNextScriptSrc()
{
    if (!m_bytes) {
        log(QStringLiteral("getNextScriptSrc returning nil (no data)"));
        return std::nullopt;
    }
    for (;;) {
        if (m_counter >= m_l || !moveIntoNextTag())
            return std::nullopt;
        if (isThisAScriptTag() && moveToStartOfSrc())
            return readValue(ValueKind::Resource, true);
    }
}

std::optional<QString> OrelParser::getNextHttp()
{
    if (!m_bytes || !getNextByte())
        return std::nullopt;
    auto separator = [](signed char b) { return static_cast<unsigned char>(b) <= 32 || b == ','; };
    while (separator(m_aBuffer)) {
        if (!getNextByte())
            return std::nullopt;
    }
    char buf[valueCap + 1];
    int n = 0;
    do {
        if (static_cast<unsigned char>(m_aBuffer) >= 32 && n < valueCap)
            buf[n++] = static_cast<char>(m_aBuffer);
    } while (getNextByte() && !separator(m_aBuffer));
    buf[n] = 0;
    trimThisCharacter('\'', buf);
    trimThisCharacter('"', buf);
    QString url = parsertext::urlString(buf, static_cast<qsizetype>(std::strlen(buf)));
    unescapeEntities(url);
    url.replace(QLatin1Char(' '), QLatin1String("%20"));
    return url;
}

std::optional<QString> OrelParser::getNextXml()
{
    TagBytes tag;
    while (readTagBytes(false, tag)) {
        if (!tag.closing && parsertext::equalsIgnoringCase(tag.buf, tag.n, "loc")) {
            QString text = getData();
            text.remove(QLatin1Char('\r'));
            text.remove(QLatin1Char('\n'));
            return text;
        }
    }
    return std::nullopt;
}

std::optional<QString> OrelParser::findTagHref(bool (OrelParser::*recogniser)())
{
    for (;;) {
        if (!m_bytes || m_counter >= m_l) {
            log(QStringLiteral("reached end of file"));
            return std::nullopt;
        }
        if (!moveIntoNextTag())
            return std::nullopt;
        if ((this->*recogniser)() && moveToStartOfUrl())
            break;
    }
    if (m_zrefFound)
        return mcmsZref();
    const signed char closing = m_insideQuotes ? '"' : m_insideSingleQuotes ? '\'' : ' ';
    char buf[valueCap + 1];
    int n = 0;
    bool more = true;
    while (m_aBuffer != closing && m_aBuffer != '"' && m_aBuffer != '\'' && m_aBuffer != '>') {
        if (n < valueCap)
            buf[n++] = static_cast<char>(m_aBuffer);
        if (!getNextByte()) {
            more = false;
            break;
        }
    }
    buf[n] = 0;
    if (more)
        readToEndOfTag();
    trimThisCharacter('"', buf);
    trimThisCharacter('\'', buf);
    trimWhitespaceFromUrl(buf);
    QString url = parsertext::urlString(buf, static_cast<qsizetype>(std::strlen(buf)));
    unescapeEntities(url);
    url.replace(QLatin1Char(' '), QLatin1String("%20"));
    return url;
}

std::optional<QString> OrelParser::findBaseHref()
{
    reset();
    std::optional<QString> found = findTagHref(&OrelParser::isThisABaseTag);
    if (!found || *found == mcmsZref())
        return found;
    QString base = *found;
    if (base.isEmpty() || base == QLatin1String("/"))
        return QLatin1String("");
    // Hosts written without a scheme get "http://".
    if (base.startsWith(QLatin1String("//")))
        base.prepend(QLatin1String("http:"));
    if (base.size() >= 3 && base.size() <= 6)
        return QLatin1String("http://") + base;
    if (!base.contains(QLatin1String("://")) && base.size() > 2)
        base.prepend(QLatin1String("http://"));
    return base;
}

std::optional<QString> OrelParser::findNextLinkHref()
{
    // The value as written (no scheme added): these are stylesheets and other resources that
    // the caller resolves against the base.
    return findTagHref(&OrelParser::isThisALinkTag);
}

QString OrelParser::pullOutHref(const QString &text)
{
    return parsertext::quotedValueAfter(text, QLatin1String("href"));
}

bool OrelParser::compareIgnoringTrailingSlash(const QString &a, const QString &b)
{
    if (a.compare(b, Qt::CaseInsensitive) == 0)
        return true;
    QString x = a;
    QString y = b;
    if (x.endsWith(QLatin1Char('/')))
        x.chop(1);
    if (y.endsWith(QLatin1Char('/')))
        y.chop(1);
    return x.compare(y, Qt::CaseInsensitive) == 0;
}

} // namespace orel
