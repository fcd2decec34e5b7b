// The by-link outline's item model over real crawls: the model checker watches it while records
// are added and change status, and its rows always match the hub's own view answers.
#include "HubTestSupport.h"

#include "FixtureServer.h"
#include "reports/ByLinkModel.h"
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

class ByLinkModelTest : public HubTest
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

TEST_F(ByLinkModelTest, FollowsACrawlRowByRowAndMatchesTheViews)
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

TEST_F(ByLinkModelTest, ARecheckedLinkThatWasFixedLeavesTheBadRows)
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
