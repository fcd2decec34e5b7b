// Text of the scanner: bytes decoded to text, and the link texts and alternative texts read at
// the cursor.
#include "parser/OrelParser.h"

#include "parser/OrelParserText.h"

#include <QStringDecoder>

#include <array>
#include <cstring>

namespace orel {

namespace parsertext {

// Characters of Windows-1252 for the bytes 0x80-0x9F, which ISO Latin 1 gives to C1 controls:
// browsers show Latin 1 pages this way, and such pages use these bytes for quotes, dashes and
// the euro sign. The five bytes that Windows-1252 leaves undefined stay C1 controls.
constexpr char16_t windows1252High[32] = { 0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020,
                                           0x2021, 0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D,
                                           0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D,
                                           0x2022, 0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A,
                                           0x0153, 0x009D, 0x017E, 0x0178 };

// Text with bytes beyond ASCII (or none): UTF-8, else Latin 1 as browsers read it.
static QString decodeNonAscii(const char *text, qsizetype n)
{
    QStringDecoder utf8(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    QString s = utf8.decode(QByteArrayView(text, n));
    if (!utf8.hasError())
        return s;
    s = QString::fromLatin1(text, n);
    for (QChar &c : s) {
        if (c.unicode() >= 0x80 && c.unicode() <= 0x9F)
            c = QChar(windows1252High[c.unicode() - 0x80]);
    }
    return s;
}

QString decode(const char *text, qsizetype n)
{
    QString s;
    decode(text, n, s);
    return s;
}

void decode(const char *text, qsizetype n, QString &into)
{
    // Plain ASCII reads the same in every encoding.
    qsizetype i = 0;
    while (i < n && static_cast<unsigned char>(text[i]) < 0x80)
        ++i;
    if (n > 0 && i == n) {
        into = QLatin1StringView(text, n);
        return;
    }
    into = decodeNonAscii(text, n);
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
    const signed char closing = m_insideQuotes ? '"' : m_insideSingleQuotes ? '\'' : ' ';
    QByteArray alt;
    while (getNextByte()) {
        if (m_aBuffer == closing || m_aBuffer == '>')
            break;
        if (static_cast<unsigned char>(m_aBuffer) >= 32)
            alt.append(static_cast<char>(m_aBuffer));
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
    if (m_plaintextmode)
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
    if (m_lastWasImg) {
        run.add("[img src]");
        addAlt();
    } else {
        // Without word counting the bytes up to the next "<" are taken in one copy; the loop
        // below then meets the "<" (or the end, or the cap) exactly as it would have.
        if (!m_seoOn && m_counter < m_l) {
            const qsizetype avail = qMin<qsizetype>(m_l - m_counter, textCap - run.n);
            const char *start = m_bytes + m_counter;
            const auto *lt = static_cast<const char *>(std::memchr(start, '<', size_t(avail)));
            const int take = static_cast<int>(lt ? lt - start : avail);
            if (take > 0) {
                std::memcpy(run.buf.data() + run.n, start, size_t(take));
                run.n += take;
                m_counter += take;
                m_aBuffer = static_cast<signed char>(start[take - 1]);
            }
        }
        while (run.n < textCap && getNextByte()) {
            if (m_aBuffer == '<') {
                m_lastTagPassed = m_counter;
                if (getNextByte() && isThisAnImgTag()) {
                    run.add("[linked img]");
                    addAlt();
                }
                // Step back so that the next reader sees this tag again.
                m_counter = m_lastTagPassed - 1;
                break;
            }
            run.add(static_cast<char>(m_aBuffer));
        }
    }
    int n = run.n;
    if (const void *zero = std::memchr(run.buf.data(), 0, static_cast<size_t>(n)))
        n = static_cast<int>(static_cast<const char *>(zero) - run.buf.data());
    if (n == 0) {
        text = QLatin1String("");
        return;
    }
    parsertext::decode(run.buf.data(), n, text);
    if (text.size() == 1
        && (text[0] == QLatin1Char(' ') || text[0] == QLatin1Char('\r')
            || text[0] == QLatin1Char('\n') || text[0] == QLatin1Char('\t'))) {
        text = QLatin1String("");
        return;
    }
    text = std::move(text).trimmed(); // in place: no second string
    unescapeEntities(text);
}

} // namespace orel
