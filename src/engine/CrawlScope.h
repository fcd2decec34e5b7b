// Pure text rules of a crawl: start-URL normalisation, the directory limit, registry keys, host
// comparison, skipped schemes and term lists; any thread (no state).
#pragma once

#include <QString>
#include <QStringList>

#include <optional>

class QUrl;

namespace orel {

class CrawlScope
{
public:
    // The start URL as typed becomes a fetchable URL: texts holding "://" stay as they are; a
    // local path (beginning with "/") becomes file:// with XML entities unescaped and blanks as
    // "%20"; anything else gets "http://" in front. An empty text stays empty.
    static QString normaliseStartUrl(const QString &text);

    // The folder that a crawl starting at url is kept inside, or none when the start is the
    // site root or a file directly under it. The cut is made before the FIRST occurrence of the
    // last path component, so a component repeated higher up cuts there.
    static std::optional<QString> directoryLimit(const QString &url);

    // The key a URL is registered and looked up under: "///" read as "//" (except the one of
    // "file:///"), fragment cut, query
    // cut when trimQuery, one trailing "/" dropped when ignoreSlash.
    static QString lookupKey(QString url, bool trimQuery, bool ignoreSlash);

    // host equals one of domains exactly; with subdomains also when the longer of the two
    // contains "." followed by the shorter one, ignoring case, anywhere.
    static bool hostMatches(const QString &host, const QStringList &domains, bool subdomains);

    // Hrefs that are never recorded: mailto, javascript, callto, tel and skype links. A
    // containment test, so these letters anywhere after a colon-holding href count.
    static bool isMailtoEtc(const QString &href);
    static bool containsColon(const QString &text) { return text.contains(QLatin1Char(':')); }
    static bool isJavascript(const QString &text);
    static bool isTel(const QString &text); // both "tel:" and "skype:"

    // Case-insensitive containment of any non-empty term; false for no terms.
    static bool containsOneOfTheseTerms(const QString &text, const QStringList &terms);

    // Items trimmed of white space and line ends; empty ones dropped; order kept.
    static QStringList trimEachItemInArray(const QStringList &items);

    // Replaces &amp; &lt; &gt; &quot; &apos; and numeric character references.
    static QString unescapeXmlEntities(const QString &text);

    // The absolute URL of href read against base, ASCII with non-ASCII and blanks
    // percent-encoded; none when no URL can be formed. Dot segments are removed, except a ".."
    // that would climb above the root: "http://h/a.html" and "../../b" give "http://h/../../b".
    static std::optional<QString> resolveHref(const QUrl &base, const QString &href);
    // The same as a parsed URL (absolute and valid), for callers that need its parts too.
    static std::optional<QUrl> resolve(const QUrl &base, const QString &href);
};

} // namespace orel
