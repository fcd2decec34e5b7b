// A record's side of throttling over real transfers: a 429/503 is handed to the owner, which
// may take it back for a retry (the record then forgets the answer), the blocked verdict of the
// final answer, and the redirect hops of the last fetch.
#include "FakeOwner.h"
#include "FixtureServer.h"
#include "links/myNSURLConnection.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>

#include <functional>
#include <memory>
#include <utility>

using namespace orel;
using orel::test::FixtureServer;

namespace {

// An owner that takes throttled records back (or not), noting what the answer asked for.
struct RetryingOwner : test::FakeOwner
{
    bool accept = true;
    bool retryLater(LinkCheckerUrl *, std::optional<double> wait) override
    {
        note("retryLater:" + (wait ? QString::number(*wait) : QStringLiteral("none")));
        return accept;
    }
};

struct Fetch
{
    RetryingOwner owner;
    std::unique_ptr<LinkCheckerUrl> record = std::make_unique<LinkCheckerUrl>(&owner);

    explicit Fetch(const QString &url)
    {
        record->setIsInternal(false); // answered at the headers: no body is read
        record->setLinkUrl(url, false);
    }
    // Runs one transfer until the owner has heard its end or took it back.
    QString run(int kind = CrawlFetch)
    {
        UrlRequest request;
        request.url = record->getLinkUrlForTesting();
        request.timeoutSeconds = 10;
        record->setSentRequest();
        owner.calls.clear();
        record->setConnection(new myNSURLConnection(request, record.get(), kind));
        QDeadlineTimer deadline(10000);
        const auto ended = [&] {
            return owner.calls.contains("threadHasFinished")
                    || (owner.calls.join(' ').contains("retryLater") && !record->getConnection());
        };
        while (!ended() && !deadline.hasExpired()) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
            for (const auto &posted : std::exchange(owner.posted, {}))
                posted();
        }
        return owner.calls.join(' ');
    }
};

} // namespace

TEST(RetryHandOver, AThrottledAnswerGoesBackToTheOwnerOrStandsBlocked)
{
    FixtureServer server;
    ASSERT_TRUE(server.isRunning()) << "the fixture server did not start";
    const struct
    {
        const char *path;
        bool accept;
        const char *calls, *status;
        bool blocked;
    } cases[] = {
        // Taken back: no answer is counted and the redirect on the way is forgotten.
        { "/redirect/to?url=%2Fthrottle%2Falways%3Fafter%3D7", true, "retryLater:7", "", false },
        { "/throttle/always?code=503", true, "retryLater:none", "", false },
        // Declined: the last try's answer stands, a 429 as blocked, a 503 as it is.
        { "/throttle/always", false,
          "retryLater:none statusHasChangedFordO incNumberDone threadHasFinished",
          "429 too many requests", true },
        { "/throttle/always?code=503", false,
          "retryLater:none statusHasChangedFordO incNumberDone threadHasFinished",
          "503 service unavailable", false },
        // A bot challenge is not worth a retry; the owner is not asked.
        { "/respond?status=503&h=cf-mitigated:challenge", true,
          "statusHasChangedFordO incNumberDone threadHasFinished", "503 service unavailable",
          true },
        { "/respond?status=403&h=x-amzn-waf-action:captcha", true,
          "statusHasChangedFordO incNumberDone threadHasFinished", "403 forbidden", true },
    };
    for (const auto &c : cases) {
        Fetch f(server.url(c.path));
        f.owner.accept = c.accept;
        EXPECT_EQ(f.run(), QString(c.calls)) << c.path;
        EXPECT_EQ(f.record->getStatus(), QString(c.status)) << c.path;
        EXPECT_EQ(f.record->isBlocked(), c.blocked) << c.path;
        if (c.accept && QByteArray(c.status).isEmpty()) {
            EXPECT_TRUE(f.record->getRedir().isEmpty()) << c.path;
            EXPECT_TRUE(f.record->redirectHistory().isEmpty()) << c.path;
            EXPECT_FALSE(f.record->getSentRequest()) << c.path; // not in flight any more
            EXPECT_EQ(f.record->getConnection(), nullptr) << c.path;
        }
    }

    // Other kinds of fetch are never retried.
    Fetch weight(server.url("/throttle/always"));
    weight.run(PageWeightFetch);
    EXPECT_FALSE(weight.owner.calls.join(' ').contains("retryLater"));
}

TEST(RetryHandOver, RedirectHopsAreKeptForTheLastFetchOnly)
{
    FixtureServer server;
    ASSERT_TRUE(server.isRunning()) << "the fixture server did not start";
    Fetch f(server.url("/redirect/chain?n=2&code=301"));
    f.run();
    EXPECT_EQ(f.record->redirectHistory(),
              (QStringList { server.url("/redirect/chain?n=1&code=301"), server.url("/final") }));
    // The next fetch goes to the recorded target: no hop, no history.
    f.run();
    EXPECT_TRUE(f.record->redirectHistory().isEmpty());
    Fetch plain(server.url("/final"));
    plain.run();
    EXPECT_TRUE(plain.record->redirectHistory().isEmpty());
}
