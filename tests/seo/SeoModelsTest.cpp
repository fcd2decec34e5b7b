// The SEO table's and the duplicates table's item models under the model checker, through
// admissions, the phrase, a sort, column changes, selections and a new crawl.
#include "TestHome.h"

#include "common/SettingsControls.h"
#include "common/UserDefaults.h"
#include "links/LinkCheckerUrl.h"
#include "seo/DuplicatesModel.h"
#include "seo/SEOManager.h"
#include "seo/SeoTableModel.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QSignalSpy>

#include <memory>
#include <vector>

using namespace orel;

namespace {

class SeoModelsTest : public ::testing::Test
{
protected:
    std::vector<std::unique_ptr<LinkCheckerUrl>> pages;
    SettingsControls controls;
    SEOManager seo;

    void SetUp() override
    {
        test::resetDialogs();
        for (const TableColumn &c : SeoTable::optionalColumns())
            UserDefaults::remove(SeoTable::defaultsKeyForTitle(c.title));
        seo.setSEOControls(&controls);
        seo.loadSEODefaults();
    }

    LinkCheckerUrl *admit(const QString &url, const QString &title, int bytes)
    {
        auto record = std::make_unique<LinkCheckerUrl>(nullptr);
        record->setLinkUrl(url, false);
        record->setLinkPageTitle(title);
        record->setFileSize(bytes);
        seo.add(record.get());
        pages.push_back(std::move(record));
        return pages.back().get();
    }

    static QStringList column(const QAbstractItemModel &model, int c)
    {
        QStringList out;
        for (int r = 0; r < model.rowCount(); ++r)
            out << model.data(model.index(r, c)).toString();
        return out;
    }
};

} // namespace

TEST_F(SeoModelsTest, TheSeoTableModelFollowsAdmissionsPhraseSortAndColumns)
{
    SeoTableModel model(seo);
    const auto fatal = QAbstractItemModelTester::FailureReportingMode::Fatal;
    QAbstractItemModelTester tester(&model, fatal);
    EXPECT_EQ(model.rowCount(), 0);
    EXPECT_EQ(model.columnCount(), 6);
    EXPECT_EQ(model.headerData(5, Qt::Horizontal).toString(), QStringLiteral("Content"));

    // Pages admitted during a crawl come in with the next reload of the table.
    admit("http://site.test/a", "Melon", 5 * 1024);
    admit("http://site.test/b", "Melon melon", 1024);
    EXPECT_EQ(model.rowCount(), 0);
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    seo.getSEOTableView().reloadData();
    EXPECT_EQ(model.rowCount(), 2);
    EXPECT_EQ(inserted.size(), 1);
    admit("http://site.test/c", "Lime", 3 * 1024);
    seo.getSEOTableView().reloadData();
    EXPECT_EQ(column(model, 1), (QStringList { "Melon", "Melon melon", "Lime" }));

    // A click on "Content" sorts by size numerically.
    model.sort(5, Qt::DescendingOrder);
    EXPECT_EQ(column(model, 5), (QStringList { "5kb", "3kb", "1kb" }));

    controls.SEOSearchBox = QStringLiteral("melon");
    seo.SEOfilter();
    EXPECT_EQ(column(model, 1), (QStringList { "(2) Melon melon", "(1) Melon" }));
    controls.SEOSearchBox = QStringLiteral("durian");
    seo.SEOfilter();
    EXPECT_EQ(model.rowCount(), 0);
    // Back to every page, in the column's sort.
    controls.SEOSearchBox.clear();
    seo.SEOfilter();
    EXPECT_EQ(column(model, 5), (QStringList { "5kb", "3kb", "1kb" }));

    seo.getSEOTableView().addColumnWithTitle(QStringLiteral("Canonical"));
    EXPECT_EQ(model.columnCount(), 7);
    seo.getSEOTableView().removeColumnWithTitle(QStringLiteral("Content"));
    EXPECT_EQ(model.headerData(5, Qt::Horizontal).toString(), QStringLiteral("Canonical"));

    // SEO switched off: the reload empties the table.
    controls.SEOEnabledCheckBox = CheckState::Off;
    seo.getSEOTableView().reloadData();
    EXPECT_EQ(model.rowCount(), 0);
    controls.SEOEnabledCheckBox = CheckState::On;
    seo.getSEOTableView().reloadData();
    EXPECT_EQ(model.rowCount(), 3);

    seo.clear();
    EXPECT_EQ(model.rowCount(), 0);
}

TEST_F(SeoModelsTest, TheDuplicatesModelFollowsTheSelection)
{
    admit("http://site.test/a", "Same", 1000);
    admit("http://site.test/b", "Same", 1000);
    admit("http://site.test/c", "Same", 1000);
    admit("http://site.test/d", "Other", 1000);
    DuplicatesModel model(seo);
    const auto fatal = QAbstractItemModelTester::FailureReportingMode::Fatal;
    QAbstractItemModelTester tester(&model, fatal);
    EXPECT_EQ(model.rowCount(), 0);
    EXPECT_EQ(model.columnCount(), 3);

    seo.SEOTableSelectionDidChange(1);
    EXPECT_EQ(column(model, 0), (QStringList { "http://site.test/a", "http://site.test/c" }));
    EXPECT_EQ(column(model, 2), (QStringList { "0kb", "0kb" }));
    seo.SEOTableSelectionDidChange(3);
    EXPECT_EQ(model.rowCount(), 0);
    seo.SEOTableSelectionDidChange(0);
    EXPECT_EQ(model.rowCount(), 2);
    seo.clear();
    EXPECT_EQ(model.rowCount(), 0);
}
