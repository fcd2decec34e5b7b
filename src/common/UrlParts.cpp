#include "common/UrlParts.h"

#include <QUrl>

#include <cstring>

namespace orel {

namespace {

bool isHostChar(char16_t c)
{
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' || c == '-';
}

// Characters of a URL's user info (RFC 3986: unreserved, percent escapes, sub-delims, ":").
bool isUserInfoChar(char16_t c)
{
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))
        return true;
    return c > 0 && c < 128 && std::strchr("-._~%!$&'()*+,;=:", char(c)) != nullptr;
}

bool isSchemeChar(char16_t c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '+'
            || c == '-' || c == '.';
}

// Splits "scheme://host[:port]" followed by the end, "/", "?" or "#"; false when any part is
// not plain, so that QUrl decides. The views point into url.
bool splitPlain(QStringView url, QStringView &scheme, QStringView &host, int &port)
{
    const qsizetype n = url.size();
    qsizetype i = 0;
    while (i < n && url[i] >= QLatin1Char('a') && url[i] <= QLatin1Char('z'))
        ++i;
    if (i == 0 || i + 2 >= n || url[i] != QLatin1Char(':') || url[i + 1] != QLatin1Char('/')
        || url[i + 2] != QLatin1Char('/'))
        return false;
    const qsizetype schemeEnd = i;
    const qsizetype hostStart = i + 3;
    i = hostStart;
    while (i < n && isHostChar(url[i].unicode()))
        ++i;
    const qsizetype hostEnd = i;
    // A host must start and end with a letter or digit (no empty labels at either end).
    if (hostEnd == hostStart || !url[hostStart].isLetterOrNumber()
        || !url[hostEnd - 1].isLetterOrNumber()
        || url.sliced(hostStart, hostEnd - hostStart).contains(u".."))
        return false;
    port = -1;
    if (i < n && url[i] == QLatin1Char(':')) {
        ++i;
        const qsizetype portStart = i;
        int value = 0;
        while (i < n && url[i] >= QLatin1Char('0') && url[i] <= QLatin1Char('9')
               && i - portStart < 5)
            value = value * 10 + (url[i++].unicode() - '0');
        if (i == portStart || (url[portStart] == QLatin1Char('0') && i - portStart > 1)
            || value > 65535)
            return false;
        port = value;
    }
    if (i < n && url[i] != QLatin1Char('/') && url[i] != QLatin1Char('?')
        && url[i] != QLatin1Char('#'))
        return false;
    scheme = url.first(schemeEnd);
    host = url.sliced(hostStart, hostEnd - hostStart);
    return true;
}

} // namespace

UrlParts UrlParts::of(const QString &url, bool encodedHost)
{
    UrlParts parts;
    QStringView scheme, host;
    if (splitPlain(url, scheme, host, parts.port)) {
        parts.scheme = scheme.toString();
        parts.host = host.toString();
        return parts;
    }
    const QUrl parsed(url);
    parts.scheme = parsed.scheme();
    parts.host = parsed.host(encodedHost ? QUrl::FullyEncoded : QUrl::FullyDecoded);
    parts.port = parsed.port();
    return parts;
}

QByteArray UrlParts::hostHeader(const QString &url)
{
    QStringView scheme, host;
    int port = -1;
    QByteArray out;
    if (splitPlain(url, scheme, host, port)) {
        out = host.toLatin1();
    } else {
        const QUrl parsed(url);
        QString name = parsed.host(QUrl::FullyEncoded);
        if (name.contains(QLatin1Char(':')))
            name = QLatin1Char('[') + name + QLatin1Char(']'); // an IPv6 address
        out = name.toLatin1();
        port = parsed.port();
    }
    if (port >= 0) {
        out += ':';
        out += QByteArray::number(port);
    }
    return out;
}

QString UrlParts::withoutUserInfo(const QString &text)
{
    qsizetype at = text.indexOf(QLatin1Char('@'));
    if (at < 0)
        return text;
    QString out = text;
    while (at >= 0) {
        // Back from the "@" over user-info characters; an authority begins after "scheme://".
        qsizetype start = at;
        while (start > 0 && isUserInfoChar(out.at(start - 1).unicode()))
            --start;
        const bool authority = start >= 4 && out.at(start - 1) == QLatin1Char('/')
                && out.at(start - 2) == QLatin1Char('/') && out.at(start - 3) == QLatin1Char(':')
                && isSchemeChar(out.at(start - 4).unicode());
        if (authority) {
            // A password holding a bare "@" leaves its tail as user info of its own: taken out
            // in turn.
            out.remove(start, at + 1 - start);
            at = out.indexOf(QLatin1Char('@'), start);
        } else {
            at = out.indexOf(QLatin1Char('@'), at + 1);
        }
    }
    return out;
}

QString UrlParts::stripHost(const QString &url)
{
    const qsizetype cut = QUrl(url).host().size() + 7;
    if (url.size() > cut + 1)
        return url.mid(cut);
    return url;
}

} // namespace orel
