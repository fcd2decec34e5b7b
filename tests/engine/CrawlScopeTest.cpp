#include "engine/CrawlScope.h"

#include <gtest/gtest.h>

#include <QUrl>

using orel::CrawlScope;

TEST(CrawlScope, NormalisesTypedStartUrls)
{
    const struct
    {
        const char *typed;
        const char *expected;
    } cases[] = {
        { "", "" },
        { "example", "http://example" },
        { "a.b", "http://a.b" },
        { "ftp:x", "http://ftp:x" }, // short texts get the prefix whatever they hold
        { "www.example.com/x", "http://www.example.com/x" },
        { "https://example.com/a b", "https://example.com/a b" },
        { "/Users/me/my site/index.html", "file:///Users/me/my%20site/index.html" },
        { "/Library/Web/a&amp;b.html", "file:///Library/Web/a&b.html" },
        { "/home/me/site/index.html", "file:///home/me/site/index.html" },
        { "/srv/a&#32;b&lt;.html", "file:///srv/a%20b<.html" },
    };
    for (const auto &c : cases)
        EXPECT_EQ(CrawlScope::normaliseStartUrl(QString::fromUtf8(c.typed)),
                  QString::fromUtf8(c.expected))
                << c.typed;
}

TEST(CrawlScope, DirectoryLimitCutsAtFirstOccurrenceOfLastComponent)
{
    const struct
    {
        const char *url;
        const char *limit; // nullptr: none
    } cases[] = {
        { "http://h/dir/page.html", "/dir" },
        { "http://h/dir/", "/dir" },
        { "http://h/dir", "/dir" },
        { "http://h/a/b/c/", "/a/b/c" },
        { "http://h/index.html", nullptr },
        { "http://h/", nullptr },
        { "http://h", nullptr },
        { "http://Example.COM/Docs/x.htm", "/Docs" },
        { "http://h/x.html/sub/x.html", "" }, // first occurrence wins
        { "file:///home/me/site/index.html", "/home/me/site" },
        { "http://h:8080/d/i.html", ":8080/d" },
    };
    for (const auto &c : cases) {
        const auto got = CrawlScope::directoryLimit(QString::fromUtf8(c.url));
        if (!c.limit) {
            EXPECT_FALSE(got.has_value()) << c.url << " gave " << got.value_or(QString()).toStdString();
        } else {
            ASSERT_TRUE(got.has_value()) << c.url;
            EXPECT_EQ(*got, QString::fromUtf8(c.limit)) << c.url;
        }
    }
}

TEST(CrawlScope, LookupKeyMatchesRecordTrimming)
{
    const struct
    {
        const char *url;
        bool trimQuery;
        bool ignoreSlash;
        const char *key;
    } cases[] = {
        { "http:///h/a", false, false, "http://h/a" },
        { "http://h/a///b////c", false, false, "http://h/a//b///c" }, // one pass, as replace does
        { "file:///srv/a.html", false, false, "file:///srv/a.html" },
        { "file:///srv///a.html", false, false, "file:///srv//a.html" },
        { "http://h/a?q=1#frag", true, false, "http://h/a" },
        { "http://h/a?q=1#frag", false, false, "http://h/a?q=1" },
        { "http://h/a/", false, true, "http://h/a" },
        { "http://h/a/", false, false, "http://h/a/" },
        { "http://h/a//", false, true, "http://h/a/" }, // only one slash goes
        { "http://h/a/#x", true, true, "http://h/a" },
        { "http://h/?x/", true, true, "http://h" },
    };
    for (const auto &c : cases)
        EXPECT_EQ(CrawlScope::lookupKey(QString::fromUtf8(c.url), c.trimQuery, c.ignoreSlash),
                  QString::fromUtf8(c.key))
                << c.url;
}

TEST(CrawlScope, HostMatchingWithAndWithoutSubdomains)
{
    const QStringList domains { QStringLiteral("example.com") };
    const struct
    {
        const char *host;
        bool subdomains;
        bool internal;
    } cases[] = {
        { "example.com", false, true },
        { "Example.com", false, false }, // exact comparison is case-sensitive
        { "www.example.com", false, false },
        { "www.example.com", true, true },
        { "WWW.EXAMPLE.COM", true, true },
        { "shop.example.com.evil.net", true, true }, // unanchored containment
        { "badexample.com", true, false }, // needs the dot
        { "com", true, true }, // the internal host is a subdomain of the link's host
        { "", true, true }, // any dotted host holds "." followed by nothing
        { "other.org", true, false },
    };
    for (const auto &c : cases)
        EXPECT_EQ(CrawlScope::hostMatches(QString::fromUtf8(c.host), domains, c.subdomains),
                  c.internal)
                << c.host << " subdomains=" << c.subdomains;
    // An internal host that is a subdomain of the link's host matches too.
    EXPECT_TRUE(CrawlScope::hostMatches(QStringLiteral("example.com"),
                                        { QStringLiteral("www.example.com") }, true));
}

TEST(CrawlScope, SkippedSchemesAndTermLists)
{
    const struct
    {
        const char *href;
        bool skipped;
    } hrefs[] = {
        { "mailto:a@b.c", true },     { "MAILTO:a@b.c", true },
        { "x:SKYPE:me", true },       { "http://h/hotel:1", true }, // "tel:" anywhere
        { "javascript:void(0)", true }, { "callto:123", true },
        { "tel.html", false },        { "http://h/mailto.html", false },
        { "page.html", false },       { "", false },
    };
    for (const auto &h : hrefs)
        EXPECT_EQ(CrawlScope::isMailtoEtc(QString::fromUtf8(h.href)), h.skipped) << h.href;

    EXPECT_TRUE(CrawlScope::isTel(QStringLiteral("tel:1 skype:2")));
    EXPECT_FALSE(CrawlScope::isTel(QStringLiteral("tel:1")));
    EXPECT_FALSE(CrawlScope::isJavascript(QStringLiteral("JAVASCRIPT:x")));

    const QStringList terms { QStringLiteral("Private"), QString(), QStringLiteral("/tmp/") };
    EXPECT_TRUE(CrawlScope::containsOneOfTheseTerms(QStringLiteral("http://h/PRIVATE/x"), terms));
    EXPECT_TRUE(CrawlScope::containsOneOfTheseTerms(QStringLiteral("http://h/tmp/x"), terms));
    EXPECT_FALSE(CrawlScope::containsOneOfTheseTerms(QStringLiteral("http://h/public"), terms));
    EXPECT_FALSE(CrawlScope::containsOneOfTheseTerms(QStringLiteral("x"), {}));
    EXPECT_FALSE(CrawlScope::containsOneOfTheseTerms(QStringLiteral("x"), { QString() }));

    EXPECT_EQ(CrawlScope::trimEachItemInArray(
                      { QStringLiteral("  a \n"), QStringLiteral(" \t"), QStringLiteral("b") }),
              (QStringList { QStringLiteral("a"), QStringLiteral("b") }));
    EXPECT_EQ(CrawlScope::stripHost(QStringLiteral("http://h.com/a/b")), QStringLiteral("/a/b"));
    EXPECT_EQ(CrawlScope::stripHost(QStringLiteral("http://h.com/")), QStringLiteral("http://h.com/"));
}

TEST(CrawlScope, ResolvesHrefsAgainstTheBase)
{
    const QUrl base(QStringLiteral("http://h.com/dir/page.html"));
    const struct
    {
        const char *href;
        const char *absolute; // nullptr: none
    } cases[] = {
        { "other.html", "http://h.com/dir/other.html" },
        { "../up.html", "http://h.com/up.html" },
        { "/root.html", "http://h.com/root.html" },
        { "my page.html", "http://h.com/dir/my%20page.html" },
        { "?q=1", "http://h.com/dir/page.html?q=1" },
        { "https://x.org/a", "https://x.org/a" },
        { "//cdn.org/s.js", "http://cdn.org/s.js" },
        { "caf\xc3\xa9.html", "http://h.com/dir/caf%C3%A9.html" },
        { "MCMS zref", nullptr },
        { "http://bad host/", nullptr },
    };
    for (const auto &c : cases) {
        const auto got = CrawlScope::resolveHref(base, QString::fromUtf8(c.href));
        if (!c.absolute) {
            EXPECT_FALSE(got.has_value()) << c.href;
        } else {
            ASSERT_TRUE(got.has_value()) << c.href;
            EXPECT_EQ(*got, QString::fromUtf8(c.absolute)) << c.href;
        }
    }
    // A huge href must come back whole or not at all, never crash.
    const QString huge = QStringLiteral("a").repeated(100 * 1024) + QStringLiteral(".html");
    const auto big = CrawlScope::resolveHref(base, huge);
    ASSERT_TRUE(big.has_value());
    EXPECT_TRUE(big->endsWith(QStringLiteral(".html")));
}
