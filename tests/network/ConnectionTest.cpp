// URL transfers against the fixture server: callback order, redirects, authentication, TLS,
// failures, decoding, local files, cancelling and concurrency.
#include "FixtureServer.h"
#include "TestHome.h"

#include "links/SynchronousFetch.h"
#include "links/myNSURLConnection.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QPointer>
#include <QProcess>
#include <QThread>
#include <QTimer>
#include <QUrl>

#include <curl/curl.h>

#include <atomic>
#include <ctime>
#include <sys/stat.h>
#include <functional>
#include <string>
#include <thread>
#include <tuple>

using namespace orel;
using namespace orel::test;
using A = AuthChallenge::Answer;
using Conn = myNSURLConnection;

namespace {

// Records the callbacks as a trace: "send", ">302" (a redirect), "auth-basic" (asked whether it
// can authenticate), "challenge", "200" (the response), "data" (once per run of data), "finish",
// "fail". hook runs after each one, so a test can cancel or delete the connection there.
class Recorder : public ConnectionDelegate
{
public:
    QStringList events;
    QList<UrlRequest> proposals;
    std::optional<UrlResponse> response;
    std::optional<UrlError> error;
    QByteArray body;
    qint64 received = 0;
    bool keepBody = true;
    std::function<std::optional<UrlRequest>(const UrlRequest &, const UrlResponse *)> onSend;
    std::function<void(Conn *)> hook;
    bool acceptAuth = false;
    A authAnswer = A::None;

    std::string trace() const { return events.join(QLatin1Char(' ')).toStdString(); }
    void note(Conn *c, const QString &event)
    {
        if (event != "data" || events.isEmpty() || events.last() != event)
            events << event;
        if (hook)
            hook(c);
    }
    std::optional<UrlRequest> willSendRequest(Conn *c, const UrlRequest &proposed,
                                              const UrlResponse *redirect) override
    {
        proposals << proposed;
        note(c,
             redirect ? QStringLiteral(">%1").arg(redirect->statusCode) : QStringLiteral("send"));
        return onSend ? onSend(proposed, redirect) : std::optional(proposed);
    }
    bool canAuthenticateAgainstProtectionSpace(Conn *c, AuthMethod m) override
    {
        static const char *const names[] = { "trust", "basic", "digest", "other" };
        note(c, QStringLiteral("auth-") + QLatin1String(names[int(m)]));
        return acceptAuth;
    }
    void didReceiveAuthenticationChallenge(Conn *c, AuthChallenge &challenge) override
    {
        challenge.answer = authAnswer;
        note(c, QStringLiteral("challenge"));
    }
    void didReceiveResponse(Conn *c, const UrlResponse &r) override
    {
        note(c, QString::number((response = r)->statusCode));
    }
    void didReceiveData(Conn *c, const char *bytes, qsizetype length) override
    {
        received += length;
        if (keepBody)
            body.append(bytes, length);
        note(c, QStringLiteral("data"));
    }
    void connectionDidFinishLoading(Conn *c) override { note(c, QStringLiteral("finish")); }
    void didFailWithError(Conn *c, const UrlError &e) override
    {
        error = e;
        note(c, QStringLiteral("fail"));
    }
};

bool allEnded(int ms = 2000)
{
    return waitFor([] { return Conn::activeCount() == 0; }, ms);
}

UrlRequest get(const QString &url, double timeout = 10)
{
    UrlRequest r;
    r.url = url;
    r.timeoutSeconds = timeout;
    return r;
}

QPointer<Conn> start(Recorder &rec, const QString &url)
{
    return new Conn(get(url), &rec, CrawlFetch);
}

// Runs one transfer to its end (the connection deletes itself).
void run(Recorder &rec, const UrlRequest &request, int ms = 10000)
{
    QPointer<Conn> c = new Conn(request, &rec, CrawlFetch);
    EXPECT_TRUE(rec.events.isEmpty()) << "no callback inside the constructor";
    EXPECT_TRUE(waitFor([&] { return c.isNull(); }, ms)) << "transfer did not end";
}

class Connection : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { server = new FixtureServer; }
    static void TearDownTestSuite() { delete server; }
    void SetUp() override { ASSERT_TRUE(server->isRunning()); }
    void TearDown() override { EXPECT_TRUE(allEnded()); }
    static QString url(const QString &path) { return server->url(path); }
    static inline FixtureServer *server = nullptr;
};

} // namespace

TEST_F(Connection, ResponsesDescribeTheBodyAsSent)
{
    Recorder rec;
    run(rec, get(url("/type/html")));
    EXPECT_EQ(rec.trace(), "send 200 data finish");
    EXPECT_EQ(rec.response->mimeType, "text/html");
    EXPECT_EQ(rec.response->header("content-type"), "text/html; charset=utf-8");
    EXPECT_TRUE(rec.body.contains("typed page"));

    // A compressed body is decoded, but the length stays the one sent.
    Recorder zip;
    run(zip, get(url("/gzip")));
    EXPECT_TRUE(zip.body.startsWith("<html><head><title>gzip page"));
    const qint64 sent = zip.response->header("Content-Length").toLongLong();
    EXPECT_LT(sent, zip.body.size());
    EXPECT_EQ(zip.response->expectedContentLength, sent);

    Recorder chunked;
    run(chunked, get(url("/nolength")));
    EXPECT_FALSE(chunked.response->hasHeader("Content-Length"));
    EXPECT_EQ(chunked.response->expectedContentLength, -1);
    EXPECT_EQ(chunked.body, "<html><body>chunked page</body></html>\n");
}

// Redirects are followed hop by hop, each proposed to the delegate, which may change or refuse
// the next request; the connection sets no limit of its own (the link record stops a loop).
TEST_F(Connection, RedirectsAreProposedHopByHop)
{
    enum Answer { Follow, Replace, RefuseRedirect, RefuseFirst };
    // path, answer, trace, the paths proposed for the redirects
    for (const auto &[path, answer, trace, proposed] : {
                 std::tuple { "/redirect/chain?n=3", Follow, "send >302 >302 >302 200 data finish",
                              "/redirect/chain?n=2 /redirect/chain?n=1 /final" },
                 // Relative Locations resolve against the URL that answered.
                 { "/redirect/chain?n=3&rel=1", Follow, "send >302 >302 >302 200 data finish",
                   "/redirect/chain?n=2&rel=1 /redirect/chain?n=1&rel=1 /final" },
                 // The changed request is what gets sent: no second redirect.
                 { "/redirect/chain?n=2", Replace, "send >302 200 data finish",
                   "/redirect/chain?n=1" },
                 // No answer ends the transfer without another call.
                 { "/redirect/chain?n=2", RefuseRedirect, "send >302", "/redirect/chain?n=1" },
                 { "/final", RefuseFirst, "send", "" },
                 { "/redirect/empty", RefuseRedirect, "send >302", "" }, // proposed as empty
         }) {
        SCOPED_TRACE(path);
        Recorder rec;
        rec.onSend = [&, answer = answer](const UrlRequest &next, const UrlResponse *redirect) {
            UrlRequest r = next;
            if (answer == Replace && redirect)
                r.url = url("/type/text");
            const bool refuse = answer == RefuseFirst || (answer == RefuseRedirect && redirect);
            return refuse ? std::nullopt : std::optional(r);
        };
        run(rec, get(url(path)));
        EXPECT_EQ(rec.trace(), trace);
        QStringList paths;
        for (qsizetype i = 1; i < rec.proposals.size(); ++i) {
            const QUrl u(rec.proposals[i].url);
            paths << u.path() + (u.hasQuery() ? QLatin1Char('?') + u.query() : QString());
        }
        EXPECT_EQ(paths.join(QLatin1Char(' ')), proposed);
        EXPECT_EQ(rec.response && rec.response->mimeType == "text/plain", answer == Replace);
    }
}

TEST_F(Connection, RequestIsSentAsGivenAndRedirectsTurnPostIntoGet)
{
    UrlRequest r = get(url("/echo"));
    r.setHeader("User-Agent", "OrrelwickTest/1");
    r.setHeader("Referer", "http://example.invalid/from");
    r.setHeader("Host", "127.0.0.1");
    Recorder rec;
    run(rec, r);
    EXPECT_TRUE(rec.body.startsWith("GET /echo"));
    for (const char *line : { "User-Agent: OrrelwickTest/1\n",
                              "Referer: http://example.invalid/from\n", "Host: 127.0.0.1\n" })
        EXPECT_TRUE(rec.body.contains(line)) << line;
    EXPECT_FALSE(rec.body.contains("Cookie"));

    for (const auto &[code, start] :
         { std::pair { 302, "GET /echo" }, { 303, "GET /echo" }, { 307, "POST /echo" } }) {
        SCOPED_TRACE(code);
        UrlRequest post = get(url(QStringLiteral("/redirect/to?url=/echo&code=%1").arg(code)));
        post.method = "POST";
        post.body = "uri=http%3A%2F%2Fexample.invalid%2F";
        Recorder rp;
        run(rp, post);
        EXPECT_TRUE(rp.body.startsWith(start)) << rp.body.left(40).constData();
        EXPECT_EQ(rp.body.endsWith(post.body), code == 307);
    }
}

TEST_F(Connection, AuthenticationAndUntrustedCertificatesAreAskedAbout)
{
    FixtureServer tls(FixtureServer::Tls);
    ASSERT_TRUE(tls.isRunning());
    const QString trusted = tls.url("/redirect/chain?n=1");
    for (const auto &[u, accept, answer, trace] : {
                 std::tuple { url("/auth/digest"), true, A::ContinueWithoutCredential,
                              "send auth-digest challenge 401 data finish" },
                 { url("/auth/other"), true, A::Cancel, "send auth-other challenge" },
                 // The site stays trusted for the redirect to the same host.
                 { trusted, true, A::UseServerTrust,
                   "send auth-trust challenge >302 200 data finish" },
                 { trusted, true, A::ContinueWithoutCredential, "send auth-trust challenge fail" },
         }) {
        SCOPED_TRACE(u.toStdString() + " answer " + std::to_string(int(answer)));
        Recorder rec;
        rec.acceptAuth = accept;
        rec.authAnswer = answer;
        run(rec, get(u));
        EXPECT_EQ(rec.trace(), trace);
        EXPECT_TRUE(!rec.error || rec.error->localizedDescription.contains("certificate"))
                << rec.error->localizedDescription.toStdString();
    }
}

TEST_F(Connection, FailuresCarryClearTexts)
{
    const QString dir = home() + "/files";
    writeFile(dir + "/my page.html", "<html><title>local</title></html>");
    QDir(dir).mkpath("a folder");
    // Opening a FIFO without a writer would wait for ever.
    ASSERT_EQ(::mkfifo(QFile::encodeName(dir + "/pipe.html").constData(), 0600), 0);
    const QString local = QUrl::fromLocalFile(dir).toString();
    // Each fails well within the time-out of 5 s.
    for (const auto &[u, trace, code, text, maxMs] : {
                 std::tuple { QStringLiteral("http://127.0.0.1:%1/").arg(FixtureServer::freePort()),
                              "send fail", 7, "Couldn't connect to server", 2000 },
                 { url("/closed"), "send 200 data fail", 18, "Transferred a partial file", 2000 },
                 { "http://no-such-host.invalid/", "send fail", 6, "Couldn't resolve host name",
                   4000 },
                 { "ftp://127.0.0.1/", "send fail", 1, "Unsupported protocol", 2000 },
                 { local + "/missing.html", "send fail", UrlError::FileDoesntExist,
                   "file doesnt exist", 2000 },
                 { local + "/a%20folder", "send fail", UrlError::FileIsDirectory,
                   "file is directory", 2000 },
                 { local + "/pipe.html", "send fail", UrlError::FileIsNotRegular,
                   "file is not a regular file", 2000 },
                 { "file:///dev/zero", "send fail", UrlError::FileIsNotRegular,
                   "file is not a regular file", 2000 },
         }) {
        SCOPED_TRACE(u.toStdString());
        Recorder rec;
        QElapsedTimer clock;
        clock.start();
        run(rec, get(u, 5));
        EXPECT_LT(clock.elapsed(), maxMs);
        EXPECT_EQ(rec.trace(), trace);
        ASSERT_TRUE(rec.error);
        EXPECT_EQ(rec.error->code, code);
        // A fixed text for each kind of failure, without timings or addresses.
        EXPECT_EQ(rec.error->localizedDescription, QLatin1String(text));
    }

    // A local file answers without HTTP, but a web server's redirect cannot lead there.
    Recorder rec, redirected;
    run(rec, get(local + "/my%20page.html"));
    EXPECT_EQ(rec.trace(), "send 0 data finish");
    EXPECT_FALSE(rec.response->isHttp);
    EXPECT_EQ(rec.response->mimeType, "text/html");
    EXPECT_TRUE(rec.response->headers.isEmpty());
    EXPECT_EQ(rec.body, "<html><title>local</title></html>");
    run(redirected, get(url("/redirect/to?url=") + local + "/my%20page.html"));
    EXPECT_EQ(redirected.trace(), "send >302 fail");
}

// The time-out limits the connect phase and every gap between bytes; a transfer that keeps
// receiving ends at ten times the time-out, even while libcurl inflates a body.
TEST_F(Connection, SlowTimeOutCountsFromTheLastByteUpToAHardEnd)
{
    constexpr qint64 BombBytes = 4096LL << 20; // inflated; about 4 MB on the wire
    UrlRequest warm = get(url("/gzipbomb?mb=4096"), 30); // the server builds its bomb once
    warm.method = "HEAD";
    Recorder warmed;
    run(warmed, warm, 30000);
    for (const auto &[path, timeout, trace, due] : {
                 // path, time-out, trace, seconds until "The request timed out." (0: none)
                 std::tuple { "/slow?ms=3000", 0.5, "send fail", 0.5 },
                 { "/slowbody?ms=3000", 0.5, "send 200 fail", 0.5 },
                 { "/trickle?chunks=5&ms=200", 0.4, "send 200 data finish", 0.0 },
                 { "/slowheaders?n=5&ms=200", 0.4, "send 200 data finish", 0.0 },
                 { "/trickle?chunks=100&ms=50", 0.15, "send 200 data fail", 1.5 },
                 { "/gzipbomb?mb=4096", 0.1, "send 200 data fail", 1.0 },
         }) {
        SCOPED_TRACE(path);
        Recorder rec;
        rec.keepBody = false;
        QElapsedTimer clock;
        clock.start();
        run(rec, get(url(path), timeout), 30000);
        const double seconds = clock.elapsed() / 1000.0;
        EXPECT_EQ(rec.trace(), trace);
        if (due > 0) {
            ASSERT_TRUE(rec.error);
            EXPECT_EQ(rec.error->localizedDescription, "The request timed out.");
            EXPECT_EQ(rec.error->code, UrlError::TimedOut);
            // Never early; late by a check period and a busy machine's slack at most.
            EXPECT_GE(seconds, due - 0.02);
            EXPECT_LT(seconds, due + qMax(0.1, due / 10) + 0.3);
            EXPECT_LT(rec.received, BombBytes);
        }
    }
}

TEST_F(Connection, SynchronousFetchAnswersTheLastResponse)
{
    const QString refused = QStringLiteral("http://127.0.0.1:%1/").arg(FixtureServer::freePort());
    // url, status, Content-Type, final URL, start of the body, error
    for (const auto &[u, status, type, final, body, error] : {
                 std::tuple { url("/redirect/chain?n=2"), 200, "text/html; charset=utf-8",
                              url("/final"), "<html><head><title>final page", "" },
                 // No credentials are offered: the 401 is the answer.
                 { url("/auth/basic"), 401, "text/html; charset=utf-8", url("/auth/basic"),
                   "<html><head><title>authorization required", "" },
                 // Redirects end as a link record's fetch ends them.
                 { url("/redirect/loop"), 0, "", QString(), "", "recurring redirect" },
                 { refused, 0, "", QString(), "", "Couldn't connect to server" },
         }) {
        SCOPED_TRACE(u.toStdString());
        const FetchResult r = fetchSynchronously(get(u));
        EXPECT_EQ(r.statusCode(), status);
        EXPECT_EQ(r.response ? r.response->header("Content-Type") : QByteArray(), type);
        EXPECT_EQ(r.finalUrl(), final);
        EXPECT_TRUE(r.body.startsWith(body)) << r.body.left(60).constData();
        EXPECT_EQ(r.error ? r.error->localizedDescription : QString(), QLatin1String(error));
        EXPECT_EQ(r.ok(), !*error);
    }

    // From a worker thread the fetch runs on the main thread's event loop.
    FetchResult fromWorker;
    std::atomic<bool> done = false;
    std::thread worker([&] {
        fromWorker = fetchSynchronously(get(url("/final")));
        done = true;
    });
    EXPECT_TRUE(waitFor([&] { return done.load(); }));
    worker.join();
    EXPECT_EQ(fromWorker.statusCode(), 200);

    // Inside a libcurl callback libcurl cannot be entered again: refused at once.
    Recorder rec;
    std::optional<FetchResult> inside;
    rec.hook = [&](Conn *) {
        if (!inside && rec.events.last() == "data")
            inside = fetchSynchronously(get(url("/final")));
    };
    run(rec, get(url("/trickle?chunks=2&ms=10")));
    ASSERT_TRUE(inside);
    EXPECT_FALSE(inside->ok());
    EXPECT_EQ(inside->error->code, CURLE_RECURSIVE_API_CALL);
}

// Connections made on another thread call back on the main thread, and sixteen slow ones to one
// host run together.
TEST_F(Connection, SixteenSlowRequestsMadeOnAnotherThreadRunTogetherOnTheMainThread)
{
    Recorder recs[16];
    bool otherThread = false;
    for (Recorder &r : recs)
        r.hook = [&](Conn *) {
            otherThread |= QThread::currentThread() != QCoreApplication::instance()->thread();
        };
    QElapsedTimer clock;
    clock.start();
    std::thread([&] {
        for (int i = 0; i < 16; ++i)
            start(recs[i], url(QStringLiteral("/slow?ms=1000&i=%1").arg(i)));
    }).join();
    EXPECT_EQ(Conn::activeCount(), 16);
    EXPECT_TRUE(allEnded(10000));
    // Serialised they would take 16 s; together about one slow period.
    EXPECT_LT(clock.elapsed(), 2500);
    for (const Recorder &r : recs)
        EXPECT_EQ(r.trace(), "send 200 data finish");
    EXPECT_FALSE(otherThread);
}

// Kept-alive connections are reused, also after a transfer cancelled at its response left part
// of its body unread. How fast this runs is measured by bench/crawl's fetch floor.
TEST(ConnectionReuse, ManyShortTransfersWithSixteenInFlight)
{
    const QByteArray page = "<html><body>" + QByteArray(2000, 'p') + "</body></html>";
    writeFile(home() + "/fast/page.html", page);
    FixtureServer nginx(FixtureServer::Nginx, home() + "/fast");
    ASSERT_TRUE(nginx.isRunning());
    constexpr int Total = 3000;
    for (bool cancelAtResponse : { false, true }) {
        // One delegate keeps sixteen in flight until Total have ended, as a crawl does; a crawl
        // cancels at the response a link whose body it does not need.
        Recorder rec;
        int started = 0, ended = 0;
        auto startOne = [&] {
            if (started < Total)
                start(rec, nginx.url(QStringLiteral("/page.html?n=%1").arg(started++)));
        };
        rec.hook = [&](Conn *c) {
            const QString &e = rec.events.last();
            if (cancelAtResponse && e == "200")
                c->cancel();
            if (e == (cancelAtResponse ? "200" : "finish") || e == "fail")
                ++ended, startOne();
        };
        for (int i = 0; i < 16; ++i)
            startOne();
        EXPECT_TRUE(waitFor([&] { return ended == Total; }, 60000));
        EXPECT_EQ(rec.events.count("fail"), 0);
        // Nothing arrives after a cancel.
        EXPECT_EQ(rec.body.size(), cancelAtResponse ? 0 : qint64(Total) * page.size());
        EXPECT_TRUE(allEnded());
    }
}

TEST_F(Connection, CancellingOrDeletingInsideAnyCallbackStopsEverything)
{
    for (bool deleteIt : { false, true }) {
        // where: the start of the event that ends it; "" before the event loop runs
        for (const auto &[path, where, trace] : {
                     std::tuple { "/final", "", "" },
                     { "/redirect/chain?n=1", "send", "send" },
                     { "/redirect/chain?n=1", ">", "send >302" },
                     { "/type/pdf", "200", "send 200" },
                     { "/big?n=3000000", "data", "send 200 data" },
                     { "/final", "finish", "send 200 data finish" },
                     { "/closed", "fail", "send 200 data fail" },
             }) {
            SCOPED_TRACE(std::string(where) + (deleteIt ? " delete" : " cancel"));
            Recorder rec;
            QPointer<Conn> conn;
            auto strike = [&] { deleteIt ? delete conn.data() : conn->cancel(); };
            rec.hook = [&, where = where](Conn *) {
                if (conn && *where && rec.events.last().startsWith(where))
                    strike();
            };
            conn = start(rec, url(path));
            if (!*where)
                strike();
            EXPECT_TRUE(waitFor([&] { return conn.isNull(); }, 5000));
            waitFor([] { return false; }, 100); // nothing arrives afterwards, however long
            EXPECT_EQ(rec.trace(), trace);
            EXPECT_EQ(Conn::activeCount(), 0);
        }

        // Another transfer, cancelled or deleted while libcurl is busy with this one: both
        // bodies trickle in, so the victim's handle is still in libcurl's hands.
        Recorder first, second;
        QPointer<Conn> a = start(first, url("/trickle?i=1")),
                       b = start(second, url("/trickle?i=2"));
        bool done = false;
        first.hook = second.hook = [&](Conn *self) {
            QPointer<Conn> victim = self == a ? b : a;
            if (done || !victim || second.body.isEmpty() || first.body.isEmpty())
                return;
            done = true;
            deleteIt ? delete victim.data() : victim->cancel();
        };
        EXPECT_TRUE(waitFor([&] { return a.isNull() && b.isNull(); }));
        EXPECT_TRUE(done);
        // Exactly one of the two ran to its end.
        EXPECT_NE(first.events.last() == "finish", second.events.last() == "finish");
    }
}

TEST_F(Connection, NestedEventLoopInsideACallbackNeitherSpinsNorStalls)
{
    // As a modal alert would: the delegate runs an event loop inside didReceiveData while other
    // transfers are waiting for their turn; one of them starts only during the nested loop.
    Recorder outer, busy, late;
    QPointer<Conn> busyConn = start(busy, url("/trickle?chunks=10&ms=30")), lateConn;
    std::clock_t cpu = 0;
    outer.hook = [&](Conn *) {
        if (lateConn || outer.events.last() != "data")
            return;
        lateConn = start(late, url("/type/text"));
        QEventLoop loop;
        QTimer::singleShot(500, &loop, &QEventLoop::quit);
        const std::clock_t before = std::clock();
        loop.exec();
        cpu = std::clock() - before;
    };
    QPointer<Conn> outerConn = start(outer, url("/trickle?chunks=4&ms=30"));
    EXPECT_TRUE(waitFor([&] { return !outerConn && !busyConn && !lateConn; }));
    EXPECT_EQ(late.trace(), "send 200 data finish"); // started inside the nested loop
    for (Recorder *r : { &outer, &busy })
        EXPECT_TRUE(r->trace().ends_with("finish")) << r->trace();
    // Half a second of waiting costs far less than half a second of processor time.
    EXPECT_LT(double(cpu) / CLOCKS_PER_SEC, 0.25);
}

TEST(ConnectionTeardown, TransfersInFlightAtExitEndQuietly)
{
    const QString childUrl = qEnvironmentVariable("ORRELWICK_TEARDOWN_URL");
    if (!childUrl.isEmpty()) {
        // Child process: leave transfers in every state behind and let the application exit.
        static Recorder rec;
        for (const char *path : { "/slowbody?ms=5000", "/slow?ms=5000", "/final" })
            start(rec, childUrl + QLatin1String(path));
        waitFor([] { return rec.events.contains("finish") && rec.events.contains("200"); }, 5000);
        EXPECT_EQ(Conn::activeCount(), 2);
        return;
    }
    FixtureServer server;
    ASSERT_TRUE(server.isRunning());
    QProcess child;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("ORRELWICK_TEARDOWN_URL", server.baseUrl());
    env.insert("ASAN_OPTIONS", "detect_leaks=0");
    child.setProcessEnvironment(env);
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.start(QCoreApplication::applicationFilePath(), { "--gtest_filter=ConnectionTeardown.*" });
    ASSERT_TRUE(child.waitForFinished(20000));
    const QByteArray out = child.readAll();
    EXPECT_EQ(child.exitStatus(), QProcess::NormalExit) << out.constData();
    EXPECT_EQ(child.exitCode(), 0) << out.constData();
    // The child ended well before its slow answers could have arrived.
    EXPECT_TRUE(out.contains("[  PASSED  ] 1 test")) << out.constData();
}

TEST(ConnectionUrls, StaticSiteNamesWithSpacesAndNonAsciiAreSentEncoded)
{
    writeFile(home() + "/site/sub/caf\u00e9 menu.html", "<html>menu</html>");
    FixtureServer server(home() + "/site");
    ASSERT_TRUE(server.isRunning());
    for (const char *path : { "/sub/caf\u00e9 menu.html", "/sub/caf%C3%A9%20menu.html" }) {
        SCOPED_TRACE(path);
        Recorder rec;
        run(rec, get(server.url(QString::fromUtf8(path))));
        EXPECT_EQ(rec.trace(), "send 200 data finish");
        EXPECT_EQ(rec.body, "<html>menu</html>");
    }
    const QString sent = "GET /sub/caf%C3%A9%20menu.html";
    EXPECT_EQ(server.requestLog(), QStringList({ sent, sent }));
}
