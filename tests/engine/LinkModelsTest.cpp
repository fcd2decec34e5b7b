// The outlines' item models over a real crawl: the model checker watches both while records are
// added and change status, and their rows always match the hub's own view answers.
#include "HubTestSupport.h"

#include "FixtureServer.h"
#include "common/UserDefaults.h"
#include "reports/ByLinkModel.h"
#include "reports/ByPageModel.h"
#include "reports/FlatListModel.h"
#include "reports/LinkVerdict.h"
#include "reports/LinkViews.h"

#include <QAbstractItemModelTester>
#include <QTemporaryDir>

using namespace orel;
using orel::test::HubTest;

namespace {

// A view that counts its reloads.
struct CountingView : TableDescription
{
    int reloads = 0;
    QString identifier() const override { return {}; }
    QList<TableColumn> columns() const override { return {}; }
    int numberOfRows() const override { return 0; }
    void reloadData() override { ++reloads; }
};

class LinkModelsTest : public HubTest
{
protected:
    // The by-link root rows are the hub's visible rows, in order.
    void expectLinksMatchHub(const ByLinkModel &model)
    {
        ASSERT_EQ(model.rowCount(),
                  hub->badLinksOnly() ? hub->countVisible(nullptr)
                                      : hub->countVisible(&hub->items()));
        for (int row = 0; row < model.rowCount(); ++row)
            ASSERT_EQ(model.recordAt(model.index(row, 0)), hub->getnthVisibleItem(row)) << row;
    }

    // The by-page roots are the pages in the index's own order, each with its links as the hub
    // answers them.
    void expectPagesMatchHub(const ByPageModel &model)
    {
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
    }
};

} // namespace

// Twenty pages, each linking home, to the next page and to a page that does not exist; the start
// page links p1.html twice.
TEST_F(LinkModelsTest, BothOutlinesFollowACrawlAndARecheck)
{
    QTemporaryDir dir;
    QByteArray index = "<a href=\"p1.html\">again</a>";
    for (int i = 1; i <= 20; ++i) {
        const QByteArray n = QByteArray::number(i), next = QByteArray::number(i % 20 + 1);
        index += "<a href=\"p" + n + ".html\">page</a>";
        test::writeFile(dir.filePath(QString("p%1.html").arg(i)),
                        "<a href=\"index.html\">home</a><a href=\"p" + next
                                + ".html\">next</a><a href=\"m" + n + ".html\">missing</a>");
    }
    test::writeFile(dir.filePath("index.html"), index);
    test::FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());
    controls.numberOfThreads = 4;
    newHub();
    ByLinkModel byLink(hub->views());
    ByPageModel byPage(hub->views());
    const auto fatal = QAbstractItemModelTester::FailureReportingMode::Fatal;
    QAbstractItemModelTester linkTester(&byLink, fatal), pageTester(&byPage, fatal);
    QSignalSpy inserted(&byLink, &QAbstractItemModel::rowsInserted);
    QSignalSpy changed(&byLink, &QAbstractItemModel::dataChanged);
    QSignalSpy resets(&byLink, &QAbstractItemModel::modelReset);
    QSignalSpy layouts(&byPage, &QAbstractItemModel::layoutChanged);
    start(server.url("/index.html"), false);
    ASSERT_TRUE(runToEnd());
    byPage.refresh();
    // Records arrive as row inserts and status answers as changed rows, a batch at a time; the
    // by-page roots change as layouts. Resets are only for whole-list changes (the new crawl,
    // children shown at the end).
    EXPECT_GT(inserted.count(), 1);
    EXPECT_GT(changed.count(), 1);
    EXPECT_LE(resets.count(), 4);
    EXPECT_GE(layouts.count(), 1);
    EXPECT_EQ(byLink.rowCount(), 41);
    expectLinksMatchHub(byLink);
    EXPECT_EQ(byPage.rowCount(), 21);
    expectPagesMatchHub(byPage);

    // Children appear once the crawl has finished: one per page the link is on.
    const QModelIndex home = byLink.index(0, 0);
    ASSERT_EQ(byLink.recordAt(home)->getLinkUrl(), server.url("/index.html"));
    EXPECT_EQ(byLink.rowCount(home), 20);
    EXPECT_EQ(byLink.data(byLink.index(3, 3, home)).toString(),
              byLink.recordAt(home)->onPageUrlAt(3));
    EXPECT_EQ(byLink.data(byLink.index(3, 0, home)).toString(), QString()); // the link's column
    // p1.html twice on the start page gives two children (as the hub answers them, above).
    const QModelIndex homePage =
            byPage.match(byPage.index(0, 1), Qt::DisplayRole, server.url("/index.html"))
                    .value(0)
                    .siblingAtColumn(0);
    ASSERT_EQ(byPage.rowCount(homePage), 21);
    EXPECT_EQ(byPage.data(byPage.index(0, 2, homePage)).toString(), "again");

    // Whole-list changes: bad links only, a search, a sort.
    hub->setBadLinksOnly(true);
    EXPECT_EQ(byLink.rowCount(), 20);
    expectLinksMatchHub(byLink);
    EXPECT_EQ(byPage.rowCount(), 20); // the pages with a missing link, one child each
    expectPagesMatchHub(byPage);
    hub->setSearchText("m1");
    hub->filter();
    EXPECT_EQ(byLink.rowCount(), 11); // m1 and m10..m19
    expectLinksMatchHub(byLink);
    hub->setBadLinksOnly(false); // the search alone hides links of the pages
    expectPagesMatchHub(byPage);
    hub->setBadLinksOnly(true);
    byLink.sort(1, Qt::DescendingOrder);
    expectLinksMatchHub(byLink);
    EXPECT_EQ(byLink.data(byLink.index(0, 1)).toString(), server.url("/m19.html"));

    // A re-checked link that was fixed leaves the bad rows; children are hidden while the
    // re-check runs and shown again at its end: two resets, no more.
    hub->setSearchText("");
    hub->filter();
    test::writeFile(dir.filePath("m2.html"), "now here");
    QSignalSpy removed(&byLink, &QAbstractItemModel::rowsRemoved);
    resets.clear();
    hub->reCheckBadItems();
    ASSERT_TRUE(runToEnd());
    hub->views().flush();
    EXPECT_EQ(removed.count(), 1);
    EXPECT_LE(resets.count(), 2);
    EXPECT_EQ(byUrl(server.url("/m2.html"))->getStatus(), "200 no error");
    EXPECT_EQ(byLink.rowCount(), 19);
    expectLinksMatchHub(byLink);
    byPage.refresh();
    EXPECT_EQ(byPage.rowCount(), 19);
    expectPagesMatchHub(byPage);
}

// Only the five optional columns come and go; the user defaults switch them at start.
TEST_F(LinkModelsTest, ByLinkColumnsByTitleAndFromTheDefaults)
{
    newHub();
    ByLinkModel model(hub->views());
    const auto titles = [&] {
        QStringList out;
        for (const TableColumn &c : model.columns())
            out.append(c.title);
        return out.join(',');
    };
    const std::tuple<const char *, bool, const char *> steps[] = {
        { "Status", false, "Status,URL,Link Text,On Page / Number of Pages" },
        { "Link Text", false, "Status,URL,On Page / Number of Pages" },
        { "Nofollow", true, "Status,URL,On Page / Number of Pages,Nofollow" },
        { "Nofollow", true, "Status,URL,On Page / Number of Pages,Nofollow" },
        { "URL", false, "Status,URL,On Page / Number of Pages,Nofollow" },
    };
    for (const auto &[title, on, expected] : steps) {
        model.alterTableColumns(title, on);
        EXPECT_EQ(titles(), expected) << title;
    }
    UserDefaults::setValue("TilleryByLinkViewColsNofollow", false);
    UserDefaults::setValue("TilleryByLinkViewColsDistance", true);
    UserDefaults::setValue("TilleryByLinkViewColsStatus", false);
    model.applyColumnDefaults();
    EXPECT_EQ(titles(), "Status,URL,On Page / Number of Pages,Distance");
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

// Each model answers a link's verdict beside its colour: a refusal of the crawler reads
// "blocked", not "bad"; an unchecked link has none.
TEST_F(LinkModelsTest, ModelsAnswerEachLinksVerdict)
{
    QTemporaryDir dir;
    test::writeFile(dir.filePath("index.html"),
                    "<a href=\"/final\">f</a><a href=\"/status/404\">nf</a>"
                    "<a href=\"/respond?status=999\">refused</a>");
    test::FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());
    controls.qsButton = CheckState::Off;
    newHub();
    ByLinkModel byLink(hub->views());
    ByPageModel byPage(hub->views());
    QAbstractItemModelTester linkTester(&byLink);
    QAbstractItemModelTester pageTester(&byPage);
    ASSERT_TRUE(crawl(server.url("/index.html")));
    hub->report().doReport(*hub);
    FlatListModel flat(hub->report());
    QAbstractItemModelTester flatTester(&flat);

    const std::pair<const char *, const char *> expected[] = { { "/index.html", "good" },
                                                               { "/final", "good" },
                                                               { "/status/404", "bad" },
                                                               { "/respond?status=999",
                                                                 "blocked" } };
    for (const auto &[path, verdict] : expected) {
        const QString url = server.url(path);
        QStringList seen;
        for (int row = 0; row < byLink.rowCount(); ++row) {
            const QModelIndex i = byLink.index(row, 0);
            if (byLink.recordAt(i)->getLinkUrl() == url)
                seen << "link:" + byLink.data(i, VerdictRole).toString();
        }
        for (int row = 0; row < flat.rowCount(); ++row) {
            const QModelIndex i = flat.index(row, 0);
            if (hub->report().rowAt(row)->getLinkCheckerUrl()->getLinkUrl() == url)
                seen << "flat:" + flat.data(i, VerdictRole).toString();
        }
        for (int row = 0; row < byPage.rowCount(); ++row) {
            const QModelIndex page = byPage.index(row, 0);
            EXPECT_FALSE(byPage.data(page, VerdictRole).isValid()); // a page row is no link
            for (int c = 0; c < byPage.rowCount(page); ++c) {
                const QModelIndex i = byPage.index(c, 0, page);
                if (byPage.occurrenceAt(i)->getLcurl()->getLinkUrl() == url)
                    seen << "page:" + byPage.data(i, VerdictRole).toString();
            }
        }
        const QString v = QString::fromUtf8(verdict);
        const QStringList all = path == QByteArray("/index.html")
                ? QStringList { "link:" + v }
                : QStringList { "link:" + v, "flat:" + v, "page:" + v };
        EXPECT_EQ(seen, all) << path;
    }
    LinkCheckerUrl unchecked(nullptr);
    EXPECT_FALSE(linkVerdict(&unchecked).isValid());
}
