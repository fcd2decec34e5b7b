// Crawls that read robots.txt: each host's file read once before its first page, disallowed
// links never fetched and not counted bad, and nothing read when the setting is off.
#include "HubTestSupport.h"

#include "FixtureServer.h"
#include "engine/RobotsGate.h"

#include <QTemporaryDir>

namespace orel {
namespace {

using test::FixtureServer;
using test::HubTest;
using test::writeFile;

class RobotsCrawl : public HubTest
{
protected:
    QTemporaryDir dir;

    void SetUp() override
    {
        HubTest::SetUp();
        settings("robotsTxtButton=1;userAgentString=Orrelwick/9.9 (test)");
        controls.timeoutField = 10;
    }

    QString status(const QString &url) const
    {
        const LinkCheckerUrl *r = byUrl(url);
        return r ? r->getStatus() : QStringLiteral("(no record)");
    }

    static int requests(const FixtureServer &s, const QString &path)
    {
        return int(s.requestLog().count(QStringLiteral("GET ") + path));
    }
};

TEST_F(RobotsCrawl, DisallowedPagesAreNotFetchedAndNotBad)
{
    // The crawler's own group applies; the "*" group (which would forbid everything) does not.
    writeFile(dir.path() + "/robots.txt",
              "User-agent: *\nDisallow: /\n\n"
              "User-agent: otherbot\nUser-agent: orrelwick\n"
              "Disallow: /private/\nAllow: /private/open.html\nDisallow: /*.pdf$\n");
    writeFile(dir.path() + "/index.html",
              "<a href=\"/private/a.html\">a</a><a href=\"/private/open.html\">open</a>"
              "<a href=\"/public.html\">public</a><a href=\"/doc.pdf\">pdf</a>"
              "<a href=\"/missing.html\">gone</a>");
    for (const char *name : { "/private/a.html", "/private/open.html", "/public.html" })
        writeFile(dir.path() + name, "<p>page</p><a href=\"/private/a.html\">again</a>");
    writeFile(dir.path() + "/doc.pdf", "%PDF-1.4\n");
    FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());

    ASSERT_TRUE(crawl(server.url("/")));
    EXPECT_EQ(status(server.url("/private/a.html")), "blocked by robots.txt");
    EXPECT_EQ(status(server.url("/doc.pdf")), "blocked by robots.txt");
    EXPECT_EQ(status(server.url("/private/open.html")), "200 no error");
    EXPECT_EQ(status(server.url("/public.html")), "200 no error");
    EXPECT_EQ(status(server.url("/missing.html")), "404 not found");

    const QStringList log = server.requestLog();
    ASSERT_FALSE(log.isEmpty());
    EXPECT_EQ(log.first(), "GET /robots.txt") << log.join('\n').toStdString();
    EXPECT_EQ(requests(server, "/robots.txt"), 1);
    EXPECT_EQ(requests(server, "/private/a.html"), 0);
    EXPECT_EQ(requests(server, "/doc.pdf"), 0);

    // Left out, as links outside the crawl are: only the missing page is bad.
    EXPECT_EQ(hub->getBadCollectionCount(), 1);
    const LinkCheckerUrl *blocked = byUrl(server.url("/private/a.html"));
    ASSERT_NE(blocked, nullptr);
    EXPECT_TRUE(blocked->isGoodLink());
    EXPECT_FALSE(blocked->isInBadCollection());
    EXPECT_EQ(blocked->onPageCount(), 3); // every page that links to it is still listed
    EXPECT_EQ(hub->getNumberDone(), hub->recordCount());
}

TEST_F(RobotsCrawl, ARedirectToADisallowedPageIsNotFollowed)
{
    writeFile(dir.path() + "/robots.txt", "User-agent: *\nDisallow: /private/\n");
    writeFile(dir.path() + "/private/a.html", "<p>private</p>");
    FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());
    const QString moved = "/redirect/to?url=" + server.url("/private/a.html");
    writeFile(dir.path() + "/index.html", "<a href=\"" + moved.toUtf8() + "\">moved</a>");
    controls.qsButton = CheckState::Off;

    ASSERT_TRUE(crawl(server.url("/")));
    const LinkCheckerUrl *record = nullptr;
    for (int i = 0; !record && i < hub->recordCount(); ++i) {
        if (hub->recordAt(i)->getLinkUrl() == server.url(moved))
            record = hub->recordAt(i);
    }
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->getStatus(), "blocked by robots.txt");
    EXPECT_EQ(record->getRedir(), server.url("/private/a.html"));
    EXPECT_FALSE(record->isInBadCollection());
    EXPECT_EQ(requests(server, "/private/a.html"), 0);
    EXPECT_EQ(hub->getNumberDone(), hub->recordCount());
}

TEST_F(RobotsCrawl, EachHostHasItsOwnFileAndAHostWithoutOneGivesNoRules)
{
    // The site has no robots.txt (404: everything allowed); the other host forbids everything,
    // and a third host does not answer at all, which forbids everything too.
    QTemporaryDir other;
    writeFile(other.path() + "/robots.txt", "User-agent: *\nDisallow: /\n");
    writeFile(other.path() + "/x.html", "<p>x</p>");
    FixtureServer otherServer(other.path());
    ASSERT_TRUE(otherServer.isRunning());
    const QString silent = QStringLiteral("http://127.0.0.1:%1").arg(FixtureServer::freePort());
    QByteArray index = "<a href=\"/a.html\">a</a>";
    for (const char *path : { "/x.html", "/y.html", "/z.html" })
        index += "<a href=\"" + otherServer.url(path).toUtf8() + "\">o</a>";
    index += "<a href=\"" + silent.toUtf8() + "/s.html\">s</a>";
    writeFile(dir.path() + "/index.html", index);
    writeFile(dir.path() + "/a.html", "<p>a</p>");
    FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());

    ASSERT_TRUE(crawl(server.url("/")));
    EXPECT_EQ(status(server.url("/a.html")), "200 no error");
    for (const char *path : { "/x.html", "/y.html", "/z.html" })
        EXPECT_EQ(status(otherServer.url(path)), "blocked by robots.txt") << path;
    EXPECT_EQ(status(silent + "/s.html"), "blocked by robots.txt");
    EXPECT_EQ(requests(server, "/robots.txt"), 1);
    EXPECT_EQ(otherServer.requestLog(), QStringList { "GET /robots.txt" });
    EXPECT_EQ(hub->getBadCollectionCount(), 0);
}

TEST_F(RobotsCrawl, TheAnswerToTheFileDecidesAsRfc9309Says)
{
    // robots.status makes the server answer /robots.txt with that code; the body always
    // forbids /a.html, so only a 2xx reaches the rules.
    struct Case
    {
        const char *answer; // "" for a plain 200
        const char *aStatus;
        const char *bStatus;
    };
    const char *blocked = "blocked by robots.txt";
    const Case cases[] = {
        { "", blocked, "200 no error" },
        { "404", "200 no error", "200 no error" }, // unavailable: everything allowed
        { "410", "200 no error", "200 no error" },
        { "503", blocked, blocked }, // unreachable: nothing allowed
        { "500", blocked, blocked },
        { "301 /moved-robots.txt", "200 no error", blocked }, // redirect followed
    };
    for (const Case &c : cases) {
        QTemporaryDir root;
        writeFile(root.path() + "/robots.txt", "User-agent: *\nDisallow: /a.html\n");
        writeFile(root.path() + "/moved-robots.txt", "User-agent: *\nDisallow: /b.html\n");
        if (*c.answer)
            writeFile(root.path() + "/robots.status", c.answer);
        writeFile(root.path() + "/index.html",
                  "<a href=\"/a.html\">a</a><a href=\"/b.html\">b</a>");
        writeFile(root.path() + "/a.html", "<p>a</p>");
        writeFile(root.path() + "/b.html", "<p>b</p>");
        FixtureServer server(root.path());
        ASSERT_TRUE(server.isRunning());
        newHub();
        ASSERT_TRUE(crawl(server.url("/index.html"))) << c.answer;
        if (c.aStatus == blocked && c.bStatus == blocked) {
            // The start page is refused too: nothing else is found.
            EXPECT_EQ(hub->recordAt(0)->getStatus(), blocked) << c.answer;
            EXPECT_EQ(hub->recordCount(), 1) << c.answer;
            continue;
        }
        EXPECT_EQ(status(server.url("/a.html")), c.aStatus) << c.answer;
        EXPECT_EQ(status(server.url("/b.html")), c.bStatus) << c.answer;
    }
}

TEST_F(RobotsCrawl, AStartPageTheFileForbidsEndsTheCrawlAtOnce)
{
    writeFile(dir.path() + "/robots.txt", "User-agent: *\nDisallow: /\n");
    writeFile(dir.path() + "/index.html", "<a href=\"/a.html\">a</a>");
    FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());
    ASSERT_TRUE(crawl(server.url("/")));
    EXPECT_EQ(hub->recordCount(), 1);
    EXPECT_EQ(hub->recordAt(0)->getStatus(), "blocked by robots.txt");
    EXPECT_EQ(server.requestLog(), QStringList { "GET /robots.txt" });
}

TEST_F(RobotsCrawl, PauseAndContinueFetchTheFileAgainOnlyWhenItHadNotArrived)
{
    writeFile(dir.path() + "/robots.txt", "User-agent: *\nDisallow: /b\n");
    QByteArray index;
    for (int i = 0; i < 30; ++i) {
        const QByteArray name = QByteArray("/p").append(QByteArray::number(i)).append(".html");
        index.append("<a href=\"").append(name).append("\">p</a>");
        writeFile(dir.path() + QString::fromUtf8(name), "<p>p</p>");
    }
    index.append("<a href=\"/b.html\">b</a>");
    writeFile(dir.path() + "/index.html", index);
    FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());
    controls.numberOfThreads = 2;
    controls.delayField = 0.05;
    start(server.url("/"));
    ASSERT_TRUE(test::waitFor([&] { return hub->getNumberDone() > 3; }));
    hub->stop();
    spin(100);
    hub->continueCrawl();
    ASSERT_TRUE(runToEnd());
    EXPECT_EQ(status(server.url("/b.html")), "blocked by robots.txt");
    EXPECT_EQ(requests(server, "/robots.txt"), 1); // read before the pause, kept after it
    EXPECT_EQ(hub->getNumberDone(), hub->recordCount());
    EXPECT_EQ(hub->getBadCollectionCount(), 0);
}

TEST_F(RobotsCrawl, OffNothingIsRead)
{
    settings("robotsTxtButton=0");
    writeFile(dir.path() + "/robots.txt", "User-agent: *\nDisallow: /\n");
    writeFile(dir.path() + "/index.html", "<a href=\"/a.html\">a</a>");
    writeFile(dir.path() + "/a.html", "<p>a</p>");
    FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());
    ASSERT_TRUE(crawl(server.url("/")));
    EXPECT_EQ(status(server.url("/a.html")), "200 no error");
    EXPECT_EQ(requests(server, "/robots.txt"), 0);
}

TEST(RobotsGate, TheOriginOfAUrlNamesItsSchemeHostAndPort)
{
    const std::pair<const char *, const char *> cases[] = {
        { "http://Example.com/a/b?q=1#f", "http://example.com" },
        { "https://user:pw@example.com:8443/x", "https://example.com:8443" },
        { "http://127.0.0.1:8080", "http://127.0.0.1:8080" },
        { "file:///tmp/a.html", "" },
        { "ftp://example.com/a", "" },
        { "mailto:a@example.com", "" },
    };
    for (const auto &[url, origin] : cases)
        EXPECT_EQ(RobotsGate::originOf(QString::fromUtf8(url)), QString::fromUtf8(origin)) << url;
}

} // namespace
} // namespace orel
