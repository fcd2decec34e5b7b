// Registry and link extraction: pages are read into a paused crawl by hand, so every rule is
// checked without a network.
#include "HubTestSupport.h"

#include "common/AppSupport.h"
#include "common/Log.h"

using namespace orel;
using orel::test::HubTest;

namespace {

QByteArray anchor(const QByteArray &href, const QByteArray &text = "x")
{
    return "<a href=\"" + href + "\">" + text + "</a>\n";
}

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

} // namespace

TEST_F(HubTest, LookupNormalisesLikeTheRecordKey)
{
    const std::tuple<const char *, const char *, const char *, bool> cases[] = {
        { "qsButton=off", "http://h.test/a", "http:///h.test/a", true },
        { "qsButton=on", "http://h.test/a", "http://h.test/a?q=1#f", true },
        { "qsButton=off", "http://h.test/a", "http://h.test/a?q=1#f", false },
        { "qsButton=off", "http://h.test/a?q=1", "http://h.test/a?q=1#f", true },
        { "qsButton=off;slashButton=on", "http://h.test/a", "http://h.test/a/", true },
        { "qsButton=off;slashButton=off", "http://h.test/a", "http://h.test/a/", false },
    };
    for (const auto &[set, registered, asked, found] : cases) {
        settings(set);
        pausedHub();
        LinkCheckerUrl *r = addPage(q(registered));
        EXPECT_EQ(hub->weHaveThisOneAlready(q(asked), nullptr) == r, found)
                << registered << " asked as " << asked;
        // A record never finds itself when told to ignore itself.
        EXPECT_EQ(hub->weHaveThisOneAlready(q(asked), r), nullptr);
    }
    EXPECT_EQ(hub->weHaveThisOneAlready(QString(), nullptr), nullptr);

    // With unique titles on, a title equal to a registered URL counts as known.
    LinkCheckerUrl *p = addPage("http://site.test/p.html");
    p->setLinkPageTitle("http://site.test/p.html");
    EXPECT_FALSE(hub->weHaveThisTitleAlready(p));
    controls.uniqueTitleButton = CheckState::On;
    EXPECT_TRUE(hub->weHaveThisTitleAlready(p));
    p->setLinkPageTitle(QString());
    EXPECT_FALSE(hub->weHaveThisTitleAlready(p));
}

// Enough links to span several of the reader's batches: each of 50 targets appears three times,
// the repeats far apart, written relative, with a fragment and absolute, every other one marked
// nofollow, so each occurrence must keep its own text and flag and each target one record, made
// at its first appearance one level below the page.
TEST_F(HubTest, EachLinkIsRecordedOnceWithEveryOccurrenceInPageOrder)
{
    settings("nofollowFlatColCheckbox=on");
    pausedHub();
    LinkCheckerUrl *p = addPage("http://site.test/dir/long.html", 2);
    const int before = hub->recordCount();
    const char *forms[] = { "t%1.html", "t%1.html#top", "http://site.test/dir/t%1.html" };
    QByteArray body;
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < 50; ++i) {
            const QByteArray n = QByteArray::number(i);
            const QByteArray rel = (i + round) % 2 ? " rel=\"nofollow\"" : "";
            body += "<a href=\"" + QByteArray(forms[round]).replace("%1", n) + "\"" + rel + ">text "
                    + n + "/" + QByteArray::number(round) + "</a>\n";
        }
    }
    read(p, body);
    ASSERT_EQ(hub->recordCount(), before + 50);
    EXPECT_EQ(hub->numberOfLinksOnThisPage(p->getActualLinkUrl()), 150);
    EXPECT_TRUE(p->getData().isEmpty()); // the body is dropped after reading
    for (int i = 0; i < 50; ++i) {
        const QString n = QString::number(i);
        LinkCheckerUrl *r = hub->recordAt(before + i);
        ASSERT_EQ(r->getLinkUrl(), "http://site.test/dir/t" + n + ".html");
        EXPECT_EQ(r->getOnPageLinkTextArray(),
                  (QStringList { "text " + n + "/0", "text " + n + "/1", "text " + n + "/2" }));
        EXPECT_EQ(r->getLinkText(), "text " + n + "/2"); // the latest text wins
        EXPECT_EQ(r->getNofollowArray(), (QList<bool> { i % 2 == 1, i % 2 == 0, i % 2 == 1 })) << i;
        EXPECT_EQ(r->getOnPageUrlArray(), QStringList(3, p->getActualLinkUrl()));
        EXPECT_EQ(r->getDistanceFromHome(), 3);
    }

    // Nothing beyond the links limit is recorded or stays registered.
    controls.linksLimit = hub->recordCount() + 2;
    read(addPage("http://site.test/q.html"),
         anchor("1.html") + anchor("2.html") + anchor("3.html"));
    EXPECT_EQ(hub->recordCount(), controls.linksLimit);
    EXPECT_EQ(hub->weHaveThisOneAlready("http://site.test/3.html", nullptr), nullptr);
    test::LogCapture logs;
    EXPECT_FALSE(hub->add(nullptr));
    EXPECT_TRUE(logs.contains("*** attempt to add null link ***"));
}

TEST_F(HubTest, NewLinksGetTheirScopeStatus)
{
    // href, settings, the record expected (nullptr: none at all), its status, internal
    const std::tuple<const char *, const char *, const char *, const char *, bool> cases[] = {
        { "mailto:me@site.test", "", nullptr, nullptr, false },
        { "#", "", nullptr, nullptr, false },
        { "#", "hashIsBad=on", "#", "missing link url", false },
        { "", "hashIsBad=on", "empty quotes", "missing link url", false },
        { "http://other.test/x", "", "http://other.test/x", "", false },
        { "http://other.test/x", "sitemapOnly=on", "http://other.test/x", "Not checked", false },
        { "http://www.site.test/x", "", "http://www.site.test/x", "", false },
        { "http://www.site.test/x", "subdomainButton=on", "http://www.site.test/x", "", true },
        { "ftp://site.test/f.zip", "", "ftp://site.test/f.zip", "Not checked", true },
        { "file:///etc/hosts", "", "file:///etc/hosts", "Not checked", false },
        { "/Private/x.html", "", "http://site.test/Private/x.html", "Not checked", true },
        { "/ok.html", "", "http://site.test/ok.html", "", true },
    };
    manager.addBlacklistRule("private/", OrelConfigManager::DoNotCheck);
    for (const auto &[href, set, url, status, internal] : cases) {
        settings(set);
        pausedHub();
        LinkCheckerUrl *p = addPage("http://site.test/index.html");
        const int before = hub->recordCount();
        read(p, anchor(href));
        if (!url) {
            EXPECT_EQ(hub->recordCount(), before) << href;
            continue;
        }
        ASSERT_EQ(hub->recordCount(), before + 1) << href;
        LinkCheckerUrl *r = hub->recordAt(before);
        EXPECT_EQ(r->getLinkUrl(), q(url)) << href;
        EXPECT_EQ(r->getStatus(), q(status)) << href;
        EXPECT_EQ(r->isInternal(), internal) << href;
        EXPECT_EQ(r->getOnPageUrlArray(), QStringList { p->getActualLinkUrl() }) << href;
        // Records with a status are never fetched.
        EXPECT_TRUE(!*status || r->isExempt() || r->isGoodLink()) << href;
    }
}

TEST_F(HubTest, WhichPagesAreRead)
{
    // settings, page URL, distance, status, is HTML, read
    const std::tuple<const char *, const char *, int, const char *, bool, bool> cases[] = {
        { "", "http://site.test/p.html", 1, "200 no error", true, true },
        { "", "http://other.test/p.html", 1, "200 no error", true, false },
        { "levelsLimit=2", "http://site.test/p.html", 2, "200 no error", true, true },
        { "levelsLimit=2", "http://site.test/p.html", 3, "200 no error", true, false },
        { "followButton=on", "http://site.test/p.html", 1, "200 no error", true, false },
        { "", "http://site.test/p.html", 1, "404 not found", true, false },
        { "checkErrorPages=on", "http://site.test/p.html", 1, "404 not found", true, true },
        { "", "http://site.test/p.txt", 1, "200 no error", false, false },
        { "nofollowCheckbox=mixed", "http://site.test/p.html", 1, "200 no error", true, false },
        { "nofollowCheckbox=on", "http://site.test/p.html", 1, "200 no error", true, true },
        { "", "http://site.test/skip/p.html", 1, "200 no error", true, false }, // do not follow
    };
    manager.addBlacklistRule("/skip/", OrelConfigManager::DoNotFollow);
    for (const auto &[set, pageUrl, distance, status, html, isRead] : cases) {
        settings(set);
        pausedHub();
        LinkCheckerUrl *p = addPage(q(pageUrl), distance);
        p->setIsHTML(html);
        const int before = hub->recordCount();
        read(p, anchor("new.html"), q(status));
        EXPECT_EQ(hub->recordCount() > before, isRead) << set << " " << pageUrl << " " << status;
        EXPECT_TRUE(p->getData().isEmpty()) << pageUrl;
    }
    // With an "Only follow" rule, pages outside it are marked and not read.
    manager.addBlacklistRule("/docs/", OrelConfigManager::OnlyFollow);
    settings("");
    pausedHub();
    for (const auto &[folder, inside] : { std::pair { "blog", false }, { "docs", true } }) {
        LinkCheckerUrl *p = addPage(QStringLiteral("http://site.test/%1/p.html").arg(folder), 1);
        read(p, anchor("n.html"));
        EXPECT_EQ(p->isBlacklisted(), !inside) << folder;
        EXPECT_EQ(!!byUrl(QStringLiteral("http://site.test/%1/n.html").arg(folder)), inside);
    }
}

TEST_F(HubTest, SoftNotFoundAndArchive)
{
    controls.soft404Terms = "  page not found \n\nmissing-page\n";
    pausedHub();
    LinkCheckerUrl *p = addPage("http://site.test/dir/missing-page.html");
    EXPECT_FALSE(hub->shouldPerformSoft404Check());
    EXPECT_FALSE(hub->performSoft404CheckOnThisUrl(p));
    controls.soft404Button = CheckState::Mixed; // body kept, nothing judged
    EXPECT_TRUE(hub->shouldPerformSoft404Check());
    EXPECT_FALSE(hub->performSoft404CheckOnThisUrl(p));
    controls.soft404Button = CheckState::On;
    EXPECT_TRUE(hub->performSoft404CheckOnThisUrl(p)); // by URL, ignoring case
    const std::tuple<const char *, QByteArray, bool> bodies[] = {
        { "r.html", "<p>Sorry, PAGE NOT FOUND here</p>", true }, // by body, ignoring case
        { "tiny.html", "x", false },
    };
    for (const auto &[name, body, soft] : bodies) {
        LinkCheckerUrl *r = addPage("http://site.test/" + q(name));
        r->setData(body);
        EXPECT_EQ(hub->performSoft404CheckOnThisUrl(r), soft) << name;
        hub->archivePage(r);
        // Pages too small to be worth keeping are not archived.
        EXPECT_EQ(test::readFile(AppSupport::archiveFolder() + "/" + q(name)),
                  body.size() > 1 ? body : QByteArray())
                << name;
    }
    // A page whose name would climb out of the archive is logged and skipped.
    QStringList lines;
    setLogSink([&](const QString &line) { lines.append(line); });
    LinkCheckerUrl *up = addPage("http://site.test/..");
    up->setData("<p>above</p>");
    hub->archivePage(up);
    setLogSink({});
    EXPECT_EQ(up->getActualLinkUrl(), "http://site.test/..");
    EXPECT_EQ(QDir(AppSupport::archiveFolder()).entryList(QDir::Files), QStringList { "r.html" });
    EXPECT_EQ(lines.filter("not archiving").size(), 1) << lines.join('\n').toStdString();
}

TEST_F(HubTest, RelativeHrefsResolvePerPageAndFolder)
{
    controls.qsButton = CheckState::Off;
    pausedHub();
    for (const char *url : { "http://site.test/a/p.html", "http://site.test/a/q.html",
                             "http://site.test/b/p.html", "http://site.test:8080/a/p.html" })
        read(addPage(q(url)), anchor("x.html") + anchor("?q=1") + anchor("/root.html"));
    for (const char *url : { "http://site.test/a/x.html", "http://site.test/b/x.html",
                             "http://site.test:8080/a/x.html", "http://site.test/a/p.html?q=1",
                             "http://site.test/a/q.html?q=1", "http://site.test/b/p.html?q=1" })
        EXPECT_NE(byUrl(q(url)), nullptr) << url;
    EXPECT_EQ(byUrl("http://site.test/a/x.html")->getOnPageUrlArray().size(), 2);
    EXPECT_EQ(byUrl("http://site.test/root.html")->getOnPageUrlArray().size(), 3);
}
