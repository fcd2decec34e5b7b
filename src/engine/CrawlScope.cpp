#include "engine/CrawlScope.h"

#include "common/TextLists.h"
#include "common/UrlResolution.h"

#include <QUrl>

namespace orel {

namespace {

// Last path component as the platform's path helpers give it: trailing slashes ignored.
QString lastPathComponent(const QString &path)
{
    qsizetype end = path.size();
    while (end > 1 && path.at(end - 1) == QLatin1Char('/'))
        --end;
    if (end == 1 && path.at(0) == QLatin1Char('/'))
        return QStringLiteral("/");
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'), end - 1);
    return path.mid(slash + 1, end - slash - 1);
}

} // namespace

QString CrawlScope::normaliseStartUrl(const QString &text)
{
    if (text.isEmpty() || text.contains(QLatin1String("://")))
        return text;
    if (text.size() < 7)
        return QStringLiteral("http://") + text;
    if (text.startsWith(QLatin1Char('/')) || text.startsWith(QLatin1String("/Volum"))
        || text.startsWith(QLatin1String("/Users")) || text.startsWith(QLatin1String("/Library"))) {
        QString path = unescapeXmlEntities(text);
        path.replace(QLatin1Char(' '), QLatin1String("%20"));
        return QStringLiteral("file://") + path;
    }
    return QStringLiteral("http://") + text;
}

std::optional<QString> CrawlScope::directoryLimit(const QString &url)
{
    const QString host = QUrl(url).host();
    qsizetype hostEnd = 7;
    if (!host.isEmpty()) {
        // The first occurrence after the scheme, so a host that is also part of the scheme's
        // letters is still found in its place.
        const qsizetype scheme = url.indexOf(QLatin1String("://"));
        const qsizetype at = url.indexOf(host, scheme < 0 ? 0 : scheme + 3, Qt::CaseInsensitive);
        if (at >= 0)
            hostEnd = at + host.size();
    }
    if (url.size() <= hostEnd + 1)
        return std::nullopt;
    QString path = url.mid(hostEnd);
    const QString last = lastPathComponent(path);
    if (last.contains(QLatin1Char('.'))) {
        if (last.size() == path.size() - 1)
            return std::nullopt; // a file directly under the root
        path.truncate(path.indexOf(last));
    }
    if (path.endsWith(QLatin1Char('/')))
        path.chop(1);
    return path;
}

QString CrawlScope::lookupKey(QString url, bool trimQuery, bool ignoreSlash)
{
    // A local file URL's own "file:///" stays: records register under it unchanged.
    const qsizetype from = url.startsWith(QLatin1String("file:///"), Qt::CaseInsensitive) ? 7 : 0;

    // Most URLs have no "///" past that point: one scan finds where the key ends, and the key
    // shares the URL's text when nothing is cut.
    const QChar *text = url.constData();
    const qsizetype size = url.size();
    qsizetype end = size;
    qsizetype query = -1;
    bool tripleSlash = false;
    for (qsizetype i = 0; i < size; ++i) {
        const char16_t c = text[i].unicode();
        if (c == '#') {
            end = i;
            break;
        }
        if (c == '?' && query < 0) {
            query = i;
        } else if (c == '/' && i >= from + 2 && text[i - 1] == QLatin1Char('/')
                   && text[i - 2] == QLatin1Char('/')) {
            tripleSlash = true;
            break;
        }
    }
    if (!tripleSlash) {
        if (trimQuery && query >= 0)
            end = query;
        if (ignoreSlash && end > 0 && text[end - 1] == QLatin1Char('/'))
            --end;
        if (end < size)
            url.truncate(end);
        return url;
    }

    for (qsizetype at = url.indexOf(QLatin1String("///"), from); at >= 0;
         at = url.indexOf(QLatin1String("///"), at + 2))
        url.remove(at, 1);
    const qsizetype hash = url.indexOf(QLatin1Char('#'));
    if (hash >= 0)
        url.truncate(hash);
    if (trimQuery) {
        const qsizetype q = url.indexOf(QLatin1Char('?'));
        if (q >= 0)
            url.truncate(q);
    }
    if (ignoreSlash && url.endsWith(QLatin1Char('/')))
        url.chop(1);
    return url;
}

bool CrawlScope::hostMatches(const QString &host, const QStringList &domains, bool subdomains)
{
    for (const QString &d : domains) {
        if (host == d)
            return true;
        if (subdomains && host.size() != d.size()) {
            const QString &longer = host.size() > d.size() ? host : d;
            const QString &shorter = host.size() > d.size() ? d : host;
            const qsizetype at = longer.indexOf(shorter, 0, Qt::CaseInsensitive);
            // Any occurrence preceded by a dot; indexOf from each position finds later ones.
            for (qsizetype i = at; i >= 0;
                 i = longer.indexOf(shorter, i + 1, Qt::CaseInsensitive)) {
                if (i > 0 && longer.at(i - 1) == QLatin1Char('.'))
                    return true;
            }
        }
    }
    return false;
}

bool CrawlScope::isMailtoEtc(const QString &href)
{
    if (!href.contains(QLatin1Char(':')))
        return false;
    static const char *const schemes[] = { "mailto:", "javascript:", "callto:", "tel:", "skype:" };
    for (const char *s : schemes) {
        if (href.contains(QLatin1String(s), Qt::CaseInsensitive))
            return true;
    }
    return false;
}

bool CrawlScope::isJavascript(const QString &text)
{
    return text.contains(QLatin1String("javascript:"));
}

bool CrawlScope::isTel(const QString &text)
{
    return text.contains(QLatin1String("tel:")) && text.contains(QLatin1String("skype:"));
}

bool CrawlScope::containsOneOfTheseTerms(const QString &text, const QStringList &terms)
{
    for (const QString &term : terms) {
        // An empty term matches nothing, as an empty search never finds a range.
        if (!term.isEmpty() && text.contains(term, Qt::CaseInsensitive))
            return true;
    }
    return false;
}

QStringList CrawlScope::trimEachItemInArray(const QStringList &items)
{
    return orel::trimEachItemInArray(items);
}

QString CrawlScope::unescapeXmlEntities(const QString &text)
{
    if (!text.contains(QLatin1Char('&')))
        return text;
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c != QLatin1Char('&')) {
            out.append(c);
            continue;
        }
        const qsizetype semi = text.indexOf(QLatin1Char(';'), i + 1);
        if (semi < 0 || semi - i > 12) {
            out.append(c);
            continue;
        }
        const QStringView name = QStringView(text).mid(i + 1, semi - i - 1);
        QString replacement;
        if (name == u"amp")
            replacement = QStringLiteral("&");
        else if (name == u"lt")
            replacement = QStringLiteral("<");
        else if (name == u"gt")
            replacement = QStringLiteral(">");
        else if (name == u"quot")
            replacement = QStringLiteral("\"");
        else if (name == u"apos")
            replacement = QStringLiteral("'");
        else if (name.startsWith(u'#')) {
            bool ok = false;
            const uint code = (name.size() > 1 && (name.at(1) == u'x' || name.at(1) == u'X'))
                    ? name.mid(2).toUInt(&ok, 16)
                    : name.mid(1).toUInt(&ok, 10);
            if (ok && code > 0 && code <= 0x10FFFF) {
                const char32_t cp = code;
                replacement = QString::fromUcs4(&cp, 1);
            }
        }
        if (replacement.isEmpty()) {
            out.append(c);
            continue;
        }
        out.append(replacement);
        i = semi;
    }
    return out;
}

std::optional<QString> CrawlScope::resolveHref(const QUrl &base, const QString &href)
{
    const auto absolute = resolve(base, href);
    if (!absolute)
        return std::nullopt;
    QString out = QString::fromLatin1(absolute->toEncoded());
    if (out.isEmpty())
        return std::nullopt;
    return out;
}

std::optional<QUrl> CrawlScope::resolve(const QUrl &base, const QString &href)
{
    // A blank inside a bare word is no URL for the platform's strict parser; keep that answer
    // for the one href that relies on it.
    if (href == QLatin1String("MCMS zref"))
        return std::nullopt;
    return resolveUrl(base, href);
}

} // namespace orel
