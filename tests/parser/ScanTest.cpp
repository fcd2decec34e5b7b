// The scanner's cursor: tag recognition, comments, scripts, values, text runs, entities, the tag
// and record readers, and input that is not a page.
#include "ParserTestUtil.h"

#include "parser/OrelDbItem.h"
#include "parser/OrelParserText.h"
#include "parser/OrelXmlTag.h"

#include <gtest/gtest.h>

#include <QFile>

#include <cstring>

#include <sys/stat.h>

using namespace orel;
using orel::test::hrefs;
using orel::test::scan;

TEST(ParserScan, RecognisesTagsByTheirExactBytesSkipsCommentsAndScriptsAndReadsValues)
{
    const std::pair<const char *, QStringList> cases[] = {
        { "<a href='x.html'>X</a>", { "x.html" } },
        { "<A HREF=\"X.html\">X</A>", { "X.html" } },
        { "<a>no</a><a\thref='tab'>t</a>", {} },
        { "<a\nhref='lf'><a\rhref='cr'>", { "lf", "cr" } },
        { "<  a href='spaced'>", { "spaced" } },
        { "<area shape=rect href='m.html'><AREA href='M.html'>", { "m.html", "M.html" } },
        { "<abbr title=x href='no'>", {} },
        { "<are>x</are><a href='after'>", { "after" } },
        { "<iframe src='i.html'></iframe>", {} },
        { "<frame src='f.html'><FRAME SRC=\"F.html\"><frame>", { "f.html", "F.html" } },
        { "<link href='l.css'><base href='b/'>", {} },
        // Comments end at "->"; "<!" constructs are passed over.
        { "<!DOCTYPE html><a href='d'>", { "d" } },
        { "<!-- <a href='no'> --><a href='yes'>", { "yes" } },
        { "<!-- x -> <a href='yes'>", { "yes" } },
        { "<!-- a - > <a href='no'> -- ><a href='no2'> ---><a href='y'>", { "y" } },
        { "<!-><a href='no'>-><a href='y'>", { "y" } }, // the opening dash cannot close it
        { "<!-- never closed <a href='no'>", {} },
        // Scripts are skipped whole, whatever their attributes (a src is not a link).
        { "<script>var s='<a href=\"no\">';</script><a href='yes'>", { "yes" } },
        { "<SCRIPT type=x>if (a<b) {}</SCRIPT ><a href='yes'>", { "yes" } },
        { "<script>document.write('<a href=no>')", {} },
        { "<scripts><a href='after'>", { "after" } },
    };
    for (const auto &[page, expected] : cases)
        EXPECT_EQ(hrefs(page), expected) << page;

    // Values are taken as written: quoted or bare, trimmed or not, escaped.
    const std::tuple<const char *, bool, QStringList> values[] = {
        { "<a href=\"\">", true, { "" } },
        { "<a class=x href = 'p.html' rel='nofollow'>", false, { "p.html" } },
        { "<a href=plain.html class=x>", false, { "plain.html" } },
        { "<a href=' {a}.html '>", true, { "%7Ba%7D.html" } },
        { "<a href=' {a}.html '>", false, { "%7Ba%7D.html%20" } }, // leading spaces are skipped
        { "<a href=\"?a=1&amp;b=2\">", false, { "?a=1&b=2" } },
        { "<a href=\"'both'\">", true, { "both" } },
        { "<a href=\"'both'\">", false, { "both'" } },
        { "<a href=\"x\ny.html\">", false, { "xy.html" } },
        { "<a href=\"caf\xc3\xa9.html\">", false, { "caf\xc3\xa9.html" } },
        { "<a data-href='d' href='h'>", false, { "h" } },
        { "<a hreflang='en' href='h'>", false, { "lang='en'" } },
        { "<frame src=' {f} '>", true, { "{f}" } },
        { "<frame src=' {f} '>", false, { "%20{f}%20" } },
    };
    for (const auto &[page, trim, expected] : values)
        EXPECT_EQ(hrefs(page, trim), expected) << page << " trim " << trim;

    // A value is cut at 1,000 bytes and scanning goes on after it.
    EXPECT_EQ(hrefs("<a href='" + QByteArray(1500, 'u') + "'>x</a><a href=next>"),
              (QStringList { QString(1000, QLatin1Char('u')), QStringLiteral("next") }));
}

TEST(ParserScan, LinkTextIsTrimmedUnescapedInOrderDecodedAndMarksImages)
{
    const std::pair<const char *, QStringList> cases[] = {
        { "<a href=x>  Home  </a>", { "x|Home" } },
        { "<a href=x>&AMP;lt;b&Gt; &quot;q&quot; &apos;s&apos; &nbsp;&#169;</a>",
          { "x|<b> \"q\" 's' &nbsp;&#169;" } },
        // &quot; is replaced before &amp;, so an escaped &quot; stays half done.
        { "<a href=x>&amp;amp; &amp;quot;&QUOT; &#38; &copy;</a>",
          { "x|&amp; &quot;\" &#38; &copy;" } },
        { "<a href=x>Don\x92t \x93go\x94</a>",
          { "x|Don\xe2\x80\x99t \xe2\x80\x9cgo\xe2\x80\x9d" } },
        { "<a href=x><img src='y.gif' alt='Go'></a>",
          { "x|[linked img]:Go", "y.gif|[img src]:Go" } },
        { "<a href=x>Go <IMG SRC=y.gif></a>", { "x|Go [linked img]", "y.gif|[img src]" } },
        { "<img src='a b.png' alt='Logo'>", { "a%20b.png|[img src]:Logo" } },
        { "<img src=\"a.png\" alt=\"It's\">", { "a.png|[img src]:It's" } },
        { "<img src='a.png' alt=Logo>", { "a.png|[img src]" } },
        { "<img src='a.png' alt='Line\nbreak'>", { "a.png|[img src]:Linebreak" } },
        { "<frame src='f.html'>after frame<a href=y>", { "f.html|after frame", "y|" } },
        // A zref value is passed over, so its text is the link text.
        { "<a zref=\"abc\" class=z>zref link</a><a href=y>Y</a>",
          { "MCMS zref|zref link", "y|Y" } },
        { "<a zref=''>Z</a><a zref=bare>B</a>", { "MCMS zref|Z", "MCMS zref|B" } },
    };
    for (const auto &[page, expected] : cases)
        EXPECT_EQ(hrefs(page, false, true), expected) << page;

    // Without images the linked image is still named in the link text; a run stops at 1,500.
    auto p = scan("<a href=x><img src='y.gif' alt='Go'></a><a href=z>" + QByteArray(2000, 'w')
                  + "</a><a href=y>Y</a>");
    EXPECT_EQ(p->getNextHref(false, false), QStringLiteral("x"));
    EXPECT_EQ(p->getData(), QStringLiteral("[linked img]:Go"));
    EXPECT_EQ(p->getNextHref(false, false), QStringLiteral("z"));
    EXPECT_EQ(p->getData(), QString(1500, QLatin1Char('w')));
    EXPECT_EQ(p->getNextHref(false, false), QStringLiteral("y"));
    EXPECT_EQ(p->getData(), QStringLiteral("Y"));

    // A crawl reads every text of a page into the same string: each comes out whole whatever
    // the string held before, and a copy that shared its buffer keeps its own text.
    auto q = scan("<a href=a>  long first text  </a><a href=b>caf\xe9</a><a href=c></a>"
                  "<a href=d>&amp;lt;x</a><a href=e> </a><a href=f>Y</a>");
    QString reused = QStringLiteral("an earlier link text, longer than any of those below");
    const QString copy = reused;
    QStringList texts;
    while (q->getNextHref(false, false)) {
        q->getData(reused);
        EXPECT_FALSE(reused.isNull());
        texts << QString(reused.constData(), reused.size()); // a copy: the buffer stays unshared
    }
    EXPECT_EQ(texts, QStringList({ "long first text", "caf\u00e9", "", "<x", "", "Y" }));
    EXPECT_EQ(copy, QStringLiteral("an earlier link text, longer than any of those below"));
}

TEST(ParserScan, TextIsUtf8ElseLatin1ReadAsWindows1252)
{
    const std::pair<const char *, const char16_t *> cases[] = {
        { "", u"" },
        { "plain", u"plain" },
        { "caf\xc3\xa9 \xe2\x82\xac", u"caf\u00e9 \u20ac" }, // UTF-8
        { "\xc2\x93", u"\u0093" }, // valid UTF-8 wins, even for a C1 control
        { "caf\xe9 na\xefve \xff", u"caf\u00e9 na\u00efve \u00ff" }, // pure Latin 1
        { "Don\x92t \x93q\x94 \x96 \x97 \x85 \x80\x8a\x9f",
          u"Don\u2019t \u201cq\u201d \u2013 \u2014 \u2026 \u20ac\u0160\u0178" },
        { "\x81\x8d\x8f\x90\x9d", u"\u0081\u008d\u008f\u0090\u009d" }, // undefined: C1
        { "\xc3\xa9 \x92 \xe9", u"\u00c3\u00a9 \u2019 \u00e9" }, // not UTF-8 as a whole
    };
    for (const auto &[bytes, text] : cases) {
        const QString expected = QString::fromUtf16(text);
        EXPECT_EQ(parsertext::decode(bytes, qsizetype(std::strlen(bytes))), expected) << bytes;
        QString into = QStringLiteral("reused");
        parsertext::decode(bytes, qsizetype(std::strlen(bytes)), into);
        EXPECT_EQ(into, expected) << bytes;
    }
}

TEST(ParserScan, TagReaderMarksClosingTagsAndCutsAt1000Bytes)
{
    auto p = scan("<br/><P class=x>text</p><img src=\"a/b\"><" + QByteArray(1200, 'q') + ">");
    QStringList tags; // the tag's text, "/" appended when it closes
    while (auto tag = p->getTag(false))
        tags << tag->getData() + QLatin1String(tag->isClosing() ? "/" : "");
    EXPECT_EQ(tags,
              (QStringList { "br/", "P class=x", "p/", "img src=\"a/b\"/",
                             QString(1000, QLatin1Char('q')) }));
}

TEST(ParserScan, ItemReaderTurnsRecordFileIntoRows)
{
    const QString path = orel::test::home() + QStringLiteral("/links.xml");
    // The declaration counts as the first level, the root as the second.
    orel::test::writeFile(path,
                          "<?xml version=\"1.0\"?>\n<root>\n <link>\n  <url>http://a/?x=1&amp;y=2"
                          "</url>\n  <status>200 no error</status>\n </link>\n <link>\n  <url>"
                          "http://b/</url>\n </link>\n</root>\n");
    auto p = OrelParser::initWithFilePath(path);
    ASSERT_TRUE(p);
    QStringList rows; // data|name|parent|grandparent|new parent
    while (auto item = p->getItem())
        rows << QStringList { item->getData(), item->getName(), item->getParentName(),
                              item->getGrandParentName(), item->isNewParent() ? "new" : "" }
                        .join(QLatin1Char('|'));
    EXPECT_EQ(rows,
              (QStringList { "http://a/?x=1&y=2|url|link|root|new",
                             "200 no error|status|link|root|", "http://b/|url|link|root|new" }));
    EXPECT_FALSE(OrelParser::initWithFilePath(path + QStringLiteral(".missing")));
    // Neither a FIFO (opening it would wait for a writer for ever) nor a device is read.
    const QString fifo = path + QStringLiteral(".fifo");
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    EXPECT_FALSE(OrelParser::initWithFilePath(fifo));
    EXPECT_FALSE(OrelParser::initWithFilePath(QStringLiteral("/dev/zero")));
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
        EXPECT_FALSE(p->getTag(false));
    }
    {
        orel::test::LogCapture log;
        EXPECT_FALSE(scan(QByteArray()));
        EXPECT_TRUE(log.contains(QStringLiteral("data is invalid")));
    }
    // NUL bytes only; NULs inside a value are dropped and a NUL ends the text.
    {
        auto p = scan(QByteArray(65536, '\0'));
        ASSERT_TRUE(p);
        EXPECT_FALSE(p->getNextHref(true, true));
        EXPECT_EQ(p->getData(), QString());
        const char nuls[] = "<a href='\0x'>ab\0cd</a>";
        EXPECT_EQ(hrefs(QByteArray(nuls, sizeof nuls - 1), false, true), QStringList { "x|ab" });
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

// A page past 2 GiB is read to its end: the cursor and the lengths are 64-bit. Costs about 2 GiB
// and a few seconds; filtered out with --gtest_filter=-*.Large*.
TEST(ParserScan, LargePageIsReadToItsLastByte)
{
    const QByteArray head = "<html><head><title>Big</title></head><body><a href=first>F</a>";
    const QByteArray tail = "<a href='tail.html'>Tail</a></body></html>";
    const qsizetype size = (qsizetype(1) << 31) + 4096;
    QByteArray page(size, Qt::Uninitialized);
    std::memcpy(page.data(), head.constData(), size_t(head.size()));
    std::memset(page.data() + head.size(), 'x', size_t(size - head.size() - tail.size()));
    std::memcpy(page.data() + size - tail.size(), tail.constData(), size_t(tail.size()));
    auto p = scan(page);
    ASSERT_TRUE(p);
    EXPECT_EQ(p->getLength(), size);
    EXPECT_EQ(p->getTitle(), QStringLiteral("Big"));
    EXPECT_EQ(p->getNextHref(true, false), QStringLiteral("first"));
    EXPECT_EQ(p->getNextHref(true, false), QStringLiteral("tail.html"));
    EXPECT_GT(p->getCounter(), qsizetype(1) << 31);
    EXPECT_EQ(p->getData(), QStringLiteral("Tail"));
    EXPECT_FALSE(p->getNextHref(true, false));
}
