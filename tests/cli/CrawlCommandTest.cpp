// orrelwick-cli crawl run as a separate process against the fixture server and local files:
// the CSV it writes, its summary, its exit status, its errors and its handling of Ctrl-C.
#include "FixtureServer.h"
#include "common/Plist.h"
#include "TestHome.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QThread>
#include <QTemporaryDir>

#include <csignal>

namespace {

struct CliRun
{
    int exitCode = -1;
    QString out;
    QString err;
};

CliRun runCli(const QStringList &args, int timeoutMs = 60000)
{
    QProcess p;
    p.start(QStringLiteral(ORRELWICK_CLI_PATH), QStringList { QStringLiteral("crawl") } + args);
    EXPECT_TRUE(p.waitForFinished(timeoutMs)) << "orrelwick-cli did not end";
    CliRun r;
    r.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = QString::fromUtf8(p.readAllStandardOutput());
    r.err = QString::fromUtf8(p.readAllStandardError());
    return r;
}

void writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(content);
}

QString readFile(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QStringLiteral("<none>");
}

class CrawlCommandTest : public ::testing::Test
{
protected:
    QTemporaryDir site;
    QTemporaryDir out;
    QString csv() const { return out.filePath(QStringLiteral("out.csv")); }
};

} // namespace

TEST_F(CrawlCommandTest, WritesTheFlatCsvAndExitsOneOnBadLinks)
{
    writeFile(site.filePath("index.html"),
              "<html><head><title>Home</title></head><body><a href=\"a.html\">A page</a>"
              "<a href=\"/status/404\">Gone</a><a href=\"mailto:x@y.z\">mail</a></body></html>");
    writeFile(site.filePath("a.html"), "<html><body><a href=\"index.html\">Home</a></body></html>");
    orel::test::FixtureServer server(site.path());
    ASSERT_TRUE(server.isRunning());
    const CliRun r = runCli({ server.url("/index.html"), "--flat-csv", csv(), "--set",
                           "numberOfThreads=1", "--quiet" });
    EXPECT_EQ(r.exitCode, 1) << r.err.toStdString();
    EXPECT_EQ(r.out, QStringLiteral("3 of 3 links checked, 1 bad\n"));
    const QString b = server.baseUrl();
    EXPECT_EQ(readFile(csv()),
              "\"Status\",\"URL\",\"Redirected To\",\"Link Text\",\"On Page\"\r"
              "\"200 no error\",\"" + b + "/index.html\",\"\",\"Home\",\"" + b + "/a.html\"\r"
              "\"200 no error\",\"" + b + "/a.html\",\"\",\"A page\",\"" + b + "/index.html\"\r"
              "\"404 not found\",\"" + b + "/status/404\",\"\",\"Gone\",\"" + b + "/index.html\"\r");

    const CliRun bad = runCli({ server.url("/index.html"), "--flat-csv", "-", "--bad-only",
                             "--columns", "status,linkurl,distance,nofollow" });
    EXPECT_EQ(bad.exitCode, 1);
    // On standard output the lines end in "\r\n".
    EXPECT_EQ(bad.out, "\"Status\",\"URL\",\"Distance\",\"Nofollow\"\r\n"
                       "\"404 not found\",\"" + b + "/status/404\",\"1\",\"No\"\r\n"
                       "3 of 3 links checked, 1 bad\n");
}

TEST_F(CrawlCommandTest, ExitsZeroWhenEverythingIsFine)
{
    writeFile(site.filePath("index.html"), "<a href=\"b.html\">B</a>");
    writeFile(site.filePath("b.html"), "<p>no links</p>");
    // A relative local path is taken from the working folder.
    QProcess p;
    p.setWorkingDirectory(site.path());
    p.start(QStringLiteral(ORRELWICK_CLI_PATH),
            { "crawl", "index.html", "--flat-csv", csv(), "--bad-only" });
    ASSERT_TRUE(p.waitForFinished(30000));
    EXPECT_EQ(p.exitCode(), 0) << p.readAllStandardError().toStdString();
    EXPECT_EQ(QString::fromUtf8(p.readAllStandardOutput()),
              QStringLiteral("2 of 2 links checked, 0 bad\n"));
    EXPECT_EQ(readFile(csv()),
              QStringLiteral("\"Status\",\"URL\",\"Redirected To\",\"Link Text\",\"On Page\"\r"));
}

TEST_F(CrawlCommandTest, SettingsByNameChangeTheCrawl)
{
    QByteArray index = "<html><body>";
    for (int i = 0; i < 10; ++i)
        index += "<a href=\"p" + QByteArray::number(i) + ".html\">p</a>";
    index += "<a href=\"/soft404\">soft</a><img src=\"/status/410\"></body></html>";
    writeFile(site.filePath("index.html"), index);
    orel::test::FixtureServer server(site.path());
    ASSERT_TRUE(server.isRunning());

    const CliRun limited = runCli({ server.url("/index.html"), "--set", "linksLimit=4", "-q" });
    EXPECT_EQ(limited.out, QStringLiteral("4 of 4 links checked, 3 bad\n"));

    const CliRun soft = runCli({ server.url("/index.html"), "--set", "soft404Button=on", "--set",
                              "soft404Terms=nothing here|page not found", "--set",
                              "checkImages=YES", "--flat-csv", "-", "--bad-only", "--columns",
                              "status,linkurl", "-q" });
    EXPECT_EQ(soft.exitCode, 1);
    EXPECT_TRUE(soft.out.contains("\"404 'soft 404' < 200 no error\",\"" + server.url("/soft404")))
            << soft.out.toStdString();
    EXPECT_TRUE(soft.out.contains("\"410 gone\",\"" + server.url("/status/410") + "\""))
            << soft.out.toStdString();
}

TEST_F(CrawlCommandTest, UsageAndStartErrorsExitTwoWithOneLine)
{
    writeFile(site.filePath("bad.lcsettings"), "<plist><dict><key>url</key></dict>");
    const QList<QStringList> cases = {
        {},
        { "--flat-csv" },
        { "http://127.0.0.1:1/", "--bogus" },
        { "http://127.0.0.1:1/", "--set", "noSuchSetting=1" },
        { "http://127.0.0.1:1/", "--set", "linksLimit=many" },
        { "http://127.0.0.1:1/", "--set", "checkImages=perhaps" },
        { "http://127.0.0.1:1/", "--columns", "status,colour" },
        { "http://127.0.0.1:1/", "--config", site.filePath("missing.lcsettings") },
        { "http://127.0.0.1:1/", "--config", site.filePath("bad.lcsettings") },
        { "http://127.0.0.1:1/", "--config-name", "no such configuration" },
        { "ftp://127.0.0.1/x" },
        { "http://" },
        { "not a url at all" },
        { "http://127.0.0.1:1/", "http://127.0.0.1:2/" },
        { "http://127.0.0.1:1/", "--flat-csv", "/orrelwick-no-such-dir/out.csv" },
    };
    for (const QStringList &args : cases) {
        const CliRun r = runCli(args);
        EXPECT_EQ(r.exitCode, 2) << args.join(' ').toStdString();
        EXPECT_TRUE(r.err.startsWith("orrelwick-cli: ")) << r.err.toStdString();
        EXPECT_EQ(r.err.count('\n'), 1) << r.err.toStdString();
        EXPECT_TRUE(r.out.isEmpty());
    }
}

TEST_F(CrawlCommandTest, UnreachableStartIsABadLinkNotAnError)
{
    const CliRun r = runCli({ "http://127.0.0.1:1/", "--flat-csv", "-", "--columns", "status",
                           "-q" });
    EXPECT_EQ(r.exitCode, 1);
    // The start page is on no page, so the CSV holds its header only.
    EXPECT_EQ(r.out, QStringLiteral("\"Status\"\r\n1 of 1 links checked, 1 bad\n"));
}

TEST_F(CrawlCommandTest, CtrlCPausesAndWritesWhatWasFound)
{
    QByteArray index = "<html><body>";
    for (int i = 0; i < 40; ++i)
        index += "<a href=\"/slow?ms=400&amp;i=" + QByteArray::number(i) + "\">s</a>";
    writeFile(site.filePath("index.html"), index + "</body></html>");
    orel::test::FixtureServer server(site.path());
    ASSERT_TRUE(server.isRunning());

    QProcess p;
    p.start(QStringLiteral(ORRELWICK_CLI_PATH),
            { "crawl", server.url("/index.html"), "--set", "followQuerystring=YES", "--set",
              "numberOfThreads=2", "--flat-csv", csv(), "--columns", "status,linkurl" });
    ASSERT_TRUE(p.waitForStarted());
    QThread::msleep(2000);
    ::kill(pid_t(p.processId()), SIGINT);
    ASSERT_TRUE(p.waitForFinished(10000));
    EXPECT_EQ(p.exitStatus(), QProcess::NormalExit);
    const QString summary = QString::fromUtf8(p.readAllStandardOutput());
    EXPECT_TRUE(summary.endsWith(" (interrupted)\n")) << summary.toStdString();
    EXPECT_TRUE(summary.contains("of 41 links checked")) << summary.toStdString();
    EXPECT_EQ(p.exitCode(), 0);
    const QStringList lines = readFile(csv()).split('\r', Qt::SkipEmptyParts);
    EXPECT_GE(lines.size(), 2); // the header and what was checked so far
    EXPECT_LT(lines.size(), 42);
}

TEST_F(CrawlCommandTest, ConfigurationFileThenSetThenUrl)
{
    writeFile(site.filePath("index.html"),
              "<a href=\"a.html\">A</a><img src=\"/status/404\"><a href=\"/status/500\">x</a>");
    writeFile(site.filePath("a.html"), "<p>a</p>");
    orel::test::FixtureServer server(site.path());
    ASSERT_TRUE(server.isRunning());
    QVariantMap settings;
    settings.insert("url", server.url("/a.html"));
    settings.insert("checkImages", "YES");
    const QString config = site.filePath("site.lcsettings");
    ASSERT_TRUE(orel::Plist::writeFile(config, settings));

    // The file's URL is a page without links.
    CliRun r = runCli({ "--config", config, "-q" });
    EXPECT_EQ(r.out, QStringLiteral("1 of 1 links checked, 0 bad\n")) << r.err.toStdString();
    EXPECT_EQ(r.exitCode, 0);
    // The URL argument replaces it; the file's image checking stays.
    r = runCli({ server.url("/index.html"), "--config", config, "-q" });
    EXPECT_EQ(r.out, QStringLiteral("4 of 4 links checked, 2 bad\n")) << r.err.toStdString();
    // --set overrides the file.
    r = runCli({ server.url("/index.html"), "--config", config, "--set", "imgButton=off", "-q" });
    EXPECT_EQ(r.out, QStringLiteral("3 of 3 links checked, 1 bad\n")) << r.err.toStdString();
}

TEST_F(CrawlCommandTest, SavedConfigurationByName)
{
    writeFile(site.filePath("index.html"), "<a href=\"/status/404\">x</a>");
    orel::test::FixtureServer server(site.path());
    ASSERT_TRUE(server.isRunning());
    QVariantMap settings;
    settings.insert("url", server.url("/index.html"));
    const QString config = site.filePath("named.lcsettings");
    ASSERT_TRUE(orel::Plist::writeFile(config, settings));
    QProcess import;
    import.start(QStringLiteral(ORRELWICK_CLI_PATH), { "config", "import", config });
    ASSERT_TRUE(import.waitForFinished(30000));
    ASSERT_EQ(import.exitCode(), 0) << import.readAllStandardError().toStdString();
    const QString name = QString::fromUtf8(import.readAllStandardOutput()).trimmed();
    ASSERT_FALSE(name.isEmpty());

    const CliRun r = runCli({ "--config-name", name, "-q" });
    EXPECT_EQ(r.exitCode, 1) << r.err.toStdString();
    EXPECT_EQ(r.out, QStringLiteral("2 of 2 links checked, 1 bad\n"));
}
