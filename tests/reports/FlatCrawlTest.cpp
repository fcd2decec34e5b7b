// The flat list over a real crawl: one item per occurrence and the bad collection, the filters,
// the build requested by the crawl at its end, and the item model kept consistent while the list
// is rebuilt, filtered, sorted and emptied by a new crawl.
#include "engine/HubTestSupport.h"

#include "FixtureServer.h"
#include "reports/FlatListModel.h"
#include "reports/OrelReportDataSource.h"

#include <QAbstractItemModelTester>
#include <QTemporaryDir>
#include <QThread>

using namespace orel;

namespace {

class FlatCrawlTest : public test::HubTest
{
protected:
    QTemporaryDir dir;
    std::unique_ptr<test::FixtureServer> server;
    std::unique_ptr<OrelReportDataSource> flat = std::make_unique<OrelReportDataSource>(&controls);

    // Two pages: the start page links a.html twice with two texts, an image, a broken link and
    // an outside page; a.html links back home, to the broken link (nofollow) and a missing image.
    void crawlSite()
    {
        server = std::make_unique<test::FixtureServer>(dir.path());
        ASSERT_TRUE(server->isRunning());
        const QByteArray port = QByteArray::number(server->port()); // "localhost" is another host
        test::writeFile(dir.filePath("index.html"),
                        QByteArray("<a href=\"a.html\">Alpha page</a><a href=\"a.html\">Alpha "
                                   "again</a><img src=\"logo.png\"><a href=\"/status/404\">gone</a>"
                                   "<a href=\"http://localhost:PORT/final\">outside</a>")
                                .replace("PORT", port));
        test::writeFile(dir.filePath("a.html"),
                        "<a href=\"index.html\">home</a><a href=\"/status/404\" rel=\"nofollow\">"
                        "gone again</a><img src=\"missing.png\">");
        test::writeFile(dir.filePath("logo.png"), "PNG");
        controls.numberOfThreads = 1;
        controls.imgButton = CheckState::On;
        controls.nofollowFlatColCheckbox = CheckState::On;
        ASSERT_TRUE(crawl(server->url("/index.html")));
    }

    // Items as "link@page:text" (the last path part of the link and of the page), joined by " | ".
    static std::string describe(const std::vector<OrelDataObject *> &items)
    {
        QStringList out;
        for (const OrelDataObject *item : items)
            out << QUrl(item->getFieldByName("linkurl")).fileName() + "@"
                            + QUrl(item->getFieldByName("onpageurl")).fileName() + ":"
                            + item->getFieldByName("linktext");
        return out.join(" | ").toStdString();
    }
    std::string shownRows() const
    {
        std::vector<OrelDataObject *> rows;
        for (int r = 0; r < flat->numberOfRows(); ++r)
            rows.push_back(flat->rowAt(r));
        return describe(rows);
    }
};

const char kAllItems[] = "index.html@a.html:home | a.html@index.html:Alpha page | "
                         "a.html@index.html:Alpha again | logo.png@index.html:[img src] | "
                         "404@index.html:gone | 404@a.html:gone again | final@index.html:outside | "
                         "missing.png@a.html:[img src]";
const char kBadItems[] =
        "404@index.html:gone | 404@a.html:gone again | missing.png@a.html:[img src]";

} // namespace

// Every occurrence of every record, in collection order, and the items of bad records in the bad
// collection; then the rows that the search (of the occurrence's link text, the status or the
// URL), the link-type filter and bad links only leave.
TEST_F(FlatCrawlTest, OneItemPerOccurrenceAndTheRowsEachFilterLeaves)
{
    crawlSite();
    flat->doReport(*hub);
    EXPECT_EQ(describe(flat->items()), kAllItems);
    EXPECT_EQ(describe(flat->badCollection()), kBadItems);
    EXPECT_EQ(flat->items()[5]->getFieldByName("nofollow"), QStringLiteral("Yes"));
    EXPECT_EQ(flat->items()[4]->getFieldByName("nofollow"), QStringLiteral("No"));

    const std::tuple<const char *, int, bool, const char *> cases[] = {
        { "", 2, false,
          "index.html@a.html:home | a.html@index.html:Alpha page | a.html@index.html:Alpha again | "
          "logo.png@index.html:[img src] | 404@index.html:gone | 404@a.html:gone again | "
          "missing.png@a.html:[img src]" },
        { "", 4, false, "final@index.html:outside" },
        { "", 3, false, "logo.png@index.html:[img src] | missing.png@a.html:[img src]" },
        { "AGAIN", 1, false, "a.html@index.html:Alpha again | 404@a.html:gone again" },
        { "not found", 1, false, kBadItems },
        { "localhost", 1, false, "final@index.html:outside" },
        { "no such text", 1, false, "" },
        { "", 1, true, kBadItems },
        { "", 3, true, "missing.png@a.html:[img src]" },
        { "gone", 2, true, "404@index.html:gone | 404@a.html:gone again" },
    };
    for (const auto &[search, tag, badOnly, rows] : cases) {
        flat->filter(QString::fromUtf8(search), tag);
        flat->setBadLinksOnly(badOnly);
        EXPECT_EQ(shownRows(), rows) << search << " tag " << tag << (badOnly ? " bad only" : "");
    }
    EXPECT_EQ(flat->getnthVisibleItem(flat->numberOfRows()), nullptr);
}

// The crawl asks for the list at its end; the build runs on another thread and is put in place
// on the main thread. The item model (checked by Qt's model tester at every change) shows the
// rows, columns and colours of the list through filters, a sort, a re-check (a build asked for
// just before it is not shown) and a new crawl, which empties the list before its records go.
TEST_F(FlatCrawlTest, BuiltWhenTheCrawlAsksAndShownByTheItemModel)
{
    newHub();
    FlatListModel model(*flat);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QObject::connect(hub.get(), &LinkCheckerHub::reportRequested, flat.get(),
                     [this] { flat->requestReport(*hub); });
    QThread *deliveredOn = nullptr;
    QObject::connect(flat.get(), &OrelReportDataSource::reportReady, flat.get(),
                     [&deliveredOn] { deliveredOn = QThread::currentThread(); });
    QSignalSpy ready(flat.get(), &OrelReportDataSource::reportReady);
    controls.displayLabelButton = CheckState::On;
    const Colour red { 1, 0, 0, 1 };
    flat->setColourProvider([red](int colourClass) { return colourClass == 3 ? red : Colour {}; });
    crawlSite();
    ASSERT_TRUE(ready.count() == 1 || ready.wait(10000));
    EXPECT_EQ(deliveredOn, QThread::currentThread());
    EXPECT_EQ(shownRows(), kAllItems);
    EXPECT_EQ(model.rowCount(), 8);
    EXPECT_EQ(model.index(1, 3).data().toString(), QStringLiteral("Alpha page"));
    EXPECT_EQ(model.index(4, 0).data(Qt::BackgroundRole).value<Colour>(), red);
    EXPECT_FALSE(model.index(1, 0).data(Qt::BackgroundRole).isValid());

    flat->filter(QStringLiteral("again"), OrelReportDataSource::AllLinks);
    EXPECT_EQ(model.index(1, 3).data().toString(), QStringLiteral("gone again"));
    flat->setBadLinksOnly(true);
    EXPECT_EQ(model.rowCount(), 1);
    flat->filter(QString(), OrelReportDataSource::AllLinks);
    EXPECT_EQ(model.rowCount(), 3);
    model.sort(3, Qt::DescendingOrder); // link text
    EXPECT_EQ(model.index(0, 3).data().toString(), QStringLiteral("gone again"));
    EXPECT_EQ(model.index(2, 3).data().toString(), QStringLiteral("[img src]"));
    flat->removeColumnWithTitle(QStringLiteral("Status"));
    flat->addColumnWithTitle(QStringLiteral("Nofollow"));
    EXPECT_EQ(model.headerData(4, Qt::Horizontal).toString(), QStringLiteral("Nofollow"));
    EXPECT_EQ(model.index(0, 4).data().toString(), QStringLiteral("Yes"));

    const std::string sorted = shownRows();
    flat->requestReport(*hub);
    hub->reCheckBadItems();
    EXPECT_FALSE(flat->isBuilding());
    EXPECT_EQ(shownRows(), sorted);
    ready.clear();
    ASSERT_TRUE(runToEnd());
    ASSERT_TRUE(ready.count() > 0 || ready.wait(10000));
    EXPECT_EQ(model.rowCount(), 3); // bad links only is still on

    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
    start(server->url("/index.html"), false);
    EXPECT_GT(resets.count(), 0);
    EXPECT_EQ(model.rowCount(), 0);
    EXPECT_TRUE(flat->badCollection().empty());
    ready.clear();
    ASSERT_TRUE(runToEnd());
    ASSERT_TRUE(ready.count() > 0 || ready.wait(10000));
    EXPECT_EQ(model.rowCount(), 3);
}
