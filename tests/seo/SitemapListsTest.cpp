// The sitemap's CSV and HTML lists over pages admitted by hand: their exact text, the rows they
// take, the level-by-level walk that must end, their save panels and failures.
#include "TestHome.h"

#include "common/SettingsControls.h"
#include "links/LinkCheckerUrl.h"
#include "seo/SEOManager.h"
#include "seo/SitemapModel.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <memory>
#include <vector>

using namespace orel;
using orel::test::dialogs;
using orel::test::readFile;

namespace {

struct PageFixture
{
    const char *url;
    const char *title;
    int distance;
};

class SitemapListsTest : public ::testing::Test
{
protected:
    SettingsControls controls;
    SEOManager seo;
    std::vector<std::unique_ptr<LinkCheckerUrl>> pages;

    void SetUp() override
    {
        orel::test::resetDialogs();
        seo.setSitemapContext(&controls, nullptr);
    }

    LinkCheckerUrl *admit(const PageFixture &page)
    {
        auto record = std::make_unique<LinkCheckerUrl>(nullptr);
        record->setLinkUrl(QString::fromUtf8(page.url), false);
        record->setLinkPageTitle(QString::fromUtf8(page.title));
        record->setDistanceFromHome(page.distance);
        record->setChangeFrequency(QStringLiteral("weekly"));
        seo.add(record.get());
        pages.push_back(std::move(record));
        return pages.back().get();
    }
};

} // namespace

TEST_F(SitemapListsTest, CsvHasTheTableColumnsAndTheFirstRowsOfTheAdmittedPages)
{
    admit({ "http://s.test/", "Home", 0 });
    LinkCheckerUrl *hidden = admit({ "http://s.test/h", "Hidden", 1 });
    LinkCheckerUrl *listed = admit({ "http://me:pw@s.test/b?x=1&y=2", "B \"quoted\"", 2 });
    admit({ "http://s.test/c", "C", 1 });
    hidden->setVisible(false);
    EXPECT_EQ(seo.sitemapCSV(),
              "\"URL\",\"Title\",\"Distance from home\",\"Change frequency\"\r"
              "\"http://s.test/\",\"Home\",\"0\",\"weekly\"\r"
              "\"http://s.test/b?x=1&y=2\",\"B \"quoted\"\",\"2\",\"weekly\"\r"
              "\"http://s.test/c\",\"C\",\"1\",\"weekly\"\r");
    EXPECT_EQ(dialogs().calls.last().title, "Exporting");
    EXPECT_EQ(dialogs().progressMaximum, 4);
    EXPECT_EQ(dialogs().progressValue, 100);
    EXPECT_FALSE(dialogs().progressShown);

    // Rows are counted by the sitemap but taken from the admitted pages in order: with a page
    // left out of the sitemap, the last admitted page is not listed.
    listed->setIsBlacklisted(true);
    controls.xmlNoBlacklisted = CheckState::On;
    seo.clearSitemapCollection();
    EXPECT_EQ(seo.getSitemapCollectionCount(), 3);
    EXPECT_FALSE(seo.sitemapCSV().contains("http://s.test/c"));
}

TEST_F(SitemapListsTest, HtmlListsLevelByLevelAndEndsWhenNoLevelIsLeft)
{
    // (distance, expected place) table: -1 is reached by no level, 3 only after a gap.
    admit({ "http://s.test/deep", "Deep", 3 });
    admit({ "http://s.test/", "Home", 0 });
    admit({ "http://s.test/never", "Never", -1 });
    admit({ "http://s.test/one", "One", 1 });
    EXPECT_EQ(seo.sitemapHTML(),
              "<a href = \"http://s.test/\">Home</a><br />\r"
              "<a href = \"http://s.test/one\">One</a><br />\r"
              "<a href = \"http://s.test/deep\">Deep</a><br />\r");
    EXPECT_EQ(dialogs().progressValue, 3);

    // N pages written end the walk at once.
    pages[2]->setDistanceFromHome(1);
    EXPECT_EQ(seo.sitemapHTML().count("<br />"), 4);
    // No pages, no lines, no endless walk.
    seo.clear();
    EXPECT_EQ(seo.sitemapHTML(), "");
}

TEST_F(SitemapListsTest, ListsAreSavedThroughTheirPanelsAndFailuresAreLogged)
{
    admit({ "http://s.test/", "Home", 0 });
    QTemporaryDir out;
    dialogs().panelAnswers.enqueue(out.filePath("map.csv"));
    dialogs().panelAnswers.enqueue(out.filePath("map.html"));
    dialogs().panelAnswers.enqueue(out.filePath("missing/map.html"));
    seo.exportSitemapAsCSV();
    seo.exportSitemapAsHTML();
    orel::test::LogCapture logs;
    seo.exportSitemapAsHTML();
    QStringList types;
    for (const auto &call : dialogs().calls) {
        if (call.kind == "save")
            types << call.title;
    }
    EXPECT_EQ(types, (QStringList { "csv", "html", "html" }));
    EXPECT_EQ(readFile(out.filePath("map.csv")),
              "\"URL\",\"Title\",\"Distance from home\",\"Change frequency\"\r"
              "\"http://s.test/\",\"Home\",\"0\",\"weekly\"\r");
    EXPECT_EQ(readFile(out.filePath("map.html")), "<a href = \"http://s.test/\">Home</a><br />\r");
    EXPECT_EQ(
            logs.count("Unsuccessful exporting data to " + out.filePath("missing/map.html") + "\n"),
            1);
    // A cancelled panel writes nothing.
    seo.exportSitemapAsCSV();
    EXPECT_EQ(QDir(out.path()).entryList(QDir::Files).size(), 2);
}

TEST_F(SitemapListsTest, TheModelShowsTheCollectionAndSortsIt)
{
    admit({ "http://s.test/", "Home", 0 });
    admit({ "http://s.test/b", "b page", 2 });
    admit({ "http://s.test/A", "A page", 1 });
    SitemapModel model(seo);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    ASSERT_EQ(model.rowCount(), 3);
    ASSERT_EQ(model.columnCount(), 4);
    EXPECT_EQ(model.headerData(2, Qt::Horizontal).toString(), "Distance from home");
    EXPECT_EQ(model.data(model.index(1, 1)).toString(), "b page");
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    model.sort(1, Qt::AscendingOrder); // titles, case ignored
    EXPECT_EQ(resets.size(), 1);
    EXPECT_EQ(model.data(model.index(0, 1)).toString(), "A page");
    EXPECT_EQ(model.data(model.index(2, 1)).toString(), "Home");
    model.sort(2, Qt::DescendingOrder);
    EXPECT_EQ(model.data(model.index(0, 2)).toString(), "2");
    // The file follows the table's order.
    const QString xml = seo.sitemapXML({});
    EXPECT_LT(xml.indexOf("http://s.test/b<"), xml.indexOf("http://s.test/A<"));
    EXPECT_LT(xml.indexOf("http://s.test/A<"), xml.indexOf("http://s.test/<"));
    controls.xmlNoBlacklisted = CheckState::On;
    pages[0]->setIsBlacklisted(true);
    seo.clearSitemapCollection();
    model.reload();
    EXPECT_EQ(model.rowCount(), 2);
}
