// The scanner's cursor: tag recognition, comments, text runs, entities and the tag reader.
#include "ParserTestUtil.h"
#include "TestHome.h"

#include "parser/OrelDbItem.h"
#include "parser/OrelXmlTag.h"

#include <gtest/gtest.h>

#include <QFile>

using namespace orel;
using orel::test::hrefs;
using orel::test::hrefsWithText;
using orel::test::scan;

TEST(ParserScan, RecognisesAnchorsAreasAndFramesByTheirExactBytes)
{
    struct Case
    {
        const char *page;
        QStringList expected;
    };
    const Case cases[] = {
        { "<a href='x.html'>X</a>", { "x.html" } },
        { "<A HREF=\"X.html\">X</A>", { "X.html" } },
        { "<a>no</a><a\thref='tab'>t</a>", {} },
        { "<a\nhref='lf'>", { "lf" } },
        { "<a\rhref='cr'>", { "cr" } },
        { "<  a href='spaced'>", { "spaced" } },
        { "<area shape=rect href='m.html'>", { "m.html" } },
        { "<AREA href='M.html'>", { "M.html" } },
        { "<abbr title=x href='no'>", {} },
        { "<are>x</are><a href='after'>", { "after" } },
        { "<iframe src='i.html'></iframe>", {} },
        { "<frame src='f.html'>", { "f.html" } },
        { "<FRAME SRC=\"F.html\">", { "F.html" } },
        { "<frame>", {} },
        { "<link href='l.css'><base href='b/'>", {} },
    };
    for (const Case &c : cases)
        EXPECT_EQ(hrefs(c.page), c.expected) << c.page;
}

TEST(ParserScan, CommentsEndAtDashGreaterThanAndDoctypesArePassedOver)
{
    struct Case
    {
        const char *page;
        QStringList expected;
    };
    const Case cases[] = {
        { "<!DOCTYPE html><a href='d'>", { "d" } },
        { "<!-- <a href='no'> --><a href='yes'>", { "yes" } },
        { "<!-- x -> <a href='yes'>", { "yes" } },
        { "<!-- a - > <a href='no'> -- ><a href='no2'> ---><a href='y'>", { "y" } },
        // The dash that opens the comment cannot also close it.
        { "<!-><a href='no'>-><a href='y'>", { "y" } },
        { "<!-- never closed <a href='no'>", {} },
        { "<!-- one -->text<!-- two --><a href='z'>", { "z" } },
    };
    for (const Case &c : cases)
        EXPECT_EQ(hrefs(c.page), c.expected) << c.page;
}

TEST(ParserScan, ScriptsAreSkippedWholeAndTheirSrcIsNotALink)
{
    struct Case
    {
        const char *page;
        QStringList expected;
    };
    const Case cases[] = {
        { "<script>var s='<a href=\"no\">';</script><a href='yes'>", { "yes" } },
        { "<SCRIPT type=x>if (a<b) {}</SCRIPT ><a href='yes'>", { "yes" } },
        { "<script src='s.js'></script><a href='yes'>", { "yes" } },
        { "<script>document.write('<a href=no>')", {} },
        { "<scripts><a href='after'>", { "after" } },
    };
    for (const Case &c : cases)
        EXPECT_EQ(hrefs(c.page), c.expected) << c.page;
}

TEST(ParserScan, LinkTextIsTrimmedUnescapedAndMarksImages)
{
    struct Case
    {
        const char *page;
        QStringList expected;
    };
    const Case cases[] = {
        { "<a href=x>  Home  </a>", { "x|Home" } },
        { "<a href=x> </a>", { "x|" } },
        { "<a href=x>\n</a>", { "x|" } },
        { "<a href=x></a>", { "x|" } },
        { "<a href=x>Fish &amp; Chips</a>", { "x|Fish & Chips" } },
        { "<a href=x>&AMP;lt;b&Gt; &quot;q&quot; &apos;s&apos; &nbsp;&#169;</a>",
            { "x|<b> \"q\" 's' &nbsp;&#169;" } },
        { "<a href=x>caf\xc3\xa9</a>", { "x|caf\xc3\xa9" } },
        { "<a href=x><img src='y.gif' alt='Go'></a>",
            { "x|[linked img]:Go", "y.gif|[img src]:Go" } },
        { "<a href=x>Go <IMG SRC=y.gif></a>", { "x|Go [linked img]", "y.gif|[img src]" } },
        { "<img src='a b.png' alt='Logo'>", { "a%20b.png|[img src]:Logo" } },
        { "<img src=\"a.png\" alt=\"It's\">", { "a.png|[img src]:It's" } },
        { "<img src='a.png' alt=Logo>", { "a.png|[img src]" } },
        { "<img src='a.png' alt='Line\nbreak'>", { "a.png|[img src]:Linebreak" } },
        { "<frame src='f.html'>after frame<a href=y>", { "f.html|after frame", "y|" } },
    };
    for (const Case &c : cases)
        EXPECT_EQ(hrefsWithText(c.page), c.expected) << c.page;

    // Without images the linked image is still named in the link text.
    auto p = scan("<a href=x><img src='y.gif' alt='Go'></a><a href=z>Z</a>");
    EXPECT_EQ(p->getNextHref(false, false), QStringLiteral("x"));
    EXPECT_EQ(p->getData(), QStringLiteral("[linked img]:Go"));
    EXPECT_EQ(p->getNextHref(false, false), QStringLiteral("z"));
    EXPECT_EQ(p->getData(), QStringLiteral("Z"));
}

TEST(ParserScan, TextRunsAreDecodedInOrderAndCutAt1500Bytes)
{
    // ISO Latin 1 text that is not UTF-8.
    EXPECT_EQ(
        hrefsWithText("<a href=x>caf\xe9</a>"), QStringList { QStringLiteral("x|caf\u00e9") });
    // A zero byte ends the text.
    EXPECT_EQ(hrefsWithText(QByteArray("<a href=x>ab\0cd</a>", 19)), QStringList { "x|ab" });

    const QByteArray longText(2000, 'w');
    auto p = scan("<a href=x>" + longText + "</a><a href=y>Y</a>");
    ASSERT_EQ(p->getNextHref(false, false), QStringLiteral("x"));
    EXPECT_EQ(p->getData().size(), 1500);
    EXPECT_EQ(p->getNextHref(false, false), QStringLiteral("y"));
    EXPECT_EQ(p->getData(), QStringLiteral("Y"));
}

TEST(ParserScan, EntitiesAreReplacedInOrderSoAmpersandEscapesUnfoldTwice)
{
    struct Case
    {
        const char *in;
        const char *out;
    };
    const Case cases[] = {
        { "a &amp; b", "a & b" },
        { "&amp;lt;", "<" },
        { "&amp;gt;&QUOT;", ">\"" },
        { "&amp;amp;", "&amp;" },
        { "&amp;quot;", "&quot;" }, // quotes go first, so this one stays half done
        { "&#38; &copy;", "&#38; &copy;" },
    };
    for (const Case &c : cases) {
        QString s = QString::fromUtf8(c.in);
        OrelParser::unescapeEntities(s);
        EXPECT_EQ(s, QString::fromUtf8(c.out)) << c.in;
    }
}

TEST(ParserScan, TagReaderMarksClosingTagsAndCutsAt1000Bytes)
{
    auto p = scan("<br/><P class=x>text</p><img src=\"a/b\"><" + QByteArray(1200, 'q') + ">");
    struct Expect
    {
        const char *text;
        bool closing;
    };
    const Expect expected[]
        = { { "br", true }, { "P class=x", false }, { "p", true }, { "img src=\"a/b\"", true } };
    for (const Expect &e : expected) {
        auto tag = p->getTag(false);
        ASSERT_TRUE(tag);
        EXPECT_EQ(tag->getData(), QLatin1String(e.text));
        EXPECT_EQ(tag->isClosing(), e.closing) << e.text;
    }
    auto big = p->getTag(false);
    ASSERT_TRUE(big);
    EXPECT_EQ(big->getData().size(), 1000);
    EXPECT_FALSE(p->getTag(false));
}

TEST(ParserScan, ItemReaderTurnsRecordFileIntoRows)
{
    const QString path = orel::test::home() + QStringLiteral("/links.xml");
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    // The declaration counts as the first level, the root as the second.
    f.write("<?xml version=\"1.0\"?>\n<root>\n <link>\n  <url>http://a/?x=1&amp;y=2</url>\n"
            "  <status>200 no error</status>\n </link>\n <link>\n  <url>http://b/</url>\n"
            " </link>\n</root>\n");
    f.close();
    auto p = OrelParser::initWithFilePath(path);
    ASSERT_TRUE(p);
    struct Row
    {
        const char *data, *name, *parent, *grandParent;
        bool newParent;
    };
    const Row rows[] = { { "http://a/?x=1&y=2", "url", "link", "root", true },
        { "200 no error", "status", "link", "root", false },
        { "http://b/", "url", "link", "root", true } };
    for (const Row &r : rows) {
        auto item = p->getItem();
        ASSERT_TRUE(item) << r.data;
        EXPECT_EQ(item->getData(), QLatin1String(r.data));
        EXPECT_EQ(item->getName(), QLatin1String(r.name));
        EXPECT_EQ(item->getParentName(), QLatin1String(r.parent));
        EXPECT_EQ(item->getGrandParentName(), QLatin1String(r.grandParent));
        EXPECT_EQ(item->isNewParent(), r.newParent) << r.data;
    }
    EXPECT_FALSE(p->getItem());
    EXPECT_FALSE(OrelParser::initWithFilePath(path + QStringLiteral(".missing")));
}

TEST(ParserScan, WordCounterCountsBodyWordsOutsideTagsAndComments)
{
    auto p = scan("<head><title>Not counted</title></head>"
                  "<body>Hello big world, <b>two</b>words 'end'<!-- not these --></body>");
    EXPECT_EQ(p->getWordCount(), 0);
    p->setWordCounting(true);
    while (p->getNextHref(true, false)) { }
    EXPECT_EQ(p->getWordCount(), 6);
}

TEST(ParserScan, BadInputEndsCleanly)
{
    // A zero-byte page: every reader answers "nothing".
    {
        auto p = scan(QByteArray(""));
        ASSERT_TRUE(p);
        EXPECT_EQ(p->getTitle(), QString());
        EXPECT_FALSE(p->getBaseHref());
        EXPECT_FALSE(p->getNextHref(true, true));
        EXPECT_EQ(p->getData(), QString());
        EXPECT_EQ(p->findHeadings(), QString());
        EXPECT_FALSE(p->getNextImg());
        EXPECT_FALSE(p->getTag(false));
    }
    {
        orel::test::LogCapture log;
        EXPECT_FALSE(scan(QByteArray()));
        EXPECT_TRUE(log.contains(QStringLiteral("data is invalid")));
    }
    // NUL bytes only, and NULs between tags.
    {
        auto p = scan(QByteArray(65536, '\0'));
        ASSERT_TRUE(p);
        EXPECT_FALSE(p->getNextHref(true, true));
        EXPECT_EQ(p->getData(), QString());
        auto q = scan(QByteArray("<a href='\0x'>\0\0</a>", 19));
        EXPECT_EQ(q->getNextHref(true, false), QStringLiteral("x"));
        EXPECT_EQ(q->getData(), QString());
    }
    // 50 MB without a ">": no hang, a cut value, then the end.
    {
        QByteArray page("<html><head><title>");
        page += QByteArray(50 * 1024 * 1024, 'x');
        page.insert(1000, "<a href='");
        auto p = scan(page);
        ASSERT_TRUE(p);
        EXPECT_EQ(p->getTitle().size(), 981); // the title runs to the next "<"
        const auto first = p->getNextHref(true, true);
        ASSERT_TRUE(first);
        EXPECT_EQ(first->size(), 1000);
        EXPECT_FALSE(p->getNextHref(true, true));
        EXPECT_FALSE(p->getNextHref(true, true));
    }
    // After the page is released the readers say so.
    {
        auto p = scan("<a href=x>");
        p->curlUpAndDie();
        orel::test::LogCapture log;
        EXPECT_FALSE(p->getNextHref(true, false));
        EXPECT_TRUE(log.contains(QStringLiteral("getNextHref returning nil (no data)")));
    }
}
