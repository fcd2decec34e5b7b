// orrelwick-cli crawl's report in each form, read by the programs that consume it: python's json
// and csv modules, xmllint with the JUnit schema, a Markdown table reader; and the text report
// that a person reads.
#include "CliRun.h"
#include "Consumers.h"
#include "FixtureServer.h"
#include "TestHome.h"

#include <gtest/gtest.h>

#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

using namespace orel::test;

namespace {

// The site: a page with a good link, a 404 met on 13 pages, a redirect to a 410 and a link text
// with the characters each form must escape.
class ReportFormatsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        QByteArray index = "<a href=\"a.html\">A, \"quoted\"</a><a href=\"/status/404\">Gone | "
                           "pipe</a><a href=\"/redirect/to?url=/status/410\">moved &amp; gone</a>";
        for (int i = 0; i < 12; ++i) {
            const QByteArray n = QByteArray::number(i);
            index += "<a href=\"p" + n + ".html\">p" + n + "</a>";
            writeFile(site.filePath(QString::fromLatin1("p" + n + ".html")),
                      "<a href=\"/status/404\">from p" + n + "</a>");
        }
        writeFile(site.filePath("index.html"), index);
        writeFile(site.filePath("a.html"), "<p>fine</p>");
        server = std::make_unique<FixtureServer>(site.path());
        ASSERT_TRUE(server->isRunning());
    }

    CliRun crawl(const QStringList &extra)
    {
        // Each test crawls the same site more than once: no comparison with the earlier crawl.
        return runCli(QStringList { "crawl", server->url("/index.html"), "--set",
                                    "followQuerystring=YES", "--no-history" }
                      + extra);
    }
    QString file(const char *name) const { return out.filePath(QString::fromLatin1(name)); }

    QTemporaryDir site;
    QTemporaryDir out;
    std::unique_ptr<FixtureServer> server;
};

} // namespace

TEST_F(ReportFormatsTest, TextReportListsEachBadLinkWithItsPagesThenTheSummary)
{
    const CliRun r = crawl({ "--set", "numberOfThreads=1" });
    EXPECT_EQ(r.exitCode, 1) << r.err.toStdString();
    const QString base = server->baseUrl();
    const QStringList blocks = r.out.split(QStringLiteral("\n\n"));
    ASSERT_EQ(blocks.size(), 3) << r.out.toStdString();
    // One block per bad link: status, URL, redirect, the first ten pages with their link texts.
    QStringList notFound = blocks.at(0).split('\n');
    ASSERT_EQ(notFound.size(), 13) << blocks.at(0).toStdString();
    EXPECT_EQ(notFound.at(0), "404 not found");
    EXPECT_EQ(notFound.at(1), "  " + base + "/status/404");
    EXPECT_EQ(notFound.at(2), "  on " + base + "/index.html \"Gone | pipe\"");
    EXPECT_TRUE(notFound.at(3).startsWith("  on " + base + "/p"));
    EXPECT_EQ(notFound.at(12), "  and 3 more");
    const QStringList moved = blocks.at(1).split('\n');
    ASSERT_GE(moved.size(), 4) << blocks.at(1).toStdString();
    EXPECT_EQ(moved.at(0), "410 gone < 302 found");
    EXPECT_EQ(moved.at(1), "  " + base + "/redirect/to?url=/status/410");
    EXPECT_EQ(moved.at(2), "  redirects to " + base + "/status/410");
    EXPECT_EQ(moved.at(3), "  on " + base + "/index.html \"moved & gone\"");
    EXPECT_EQ(blocks.at(2), "16 of 16 links checked, 2 bad\n");

    // --quiet: the summary alone; --output: the report in the file, the summary on stdout.
    const CliRun quiet = crawl({ "--quiet" });
    EXPECT_EQ(quiet.out, "16 of 16 links checked, 2 bad\n");
    const CliRun toFile = crawl({ "--output", file("report.txt") });
    EXPECT_EQ(toFile.out, "16 of 16 links checked, 2 bad\n");
    EXPECT_TRUE(readFile(file("report.txt")).startsWith("404 not found\n"));
}

TEST_F(ReportFormatsTest, JsonReadByPythonHasEveryFieldOfEveryLink)
{
    const CliRun r = crawl({ "--format", "json", "--output", file("r.json") });
    EXPECT_EQ(r.exitCode, 1) << r.err.toStdString();
    EXPECT_EQ(r.out, "16 of 16 links checked, 2 bad\n");
    const QString summary = python(
            "import json, sys\n"
            "d = json.load(open(sys.argv[1], encoding='utf-8'))\n"
            "print(d['summary'], d['found'], d['checked'], d['bad'], d['blocked'], d['limits'],\n"
            "      d['interrupted'])\n"
            "for l in d['links']:\n"
            "    if l['verdict'] != 'good' or l['url'].endswith('/a.html'):\n"
            "        assert isinstance(l['responseTime'], (int, float))\n"
            "        assert isinstance(l['redirectHistory'], list)\n"
            "        print(l['verdict'], l['status'], l['url'].split('/', 3)[3],\n"
            "              l['redirect'] and l['redirect'].split('/', 3)[3], len(l['pages']),\n"
            "              sorted(p['text'] for p in l['pages'])[0], l['internal'])\n",
            file("r.json"));
    EXPECT_EQ(summary,
              "16 of 16 links checked, 2 bad 16 16 2 0 [] False\n"
              "good 200 no error a.html None 1 A, \"quoted\" True\n"
              "bad 404 not found status/404 None 13 Gone | pipe True\n"
              "bad 410 gone < 302 found redirect/to?url=/status/410 status/410 1 moved & gone "
              "True\n");

    // On stdout the JSON stands alone (the summary goes to stderr); --bad-only keeps bad links.
    const CliRun piped = crawl({ "--format", "json", "--bad-only" });
    EXPECT_TRUE(piped.err.contains("16 of 16 links checked, 2 bad\n")) << piped.err.toStdString();
    writeFile(file("piped.json"), piped.out.toUtf8());
    EXPECT_EQ(python("import json, sys\n"
                     "print(len(json.load(open(sys.argv[1]))['links']))",
                     file("piped.json")),
              "2\n");
}

TEST_F(ReportFormatsTest, JUnitValidatesAgainstTheSchemaWithAFailurePerBadLink)
{
    const CliRun r = crawl({ "--format", "junit", "--output", file("r.xml") });
    EXPECT_EQ(r.exitCode, 1) << r.err.toStdString();
    EXPECT_TRUE(validAgainst("junit.xsd", file("r.xml")));
    const QString xml = QString::fromUtf8(readFile(file("r.xml")));
    EXPECT_EQ(xml.count("<testcase "), 16);
    EXPECT_EQ(xml.count("<failure "), 2);
    EXPECT_TRUE(xml.contains("tests=\"16\" failures=\"2\" errors=\"0\" skipped=\"0\""));
    EXPECT_TRUE(xml.contains("message=\"404 not found\">on " + server->baseUrl()
                             + "/index.html \"Gone | pipe\"\n"));
}

TEST_F(ReportFormatsTest, CsvReadByPythonIsOneRowPerOccurrenceWithCrLf)
{
    const CliRun r = crawl({ "--format", "csv", "--output", file("r.csv") });
    EXPECT_EQ(r.exitCode, 1) << r.err.toStdString();
    const QByteArray bytes = readFile(file("r.csv"));
    EXPECT_EQ(bytes.count("\r\n"), bytes.count('\n'));
    EXPECT_EQ(python("import csv, sys\n"
                     "rows = list(csv.reader(open(sys.argv[1], newline='', encoding='utf-8')))\n"
                     "print(rows[0]); print(len(rows) - 1)\n"
                     "print([r[6] for r in rows if r[2].endswith('/a.html')])\n"
                     "print(sum(1 for r in rows if r[0] == 'bad'))",
                     file("r.csv")),
              "['verdict', 'status', 'url', 'redirect', 'response_time', 'page', 'link_text', "
              "'change']\n"
              // 16 records, the start page on no page, the 404 on 13
              "28\n"
              "['A, \"quoted\"']\n"
              "14\n");
}

TEST_F(ReportFormatsTest, MarkdownIsATableOfTheBadLinks)
{
    const CliRun r = crawl({ "--format", "markdown" });
    EXPECT_EQ(r.exitCode, 1) << r.err.toStdString();
    const QStringList lines = r.out.split('\n');
    // A table reader's view: rows between pipes, cells split at unescaped pipes, every row as
    // wide as the header, the second row the delimiter row.
    static const QRegularExpression cellSplit(QStringLiteral(R"((?<!\\)\|)"));
    QList<QStringList> rows;
    for (const QString &line : lines) {
        if (!line.startsWith('|'))
            break;
        ASSERT_TRUE(line.endsWith(" |")) << line.toStdString();
        QStringList cells = line.mid(1, line.size() - 2).split(cellSplit);
        for (QString &c : cells)
            c = c.trimmed().replace("\\|", "|");
        rows.append(cells);
    }
    ASSERT_EQ(rows.size(), 4) << r.out.toStdString();
    EXPECT_EQ(rows.at(0), QStringList({ "Verdict", "Status", "Link", "Redirects to", "Pages" }));
    for (const QString &c : rows.at(1))
        EXPECT_EQ(c, "---");
    EXPECT_EQ(rows.at(2).size(), 5);
    EXPECT_EQ(rows.at(2).at(1), "404 not found");
    EXPECT_TRUE(rows.at(2).at(4).startsWith(server->url("/index.html") + " (\"Gone | pipe\")<br>"))
            << rows.at(2).at(4).toStdString();
    EXPECT_TRUE(rows.at(2).at(4).endsWith("<br>and 3 more"));
    EXPECT_EQ(rows.at(3).at(3), server->url("/status/410"));
    EXPECT_TRUE(r.out.endsWith("**16 of 16 links checked, 2 bad**\n"));
}

// A link fixed between two crawls reads as fixed: the second report has it good.
TEST_F(ReportFormatsTest, ASecondCrawlAfterAFixReportsTheLinkAsGood)
{
    QTemporaryDir local;
    writeFile(local.filePath("index.html"), "<a href=\"later.html\">later</a>");
    const QStringList args { "crawl",    local.filePath("index.html"),
                             "--format", "json",
                             "--output", file("fix.json") };
    const QString script =
            "import json, sys\n"
            "d = json.load(open(sys.argv[1]))\n"
            "print([l['verdict'] for l in d['links'] if l['url'].endswith('later.html')])";
    const CliRun before = runCli(args);
    EXPECT_EQ(before.exitCode, 1) << before.err.toStdString();
    EXPECT_EQ(python(script, file("fix.json")), "['bad']\n");
    writeFile(local.filePath("later.html"), "<p>here now</p>");
    const CliRun after = runCli(args);
    EXPECT_EQ(after.exitCode, 0) << after.err.toStdString();
    EXPECT_EQ(python(script, file("fix.json")), "['good']\n");
}
