// The fetch delegate of a link record, driven directly (no network): what the record sets and
// which owner messages it sends, in which order, and which of them wait.
#include "FakeOwner.h"
#include "TestHome.h"

#include "links/myNSURLConnection.h"

#include <gtest/gtest.h>

#include <QCoreApplication>

#include <tuple>

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

struct Fixture
{
    FakeOwner owner;
    LinkCheckerUrl record { &owner };

    explicit Fixture(const QString &url = QStringLiteral("http://h/a"))
    {
        record.setLinkUrl(url, false);
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
    void body(const QByteArray &bytes)
    {
        record.didReceiveData(nullptr, bytes.data(), bytes.size());
    }
    void finish() { record.connectionDidFinishLoading(nullptr); }
    void fail(const QString &text, int code = 7, myNSURLConnection *c = nullptr)
    {
        record.didFailWithError(c, UrlError { code, text });
    }
};

} // namespace

TEST(Fetch, PageEndsWithOwnerMessagesInOrder)
{
    Fixture f;
    f.owner.archive = true;
    ASSERT_TRUE(f.send(QStringLiteral("http://h/a")));
    f.respond(200);
    EXPECT_EQ(f.record.getStatus(), QStringLiteral("200 no error"));
    f.body("<html>");
    f.body("</html>");
    f.finish();
    EXPECT_EQ(f.trace(),
        QStringLiteral("statusHasChangedFordO archivePage performSoft404CheckOnThisUrl "
                       "incNumberDone extractLinks:13 | threadHasFinished"));
    EXPECT_TRUE(f.record.getData().isEmpty()); // freed after parsing
    EXPECT_GE(f.record.getResponseTime(), 0.0);

    // During a re-check run the owner does not read the page again.
    Fixture g;
    g.owner.rechecking = true;
    g.respond(200);
    g.finish();
    EXPECT_EQ(g.trace(),
        "statusHasChangedFordO performSoft404CheckOnThisUrl incNumberDone | threadHasFinished");

    // A soft "not found" prefixes the status; a page that already failed is not tested.
    Fixture s;
    s.owner.soft404Answer = true;
    s.respond(200);
    s.finish();
    EXPECT_EQ(s.record.getStatus(), QStringLiteral("404 'soft 404' < 200 no error"));
    EXPECT_FALSE(s.record.shouldBeMemberOfBadCollection());
    Fixture n;
    n.owner.soft404Answer = true;
    n.respond(404);
    n.finish();
    EXPECT_EQ(n.record.getStatus(), QStringLiteral("404 not found"));
    EXPECT_FALSE(n.trace().contains(QLatin1String("performSoft404CheckOnThisUrl")));
}

TEST(Fetch, BodyNotNeededFinishesAtTheResponse)
{
    // Content type, internal, soft-404 check on, finished at the response.
    const std::tuple<const char *, bool, bool, bool> cases[] = {
        { "application/pdf", true, false, true },
        { "text/html", false, false, true },
        { "text/html", false, true, false },
        { "text/html", true, false, false },
    };
    for (const auto &[type, internal, soft404, finished] : cases) {
        SCOPED_TRACE(std::string(type) + (internal ? " internal" : " external"));
        Fixture f;
        f.record.setIsInternal(internal);
        f.owner.soft404Check = soft404;
        f.respond(200, { { "Content-Type", type } });
        EXPECT_EQ(f.trace(),
            finished ? QStringLiteral("statusHasChangedFordO incNumberDone | threadHasFinished")
                     : QStringLiteral("statusHasChangedFordO |"));
    }

    // A non-HTTP answer takes "HTML" from the MIME type; a start page keeps any body.
    Fixture f(QStringLiteral("file:///site/doc.txt"));
    UrlResponse response;
    response.mimeType = QStringLiteral("text/plain");
    f.record.setIsStartingPoint(true);
    f.record.didReceiveResponse(nullptr, response);
    EXPECT_EQ(f.record.getStatus(), QStringLiteral("200 no error (not http)"));
    EXPECT_FALSE(f.record.getIsHTML());
    EXPECT_TRUE(f.record.getContentLengthUnavailable());
    EXPECT_EQ(f.trace(), QStringLiteral("statusHasChangedFordO |"));
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

    // A start page redirected only to add a slash keeps its URL when slashes are ignored.
    Fixture s(QStringLiteral("http://h/dir"));
    s.owner.ignoreSlash = true;
    s.record.setIsStartingPoint(true);
    ASSERT_TRUE(s.redirect(QStringLiteral("http://h/dir/")));
    EXPECT_TRUE(s.record.getRedir().isEmpty());
    EXPECT_EQ(s.record.getLinkUrl(), QStringLiteral("http://h/dir/"));
    EXPECT_EQ(s.record.getStatus(), QString());
    EXPECT_EQ(s.trace(), QStringLiteral("addToLookup:http://h/dir resetDomain:http://h/dir/ |"));
    Fixture g(QStringLiteral("http://h/dir"));
    ASSERT_TRUE(g.redirect(QStringLiteral("http://h/dir/")));
    EXPECT_EQ(g.record.getRedir(), QStringLiteral("http://h/dir/"));
    EXPECT_EQ(g.record.getStatus(), QStringLiteral("301 moved permanently"));
}

TEST(Fetch, RedirectCapAndRedirectionToNowhere)
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

    Fixture g;
    EXPECT_FALSE(g.redirect(QString()));
    EXPECT_EQ(g.record.getStatus(), QStringLiteral("redirection to nowhere"));
    EXPECT_EQ(g.trace(), QStringLiteral("| incNumberDone threadHasFinished"));
}

TEST(Fetch, RecheckReplacesTheStatusAndNeedsNoBody)
{
    for (const bool fails : { false, true }) {
        Fixture f;
        f.record.setStatus(QStringLiteral("500 internal server error"));
        f.record.setBeingRechecked(true);
        if (fails)
            f.fail(QStringLiteral("The request timed out."), UrlError::TimedOut);
        else
            f.respond(200);
        EXPECT_EQ(f.record.getStatus(), fails ? "The request timed out." : "200 no error");
        EXPECT_FALSE(f.record.isBeingRechecked());
        EXPECT_EQ(f.trace(), "incNumberDone statusHasChangedFordO threadHasFinished |");
    }
}

TEST(Fetch, FailureAndAuthenticationEndTheCheckOnce)
{
    Fixture f;
    f.fail(QStringLiteral("Could not connect to server"));
    EXPECT_EQ(f.record.getStatus(), QStringLiteral("Could not connect to server"));
    EXPECT_EQ(f.record.getColour(), 4);
    EXPECT_EQ(f.trace(), QStringLiteral("statusHasChangedFordO incNumberDone | threadHasFinished"));

    // Server trust: accepted for internal records, refused for external ones.
    Fixture g;
    g.record.setIsStartingPoint(true);
    EXPECT_TRUE(g.record.canAuthenticateAgainstProtectionSpace(nullptr, AuthMethod::ServerTrust));
    EXPECT_FALSE(g.record.canAuthenticateAgainstProtectionSpace(nullptr, AuthMethod::HttpBasic));
    g.record.setIsStartingPoint(false);
    EXPECT_FALSE(g.record.canAuthenticateAgainstProtectionSpace(nullptr, AuthMethod::ServerTrust));

    test::LogCapture log;
    AuthChallenge trust;
    trust.method = AuthMethod::ServerTrust;
    g.record.didReceiveAuthenticationChallenge(nullptr, trust);
    EXPECT_EQ(trust.answer, AuthChallenge::Answer::UseServerTrust);
    EXPECT_EQ(g.trace(), QStringLiteral("|"));
    EXPECT_TRUE(log.contains(QStringLiteral("received authentication challenge from http://h/a")));

    for (AuthMethod method : { AuthMethod::HttpBasic, AuthMethod::ServerTrust }) {
        Fixture h;
        h.record.setIsInternal(method != AuthMethod::ServerTrust);
        AuthChallenge challenge;
        challenge.method = method;
        h.record.didReceiveAuthenticationChallenge(nullptr, challenge);
        EXPECT_EQ(challenge.answer, AuthChallenge::Answer::Cancel);
        EXPECT_EQ(h.record.getStatus(), QStringLiteral("requires authentication"));
        EXPECT_EQ(h.trace(), QStringLiteral("incNumberDone | threadHasFinished"));
    }
}

TEST(Fetch, StopPressedOrUnsentSilencesEveryCallback)
{
    Fixture f;
    f.owner.stop_ = true;
    f.respond(200);
    f.body("x");
    f.fail(QStringLiteral("failed"));
    f.finish();
    EXPECT_EQ(f.record.getStatus(), QString());
    EXPECT_TRUE(f.record.getData().isEmpty());
    EXPECT_EQ(f.trace(), QStringLiteral("|"));

    // A response for a request never stamped as sent is ignored too.
    FakeOwner owner;
    LinkCheckerUrl unsent(&owner);
    unsent.didReceiveResponse(nullptr, httpResponse(200));
    EXPECT_EQ(unsent.getStatus(), QString());
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
    f.fail(QStringLiteral("Could not connect to server"), 7, validator);
    EXPECT_EQ(f.record.getValidatorStatus(), QStringLiteral("Could not connect to server"));
    EXPECT_EQ(f.trace(), QStringLiteral("| incNumberValidated"));
    QCoreApplication::processEvents(); // let the cancelled connections go
}

TEST(Fetch, ImagesAndPageWeightMeasureTheBody)
{
    Fixture f(QStringLiteral("http://h/logo.png"));
    f.record.setIsImage(true);
    f.record.setIsHTML(false);
    f.respond(200, { { "Content-Type", "image/png" }, { "Content-Length", "4096" } });
    f.body(QByteArray(3000, 'x'));
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
    g.body(QByteArray(2048, 'x'));
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
