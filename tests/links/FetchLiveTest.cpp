// The fetch delegate over real transfers to the local fixture server: the record's status and
// the owner messages for each kind of answer, end to end.
#include "FakeOwner.h"
#include "FixtureServer.h"

#include "links/myNSURLConnection.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QPointer>

#include <memory>

using namespace orel;
using orel::test::FakeOwner;
using orel::test::FixtureServer;

namespace {

struct LiveFetch
{
    FakeOwner owner;
    std::unique_ptr<LinkCheckerUrl> record;

    explicit LiveFetch(const QString &url)
    {
        owner.realLater = true;
        record = std::make_unique<LinkCheckerUrl>(&owner);
        record->setLinkUrl(url, false);
        owner.calls.clear();
    }
    // Starts the transfer the way the crawl does.
    myNSURLConnection *start(int kind = CrawlFetch)
    {
        UrlRequest request;
        request.url = record->getLinkUrlForTesting();
        request.timeoutSeconds = 10;
        record->setSentRequest();
        auto *connection = new myNSURLConnection(request, record.get(), kind);
        record->setConnection(connection);
        return connection;
    }
    // Processes events until the owner got `last` or the time is up.
    void waitFor(const QString &last, int ms = 15000)
    {
        QDeadlineTimer deadline(ms);
        while (!owner.calls.contains(last) && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    // Runs the transfer to its last owner message; answers the message names in order.
    QString run(int kind = CrawlFetch)
    {
        start(kind);
        waitFor(kind == ValidatorRequest ? QStringLiteral("incNumberValidated")
                                         : QStringLiteral("threadHasFinished"));
        waitFor(QStringLiteral("-"), 100); // anything sent twice would arrive now
        QStringList names; // "extractLinks:123" -> "extractLinks"
        for (const QString &call : owner.calls)
            names << call.section(QLatin1Char(':'), 0, 0);
        return names.join(QLatin1Char(' '));
    }
};

} // namespace

TEST(FetchLive, AnswersBecomeStatusesAndOwnerMessages)
{
    FixtureServer server;
    ASSERT_TRUE(server.isRunning());
    const QString read = QStringLiteral("statusHasChangedFordO performSoft404CheckOnThisUrl "
                                        "incNumberDone extractLinks threadHasFinished");
    const QString notRead = QStringLiteral("statusHasChangedFordO incNumberDone threadHasFinished");
    const QString failRead =
            QStringLiteral("statusHasChangedFordO incNumberDone extractLinks threadHasFinished");
    const struct
    {
        const char *url; // a server path, or a whole URL
        bool internal, startWithSlashIgnored;
        const char *status, *actualSuffix;
        bool redirected;
        QString calls;
    } cases[] = {
        { "/final", true, false, "200 no error", "/final", false, read },
        { "/redirect/chain?n=3", true, false, "200 no error < 302 found", "/final", true, read },
        { "/status/404", true, false, "404 not found", "/status/404", false, failRead },
        { "/type/pdf", true, false, "200 no error", "/type/pdf", false, notRead },
        { "/type/html", false, false, "200 no error", "/type/html", false, notRead },
        { "/auth/basic", true, false, "401 unauthorized", "/auth/basic", false, failRead },
        { "/redirect/loop?i=0", true, false, "recurring redirect", "/redirect/loop?i=100", true,
          QStringLiteral("incNumberDone threadHasFinished") },
        // Only a slash added: absorbed into the start's own URL, not a redirect.
        { "/dir", true, true, "200 no error", "/dir/", false,
          QStringLiteral("addToLookup resetDomain ") + read },
        { "file:///nonexistent-orrelwick/page.html", false, false, "file doesnt exist", "page.html",
          false, notRead },
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.url);
        const QString url = QString::fromLatin1(c.url);
        LiveFetch f(url.startsWith(QLatin1Char('/')) ? server.url(url) : url);
        f.record->setIsInternal(c.internal);
        f.record->setIsStartingPoint(c.startWithSlashIgnored);
        f.owner.ignoreSlash = c.startWithSlashIgnored;
        EXPECT_EQ(f.run(), c.calls);
        EXPECT_EQ(f.record->getStatus(), QString::fromLatin1(c.status));
        EXPECT_TRUE(f.record->getActualLinkUrl().endsWith(QString::fromLatin1(c.actualSuffix)));
        EXPECT_EQ(f.record->getRedir().isEmpty(), !c.redirected);
        EXPECT_TRUE(f.record->getData().isEmpty() || !c.internal) << f.record->getData().size();
    }
}

TEST(FetchLive, ValidatorAnswerAndSelfSignedStartPage)
{
    FixtureServer server;
    ASSERT_TRUE(server.isRunning());
    LiveFetch v(server.url(QStringLiteral(
            "/respond?status=200&type=text/html&body=x&h=X-W3c-Validator-Status:Invalid"
            "&h=X-W3c-Validator-Errors:4&h=X-W3c-Validator-Warnings:1")));
    EXPECT_EQ(v.run(ValidatorRequest), QStringLiteral("incNumberValidated"));
    EXPECT_EQ(v.record->getValidatorStatus(), QStringLiteral("Invalid"));
    EXPECT_EQ(v.record->getValidatorErrors(), 4);
    EXPECT_EQ(v.record->getValidatorWarnings(), 1);

    // The start page accepts the self-signed certificate; any other record fails with a text.
    FixtureServer tls(FixtureServer::Tls);
    ASSERT_TRUE(tls.isRunning());
    LiveFetch start(tls.url(QStringLiteral("/final")));
    start.record->setIsStartingPoint(true);
    start.run();
    EXPECT_EQ(start.record->getStatus(), QStringLiteral("200 no error"));
    LiveFetch other(tls.url(QStringLiteral("/final")));
    EXPECT_EQ(other.run(), QStringLiteral("statusHasChangedFordO incNumberDone threadHasFinished"));
    EXPECT_EQ(other.record->getColour(), 4);
}

TEST(FetchLive, RecordGoneOrCrawlStoppedMidTransferEndsQuietly)
{
    FixtureServer server;
    ASSERT_TRUE(server.isRunning());

    // A record released or deleted while its transfer runs takes the transfer with it.
    LiveFetch gone(server.url(QStringLiteral("/slow?ms=400")));
    QPointer<myNSURLConnection> connection = gone.start();
    gone.record->releaseAll();
    EXPECT_TRUE(!connection || connection->isCancelled());
    gone.record.reset();
    gone.waitFor(QStringLiteral("-"), 1200);
    EXPECT_TRUE(gone.owner.calls.isEmpty()) << gone.owner.calls.join(' ').toStdString();

    // The user pauses while the body is on its way: the record cancels and reports nothing.
    LiveFetch paused(server.url(QStringLiteral("/slowbody?ms=400")));
    paused.start();
    paused.waitFor(QStringLiteral("statusHasChangedFordO"), 5000);
    paused.owner.calls.clear();
    paused.owner.stop_ = true;
    paused.waitFor(QStringLiteral("-"), 1200);
    EXPECT_TRUE(paused.owner.calls.isEmpty()) << paused.owner.calls.join(' ').toStdString();
    EXPECT_EQ(paused.record->getConnection(), nullptr);
}
