// URL transfers against the fixture server: callback order, redirects, authentication, TLS,
// failures, decoding, local files, cancelling and concurrency.
#include "FixtureServer.h"
#include "TestHome.h"

#include "links/myNSURLConnection.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QPointer>
#include <QProcess>
#include <QThread>
#include <QTimer>
#include <QUrl>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <ctime>
#include <functional>
#include <memory>
#include <thread>

using namespace orel;
using orel::test::FixtureServer;

QT_BEGIN_NAMESPACE
// Readable failure messages.
inline void PrintTo(const QString &s, std::ostream *os)
{
    *os << '"' << s.toStdString() << '"';
}
QT_END_NAMESPACE

namespace {

const char *methodName(AuthMethod m)
{
    switch (m) {
    case AuthMethod::ServerTrust:
        return "trust";
    case AuthMethod::HttpBasic:
        return "basic";
    case AuthMethod::HttpDigest:
        return "digest";
    case AuthMethod::HttpOther:
        return "other";
    }
    return "?";
}

// Records every callback as one short line; hooks let a test answer or cancel.
class Recorder : public ConnectionDelegate
{
public:
    QStringList events;
    QList<UrlRequest> proposals;
    QList<std::optional<UrlResponse>> redirectResponses;
    std::optional<UrlResponse> response;
    std::optional<UrlError> error;
    QByteArray body;

    std::function<std::optional<UrlRequest>(const UrlRequest &, const UrlResponse *)> onSend;
    bool acceptAuth = false;
    AuthChallenge::Answer authAnswer = AuthChallenge::Answer::None;
    std::function<void(myNSURLConnection *)> onResponse;
    std::function<void(myNSURLConnection *)> onData;
    std::function<void(myNSURLConnection *)> onEnd;

    std::optional<UrlRequest> willSendRequest(
        myNSURLConnection *, const UrlRequest &proposed, const UrlResponse *redirect) override
    {
        events << (redirect ? QStringLiteral("redirect %1").arg(redirect->statusCode)
                            : QStringLiteral("send"));
        proposals << proposed;
        redirectResponses << (redirect ? std::optional<UrlResponse>(*redirect) : std::nullopt);
        if (onSend)
            return onSend(proposed, redirect);
        return proposed;
    }
    bool canAuthenticateAgainstProtectionSpace(myNSURLConnection *, AuthMethod method) override
    {
        events << QStringLiteral("canAuth %1").arg(QLatin1String(methodName(method)));
        return acceptAuth;
    }
    void didReceiveAuthenticationChallenge(myNSURLConnection *, AuthChallenge &challenge) override
    {
        events << QStringLiteral("challenge");
        challenge.answer = authAnswer;
    }
    void didReceiveResponse(myNSURLConnection *c, const UrlResponse &r) override
    {
        events << QStringLiteral("response %1").arg(r.statusCode);
        response = r;
        if (onResponse)
            onResponse(c);
    }
    void didReceiveData(myNSURLConnection *c, const char *bytes, qsizetype length) override
    {
        if (events.isEmpty() || events.last() != QLatin1String("data"))
            events << QStringLiteral("data");
        body.append(bytes, length);
        if (onData)
            onData(c);
    }
    void connectionDidFinishLoading(myNSURLConnection *c) override
    {
        events << QStringLiteral("finish");
        if (onEnd)
            onEnd(c);
    }
    void didFailWithError(myNSURLConnection *c, const UrlError &e) override
    {
        events << QStringLiteral("fail");
        error = e;
        if (onEnd)
            onEnd(c);
    }
};

// Spins the event loop until cond holds or the deadline passes.
bool waitFor(const std::function<bool()> &cond, int ms = 10000)
{
    QDeadlineTimer deadline(ms);
    while (!cond()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
        // deleteLater() from outside any event loop is only honoured this way.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

UrlRequest get(const QString &url, double timeout = 10)
{
    UrlRequest r;
    r.url = url;
    r.timeoutSeconds = timeout;
    return r;
}

// Runs one transfer to its end (the connection deletes itself) and returns the recorder.
void run(Recorder &rec, const UrlRequest &request, int ms = 10000)
{
    QPointer<myNSURLConnection> c = new myNSURLConnection(request, &rec, CrawlFetch);
    EXPECT_TRUE(rec.events.isEmpty()) << "no callback inside the constructor";
    EXPECT_TRUE(waitFor([&] { return c.isNull(); }, ms)) << "transfer did not end";
}

QStringList list(std::initializer_list<const char *> items)
{
    QStringList out;
    for (const char *s : items)
        out << QString::fromLatin1(s);
    return out;
}

// A port on which nothing listens.
quint16 closedPort()
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr {};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr);
    socklen_t len = sizeof addr;
    ::getsockname(fd, reinterpret_cast<sockaddr *>(&addr), &len);
    ::close(fd);
    return ntohs(addr.sin_port);
}

class Connection : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { server = new FixtureServer; }
    static void TearDownTestSuite()
    {
        delete server;
        server = nullptr;
    }
    void SetUp() override { ASSERT_TRUE(server->isRunning()); }
    void TearDown() override
    {
        EXPECT_TRUE(waitFor([] { return myNSURLConnection::activeCount() == 0; }, 2000));
    }
    static QString url(const char *path) { return server->url(QString::fromLatin1(path)); }
    static FixtureServer *server;
};

FixtureServer *Connection::server = nullptr;

} // namespace

TEST_F(Connection, PlainFetchDeliversResponseThenDataThenFinish)
{
    Recorder rec;
    run(rec, get(url("/type/html")));
    EXPECT_EQ(rec.events, list({ "send", "response 200", "data", "finish" }));
    ASSERT_TRUE(rec.response);
    EXPECT_TRUE(rec.response->isHttp);
    EXPECT_EQ(rec.response->mimeType, QStringLiteral("text/html"));
    EXPECT_EQ(rec.response->header("content-type"), QByteArray("text/html; charset=utf-8"));
    EXPECT_EQ(rec.response->expectedContentLength, rec.body.size());
    EXPECT_EQ(rec.response->url, url("/type/html"));
    EXPECT_TRUE(rec.body.contains("typed page"));
}

TEST_F(Connection, RedirectChainsAreFollowedHopByHop)
{
    struct Case
    {
        const char *path;
        QStringList events;
        QStringList proposedPaths; // of the redirects
    };
    const Case cases[] = {
        { "/redirect/chain?n=3",
            list({ "send", "redirect 302", "redirect 302", "redirect 302", "response 200", "data",
                "finish" }),
            list({ "/redirect/chain?n=2", "/redirect/chain?n=1", "/final" }) },
        // Relative Locations resolve against the URL that answered.
        { "/redirect/chain?n=3&rel=1",
            list({ "send", "redirect 302", "redirect 302", "redirect 302", "response 200", "data",
                "finish" }),
            list({ "/redirect/chain?n=2&rel=1", "/redirect/chain?n=1&rel=1", "/final" }) },
        { "/dir", list({ "send", "redirect 301", "response 200", "data", "finish" }),
            list({ "/dir/" }) },
        { "/status/404", list({ "send", "response 404", "data", "finish" }), {} },
    };
    for (const Case &tc : cases) {
        SCOPED_TRACE(tc.path);
        Recorder rec;
        run(rec, get(url(tc.path)));
        EXPECT_EQ(rec.events, tc.events);
        QStringList proposed;
        for (qsizetype i = 1; i < rec.proposals.size(); ++i) {
            const QUrl u(rec.proposals[i].url);
            proposed << u.path() + (u.hasQuery() ? QLatin1Char('?') + u.query() : QString());
            ASSERT_TRUE(rec.redirectResponses[i]);
            EXPECT_TRUE(rec.redirectResponses[i]->hasHeader("Location"));
        }
        EXPECT_EQ(proposed, tc.proposedPaths);
    }
}

TEST_F(Connection, DelegateCanReplaceOrRefuseTheNextRequest)
{
    {
        // A changed answer is what gets sent.
        Recorder rec;
        rec.onSend = [](const UrlRequest &proposed, const UrlResponse *redirect) {
            UrlRequest r = proposed;
            if (redirect)
                r.url = Connection::server->url(QStringLiteral("/type/text"));
            return std::optional<UrlRequest>(r);
        };
        run(rec, get(url("/redirect/chain?n=2")));
        EXPECT_EQ(rec.events, list({ "send", "redirect 302", "response 200", "data", "finish" }));
        EXPECT_EQ(rec.response->mimeType, QStringLiteral("text/plain"));
    }
    {
        // No answer ends the transfer without another call, for a redirect and for the first
        // request alike.
        struct Case
        {
            const char *path;
            bool refuseFirst;
            qsizetype calls;
        };
        for (const Case &tc :
            { Case { "/redirect/chain?n=2", false, 2 }, Case { "/final", true, 1 } }) {
            SCOPED_TRACE(tc.path);
            Recorder rec;
            rec.onSend = [&tc](const UrlRequest &p, const UrlResponse *redirect) {
                return (tc.refuseFirst || redirect) ? std::optional<UrlRequest>()
                                                    : std::optional<UrlRequest>(p);
            };
            run(rec, get(url(tc.path)));
            EXPECT_EQ(rec.events.size(), tc.calls);
            EXPECT_FALSE(rec.response);
        }
    }
    {
        // An empty Location is proposed as an empty URL.
        Recorder rec;
        rec.onSend = [](const UrlRequest &p, const UrlResponse *redirect) {
            return redirect ? std::optional<UrlRequest>() : std::optional<UrlRequest>(p);
        };
        run(rec, get(url("/redirect/empty")));
        EXPECT_EQ(rec.events, list({ "send", "redirect 302" }));
        EXPECT_TRUE(rec.proposals.last().url.isEmpty());
    }
    {
        // A redirect loop goes on until the delegate stops it (after 100 hops here).
        Recorder rec;
        int hops = 0;
        rec.onSend = [&hops](const UrlRequest &p, const UrlResponse *) {
            return ++hops > 101 ? std::optional<UrlRequest>() : std::optional<UrlRequest>(p);
        };
        run(rec, get(url("/redirect/loop")), 30000);
        EXPECT_EQ(hops, 102);
        EXPECT_EQ(rec.events.last(), QStringLiteral("redirect 302"));
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
    EXPECT_TRUE(rec.body.contains("User-Agent: OrrelwickTest/1\n"));
    EXPECT_TRUE(rec.body.contains("Referer: http://example.invalid/from\n"));
    EXPECT_TRUE(rec.body.contains("Host: 127.0.0.1\n"));
    EXPECT_FALSE(rec.body.contains("Cookie"));

    struct Case
    {
        int code;
        const char *expectStart;
    };
    for (const Case &tc :
        { Case { 302, "GET /echo" }, Case { 303, "GET /echo" }, Case { 307, "POST /echo" } }) {
        SCOPED_TRACE(tc.code);
        UrlRequest post
            = get(server->url(QStringLiteral("/redirect/to?url=/echo&code=%1").arg(tc.code)));
        post.method = "POST";
        post.body = "uri=http%3A%2F%2Fexample.invalid%2F";
        post.setHeader("Content-Type", "application/x-www-form-urlencoded");
        Recorder rp;
        run(rp, post);
        EXPECT_TRUE(rp.body.startsWith(tc.expectStart)) << rp.body.left(40).constData();
        EXPECT_EQ(rp.body.endsWith(post.body), tc.code == 307);
    }
}

TEST_F(Connection, AuthenticationChallengePaths)
{
    using A = AuthChallenge::Answer;
    struct Case
    {
        const char *path;
        bool accept;
        A answer;
        QStringList events;
    };
    const Case cases[] = {
        { "/auth/basic", false, A::None,
            list({ "send", "canAuth basic", "response 401", "data", "finish" }) },
        { "/auth/digest", true, A::ContinueWithoutCredential,
            list({ "send", "canAuth digest", "challenge", "response 401", "data", "finish" }) },
        { "/auth/other", true, A::Cancel, list({ "send", "canAuth other", "challenge" }) },
    };
    for (const Case &tc : cases) {
        SCOPED_TRACE(tc.path);
        Recorder rec;
        rec.acceptAuth = tc.accept;
        rec.authAnswer = tc.answer;
        run(rec, get(url(tc.path)));
        EXPECT_EQ(rec.events, tc.events);
        if (rec.response) {
            EXPECT_TRUE(rec.response->hasHeader("WWW-Authenticate"));
            EXPECT_TRUE(rec.body.contains("authorization required"));
        }
    }
}

TEST(ConnectionTls, UntrustedCertificateIsAskedAboutAndAcceptedOrRefused)
{
    FixtureServer tls(FixtureServer::Tls);
    ASSERT_TRUE(tls.isRunning());
    using A = AuthChallenge::Answer;
    struct Case
    {
        bool accept;
        A answer;
        QStringList events;
    };
    const Case cases[] = {
        { true, A::UseServerTrust,
            list({ "send", "canAuth trust", "challenge", "response 200", "data", "finish" }) },
        { true, A::Cancel, list({ "send", "canAuth trust", "challenge" }) },
        { false, A::None, list({ "send", "canAuth trust", "fail" }) },
        { true, A::ContinueWithoutCredential,
            list({ "send", "canAuth trust", "challenge", "fail" }) },
    };
    for (const Case &tc : cases) {
        Recorder rec;
        rec.acceptAuth = tc.accept;
        rec.authAnswer = tc.answer;
        run(rec, get(tls.url(QStringLiteral("/redirect/chain?n=1"))));
        if (tc.answer == A::UseServerTrust) {
            // The site stays trusted for the redirect to the same host.
            EXPECT_EQ(rec.events,
                list({ "send", "canAuth trust", "challenge", "redirect 302", "response 200", "data",
                    "finish" }));
        } else {
            EXPECT_EQ(rec.events, tc.events);
        }
        if (rec.error) {
            EXPECT_TRUE(rec.error->localizedDescription.contains(QLatin1String("certificate")))
                << rec.error->localizedDescription.toStdString();
        }
    }
    EXPECT_TRUE(waitFor([] { return myNSURLConnection::activeCount() == 0; }, 2000));
}

TEST_F(Connection, FailuresCarryClearTexts)
{
    struct Case
    {
        QString url;
        double timeout;
        QStringList events;
        int code;
        const char *text;
        int maxMs;
    };
    const QStringList failed = list({ "send", "fail" });
    const Case cases[] = {
        { url("/slow?ms=3000"), 0.5, failed, UrlError::TimedOut, "The request timed out.", 2000 },
        { QStringLiteral("http://127.0.0.1:%1/").arg(closedPort()), 5, failed, 7,
            "Couldn't connect to server: Failed to connect", 2000 },
        { url("/closed"), 5, list({ "send", "response 200", "data", "fail" }), 18,
            "Transferred a partial file", 2000 },
        { QStringLiteral("http://no-such-host.invalid/"), 5, failed, 6,
            "Couldn't resolve host name", 4000 },
        { QStringLiteral("ftp://127.0.0.1/"), 5, failed, 1, "Unsupported protocol", 2000 },
    };
    for (const Case &tc : cases) {
        SCOPED_TRACE(tc.url.toStdString());
        Recorder rec;
        QElapsedTimer clock;
        clock.start();
        run(rec, get(tc.url, tc.timeout));
        EXPECT_LT(clock.elapsed(), tc.maxMs);
        EXPECT_EQ(rec.events, tc.events);
        ASSERT_TRUE(rec.error);
        EXPECT_EQ(rec.error->code, tc.code);
        EXPECT_TRUE(rec.error->localizedDescription.startsWith(QLatin1String(tc.text)))
            << rec.error->localizedDescription.toStdString();
    }
}

TEST_F(Connection, MadeOnAnotherThreadItRunsOnTheMainThread)
{
    Recorder rec;
    QThread *calledOn = nullptr;
    rec.onResponse = [&calledOn](myNSURLConnection *) { calledOn = QThread::currentThread(); };
    QPointer<myNSURLConnection> c;
    std::thread maker(
        [&] { c = new myNSURLConnection(get(url("/final")), &rec, ValidatorRequest); });
    maker.join();
    EXPECT_TRUE(waitFor([&] { return c.isNull(); }));
    EXPECT_EQ(rec.events, list({ "send", "response 200", "data", "finish" }));
    EXPECT_EQ(calledOn, QCoreApplication::instance()->thread());
}

TEST_F(Connection, CompressedBodyIsDecodedButContentLengthStaysAsSent)
{
    Recorder rec;
    run(rec, get(url("/gzip")));
    EXPECT_EQ(rec.events, list({ "send", "response 200", "data", "finish" }));
    ASSERT_TRUE(rec.response);
    EXPECT_TRUE(rec.body.startsWith("<html><head><title>gzip page"));
    const qint64 sent = rec.response->header("Content-Length").toLongLong();
    EXPECT_GT(sent, 0);
    EXPECT_LT(sent, rec.body.size());
    EXPECT_EQ(rec.response->expectedContentLength, sent);

    Recorder chunked;
    run(chunked, get(url("/nolength")));
    EXPECT_FALSE(chunked.response->hasHeader("Content-Length"));
    EXPECT_EQ(chunked.response->expectedContentLength, -1);
    EXPECT_EQ(chunked.body, QByteArray("<html><body>chunked page</body></html>\n"));
}

TEST_F(Connection, LocalFilesAnswerWithoutHttp)
{
    QDir dir(orel::test::home());
    dir.mkpath(QStringLiteral("files/a folder"));
    QFile page(dir.filePath(QStringLiteral("files/my page.html")));
    ASSERT_TRUE(page.open(QIODevice::WriteOnly));
    page.write("<html><title>local</title></html>");
    page.close();
    const QString base = QUrl::fromLocalFile(dir.filePath(QStringLiteral("files"))).toString();

    Recorder rec;
    run(rec, get(base + QStringLiteral("/my%20page.html")));
    EXPECT_EQ(rec.events, list({ "send", "response 0", "data", "finish" }));
    ASSERT_TRUE(rec.response);
    EXPECT_FALSE(rec.response->isHttp);
    EXPECT_EQ(rec.response->mimeType, QStringLiteral("text/html"));
    EXPECT_TRUE(rec.response->headers.isEmpty());
    EXPECT_EQ(rec.body, QByteArray("<html><title>local</title></html>"));

    struct Case
    {
        QString url;
        int code;
        const char *text;
    };
    const Case cases[] = {
        { base + QStringLiteral("/missing.html"), UrlError::FileDoesntExist, "file doesnt exist" },
        { base + QStringLiteral("/a%20folder"), UrlError::FileIsDirectory, "file is directory" },
    };
    for (const Case &tc : cases) {
        Recorder r;
        run(r, get(tc.url));
        EXPECT_EQ(r.events, list({ "send", "fail" }));
        ASSERT_TRUE(r.error);
        EXPECT_EQ(r.error->code, tc.code);
        EXPECT_EQ(r.error->localizedDescription, QLatin1String(tc.text));
    }

    // A web server's redirect cannot lead into the local file system.
    Recorder redirected;
    run(redirected,
        get(server->url(QStringLiteral("/redirect/to?url=")) + base
            + QStringLiteral("/my%20page.html")));
    EXPECT_EQ(redirected.events, list({ "send", "redirect 302", "fail" }));
}

TEST_F(Connection, SixteenSlowRequestsToOneHostRunTogether)
{
    constexpr int N = 16;
    std::vector<std::unique_ptr<Recorder>> recs;
    QList<QPointer<myNSURLConnection>> conns;
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < N; ++i) {
        recs.push_back(std::make_unique<Recorder>());
        conns << new myNSURLConnection(
            get(server->url(QStringLiteral("/slow?ms=1000&i=%1").arg(i))), recs.back().get(),
            CrawlFetch);
    }
    EXPECT_EQ(myNSURLConnection::activeCount(), N);
    EXPECT_TRUE(waitFor(
        [&] { return std::all_of(conns.begin(), conns.end(), [](auto &c) { return c.isNull(); }); },
        10000));
    // Serialised they would take 16 s; together about one slow period.
    EXPECT_LT(clock.elapsed(), 2500);
    for (const auto &r : recs)
        EXPECT_EQ(r->events.last(), QStringLiteral("finish"));
}

namespace {

// Keeps a fixed number of transfers in flight until a total is reached, as a crawl does.
class Pump : public ConnectionDelegate
{
public:
    Pump(QString base, int total)
        : m_base(std::move(base))
        , m_total(total)
    { }
    int finished = 0;
    int failed = 0;
    qint64 bytes = 0;
    bool cancelAtResponse = false; // as a crawl does for a link whose body it does not need

    void startOne()
    {
        if (m_started < m_total)
            new myNSURLConnection(get(m_base + QString::number(m_started++)), this, CrawlFetch);
    }
    std::optional<UrlRequest> willSendRequest(
        myNSURLConnection *, const UrlRequest &p, const UrlResponse *) override
    {
        return p;
    }
    bool canAuthenticateAgainstProtectionSpace(myNSURLConnection *, AuthMethod) override
    {
        return false;
    }
    void didReceiveAuthenticationChallenge(myNSURLConnection *, AuthChallenge &) override { }
    void didReceiveResponse(myNSURLConnection *c, const UrlResponse &) override
    {
        if (cancelAtResponse) {
            c->cancel();
            connectionDidFinishLoading(c);
        }
    }
    void didReceiveData(myNSURLConnection *, const char *, qsizetype length) override
    {
        bytes += length;
    }
    void connectionDidFinishLoading(myNSURLConnection *) override
    {
        ++finished;
        startOne();
    }
    void didFailWithError(myNSURLConnection *, const UrlError &) override
    {
        ++failed;
        startOne();
    }

private:
    QString m_base;
    int m_total;
    int m_started = 0;
};

} // namespace

TEST(ConnectionThroughput, ManyShortTransfersWithSixteenInFlight)
{
    QDir dir(orel::test::home());
    dir.mkpath(QStringLiteral("throughput"));
    QFile page(dir.filePath(QStringLiteral("throughput/page.html")));
    ASSERT_TRUE(page.open(QIODevice::WriteOnly));
    page.write(QByteArray("<html><body>") + QByteArray(2000, 'p') + "</body></html>");
    page.close();
    FixtureServer nginx(FixtureServer::Nginx, dir.filePath(QStringLiteral("throughput")));
    ASSERT_TRUE(nginx.isRunning());

    constexpr int Total = 3000;
    for (bool cancelAtResponse : { false, true }) {
        Pump pump(nginx.url(QStringLiteral("/page.html?n=")), Total);
        pump.cancelAtResponse = cancelAtResponse;
        QElapsedTimer clock;
        clock.start();
        for (int i = 0; i < 16; ++i)
            pump.startOne();
        EXPECT_TRUE(waitFor([&] { return pump.finished + pump.failed == Total; }, 60000));
        const qint64 ms = qMax<qint64>(1, clock.elapsed());
        EXPECT_EQ(pump.failed, 0);
        if (!cancelAtResponse) {
            EXPECT_EQ(pump.bytes, qint64(Total) * page.size());
        }
        std::printf("[ INFO     ] %d transfers%s in %lld ms (%lld per second)\n", Total,
            cancelAtResponse ? " cancelled at the response" : "", ms, qint64(Total) * 1000 / ms);
        // A loose bound that still catches serialised transfers.
        EXPECT_LT(ms, 30000);
    }
    EXPECT_TRUE(waitFor([] { return myNSURLConnection::activeCount() == 0; }, 2000));
}

TEST_F(Connection, CancellingOrDeletingInsideAnyCallbackStopsEverything)
{
    struct Case
    {
        const char *path;
        const char *where; // the callback that ends it: the start of its event line
        QStringList events;
    };
    const Case cases[] = {
        { "/redirect/chain?n=1", "send", list({ "send" }) },
        { "/redirect/chain?n=1", "redirect", list({ "send", "redirect 302" }) },
        { "/type/pdf", "response", list({ "send", "response 200" }) },
        { "/big?n=3000000", "data", list({ "send", "response 200", "data" }) },
        { "/final", "finish", list({ "send", "response 200", "data", "finish" }) },
        { "/closed", "fail", list({ "send", "response 200", "data", "fail" }) },
    };
    for (bool deleteIt : { false, true }) {
        for (const Case &tc : cases) {
            SCOPED_TRACE(std::string(tc.where) + (deleteIt ? " delete" : " cancel"));
            Recorder rec;
            QPointer<myNSURLConnection> conn;
            const QString where = QString::fromLatin1(tc.where);
            auto strike = [&rec, &conn, where, deleteIt] {
                if (!conn || !rec.events.last().startsWith(where))
                    return;
                if (deleteIt)
                    delete conn.data();
                else
                    conn->cancel();
            };
            rec.onSend = [&](const UrlRequest &p, const UrlResponse *) {
                strike();
                return std::optional<UrlRequest>(p);
            };
            rec.onResponse = [&](myNSURLConnection *) { strike(); };
            rec.onData = [&](myNSURLConnection *) { strike(); };
            rec.onEnd = [&](myNSURLConnection *) { strike(); };
            conn = new myNSURLConnection(get(url(tc.path)), &rec, CrawlFetch);
            EXPECT_TRUE(waitFor([&] { return conn.isNull(); }, 5000));
            // Nothing arrives afterwards, however long we wait.
            waitFor([] { return false; }, 100);
            EXPECT_EQ(rec.events, tc.events);
            EXPECT_EQ(myNSURLConnection::activeCount(), 0);
        }
    }

    // Cancelling before the event loop runs: no callback at all.
    Recorder early;
    QPointer<myNSURLConnection> c = new myNSURLConnection(get(url("/final")), &early, CrawlFetch);
    c->cancel();
    EXPECT_TRUE(c->isCancelled());
    EXPECT_TRUE(waitFor([&] { return c.isNull(); }, 2000));
    EXPECT_TRUE(early.events.isEmpty());

    // Another transfer, cancelled or deleted while libcurl is busy with this one: both bodies
    // trickle in, so the victim's handle is still in libcurl's hands.
    for (bool deleteIt : { false, true }) {
        SCOPED_TRACE(deleteIt ? "delete" : "cancel");
        Recorder first;
        Recorder second;
        QPointer<myNSURLConnection> a
            = new myNSURLConnection(get(url("/trickle?i=1")), &first, CrawlFetch);
        QPointer<myNSURLConnection> b
            = new myNSURLConnection(get(url("/trickle?i=2")), &second, CrawlFetch);
        bool done = false;
        auto strike = [&](myNSURLConnection *self) {
            QPointer<myNSURLConnection> victim = self == a ? b : a;
            if (done || !victim || second.body.isEmpty() || first.body.isEmpty())
                return;
            done = true;
            if (deleteIt)
                delete victim.data();
            else
                victim->cancel();
        };
        first.onData = strike;
        second.onData = strike;
        EXPECT_TRUE(waitFor([&] { return a.isNull() && b.isNull(); }, 10000));
        EXPECT_TRUE(done);
        // Exactly one of the two ran to its end.
        EXPECT_NE(first.events.last() == QLatin1String("finish"),
            second.events.last() == QLatin1String("finish"));
    }
}

TEST_F(Connection, NestedEventLoopInsideACallbackNeitherSpinsNorStalls)
{
    // As a modal alert would: the delegate runs an event loop inside didReceiveData while other
    // transfers are waiting for their turn; one of them starts only during the nested loop.
    Recorder outer;
    Recorder busy;
    Recorder late;
    QPointer<myNSURLConnection> busyConn
        = new myNSURLConnection(get(url("/trickle?chunks=10&ms=30")), &busy, CrawlFetch);
    QPointer<myNSURLConnection> lateConn;
    std::clock_t cpu = 0;
    bool nested = false;
    outer.onData = [&](myNSURLConnection *) {
        if (nested)
            return;
        nested = true;
        lateConn = new myNSURLConnection(get(url("/type/text")), &late, CrawlFetch);
        QEventLoop loop;
        QTimer::singleShot(500, &loop, &QEventLoop::quit);
        const std::clock_t before = std::clock();
        loop.exec();
        cpu = std::clock() - before;
    };
    QPointer<myNSURLConnection> outerConn
        = new myNSURLConnection(get(url("/trickle?chunks=4&ms=30")), &outer, CrawlFetch);
    EXPECT_TRUE(
        waitFor([&] { return outerConn.isNull() && busyConn.isNull() && lateConn.isNull(); }));
    EXPECT_TRUE(nested);
    for (Recorder *r : { &outer, &busy, &late })
        EXPECT_EQ(r->events.last(), QStringLiteral("finish"));
    // Half a second of waiting costs far less than half a second of processor time.
    EXPECT_LT(double(cpu) / CLOCKS_PER_SEC, 0.25);
}

TEST(ConnectionTeardown, TransfersInFlightAtExitEndQuietly)
{
    const QByteArray childUrl = qgetenv("ORRELWICK_TEARDOWN_URL");
    if (!childUrl.isEmpty()) {
        // Child process: leave transfers in every state behind and let the application exit.
        static Recorder rec;
        const QString base = QString::fromUtf8(childUrl);
        new myNSURLConnection(get(base + QStringLiteral("/slowbody?ms=5000")), &rec, CrawlFetch);
        new myNSURLConnection(get(base + QStringLiteral("/slow?ms=5000")), &rec, CrawlFetch);
        new myNSURLConnection(get(base + QStringLiteral("/final")), &rec, CrawlFetch);
        waitFor(
            [] {
                return rec.events.contains(QStringLiteral("finish"))
                    && rec.events.contains(QStringLiteral("response 200"));
            },
            5000);
        EXPECT_EQ(myNSURLConnection::activeCount(), 2);
        return;
    }
    FixtureServer server;
    ASSERT_TRUE(server.isRunning());
    QProcess child;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("ORRELWICK_TEARDOWN_URL"), server.baseUrl());
    env.insert(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("detect_leaks=0"));
    child.setProcessEnvironment(env);
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.start(QCoreApplication::applicationFilePath(),
        { QStringLiteral("--gtest_filter=ConnectionTeardown.*") });
    ASSERT_TRUE(child.waitForFinished(20000));
    const QByteArray out = child.readAll();
    EXPECT_EQ(child.exitStatus(), QProcess::NormalExit) << out.constData();
    EXPECT_EQ(child.exitCode(), 0) << out.constData();
    // The child ended well before its slow answers could have arrived.
    EXPECT_TRUE(out.contains("[  PASSED  ] 1 test")) << out.constData();
}

TEST(ConnectionUrls, SpacesAndNonAsciiInTheUrlAreSentEncoded)
{
    QDir dir(orel::test::home());
    dir.mkpath(QStringLiteral("encoded"));
    QFile page(dir.filePath(QStringLiteral("encoded/caf\u00e9 menu.html")));
    ASSERT_TRUE(page.open(QIODevice::WriteOnly));
    page.write("<html>menu</html>");
    page.close();
    FixtureServer server(dir.filePath(QStringLiteral("encoded")));
    ASSERT_TRUE(server.isRunning());
    for (const QString &path :
        { QStringLiteral("/caf\u00e9 menu.html"), QStringLiteral("/caf%C3%A9%20menu.html") }) {
        SCOPED_TRACE(path.toStdString());
        Recorder rec;
        run(rec, get(server.url(path)));
        EXPECT_EQ(rec.events, list({ "send", "response 200", "data", "finish" }));
        EXPECT_EQ(rec.body, QByteArray("<html>menu</html>"));
    }
}
