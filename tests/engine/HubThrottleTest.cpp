// Crawls of hosts that throttle or refuse crawlers, against the fixture server: retries after
// 429/503, the blocked verdict, the redirect history, per-host caps asserted on the server side,
// halving after a throttle, and the spacing of requests to one host.
#include "HubTestSupport.h"

#include "FixtureServer.h"
#include "links/SynchronousFetch.h"
#include "links/UrlRequest.h"

#include <QElapsedTimer>
#include <QTemporaryDir>

using namespace orel;
using orel::test::HubTest;
using orel::test::writeFile;

namespace {

// The text of a fixture route (counters and statistics).
QString fetchText(const test::FixtureServer &server, const QString &path)
{
    const FetchResult r = fetchSynchronously(fetchRequest(server.url(path), "test", 10));
    return QString::fromUtf8(r.body).trimmed();
}

// "max N" and the arrival times of the slow-host route.
struct HostStats
{
    int max = -1;
    std::vector<double> times;
};

HostStats hostStats(const test::FixtureServer &server)
{
    HostStats s;
    for (const QString &line : fetchText(server, "/host/stats").split('\n')) {
        const QStringList words = line.split(' ', Qt::SkipEmptyParts);
        if (words.value(0) == "max")
            s.max = words.value(1).toInt();
        for (int i = 1; words.value(0) == "times" && i < words.size(); ++i)
            s.times.push_back(words.at(i).toDouble());
    }
    return s;
}

QString links(const QStringList &hrefs)
{
    QString html = "<html><body>";
    for (const QString &h : hrefs)
        html += "<a href=\"" + h.toHtmlEscaped() + "\">" + h.toHtmlEscaped() + "</a>\n";
    return html + "</body></html>";
}

} // namespace

class HubThrottleTest : public HubTest
{
protected:
    QTemporaryDir dir;
    std::unique_ptr<test::FixtureServer> server;

    // A site whose start page links the given hrefs.
    void site(const QStringList &hrefs)
    {
        writeFile(dir.path() + "/index.html", links(hrefs).toUtf8());
        controls.qsButton = CheckState::Off; // the links differ in the query
        server = std::make_unique<test::FixtureServer>(dir.path());
        ASSERT_TRUE(server->isRunning()) << "the fixture server did not start";
    }

    // The record of a link as written on the page (not where it was sent on to).
    LinkCheckerUrl *record(const QString &path) const
    {
        for (int i = 0; i < hub->recordCount(); ++i) {
            if (hub->recordAt(i)->getLinkUrl() == server->url(path))
                return hub->recordAt(i);
        }
        ADD_FAILURE() << "no record of " << qPrintable(path);
        return nullptr;
    }
};

TEST_F(HubThrottleTest, ThrottledLinksAreTriedAgainAndRefusalsReadBlocked)
{
    const QStringList hrefs = {
        "/throttle/once?key=a&after=1",
        "/throttle/once?key=b",
        "/throttle/once?key=c&code=503",
        "/throttle/always?key=d&after=0",
        "/respond?status=503&h=cf-mitigated:challenge",
        "/respond?status=999",
        "/respond?status=403",
        "/status/404",
    };
    site(hrefs);
    controls.numberOfThreads = 4;
    QElapsedTimer clock;
    clock.start();
    ASSERT_TRUE(crawl(server->url("/index.html")));

    const struct
    {
        const char *path;
        const char *status;
        bool blocked;
        int hits;
    } expected[] = {
        { "/throttle/once?key=a&after=1", "200 no error", false, 2 },
        { "/throttle/once?key=b", "200 no error", false, 2 }, // a default wait of 1 s
        { "/throttle/once?key=c&code=503", "200 no error", false, 2 },
        { "/throttle/always?key=d&after=0", "429 too many requests", true, 3 },
        { "/respond?status=503&h=cf-mitigated:challenge", "503 service unavailable", true, 0 },
        { "/respond?status=999", "999 unknown", true, 0 },
        { "/respond?status=403", "403 forbidden", false, 0 },
        { "/status/404", "404 not found", false, 0 },
    };
    for (const auto &e : expected) {
        const LinkCheckerUrl *r = record(e.path);
        if (!r)
            continue;
        EXPECT_EQ(r->getStatus(), QString(e.status)) << e.path;
        EXPECT_EQ(r->isBlocked(), e.blocked) << e.path;
        if (e.hits > 0) { // how often the server was asked
            const QString key = QUrl(server->url(e.path)).query().section('&', 0, 0).mid(4);
            EXPECT_EQ(fetchText(*server, "/throttle/hits?key=" + key), QString::number(e.hits))
                    << e.path;
        }
    }
    // A bad status stays bad whether blocked or not; the retries waited about a second.
    EXPECT_EQ(hub->summaryText(), QStringLiteral("9 of 9 links checked, 5 bad"));
    EXPECT_GE(clock.elapsed(), 900);
    EXPECT_EQ(hub->waitingToRetry(), 0);
    EXPECT_TRUE(hub->retryProgressText().isEmpty());
}

TEST_F(HubThrottleTest, AWaitHoldsNoSlotAndIsShownUntilTheRetry)
{
    site({ "/throttle/once?key=w&after=2", "/final", "/status/404", "/type/pdf" });
    controls.numberOfThreads = 1;
    start(server->url("/index.html"));
    // While the throttled link waits, the other links go through the one slot.
    QString shown;
    for (int i = 0; i < 100 && shown.isEmpty(); ++i) {
        spin(20);
        shown = hub->retryProgressText();
    }
    EXPECT_TRUE(shown.startsWith(", 1 waiting to retry (up to ")) << qPrintable(shown);
    EXPECT_GE(hub->pendingStarts(), 1);
    ASSERT_TRUE(runToEnd(15000));
    QStringList log = server->requestLog();
    log.removeFirst(); // the start page
    EXPECT_EQ(log,
              (QStringList { "GET /throttle/once?key=w&after=2", "GET /final", "GET /status/404",
                             "GET /type/pdf", "GET /throttle/once?key=w&after=2" }));
    EXPECT_EQ(record("/throttle/once?key=w&after=2")->getStatus(), QStringLiteral("200 no error"));
}

TEST_F(HubThrottleTest, APauseDuringAWaitLosesNothing)
{
    site({ "/throttle/once?key=p&after=1", "/final" });
    start(server->url("/index.html"));
    for (int i = 0; i < 100 && hub->waitingToRetry() == 0; ++i)
        spin(20);
    ASSERT_EQ(hub->waitingToRetry(), 1);
    hub->stop();
    EXPECT_EQ(hub->waitingToRetry(), 0);
    spin(1300); // the abandoned wait ends while paused and starts nothing
    EXPECT_TRUE(record("/throttle/once?key=p&after=1")->getStatus().isEmpty());
    hub->continueCrawl();
    ASSERT_TRUE(runToEnd(10000));
    EXPECT_EQ(record("/throttle/once?key=p&after=1")->getStatus(), QStringLiteral("200 no error"));
    EXPECT_EQ(hub->summaryText(), QStringLiteral("3 of 3 links checked, 0 bad"));
}

TEST_F(HubThrottleTest, RedirectHistoryListsEachHopAndIsClearedByTheNextFetch)
{
    const QString toThrottled = "/redirect/to?url=%2Fthrottle%2Fonce%3Fkey%3Dr%26after%3D0";
    site({ "/redirect/chain?n=3", "/final", toThrottled });
    ASSERT_TRUE(crawl(server->url("/index.html")));
    // A redirect to a throttled page: the retry starts again at the link and keeps one history.
    const LinkCheckerUrl *retried = record(toThrottled);
    ASSERT_TRUE(retried);
    EXPECT_EQ(retried->getStatus(), QStringLiteral("200 no error < 302 found"));
    EXPECT_EQ(retried->redirectHistory(),
              QStringList { server->url("/throttle/once?key=r&after=0") });
    EXPECT_EQ(fetchText(*server, "/throttle/hits?key=r"), QStringLiteral("2"));
    EXPECT_EQ(hub->summaryText(), QStringLiteral("4 of 4 links checked, 0 bad"));
    LinkCheckerUrl *chained = record("/redirect/chain?n=3");
    ASSERT_TRUE(chained);
    EXPECT_EQ(chained->redirectHistory(),
              (QStringList { server->url("/redirect/chain?n=2"), server->url("/redirect/chain?n=1"),
                             server->url("/final") }));
    EXPECT_EQ(chained->getRedir(), server->url("/final"));
    EXPECT_TRUE(record("/final")->redirectHistory().isEmpty());

    // A re-check goes to the target straight away: no hop this time.
    QSignalSpy counts(hub.get(), &LinkCheckerHub::countChanged);
    hub->setCurrentItem(chained);
    hub->reCheckCurrentItem();
    ASSERT_TRUE(counts.wait(5000));
    EXPECT_TRUE(chained->redirectHistory().isEmpty());
}

TEST_F(HubThrottleTest, HostConnectionsLimitCapsParallelFetchesOnTheServer)
{
    QStringList hrefs;
    for (int i = 0; i < 12; ++i)
        hrefs << QStringLiteral("/host/slow?ms=150&i=%1").arg(i);
    site(hrefs);
    controls.numberOfThreads = 8;
    const int limits[] = { 2, 0 };
    for (const int limit : limits) {
        fetchText(*server, "/host/reset");
        controls.hostConnectionsLimit = limit;
        hub.reset();
        ASSERT_TRUE(crawl(server->url("/index.html"))) << limit;
        EXPECT_EQ(hub->summaryText(), QStringLiteral("13 of 13 links checked, 0 bad")) << limit;
        const HostStats stats = hostStats(*server);
        if (limit > 0)
            EXPECT_EQ(stats.max, limit);
        else // without a cap the slots fill (the server sees them)
            EXPECT_GT(stats.max, 2);
    }
}

TEST_F(HubThrottleTest, AHostThatThrottledGetsHalfTheFetches)
{
    QStringList hrefs;
    for (int i = 0; i < 8; ++i)
        hrefs << QStringLiteral("/host/slow?ms=300&once=k%1").arg(i);
    site(hrefs);
    controls.numberOfThreads = 8;
    ASSERT_TRUE(crawl(server->url("/index.html")));
    EXPECT_EQ(hub->summaryText(), QStringLiteral("9 of 9 links checked, 0 bad"));
    const HostStats stats = hostStats(*server);
    EXPECT_GE(stats.max, 1);
    EXPECT_LE(stats.max, 4); // 8 slots, halved once by the burst of 429 answers
}

TEST_F(HubThrottleTest, HostDelaySpacesRequestsToOneHost)
{
    site({ "/host/slow?ms=10&i=1", "/host/slow?ms=10&i=2", "/host/slow?ms=10&i=3",
           "/host/slow?ms=10&i=4" });
    controls.numberOfThreads = 4;
    controls.hostDelay = 0.3;
    ASSERT_TRUE(crawl(server->url("/index.html")));
    EXPECT_EQ(hub->summaryText(), QStringLiteral("5 of 5 links checked, 0 bad"));
    const HostStats stats = hostStats(*server);
    ASSERT_EQ(stats.times.size(), 4u);
    // Loosely: a request that leaves late shortens the gap after it, never the whole span.
    for (std::size_t i = 1; i < stats.times.size(); ++i)
        EXPECT_GE(stats.times[i] - stats.times[i - 1], 0.15) << i;
    EXPECT_GE(stats.times.back() - stats.times.front(), 0.75);
    EXPECT_EQ(stats.max, 1);
}
