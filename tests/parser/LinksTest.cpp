// Nofollow, image, script, stylesheet and base readers, the plain-text and XML modes, and the
// string helpers.
#include "ParserTestUtil.h"

#include <gtest/gtest.h>

using namespace orel;
using orel::test::scan;

TEST(ParserLinks, NofollowComesFromTheTagOrTheHeadAndCarriesOverFramesAndImages)
{
    const QByteArray page = "<a rel=nofollow href=a>x</a><img src=i.png><frame src=f.html>"
                            "<a href=b><a title='NoFollow me' href=c><a href=d rel=\"nofollow\">"
                            "<a href=e>";
    const QByteArray head = "<head><meta name=robots content='NOFOLLOW'></head><a href=a>";
    for (bool check : { true, false }) {
        auto p = scan(page, check);
        QList<bool> seen;
        while (p->getNextHref(true, false))
            seen << p->lastLinkWasNofollow();
        const QList<bool> expected { true, true, true, false, true, true, false };
        EXPECT_EQ(seen, check ? expected : QList<bool>(7, false));
        auto h = scan(head, check);
        EXPECT_EQ(h->getHeadContainsNoFollow(), check);
        ASSERT_TRUE(h->getNextHref(true, false));
        EXPECT_EQ(h->lastLinkWasNofollow(), check);
    }
}

TEST(ParserLinks, ImageScriptAndStylesheetReadersFindTheirOwnTags)
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
    EXPECT_FALSE(links->findNextLinkHref());
}

TEST(ParserLinks, BaseHrefIsNormalised)
{
    // page, findBaseHref() (nullptr for none), which getBaseHref() gives as a URL
    const std::pair<const char *, const char *> cases[] = {
        { "<base href='pages/docs'>", "http://pages/docs" },
        { "<base href='//cdn/x'>", "http://cdn/x" },
        { "<base href='/'>", "" },
        { "<head><BASE HREF=\"http://example.com/dir/\"></head>", "http://example.com/dir/" },
        { "<base href=\"abc\">", "http://abc" },
        { "<base href=\"ab\">", "ab" },
        { "<base href=\" https://x.org/ \">", "https://x.org/" },
        { "<base href=\"http://a/b c/\">", "http://a/b%20c/" },
        { "<base target=_top>", nullptr },
        { "<p>no base</p>", nullptr },
    };
    orel::test::LogCapture log;
    for (const auto &[page, base] : cases) {
        auto p = scan(page);
        EXPECT_EQ(p->findBaseHref(),
                  base ? std::optional<QString>(QLatin1String(base)) : std::nullopt)
                << page;
        const auto url = p->getBaseHref();
        EXPECT_EQ(url ? url->toString(QUrl::FullyEncoded) : QString(), QLatin1String(base)) << page;
    }
    EXPECT_TRUE(log.contains(QStringLiteral("reached end of file"))); // no base found
    EXPECT_EQ(scan("<base zref=\"x\">")->findBaseHref(), QStringLiteral("MCMS zref"));
}

TEST(ParserLinks, PlainTextAndXmlModesYieldTokensAndLocTexts)
{
    auto text = scan("http://a.com/x, http://b.com/y\n'http://c.com/z'\t\"d\",,e&amp;f");
    text->setPlainTextMode();
    QStringList found;
    while (auto s = text->getNextHref(true, false)) {
        found << *s;
        EXPECT_EQ(text->getData(), QString());
    }
    EXPECT_EQ(found,
              (QStringList { "http://a.com/x", "http://b.com/y", "http://c.com/z", "d", "e&f" }));

    orel::test::LogCapture log;
    auto xml = scan("<?xml version=\"1.0\"?><urlset><url><loc>\n http://a/ \n</loc></url>"
                    "<url><LOC>http://b/?a=1&amp;b=2</LOC></url><loc/></urlset>");
    xml->setXMLMode();
    EXPECT_TRUE(log.contains(QStringLiteral("setting xml mode")));
    found.clear();
    while (auto s = xml->getNextHref(true, false))
        found << *s;
    EXPECT_EQ(found, (QStringList { "http://a/", "http://b/?a=1&b=2" }));
}

// The helpers' odd inputs; comparing links ignoring case and a trailing slash is exercised by the
// highlighter.
TEST(ParserLinks, StringHelpers)
{
    const std::pair<const char *, const char *> pulls[] = {
        { "link HREF=\"x'y\"", "x'y" },
        { "a href=x", "" },
        { "a rel='x'", "" },
        { "a href='unclosed", "" },
    };
    for (const auto &[text, expected] : pulls)
        EXPECT_EQ(OrelParser::pullOutHref(QLatin1String(text)), QLatin1String(expected)) << text;

    // Controls and bytes with the high bit set are white space too.
    char url[] = " \x01'\"x y\"' \xff";
    OrelParser::trimWhitespaceFromUrl(url);
    EXPECT_STREQ(url, "'\"x y\"'");
    OrelParser::trimThisCharacter('\'', url);
    EXPECT_STREQ(url, "\"x y\"");
}
