// Link, image, script, frame and base extraction.
#include "ParserTestUtil.h"
#include "TestHome.h"

#include <gtest/gtest.h>

using namespace orel;
using orel::test::hrefs;
using orel::test::scan;

TEST(ParserLinks, ValuesAreQuotedTrimmedAndEscapedAsWritten)
{
    struct Case
    {
        const char *page;
        bool trim;
        QStringList expected;
    };
    const Case cases[] = {
        { "<a href=''>", false, { "" } },
        { "<a href=\"\">", true, { "" } },
        { "<a class=x href = 'p.html' rel='nofollow'>", false, { "p.html" } },
        { "<a href=plain.html class=x>", false, { "plain.html" } },
        { "<a href=' {a}.html '>", true, { "%7Ba%7D.html" } },
        { "<a href=' {a}.html '>", false, { "%7Ba%7D.html%20" } }, // leading spaces are skipped
        { "<a href=\"a b.html\">", false, { "a%20b.html" } },
        { "<a href=\"?a=1&amp;b=2\">", false, { "?a=1&b=2" } },
        { "<a href=\"'both'\">", true, { "both" } },
        { "<a href=\"'both'\">", false, { "both'" } },
        { "<a href=\"x\ny.html\">", false, { "xy.html" } },
        { "<a href=\"caf\xc3\xa9.html\">", false, { "caf\xc3\xa9.html" } },
        { "<a data-href='d' href='h'>", false, { "h" } },
        { "<a hreflang='en' href='h'>", false, { "lang='en'" } },
        { "<a zref='/cms/x'>", false, { "MCMS zref" } },
        { "<a onclick='go()'>x</a><a href=y>", false, { "y" } },
        { "<frame src=' {f} '>", true, { "{f}" } },
        { "<frame src=' {f} '>", false, { "%20{f}%20" } },
    };
    for (const Case &c : cases)
        EXPECT_EQ(hrefs(c.page, true, c.trim), c.expected) << c.page << " trim " << c.trim;
}

TEST(ParserLinks, LongValuesAreCutAndScanningGoesOn)
{
    const QByteArray page = "<a href='" + QByteArray(1500, 'u') + "'>x</a><a href=next>";
    const QStringList found = hrefs(page);
    ASSERT_EQ(found.size(), 2);
    EXPECT_EQ(found[0], QString(1000, QLatin1Char('u')));
    EXPECT_EQ(found[1], QStringLiteral("next"));
}

TEST(ParserLinks, NofollowComesFromTheTagOrTheHeadAndCarriesOverFramesAndImages)
{
    const QByteArray page = "<a rel=nofollow href=a>x</a><img src=i.png><frame src=f.html>"
                            "<a href=b><a title='NoFollow me' href=c><a href=d rel=\"nofollow\">"
                            "<a href=e>";
    struct Run
    {
        bool check;
        QList<bool> expected;
    };
    const Run runs[] = { { true, { true, true, true, false, true, true, false } },
        { false, { false, false, false, false, false, false, false } } };
    for (const Run &r : runs) {
        auto p = scan(page, r.check);
        QList<bool> seen;
        while (p->getNextHref(true, false))
            seen << p->lastLinkWasNofollow();
        EXPECT_EQ(seen, r.expected) << r.check;
    }

    const QByteArray head = "<head><meta name=robots content='NOFOLLOW'></head><a href=a>";
    auto on = scan(head, true);
    EXPECT_TRUE(on->getHeadContainsNoFollow());
    ASSERT_TRUE(on->getNextHref(true, false));
    EXPECT_TRUE(on->lastLinkWasNofollow());
    auto off = scan(head, false);
    EXPECT_FALSE(off->getHeadContainsNoFollow());
    ASSERT_TRUE(off->getNextHref(true, false));
    EXPECT_FALSE(off->lastLinkWasNofollow());
}

TEST(ParserLinks, ImageAndScriptReadersFindTheirOwnTags)
{
    const QByteArray page = "<script src='a.js'></script><img src=\" b.png \"><script>x</script>"
                            "<img data-src='c.png'><IMG SRC=d.png><img alt=x>";
    auto images = scan(page);
    QStringList found;
    while (auto s = images->getNextImg())
        found << *s;
    EXPECT_EQ(found, (QStringList { "b.png", "c.png", "d.png" }));

    auto scripts = scan(page);
    found.clear();
    while (auto s = scripts->getNextScriptSrc())
        found << *s;
    EXPECT_EQ(found, QStringList { "a.js" });

    auto links = scan("<link rel=stylesheet href=\"/a.css\"><p><LINK rel=icon href='i.ico'>");
    EXPECT_EQ(links->findNextLinkHref(), QStringLiteral("/a.css"));
    EXPECT_EQ(links->findNextLinkHref(), QStringLiteral("i.ico"));
    orel::test::LogCapture log;
    EXPECT_FALSE(links->findNextLinkHref());
}

TEST(ParserLinks, BaseHrefIsNormalised)
{
    struct Case
    {
        const char *page;
        std::optional<QString> base; // findBaseHref()
        const char *codebase; // getBaseHref(), "" for none
    };
    const Case cases[] = {
        { "<base href='pages/docs'>", QStringLiteral("http://pages/docs"), "http://pages/docs" },
        { "<base href='//cdn/x'>", QStringLiteral("http://cdn/x"), "http://cdn/x" },
        { "<base href='/'>", QStringLiteral(""), "" },
        { "<base href=''>", QStringLiteral(""), "" },
        { "<head><BASE HREF=\"http://example.com/dir/\"></head>",
            QStringLiteral("http://example.com/dir/"), "http://example.com/dir/" },
        { "<base href=\"abc\">", QStringLiteral("http://abc"), "http://abc" },
        { "<base href=\"ab\">", QStringLiteral("ab"), "ab" },
        { "<base href=\" https://x.org/ \">", QStringLiteral("https://x.org/"), "https://x.org/" },
        { "<base href=\"http://a/b c/\">", QStringLiteral("http://a/b%20c/"), "http://a/b%20c/" },
        { "<base target=_top>", std::nullopt, "" },
        { "<p>no base</p>", std::nullopt, "" },
    };
    for (const Case &c : cases) {
        auto p = scan(c.page);
        EXPECT_EQ(p->findBaseHref(), c.base) << c.page;
        const auto codebase = p->getBaseHref();
        EXPECT_EQ(codebase ? codebase->toString(QUrl::FullyEncoded) : QString(),
            QLatin1String(c.codebase))
            << c.page;
    }
    orel::test::LogCapture log;
    EXPECT_EQ(scan("<base zref=\"x\">")->findBaseHref(), QStringLiteral("MCMS zref"));
    EXPECT_FALSE(scan("<base target=_top>")->findBaseHref());
    EXPECT_TRUE(log.contains(QStringLiteral("reached end of file")));
}

TEST(ParserLinks, PlainTextModeYieldsEveryToken)
{
    auto p = scan("http://a.com/x, http://b.com/y\n'http://c.com/z'\t\"d\",,e&amp;f");
    p->setPlainTextMode();
    QStringList found;
    while (auto s = p->getNextHref(true, false)) {
        found << *s;
        EXPECT_EQ(p->getData(), QString());
    }
    EXPECT_EQ(
        found, (QStringList { "http://a.com/x", "http://b.com/y", "http://c.com/z", "d", "e&f" }));
}

TEST(ParserLinks, XmlModeYieldsLocTexts)
{
    orel::test::LogCapture log;
    auto p = scan("<?xml version=\"1.0\"?><urlset><url><loc>\n http://a/ \n</loc></url>"
                  "<url><LOC>http://b/?a=1&amp;b=2</LOC></url><loc/></urlset>");
    p->setXMLMode();
    EXPECT_TRUE(log.contains(QStringLiteral("setting xml mode")));
    QStringList found;
    while (auto s = p->getNextHref(true, false))
        found << *s;
    EXPECT_EQ(found, (QStringList { "http://a/", "http://b/?a=1&b=2" }));
}

TEST(ParserLinks, StringHelpers)
{
    struct Pull
    {
        const char *text;
        const char *expected;
    };
    const Pull pulls[]
        = { { "link rel='canonical' href='/a'", "/a" }, { "link HREF=\"x'y\"", "x'y" },
              { "a href=x", "" }, { "a rel='x'", "" }, { "a href='unclosed", "" } };
    for (const Pull &p : pulls)
        EXPECT_EQ(OrelParser::pullOutHref(QLatin1String(p.text)), QLatin1String(p.expected))
            << p.text;

    struct Compare
    {
        const char *a, *b;
        bool equal;
    };
    const Compare compares[]
        = { { "http://a/b/", "HTTP://A/B", true }, { "http://a/b", "http://a/b/", true },
              { "http://a/b//", "http://a/b", false }, { "http://a/b", "http://a/c", false } };
    for (const Compare &c : compares)
        EXPECT_EQ(OrelParser::compareIgnoringTrailingSlash(QLatin1String(c.a), QLatin1String(c.b)),
            c.equal)
            << c.a << " " << c.b;

    char url[] = " \x01'\"x y\"' \xff";
    OrelParser::trimWhitespaceFromUrl(url);
    EXPECT_STREQ(url, "'\"x y\"'");
    OrelParser::trimThisCharacter('\'', url);
    EXPECT_STREQ(url, "\"x y\"");
}
