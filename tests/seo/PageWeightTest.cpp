// The page-weight analyser against the fixture server and local files: the URL field, the
// resources read from the page, the totals and their text, the output mode, the time-outs and
// the table model.
#include "FixtureServer.h"
#include "TestHome.h"
#include "links/LinkCheckerUrl.h"
#include "seo/PageWeightGatherer.h"
#include "seo/PageWeightModel.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QDir>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTemporaryDir>

using namespace orel;

namespace {

// Runs one analysis of url to its end; false when it does not end in time.
bool analyse(PageWeightGatherer &g, const QString &url, int ms = 15000)
{
    g.setUrlField(url);
    g.go();
    return test::waitFor([&] { return g.isCrawlFinished(); }, ms);
}

// "url status" of every row, with the server's address taken out.
QStringList rows(const PageWeightGatherer &g, const QString &base)
{
    QStringList out;
    for (int i = 0; g.recordAt(i); ++i) {
        const LinkCheckerUrl *r = g.recordAt(i);
        out << QString(r->getLinkUrl()).remove(base) + " " + r->getStatus();
    }
    return out;
}

QByteArray bytes(int n, char fill = 'x')
{
    return QByteArray(n, fill);
}

} // namespace

TEST(PageWeight, NormalisesTheUrlField)
{
    const std::pair<const char *, const char *> cases[] = {
        { "", "" },
        { "   ", "" },
        { "a.com", "http://a.com" }, // short
        { "www.example.com/page", "http://www.example.com/page" }, // long, without "://"
        { "http://x.org/", "http://x.org/" },
        { "https://x.org/a?b=c", "https://x.org/a?b=c" },
        { "ftp://h/x", "ftp://h/x" },
        // Local paths, whatever their length: entities unescaped, blanks encoded.
        { "/Users/me/My Site/index.html", "file:///Users/me/My%20Site/index.html" },
        { "/home/me/a&amp;b c.html", "file:///home/me/a&b%20c.html" },
        { "/a.htm", "file:///a.htm" },
    };
    for (const auto &[input, expected] : cases)
        EXPECT_EQ(PageWeightGatherer::normaliseUrl(QLatin1String(input)), QLatin1String(expected))
                << input;
}

TEST(PageWeight, HostsOfThePageAreInternal)
{
    const std::tuple<const char *, const char *, bool> cases[] = {
        { "example.com", "example.com", true },     { "WWW.Example.com", "example.com", true },
        { "example.com", "www.example.com", true }, { "cdn.example.com", "example.com", false },
        { "localhost", "127.0.0.1", false },        { "anything", "", true },
    };
    for (const auto &[host, domain, internal] : cases)
        EXPECT_EQ(PageWeightGatherer::compareHost(QLatin1String(host), QLatin1String(domain)),
                  internal)
                << host << " " << domain;
}

// Images, loaded link elements and scripts are fetched once each, wherever they are; the totals
// are the sums of whole KB, the compressed one in bytes though labelled kb.
TEST(PageWeight, SumsThePageAndEverythingItLoads)
{
    test::FixtureServer external;
    ASSERT_TRUE(external.isRunning());
    const QString externalJs =
            QStringLiteral("http://localhost:%1/status/200").arg(external.port());

    QTemporaryDir dir;
    test::writeFile(dir.filePath("assets/a.png"), bytes(3000));
    test::writeFile(dir.filePath("assets/s.css"), bytes(2048));
    test::writeFile(dir.filePath("assets/j.js"), bytes(5000));
    test::FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());
    QByteArray page = "<html><head><title>t</title><base href=\""
            + server.url("/assets/").toLatin1()
            + "\">"
              "<link rel=\"stylesheet\" href=\"s.css\">"
              "<link rel=\"canonical\" href=\"/other.html\">"
              "<link rel='alternate' href='/feed.xml'>"
              "<script src=\"j.js\"></script><script>var a = 1;</script>"
              "<script src=\""
            + externalJs.toLatin1()
            + "\"></script></head><body>"
              "<img src=\"a.png\" alt=\"A\"><img src='a.png#again'><img src=\"#\"><img src=\"\">"
              "<img src=\"data:image/gif;base64,R0lGOD\"><a href=\"/x.html\">not loaded</a>";
    page += "<!--" + bytes(1100 - int(page.size()) - 7) + "-->";
    ASSERT_EQ(page.size(), 1100);
    test::writeFile(dir.filePath("index.html"), page);

    PageWeightGatherer g;
    PageWeightModel model(g);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    test::LogCapture log;
    ASSERT_TRUE(analyse(g, server.url("/index.html")));

    EXPECT_EQ(rows(g, server.baseUrl()),
              (QStringList { "/index.html 200 no error", "/assets/a.png 200 no error",
                             "/assets/s.css 200 no error", "/assets/j.js 200 no error",
                             externalJs + " 200 no error" }));
    EXPECT_TRUE(g.recordAt(1)->isInternal());
    EXPECT_FALSE(g.recordAt(4)->isInternal());
    EXPECT_EQ(g.getBaseUrl(), QUrl(server.url("/assets/")));
    EXPECT_TRUE(log.contains("found script j.js"));
    // The page is fetched once, by the scheduler like the rest.
    QStringList requests = server.requestLog();
    requests.sort();
    EXPECT_EQ(requests,
              (QStringList { "GET /assets/a.png", "GET /assets/j.js", "GET /assets/s.css",
                             "GET /index.html" }));

    // 1 + 2 + 2 + 4 KB and the external script's page of less than 1 KB.
    EXPECT_EQ(g.getPageWeight(), 9);
    EXPECT_EQ(g.getPageWeightCompressed(), 9 * 1024);
    EXPECT_EQ(g.totalWeight(), QStringLiteral("9216kb / 9kb"));
    EXPECT_EQ(g.getNumberDone(), 5u);
    EXPECT_TRUE(g.goEnabled());
    EXPECT_FALSE(g.progressRunning());
    EXPECT_EQ(g.windowTitle(), "Analysis of " + server.url("/index.html"));

    // The table: every row, the sizes as the record writes them, a numeric sort by size.
    ASSERT_EQ(model.rowCount(), 5);
    EXPECT_EQ(model.headerData(5, Qt::Horizontal).toString(), QStringLiteral("Uncompressed"));
    EXPECT_EQ(model.data(model.index(3, 4)).toString(), QStringLiteral("4kb"));
    EXPECT_FALSE(model.data(model.index(3, 0), Qt::BackgroundRole).isValid());
    model.sort(5, Qt::DescendingOrder);
    EXPECT_EQ(model.data(model.index(0, 0)).toString(), server.url("/assets/j.js"));
    EXPECT_EQ(model.data(model.index(4, 1)).toString(), QStringLiteral("200 no error"));
}

// A page that loads nothing is one row, and its own size is the total; in output mode the
// HTML table and the total line are written.
TEST(PageWeight, APageAloneIsOneRowAndItsOwnWeight)
{
    QTemporaryDir dir;
    test::writeFile(dir.filePath("index.html"), "<html><body>" + bytes(2100) + "</body></html>");
    test::FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());

    PageWeightGatherer g;
    QByteArray out;
    g.setOutput(true, [&](const QByteArray &b) { out += b; });
    ASSERT_TRUE(analyse(g, server.url("/index.html")));
    ASSERT_EQ(g.getCount(), 1u);
    EXPECT_EQ(g.totalWeight(), QStringLiteral("2048kb / 2kb"));

    const QString number = QStringLiteral("[0-9]+\\.[0-9]{6}");
    const QString expected =
            QRegularExpression::escape(
                    "<table><tr><th nowrap=\"nowrap\">Url</th><th "
                    "nowrap=\"nowrap\">Status</th><th nowrap=\"nowrap\">Response "
                    "time</th><th nowrap=\"nowrap\">Load time</th><th "
                    "nowrap=\"nowrap\">File size</th><th "
                    "nowrap=\"nowrap\">Uncompressed</th></tr>"
                    "<tr><td nowrap=\"nowrap\">"
                    + server.url("/index.html")
                    + "</td><td nowrap=\"nowrap\">200 no error</td>"
                      "<td nowrap=\"nowrap\">")
            + number + QRegularExpression::escape("</td><td nowrap=\"nowrap\">") + number
            + QRegularExpression::escape(
                    "</td><td nowrap=\"nowrap\">2kb</td><td nowrap=\"nowrap\">2kb</td></tr>"
                    "</table><p>&nbsp;</p><p>total page weight (compressed / uncompressed): "
                    "2048kb / 2kb</p>\n");
    EXPECT_TRUE(QRegularExpression(QRegularExpression::anchoredPattern(expected))
                        .match(QString::fromUtf8(out))
                        .hasMatch())
            << out.constData();

    // A start that is not a page, or no answer at all, is one row too.
    g.setOutput(false);
    ASSERT_TRUE(analyse(g, server.url("/type/pdf")));
    EXPECT_EQ(rows(g, server.baseUrl()), QStringList { "/type/pdf 200 no error" });
    g.setOutput(true, [&](const QByteArray &b) { out += b; });
    out.clear();
    const QString refused =
            QStringLiteral("http://127.0.0.1:%1/").arg(test::FixtureServer::freePort());
    ASSERT_TRUE(analyse(g, refused));
    EXPECT_EQ(rows(g, QString()), QStringList { refused + " Couldn't connect to server" });
    EXPECT_EQ(g.totalWeight(), QStringLiteral("0kb / 0kb"));
    EXPECT_TRUE(out.endsWith("0kb / 0kb</p>\n"));
}

// A local page loads local files (sizes from the data read); a missing one is a bad row.
TEST(PageWeight, ReadsALocalPageAndItsFiles)
{
    QTemporaryDir dir;
    const QString folder = dir.filePath("my site");
    test::writeFile(folder + "/index.html",
                    "<img src=\"pic.png\"><img src=\"gone.png\"><link rel=icon href=\"f.ico\">");
    test::writeFile(folder + "/pic.png", bytes(4096));
    test::writeFile(folder + "/f.ico", bytes(1024));

    PageWeightGatherer g;
    ASSERT_TRUE(analyse(g, folder + "/index.html"));
    const QString base = "file://" + QString(folder).replace(' ', "%20");
    EXPECT_EQ(rows(g, base),
              (QStringList { "/index.html 200 no error (not http)",
                             "/pic.png 200 no error (not http)", "/gone.png file doesnt exist",
                             "/f.ico 200 no error (not http)" }));
    EXPECT_EQ(g.totalWeight(), QStringLiteral("5120kb / 5kb"));
}

// A fetch that never answers, or answers without end, is marked "The request timed out." and
// the run ends; stopping ends a run at once.
TEST(PageWeight, MarksFetchesPastTheTimeOutAndStops)
{
    test::FixtureServer server;
    ASSERT_TRUE(server.isRunning());
    for (const char *path : { "/slow?ms=20000", "/trickle?chunks=60&ms=100" }) {
        PageWeightGatherer g;
        g.setTimeOut(1);
        QElapsedTimer clock;
        clock.start();
        ASSERT_TRUE(analyse(g, server.url(QLatin1String(path)), 8000)) << path;
        EXPECT_LT(clock.elapsed(), 4000) << path;
        ASSERT_EQ(g.getCount(), 1u) << path;
        EXPECT_EQ(g.startRecord()->getStatus(), QStringLiteral("The request timed out.")) << path;
        EXPECT_EQ(g.getNumberOfThreadsDetached(), 0u) << path;
    }

    PageWeightGatherer g;
    int finished = 0;
    QObject::connect(&g, &PageWeightGatherer::finished, [&] { ++finished; });
    g.setUrlField(server.url("/slow?ms=20000"));
    g.go();
    EXPECT_FALSE(g.goEnabled());
    g.stop();
    EXPECT_TRUE(g.isCrawlFinished());
    EXPECT_TRUE(g.goEnabled());
    EXPECT_EQ(finished, 1);
    // Nothing of the stopped run arrives later.
    test::waitFor([] { return false; }, 300);
    EXPECT_EQ(finished, 1);
}

// A new run drops the one before it: its fetches are cancelled and nothing of it arrives later.
TEST(PageWeight, ANewRunDropsTheOneBefore)
{
    QTemporaryDir dir;
    test::writeFile(dir.filePath("index.html"), "<img src=\"/slow?ms=1500\">");
    test::writeFile(dir.filePath("other.html"), "<img src=\"/final\">");
    test::FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());

    PageWeightGatherer g;
    PageWeightModel model(g);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    int finished = 0;
    QObject::connect(&g, &PageWeightGatherer::finished, [&] { ++finished; });
    g.setUrlField(server.url("/index.html"));
    g.go();
    ASSERT_TRUE(test::waitFor([&] { return g.getCount() == 2; }));
    ASSERT_TRUE(analyse(g, server.url("/other.html")));
    test::waitFor([] { return false; }, 2000);
    EXPECT_EQ(finished, 1);
    EXPECT_EQ(rows(g, server.baseUrl()),
              (QStringList { "/other.html 200 no error", "/final 200 no error" }));
    EXPECT_EQ(g.getNumberDone(), 2u);
    EXPECT_EQ(model.rowCount(), 2);
}
