// SEO data from real crawls of the fixture server: what a crawl records of its pages, and
// orrelwick-cli crawl writing the SEO report and CSV with a phrase, and failing to.
#include "engine/HubTestSupport.h"

#include "CliRun.h"
#include "FixtureServer.h"
#include "common/UserDefaults.h"
#include "seo/SEOManager.h"
#include "seo/SeoTableModel.h"
#include "seo/SitemapModel.h"

#include <QTemporaryDir>

using namespace orel;

namespace {

// Every page carries the metadata a crawl leaves unread. The two copies have one title and
// one size; their bodies hold the word "copy" twice.
void writeSite(const QString &root)
{
    test::writeFile(root + "/index.html",
                    "<html><head><title>Home</title>"
                    "<meta name=\"description\" content=\"The home page\">"
                    "<meta name=\"keywords\" content=\"home, start\">"
                    "<link rel=\"canonical\" href=\"/elsewhere.html\"></head>"
                    "<body><h1>Welcome</h1><a href=\"/a.html\">a</a><a href=\"/b.html\">b</a>"
                    "<a href=\"/missing.html\">m</a></body></html>");
    const QByteArray copy = "<html><head><title>Copy page</title>"
                            "<meta name=\"description\" content=\"A copy\"></head>"
                            "<body><h2>Copy</h2><p>one copy, another copy</p></body></html>";
    test::writeFile(root + "/a.html", copy);
    test::writeFile(root + "/b.html", copy);
}

class SeoCrawlTest : public test::HubTest
{
protected:
    QTemporaryDir site;
};

} // namespace

TEST_F(SeoCrawlTest, ACrawlRecordsOnlyTheTitleAndSizesOfItsPages)
{
    writeSite(site.path());
    test::FixtureServer server(site.path());
    ASSERT_TRUE(server.isRunning()) << "the fixture server did not start";
    controls.numberOfThreads = 1; // pages are admitted in a fixed order
    newHub();
    // Models made before the crawl show its pages once it has ended.
    SeoTableModel seoModel(*hub->seoManager());
    SitemapModel sitemapModel(*hub->seoManager());
    start(server.url("/index.html"), false);
    ASSERT_TRUE(runToEnd());
    QCoreApplication::processEvents();
    EXPECT_EQ(seoModel.rowCount(), 3);
    EXPECT_EQ(sitemapModel.rowCount(), 3);

    SEOManager &seo = *hub->seoManager();
    QStringList seen;
    for (int i = 0; i < int(seo.getCount()); ++i) {
        const LinkCheckerUrl *page = seo.pageAt(i);
        const QString path = page->getActualLinkUrl().remove(server.baseUrl());
        seen << path + " " + page->getLinkPageTitle() + " "
                        + QString::number(page->getFileSizeInBytes())
                        + QString(page->getMetaDescription() + page->getKeywords()
                                  + page->getHeadings() + page->getCanonical()
                                  + page->getFieldByName("wordcount"));
    }
    // A page's size is measured only by the page-weight tool (and for images): the crawl leaves
    // it 0, so the pages of one title are likely duplicates of each other.
    EXPECT_EQ(seen,
              (QStringList { "/index.html Home 0", "/a.html Copy page 0", "/b.html Copy page 0" }));

    seo.updateSEOCounters();
    EXPECT_EQ(seo.getPagesIncludedInSEO(), 3);
    EXPECT_EQ(seo.getPagesSEOWithoutTitle(), 0);
    EXPECT_EQ(seo.getPagesSEOWithoutDescription(), 3);
    // The unread canonical link does not keep the home page out; the copies are duplicates.
    EXPECT_EQ(seo.getDuplicates().keys(), QStringList { "Copy page" });
    seo.SEOTableSelectionDidChange(1);
    ASSERT_EQ(seo.numberOfRowsInDuplicatesTable(), 1);
    EXPECT_EQ(seo.duplicateAt(0)->getActualLinkUrl(), server.url("/b.html"));

    // The description the page has is not searched: only its title and URL are.
    controls.SEOSearchBox = QStringLiteral("copy");
    seo.SEOfilter();
    EXPECT_EQ(seo.numberOfRowsInSEOTable(), 2);
    EXPECT_EQ(seo.SEOObjectValue("metadescription", 0), QStringLiteral("(0) "));
}

TEST_F(SeoCrawlTest, TheCommandLineWritesTheSeoReportAndCsvForAPhrase)
{
    writeSite(site.path());
    test::FixtureServer server(site.path());
    ASSERT_TRUE(server.isRunning()) << "the fixture server did not start";
    QTemporaryDir out;
    const QString csv = out.filePath("seo.csv");
    const QString report = out.filePath("seo.html");
    // The program reads the column check boxes from the same user defaults.
    for (const TableColumn &c : SeoTable::optionalColumns())
        UserDefaults::remove(SeoTable::defaultsKeyForTitle(c.title));
    UserDefaults::setValue(QStringLiteral("KestovanSEOViewColsWordCount"), true);
    UserDefaults::sync();

    // SEO switched off in the settings is switched on again by the SEO options; content
    // counting finds it four times more in each copy's archived page (beyond its title).
    const test::CliRun r = test::runCli(
            { "crawl", server.url("/index.html"), "--set", "SEOEnabledCheckBox=off", "--set",
              "SEOCountKeywordsInContentCheckBox=on", "--set", "numberOfThreads=1", "--seo-report",
              report, "--seo-csv", csv, "--seo-phrase", "COPY", "--quiet" });
    UserDefaults::remove(QStringLiteral("KestovanSEOViewColsWordCount"));
    UserDefaults::sync();
    EXPECT_EQ(r.exitCode, 1) << r.err.toStdString(); // missing.html is bad
    EXPECT_EQ(r.err, QString());
    EXPECT_EQ(r.out, QStringLiteral("4 of 4 links checked, 1 bad\n"));

    const QString a = server.url("/a.html"), b = server.url("/b.html");
    const QString size = QStringLiteral("0"); // see above: the crawl does not measure pages
    EXPECT_EQ(QString::fromUtf8(test::readFile(csv)),
              "\"URL\",\"Title\",\"Description\",\"Keywords\",\"Headings\",\"Word count\","
              "\"Content\"\r"
              "\"(0) " + b
                      + "\",\"(1) Copy page\",\"(0) \",\"(0) \",\"(0) \",\"\",\"(4) " + size
                      + "kb\"\r\"(0) " + a
                      + "\",\"(1) Copy page\",\"(0) \",\"(0) \",\"(0) \",\"\",\"(4) " + size
                      + "kb\"\r");

    // The report is a whole page; its table lists every page, the phrase aside.
    const QString html = QString::fromUtf8(test::readFile(report));
    EXPECT_TRUE(html.startsWith("<html><head><title>Data Export from Kestovan</title><body>"
                                "<style>"))
            << html.left(200).toStdString();
    EXPECT_TRUE(html.contains("</style><h1>SEO</h1>\n<p>3 page(s) included, 0 without title, 3 "
                              "without description</p>\n<table><tr><th class = actualurl>URL"))
            << html.toStdString();
    EXPECT_TRUE(html.endsWith("</table><br />\n</body></head></html>"));
    EXPECT_EQ(html.count("<tr>"), 4);
    EXPECT_TRUE(html.contains("<td class = linkpagetitle >Home</td>"));
}

TEST_F(SeoCrawlTest, TheCommandLineFailsClearlyWhenAnSeoFileCannotBeWritten)
{
    writeSite(site.path());
    test::FixtureServer server(site.path());
    ASSERT_TRUE(server.isRunning()) << "the fixture server did not start";
    const QString start = server.url("/a.html");

    // Known before the crawl: nothing is fetched.
    const QList<QStringList> early = {
        { "--seo-report", "/orrelwick-no-such-dir/seo.html" },
        { "--seo-csv", site.path() },
        { "--seo-phrase" },
    };
    for (const QStringList &args : early) {
        const test::CliRun r = test::runCli(QStringList { "crawl", start } + args);
        EXPECT_EQ(r.exitCode, 2) << args.join(' ').toStdString();
        EXPECT_TRUE(r.err.startsWith("orrelwick-cli: ")) << r.err.toStdString();
        EXPECT_EQ(r.err.count('\n'), 1) << r.err.toStdString();
        EXPECT_TRUE(r.out.isEmpty());
    }
    EXPECT_TRUE(server.requestLog().isEmpty());

    // Known only when writing: the crawl's summary, then the reason.
    const test::CliRun r = test::runCli({ "crawl", start, "--seo-csv", "/proc/orrelwick-seo.csv" });
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_EQ(r.out, QStringLiteral("1 of 1 links checked, 0 bad\n"));
    EXPECT_EQ(r.err, QStringLiteral("orrelwick-cli: cannot write /proc/orrelwick-seo.csv\n"));
}
