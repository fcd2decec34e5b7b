// The sitemap's upload to a real FTP server on 127.0.0.1, in the program and from the command
// line: the bytes that arrive, the log lines, a refused login, and the password kept out of
// every log line, process argument list and file others may read.
#include "CliRun.h"
#include "FtpServer.h"
#include "TestHome.h"

#include "common/AppSupport.h"
#include "common/SettingsControls.h"
#include "config/OrelConfigManager.h"
#include "links/LinkCheckerUrl.h"
#include "seo/SEOManager.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace orel;
using orel::test::dialogs;
using orel::test::readFile;
using orel::test::writeFile;

namespace {

const QString kUser = QStringLiteral("mapper");
const QString kPassword = QStringLiteral("Pw-7f3c1e-not-for-eyes");

// Whether any process's argument list holds text.
bool anyCommandLineHolds(const QString &text)
{
    const QByteArray needle = text.toUtf8();
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &entry : entries) {
        bool numeric = false;
        entry.toInt(&numeric);
        QFile cmdline(QStringLiteral("/proc/%1/cmdline").arg(entry));
        if (numeric && cmdline.open(QIODevice::ReadOnly) && cmdline.readAll().contains(needle))
            return true;
    }
    return false;
}

int modeOf(const QString &path)
{
    struct stat st
    {
    };
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 ? int(st.st_mode & 0777) : -1;
}

class SitemapUploadTest : public ::testing::Test
{
protected:
    orel::test::FtpServer ftp { kUser, kPassword };
    SettingsControls controls;
    OrelConfigManager manager { &controls };
    SEOManager seo;
    LinkCheckerUrl home { nullptr };
    QTemporaryDir out;

    void SetUp() override
    {
        ASSERT_TRUE(ftp.isRunning()) << ftp.why().toStdString();
        orel::test::resetDialogs();
        QDir(ftp.root()).mkdir(QStringLiteral("up"));
        seo.setSitemapContext(&controls, &manager);
        home.setLinkUrl(QStringLiteral("http://s.test/?a=1&b=2"), false);
        seo.add(&home);
        controls.ftpserverField = ftp.url();
        controls.ftpdirectoryField = QStringLiteral("up");
        controls.ftpusernameField = kUser;
        controls.ftppasswordField = kPassword;
    }
};

} // namespace

TEST_F(SitemapUploadTest, TheFileArrivesWholeAndThePasswordShowsNowhere)
{
    ASSERT_TRUE(seo.writeXML(out.filePath(QStringLiteral("sitemap.xml"))));
    // Every process's arguments are read again and again while the transfer runs.
    int scans = 0;
    bool seen = false;
    QTimer watch;
    watch.setInterval(0);
    QObject::connect(&watch, &QTimer::timeout, [&] {
        ++scans;
        seen = seen || anyCommandLineHolds(kPassword);
    });
    watch.start();
    orel::test::LogCapture logs;
    EXPECT_EQ(seo.transferFiles(), 0);
    watch.stop();
    EXPECT_GT(scans, 0);
    EXPECT_FALSE(seen);
    EXPECT_EQ(readFile(ftp.root() + QStringLiteral("/up/sitemap.xml")),
              readFile(out.filePath(QStringLiteral("sitemap.xml"))));
    const QString destination = ftp.url() + QStringLiteral("/up/sitemap.xml");
    EXPECT_EQ(
            logs.lines,
            (QStringList {
                    QStringLiteral("server + dir + filename =  ") + destination,
                    QStringLiteral("current directory set to ") + out.path(),
                    QStringLiteral("curl -T sitemap.xml %1 -u %2:********").arg(destination, kUser),
                    QStringLiteral("ftp of sitemap.xml completed successfully\n") }));
    EXPECT_EQ(dialogs().countCalls(QStringLiteral("alert")), 0);
}

TEST_F(SitemapUploadTest, ARefusedLoginShowsTheAlertWithLibcurlsCode)
{
    ASSERT_TRUE(seo.writeXML(out.filePath(QStringLiteral("map.xml"))));
    controls.ftppasswordField = QStringLiteral("wrong-password");
    orel::test::LogCapture logs;
    EXPECT_EQ(seo.transferFiles(), 67); // login denied
    ASSERT_EQ(dialogs().countCalls(QStringLiteral("alert")), 1);
    const auto &alert = dialogs().calls.last();
    EXPECT_EQ(alert.title, QStringLiteral("ftp unsuccessful"));
    EXPECT_EQ(alert.text, QStringLiteral("ftp error: exit code: 67\n"));
    EXPECT_EQ(alert.buttons, QStringList { QStringLiteral("OK") });
    EXPECT_EQ(logs.lines.last(), QStringLiteral("ftp error:Login denied exit code: 67\n"));
    EXPECT_FALSE(logs.lines.join(u'\n').contains(QStringLiteral("wrong-password")));
    EXPECT_FALSE(QFile::exists(ftp.root() + QStringLiteral("/up/map.xml")));

    // Nothing written yet: as for a file that cannot be read.
    SEOManager fresh;
    fresh.setSitemapContext(&controls, &manager);
    EXPECT_EQ(fresh.transferFiles(), 26);
}

// A loopback socket that listens but never accepts: connections complete in the kernel's
// backlog and then hear nothing, as from a server that hangs before its greeting.
class SilentListener
{
public:
    SilentListener()
    {
        m_fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto *raw = reinterpret_cast<sockaddr *>(&address);
        if (m_fd >= 0 && ::bind(m_fd, raw, length) == 0 && ::listen(m_fd, 4) == 0
            && ::getsockname(m_fd, raw, &length) == 0)
            port = ntohs(address.sin_port);
    }
    ~SilentListener() { ::close(m_fd); }
    SilentListener(const SilentListener &) = delete;
    SilentListener &operator=(const SilentListener &) = delete;
    quint16 port = 0;

private:
    int m_fd = -1;
};

TEST_F(SitemapUploadTest, ANoServerOrASilentOneEndsWithLibcurlsCode)
{
    ASSERT_TRUE(seo.writeXML(out.filePath(QStringLiteral("sitemap.xml"))));
    const SilentListener silent;
    ASSERT_NE(silent.port, 0);
    controls.timeoutField = 1;
    controls.ftpserverField = QStringLiteral("127.0.0.1:%1").arg(silent.port);
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(seo.transferFiles(), 28); // timed out
    EXPECT_LT(clock.elapsed(), 8000);
    EXPECT_EQ(dialogs().calls.last().text, QStringLiteral("ftp error: exit code: 28\n"));

    // Nothing listens on the port any more.
    {
        const SilentListener gone;
        controls.ftpserverField = QStringLiteral("127.0.0.1:%1").arg(gone.port);
    }
    EXPECT_EQ(seo.transferFiles(), 7); // could not connect
}

TEST_F(SitemapUploadTest, TheSheetSavesTheDetailsOwnerOnlyThenUploads)
{
    const mode_t savedMask = ::umask(0); // the file's mode must not depend on the umask
    controls.sitemapOptions = 2;
    seo.exportXML();
    ASSERT_EQ(seo.getSitemapLocation(), AppSupport::tempFolder() + QStringLiteral("/sitemap.xml"));
    controls.ftpserverField.clear();
    manager.saveFtpDetails({ ftp.url(), QStringLiteral("old"), kUser, QStringLiteral("old-pw") });

    // Cancelled: nothing is saved or sent.
    EXPECT_EQ(seo.beginFTPDialog(), std::nullopt);
    ASSERT_EQ(dialogs().countCalls(QStringLiteral("ftp")), 1);
    EXPECT_EQ(dialogs().calls.last().text, QStringLiteral("old")); // filled with the saved ones

    dialogs().ftpAnswers.enqueue(FtpDetails { ftp.url(), QStringLiteral("up"), kUser, kPassword });
    orel::test::LogCapture logs;
    EXPECT_EQ(seo.beginFTPDialog(), std::optional<int>(0));
    EXPECT_EQ(readFile(ftp.root() + QStringLiteral("/up/sitemap.xml")),
              readFile(seo.getSitemapLocation()));
    EXPECT_EQ(modeOf(OrelConfigManager::ftpDetailsPath()), 0600);
    EXPECT_EQ(modeOf(AppSupport::folder()), 0700);
    EXPECT_EQ(OrelConfigManager::loadFtpDetails().password, kPassword);
    EXPECT_FALSE(logs.lines.join(u'\n').contains(kPassword));
    ::umask(savedMask);
}

TEST_F(SitemapUploadTest, TheCommandLineUploadsWithThePasswordFromTheEnvironment)
{
    writeFile(out.filePath(QStringLiteral("site/index.html")),
              "<title>Home</title><a href=\"a.html\">A</a>");
    writeFile(out.filePath(QStringLiteral("site/a.html")), "<title>A</title>");
    const QString map = out.filePath(QStringLiteral("map.xml"));
    const QStringList args {
        QStringLiteral("crawl"),        out.filePath(QStringLiteral("site/index.html")),
        QStringLiteral("--sitemap"),    map,
        QStringLiteral("--set"),        QStringLiteral("sitemapChangeFrequency=3"),
        QStringLiteral("--ftp-upload"), QStringLiteral("127.0.0.1:%1").arg(ftp.port()),
        QStringLiteral("--ftp-dir"),    QStringLiteral("up"),
        QStringLiteral("--ftp-user"),   kUser,
        QStringLiteral("--verbose")
    };
    QProcess cli;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("ORRELWICK_FTP_PASSWORD"), kPassword);
    cli.setProcessEnvironment(env);
    cli.start(QStringLiteral(ORRELWICK_CLI_PATH), args);
    ASSERT_TRUE(cli.waitForStarted(10000));
    bool seen = false;
    while (!cli.waitForFinished(5))
        seen = seen || anyCommandLineHolds(kPassword);
    EXPECT_FALSE(seen);
    const QString err = QString::fromUtf8(cli.readAllStandardError());
    EXPECT_EQ(cli.exitCode(), 0) << err.toStdString();
    EXPECT_FALSE(err.contains(kPassword));
    EXPECT_TRUE(readFile(map).contains("<changefreq>daily</changefreq>"));
    EXPECT_EQ(readFile(ftp.root() + QStringLiteral("/up/map.xml")), readFile(map));

    // A refused login: the alert's words on stderr, exit status 2.
    const orel::test::CliRun refused = orel::test::runCli(
            args.mid(0, args.size() - 1), {}, { QStringLiteral("ORRELWICK_FTP_PASSWORD=wrong") });
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_TRUE(refused.err.contains(QStringLiteral("ftp unsuccessful: ftp error: exit code: 67")))
            << refused.err.toStdString();

    // The password is never taken from the command line; outputs are checked before the crawl.
    const orel::test::CliRun onLine = orel::test::runCli(
            { QStringLiteral("crawl"), out.filePath(QStringLiteral("site/index.html")),
              QStringLiteral("--ftp-password"), QStringLiteral("x") });
    EXPECT_EQ(onLine.exitCode, 2);
    EXPECT_TRUE(onLine.err.contains(QStringLiteral("ORRELWICK_FTP_PASSWORD")));
    const orel::test::CliRun noFolder = orel::test::runCli(
            { QStringLiteral("crawl"), out.filePath(QStringLiteral("site/index.html")),
              QStringLiteral("--sitemap-html"), out.filePath(QStringLiteral("no/such/map.html")) });
    EXPECT_EQ(noFolder.exitCode, 2);
    EXPECT_TRUE(noFolder.err.contains(QStringLiteral("no such folder")));
}
