// orrelwick-cli crawl compared with the last crawl of the same start URL (the history in the
// application-support folder) or with an earlier JSON report (--baseline), and --fail-on new;
// run as a subprocess against the fixture server.
#include "CliRun.h"
#include "Consumers.h"
#include "FixtureServer.h"
#include "TestHome.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <csignal>

#include <unistd.h>

using namespace orel::test;

namespace {

QString lastLine(const QString &text)
{
    return text.trimmed().section(QLatin1Char('\n'), -1);
}

// A site served by its own fixture server, so that its start URL (and so its history) is its
// own: index.html links to a.html, b.html, c.html and d.html; b.html alone exists at first.
class HistoryCliTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        writeIndex({ "a", "b", "c", "d" });
        writeFile(site.filePath("b.html"), "<p>b</p>");
        server = std::make_unique<FixtureServer>(site.path());
        ASSERT_TRUE(server->isRunning());
    }

    void writeIndex(const QStringList &pages)
    {
        QByteArray html;
        for (const QString &p : pages)
            html += "<a href=\"" + p.toUtf8() + ".html\">to " + p.toUtf8() + "</a>\n";
        writeFile(site.filePath("index.html"), html);
    }
    CliRun crawl(const QStringList &extra = {}, const QString &start = {})
    {
        return runCli(QStringList { "crawl", start.isEmpty() ? server->url("/index.html") : start,
                                    "--set", "numberOfThreads=1" }
                      + extra);
    }
    // The history file that holds text, or "" when none does.
    static QString historyHolding(const QString &text)
    {
        QDirIterator it(home() + "/history", QDir::Files);
        while (it.hasNext()) {
            const QString path = it.next();
            if (readFile(path).contains(text.toUtf8()))
                return path;
        }
        return {};
    }
    // The second state of the site: a.html fixed, b.html gone, d.html no longer linked.
    void changeSite()
    {
        writeFile(site.filePath("a.html"), "<p>a</p>");
        QFile::remove(site.filePath("b.html"));
        writeIndex({ "a", "b", "c" });
    }
    QString file(const char *name) const { return out.filePath(QString::fromLatin1(name)); }

    QTemporaryDir site;
    QTemporaryDir out;
    std::unique_ptr<FixtureServer> server;
};

} // namespace

TEST_F(HistoryCliTest, ASecondCrawlSaysWhatIsNewStillBadAndFixed)
{
    // The first crawl has nothing to compare with: the report and the summary are as ever.
    const CliRun first = crawl();
    EXPECT_EQ(first.exitCode, 1) << first.err.toStdString();
    EXPECT_EQ(lastLine(first.out), "5 of 5 links checked, 3 bad");
    EXPECT_FALSE(first.out.contains("(new)")) << first.out.toStdString();
    EXPECT_FALSE(first.out.contains("Fixed")) << first.out.toStdString();
    EXPECT_FALSE(historyHolding(server->url("/index.html")).isEmpty());

    changeSite();
    const CliRun second = crawl();
    EXPECT_EQ(second.exitCode, 1) << second.err.toStdString();
    const QString base = server->baseUrl();
    EXPECT_TRUE(second.out.contains("404 not found (new)\n  " + base + "/b.html\n"))
            << second.out.toStdString();
    EXPECT_TRUE(second.out.contains("404 not found (still bad)\n  " + base + "/c.html\n"))
            << second.out.toStdString();
    EXPECT_TRUE(second.out.contains("Fixed since the earlier run:\n  " + base
                                    + "/a.html (was 404 not found)\n  " + base
                                    + "/d.html (was 404 not found; no longer linked)\n"))
            << second.out.toStdString();
    EXPECT_EQ(lastLine(second.out), "4 of 4 links checked, 2 bad (1 new), 2 fixed");

    // A third crawl of the unchanged site: nothing new, nothing fixed.
    const CliRun third = crawl({ "--format", "json", "--output", file("third.json") });
    EXPECT_EQ(third.out, "4 of 4 links checked, 2 bad (0 new), 0 fixed\n")
            << third.err.toStdString();
    EXPECT_EQ(python("import json, sys\n"
                     "d = json.load(open(sys.argv[1]))\n"
                     "print(d['previous'], d['new'], d['fixed'])\n"
                     "print(sorted((l['url'][-6:], l.get('change')) for l in d['links']))",
                     file("third.json")),
              "history 0 []\n"
              "[('a.html', None), ('b.html', 'still bad'), ('c.html', 'still bad'), "
              "('x.html', None)]\n");
}

TEST_F(HistoryCliTest, BaselineComparesWithAnEarlierJsonReportInEveryForm)
{
    const CliRun first =
            crawl({ "--no-history", "--format", "json", "--output", file("before.json") });
    EXPECT_EQ(first.exitCode, 1) << first.err.toStdString();
    changeSite();
    // The history is left out: the comparison is with the report alone.
    const QStringList compared { "--no-history", "--baseline", file("before.json") };
    const CliRun json =
            crawl(compared + QStringList { "--format", "json", "--output", file("after.json") });
    EXPECT_EQ(json.exitCode, 1) << json.err.toStdString();
    EXPECT_EQ(json.out, "4 of 4 links checked, 2 bad (1 new), 2 fixed\n");
    EXPECT_EQ(python("import json, sys\n"
                     "d = json.load(open(sys.argv[1]))\n"
                     "print(d['previous'].endswith('before.json'), d['new'])\n"
                     "print([(f['url'][-6:], f['status'], f['linked']) for f in d['fixed']])\n"
                     "print(sorted((l['url'][-6:], l['change']) for l in d['links'] if "
                     "'change' in l))",
                     file("after.json")),
              "True 1\n"
              "[('a.html', '404 not found', True), ('d.html', '404 not found', False)]\n"
              "[('a.html', 'fixed'), ('b.html', 'new'), ('c.html', 'still bad')]\n");

    const CliRun csv =
            crawl(compared + QStringList { "--format", "csv", "--output", file("after.csv") });
    EXPECT_EQ(python("import csv, sys\n"
                     "rows = list(csv.reader(open(sys.argv[1], newline='', encoding='utf-8')))\n"
                     "print(rows[0][7])\n"
                     "print(sorted((r[2][-6:], r[0], r[7]) for r in rows[1:] if r[7]))",
                     file("after.csv")),
              "change\n"
              "[('a.html', 'good', 'fixed'), ('b.html', 'bad', 'new'), "
              "('c.html', 'bad', 'still bad'), ('d.html', '', 'fixed (no longer linked)')]\n");

    const CliRun junit =
            crawl(compared + QStringList { "--format", "junit", "--output", file("after.xml") });
    EXPECT_TRUE(validAgainst("junit.xsd", file("after.xml")));
    const QByteArray xml = readFile(file("after.xml"));
    EXPECT_TRUE(xml.contains("<property name=\"new\" value=\"1\"/>")) << xml.toStdString();
    EXPECT_TRUE(xml.contains("message=\"404 not found\">new since the earlier run\n"))
            << xml.toStdString();

    const CliRun md =
            crawl(compared + QStringList { "--format", "markdown", "--output", file("after.md") });
    const QStringList rows = QString::fromUtf8(readFile(file("after.md"))).split('\n');
    ASSERT_GT(rows.size(), 4);
    EXPECT_EQ(rows.at(0), "| Verdict | Change | Status | Link | Redirects to | Pages |");
    EXPECT_TRUE(rows.at(2).startsWith("| bad | new | 404 not found | " + server->baseUrl()
                                      + "/b.html |"))
            << rows.at(2).toStdString();
    EXPECT_TRUE(historyHolding(server->url("/index.html")).isEmpty());
}

TEST_F(HistoryCliTest, BaselinesThatAreNotReportsAreUsageErrors)
{
    writeFile(file("other.json"), "{\"a\": 1}");
    writeFile(file("broken.json"), "{\"links\": [");
    for (const QString &baseline :
         { file("missing.json"), file("other.json"), file("broken.json") }) {
        const CliRun r = crawl({ "--baseline", baseline });
        EXPECT_EQ(r.exitCode, 2) << baseline.toStdString();
        EXPECT_EQ(r.err.count('\n'), 1) << r.err.toStdString();
        EXPECT_TRUE(r.err.startsWith("orrelwick-cli: --baseline " + baseline + ": "))
                << r.err.toStdString();
        EXPECT_TRUE(r.out.isEmpty()) << r.out.toStdString();
    }
    const CliRun r = crawl({ "--fail-on", "blocked" });
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_EQ(r.err, "orrelwick-cli: --fail-on takes bad|new, not \"blocked\"\n");
}

TEST_F(HistoryCliTest, FailOnNewFailsOnlyForNewlyBadLinks)
{
    // Without an earlier run every bad link is new.
    EXPECT_EQ(crawl({ "--fail-on", "new" }).exitCode, 1);
    EXPECT_EQ(crawl({ "--fail-on", "new" }).exitCode, 0);
    EXPECT_EQ(crawl().exitCode, 1); // still bad links fail the default --fail-on bad
    writeIndex({ "a", "b", "c", "d", "e" });
    EXPECT_EQ(crawl({ "--fail-on", "new" }).exitCode, 1);
    EXPECT_EQ(crawl({ "--fail-on", "new", "--fail-on", "bad" }).exitCode, 1);
    EXPECT_EQ(crawl({ "--fail-on", "new" }).exitCode, 0);
}

TEST_F(HistoryCliTest, HistoryIsOwnerOnlyAndHoldsNoPassword)
{
    const QString start = server->url("/index.html");
    const QString withPassword = QString(start).replace("http://", "http://someone:s3cr3tpw@");
    const CliRun r = crawl({}, withPassword);
    EXPECT_EQ(r.exitCode, 1) << r.err.toStdString();
    const QString path = historyHolding(start);
    ASSERT_FALSE(path.isEmpty());
    EXPECT_FALSE(readFile(path).contains("s3cr3tpw"));
    EXPECT_FALSE(path.contains("s3cr3tpw"));
    // Owner == user here: the user, group and other bits are those of the file's mode.
    EXPECT_EQ(QFile::permissions(path) & 0x0FFF, QFile::ReadUser | QFile::WriteUser)
            << std::hex << int(QFile::permissions(path));
    EXPECT_EQ(QFile::permissions(home() + "/history") & 0x0FFF,
              QFile::ReadUser | QFile::WriteUser | QFile::ExeUser);
    // The same site without the user info is the same history.
    EXPECT_EQ(lastLine(crawl().out), "5 of 5 links checked, 3 bad (0 new), 0 fixed");
}

TEST_F(HistoryCliTest, ABrokenHistoryIsAWarningAndIsReplaced)
{
    EXPECT_EQ(crawl().exitCode, 1);
    const QString path = historyHolding(server->url("/index.html"));
    ASSERT_FALSE(path.isEmpty());
    writeFile(path, "{\"links\": [ not json");
    const CliRun r = crawl();
    EXPECT_EQ(r.exitCode, 1) << r.err.toStdString();
    EXPECT_EQ(lastLine(r.out), "5 of 5 links checked, 3 bad");
    EXPECT_TRUE(r.err.contains("orrelwick-cli: the history of " + server->url("/index.html")
                               + " is not JSON"))
            << r.err.toStdString();
    EXPECT_EQ(lastLine(crawl().out), "5 of 5 links checked, 3 bad (0 new), 0 fixed");
}

TEST_F(HistoryCliTest, ARunStoppedByALimitMakesNoUncheckedLinkLookFixed)
{
    EXPECT_EQ(crawl().exitCode, 1);
    // Only the start page and a.html are checked: c.html and d.html are neither fixed nor
    // forgotten.
    const CliRun limited = crawl({ "--set", "linksLimit=2" });
    EXPECT_TRUE(limited.err.contains("links limit 2 reached")) << limited.err.toStdString();
    EXPECT_FALSE(limited.out.contains("Fixed")) << limited.out.toStdString();
    EXPECT_TRUE(lastLine(limited.out).endsWith("(0 new), 0 fixed")) << limited.out.toStdString();
    const CliRun full = crawl();
    EXPECT_EQ(lastLine(full.out), "5 of 5 links checked, 3 bad (0 new), 0 fixed")
            << full.out.toStdString();
}

TEST_F(HistoryCliTest, AnInterruptedRunKeepsTheBadLinksItDidNotCheck)
{
    EXPECT_EQ(crawl().exitCode, 1);
    // Slow links first: SIGTERM comes before a.html, c.html and d.html are checked.
    QByteArray slow;
    for (int i = 0; i < 20; ++i)
        slow += "<a href=\"/slow?ms=400&amp;i=" + QByteArray::number(i) + "\">s</a>";
    writeFile(site.filePath("index.html"), slow + readFile(site.filePath("index.html")));
    server->clearRequestLog();
    QProcess p;
    p.start(QStringLiteral(ORRELWICK_CLI_PATH),
            { "crawl", server->url("/index.html"), "--set", "numberOfThreads=1", "--set",
              "followQuerystring=YES" });
    ASSERT_TRUE(p.waitForStarted());
    ASSERT_TRUE(waitFor([&] { return server->requestLog().size() >= 3; }, 20000));
    ::kill(pid_t(p.processId()), SIGTERM);
    ASSERT_TRUE(p.waitForFinished(20000));
    EXPECT_EQ(p.exitCode(), 143);
    const QString printed = QString::fromUtf8(p.readAllStandardOutput());
    EXPECT_FALSE(printed.contains("Fixed")) << printed.toStdString();
    EXPECT_TRUE(printed.endsWith(" bad (0 new), 0 fixed (interrupted)\n")) << printed.toStdString();

    writeIndex({ "a", "b", "c", "d" });
    EXPECT_EQ(lastLine(crawl().out), "5 of 5 links checked, 3 bad (0 new), 0 fixed");
}
