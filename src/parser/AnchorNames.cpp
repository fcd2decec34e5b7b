// The id and <a name> scan of a page.
#include "parser/AnchorNames.h"

#include <QString>

#include <algorithm>

namespace orel {

namespace {

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
}

bool isNameChar(char c)
{
    return !isSpace(c) && c != '>' && c != '/' && c != '=' && c != '<';
}

char lower(char c)
{
    return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c;
}

bool equalsIgnoringCase(QByteArrayView a, const char *b)
{
    const qsizetype n = qsizetype(qstrlen(b));
    if (a.size() != n)
        return false;
    for (qsizetype i = 0; i < n; ++i) {
        if (lower(a[i]) != b[i])
            return false;
    }
    return true;
}

// Position of the first case-insensitive match of needle (lower case) at or after from; -1.
qsizetype findIgnoringCase(const QByteArray &text, const char *needle, qsizetype from)
{
    const qsizetype n = qsizetype(qstrlen(needle));
    for (qsizetype i = from; i + n <= text.size(); ++i) {
        qsizetype k = 0;
        while (k < n && lower(text[i + k]) == needle[k])
            ++k;
        if (k == n)
            return i;
    }
    return -1;
}

// The value with entities decoded, as UTF-8; values without "&" are answered as they are.
QByteArray decoded(QByteArrayView value)
{
    if (!value.contains('&'))
        return value.toByteArray();
    QString text = QString::fromUtf8(value);
    static const std::pair<const char *, const char *> named[] = {
        { "&amp;", "&" }, { "&lt;", "<" }, { "&gt;", ">" }, { "&quot;", "\"" }, { "&apos;", "'" }
    };
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size();) {
        if (text[i] != QLatin1Char('&')) {
            out += text[i++];
            continue;
        }
        bool done = false;
        for (const auto &[entity, ch] : named) {
            if (QStringView(text).mid(i).startsWith(QLatin1String(entity))) {
                out += QLatin1String(ch);
                i += qsizetype(qstrlen(entity));
                done = true;
                break;
            }
        }
        const qsizetype semi = done ? -1 : text.indexOf(QLatin1Char(';'), i);
        if (!done && semi > i + 2 && semi - i < 12 && text[i + 1] == QLatin1Char('#')) {
            const QStringView digits = QStringView(text).mid(i + 2, semi - i - 2);
            bool ok = false;
            const uint code = digits.startsWith(QLatin1Char('x'), Qt::CaseInsensitive)
                    ? digits.mid(1).toUInt(&ok, 16)
                    : digits.toUInt(&ok, 10);
            if (ok && code > 0 && code <= 0x10FFFF) {
                const char32_t c = code;
                out += QString::fromUcs4(&c, 1);
                i = semi + 1;
                done = true;
            }
        }
        if (!done)
            out += text[i++];
    }
    return out.toUtf8();
}

} // namespace

quint64 AnchorNames::hashOf(QByteArrayView name)
{
    // FNV-1a: stable across runs, so stored names compare with fragments read later.
    quint64 h = 0xcbf29ce484222325ULL;
    for (const char c : name) {
        h ^= quint8(c);
        h *= 0x100000001b3ULL;
    }
    return h;
}

std::vector<quint64> AnchorNames::scan(const QByteArray &html)
{
    std::vector<quint64> names;
    const qsizetype size = html.size();
    qsizetype i = 0;
    while (i < size) {
        const qsizetype open = html.indexOf('<', i);
        if (open < 0)
            break;
        i = open + 1;
        if (html.mid(i, 3) == "!--") {
            const qsizetype end = html.indexOf("-->", i + 3);
            i = end < 0 ? size : end + 3;
            continue;
        }
        const qsizetype nameStart = i;
        while (i < size && isNameChar(html[i]))
            ++i;
        const QByteArrayView tag(html.constData() + nameStart, i - nameStart);
        if (tag.isEmpty()
            || !((tag[0] >= 'a' && tag[0] <= 'z') || (tag[0] >= 'A' && tag[0] <= 'Z')))
            continue;
        const bool anchor = equalsIgnoringCase(tag, "a");
        // Attributes up to the tag's end.
        while (i < size && html[i] != '>') {
            if (isSpace(html[i]) || html[i] == '/') {
                ++i;
                continue;
            }
            const qsizetype attrStart = i;
            while (i < size && isNameChar(html[i]))
                ++i;
            if (i == attrStart) {
                ++i; // a stray "=" or "<"
                continue;
            }
            const QByteArrayView attr(html.constData() + attrStart, i - attrStart);
            while (i < size && isSpace(html[i]))
                ++i;
            if (i >= size || html[i] != '=')
                continue;
            ++i;
            while (i < size && isSpace(html[i]))
                ++i;
            qsizetype valueStart = i;
            qsizetype valueEnd = i;
            if (i < size && (html[i] == '"' || html[i] == '\'')) {
                const qsizetype close = html.indexOf(html[i], i + 1);
                valueStart = i + 1;
                valueEnd = close < 0 ? size : close;
                i = close < 0 ? size : close + 1;
            } else {
                while (i < size && !isSpace(html[i]) && html[i] != '>')
                    ++i;
                valueEnd = i;
            }
            if (equalsIgnoringCase(attr, "id") || (anchor && equalsIgnoringCase(attr, "name"))) {
                const QByteArrayView value(html.constData() + valueStart, valueEnd - valueStart);
                if (!value.isEmpty())
                    names.push_back(hashOf(decoded(value)));
            }
        }
        if (i < size)
            ++i; // past ">"
        // Ids written inside scripts and style sheets are not elements of the page.
        if (equalsIgnoringCase(tag, "script") || equalsIgnoringCase(tag, "style")) {
            const qsizetype end = findIgnoringCase(
                    html, equalsIgnoringCase(tag, "script") ? "</script" : "</style", i);
            i = end < 0 ? size : end;
        }
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    names.shrink_to_fit();
    return names;
}

bool AnchorNames::contains(const std::vector<quint64> &names, QByteArrayView fragment)
{
    const QByteArray name = QByteArray::fromPercentEncoding(fragment.toByteArray());
    return std::binary_search(names.begin(), names.end(), hashOf(name));
}

} // namespace orel
