// orrelwick-cli weight run as a separate process against the fixture server: the HTML table and
// total line on standard output, errors on standard error, the exit status.
#include "CliRun.h"
#include "FixtureServer.h"
#include "TestHome.h"

#include <gtest/gtest.h>

#include <QRegularExpression>
#include <QTemporaryDir>

using namespace orel::test;

TEST(PageWeightCli, PrintsTheTableAndTheTotalOfAFixturePage)
{
    QTemporaryDir dir;
    writeFile(dir.filePath("index.html"),
              "<html><head><link rel=stylesheet href=\"s.css\"></head><body><img src=\"a.gif\">"
              "</body></html>");
    writeFile(dir.filePath("a.gif"), QByteArray(3000, 'g'));
    writeFile(dir.filePath("s.css"), QByteArray(1024, 'c'));
    FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());

    const CliRun r = runCli({ "weight", server.url("/index.html") });
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.startsWith("<table><tr><th nowrap=\"nowrap\">Url</th>"))
            << r.out.toStdString();
    // Page (0 KB), image (2 KB), style sheet (1 KB), in the order they were found.
    const QRegularExpression row(
            QStringLiteral("<tr><td nowrap=\"nowrap\">([^<]*)</td><td nowrap=\"nowrap\">([^<]*)"
                           "</td><td nowrap=\"nowrap\">[0-9.]+</td><td nowrap=\"nowrap\">[0-9.]+"
                           "</td><td nowrap=\"nowrap\">([^<]*)</td><td nowrap=\"nowrap\">([^<]*)"
                           "</td></tr>"));
    QStringList rows;
    for (auto it = row.globalMatch(r.out); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        rows << QString(m.captured(1)).remove(server.baseUrl()) + " " + m.captured(2) + " "
                        + m.captured(3) + " " + m.captured(4);
    }
    EXPECT_EQ(rows,
              (QStringList { "/index.html 200 no error 0kb 0kb", "/a.gif 200 no error 2kb 2kb",
                             "/s.css 200 no error 1kb 1kb" }));
    EXPECT_TRUE(r.out.endsWith("</tr></table><p>&nbsp;</p><p>total page weight (compressed / "
                               "uncompressed): 3072kb / 3kb</p>\n"))
            << r.out.toStdString();
    EXPECT_EQ(r.out.count('\n'), 1);
}

TEST(PageWeightCli, UsageErrorsAndUnreadablePagesExitTwo)
{
    const QString refused = QStringLiteral("http://127.0.0.1:%1/").arg(FixtureServer::freePort());
    const QList<QStringList> usage = { {},
                                       { "http://a.example/", "http://b.example/" },
                                       { "http://a.example/", "--bogus" },
                                       { "http://a.example/", "--timeout", "0" },
                                       { "ftp://a.example/x" } };
    for (const QStringList &args : usage) {
        const CliRun r = runCli(QStringList { "weight" } + args);
        EXPECT_EQ(r.exitCode, 2) << args.join(' ').toStdString();
        EXPECT_TRUE(r.out.isEmpty()) << r.out.toStdString();
        EXPECT_TRUE(r.err.startsWith("orrelwick-cli: ")) << r.err.toStdString();
    }

    // The table is still written (one row); the reason goes to standard error.
    const CliRun r = runCli({ "weight", refused });
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_TRUE(r.out.contains("Couldn't connect to server")) << r.out.toStdString();
    EXPECT_EQ(r.err,
              "orrelwick-cli: " + refused + " could not be read: Couldn't connect to server\n");
}
