// The SEO analysis over pages made by hand: likely duplicates and the duplicates table, the
// keyword phrase (rows, counted cells, order), the counters, the report, the CSV and the
// optional columns with their user defaults.
#include "TestHome.h"

#include "common/AppSupport.h"
#include "common/SettingsControls.h"
#include "common/UserDefaults.h"
#include "links/ArchiveName.h"
#include "links/LinkCheckerUrl.h"
#include "seo/SEOManager.h"

#include <gtest/gtest.h>

#include <QFile>

#include <memory>
#include <vector>

using namespace orel;

namespace {

const char *const kOptionalKeys[] = {
    "KestovanSEOViewColsCanonical",  "KestovanSEOViewColsResponseTime",
    "KestovanSEOViewColsImageCount", "KestovanSEOViewColsImageWeight",
    "KestovanSEOViewColsLinkCount",  "KestovanSEOViewColsWordCount",
    "KestovanSEOViewColsContent",
};

class SeoAnalysisTest : public ::testing::Test
{
protected:
    // Declared before the manager, which only references them: it goes first.
    std::vector<std::unique_ptr<LinkCheckerUrl>> pages;
    SettingsControls controls;
    SEOManager seo;

    void SetUp() override
    {
        test::resetDialogs();
        test::wipeHome();
        for (const char *key : kOptionalKeys)
            UserDefaults::remove(QLatin1String(key));
        UserDefaults::remove(QLatin1String(DefaultsKey::SEOCountKeywordsInContent));
        controls.setDefaults();
        seo.setSEOControls(&controls);
        seo.loadSEODefaults();
    }

    // A page admitted to the manager, of the given size in bytes.
    LinkCheckerUrl *page(const QString &url, const QString &title, int bytes = 0,
                         const QString &canonical = {})
    {
        auto record = std::make_unique<LinkCheckerUrl>(nullptr);
        record->setLinkUrl(url, false);
        record->setLinkPageTitle(title);
        record->setFileSize(bytes);
        if (!canonical.isNull())
            record->setCanonical(canonical);
        seo.add(record.get());
        pages.push_back(std::move(record));
        return pages.back().get();
    }

    // Every row of the SEO table: the cells of the columns, joined by "|".
    QStringList table(const QStringList &columns)
    {
        QStringList out;
        for (int r = 0; r < seo.numberOfRowsInSEOTable(); ++r) {
            QStringList cells;
            for (const QString &column : columns)
                cells << seo.SEOObjectValue(column, r);
            out << cells.join(u'|');
        }
        return out;
    }

    QStringList duplicatesOfRow(int row)
    {
        seo.SEOTableSelectionDidChange(row);
        QStringList out;
        for (int r = 0; r < seo.numberOfRowsInDuplicatesTable(); ++r)
            out << seo.duplicateAt(r)->getLinkUrl();
        return out;
    }

    // Pretends the page was archived with this text.
    static void archive(const LinkCheckerUrl *page, const QByteArray &text)
    {
        test::writeFile(AppSupport::archiveFolder() + u'/'
                                + archiveFileNameForUrl(page->getActualLinkUrl()),
                        text);
    }

    QStringList duplicateTitles()
    {
        QStringList out;
        const SEOManager::Duplicates &d = seo.getDuplicates();
        for (auto it = d.cbegin(); it != d.cend(); ++it) {
            QStringList urls;
            for (const LinkCheckerUrl *p : it.value())
                urls << p->getLinkUrl().section(u'/', -1);
            out << it.key() + ": " + urls.join(u',');
        }
        out.sort();
        return out;
    }
};

} // namespace

TEST_F(SeoAnalysisTest, DuplicatesNeedOneTitleAndTwoPagesOfOneSizeAndAreBuiltOnce)
{
    page("http://site.test/a", "Same", 1000);
    page("http://site.test/b", "Same", 1001);
    page("http://site.test/solo", "Solo", 1000);
    EXPECT_TRUE(duplicateTitles().isEmpty());

    // Kept until the manager is cleared: a third page changes nothing yet.
    page("http://site.test/c", "Same", 1000);
    EXPECT_TRUE(duplicateTitles().isEmpty());

    std::vector<std::unique_ptr<LinkCheckerUrl>> kept;
    kept.swap(pages);
    seo.clear();
    for (const auto &p : kept)
        seo.add(p.get());
    // The group holds every page of the title, the odd size too.
    EXPECT_EQ(duplicateTitles(), QStringList { "Same: a,b,c" });
    pages.insert(pages.end(), std::make_move_iterator(kept.begin()),
                 std::make_move_iterator(kept.end()));
}

TEST_F(SeoAnalysisTest, APageCanonicalElsewhereTakesNoPartInDuplicates)
{
    page("http://site.test/a", "Same", 1000, "http://site.test/b");
    page("http://site.test/b", "Same", 1000);
    page("http://site.test/x", "Other", 500, "http://site.test/x/"); // its own URL: counts
    page("http://site.test/y", "Other", 500);
    EXPECT_EQ(duplicateTitles(), QStringList { "Other: x,y" });
}

TEST_F(SeoAnalysisTest, TheDuplicatesTableShowsTheOtherPagesOfTheSelectedTitleAndSize)
{
    page("http://site.test/a", "Same", 1000);
    page("http://site.test/b", "Same", 1001);
    page("http://site.test/c", "Same", 1000);
    page("http://site.test/d", "Unique", 1000);
    EXPECT_EQ(duplicatesOfRow(0), QStringList { "http://site.test/c" });
    EXPECT_EQ(duplicatesOfRow(2), QStringList { "http://site.test/a" });
    EXPECT_TRUE(duplicatesOfRow(1).isEmpty()); // a title with duplicates, but not of its size
    EXPECT_TRUE(duplicatesOfRow(3).isEmpty()); // no such title among the duplicates
    EXPECT_TRUE(duplicatesOfRow(-1).isEmpty());
    EXPECT_TRUE(duplicatesOfRow(9).isEmpty());
    EXPECT_EQ(seo.copyURL(), QString());

    seo.SEOTableSelectionDidChange(2);
    EXPECT_EQ(seo.copyURL(), QStringLiteral("http://site.test/c"));
    seo.SEODoubleClick();
    EXPECT_EQ(test::dialogs().openedUrls, QStringList { "http://site.test/c" });
}

TEST_F(SeoAnalysisTest, APhraseFoundNowhereHidesEveryRowAndAnEmptyOneShowsThemAgain)
{
    page("http://site.test/a", "Apples", 10);
    page("http://site.test/b", "Pears", 20);
    controls.SEOSearchBox = QStringLiteral("zebra");
    seo.SEOfilter();
    EXPECT_EQ(seo.numberOfRowsInSEOTable(), 0);
    EXPECT_EQ(seo.getnthVisibleItem(0), nullptr);
    EXPECT_EQ(seo.SEOObjectValue(QStringLiteral("actualurl"), 0), QString(""));

    // Every page again, in the order the last sort left (the table has no column sort).
    controls.SEOSearchBox.clear();
    seo.SEOfilter();
    QStringList titles = table({ "linkpagetitle" });
    titles.sort();
    EXPECT_EQ(titles, (QStringList { "Apples", "Pears" }));

    // SEO off: no rows, and the phrase is not applied.
    controls.SEOEnabledCheckBox = CheckState::Off;
    controls.SEOSearchBox = QStringLiteral("zebra");
    seo.SEOfilter();
    EXPECT_EQ(seo.numberOfRowsInSEOTable(), 0);
    controls.SEOEnabledCheckBox = CheckState::On;
    EXPECT_EQ(seo.numberOfRowsInSEOTable(), 2);
}

TEST_F(SeoAnalysisTest, APhraseCountsItsOccurrencesPerCellAndOrdersByTheTotalMostFirst)
{
    LinkCheckerUrl *a = page("http://site.test/apple", "An apple", 2048);
    page("http://site.test/pear", "Pear", 4096);
    LinkCheckerUrl *c = page("http://site.test/c", "Apple, apple", 3072);
    LinkCheckerUrl *d = page("http://site.test/d", "One apple", 1024);
    c->setMetaDescription(QStringLiteral("about apples"));
    d->setHeadings(QStringLiteral("Apple"));
    archive(a, "<title>An apple</title><p>apple APPLE apple</p>");

    const QStringList columns { "actualurl", "linkpagetitle", "metadescription", "keywords",
                                "headings",  "filesize",      "responsetime" };
    controls.SEOSearchBox = QStringLiteral("apple");
    seo.SEOfilter();
    // Totals: a 5 (URL 1, title 1, and 3 more in its archived page, which holds its title too;
    // the total counts the archive even with content counting off), c 3, d 2; b leaves.
    // "filesize" stays plain with content counting off.
    EXPECT_EQ(table(columns),
              (QStringList {
                      "(1) http://site.test/apple|(1) An apple|(0) |(0) |(0) |2kb|",
                      "(0) http://site.test/c|(2) Apple, apple|(1) about apples|(0) |(0) |3kb|",
                      "(0) http://site.test/d|(1) One apple|(0) |(0) |(1) Apple|1kb|" }));
    EXPECT_EQ(a->getTotalOccurrences(), 5);

    // Counting in the content: "filesize" carries the archive's count too.
    controls.SEOCountKeywordsInContentCheckBox = CheckState::On;
    EXPECT_EQ(seo.SEOObjectValue(QStringLiteral("filesize"), 0), QStringLiteral("(3) 2kb"));
    EXPECT_EQ(seo.SEOObjectValue(QStringLiteral("filesize"), 1), QStringLiteral("(0) 3kb"));
}

TEST_F(SeoAnalysisTest, TheNumericSortByTotalKeepsTiesInReverseOrderWithManyPages)
{
    // Enough pages for the sort's jump start; totals 0..3 from the title alone.
    for (int i = 0; i < 12; ++i)
        page(QStringLiteral("http://site.test/%1").arg(i),
             QStringLiteral("kiwi").repeated(i % 4) + QStringLiteral(" page %1").arg(i));
    controls.SEOSearchBox = QStringLiteral("kiwi");
    seo.SEOfilter();
    QStringList order;
    for (int r = 0; r < seo.numberOfRowsInSEOTable(); ++r)
        order << seo.getnthVisibleItem(r)->getFieldByName(QStringLiteral("linkurl")).mid(17);
    EXPECT_EQ(order, (QStringList { "11", "7", "3", "10", "6", "2", "9", "5", "1" }));

    // A column click sorts the table by that column instead.
    seo.sortSEOTable(QStringLiteral("actualurl"), true);
    EXPECT_EQ(seo.getnthVisibleItem(0)->getFieldByName("linkurl"),
              QStringLiteral("http://site.test/1"));
    EXPECT_EQ(seo.getnthVisibleItem(1)->getFieldByName("linkurl"),
              QStringLiteral("http://site.test/10"));
}

TEST_F(SeoAnalysisTest, CountersAndReportCountPagesWithoutTitleOrDescription)
{
    page("http://site.test/a", "A", 2048)->setMetaDescription(QStringLiteral("described"));
    page("http://site.test/b", "", 1024);
    page("file:///tmp/c.html", "C", 0)->setVisible(false); // hidden by the link views' search
    EXPECT_EQ(seo.getPagesIncludedInSEO(), 0); // shown values, not yet taken
    seo.updateSEOCounters();
    EXPECT_EQ(seo.getPagesIncludedInSEO(), 3);
    EXPECT_EQ(seo.getPagesSEOWithoutTitle(), 1);
    EXPECT_EQ(seo.getPagesSEOWithoutDescription(), 2);
    EXPECT_EQ(seo.getSEOCollectionCount(), 3);

    const QString row1 = "<tr><td class = actualurl ><a href = http://site.test/a "
                         ">http://site.test/a</a></td><td class = linkpagetitle >A</td>"
                         "<td class = metadescription >described</td><td class = keywords >"
                         "</td><td class = headings ></td><td class = filesize >2kb</td></tr>";
    const QString row2 =
            "<tr><td class = \"actualurl alt\" ><a href = http://site.test/b "
            ">http://site.test/b</a></td><td class = \"linkpagetitle alt\" ></td>"
            "<td class = \"metadescription alt\" ></td><td class = \"keywords alt\" "
            "></td><td class = \"headings alt\" ></td><td class = \"filesize alt\" >1kb"
            "</td></tr>";
    EXPECT_EQ(seo.getSEOReport(),
              "<h1>SEO</h1>\n<p>3 page(s) included, 1 without title, 2 without description</p>\n"
              "<table><tr><th class = actualurl>URL</th><th class = linkpagetitle>Title</th>"
              "<th class = metadescription>Description</th><th class = keywords>Keywords</th>"
              "<th class = headings>Headings</th><th class = filesize>Content</th></tr>"
                      + row1 + row2 + "</table><br />\n");

    seo.clear();
    EXPECT_EQ(seo.getPagesIncludedInSEO(), 0);
    EXPECT_TRUE(seo.getSEOReport().startsWith(
            "<h1>SEO</h1>\n<p>0 page(s) included, 0 without title, 0 without description</p>\n"
            "<table><tr><th class = actualurl>URL</th>"));
}

TEST_F(SeoAnalysisTest, TheCsvIsTheTableAsShownWithoutUserInfo)
{
    page("http://me:pw@site.test/a", "Say \"hi\"", 2048);
    page("http://site.test/b", "Plain, text", 1024);
    EXPECT_EQ(seo.getSEOCSV(),
              "\"URL\",\"Title\",\"Description\",\"Keywords\",\"Headings\",\"Content\"\r"
              "\"http://site.test/a\",\"Say \"hi\"\",\"\",\"\",\"\",\"2kb\"\r"
              "\"http://site.test/b\",\"Plain, text\",\"\",\"\",\"\",\"1kb\"\r");

    controls.SEOSearchBox = QStringLiteral("plain");
    seo.SEOfilter();
    EXPECT_EQ(seo.getSEOCSV().section(u'\r', 1),
              "\"(0) http://site.test/b\",\"(1) Plain, text\",\"(0) \",\"(0) \",\"(0) \","
              "\"1kb\"\r");

    // Through the save panel, written whole; a cancelled panel writes nothing.
    const QString path = test::home() + "/seo.csv";
    test::dialogs().panelAnswers.enqueue(path);
    EXPECT_TRUE(seo.exportSEOAsCSV());
    EXPECT_EQ(QString::fromUtf8(test::readFile(path)), seo.getSEOCSV());
    EXPECT_FALSE(seo.exportSEOAsCSV());
    test::LogCapture log;
    test::dialogs().panelAnswers.enqueue(QStringLiteral("/proc/orrelwick-seo.csv"));
    EXPECT_FALSE(seo.exportSEOAsCSV());
    EXPECT_TRUE(log.contains("Unsuccessful exporting data to /proc/orrelwick-seo.csv"));
}

TEST_F(SeoAnalysisTest, OptionalColumnsComeAndGoByTitleAndLiveInTheUserDefaults)
{
    SeoTable &table = seo.getSEOTableView();
    const auto ids = [&table] {
        QStringList out;
        for (const TableColumn &c : table.columns())
            out << c.identifier;
        return out.join(u',');
    };
    EXPECT_EQ(ids(), "actualurl,linkpagetitle,metadescription,keywords,headings,filesize");
    EXPECT_TRUE(table.addColumnWithTitle("Response time"));
    EXPECT_TRUE(table.addColumnWithTitle("Word count"));
    EXPECT_TRUE(table.addColumnWithTitle("Canonical"));
    EXPECT_TRUE(table.removeColumnWithTitle("Response time"));
    EXPECT_TRUE(table.addColumnWithTitle("Word count")); // already shown: stays once
    EXPECT_FALSE(table.addColumnWithTitle("Title")); // fixed
    EXPECT_FALSE(table.removeColumnWithTitle("URL"));
    EXPECT_FALSE(table.addColumnWithTitle("Colour"));
    EXPECT_EQ(ids(),
              "actualurl,linkpagetitle,metadescription,keywords,headings,filesize,"
              "wordcount,canonical");

    controls.SEOCountKeywordsInContentCheckBox = CheckState::On;
    seo.saveSEODefaults();
    EXPECT_TRUE(UserDefaults::boolValue("KestovanSEOViewColsWordCount"));
    EXPECT_FALSE(UserDefaults::boolValue("KestovanSEOViewColsResponseTime"));
    EXPECT_TRUE(UserDefaults::contains("KestovanSEOViewColsImageCount"));
    EXPECT_TRUE(UserDefaults::boolValue("SEOCountKeywordsInContent"));

    SettingsControls other;
    SEOManager next;
    next.setSEOControls(&other);
    next.loadSEODefaults();
    EXPECT_TRUE(SettingsControls::isOn(other.SEOCountKeywordsInContentCheckBox));
    // Read back in the table's own order.
    QStringList nextIds;
    for (const TableColumn &c : next.getSEOTableView().columns())
        nextIds << c.identifier;
    EXPECT_EQ(nextIds.join(u','),
              "actualurl,linkpagetitle,metadescription,keywords,headings,"
              "canonical,wordcount,filesize");

    // A page as the crawl leaves it: no word count, no canonical.
    page("http://site.test/a", "A", 10);
    EXPECT_EQ(seo.SEOObjectValue("wordcount", 0), QString(""));
    EXPECT_EQ(seo.SEOObjectValue("canonical", 0), QString(""));
}
