// The fetch delegate of a link record, driven directly (no network): what the record sets and
// which owner messages it sends, in which order, and which of them wait.
#include "FakeOwner.h"
#include "TestHome.h"

#include "links/myNSURLConnection.h"

#include <gtest/gtest.h>

#include <QCoreApplication>

using namespace orel;
using orel::test::FakeOwner;

namespace {

const HeaderList htmlHeaders = { { "Content-Type", "text/html; charset=utf-8" } };

UrlResponse httpResponse(int code, HeaderList headers = htmlHeaders)
{
    UrlResponse r;
    r.isHttp = true;
    r.statusCode = code;
    r.headers = std::move(headers);
    return r;
}

// Flags set up the owner and the record: "archive", "rechecking", "soft404" (the owner finds
// one), "soft404Check", "external", "start", "ignoreSlash", "stop", "unsent", "recheck" (a
// re-check of a record that had failed).
struct Fixture
{
    FakeOwner owner;
    LinkCheckerUrl record { &owner };

    explicit Fixture(const QString &url = QStringLiteral("http://h/a"), const char *flags = "")
    {
        const QList<QByteArray> on = QByteArray(flags).split(' ');
        owner.archive = on.contains("archive");
        owner.rechecking = on.contains("rechecking");
        owner.soft404Answer = on.contains("soft404");
        owner.soft404Check = on.contains("soft404Check");
        owner.ignoreSlash = on.contains("ignoreSlash");
        owner.stop_ = on.contains("stop");
        record.setIsInternal(!on.contains("external"));
        record.setIsStartingPoint(on.contains("start"));
        record.setLinkUrl(url, false);
        if (on.contains("recheck")) {
            record.setStatus(QStringLiteral("500 internal server error"));
            record.setBeingRechecked(true);
        }
        if (!on.contains("unsent"))
            record.setSentRequest();
        owner.calls.clear();
    }
    // Owner messages: those sent directly, then (after "|") those posted without waiting.
    QString trace()
    {
        QStringList all = owner.calls;
        owner.calls.clear();
        all << QStringLiteral("|");
        owner.runPosted();
        all << owner.calls;
        owner.calls.clear();
        return all.join(QLatin1Char(' '));
    }
    std::optional<UrlRequest> send(const QString &url, const UrlResponse *redirect = nullptr,
                                   myNSURLConnection *conn = nullptr)
    {
        UrlRequest request;
        request.url = url;
        return record.willSendRequest(conn, request, redirect);
    }
    std::optional<UrlRequest> redirect(const QString &to, int code = 301)
    {
        const UrlResponse response = httpResponse(code, {});
        return send(to, &response);
    }
    void respond(int code, const HeaderList &headers = htmlHeaders, myNSURLConnection *c = nullptr)
    {
        record.didReceiveResponse(c, httpResponse(code, headers));
    }
    void finish() { record.connectionDidFinishLoading(nullptr); }
    // Events separated by ";": "send", "redirect <url>" (301), "respond <code> [content type]"
    // (default HTML), "file <mime type>" (a non-HTTP answer), "body <bytes>", "finish",
    // "fail <text>", "challenge basic|trust" (the answer joins the trace as "answer:...").
    void play(const QString &events)
    {
        for (const QString &event : events.split(u';', Qt::SkipEmptyParts)) {
            const QString verb = event.trimmed().section(u' ', 0, 0);
            const QString arg = event.trimmed().section(u' ', 1);
            const QByteArray type = arg.section(u' ', 1).toLatin1();
            if (verb == u"send") {
                ASSERT_TRUE(send(record.getLinkUrl()));
            } else if (verb == u"redirect") {
                redirect(arg);
            } else if (verb == u"respond") {
                respond(arg.section(u' ', 0, 0).toInt(),
                        type.isEmpty() ? htmlHeaders : HeaderList { { "Content-Type", type } });
            } else if (verb == u"file") {
                UrlResponse response;
                response.mimeType = arg;
                record.didReceiveResponse(nullptr, response);
            } else if (verb == u"body") {
                record.didReceiveData(nullptr, arg.toLatin1().constData(), arg.size());
            } else if (verb == u"finish") {
                finish();
            } else if (verb == u"fail") {
                record.didFailWithError(nullptr, UrlError { 7, arg });
            } else if (verb == u"challenge") {
                AuthChallenge c;
                c.method = arg == u"trust" ? AuthMethod::ServerTrust : AuthMethod::HttpBasic;
                record.didReceiveAuthenticationChallenge(nullptr, c);
                owner.calls << (c.answer == AuthChallenge::Answer::Cancel ? "answer:cancel"
                                        : c.answer == AuthChallenge::Answer::UseServerTrust
                                        ? "answer:trust"
                                        : "answer:other");
            } else {
                FAIL() << "unknown event " << verb.toStdString();
            }
        }
    }
};

} // namespace

TEST(Fetch, EventsGiveStatusAndOwnerMessagesInOrder)
{
    const QString readAt0 = QStringLiteral("incNumberDone extractLinks:0 | threadHasFinished");
    const QString doneAtResponse =
            QStringLiteral("statusHasChangedFordO incNumberDone | threadHasFinished");
    const QString ended = QStringLiteral("| incNumberDone threadHasFinished");
    const QString cancelled = QStringLiteral("incNumberDone answer:cancel | threadHasFinished");
    const QString rechecked =
            QStringLiteral("incNumberDone statusHasChangedFordO threadHasFinished |");
    const struct
    {
        const char *flags, *url, *events, *status, *redir;
        QString trace;
    } cases[] = {
        // A page is archived, tested, counted and parsed (body still there) before it is freed.
        { "archive", "", "send; respond 200; body <html>; body </html>; finish", "200 no error", "",
          "statusHasChangedFordO archivePage performSoft404CheckOnThisUrl incNumberDone "
          "extractLinks:13 | threadHasFinished" },
        { "rechecking", "", "respond 200; finish", "200 no error", "",
          "statusHasChangedFordO performSoft404CheckOnThisUrl incNumberDone | "
          "threadHasFinished" },
        { "soft404", "", "respond 200; finish", "404 'soft 404' < 200 no error", "",
          "statusHasChangedFordO performSoft404CheckOnThisUrl " + readAt0 },
        { "soft404", "", "respond 404; finish", "404 not found", "",
          "statusHasChangedFordO " + readAt0 },
        // The body is not needed: finished at the response.
        { "", "", "respond 200 application/pdf", "200 no error", "", doneAtResponse },
        { "external", "", "respond 200 text/html", "200 no error", "", doneAtResponse },
        { "external soft404Check", "", "respond 200 text/html", "200 no error", "",
          "statusHasChangedFordO |" },
        { "", "", "respond 200 text/html", "200 no error", "", "statusHasChangedFordO |" },
        // A non-HTTP answer takes "HTML" from the MIME type; a start page keeps any body.
        { "", "file:///d/a.txt", "file text/plain", "200 no error (not http)", "", doneAtResponse },
        { "", "file:///d/a.htm", "file text/html", "200 no error (not http)", "",
          "statusHasChangedFordO |" },
        { "start", "file:///d/a.txt", "file text/plain", "200 no error (not http)", "",
          "statusHasChangedFordO |" },
        // A start page redirected only to add a slash keeps its URL when slashes are ignored.
        { "start ignoreSlash", "http://h/dir", "redirect http://h/dir/", "", "",
          "addToLookup:http://h/dir resetDomain:http://h/dir/ |" },
        { "", "http://h/dir", "redirect http://h/dir/", "301 moved permanently", "http://h/dir/",
          "|" },
        { "", "", "send; redirect ", "redirection to nowhere", "", ended },
        // A re-check replaces the status and needs no body.
        { "recheck", "", "respond 200", "200 no error", "", rechecked },
        { "recheck", "", "fail The request timed out.", "The request timed out.", "", rechecked },
        { "", "", "fail Could not connect to server", "Could not connect to server", "",
          "statusHasChangedFordO incNumberDone | threadHasFinished" },
        // The site's own certificate is trusted; anything else ends the check.
        { "", "", "challenge trust", "", "", "answer:trust |" },
        { "external", "", "challenge trust", "requires authentication", "", cancelled },
        { "", "", "challenge basic", "requires authentication", "", cancelled },
        // Stop pressed, or a request never stamped as sent: every callback is silent.
        { "stop", "", "respond 200; body x; challenge basic; fail failed; finish", "", "",
          "answer:other |" },
        { "unsent", "", "respond 200; finish", "", "", "|" },
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.flags) + " / " + c.events);
        Fixture f(*c.url ? QString::fromLatin1(c.url) : QStringLiteral("http://h/a"), c.flags);
        f.play(QString::fromLatin1(c.events));
        EXPECT_EQ(f.trace(), c.trace);
        EXPECT_EQ(f.record.getStatus(), QString::fromLatin1(c.status));
        EXPECT_EQ(f.record.getRedir(), QString::fromLatin1(c.redir));
        EXPECT_TRUE(f.record.getData().isEmpty()) << "body kept";
        EXPECT_FALSE(f.record.isBeingRechecked());
        EXPECT_GE(f.record.getResponseTime(), 0.0);
    }
}

TEST(Fetch, RedirectChainRecordsLastTargetAndFirstCode)
{
    Fixture f;
    ASSERT_TRUE(f.send(QStringLiteral("http://h/a")));
    const auto next = f.redirect(QStringLiteral("http://other:8080/b"), 301);
    ASSERT_TRUE(next);
    EXPECT_EQ(next->url, QStringLiteral("http://other:8080/b"));
    EXPECT_EQ(next->header("Host"), QByteArray("other:8080"));
    ASSERT_TRUE(f.redirect(QStringLiteral("http://h/c"), 302));
    EXPECT_EQ(f.record.getRedir(), QStringLiteral("http://h/c"));
    EXPECT_EQ(f.record.getActualLinkUrl(), QStringLiteral("http://h/c"));
    f.respond(200);
    EXPECT_EQ(f.record.getStatus(), QStringLiteral("200 no error < 301 moved permanently"));
    EXPECT_EQ(f.record.getColour(), 2);
    EXPECT_EQ(f.record.getNumberOfRedirects(), 3);
}

TEST(Fetch, RedirectCapCountsEachFetchAfresh)
{
    Fixture f;
    test::LogCapture log;
    ASSERT_TRUE(f.send(QStringLiteral("http://h/a")));
    for (int i = 0; i < 100; ++i)
        ASSERT_TRUE(f.redirect(QStringLiteral("http://h/loop%1").arg(i % 2))) << i;
    EXPECT_EQ(f.trace(), QStringLiteral("|"));
    EXPECT_FALSE(f.redirect(QStringLiteral("http://h/loop0"))); // the 101st redirect
    EXPECT_EQ(f.record.getStatus(), QStringLiteral("recurring redirect"));
    EXPECT_EQ(log.count(QStringLiteral("recurring redirect")), 1);
    EXPECT_EQ(f.trace(), QStringLiteral("| incNumberDone threadHasFinished"));
    // A later fetch of the same record (re-check, continue) counts its hops afresh.
    f.record.setSentRequest();
    EXPECT_TRUE(f.redirect(QStringLiteral("http://h/loop1")));
}

TEST(Fetch, ServerTrustOnlyForTheStartAndChallengesAreLogged)
{
    Fixture g;
    g.record.setIsStartingPoint(true);
    EXPECT_TRUE(g.record.canAuthenticateAgainstProtectionSpace(nullptr, AuthMethod::ServerTrust));
    EXPECT_FALSE(g.record.canAuthenticateAgainstProtectionSpace(nullptr, AuthMethod::HttpBasic));
    g.record.setIsStartingPoint(false);
    EXPECT_FALSE(g.record.canAuthenticateAgainstProtectionSpace(nullptr, AuthMethod::ServerTrust));

    test::LogCapture log;
    g.play(QStringLiteral("challenge trust"));
    EXPECT_TRUE(log.contains(QStringLiteral("received authentication challenge from http://h/a")));
}

TEST(Fetch, ValidatorHeadersInBothSpellings)
{
    QCoreApplication::processEvents();
    for (const char *prefix : { "X-W3C-Validator-", "X-W3c-Validator-" }) {
        const QByteArray p(prefix);
        Fixture f;
        // Not handed over with setConnection(): the calling connection is the one cancelled.
        auto *validator = new myNSURLConnection(UrlRequest(), &f.record, ValidatorRequest);
        f.respond(200,
                  { { p + "Status", "Invalid" }, { p + "Errors", "3" }, { p + "Warnings", "2" } },
                  validator);
        EXPECT_EQ(f.record.getValidatorStatus(), QStringLiteral("Invalid"));
        EXPECT_EQ(f.record.getValidatorErrors(), 3);
        EXPECT_EQ(f.record.getValidatorWarnings(), 2);
        EXPECT_EQ(f.record.getValidatorColour(), 2);
        EXPECT_EQ(f.record.getStatus(), QString()); // the link's own status is untouched
        EXPECT_EQ(f.record.getConnection(), nullptr);
        EXPECT_TRUE(validator->isCancelled());
        EXPECT_EQ(f.trace(), QStringLiteral("| incNumberValidated"));
    }

    // Neither header: the answer falls through to the end of loading.
    Fixture f;
    auto *validator = new myNSURLConnection(UrlRequest(), &f.record, ValidatorRequest);
    f.record.setConnection(validator);
    f.respond(200, htmlHeaders, validator);
    EXPECT_EQ(f.record.getValidatorStatus(), QString());
    EXPECT_FALSE(validator->isCancelled());
    EXPECT_EQ(f.trace(), QStringLiteral("|"));
    f.record.didFailWithError(validator,
                              UrlError { 7, QStringLiteral("Could not connect to server") });
    EXPECT_EQ(f.record.getValidatorStatus(), QStringLiteral("Could not connect to server"));
    EXPECT_EQ(f.trace(), QStringLiteral("| incNumberValidated"));
    QCoreApplication::processEvents(); // let the cancelled connections go
}

TEST(Fetch, ImagesAndPageWeightMeasureTheBody)
{
    Fixture f(QStringLiteral("http://h/logo.png"));
    f.record.setIsImage(true);
    f.respond(200, { { "Content-Type", "image/png" }, { "Content-Length", "4096" } });
    f.record.didReceiveData(nullptr, QByteArray(3000, 'x').constData(), 3000);
    f.finish();
    EXPECT_EQ(f.record.getFileSizeInBytes(), 3000);
    EXPECT_EQ(f.record.getFileSizeCompressedInKBytes(), 4);
    EXPECT_GE(f.record.getLoadTime(), 0.0);

    test::LogCapture log;
    Fixture g(QStringLiteral("http://h/logo.png"));
    g.record.setIsImage(true);
    g.respond(200, { { "Content-Type", "image/png" } });
    EXPECT_TRUE(log.contains(
            QStringLiteral("Content-Length header isn't available for http://h/logo.png")));
    g.record.didReceiveData(nullptr, QByteArray(2048, 'x').constData(), 2048);
    g.finish();
    EXPECT_EQ(g.record.getFileSizeCompressedInKBytes(), 2); // the body length stands in
}

TEST(Fetch, HighlightFetchCollectsThePageOnly)
{
    Fixture f;
    auto *conn = new myNSURLConnection(UrlRequest(), &f.record, HighlightFetch);
    f.record.setConnection(conn);
    f.record.setStatus(QStringLiteral("404 not found"));
    f.record.setBeingRechecked(true); // a highlight fetch still takes the bytes
    EXPECT_TRUE(f.send(QStringLiteral("http://h/page"), nullptr, conn));
    f.respond(200, htmlHeaders, conn);
    f.record.didReceiveData(conn, "<p>", 3);
    f.record.connectionDidFinishLoading(conn);
    EXPECT_EQ(f.record.getOnPageData(), QByteArray("<p>"));
    EXPECT_EQ(f.record.getStatus(), QStringLiteral("404 not found"));
    EXPECT_TRUE(f.record.getRedir().isEmpty());
    EXPECT_EQ(f.trace(), QStringLiteral("| threadHasFinished"));
    QCoreApplication::processEvents();
}
