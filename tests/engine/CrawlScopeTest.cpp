#include "engine/CrawlScope.h"

#include <gtest/gtest.h>

#include <QUrl>

using orel::CrawlScope;

namespace {

using Row = std::pair<const char *, const char *>;

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// An optional answer as text, "<none>" for none.
QString orNone(const std::optional<QString> &v)
{
    return v.value_or(QStringLiteral("<none>"));
}

} // namespace

TEST(CrawlScope, NormalisesTypedStartUrls)
{
    const Row cases[] = {
        { "", "" },
        { "ftp:x", "http://ftp:x" }, // short texts get the prefix whatever they hold
        { "www.example.com/x", "http://www.example.com/x" },
        { "https://example.com/a b", "https://example.com/a b" },
        { "/Users/me/my site/index.html", "file:///Users/me/my%20site/index.html" },
        { "/srv/a&#32;b&lt;.html", "file:///srv/a%20b<.html" },
    };
    for (const auto &[typed, expected] : cases)
        EXPECT_EQ(CrawlScope::normaliseStartUrl(q(typed)), q(expected)) << typed;
}

TEST(CrawlScope, DirectoryLimitCutsAtFirstOccurrenceOfLastComponent)
{
    const Row cases[] = {
        { "http://h/dir/page.html", "/dir" },
        { "http://h/dir", "/dir" },
        { "http://h/index.html", "<none>" },
        { "http://Example.COM/Docs/x.htm", "/Docs" },
        { "http://h/x.html/sub/x.html", "" }, // first occurrence wins
        { "file:///home/me/site/index.html", "/home/me/site" },
        { "http://h:8080/d/i.html", ":8080/d" },
        { "http://h/v1.2/", "" }, // a dotted folder under the root: a limit that limits nothing
    };
    for (const auto &[url, limit] : cases)
        EXPECT_EQ(orNone(CrawlScope::directoryLimit(q(url))), q(limit)) << url;
}

// The key scan stops at the fragment and leaves any triple slash to the full rewrite.
TEST(CrawlScope, LookupKeyMatchesRecordTrimming)
{
    const std::tuple<const char *, bool, bool, const char *> cases[] = {
        { "http:///h/a", false, false, "http://h/a" },
        { "http://h/a///b////c", false, false, "http://h/a//b///c" }, // one pass, as replace does
        { "file:///srv///a.html", false, false, "file:///srv//a.html" },
        { "FILE:///srv/a/", false, true, "FILE:///srv/a" },
        { "file:////srv", false, false, "file:////srv" }, // the slashes of the prefix only
        { "http://h//a", false, true, "http://h//a" },
        { "http://h/a?q=1#frag", false, false, "http://h/a?q=1" },
        { "http://h/a#x?y", true, false, "http://h/a" },
        { "http://h/a#x///y", false, false, "http://h/a" },
        { "http://h/a?x///y#z", false, false, "http://h/a?x//y" },
        { "http://h/a?x///y#z", true, false, "http://h/a" },
        { "http://h/a/", false, false, "http://h/a/" },
        { "http://h/a//", false, true, "http://h/a/" }, // only one slash goes
        { "http://h/a/?q=//x", false, true, "http://h/a/?q=//x" },
        { "http://h/?x/", true, true, "http://h" },
        { "", true, true, "" },
    };
    for (const auto &[url, trimQuery, ignoreSlash, key] : cases)
        EXPECT_EQ(CrawlScope::lookupKey(q(url), trimQuery, ignoreSlash), q(key)) << url;
}

TEST(CrawlScope, HostMatchingWithAndWithoutSubdomains)
{
    const std::tuple<const char *, const char *, bool, bool> cases[] = {
        { "example.com", "example.com", false, true },
        { "Example.com", "example.com", false, false }, // exact comparison is case-sensitive
        { "www.example.com", "example.com", false, false },
        { "WWW.EXAMPLE.COM", "example.com", true, true },
        { "shop.example.com.evil.net", "example.com", true, true }, // unanchored containment
        { "badexample.com", "example.com", true, false }, // needs the dot
        { "com", "example.com", true, true }, // the internal host is a subdomain of the link's
        { "", "example.com", true, true }, // any dotted host holds "." followed by nothing
        { "example.com", "www.example.com", true, true },
    };
    for (const auto &[host, domain, subdomains, internal] : cases)
        EXPECT_EQ(CrawlScope::hostMatches(q(host), { q(domain) }, subdomains), internal)
                << host << " in " << domain << " subdomains=" << subdomains;
}

TEST(CrawlScope, SkippedSchemesAndTermLists)
{
    const std::pair<const char *, bool> hrefs[] = {
        { "mailto:a@b.c", true },          { "MAILTO:a@b.c", true }, { "x:SKYPE:me", true },
        { "http://h/hotel:1", true }, // "tel:" anywhere
        { "javascript:void(0)", true },    { "callto:123", true },   { "tel.html", false },
        { "http://h/mailto.html", false }, { "page.html", false },   { "", false },
    };
    for (const auto &[href, skipped] : hrefs)
        EXPECT_EQ(CrawlScope::isMailtoEtc(q(href)), skipped) << href;

    // Terms match ignoring case; an empty term matches nothing.
    const QStringList terms { "Private", QString(), "/tmp/" };
    EXPECT_TRUE(CrawlScope::containsOneOfTheseTerms("http://h/PRIVATE/x", terms));
    EXPECT_TRUE(CrawlScope::containsOneOfTheseTerms("http://h/tmp/x", terms));
    EXPECT_FALSE(CrawlScope::containsOneOfTheseTerms("http://h/public", terms));
}

TEST(CrawlScope, ResolvesHrefsAgainstTheBase)
{
    const QUrl base(QStringLiteral("http://h.com/dir/page.html"));
    const Row cases[] = {
        { "other.html", "http://h.com/dir/other.html" },
        // A ".." with a segment before it removes it; one that would climb above the root stays.
        { "../../up.html", "http://h.com/../up.html" },
        { "./a/../../../x", "http://h.com/../x" },
        { "../../a/./b/../c?q", "http://h.com/../a/c?q" },
        { "..", "http://h.com/" },
        { "../..", "http://h.com/.." },
        { "/../root.html", "http://h.com/../root.html" },
        { "https://x.org/a/../../b", "https://x.org/../b" },
        { "//cdn.org/./../s.js", "http://cdn.org/../s.js" },
        { "my page.html", "http://h.com/dir/my%20page.html" },
        { "?q=1", "http://h.com/dir/page.html?q=1" },
        { "caf\xc3\xa9.html", "http://h.com/dir/caf%C3%A9.html" },
        { "MCMS zref", "<none>" },
        { "http://bad host/", "<none>" },
    };
    for (const auto &[href, absolute] : cases)
        EXPECT_EQ(orNone(CrawlScope::resolveHref(base, q(href))), q(absolute)) << href;
    // A huge href must come back whole or not at all, never crash.
    const QString huge = QStringLiteral("a").repeated(100 * 1024) + QStringLiteral(".html");
    EXPECT_TRUE(orNone(CrawlScope::resolveHref(base, huge)).endsWith(QStringLiteral(".html")));
}
