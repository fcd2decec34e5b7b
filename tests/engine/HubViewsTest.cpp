// The hub's views and exports: the rows and outlines each filter shows over a real crawl, and
// the exports, outline cells and colours over pages read by hand into a paused crawl.
#include "HubTestSupport.h"

#include "FixtureServer.h"
#include "common/Plist.h"
#include "links/OrelOnPage.h"
#include "reports/ByLinkModel.h"
#include "reports/LinkExports.h"
#include "reports/ModelOutline.h"

#include <QTemporaryDir>

using namespace orel;
using orel::test::HubTest;

// The rows of the link table, in order, and the by-page outline's pages (sorted here: the outline
// keeps the index's own order) with their children, after each search, link-type filter and
// bad-links-only switch.
TEST_F(HubTest, FiltersSearchAndBadLinksOnlyPickTheRows)
{
    QTemporaryDir dir;
    test::FixtureServer server(dir.path());
    ASSERT_TRUE(server.isRunning());
    const QByteArray port = QByteArray::number(server.port()); // "localhost" is another host
    test::writeFile(dir.filePath("index.html"),
                    QByteArray("<a href=\"a.html\">Alpha page</a><img src=\"logo.png\">"
                               "<a href=\"/status/404\">gone</a>"
                               "<a href=\"http://localhost:PORT/final\">outside</a>")
                            .replace("PORT", port));
    test::writeFile(
            dir.filePath("a.html"),
            "<a href=\"index.html\">home</a><img src=\"logo.png\"><img src=\"missing.png\">");
    test::writeFile(dir.filePath("logo.png"), "PNG");
    controls.numberOfThreads = 1;
    controls.imgButton = CheckState::On;
    ASSERT_TRUE(crawl(server.url("/index.html")));
    // Image sources are images, whether their fetch worked or not.
    for (const char *image : { "/logo.png", "/missing.png" })
        EXPECT_TRUE(byUrl(server.url(image))->getIsImage()) << image;
    EXPECT_FALSE(byUrl(server.url("/a.html"))->getIsImage());

    const auto name = [](const OrelDataObject *item) {
        return item ? QUrl(item->getFieldByName("linkurl")).fileName() : QStringLiteral("<none>");
    };
    const std::tuple<const char *, int, bool, const char *, const char *> cases[] = {
        { "", 0, false, "index.html a.html logo.png 404 final missing.png",
          "a.html: index.html logo.png missing.png|index.html: a.html logo.png 404 final" },
        { "", 2, false, "index.html a.html logo.png 404 missing.png",
          "a.html: index.html logo.png missing.png|index.html: a.html logo.png 404" },
        { "", 4, false, "final", "index.html: final" },
        { "", 3, false, "logo.png missing.png",
          "a.html: logo.png missing.png|index.html: logo.png" },
        { "alpha", 0, false, "a.html", "index.html: a.html" }, // the link text
        { "NOT FOUND", 0, false, "404 missing.png", "a.html: missing.png|index.html: 404" },
        { "no such text", 0, false, "", "" },
        { "", 3, true, "missing.png", "a.html: missing.png" },
        { "", 0, true, "404 missing.png", "a.html: missing.png|index.html: 404" },
    };
    for (const auto &[search, tag, badOnly, rows, pages] : cases) {
        hub->setSearchText(QString::fromUtf8(search));
        hub->setLinksFilterTag(tag);
        hub->filter();
        hub->setBadLinksOnly(badOnly);
        QStringList shown;
        const int count = hub->numberOfRowsInTableView(nullptr);
        for (int i = 0; i < count; ++i)
            shown << name(hub->getnthVisibleItem(i));
        EXPECT_EQ(hub->getnthVisibleItem(count), nullptr);
        QStringList outline;
        for (int n = 0, pageCount = hub->countPagesWithVisibleItems(); n < pageCount; ++n) {
            const QString page = hub->getNthPageWithVisibleItems(n);
            QStringList children;
            for (int c = 0; c < hub->countVisibleItemsforThisPage(page); ++c)
                children << name(hub->getNthVisibleItemForPage(c, page)->getLcurl());
            outline << QUrl(page).fileName() + ": " + children.join(' ');
        }
        outline.sort();
        const std::string row = std::string(search) + " tag " + std::to_string(tag);
        EXPECT_EQ(shown.join(' ').toStdString(), rows) << row << (badOnly ? " bad only" : "");
        EXPECT_EQ(outline.join('|').toStdString(), pages) << row << (badOnly ? " bad only" : "");
    }
    // Bad links only is on now; the label names what the next press does.
    EXPECT_EQ(hub->showHideGoodLinks(), QStringLiteral("Bad links only"));
    EXPECT_EQ(hub->numberOfRowsInTableView(nullptr), 6);
    EXPECT_EQ(hub->showHideGoodLinks(), QStringLiteral("Show all links"));
    EXPECT_EQ(name(hub->getnthVisibleItem(1)), QStringLiteral("missing.png"));
}

TEST_F(HubTest, ExportsOfTheTable)
{
    pausedHub();
    LinkCheckerUrl *home = addPage(QStringLiteral("http://site.test/index.html"));
    read(home, "<a href=\"a.html\">A \"quoted\"</a><a href=\"http://other.test/\">out</a>");
    LinkCheckerUrl *a = byUrl(QStringLiteral("http://site.test/a.html"));
    ASSERT_NE(a, nullptr);
    read(a, "<a href=\"index.html\">home</a><a href=\"b.html\">b</a>");
    byUrl(QStringLiteral("http://other.test/"))->setStatus(QStringLiteral("404 not found"));
    byUrl(QStringLiteral("http://site.test/b.html"))->setStatus(QStringLiteral("200 no error"));
    hub->countBadCollection();

    // No view: the flat list's default columns. Values are written as they are (a quote too).
    const QStringList csv = hub->csvText().split('\r', Qt::SkipEmptyParts);
    ASSERT_EQ(csv.size(), 6); // header, the start file, index, a, other, b
    EXPECT_EQ(csv.at(0), "\"Status\",\"URL\",\"Redirected To\",\"Link Text\",\"On Page\"");
    EXPECT_EQ(csv.at(3),
              "\"200 no error\",\"http://site.test/a.html\",\"\",\"A \"quoted\"\","
              "\"http://site.test/index.html\"");
    EXPECT_EQ(hub->tdlText().split('\r').at(3), QString(csv.at(3)).replace("\",\"", "\"\t\""));
    // The flat form: one line per page a link is on; the start file and index are on no page
    // but index is on a.html.
    EXPECT_EQ(hub->flatCsvText().split('\r', Qt::SkipEmptyParts).size(), 5);

    const QString text = hub->plainText();
    EXPECT_TRUE(text.startsWith("Data Export from Orrelwick\r" + QString(26, '=') + "\r\r"));
    EXPECT_TRUE(text.contains("On Page(s): http://site.test/index.html  \r"));
    const QString html = hub->htmlText();
    EXPECT_TRUE(
            html.startsWith("<html><head><title>Data Export from Kestovan</title><body><style>"));
    EXPECT_TRUE(html.contains("<a href=\"http://site.test/a.html\" target=\"_blank\">"));

    // Internal pages only; "clean" draws a page as a target only before it has its own node.
    const QString graph = "digraph \"file:///orrelwick-no-such-start.html\" {\r";
    EXPECT_EQ(hub->dotText(1000, false, true),
              graph
                      + "\"/index.html\" -> \"/a.html\" [color=red];\r"
                        "\"/a.html\" -> \"/index.html\" [color=orange];\r"
                        "\"/a.html\" -> \"/b.html\" [color=orange];\r}");
    EXPECT_EQ(hub->dotText(1000, true, false),
              graph + "\"/index.html\" -> \"/a.html\";\r\"/a.html\" -> \"/b.html\";\r}");
    EXPECT_EQ(hub->dotText(0, false, false), QStringLiteral("digraph \"\" {\r}"));
    // A page redirected to a drawn page is drawn as that page, as a node and as a target.
    byUrl(QStringLiteral("http://site.test/b.html"))
            ->setRedir(QStringLiteral("http://site.test/index.html"));
    EXPECT_EQ(hub->dotText(1000, true, false), graph + "\"/index.html\" -> \"/a.html\";\r}");
    EXPECT_EQ(hub->dotText(1000, false, false),
              graph
                      + "\"/index.html\" -> \"/a.html\";\r\"/a.html\" -> \"/index.html\";\r"
                        "\"/a.html\" -> \"/index.html\";\r\"/index.html\" -> \"/a.html\";\r}");

    // Writing goes through the save panel; cancelling writes nothing.
    QTemporaryDir dir;
    test::dialogs().panelAnswers.enqueue(dir.filePath("out.dot"));
    hub->exportAsDot(1000, true, false);
    hub->exportAsCSV(); // no answer queued: cancelled
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList { "out.dot" });
    EXPECT_EQ(test::readFile(dir.filePath("out.dot")), hub->dotText(1000, true, false).toUtf8());
}

// The outline exports over the by-link model, and failed writes.
TEST_F(HubTest, OutlineExportsAndFailedWrites)
{
    pausedHub();
    LinkCheckerUrl *home = addPage(QStringLiteral("http://site.test/index.html"));
    read(home, "<a href=\"a.html\">to a</a><a href=\"a.html\">a again</a>");
    read(byUrl(QStringLiteral("http://site.test/a.html")), "<a href=\"index.html\">home</a>");
    ByLinkModel model(hub->views());
    hub->views().flush(); // the links read reach the model
    ModelOutline outline(model, model.columns());
    const QStringList csv = LinkExports::outlineCsvText(outline).split('\r');
    ASSERT_EQ(csv.size(), 8) << csv.join('|').toStdString(); // header, 3 links, 3 children, ""
    EXPECT_EQ(csv.at(0), "\"Status\",\"URL\",\"Link Text\",\"On Page / Number of Pages\"");
    EXPECT_EQ(csv.at(4).toStdString(),
              "\"200 no error\",\"http://site.test/a.html\",\"\","
              "\"2 occurrences over more than one page\"");
    EXPECT_EQ(csv.at(5), "\"\t\",\"\",\"to a\",\"http://site.test/index.html\"");
    const QString html = LinkExports::outlineHtmlText(outline);
    EXPECT_TRUE(html.contains("td.alt{background:#f0f0ff;} p{font-family:arial,sans-serif;}</style>"
                              "<table><tr><table><tr><th class = status>Status</th>"));
    EXPECT_TRUE(html.endsWith("</table><br /></body></head></html>"));

    // A folder where the file should go, or a name too long: the write fails.
    QTemporaryDir dir;
    ASSERT_TRUE(QDir(dir.path()).mkpath("taken.csv"));
    EXPECT_FALSE(LinkExports::writeExport(dir.filePath("taken.csv"), "x"));
    EXPECT_FALSE(LinkExports::writeExport(dir.filePath(QString(300, 'n')), "x"));
    EXPECT_TRUE(QFileInfo(dir.filePath("taken.csv")).isDir());
}

TEST_F(HubTest, OutlinesOpenOnlyOncePausedAndFollowEachOccurrence)
{
    start(QStringLiteral("file:///orrelwick-no-such-start.html")); // running: outlines stay closed
    LinkCheckerUrl *page = addPage(QStringLiteral("http://site.test/p.html"));
    read(page, "<a href=\"x.html\">first</a><a href=\"y.html\">y</a><a href=\"x.html\">second</a>");
    LinkCheckerUrl *x = byUrl(QStringLiteral("http://site.test/x.html"));
    ASSERT_NE(x, nullptr);
    const QString p = page->getActualLinkUrl();
    EXPECT_EQ(hub->numberOfOccurrences(x), 0);
    EXPECT_EQ(hub->countVisibleItemsforThisPage(p), 0);
    hub->stop();
    EXPECT_EQ(hub->numberOfOccurrences(x), 2);
    EXPECT_EQ(hub->occurrence(x, 1), hub->occurrence(x, 1)); // one pairing per occurrence
    EXPECT_EQ(hub->countVisibleItemsforThisPage(p), 3);
    // The second x under the page is x's second entry for it.
    OrelOnPage *third = hub->getNthVisibleItemForPage(2, p);
    ASSERT_NE(third, nullptr);
    EXPECT_EQ(third->getLcurl(), x);
    EXPECT_EQ(third->getIndex(), 1);
    EXPECT_EQ(third->getFieldByName(QStringLiteral("linktext")), QStringLiteral("second"));
    // Cells: a link row has no link text, an occurrence row no URL, a page row only its URL.
    const QStringList cells { LinkCheckerHub::byLinkValue(x, "linktext"),
                              LinkCheckerHub::byLinkValue(x, "linkurl"),
                              LinkCheckerHub::byLinkValue(third, "linkurl"),
                              LinkCheckerHub::byLinkValue(third, "onpageurl"),
                              LinkCheckerHub::byPageValue(p, "linkurl"),
                              LinkCheckerHub::byPageValue(p, "status") };
    EXPECT_EQ(cells, (QStringList { "", x->getLinkUrl(), "", p, p, "" }));

    EXPECT_EQ(hub->getNthPageWithVisibleItems(0), QString()); // before the first count
    // Bad links only, and there are none: no row at all.
    hub->setBadLinksOnly(true);
    EXPECT_EQ(hub->getnthVisibleItem(0), nullptr);

    // Row colours by class; off when rows are not coloured.
    x->setStatus(QStringLiteral("404 not found"));
    hub->setClassColour(3, Colour { 1, 0, 0, 1 });
    EXPECT_EQ(hub->rowColour(x), (Colour { 1, 0, 0, 1 }));
    EXPECT_FALSE(hub->rowColour(page).has_value());
    controls.displayLabelButton = CheckState::Off;
    EXPECT_FALSE(hub->rowColour(x).has_value());
}

TEST_F(HubTest, SavedLinkListsLoad)
{
    QTemporaryDir dir;
    const QVariantMap one { { "linkUrl", "http://site.test/a.html" },
                            { "status", "404 not found" },
                            { "redir", "http://site.test/b.html" },
                            { "isHTML", "yes" },
                            { "isInternal", "YES" } };
    const QVariantMap two { { "linkUrl", "http://site.test/a.html" }, { "isHTML", "YES" } };
    const QString path = dir.filePath("links.plist");
    ASSERT_TRUE(Plist::writeFile(path,
                                 QVariantMap { { "linkcheckerUrls", QVariantList { one, two } } }));
    newHub();
    test::dialogs().panelAnswers.enqueue(path);
    test::LogCapture logs;
    hub->readDatabase();
    EXPECT_TRUE(logs.contains(QStringLiteral("OK button")));
    ASSERT_EQ(hub->recordCount(), 2); // the same URL twice: loaded records are not merged
    LinkCheckerUrl *a = hub->recordAt(0);
    EXPECT_EQ(a->getStatus(), QStringLiteral("404 not found"));
    EXPECT_EQ(a->getTimestamp(), QStringLiteral("http://site.test/b.html"));
    EXPECT_EQ(a->getActualLinkUrl(), QStringLiteral("http://site.test/b.html"));
    // Only exactly "YES" counts.
    EXPECT_EQ(QList<bool>({ a->getIsHTML(), a->isInternal(), hub->recordAt(1)->getIsHTML(),
                            hub->recordAt(1)->isInternal() }),
              QList<bool>({ false, true, true, false }));
    EXPECT_EQ(hub->weHaveThisOneAlready("http://site.test/a.html", nullptr), nullptr);

    hub->readDatabase(); // cancelled
    EXPECT_TRUE(logs.contains(QStringLiteral("Not OK button")));
    EXPECT_EQ(hub->recordCount(), 2);
}
