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

UrlResponse httpResponse(int code, HeaderList headers = {})
{
    UrlResponse r;
    r.isHttp = true;
    r.statusCode = code;
    r.headers = std::move(headers);
    return r;
}

UrlRequest requestFor(const QString &url)
{
    UrlRequest r;
    r.url = url;
    return r;
}

const HeaderList htmlHeaders = { { "Content-Type", "text/html; charset=utf-8" } };

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
    std::optional<UrlRequest> redirect(const QString &to, int code = 301)
    {
        const UrlResponse response = httpResponse(code);
        return record.willSendRequest(nullptr, requestFor(to), &response);
    }
    void body(const QByteArray &bytes)
    {
        record.didReceiveData(nullptr, bytes.constData(), bytes.size());
    }
};

} // namespace

TEST(Fetch, InternalHtmlPageIsReadThenReleased)
{
    Fixture f;
    f.owner.archive = true;
    ASSERT_TRUE(
        f.record.willSendRequest(nullptr, requestFor(QStringLiteral("http://h/a")), nullptr));
    f.record.didReceiveResponse(nullptr, httpResponse(200, htmlHeaders));
    EXPECT_EQ(f.record.getStatus(), QStringLiteral("200 no error"));
    f.body("<html>");
    f.body("</html>");
    f.record.connectionDidFinishLoading(nullptr);
    EXPECT_EQ(f.trace(),
        QStringLiteral("statusHasChangedFordO archivePage performSoft404CheckOnThisUrl "
                       "incNumberDone extractLinks:13 | threadHasFinished"));
    EXPECT_TRUE(f.record.getData().isEmpty()); // freed after parsing
    EXPECT_GE(f.record.getResponseTime(), 0.0);

    // During a re-check run the owner does not read the page again.
    Fixture g;
    g.owner.rechecking = true;
    g.record.didReceiveResponse(nullptr, httpResponse(200, htmlHeaders));
    g.record.connectionDidFinishLoading(nullptr);
    EXPECT_EQ(g.trace(),
        QStringLiteral("statusHasChangedFordO performSoft404CheckOnThisUrl "
                       "incNumberDone | threadHasFinished"));
}

TEST(Fetch, SoftNotFoundPrefixesTheStatus)
{
    Fixture f;
    f.owner.soft404Answer = true;
    f.record.didReceiveResponse(nullptr, httpResponse(200, htmlHeaders));
    f.record.connectionDidFinishLoading(nullptr);
    EXPECT_EQ(f.record.getStatus(), QStringLiteral("404 'soft 404' < 200 no error"));
    EXPECT_FALSE(f.record.shouldBeMemberOfBadCollection());

    // A page that already failed is not tested.
    Fixture g;
    g.owner.soft404Answer = true;
    g.record.didReceiveResponse(nullptr, httpResponse(404, htmlHeaders));
    g.record.connectionDidFinishLoading(nullptr);
    EXPECT_EQ(g.record.getStatus(), QStringLiteral("404 not found"));
    EXPECT_FALSE(g.trace().contains(QLatin1String("performSoft404CheckOnThisUrl")));
}

TEST(Fetch, BodyNotNeededFinishesAtTheResponse)
{
    const struct
    {
        const char *contentType;
        bool internal;
        bool soft404;
        bool finishedAtResponse;
    } cases[] = {
        { "application/pdf", true, false, true },
        { "text/html", false, false, true },
        { "text/html", false, true, false },
        { "text/html", true, false, false },
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.contentType) + (c.internal ? " internal" : " external"));
        Fixture f;
        f.record.setIsInternal(c.internal);
        f.owner.soft404Check = c.soft404;
        f.record.didReceiveResponse(
            nullptr, httpResponse(200, { { "Content-Type", c.contentType } }));
        EXPECT_EQ(f.trace(),
            c.finishedAtResponse
                ? QStringLiteral("statusHasChangedFordO incNumberDone | threadHasFinished")
                : QStringLiteral("statusHasChangedFordO |"));
    }
}

TEST(Fetch, NonHttpAnswerTakesHtmlFromTheMimeType)
{
    Fixture f(QStringLiteral("file:///site/doc.txt"));
    UrlResponse response;
    response.mimeType = QStringLiteral("text/plain");
    f.record.setIsStartingPoint(true); // keeps the body although it is not HTML
    f.record.didReceiveResponse(nullptr, response);
    EXPECT_EQ(f.record.getStatus(), QStringLiteral("200 no error (not http)"));
    EXPECT_FALSE(f.record.getIsHTML());
    EXPECT_TRUE(f.record.getContentLengthUnavailable());
    EXPECT_EQ(f.trace(), QStringLiteral("statusHasChangedFordO |"));
}

TEST(Fetch, RedirectChainRecordsLastTargetAndFirstCode)
{
    Fixture f;
    ASSERT_TRUE(
        f.record.willSendRequest(nullptr, requestFor(QStringLiteral("http://h/a")), nullptr));
    const auto next = f.redirect(QStringLiteral("http://other:8080/b"), 301);
    ASSERT_TRUE(next);
    EXPECT_EQ(next->url, QStringLiteral("http://other:8080/b"));
    EXPECT_EQ(next->header("Host"), QByteArray("other:8080"));
    ASSERT_TRUE(f.redirect(QStringLiteral("http://h/c"), 302));
    EXPECT_EQ(f.record.getRedir(), QStringLiteral("http://h/c"));
    EXPECT_EQ(f.record.getActualLinkUrl(), QStringLiteral("http://h/c"));
    f.record.didReceiveResponse(nullptr, httpResponse(200, htmlHeaders));
    EXPECT_EQ(f.record.getStatus(), QStringLiteral("200 no error < 301 moved permanently"));
    EXPECT_EQ(f.record.getColour(), 2);
    EXPECT_EQ(f.record.getNumberOfRedirects(), 3);
}

TEST(Fetch, TrailingSlashRedirectOfTheStartIsAbsorbed)
{
    Fixture f(QStringLiteral("http://h/dir"));
    f.owner.ignoreSlash = true;
    f.record.setIsStartingPoint(true);
    ASSERT_TRUE(f.redirect(QStringLiteral("http://h/dir/")));
    EXPECT_TRUE(f.record.getRedir().isEmpty());
    EXPECT_EQ(f.record.getLinkUrl(), QStringLiteral("http://h/dir/"));
    EXPECT_EQ(f.record.getStatus(), QString());
    EXPECT_EQ(f.trace(), QStringLiteral("addToLookup:http://h/dir resetDomain:http://h/dir/ |"));

    // Without slash ignoring it is a real redirect.
    Fixture g(QStringLiteral("http://h/dir"));
    ASSERT_TRUE(g.redirect(QStringLiteral("http://h/dir/")));
    EXPECT_EQ(g.record.getRedir(), QStringLiteral("http://h/dir/"));
    EXPECT_EQ(g.record.getStatus(), QStringLiteral("301 moved permanently"));
}

TEST(Fetch, RedirectCapAndRedirectionToNowhere)
{
    Fixture f;
    test::LogCapture log;
    ASSERT_TRUE(
        f.record.willSendRequest(nullptr, requestFor(QStringLiteral("http://h/a")), nullptr));
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
    Fixture f;
    f.record.setStatus(QStringLiteral("500 internal server error"));
    f.record.setBeingRechecked(true);
    f.record.didReceiveResponse(nullptr, httpResponse(200, htmlHeaders));
    EXPECT_EQ(f.record.getStatus(), QStringLiteral("200 no error"));
    EXPECT_FALSE(f.record.isBeingRechecked());
    EXPECT_EQ(f.trace(), QStringLiteral("incNumberDone statusHasChangedFordO threadHasFinished |"));

    Fixture g;
    g.record.setStatus(QStringLiteral("404 not found"));
    g.record.setBeingRechecked(true);
    g.record.didFailWithError(
        nullptr, UrlError { UrlError::TimedOut, QStringLiteral("The request timed out.") });
    EXPECT_EQ(g.record.getStatus(), QStringLiteral("The request timed out."));
    EXPECT_FALSE(g.record.isBeingRechecked());
    EXPECT_EQ(g.trace(), QStringLiteral("incNumberDone statusHasChangedFordO threadHasFinished |"));
}

TEST(Fetch, FailureAndAuthenticationEndTheCheckOnce)
{
    Fixture f;
    f.record.didFailWithError(
        nullptr, UrlError { 7, QStringLiteral("Could not connect to server") });
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

    const AuthMethod refused[] = { AuthMethod::HttpBasic, AuthMethod::ServerTrust };
    for (AuthMethod method : refused) {
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

TEST(Fetch, StopPressedSilencesEveryCallback)
{
    Fixture f;
    f.owner.stop_ = true;
    f.record.didReceiveResponse(nullptr, httpResponse(200, htmlHeaders));
    f.body("x");
    f.record.didFailWithError(nullptr, UrlError { 7, QStringLiteral("failed") });
    f.record.connectionDidFinishLoading(nullptr);
    EXPECT_EQ(f.record.getStatus(), QString());
    EXPECT_TRUE(f.record.getData().isEmpty());
    EXPECT_EQ(f.trace(), QStringLiteral("|"));

    // A response for a request never stamped as sent is ignored too.
    FakeOwner owner;
    LinkCheckerUrl unsent(&owner);
    unsent.didReceiveResponse(nullptr, httpResponse(200, htmlHeaders));
    EXPECT_EQ(unsent.getStatus(), QString());
}

TEST(Fetch, ValidatorHeadersInBothSpellings)
{
    QCoreApplication::processEvents();
    const HeaderList spellings[] = {
        { { "X-W3C-Validator-Status", "Invalid" }, { "X-W3C-Validator-Errors", "3" },
            { "X-W3C-Validator-Warnings", "2" } },
        { { "X-W3c-Validator-Status", "Invalid" }, { "X-W3c-Validator-Errors", "3" },
            { "X-W3c-Validator-Warnings", "2" } },
    };
    for (const HeaderList &headers : spellings) {
        Fixture f;
        // Not handed over with setConnection(): the calling connection is the one cancelled.
        myNSURLConnection *validator
            = new myNSURLConnection(UrlRequest(), &f.record, ValidatorRequest);
        f.record.didReceiveResponse(validator, httpResponse(200, headers));
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
    myNSURLConnection *validator = new myNSURLConnection(UrlRequest(), &f.record, ValidatorRequest);
    f.record.setConnection(validator);
    f.record.didReceiveResponse(validator, httpResponse(200, htmlHeaders));
    EXPECT_EQ(f.record.getValidatorStatus(), QString());
    EXPECT_FALSE(validator->isCancelled());
    EXPECT_EQ(f.trace(), QStringLiteral("|"));
    f.record.didFailWithError(
        validator, UrlError { 7, QStringLiteral("Could not connect to server") });
    EXPECT_EQ(f.record.getValidatorStatus(), QStringLiteral("Could not connect to server"));
    EXPECT_EQ(f.trace(), QStringLiteral("| incNumberValidated"));
    QCoreApplication::processEvents(); // let the cancelled connections go
}

TEST(Fetch, ImagesAndPageWeightMeasureTheBody)
{
    Fixture f(QStringLiteral("http://h/logo.png"));
    f.record.setIsImage(true);
    f.record.setIsHTML(false);
    f.record.didReceiveResponse(nullptr,
        httpResponse(200, { { "Content-Type", "image/png" }, { "Content-Length", "4096" } }));
    f.body(QByteArray(3000, 'x'));
    f.record.connectionDidFinishLoading(nullptr);
    EXPECT_EQ(f.record.getFileSizeInBytes(), 3000);
    EXPECT_EQ(f.record.getFileSizeCompressedInKBytes(), 4);
    EXPECT_GE(f.record.getLoadTime(), 0.0);

    test::LogCapture log;
    Fixture g(QStringLiteral("http://h/logo.png"));
    g.record.setIsImage(true);
    g.record.didReceiveResponse(nullptr, httpResponse(200, { { "Content-Type", "image/png" } }));
    EXPECT_TRUE(log.contains(
        QStringLiteral("Content-Length header isn't available for http://h/logo.png")));
    g.body(QByteArray(2048, 'x'));
    g.record.connectionDidFinishLoading(nullptr);
    EXPECT_EQ(g.record.getFileSizeCompressedInKBytes(), 2); // the body length stands in
}

TEST(Fetch, HighlightFetchCollectsThePageOnly)
{
    Fixture f;
    myNSURLConnection *conn = new myNSURLConnection(UrlRequest(), &f.record, HighlightFetch);
    f.record.setConnection(conn);
    f.record.setStatus(QStringLiteral("404 not found"));
    f.record.setBeingRechecked(true); // a highlight fetch still takes the bytes
    EXPECT_TRUE(
        f.record.willSendRequest(conn, requestFor(QStringLiteral("http://h/page")), nullptr));
    f.record.didReceiveResponse(conn, httpResponse(200, htmlHeaders));
    f.record.didReceiveData(conn, "<p>", 3);
    f.record.connectionDidFinishLoading(conn);
    EXPECT_EQ(f.record.getOnPageData(), QByteArray("<p>"));
    EXPECT_EQ(f.record.getStatus(), QStringLiteral("404 not found"));
    EXPECT_TRUE(f.record.getRedir().isEmpty());
    EXPECT_EQ(f.trace(), QStringLiteral("| threadHasFinished"));
    QCoreApplication::processEvents();
}
