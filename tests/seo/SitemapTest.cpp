// The sitemap of a real crawl: which pages go in, the exact XML text with priorities by
// distance and by rule, change frequencies, the escaping of "&", the user's sort, the schema,
// and where the file is written.
#include "engine/HubTestSupport.h"

#include "Consumers.h"
#include "FixtureServer.h"
#include "common/AppSupport.h"
#include "seo/SEOManager.h"
#include "seo/SitemapTable.h"

#include <QDateTime>
#include <QLocale>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>

using namespace orel;
using orel::test::dialogs;
using orel::test::readFile;
using orel::test::writeFile;

namespace {

QByteArray page(const char *title, const QByteArray &body = {})
{
    return "<html><head><title>" + QByteArray(title) + "</title></head><body>" + body
            + "</body></html>";
}

// A site with pages at distances 0 to 7 and, linked from the start page, everything a sitemap
// must leave out: a missing page, an image, a PDF, an external page, a page marked noindex and
// a page whose canonical URL is elsewhere (set after the crawl: the crawl records none).
void writeSite(const QString &root, quint16 port)
{
    const QByteArray external = "http://localhost:" + QByteArray::number(port) + "/ext.html";
    writeFile(root + "/index.html",
              page("Home",
                   "<a href=\"a.html\">A</a><a href=\"q.html?x=1&y=2\">Q</a>"
                   "<a href=\"amp.html?p=1&amp;amp;q=2\">Amp</a><a href=\"missing.html\">M</a>"
                   "<img src=\"pic.png\"><a href=\"doc.pdf\">PDF</a><a href=\""
                           + external
                           + "\">Ext</a><a href=\"canon.html\">C</a>"
                             "<a href=\"blog/post.html\">Post</a>"
                             "<a href=\"BLOG/archive/old.html\">Old</a>"
                             "<a href=\"hidden.html\">H</a>"));
    writeFile(root + "/a.html", page("A", "<a href=\"l2.html\">2</a>"));
    for (int level = 2; level < 7; ++level) {
        writeFile(root + QStringLiteral("/l%1.html").arg(level),
                  page("L", "<a href=\"l" + QByteArray::number(level + 1) + ".html\">n</a>"));
    }
    writeFile(root + "/l7.html", page("Seven"));
    for (const char *name : { "q.html", "amp.html", "canon.html", "blog/post.html",
                              "BLOG/archive/old.html", "ext.html" })
        writeFile(root + "/" + name, page("Plain"));
    writeFile(root + "/hidden.html",
              "<html><head><meta name=\"robots\" content=\"noindex\"><title>H</title></head>"
              "</html>");
    writeFile(root + "/pic.png", "\x89PNG\r\n\x1a\n");
    writeFile(root + "/doc.pdf", "%PDF-1.4\n%%EOF\n");
}

QString urlBlock(const QString &loc, const QString &changefreq, const QString &priority)
{
    QString out = "\t<url>\n\t\t<loc>" + loc + "</loc>\n";
    if (!changefreq.isNull())
        out += "\t\t<changefreq>" + changefreq + "</changefreq>\n";
    if (!priority.isNull())
        out += "\t\t<priority>" + priority + "</priority>\n";
    return out + "\t</url>\n";
}

QString head(const QDateTime &when)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<urlset xmlns=\"http://www.sitemaps.org/schemas/sitemap/0.9\">\n"
           "<!-- created with Kestovan from https://orrelwick.org on "
            + QLocale().toString(when, QLocale::LongFormat) + "-->\n\n";
}

class SitemapTest : public orel::test::HubTest
{
protected:
    QTemporaryDir site;
    std::unique_ptr<orel::test::FixtureServer> server;
    QString base; // "http://127.0.0.1:<port>/"
    const QDateTime when { QDate(2026, 3, 1), QTime(12, 0) };

    SEOManager &seo() { return *hub->seoManager(); }

    // Crawls the site with the query kept, images checked, robots respected, one fetch at a
    // time (a fixed order of admission) and two sitemap rules.
    void crawlSite()
    {
        server = std::make_unique<orel::test::FixtureServer>(orel::test::FixtureServer::Plain,
                                                             site.path());
        ASSERT_TRUE(server->isRunning()) << "the fixture HTTP server did not start";
        writeSite(site.path(), server->port());
        base = server->url("/");
        controls.qsButton = CheckState::Off;
        controls.imgButton = CheckState::On;
        controls.robotsCheckBox = CheckState::On;
        controls.numberOfThreads = 1;
        controls.sitemapChangeFrequency = 4; // weekly
        manager.addSitemapRule();
        manager.setSitemapRuleValue(0, "contains", "blog");
        manager.setSitemapRuleValue(0, "priority", "0.9");
        manager.setSitemapRuleValue(0, "update", "daily");
        manager.addSitemapRule(); // later and longer: wins where both apply
        manager.setSitemapRuleValue(1, "contains", "blog/archive");
        manager.setSitemapRuleValue(1, "priority", "0.1");
        manager.setSitemapRuleValue(1, "update", "monthly");
        ASSERT_TRUE(crawl(base + "index.html"));
        LinkCheckerUrl *canon = byUrl(base + "canon.html");
        ASSERT_TRUE(canon);
        canon->setCanonical(base + "index.html");
        seo().clearSitemapCollection();
    }

    QString expectedText(const QString &weekly, const QString &daily, const QString &monthly,
                         bool priorities)
    {
        auto p = [&](const char *value) { return priorities ? QString(value) : QString(); };
        QString text = head(when) + urlBlock(base + "index.html", weekly, p("1.0"))
                + urlBlock(base + "a.html", weekly, p("0.5"))
                + urlBlock(base + "q.html?x=1&amp;y=2", weekly, p("0.5"))
                + urlBlock(base + "amp.html?p=1&amp;amp;q=2", weekly, p("0.5"))
                + urlBlock(base + "blog/post.html", daily, p("0.9"))
                + urlBlock(base + "BLOG/archive/old.html", monthly, p("0.1"))
                + urlBlock(base + "l2.html", weekly, p("0.3"));
        for (int level = 3; level <= 7; ++level)
            text += urlBlock(base + QStringLiteral("l%1.html").arg(level), weekly, p("0.2"));
        return text + "</urlset>";
    }
};

} // namespace

TEST_F(SitemapTest, ACrawlGivesTheExactTextAndLeavesOutWhatIsNoPage)
{
    crawlSite();
    // Everything left out was crawled: the sitemap chose to leave it out.
    for (const char *excluded : { "missing.html", "pic.png", "doc.pdf", "hidden.html" })
        EXPECT_TRUE(byUrl(base + excluded)) << excluded;
    EXPECT_EQ(byUrl(base + "missing.html")->getStatus(), QStringLiteral("404 not found"));
    EXPECT_TRUE(hub->getLinkCheckerUrlWithUrl(
            QStringLiteral("http://localhost:%1/ext.html").arg(server->port())));

    EXPECT_EQ(seo().sitemapXML(when), expectedText("weekly", "daily", "monthly", true));

    // Change frequency "none" writes no changefreq, priority "None" no priority, rule or not.
    controls.sitemapChangeFrequency = 0;
    controls.sitemapPriority = QStringLiteral("None");
    EXPECT_EQ(seo().sitemapXML(when), expectedText({}, {}, {}, false));

    // Another word of the pop-up is written for every page that has a frequency at all; the
    // word stored with the page is not what is written.
    controls.sitemapChangeFrequency = 7;
    controls.sitemapPriority = QStringLiteral("Automatic");
    byUrl(base + "a.html")->setChangeFrequency(QStringLiteral("hourly"));
    byUrl(base + "l2.html")->setChangeFrequency(QString());
    QString expected = expectedText("never", "daily", "monthly", true);
    expected.replace(urlBlock(base + "l2.html", "never", "0.3"),
                     urlBlock(base + "l2.html", "", "0.3"));
    EXPECT_EQ(seo().sitemapXML(when), expected);

    // Every page takes its rule's word or the pop-up's again.
    seo().updateChangeFrequencies();
    EXPECT_EQ(byUrl(base + "l2.html")->getChangeFrequency(), QStringLiteral("never"));
    EXPECT_EQ(byUrl(base + "a.html")->getChangeFrequency(), QStringLiteral("never"));
    EXPECT_EQ(byUrl(base + "BLOG/archive/old.html")->getChangeFrequency(),
              QStringLiteral("monthly"));
}

TEST_F(SitemapTest, BlacklistedPagesAndTheUsersSortShapeTheCollection)
{
    crawlSite();
    const int all = seo().getSitemapCollectionCount();
    ASSERT_EQ(all, 12);
    byUrl(base + "l7.html")->setIsBlacklisted(true);
    // The collection is kept until a page is admitted, the results clear or a column is clicked.
    controls.xmlNoBlacklisted = CheckState::On;
    EXPECT_EQ(seo().getSitemapCollectionCount(), all);
    SitemapTable &table = seo().builtInSitemapTable();
    QSignalSpy reloads(&seo(), &SEOManager::sitemapChanged);
    table.setSortDescriptor(SortDescriptor { QStringLiteral("distancefromhome"), false });
    EXPECT_EQ(reloads.size(), 1);
    EXPECT_EQ(table.numberOfRows(), all - 1);
    QStringList order;
    for (LinkCheckerUrl *p : seo().getSitemapCollection())
        order << p->getActualLinkUrl().mid(base.size());
    // Deepest first; pages of equal distance keep their order of admission.
    EXPECT_EQ(order,
              (QStringList { "l6.html", "l5.html", "l4.html", "l3.html", "l2.html", "a.html",
                             "q.html?x=1&y=2", "amp.html?p=1&amp;q=2", "blog/post.html",
                             "BLOG/archive/old.html", "index.html" }));
    // A text column ignores case.
    table.setSortDescriptor(SortDescriptor { QStringLiteral("actualurl"), true });
    EXPECT_EQ(seo().getSitemapCollection().at(2)->getActualLinkUrl(),
              base + "BLOG/archive/old.html");
    controls.xmlNoBlacklisted = CheckState::Off;
    seo().clear();
    EXPECT_EQ(seo().getSitemapCollectionCount(), 0);
}

TEST_F(SitemapTest, TheWrittenFileValidatesAgainstTheSitemapSchema)
{
    crawlSite();
    QTemporaryDir out;
    const QString path = out.filePath("sitemap.xml");
    ASSERT_TRUE(seo().writeXML(path));
    EXPECT_EQ(seo().getSitemapLocation(), path);
    const QByteArray written = readFile(path);
    EXPECT_FALSE(written.endsWith('\n'));
    EXPECT_TRUE(written.startsWith(head(QDateTime()).left(100).toUtf8()));
    EXPECT_TRUE(orel::test::validAgainst("sitemap-0.9.xsd", path));

    // The schema is no formality: a change frequency outside its words fails it.
    writeFile(path, QByteArray(written).replace("weekly", "sometimes"));
    EXPECT_FALSE(orel::test::validAgainst("sitemap-0.9.xsd", path));
}

TEST_F(SitemapTest, TheFileGoesWhereTheUserSaysOrToTheTemporaryFolder)
{
    crawlSite();
    QTemporaryDir out;
    manager.setSitemapSaveDirectory(out.path());
    manager.setSitemapSaveFilename("map.xml");
    manager.setEdited(false);

    // A cancelled panel writes nothing and leaves no location.
    hub->exportXML();
    ASSERT_EQ(dialogs().countCalls("save"), 1);
    const auto &panel = dialogs().calls.last();
    EXPECT_EQ(panel.kind, "save");
    EXPECT_EQ(panel.title, "xml");
    EXPECT_EQ(panel.text, out.path());
    EXPECT_EQ(panel.buttons, QStringList { "map.xml" });
    EXPECT_TRUE(seo().getSitemapLocation().isEmpty());
    EXPECT_TRUE(QDir(out.path()).isEmpty());

    // The chosen file is written and remembered for the next time.
    QDir(out.path()).mkdir("elsewhere");
    const QString chosen = out.filePath("elsewhere/chosen.xml");
    dialogs().panelAnswers.enqueue(chosen);
    QSignalSpy closing(hub.get(), &LinkCheckerHub::sitemapWindowShouldClose);
    hub->exportXML();
    EXPECT_EQ(closing.count(), 1);
    EXPECT_EQ(seo().getSitemapLocation(), chosen);
    EXPECT_TRUE(readFile(chosen).endsWith("</urlset>"));
    EXPECT_EQ(manager.getSitemapSaveDirectory(), out.filePath("elsewhere"));
    EXPECT_EQ(manager.getSitemapSaveFilename(), "chosen.xml");
    EXPECT_TRUE(manager.isEdited());

    // For the upload: always "sitemap.xml", in a temporary folder emptied first.
    writeFile(AppSupport::tempFolder() + "/leftover.txt", "x");
    controls.sitemapOptions = 2;
    hub->exportXML();
    EXPECT_EQ(seo().getSitemapLocation(), AppSupport::tempFolder() + "/sitemap.xml");
    EXPECT_EQ(QDir(AppSupport::tempFolder()).entryList(QDir::Files), QStringList { "sitemap.xml" });
    EXPECT_EQ(dialogs().countCalls("save"), 2);

    // A file that cannot be written is logged with its reason.
    orel::test::LogCapture logs;
    EXPECT_FALSE(seo().writeXML(out.filePath("no/such/folder/sitemap.xml")));
    EXPECT_TRUE(logs.contains("Error writing xml: "));
    EXPECT_TRUE(logs.contains("\nSuggest: "));
}
