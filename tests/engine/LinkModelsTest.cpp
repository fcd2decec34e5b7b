// The outlines' item models over real crawls: the model checker watches them while records are
// added and change status, and their rows always match the hub's own view answers.
#include "HubTestSupport.h"

#include "FixtureServer.h"
#include "reports/ByLinkModel.h"
#include "reports/ByPageModel.h"
#include "common/UserDefaults.h"
#include "links/OrelOnPage.h"
#include "reports/LinkViews.h"

#include <QAbstractItemModelTester>
#include <QTemporaryDir>

using namespace orel;
using orel::test::HubTest;

namespace {

// Collects the model checker's failures, which it reports as warnings.
QStringList g_modelFailures;

void recordModelFailure(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (type != QtDebugMsg && qstrcmp(context.category, "qt.modeltest") == 0)
        g_modelFailures.append(text);
}

// A site of n pages, each linking home, to the next page and to a page that does not exist.
void writeSite(const QString &root, int n)
{
    QByteArray index;
    for (int i = 1; i <= n; ++i)
        index += "<a href=\"p" + QByteArray::number(i) + ".html\">page</a>";
    test::writeFile(root + "/index.html", index);
    for (int i = 1; i <= n; ++i)
        test::writeFile(root + "/p" + QString::number(i) + ".html",
                        "<a href=\"index.html\">home</a><a href=\"p" + QByteArray::number(i % n + 1)
                                + ".html\">next</a><a href=\"m" + QByteArray::number(i)
                                + ".html\">missing</a>");
}

class LinkModelsTest : public HubTest
{
protected:
    QtMessageHandler previousHandler = nullptr;

    void SetUp() override
    {
        HubTest::SetUp();
        g_modelFailures.clear();
        previousHandler = qInstallMessageHandler(recordModelFailure);
    }
    void TearDown() override { qInstallMessageHandler(previousHandler); }

    // The model's root rows are the hub's visible rows, in order.
    void expectRowsMatchHub(const ByLinkModel &model)
    {
        ASSERT_EQ(model.rowCount(),
                  hub->badLinksOnly() ? hub->countVisible(nullptr)
                                      : hub->countVisible(&hub->items()));
        for (int row = 0; row < model.rowCount(); ++row)
            ASSERT_EQ(model.recordAt(model.index(row, 0)), hub->getnthVisibleItem(row)) << row;
    }
};

} // namespace

TEST_F(LinkModelsTest, FollowsACrawlRowByRowAndMatchesTheViews)
{
    QTemporaryDir dir;
    writeSite(dir.path(), 20);
    test::FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());
    controls.numberOfThreads = 4;
    newHub();
    ByLinkModel model(hub->views());
    QAbstractItemModelTester tester(&model,
                                    QAbstractItemModelTester::FailureReportingMode::Warning);
    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);

    start(server.url("/index.html"), false);
    ASSERT_TRUE(runToEnd());
    // Records arrive as row inserts and status answers as changed rows, a batch at a time; the
    // model is reset only for whole-list changes (the new crawl, children shown at the end).
    EXPECT_GT(inserted.count(), 1);
    EXPECT_GT(changed.count(), 1);
    EXPECT_LE(resets.count(), 4);
    EXPECT_EQ(model.rowCount(), 41);
    expectRowsMatchHub(model);

    // Children appear once the crawl has finished: one per page the link is on.
    const QModelIndex home = model.index(0, 0);
    ASSERT_EQ(model.recordAt(home)->getLinkUrl(), server.url("/index.html"));
    EXPECT_EQ(model.rowCount(home), 20);
    EXPECT_EQ(model.data(model.index(3, 3, home)).toString(), model.recordAt(home)->onPageUrlAt(3));
    EXPECT_EQ(model.data(model.index(3, 0, home)).toString(), QString()); // the link's own column

    // Whole-list changes: bad links only, a search, a sort.
    hub->setBadLinksOnly(true);
    EXPECT_EQ(model.rowCount(), 20);
    expectRowsMatchHub(model);
    hub->setSearchText("m1");
    hub->filter();
    expectRowsMatchHub(model); // m1 and m10..m19
    EXPECT_EQ(model.rowCount(), 11);
    model.sort(1, Qt::DescendingOrder);
    expectRowsMatchHub(model);
    EXPECT_EQ(model.data(model.index(0, 1)).toString(), server.url("/m19.html"));
    EXPECT_TRUE(g_modelFailures.isEmpty()) << g_modelFailures.join('\n').toStdString();
}

TEST_F(LinkModelsTest, ARecheckedLinkThatWasFixedLeavesTheBadRows)
{
    QTemporaryDir dir;
    writeSite(dir.path(), 3);
    test::FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());
    controls.numberOfThreads = 2;
    ASSERT_TRUE(crawl(server.url("/index.html")));
    ByLinkModel model(hub->views());
    QAbstractItemModelTester tester(&model,
                                    QAbstractItemModelTester::FailureReportingMode::Warning);
    hub->setBadLinksOnly(true);
    ASSERT_EQ(model.rowCount(), 3);

    test::writeFile(dir.filePath("m2.html"), "now here");
    QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    hub->reCheckBadItems();
    ASSERT_TRUE(runToEnd());
    hub->views().flush();
    EXPECT_EQ(removed.count(), 1);
    EXPECT_EQ(model.rowCount(), 2);
    EXPECT_EQ(byUrl(server.url("/m2.html"))->getStatus(), "200 no error");
    expectRowsMatchHub(model);
    // Children hidden while the re-check ran and shown again at its end: two resets, no more.
    EXPECT_LE(resets.count(), 2);
    EXPECT_TRUE(g_modelFailures.isEmpty()) << g_modelFailures.join('\n').toStdString();
}

TEST_F(LinkModelsTest, ByPageFollowsTheCrawlAndShowsRepeatedLinksOnce)
{
    QTemporaryDir dir;
    writeSite(dir.path(), 12);
    // index.html links to p1.html a second time, first.
    QFile index(dir.filePath("index.html"));
    ASSERT_TRUE(index.open(QIODevice::ReadOnly));
    const QByteArray links = index.readAll();
    index.close();
    test::writeFile(dir.filePath("index.html"), "<a href=\"p1.html\">again</a>" + links);
    test::FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());
    controls.numberOfThreads = 4;
    newHub();
    ByPageModel model(hub->views());
    QAbstractItemModelTester tester(&model,
                                    QAbstractItemModelTester::FailureReportingMode::Warning);
    QSignalSpy layouts(&model, &QAbstractItemModel::layoutChanged);
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    start(server.url("/index.html"), false);
    ASSERT_TRUE(runToEnd());
    model.refresh();
    EXPECT_GE(layouts.count(), 1);
    EXPECT_LE(resets.count(), 4);

    // The pages in the index's own order, each with its links as the hub answers them.
    const auto expectPagesMatchHub = [&] {
        ASSERT_EQ(model.rowCount(), hub->countPagesWithVisibleItems());
        for (int row = 0; row < model.rowCount(); ++row) {
            const QModelIndex page = model.index(row, 0);
            const QString url = hub->getNthPageWithVisibleItems(row);
            ASSERT_EQ(model.pageAt(page), url);
            ASSERT_EQ(model.data(model.index(row, 1)).toString(), url);
            ASSERT_EQ(model.rowCount(page), hub->countVisibleItemsforThisPage(url));
            for (int c = 0; c < model.rowCount(page); ++c)
                ASSERT_EQ(model.occurrenceAt(model.index(c, 0, page)),
                          hub->getNthVisibleItemForPage(c, url));
        }
    };
    expectPagesMatchHub();
    EXPECT_EQ(model.rowCount(), 13);
    // p1.html twice on the start page: two children, at its first and second entry there.
    int homeRow = -1;
    for (int row = 0; row < model.rowCount(); ++row) {
        if (model.pageAt(model.index(row, 0)) == server.url("/index.html"))
            homeRow = row;
    }
    ASSERT_GE(homeRow, 0);
    const QModelIndex homePage = model.index(homeRow, 0);
    ASSERT_EQ(model.rowCount(homePage), 13);
    const OrelOnPage *first = model.occurrenceAt(model.index(0, 0, homePage));
    const OrelOnPage *second = model.occurrenceAt(model.index(1, 0, homePage));
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->getLcurl(), second->getLcurl());
    EXPECT_NE(first->getIndex(), second->getIndex());
    EXPECT_EQ(model.data(model.index(0, 2, homePage)).toString(), "again");

    hub->setBadLinksOnly(true); // the twelve pages with a missing link, one child each
    expectPagesMatchHub();
    EXPECT_EQ(model.rowCount(), 12);
    EXPECT_TRUE(g_modelFailures.isEmpty()) << g_modelFailures.join('\n').toStdString();
}

// Only the five optional columns come and go; the user defaults switch them at start.
TEST_F(LinkModelsTest, ByLinkColumnsByTitleAndFromTheDefaults)
{
    newHub();
    ByLinkModel model(hub->views());
    const auto titles = [&] {
        QStringList out;
        for (const TableColumn &c : model.columns())
            out.append(c.title + ':' + c.identifier);
        return out.join(' ');
    };
    const std::tuple<const char *, bool, const char *> steps[] = {
        { "Status", false,
          "Status:status URL:linkurl Link Text:linktext On Page / Number of "
          "Pages:onpageurl" },
        { "Link Text", false, "Status:status URL:linkurl On Page / Number of Pages:onpageurl" },
        { "Nofollow", true,
          "Status:status URL:linkurl On Page / Number of Pages:onpageurl "
          "Nofollow:nofollow" },
        { "Nofollow", true,
          "Status:status URL:linkurl On Page / Number of Pages:onpageurl "
          "Nofollow:nofollow" },
        { "URL", false,
          "Status:status URL:linkurl On Page / Number of Pages:onpageurl "
          "Nofollow:nofollow" },
    };
    for (const auto &[title, on, expected] : steps) {
        model.alterTableColumns(title, on);
        EXPECT_EQ(titles(), expected) << title;
    }
    EXPECT_EQ(model.columns().last().width, 100);

    UserDefaults::setValue("TilleryByLinkViewColsNofollow", false);
    UserDefaults::setValue("TilleryByLinkViewColsDistance", true);
    UserDefaults::setValue("TilleryByLinkViewColsStatus", false);
    model.applyColumnDefaults();
    EXPECT_EQ(titles(),
              "Status:status URL:linkurl On Page / Number of Pages:onpageurl "
              "Distance:distance");
    EXPECT_TRUE(g_modelFailures.isEmpty());
}

// The export menu by tab: the flat list's own exports, and no tab-delimited tree.
TEST_F(LinkModelsTest, ExportMenuByTab)
{
    pausedHub();
    read(addPage("http://site.test/index.html"), "<a href=\"a.html\">a</a>");
    hub->report().doReport(*hub);
    QTemporaryDir dir;
    test::dialogs().panelAnswers.enqueue(dir.filePath("flat.csv"));
    hub->exportAsCSVMenuItem("2");
    EXPECT_EQ(test::readFile(dir.filePath("flat.csv")), hub->report().flatCSVText().toUtf8());
    hub->exportAsTDLMenuItem("4");
    ASSERT_EQ(test::dialogs().countCalls("alert"), 1);
    EXPECT_EQ(test::dialogs().calls.last().title, "Export CSV");
    EXPECT_EQ(test::dialogs().countCalls("save"), 1);
}

namespace {

struct CountingView : TableDescription
{
    int reloads = 0;
    QString identifier() const override { return {}; }
    QList<TableColumn> columns() const override { return {}; }
    int numberOfRows() const override { return 0; }
    void reloadData() override { ++reloads; }
};

} // namespace

// While a crawl runs only the tab shown is reloaded, once per pass however many pages were read;
// the switch's label and image name what its next press does.
TEST_F(LinkModelsTest, ReloadsFollowTheTabAndTheSwitchNamesItsNextPress)
{
    CountingView table, byLink, byPage;
    pausedHub();
    hub->setTableView(&table);
    hub->setOutlineViews(&byLink, &byPage);
    const std::tuple<bool, const char *, int, int> cases[] = {
        // running, tab, by-link and table reloads, by-page reloads
        { true, "2", 0, 0 },
        { true, "1", 1, 0 },
        { true, "4", 0, 1 },
        { false, "4", 1, 1 },
    };
    for (const auto &[running, tab, linkReloads, pageReloads] : cases) {
        table.reloads = byLink.reloads = byPage.reloads = 0;
        if (running)
            hub->continueCrawl();
        else
            hub->stop();
        hub->setSelectedTab(tab);
        hub->reloadData();
        hub->reloadData();
        QCoreApplication::processEvents();
        EXPECT_EQ(byLink.reloads, linkReloads) << tab << running;
        EXPECT_EQ(table.reloads, linkReloads) << tab << running;
        EXPECT_EQ(byPage.reloads, pageReloads) << tab << running;
    }
    hub->setTableView(nullptr);
    hub->setOutlineViews(nullptr, nullptr);

    EXPECT_EQ(hub->views().showHideGoodLinksImage(), "badLinksImage");
    EXPECT_EQ(hub->showHideGoodLinks(), "Show all links");
    EXPECT_EQ(hub->views().showHideGoodLinksImage(), "showAllImage");
    EXPECT_EQ(hub->showHideGoodLinks(), "Bad links only");
}
