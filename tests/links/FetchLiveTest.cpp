// The fetch delegate over real transfers to the local fixture server: the record's status and
// the owner messages for each kind of answer, end to end.
#include "FakeOwner.h"
#include "FixtureServer.h"
#include "TestHome.h"

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

    // Starts the transfer the way the crawl does and waits for its last owner message.
    QString run(int kind = CrawlFetch)
    {
        UrlRequest request;
        request.url = record->getLinkUrlForTesting();
        request.timeoutSeconds = 10;
        record->setSentRequest();
        record->setConnection(new myNSURLConnection(request, record.get(), kind));
        const QString last = kind == ValidatorRequest ? QStringLiteral("incNumberValidated")
                                                      : QStringLiteral("threadHasFinished");
        QDeadlineTimer deadline(15000);
        while (!owner.calls.contains(last) && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        // Anything sent twice would arrive now.
        for (int i = 0; i < 5; ++i)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        // Message names only: "extractLinks:123" -> "extractLinks".
        QStringList names;
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
    const struct
    {
        const char *path;
        bool internal;
        const char *status;
        const char *redirSuffix;
        QString calls;
    } cases[] = {
        { "/final", true, "200 no error", "", read },
        { "/redirect/chain?n=3", true, "200 no error < 302 found", "/final", read },
        { "/status/404", true, "404 not found", "",
            QStringLiteral("statusHasChangedFordO incNumberDone extractLinks threadHasFinished") },
        { "/type/pdf", true, "200 no error", "", notRead },
        { "/type/html", false, "200 no error", "", notRead },
        { "/auth/basic", true, "401 unauthorized", "",
            QStringLiteral("statusHasChangedFordO incNumberDone extractLinks threadHasFinished") },
        { "/redirect/loop?i=0", true, "recurring redirect", "/redirect/loop?i=100",
            QStringLiteral("incNumberDone threadHasFinished") },
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.path);
        LiveFetch f(server.url(QString::fromLatin1(c.path)));
        f.record->setIsInternal(c.internal);
        EXPECT_EQ(f.run(), c.calls);
        EXPECT_EQ(f.record->getStatus(), QString::fromLatin1(c.status));
        if (*c.redirSuffix)
            EXPECT_TRUE(f.record->getRedir().endsWith(QString::fromLatin1(c.redirSuffix)));
        else
            EXPECT_TRUE(f.record->getRedir().isEmpty());
        EXPECT_TRUE(f.record->getData().isEmpty() || !c.internal) << f.record->getData().size();
    }
}

TEST(FetchLive, SlashOnlyRedirectOfTheStartIsAbsorbed)
{
    FixtureServer server;
    ASSERT_TRUE(server.isRunning());
    LiveFetch f(server.url(QStringLiteral("/dir")));
    f.owner.ignoreSlash = true;
    f.record->setIsStartingPoint(true);
    const QString calls = f.run();
    EXPECT_EQ(f.record->getStatus(), QStringLiteral("200 no error"));
    EXPECT_TRUE(f.record->getRedir().isEmpty());
    EXPECT_EQ(f.record->getLinkUrl(), server.url(QStringLiteral("/dir/")));
    EXPECT_TRUE(calls.startsWith(QStringLiteral("addToLookup resetDomain statusHasChangedFordO")))
        << calls.toStdString();
}

TEST(FetchLive, ValidatorAnswerAndMissingFile)
{
    FixtureServer server;
    ASSERT_TRUE(server.isRunning());
    LiveFetch v(server.url(
        QStringLiteral("/respond?status=200&type=text/html&body=x&h=X-W3c-Validator-Status:Invalid"
                       "&h=X-W3c-Validator-Errors:4&h=X-W3c-Validator-Warnings:1")));
    EXPECT_EQ(v.run(ValidatorRequest), QStringLiteral("incNumberValidated"));
    EXPECT_EQ(v.record->getValidatorStatus(), QStringLiteral("Invalid"));
    EXPECT_EQ(v.record->getValidatorErrors(), 4);
    EXPECT_EQ(v.record->getValidatorWarnings(), 1);

    LiveFetch m(QStringLiteral("file:///nonexistent-orrelwick/page.html"));
    EXPECT_EQ(m.run(), QStringLiteral("statusHasChangedFordO incNumberDone threadHasFinished"));
    EXPECT_EQ(m.record->getStatus(), QStringLiteral("file doesnt exist"));
    EXPECT_EQ(m.record->getColour(), 4);
    EXPECT_FALSE(m.record->shouldBeMemberOfBadCollection());
}

TEST(FetchLive, SelfSignedStartPageIsTrusted)
{
    FixtureServer server(FixtureServer::Tls);
    ASSERT_TRUE(server.isRunning());
    LiveFetch start(server.url(QStringLiteral("/final")));
    start.record->setIsStartingPoint(true);
    start.run();
    EXPECT_EQ(start.record->getStatus(), QStringLiteral("200 no error"));

    // Any other record does not accept the certificate: a failure text.
    LiveFetch other(server.url(QStringLiteral("/final")));
    EXPECT_EQ(other.run(), QStringLiteral("statusHasChangedFordO incNumberDone threadHasFinished"));
    EXPECT_EQ(other.record->getColour(), 4);
}

TEST(FetchLive, RecordGoneOrCrawlStoppedMidTransferEndsQuietly)
{
    FixtureServer server;
    ASSERT_TRUE(server.isRunning());
    const auto settle = [] {
        QDeadlineTimer deadline(1200);
        while (!deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    };

    // A record released or deleted while its transfer runs takes the transfer with it.
    {
        LiveFetch f(server.url(QStringLiteral("/slow?ms=400")));
        UrlRequest request;
        request.url = f.record->getLinkUrlForTesting();
        f.record->setSentRequest();
        QPointer<myNSURLConnection> connection
            = new myNSURLConnection(request, f.record.get(), CrawlFetch);
        f.record->setConnection(connection);
        f.record->releaseAll();
        EXPECT_TRUE(!connection || connection->isCancelled());
        f.record.reset();
        settle();
        EXPECT_TRUE(f.owner.calls.isEmpty()) << f.owner.calls.join(QLatin1Char(' ')).toStdString();
    }

    // The user pauses while the body is on its way: the record cancels and reports nothing.
    {
        LiveFetch f(server.url(QStringLiteral("/slowbody?ms=400")));
        UrlRequest request;
        request.url = f.record->getLinkUrlForTesting();
        f.record->setSentRequest();
        f.record->setConnection(new myNSURLConnection(request, f.record.get(), CrawlFetch));
        QDeadlineTimer deadline(5000);
        while (!f.owner.calls.contains(QStringLiteral("statusHasChangedFordO"))
            && !deadline.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        f.owner.calls.clear();
        f.owner.stop_ = true;
        settle();
        EXPECT_TRUE(f.owner.calls.isEmpty()) << f.owner.calls.join(QLatin1Char(' ')).toStdString();
        EXPECT_EQ(f.record->getConnection(), nullptr);
    }
}
