// orrelwick-cli's result files, archive and locate report, and the recheck command, run as a
// separate process against the fixture server and local files.
#include "CliRun.h"
#include "FixtureServer.h"
#include "TestHome.h"
#include "common/Plist.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>

using namespace orel;
using namespace orel::test;

// One crawl of a local site writing every form; each file begins as its form does, the graph is
// one Graphviz reads, and the flat page one a browser reads: every row of the file is a row of
// the page, and the browser reports no error of the page's own.
TEST(ResultExports, EveryFormItsReadersArchiveAndLocate)
{
    QTemporaryDir site, out;
    writeFile(site.filePath("index.html"),
              "<title>Home</title><a href=\"a.html\">to a</a>"
              "<a href=\"gone.html\">gone &amp; \"b\" <b>bold</b></a>");
    writeFile(site.filePath("a.html"), "<title>A</title><a href=\"index.html\">home</a>");
    ASSERT_TRUE(QDir(out.path()).mkpath("archive"));
    const auto file = [&](const char *name) { return out.filePath(name); };
    // Each form's option, file and how the file begins.
    const char tdl[] = "\"Status\"\t\"URL\"\t\"Redirected To\"\t\"Link Text\"\t\"On Page\"\r";
    const char html[] = "<html><head><title>Data Export from Kestovan</title><body><style>";
    const std::tuple<const char *, const char *, const char *> forms[] = {
        { "--csv", "link.csv", "\"Status\",\"URL\",\"Link Text\",\"On Page / Number of Pages\"\r" },
        { "--html", "link.html", html },
        { "--tdl", "link.tdl", tdl },
        { "--flat-tdl", "flat.tdl", tdl },
        { "--text", "text.txt", "Data Export from Orrelwick\r==========================\r\r" },
        { "--flat-html", "flat.html", html },
        { "--dot", "site.dot", "digraph \"file://" },
    };
    QStringList args;
    args << "crawl" << site.filePath("index.html") << "--view"
         << "link"
         << "--dot-colour"
         << "--archive" << file("archive") << "--locate" << site.filePath("a.html");
    for (const auto &[option, name, start] : forms)
        args << option << file(name);
    const CliRun r = runCli(args);
    EXPECT_EQ(r.exitCode, 1) << r.err.toStdString();
    for (const auto &[option, name, start] : forms)
        EXPECT_TRUE(readFile(file(name)).startsWith(start)) << name;
    EXPECT_TRUE(readFile(file("link.csv")).contains("\"\t\",\"\",\"to a\",\"file://"));
    // The graph as Graphviz reads it; the flat page as a browser reads it.
    QProcess graphviz;
    graphviz.start("dot", { "-Tsvg", "-o", file("site.svg"), file("site.dot") });
    ASSERT_TRUE(graphviz.waitForFinished(20000));
    EXPECT_EQ(graphviz.exitCode(), 0);

    QProcess browser;
    browser.start("chromium",
                  { "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
                    "--no-first-run", "--disable-background-networking",
                    "--disable-component-update", "--disable-sync",
                    "--user-data-dir=" + file("profile"), "--enable-logging=stderr", "--v=0",
                    "--dump-dom", QUrl::fromLocalFile(file("flat.html")).toString() });
    ASSERT_TRUE(browser.waitForFinished(60000));
    const QByteArray dom = browser.readAllStandardOutput();
    const QByteArray log = browser.readAllStandardError();
    EXPECT_EQ(browser.exitCode(), 0) << log.toStdString();
    EXPECT_EQ(dom.count("<tr"), readFile(file("flat.html")).count("<tr"));
    EXPECT_EQ(dom.count("<tr"), 4); // header and three occurrences
    EXPECT_FALSE(log.contains("CONSOLE") || log.contains("Uncaught")) << log.toStdString();

    // The archive copy holds both pages; the locate report names the start page's link.
    const QStringList copies = QDir(file("archive")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    ASSERT_EQ(copies.size(), 1);
    EXPECT_TRUE(copies.first().startsWith("Orrelwick archived pages "));
    EXPECT_EQ(QDir(file("archive") + '/' + copies.first()).entryList(QDir::Files).size(), 2);
    EXPECT_TRUE(r.out.contains("our link has target url: \"file://" + site.filePath("a.html")
                               + "\", link text: \"to a\""))
            << r.out.toStdString();
    EXPECT_TRUE(r.out.endsWith("3 of 3 links checked, 1 bad\n")) << r.out.toStdString();
}

// A saved list whose bad link now answers: the re-check finds it good and exits 0; a list that
// cannot be read is an error.
TEST(ResultExports, RecheckOfASavedList)
{
    QTemporaryDir root, out;
    FixtureServer server(root.path());
    ASSERT_TRUE(server.isRunning());
    writeFile(root.filePath("back.html"), "back again");
    const auto record = [](const QString &url, const char *status) {
        return QVariantMap { { "linkUrl", url },
                             { "status", QString::fromLatin1(status) },
                             { "onPageUrl", "http://site.test/" },
                             { "isInternal", "YES" } };
    };
    const QString list = out.filePath("links.plist");
    ASSERT_TRUE(Plist::writeFile(
            list,
            QVariantMap { { "linkcheckerUrls",
                            QVariantList { record(server.url("/back.html"), "404 not found"),
                                           record(server.url("/"), "200 no error") } } }));
    const CliRun r = runCli({ "recheck", list, "--csv", out.filePath("flat.csv") });
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString() << r.out.toStdString();
    const QByteArray csv = readFile(out.filePath("flat.csv"));
    EXPECT_TRUE(csv.contains(QByteArray("\"200 no error\",\"" + server.url("/back.html").toUtf8())))
            << csv.toStdString();
    EXPECT_EQ(server.requestLog().filter("/back.html").size(), 1);

    const CliRun missing = runCli({ "recheck", out.filePath("none.plist") });
    EXPECT_EQ(missing.exitCode, 2);
    EXPECT_TRUE(missing.err.startsWith("orrelwick-cli: no links read from"));
}
