// orrelwick-cli's exit statuses, signals, start errors, the checks made before a crawl starts,
// the limits it reports, its help and its settings list; each run as a separate process.
#include "CliRun.h"
#include "FixtureServer.h"
#include "TestHome.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <csignal>

#include <unistd.h>

using namespace orel::test;

namespace {

class ExitStatusTest : public ::testing::Test
{
protected:
    QString file(const char *name) const { return out.filePath(QString::fromLatin1(name)); }
    QTemporaryDir site;
    QTemporaryDir out;
};

} // namespace

TEST_F(ExitStatusTest, StartPagesThatCannotBeFetchedAreStartErrors)
{
    writeFile(site.filePath("index.html"), "<a href=\"/status/404\">gone</a>");
    FixtureServer server(site.path());
    ASSERT_TRUE(server.isRunning());
    const QString refused = QStringLiteral("http://127.0.0.1:%1/").arg(FixtureServer::freePort());
    struct Case
    {
        QString start;
        int exitCode;
        QString errPart; // on stderr
    };
    const Case cases[] = {
        { server.url("/index.html"), 1, {} },
        { server.url("/status/200"), 0, {} },
        { refused, 2,
          "orrelwick-cli: cannot fetch the start page " + refused
                  + ": Couldn't connect to server (no answer from the server)\n" },
        { server.url("/status/404"), 2,
          "orrelwick-cli: cannot fetch the start page " + server.url("/status/404")
                  + ": 404 not found (the server answered with an error)\n" },
        { "http://no-such-host.invalid/", 2, "cannot fetch the start page" },
        { site.filePath("missing.html"), 2, ": file doesnt exist (the file could not be read)" },
    };
    for (const Case &c : cases) {
        // The outputs are written all the same.
        QFile::remove(file("r.json"));
        const CliRun r = runCli({ "crawl", c.start, "--format", "json", "--output", file("r.json"),
                                  "--set", "timeoutField=5" });
        EXPECT_EQ(r.exitCode, c.exitCode) << c.start.toStdString() << r.err.toStdString();
        EXPECT_TRUE(r.err.contains(c.errPart)) << r.err.toStdString();
        EXPECT_TRUE(readFile(file("r.json")).startsWith("{\n  \"start\": "))
                << c.start.toStdString();
    }

    // A start page that robots.txt keeps the crawler from is a start error too.
    writeFile(site.filePath("robots.txt"), "User-agent: *\nDisallow: /\n");
    const CliRun r = runCli({ "crawl", server.url("/index.html"), "--set", "robotsTxtButton=on",
                              "--set", "userAgentString=Orrelwick/1" });
    EXPECT_EQ(r.exitCode, 2) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains("cannot crawl from " + server.url("/index.html")
                               + ": the site's robots.txt disallows it for the user agent "
                                 "\"Orrelwick/1\""))
            << r.err.toStdString();
}

TEST_F(ExitStatusTest, SignalsWriteEveryOutputAndExitWithTheShellsStatus)
{
    QByteArray index;
    for (int i = 0; i < 40; ++i)
        index += "<a href=\"/slow?ms=400&amp;i=" + QByteArray::number(i) + "\">s</a>";
    writeFile(site.filePath("index.html"), index);
    FixtureServer server(site.path());
    ASSERT_TRUE(server.isRunning());
    for (const auto &[sig, code] :
         { std::pair { SIGINT, 130 }, std::pair { SIGTERM, 143 }, std::pair { SIGHUP, 129 } }) {
        QFile::remove(file("r.xml"));
        QFile::remove(file("flat.csv"));
        server.clearRequestLog();
        QProcess p;
        p.start(QStringLiteral(ORRELWICK_CLI_PATH),
                { "crawl", server.url("/index.html"), "--no-history", "--set",
                  "followQuerystring=YES", "--set", "numberOfThreads=2", "--format", "junit",
                  "--output", file("r.xml"), "--flat-csv", file("flat.csv") });
        ASSERT_TRUE(p.waitForStarted());
        // Some answers are in (the start page at least), most are not.
        ASSERT_TRUE(waitFor([&] { return server.requestLog().size() >= 4; }, 20000));
        ::kill(pid_t(p.processId()), sig);
        ASSERT_TRUE(p.waitForFinished(20000)) << "did not end on signal " << sig;
        EXPECT_EQ(p.exitStatus(), QProcess::NormalExit) << sig;
        EXPECT_EQ(p.exitCode(), code) << sig;
        const QString summary = QString::fromUtf8(p.readAllStandardOutput());
        EXPECT_TRUE(summary.endsWith(" links checked, 0 bad (interrupted)\n"))
                << summary.toStdString();
        EXPECT_TRUE(readFile(file("r.xml")).contains("</testsuites>")) << sig;
        EXPECT_TRUE(readFile(file("flat.csv")).contains(server.url("/index.html").toUtf8())) << sig;
    }
}

TEST_F(ExitStatusTest, BadOptionsAndUnwritableOutputsAreRefusedBeforeTheCrawl)
{
    FixtureServer server(site.path());
    ASSERT_TRUE(server.isRunning());
    const QString u = server.url("/status/200");
    ASSERT_TRUE(QDir(out.path()).mkpath("locked"));
    QFile::setPermissions(file("locked"), QFile::ReadOwner | QFile::ExeOwner);
    QList<QStringList> cases = {
        { u, "--quiet", "--verbose" },
        { u, "--columns", "status" },
        { u, "--bad-only" },
        { u, "--bad-only", "--format", "markdown" },
        { u, "--format", "yaml" },
        { u, "--format", "json", "--quiet" },
        { u, "--output", out.path() },
        { u, "--output", "/orrelwick-no-such-dir/r.txt" },
        { u, "--flat-csv", out.path() },
        { u, "--sitemap", out.path() },
        { u, "--seo-csv", out.path() },
        { u, "--format" },
    };
    // A folder that cannot be written into (root writes everywhere).
    if (::geteuid() != 0)
        cases.append({ u, "--html", file("locked") + "/r.html" });
    for (const QStringList &args : cases) {
        server.clearRequestLog();
        const CliRun r = runCli(QStringList { "crawl" } + args);
        EXPECT_EQ(r.exitCode, 2) << args.join(' ').toStdString();
        EXPECT_TRUE(r.err.startsWith("orrelwick-cli: ")) << r.err.toStdString();
        EXPECT_EQ(r.err.count('\n'), 1) << r.err.toStdString();
        EXPECT_TRUE(r.out.isEmpty());
        // Refused before anything was fetched.
        EXPECT_TRUE(server.requestLog().isEmpty()) << args.join(' ').toStdString();
    }
    QFile::setPermissions(file("locked"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

TEST_F(ExitStatusTest, BlockedLinksCountOnlyWithFailOnBlocked)
{
    // Nothing blocked: --fail-on-blocked changes nothing and the summary has no blocked part.
    writeFile(site.filePath("index.html"), "<a href=\"a.html\">a</a>");
    writeFile(site.filePath("a.html"), "<p>a</p>");
    for (const QStringList &extra : { QStringList {}, QStringList { "--fail-on-blocked" } }) {
        const CliRun r = runCli(QStringList { "crawl", site.filePath("index.html"), "--no-history" }
                                + extra);
        EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
        EXPECT_EQ(r.out, "2 of 2 links checked, 0 bad\n");
    }

    // A crawler refused (999, a challenge) is blocked, listed apart from the missing page and
    // counted apart from the bad links; only --fail-on-blocked makes it fail the run.
    FixtureServer server(site.path());
    ASSERT_TRUE(server.isRunning());
    writeFile(site.filePath("index.html"),
              "<a href=\"/respond?status=999\">b</a>"
              "<a href=\"/respond?status=403&h=cf-mitigated:challenge\">c</a>");
    const QStringList crawl { "crawl", server.url("/index.html"), "--set", "qsButton=off",
                              "--no-history" };
    CliRun r = runCli(crawl);
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.endsWith("3 of 3 links checked, 0 bad, 2 blocked\n")) << r.out.toStdString();
    EXPECT_TRUE(r.out.contains("999 unknown")) << r.out.toStdString();
    r = runCli(crawl + QStringList { "--fail-on-blocked" });
    EXPECT_EQ(r.exitCode, 1);
    writeFile(site.filePath("index.html"),
              "<a href=\"/respond?status=999\">b</a><a href=\"/missing.html\">m</a>");
    r = runCli(crawl);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.out.endsWith("3 of 3 links checked, 1 bad, 1 blocked\n")) << r.out.toStdString();
}

TEST_F(ExitStatusTest, LimitsThatStoppedTheCrawlAreSaidOnStderrAndInTheReport)
{
    // index -> a, b, c (level 1) -> deep pages (level 2); d/ is a folder above the start's.
    writeFile(site.filePath("docs/index.html"),
              "<a href=\"a.html\">a</a><a href=\"b.html\">b</a><a href=\"c.html\">c</a>"
              "<a href=\"../up.html\">up</a>");
    for (const char *p : { "a", "b", "c" })
        writeFile(site.filePath(QStringLiteral("docs/%1.html").arg(p)),
                  QStringLiteral("<a href=\"%1-deep.html\">deep</a>").arg(p).toUtf8());
    writeFile(site.filePath("up.html"), "<a href=\"x.html\">x</a>");
    FixtureServer server(site.path());
    ASSERT_TRUE(server.isRunning());
    const QString start = server.url("/docs/index.html");
    struct Case
    {
        QStringList sets;
        QString line;
    };
    const Case cases[] = {
        { { "linksLimit=3" }, "links limit 3 reached: 2 links found but not checked" },
        { { "levelsLimit=0" }, "levels limit 0 reached: 4 pages checked but not read" },
        { {}, "directory limit /docs reached: 1 pages checked but not read" },
    };
    for (const Case &c : cases) {
        QStringList args { "crawl", start, "--format", "json", "--output", file("r.json") };
        for (const QString &s : c.sets)
            args << "--set" << s;
        const CliRun r = runCli(args);
        EXPECT_TRUE(r.err.contains("orrelwick-cli: " + c.line + "\n")) << r.err.toStdString();
        EXPECT_TRUE(readFile(file("r.json"))
                            .contains(QByteArray("\"limits\": [\"" + c.line.toUtf8() + "\"]")))
                << readFile(file("r.json")).left(400).toStdString();
    }
    // Without a limit in the way nothing is said.
    const CliRun all = runCli({ "crawl", server.url("/up.html") });
    EXPECT_FALSE(all.err.contains("limit")) << all.err.toStdString();
}

TEST_F(ExitStatusTest, HelpAndSettingsListEveryCommandAndName)
{
    const CliRun help = runCli({ "help" });
    EXPECT_EQ(help.exitCode, 0);
    for (const char *command : { "crawl", "recheck", "weight", "config", "settings" })
        EXPECT_TRUE(help.out.contains(QStringLiteral("orrelwick-cli %1").arg(command))) << command;
    for (const QStringList &args :
         { QStringList { "crawl", "--help" }, QStringList { "help", "crawl" },
           QStringList { "crawl", "http://x/", "-h" } }) {
        const CliRun r = runCli(args);
        EXPECT_EQ(r.exitCode, 0) << args.join(' ').toStdString();
        EXPECT_TRUE(r.out.startsWith("usage: orrelwick-cli crawl ")) << r.out.toStdString();
        EXPECT_TRUE(r.out.contains("--format text|json|junit|markdown|csv"));
        EXPECT_TRUE(r.out.contains("exit 130, 143 or 129"));
    }
    EXPECT_EQ(runCli({ "help", "nothing" }).exitCode, 2);

    const CliRun settings = runCli({ "settings" });
    EXPECT_EQ(settings.exitCode, 0);
    // Every name --set takes is listed, and each listed name is taken by --set.
    const QStringList lines = settings.out.split('\n');
    QStringList names;
    for (const QString &line : lines) {
        if (line.startsWith("  ") && !line.contains("=YES is "))
            names.append(line.section(QLatin1Char(' '), 0, 0, QString::SectionSkipEmpty));
    }
    for (const char *name : { "linksLimit", "followButton", "followCheckbox", "hostDelay",
                              "robotsTxtButton", "checkImages", "timeOut", "localSiteRoot" })
        EXPECT_TRUE(names.contains(name)) << name;
    EXPECT_FALSE(names.contains("ftppasswordField"));
    EXPECT_TRUE(settings.out.contains(
            QRegularExpression("\n  linksLimit +number 1-100000000 +\\d+ +links recorded")));
    EXPECT_TRUE(settings.out.contains("followCheckbox=YES is followButton=off\n"));
    EXPECT_TRUE(settings.out.contains("followQuerystring=YES is qsButton=off\n"));
    for (const QString &name : names) {
        const CliRun r =
                runCli({ "crawl", "http://127.0.0.1:1/", "--set", name + "=", "--format", "yaml" });
        EXPECT_FALSE(r.err.contains("unknown setting")) << name.toStdString();
    }
}
