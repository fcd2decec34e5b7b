// Title, description, robots markers, headings and highlighting of a bad link.
#include "ParserTestUtil.h"

#include <gtest/gtest.h>

using namespace orel;
using orel::test::scan;

TEST(ParserMetadata, TitleDescriptionKeywordsAndCanonicalComeFromTheHead)
{
    // page, title, end of head
    const std::tuple<const char *, const char *, int> cases[] = {
        { "<TITLE>Home\r\nPage</TITLE>", "HomePage", 0 },
        { "<title id=t>Home</title>", "", 0 },
        { "<head><title> A &amp; B </title></head><body>", "A & B", 39 },
        { "<head></head><title>late</title>", "", 13 },
        { "<head><title></title></head>", "", 28 },
    };
    for (const auto &[page, title, endHead] : cases) {
        auto p = scan(page);
        EXPECT_EQ(p->getTitle(), QString::fromUtf8(title)) << page;
        EXPECT_EQ(p->getEndHead(), endHead) << page;
        EXPECT_EQ(p->getCounter(), 0) << "handed over from a reset cursor";
    }

    auto p = scan("<head><meta property='og:description' content='x'>"
                  "<meta name='keywords' content='k1, k2'><link rel='canonical' href='/a'>"
                  "</head><meta name='description' content='late'>");
    p->findKeywordsAndDescription();
    EXPECT_EQ(p->getDescription(), QString());
    EXPECT_EQ(p->getKeywords(), QStringLiteral("k1, k2"));
    EXPECT_EQ(p->getCanonical(), QStringLiteral("/a"));

    auto q = scan("<META NAME=\"Description\" CONTENT=\"y\nz\">"
                  "<meta property='og:description' content='x'>");
    q->findKeywordsAndDescription();
    EXPECT_EQ(q->getDescription(), QStringLiteral("yz"));
}

TEST(ParserMetadata, RobotsMarkersCountOnlyInMetaTagsOfTheHeadAndHeadingsOnlyBareH1)
{
    // page, indexed, nofollow in the head
    const std::tuple<const char *, bool, bool> cases[] = {
        { "<meta name='googlebot' content='noindex'>", false, false },
        { "<head></head><meta name=robots content=noindex>", true, false },
        { "<head><META name=robots content=\"NoIndex, NoFollow\"></head>", false, true },
        { "<head><link rel=nofollow><a href=noindex></head>", true, false },
        { "<head><title>noindex nofollow</title></head>", true, false },
    };
    for (const auto &[page, indexed, headNofollow] : cases) {
        auto p = scan(page, true);
        EXPECT_EQ(p->getShouldBeIndexed(), indexed) << page;
        EXPECT_EQ(p->getHeadContainsNoFollow(), headNofollow) << page;
    }
    // Unchecked markers are not looked for.
    auto p = OrelParser::initWithData("<meta name=robots content='noindex,nofollow'>", QString(),
                                      true, true, false, false);
    EXPECT_TRUE(p->getShouldBeIndexed());
    EXPECT_FALSE(p->getHeadContainsNoFollow());

    EXPECT_EQ(scan("<h1>A</h1><h2>x</h2><H1> B </H1><h1></h1></body><h1>C</h1>")->findHeadings(),
              QStringLiteral("A, B"));
    EXPECT_EQ(scan("<h1 class=x>A</h1><h2>x</h2>")->findHeadings(), QString());
}

static const QByteArray style = " style = \"S\"";

static std::optional<QByteArray> highlight(OrelParser &p, const char *bad)
{
    return p.highlightBadink(QLatin1String(bad), QString::fromLatin1(style),
                             QStringLiteral("http://s/"), false, false);
}

TEST(ParserHighlight, MarksEveryOccurrenceAndInsertsABaseWhenThePageHasNone)
{
    const QByteArray page = "<html><head><title>t</title></head><body>\n"
                            "<a href=\"bad.html\">one</a>\n<a href=\"ok.html\">two</a>\n"
                            "<a\nhref=\"http://s/bad.html\">three</a>\n<p>"
            + QByteArray(200, '.') + "</p></body></html>";
    auto p = scan(page);
    const auto out = highlight(*p, "http://s/bad.html");
    ASSERT_TRUE(out);
    QByteArray expected = page;
    expected.replace("<head>", "<head>\n<base href = \"http://s/\">\n");
    expected.replace("<a href=\"bad", QByteArray("<a" + style + " href=\"bad"));
    expected.replace("<a\nhref", QByteArray("<a" + style + "\nhref"));
    EXPECT_EQ(*out, expected);
    EXPECT_EQ(p->getBytes(), expected);

    // Here the base is the page's own, so nothing is inserted up front; the frame's name is split.
    auto own = scan("<base href=\"http://s/\"><a href=x>1</a><a href='X/'>2</a>"
                    "<frame src=\"x\"><a href=y>3</a><a href=x>4</a>");
    const auto marked = highlight(*own, "http://s/x");
    ASSERT_TRUE(marked);
    // Every insertion shortens the part of the page still scanned, so the last link stays
    // unmarked.
    EXPECT_EQ(*marked,
              "<base href=\"http://s/\"><a" + style + " href=x>1</a><a" + style
                      + " href='X/'>2</a><f" + style
                      + "rame src=\"x\"><a href=y>3</a><a href=x>4</a>");

    // A link that climbs above the root is recorded with its ".." and found under it.
    auto above =
            scan("<base href=\"http://s/\"><a href=\"../up.html\">u</a>" + QByteArray(100, ' '));
    const auto climbing = highlight(*above, "http://s/../up.html");
    ASSERT_TRUE(climbing);
    EXPECT_TRUE(climbing->contains(QByteArray("<a" + style + " href=\"../up.html\"")));
}

TEST(ParserHighlight, FailsWithoutHeadOrWithoutItsEnd)
{
    const std::pair<const char *, const char *> cases[] = {
        { "<p><a href=x>x</a>", "highlight failing because can't find head tag" },
        { "<header><a href=x>", "highlight failing because can't find head tag" },
        { "<p><head ", "highlight failing because can't find next > after head" },
    };
    for (const auto &[page, message] : cases) {
        orel::test::LogCapture log;
        auto p = scan(page);
        EXPECT_FALSE(highlight(*p, "http://s/x")) << page;
        EXPECT_TRUE(log.contains(QLatin1String(message))) << page;
    }
}
