// The fetch delegate of a link record over real transfers (the fixture server over HTTP and
// HTTPS, local files): the record's status, redirect target and sizes, and the owner messages.
#include "FakeOwner.h"
#include "FixtureServer.h"
#include "TestHome.h"

#include "links/myNSURLConnection.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFileInfo>
#include <QPointer>
#include <QUrl>

#include <functional>
#include <memory>
#include <utility>
#include <tuple>

using namespace orel;
using orel::test::FakeOwner;
using orel::test::FixtureServer;

namespace {

// A local file that is not a page: the fixture server's script.
QString localFile()
{
    return QUrl::fromLocalFile(orel::test::sourceDir() + "/tests/fixtures/fixture_server.py")
            .toString();
}

// A record and its owner. Flags: "archive", "rechecking" (the owner re-checks), "soft404" (the
// owner finds one), "soft404Check", "external", "start", "ignoreSlash", "image", "recheck" (a
// re-check of a record that had failed).
struct LiveFetch
{
    FakeOwner owner;
    std::unique_ptr<LinkCheckerUrl> record = std::make_unique<LinkCheckerUrl>(&owner);

    explicit LiveFetch(const QString &url, const char *flags = "")
    {
        const QList<QByteArray> on = QByteArray(flags).split(' ');
        owner.archive = on.contains("archive");
        owner.rechecking = on.contains("rechecking");
        owner.soft404Answer = on.contains("soft404");
        owner.soft404Check = on.contains("soft404Check");
        owner.ignoreSlash = on.contains("ignoreSlash");
        record->setIsInternal(!on.contains("external"));
        record->setIsStartingPoint(on.contains("start"));
        record->setIsImage(on.contains("image"));
        record->setLinkUrl(url, false);
        if (on.contains("recheck")) {
            record->setStatus(QStringLiteral("500 internal server error"));
            record->setBeingRechecked(true);
        }
    }
    // Starts the transfer the way the crawl does.
    myNSURLConnection *start(int kind = CrawlFetch)
    {
        UrlRequest request;
        request.url = record->getLinkUrlForTesting();
        request.timeoutSeconds = 10;
        record->setSentRequest();
        owner.calls.clear();
        auto *connection = new myNSURLConnection(request, record.get(), kind);
        record->setConnection(connection);
        return connection;
    }
    // Runs the event loop and the owner's posted messages until cond holds or the time is up.
    void waitFor(const std::function<bool()> &cond, int ms)
    {
        QDeadlineTimer deadline(ms);
        while (!cond() && !deadline.hasExpired()) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
            for (const auto &posted : std::exchange(owner.posted, {}))
                posted();
        }
    }
    // Runs the transfer to its last owner message, and a little longer so that anything sent
    // twice shows; answers the messages in order.
    QString run(int kind = CrawlFetch, const QString &last = QStringLiteral("threadHasFinished"))
    {
        start(kind);
        waitFor([&] { return owner.calls.contains(last); }, 15000);
        waitFor([] { return false; }, 100);
        return owner.calls.join(QLatin1Char(' '));
    }
};

} // namespace

TEST(Fetch, AnswersBecomeStatusesAndOwnerMessages)
{
    FixtureServer server, tls(FixtureServer::Tls);
    ASSERT_TRUE(server.isRunning() && tls.isRunning());
    const QString local = localFile();
    const QString read = QStringLiteral("statusHasChangedFordO performSoft404CheckOnThisUrl "
                                        "incNumberDone extractLinks threadHasFinished");
    const QString notRead = QStringLiteral("statusHasChangedFordO incNumberDone threadHasFinished");
    const QString errorRead =
            QStringLiteral("statusHasChangedFordO incNumberDone extractLinks threadHasFinished");
    const QString ended = QStringLiteral("incNumberDone threadHasFinished");
    const QString rechecked =
            QStringLiteral("incNumberDone statusHasChangedFordO threadHasFinished");
    const struct
    {
        QString url; // a path on the server, or a whole URL
        const char *flags, *status, *redir; // redir: how the redirect target ends ("": none)
        QString calls;
    } cases[] = {
        // A page is archived, tested and parsed with its body, which is freed afterwards.
        { "/final", "archive", "200 no error", "",
          "statusHasChangedFordO archivePage performSoft404CheckOnThisUrl incNumberDone "
          "extractLinks threadHasFinished" },
        // Later hops move the target on; the status keeps the first hop's code.
        { "/redirect/chain?n=3", "", "200 no error < 302 found", "/final", read },
        // Exactly a hundred redirects are followed.
        { "/redirect/loop?i=0", "", "recurring redirect", "/redirect/loop?i=100", ended },
        // Only a slash added to the start page: absorbed into its own URL, not a redirect.
        { "/dir", "start ignoreSlash", "200 no error", "",
          "addToLookup:/dir resetDomain:/dir/ " + read },
        // An error page is not tested for a soft 404.
        { "/status/404", "soft404", "404 not found", "", errorRead },
        { "/soft404", "soft404", "404 'soft 404' < 200 no error", "", read },
        { "/auth/basic", "", "401 unauthorized", "", errorRead },
        // A body is read from a page only, and from an external one only to test for a soft 404.
        { "/type/pdf", "", "200 no error", "", notRead },
        { "/type/html", "external", "200 no error", "", notRead },
        { "/type/html", "external soft404Check", "200 no error", "", read },
        // While the owner re-checks nothing is parsed; a re-check replaces the status.
        { "/final", "rechecking", "200 no error", "",
          "statusHasChangedFordO performSoft404CheckOnThisUrl incNumberDone threadHasFinished" },
        { "/final", "recheck", "200 no error", "", rechecked },
        { "file:///nonexistent-orrelwick/a.html", "recheck", "file doesnt exist", "", rechecked },
        // A local file is not HTTP; a start page is read whatever its type.
        { local, "", "200 no error (not http)", "", notRead },
        { local, "start", "200 no error (not http)", "", read },
        // Only the start page trusts the site's own certificate.
        { tls.url("/final"), "start", "200 no error", "", read },
        { tls.url("/final"), "", "SSL peer certificate or SSH remote key was not OK", "", notRead },
        { tls.url("/final"), "start external", "requires authentication", "", ended },
    };
    test::LogCapture log;
    for (const auto &c : cases) {
        SCOPED_TRACE(c.url.toStdString() + " " + c.flags);
        LiveFetch f(c.url.startsWith(QLatin1Char('/')) ? server.url(c.url) : c.url, c.flags);
        EXPECT_EQ(f.run().remove(server.baseUrl()), c.calls);
        EXPECT_EQ(f.record->getStatus(), QLatin1String(c.status));
        const QString redir = f.record->getRedir();
        EXPECT_TRUE(*c.redir ? redir.endsWith(QLatin1String(c.redir)) : redir.isEmpty())
                << redir.toStdString();
        EXPECT_TRUE(f.record->getData().isEmpty() || !f.record->isInternal()) << "body kept";
        EXPECT_FALSE(f.record->isBeingRechecked());
    }
    EXPECT_EQ(log.count(QStringLiteral("recurring redirect")), 1);
    EXPECT_EQ(log.count(QStringLiteral("received authentication challenge from ")
                        + tls.url("/final")),
              2);

    // A later fetch of the same record (a re-check, a continued crawl) follows its own hundred.
    LiveFetch loop(server.url("/redirect/loop?i=0"));
    loop.run();
    loop.run();
    EXPECT_TRUE(loop.record->getRedir().endsWith(QLatin1String("/redirect/loop?i=200")));
}

// Validator requests, fetches of a page to highlight a link in it, and images.
TEST(Fetch, ValidatorHighlightAndImageFetches)
{
    FixtureServer server;
    ASSERT_TRUE(server.isRunning());
    // Both spellings of the validator's headers are read.
    const QString answer = server.url("/respond?h=X-W3%1-Validator-Status:%2"
                                      "&h=X-W3%1-Validator-Errors:3&h=X-W3%1-Validator-Warnings:2");
    // URL, validator status, errors, warnings, owner messages
    for (const auto &[url, status, errors, warnings, calls] : {
                 std::tuple { answer.arg("C", "Invalid"), "Invalid", 3, 2, "incNumberValidated" },
                 { answer.arg("c", "Valid"), "Valid", 3, 2, "incNumberValidated" },
                 { "file:///nonexistent-orrelwick/a.html", "file doesnt exist", -1, -1,
                   "incNumberValidated" },
         }) {
        SCOPED_TRACE(url.toStdString());
        LiveFetch v(url);
        EXPECT_EQ(v.run(ValidatorRequest, QString(calls).section(' ', -1)), QLatin1String(calls));
        EXPECT_EQ(v.record->getValidatorStatus(), QLatin1String(status));
        EXPECT_EQ(v.record->getValidatorErrors(), errors);
        EXPECT_EQ(v.record->getValidatorWarnings(), warnings);
        EXPECT_EQ(v.record->getValidatorColour(), QLatin1String(status) == "Invalid" ? 2 : 0);
        EXPECT_EQ(v.record->getStatus(), QString()); // the link's own status is untouched
    }

    // The page to highlight a link in is fetched through its redirect; the link's own status and
    // target stay.
    LiveFetch link(server.url("/status/404"));
    link.record->setStatus(QStringLiteral("404 not found"));
    link.record->setBeingRechecked(true); // a highlight fetch still takes the bytes
    link.record->addOnPageUrl(server.url("/redirect/chain?n=1"));
    link.record->setHighlightCallback(true);
    EXPECT_EQ(link.run(HighlightFetch), QStringLiteral("threadHasFinished"));
    EXPECT_TRUE(link.record->getOnPageData().startsWith("<html><head><title>final page"));
    EXPECT_EQ(link.record->getStatus(), QStringLiteral("404 not found"));
    EXPECT_TRUE(link.record->getRedir().isEmpty());

    // The transferred size comes from Content-Length; without it the body's length stands in.
    const QString local = localFile();
    const int localBytes = int(QFileInfo(QUrl(local).toLocalFile()).size());
    test::LogCapture log;
    for (const auto &[url, bytes, compressedKb] :
         { std::tuple { server.url("/big?n=3000"), 3000, 2 },
           { local, localBytes, localBytes / 1024 } }) {
        LiveFetch image(url, "image");
        image.run();
        EXPECT_EQ(image.record->getFileSizeInBytes(), bytes);
        EXPECT_EQ(image.record->getFileSizeCompressedInKBytes(), compressedKb);
    }
    EXPECT_EQ(log.count(QStringLiteral("Content-Length header isn't available for ") + local
                        + ", uncompressed size will be set to = final data length"),
              1);
}

TEST(Fetch, RecordGoneOrCrawlStoppedMidTransferEndsQuietly)
{
    FixtureServer server;
    ASSERT_TRUE(server.isRunning());

    // A record released or deleted while its transfer runs takes the transfer with it.
    LiveFetch gone(server.url("/slow?ms=400"));
    QPointer<myNSURLConnection> connection = gone.start();
    gone.record->releaseAll();
    EXPECT_TRUE(!connection || connection->isCancelled());
    gone.record.reset();
    gone.waitFor([] { return false; }, 700);
    EXPECT_TRUE(gone.owner.calls.isEmpty()) << gone.owner.calls.join(' ').toStdString();

    // The user pauses before the answer or while the body is on its way: nothing is reported.
    for (const auto &[path, pauseAfter] :
         { std::pair { "/slow?ms=300", "" }, { "/slowbody?ms=400", "statusHasChangedFordO" } }) {
        SCOPED_TRACE(path);
        LiveFetch paused(server.url(path));
        paused.start();
        paused.waitFor([&] { return !*pauseAfter || paused.owner.calls.contains(pauseAfter); },
                       5000);
        paused.owner.calls.clear();
        paused.owner.stop_ = true;
        paused.waitFor([] { return false; }, 700);
        EXPECT_TRUE(paused.owner.calls.isEmpty()) << paused.owner.calls.join(' ').toStdString();
        EXPECT_EQ(paused.record->getConnection(), nullptr);
    }
}
