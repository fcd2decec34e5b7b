// Title, description, robots markers, headings and highlighting of a bad link.
#include "ParserTestUtil.h"
#include "TestHome.h"

#include <gtest/gtest.h>

using namespace orel;
using orel::test::scan;

TEST(ParserMetadata, TitleIsTheTextOfABareTitleTagWithoutLineBreaks)
{
    struct Case
    {
        const char *page;
        const char *title;
        int endHead;
    };
    const Case cases[] = {
        { "<TITLE>Home\r\nPage</TITLE>", "HomePage", 0 },
        { "<title id=t>Home</title>", "", 0 },
        { "<head><title> A &amp; B </title></head><body>", "A & B", 39 },
        { "<head></head><title>late</title>", "", 13 },
        { "<head><title></title></head>", "", 28 },
    };
    for (const Case &c : cases) {
        auto p = scan(c.page);
        EXPECT_EQ(p->getTitle(), QString::fromUtf8(c.title)) << c.page;
        EXPECT_EQ(p->getEndHead(), c.endHead) << c.page;
        EXPECT_EQ(p->getCounter(), 0) << "handed over from a reset cursor";
    }
}

TEST(ParserMetadata, DescriptionKeywordsAndCanonicalComeFromTheHead)
{
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

    EXPECT_EQ(OrelParser::pullOutMetaDescription(QStringLiteral("meta content=\"a 'b'\"")),
        QStringLiteral("a 'b'"));
    EXPECT_EQ(OrelParser::pullOutMetaDescription(QStringLiteral("meta name=x")), QString());
}

TEST(ParserMetadata, RobotsMarkersCountOnlyInMetaTagsOfTheHead)
{
    struct Case
    {
        const char *page;
        bool indexed;
        bool headNofollow;
    };
    const Case cases[] = {
        { "<meta name='googlebot' content='noindex'>", false, false },
        { "<head></head><meta name=robots content=noindex>", true, false },
        { "<head><META name=robots content=\"NoIndex, NoFollow\"></head>", false, true },
        { "<head><link rel=nofollow><a href=noindex></head>", true, false },
        { "<head><title>noindex nofollow</title></head>", true, false },
    };
    for (const Case &c : cases) {
        auto p = scan(c.page, true);
        EXPECT_EQ(p->getShouldBeIndexed(), c.indexed) << c.page;
        EXPECT_EQ(p->getHeadContainsNoFollow(), c.headNofollow) << c.page;
    }
    // Unchecked markers are not looked for.
    auto p = OrelParser::initWithData(
        "<meta name=robots content='noindex,nofollow'>", QString(), true, true, false, false);
    EXPECT_TRUE(p->getShouldBeIndexed());
    EXPECT_FALSE(p->getHeadContainsNoFollow());
}

TEST(ParserMetadata, HeadingsAreTheFirstLevelOnesOfTheBody)
{
    EXPECT_EQ(scan("<h1>A</h1><h2>x</h2><H1> B </H1><h1></h1></body><h1>C</h1>")->findHeadings(),
        QStringLiteral("A, B"));
    EXPECT_EQ(scan("<h1 class=x>A</h1><h2>x</h2>")->findHeadings(), QString());
}

namespace {
const QByteArray style = " style = \"S\"";
}

TEST(ParserHighlight, InsertsABaseAfterHeadAndMarksEveryOccurrence)
{
    const QByteArray padding = "<p>" + QByteArray(200, '.') + "</p></body></html>";
    const QByteArray page = "<html><head><title>t</title></head><body>\n"
                            "<a href=\"bad.html\">one</a>\n<a href=\"ok.html\">two</a>\n"
                            "<a\nhref=\"http://site/bad.html\">three</a>\n"
        + padding;
    auto p = scan(page);
    const auto out = p->highlightBadink(QStringLiteral("http://site/bad.html"),
        QString::fromLatin1(style), QStringLiteral("http://site/"), false, false);
    ASSERT_TRUE(out);
    QByteArray expected = page;
    expected.replace("<head>", "<head>\n<base href = \"http://site/\">\n");
    expected.replace("<a href=\"bad", QByteArray("<a" + style + " href=\"bad"));
    expected.replace("<a\nhref", QByteArray("<a" + style + "\nhref"));
    EXPECT_EQ(*out, expected);
    EXPECT_EQ(p->getBytes(), expected);
}

TEST(ParserHighlight, PageWithItsOwnBaseIsMarkedUpToTheOriginalLength)
{
    // The base is the page's own, so nothing is inserted up front; the frame's name is split.
    const QByteArray page = "<base href=\"http://s/\"><a href=x>1</a><a href='X/'>2</a>"
                            "<frame src=\"x\"><a href=y>3</a><a href=x>4</a>";
    auto p = scan(page);
    const auto out = p->highlightBadink(QStringLiteral("http://s/x"), QString::fromLatin1(style),
        QStringLiteral("http://s/"), false, false);
    ASSERT_TRUE(out);
    // Every insertion shortens the part of the page still scanned, so the last link stays
    // unmarked.
    EXPECT_EQ(*out,
        "<base href=\"http://s/\"><a" + style + " href=x>1</a><a" + style + " href='X/'>2</a><f"
            + style + "rame src=\"x\"><a href=y>3</a><a href=x>4</a>");
}

TEST(ParserHighlight, MatchesByContainmentWhenIgnoringTheQuery)
{
    const QByteArray page
        = "<base href=\"http://s/\"><a href=\"p.html\">p</a>" + QByteArray(100, ' ');
    for (bool ignoringQS : { true, false }) {
        auto p = scan(page);
        const auto out = p->highlightBadink(QStringLiteral("http://s/p.html?x=1"),
            QString::fromLatin1(style), QStringLiteral("http://s/"), ignoringQS, false);
        ASSERT_TRUE(out);
        EXPECT_EQ(out->contains(style), ignoringQS);
    }
}

TEST(ParserHighlight, FailsWithoutHeadOrWithoutItsEnd)
{
    struct Case
    {
        const char *page;
        const char *message;
    };
    const Case cases[] = {
        { "<p><a href=x>x</a>", "highlight failing because can't find head tag" },
        { "<header><a href=x>", "highlight failing because can't find head tag" },
        { "<p><head ", "highlight failing because can't find next > after head" },
    };
    for (const Case &c : cases) {
        orel::test::LogCapture log;
        auto p = scan(c.page);
        EXPECT_FALSE(p->highlightBadink(QStringLiteral("http://s/x"), QString::fromLatin1(style),
            QStringLiteral("http://s/"), false, false))
            << c.page;
        EXPECT_TRUE(log.contains(QLatin1String(c.message))) << c.page;
    }
}

TEST(ParserHighlight, StyleTextsScaleColourFractions)
{
    EXPECT_EQ(OrelParser::borderStyle(QStringLiteral("2px"), QStringLiteral("solid"), 1.0, 0.5, 0),
        QStringLiteral(" style = \"border:2px solid rgb(255,127,0);\""));
    EXPECT_EQ(OrelParser::backgroundStyle(0.2, 0.999, 1.0),
        QStringLiteral(" style = \"background:rgb(51,254,255);\""));
}
