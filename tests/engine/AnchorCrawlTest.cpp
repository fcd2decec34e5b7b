// Crawls that check fragments: one record per "page#name" decided from its page, the page
// fetched once, missing names bad with every page that uses them, and nothing of it when off.
#include "HubTestSupport.h"

#include "FixtureServer.h"

#include <QTemporaryDir>

namespace orel {
namespace {

using test::FixtureServer;
using test::HubTest;
using test::writeFile;

class AnchorCrawl : public HubTest
{
protected:
    QTemporaryDir dir;

    void SetUp() override
    {
        HubTest::SetUp();
        settings("checkAnchorsButton=1");
        writeFile(dir.path() + "/index.html",
                  "<h1 id=\"top\">Index</h1>"
                  "<a href=\"a.html#here\">here</a><a href=\"a.html#gone\">gone</a>"
                  "<a href=\"a.html#named\">named</a><a href=\"a.html\">plain</a>"
                  "<a href=\"#top\">top</a><a href=\"#nowhere\">nowhere</a>"
                  "<a href=\"b.html#x\">b</a><a href=\"missing.html#y\">missing</a>"
                  "<a href=\"doc.txt#line\">text</a>");
        writeFile(dir.path() + "/a.html",
                  "<div id=\"here\"></div><a name=\"named\"></a>"
                  "<script>document.write('<p id=\"gone\">')</script>"
                  "<a href=\"index.html#nowhere\">back</a>");
        writeFile(dir.path() + "/b.html", "<p>no names</p><a href=\"a.html#gone\">again</a>");
        writeFile(dir.path() + "/doc.txt", "plain text");
    }

    const LinkCheckerUrl *record(const QString &url) const { return byUrl(url); }
};

TEST_F(AnchorCrawl, EachFragmentTakesItsVerdictFromItsPage)
{
    FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());
    ASSERT_TRUE(crawl(server.url("/index.html")));

    struct Expect
    {
        const char *path;
        const char *status;
        bool bad;
    };
    const Expect expected[] = {
        { "/a.html#here", "200 no error", false },
        { "/a.html#named", "200 no error", false },
        { "/a.html#gone", "missing anchor", true },
        { "/index.html#top", "200 no error", false },
        { "/index.html#nowhere", "missing anchor", true },
        { "/b.html#x", "missing anchor", true },
        { "/missing.html#y", "404 not found", true }, // fares as its page
        { "/doc.txt#line", "200 no error", false }, // not a page: nothing to look for
        { "/a.html", "200 no error", false },
    };
    for (const Expect &e : expected) {
        const LinkCheckerUrl *r = record(server.url(QString::fromUtf8(e.path)));
        ASSERT_NE(r, nullptr) << e.path;
        EXPECT_EQ(r->getStatus(), e.status) << e.path;
        EXPECT_EQ(r->isInBadCollection(), e.bad) << e.path;
    }

    // A missing name is reported with every page that uses it.
    const LinkCheckerUrl *gone = record(server.url("/a.html#gone"));
    EXPECT_EQ(gone->getOnPageUrlArray(),
              (QStringList { server.url("/index.html"), server.url("/b.html") }));
    const LinkCheckerUrl *nowhere = record(server.url("/index.html#nowhere"));
    EXPECT_EQ(nowhere->getOnPageUrlArray(),
              (QStringList { server.url("/index.html"), server.url("/a.html") }));

    // Each page is fetched once, whatever fragments point at it.
    const QStringList log = server.requestLog();
    EXPECT_EQ(log.count("GET /a.html"), 1) << log.join('\n').toStdString();
    EXPECT_EQ(log.count("GET /index.html"), 1);
    for (const QString &line : log)
        EXPECT_FALSE(line.contains('#')) << line.toStdString();

    // missing.html, its fragment and the three missing names.
    EXPECT_EQ(hub->getBadCollectionCount(), 5);
    EXPECT_EQ(hub->getNumberDone(), hub->recordCount());
}

TEST_F(AnchorCrawl, AFragmentMetAfterItsPageWasReadIsDecidedAtOnce)
{
    // a.html is read long before c.html names one of its fragments.
    writeFile(dir.path() + "/index.html", "<a href=\"a.html\">a</a><a href=\"slow.html\">s</a>");
    writeFile(dir.path() + "/slow.html", "<a href=\"c.html\">c</a>");
    writeFile(dir.path() + "/c.html", "<a href=\"a.html#here\">h</a><a href=\"a.html#no\">n</a>");
    FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());
    ASSERT_TRUE(crawl(server.url("/index.html")));
    EXPECT_EQ(record(server.url("/a.html#here"))->getStatus(), "200 no error");
    EXPECT_EQ(record(server.url("/a.html#no"))->getStatus(), "missing anchor");
    // a.html's own link to a name index.html lacks.
    EXPECT_EQ(record(server.url("/index.html#nowhere"))->getStatus(), "missing anchor");
    EXPECT_EQ(hub->getBadCollectionCount(), 2);
}

TEST_F(AnchorCrawl, ARecheckOfAFixedPageDecidesItsFragmentsAnew)
{
    FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());
    ASSERT_TRUE(crawl(server.url("/index.html")));
    ASSERT_EQ(record(server.url("/missing.html#y"))->getStatus(), "404 not found");

    writeFile(dir.path() + "/missing.html", "<p id=\"y\">here now</p>");
    hub->reCheckBadItems();
    ASSERT_TRUE(runToEnd());
    EXPECT_EQ(record(server.url("/missing.html"))->getStatus(), "200 no error");
    // A re-check reads statuses only: the fragment fares as its page now does.
    EXPECT_EQ(record(server.url("/missing.html#y"))->getStatus(), "200 no error");
    EXPECT_FALSE(record(server.url("/missing.html#y"))->isInBadCollection());
    // Names the pages lack stay missing; fragment records are never fetched.
    EXPECT_EQ(record(server.url("/a.html#gone"))->getStatus(), "missing anchor");
    EXPECT_EQ(hub->getBadCollectionCount(), 3);
    for (const QString &line : server.requestLog())
        EXPECT_FALSE(line.contains('#')) << line.toStdString();
}

TEST_F(AnchorCrawl, OffFragmentsShareTheirPagesRecord)
{
    settings("checkAnchorsButton=0");
    FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());
    ASSERT_TRUE(crawl(server.url("/index.html")));
    for (int i = 0; i < hub->recordCount(); ++i)
        EXPECT_NE(hub->recordAt(i)->getStatus(), "missing anchor");
    // index, a, b, missing, doc: one record per page.
    EXPECT_EQ(hub->recordCount(), 5);
    EXPECT_EQ(hub->getBadCollectionCount(), 1);
}

TEST_F(AnchorCrawl, ALocalSiteIsCheckedTheSameWay)
{
    ASSERT_TRUE(crawl(QUrl::fromLocalFile(dir.path() + "/index.html").toString()));
    const QString base = QUrl::fromLocalFile(dir.path()).toString();
    EXPECT_EQ(record(base + "/a.html#here")->getStatus(), "200 no error (not http)");
    EXPECT_EQ(record(base + "/a.html#gone")->getStatus(), "missing anchor");
    EXPECT_EQ(record(base + "/index.html#nowhere")->getStatus(), "missing anchor");
}

} // namespace
} // namespace orel
