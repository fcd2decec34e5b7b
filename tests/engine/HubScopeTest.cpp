// Registry and link extraction: pages are read into a paused crawl by hand, so every rule is
// checked without a network.
#include "HubTestSupport.h"

#include "common/AppSupport.h"
#include "common/Localize.h"

using namespace orel;
using orel::test::HubTest;

namespace {

QByteArray page(const QByteArray &body)
{
    return "<html><head><title>T</title></head><body>" + body + "</body></html>";
}

QByteArray anchor(const QByteArray &href, const QByteArray &text = "x")
{
    return "<a href=\"" + href + "\">" + text + "</a>\n";
}

} // namespace

TEST_F(HubTest, LookupNormalisesLikeTheRecordKey)
{
    const struct
    {
        CheckState qs;
        CheckState slash;
        const char *registered;
        const char *asked;
        bool found;
    } cases[] = {
        { CheckState::Off, CheckState::Off, "http://h.test/a", "http:///h.test/a", true },
        { CheckState::On, CheckState::Off, "http://h.test/a", "http://h.test/a?q=1#f", true },
        { CheckState::Off, CheckState::Off, "http://h.test/a", "http://h.test/a?q=1#f", false },
        { CheckState::Off, CheckState::Off, "http://h.test/a?q=1", "http://h.test/a?q=1#f", true },
        { CheckState::Off, CheckState::On, "http://h.test/a", "http://h.test/a/", true },
        { CheckState::Off, CheckState::Off, "http://h.test/a", "http://h.test/a/", false },
        { CheckState::Off, CheckState::On, "http://h.test/a/", "http://h.test/a", true },
    };
    for (const auto &c : cases) {
        controls.qsButton = c.qs;
        controls.slashButton = c.slash;
        pausedHub();
        LinkCheckerUrl *r = addPage(QString::fromUtf8(c.registered));
        EXPECT_EQ(hub->weHaveThisOneAlready(QString::fromUtf8(c.asked), nullptr) == r, c.found)
                << c.registered << " asked as " << c.asked;
        // A record never finds itself when told to ignore itself.
        EXPECT_EQ(hub->weHaveThisOneAlready(QString::fromUtf8(c.asked), r), nullptr);
    }
    EXPECT_EQ(hub->weHaveThisOneAlready(QString(), nullptr), nullptr);
}

TEST_F(HubTest, TitlesShareTheLookupWithUrls)
{
    pausedHub();
    LinkCheckerUrl *p = addPage(QStringLiteral("http://site.test/p.html"));
    p->setLinkPageTitle(QStringLiteral("http://site.test/p.html"));
    EXPECT_FALSE(hub->weHaveThisTitleAlready(p)); // switch off
    controls.uniqueTitleButton = CheckState::On;
    EXPECT_TRUE(hub->weHaveThisTitleAlready(p)); // the title equals a registered URL
    p->setLinkPageTitle(QString());
    EXPECT_FALSE(hub->weHaveThisTitleAlready(p));
}

TEST_F(HubTest, LinksLimitCapsTheCollection)
{
    controls.linksLimit = 3;
    pausedHub();
    LinkCheckerUrl *p = addPage(QStringLiteral("http://site.test/p.html"));
    read(p, page(anchor("1.html") + anchor("2.html") + anchor("3.html") + anchor("4.html")));
    EXPECT_EQ(hub->recordCount(), 3);
    // Nothing beyond the limit stays registered.
    EXPECT_EQ(hub->weHaveThisOneAlready(QStringLiteral("http://site.test/3.html"), nullptr), nullptr);
    test::LogCapture logs;
    EXPECT_FALSE(hub->add(nullptr));
    EXPECT_TRUE(logs.contains(QStringLiteral("*** attempt to add null link ***")));
}

TEST_F(HubTest, EachLinkIsRecordedOnceWithEveryOccurrence)
{
    pausedHub();
    LinkCheckerUrl *p = addPage(QStringLiteral("http://site.test/dir/page.html"), 2);
    read(p, page(anchor("a.html", "first") + anchor("../b.html") + anchor("a.html#top", "second")
                 + anchor("my page.html") + anchor("http://site.test/dir/a.html", "third")));
    LinkCheckerUrl *a = byUrl(QStringLiteral("http://site.test/dir/a.html"));
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->getOnPageUrlArray().size(), 3);
    EXPECT_EQ(a->getOnPageLinkTextArray(),
              (QStringList { QStringLiteral("first"), QStringLiteral("second"),
                             QStringLiteral("third") }));
    EXPECT_EQ(a->getLinkText(), QStringLiteral("third")); // the latest text wins
    EXPECT_EQ(a->getDistanceFromHome(), 3);
    EXPECT_EQ(a->getStatus(), QString());
    EXPECT_NE(byUrl(QStringLiteral("http://site.test/b.html")), nullptr);
    EXPECT_NE(byUrl(QStringLiteral("http://site.test/dir/my%20page.html")), nullptr);
    EXPECT_EQ(hub->numberOfLinksOnThisPage(QStringLiteral("http://site.test/dir/page.html")), 5);
    EXPECT_EQ(p->getLinkPageTitle(), QStringLiteral("T"));
    EXPECT_TRUE(p->getData().isEmpty()); // the body is dropped after reading
}

TEST_F(HubTest, NewLinksGetTheirScopeStatus)
{
    struct Case
    {
        const char *href;
        std::function<void(SettingsControls &)> set;
        const char *url; // the record expected, nullptr: none at all
        const char *status;
        bool internal;
    };
    const auto none = [](SettingsControls &) { };
    const Case cases[] = {
        { "mailto:me@site.test", none, nullptr, nullptr, false },
        { "x.html?SKYPE:me", none, nullptr, nullptr, false },
        { "hotel:1", none, nullptr, nullptr, false },
        { "#", none, nullptr, nullptr, false },
        { "#", [](SettingsControls &c) { c.hashIsBad = CheckState::On; }, "#", "missing link url",
          false },
        { "", [](SettingsControls &c) { c.hashIsBad = CheckState::On; }, "empty quotes",
          "missing link url", false },
        { "http://other.test/x", none, "http://other.test/x", "", false },
        { "http://other.test/x", [](SettingsControls &c) { c.sitemapOnly = CheckState::On; },
          "http://other.test/x", "Not checked", false },
        { "http://www.site.test/x", none, "http://www.site.test/x", "", false },
        { "http://www.site.test/x", [](SettingsControls &c) { c.subdomainButton = CheckState::On; },
          "http://www.site.test/x", "", true },
        { "ftp://site.test/f.zip", none, "ftp://site.test/f.zip", "Not checked", true },
        { "file:///etc/hosts", none, "file:///etc/hosts", "Not checked", false },
        { "/Private/x.html", none, "http://site.test/Private/x.html", "Not checked", true },
        { "/ok.html", none, "http://site.test/ok.html", "", true },
    };
    for (const Case &c : cases) {
        controls.setDefaults();
        c.set(controls);
        manager.addBlacklistRule(QStringLiteral("private/"), OrelConfigManager::DoNotCheck);
        pausedHub();
        LinkCheckerUrl *p = addPage(QStringLiteral("http://site.test/index.html"));
        const int before = hub->recordCount();
        read(p, page("<a href=\"" + QByteArray(c.href) + "\">t</a>"));
        if (!c.url) {
            EXPECT_EQ(hub->recordCount(), before) << c.href;
            continue;
        }
        ASSERT_EQ(hub->recordCount(), before + 1) << c.href;
        LinkCheckerUrl *r = hub->recordAt(before);
        EXPECT_EQ(r->getLinkUrl(), QString::fromUtf8(c.url)) << c.href;
        EXPECT_EQ(r->getStatus(), QString::fromUtf8(c.status)) << c.href;
        EXPECT_EQ(r->isInternal(), c.internal) << c.href;
        EXPECT_EQ(r->getOnPageUrlArray(), QStringList { p->getActualLinkUrl() }) << c.href;
        // Records with a status are never fetched.
        if (*c.status) {
            EXPECT_TRUE(r->isExempt() || r->isGoodLink()) << c.href;
        }
    }
}

TEST_F(HubTest, WhichPagesAreRead)
{
    struct Case
    {
        const char *name;
        std::function<void(SettingsControls &)> set;
        const char *pageUrl;
        int distance;
        const char *status;
        bool html;
        bool read;
    };
    const auto none = [](SettingsControls &) { };
    const Case cases[] = {
        { "plain", none, "http://site.test/p.html", 1, "200 no error", true, true },
        { "external", none, "http://other.test/p.html", 1, "200 no error", true, false },
        { "at levels limit", [](SettingsControls &c) { c.levelsLimit = 2; },
          "http://site.test/p.html", 2, "200 no error", true, true },
        { "beyond levels limit", [](SettingsControls &c) { c.levelsLimit = 2; },
          "http://site.test/p.html", 3, "200 no error", true, false },
        { "single page", [](SettingsControls &c) { c.followButton = CheckState::On; },
          "http://site.test/p.html", 1, "200 no error", true, false },
        { "error page", none, "http://site.test/p.html", 1, "404 not found", true, false },
        { "error page read", [](SettingsControls &c) { c.checkErrorPages = CheckState::On; },
          "http://site.test/p.html", 1, "404 not found", true, true },
        { "not html", none, "http://site.test/p.txt", 1, "200 no error", false, false },
        { "nofollow mixed", [](SettingsControls &c) { c.nofollowCheckbox = CheckState::Mixed; },
          "http://site.test/p.html", 1, "200 no error", true, false },
        { "nofollow on", [](SettingsControls &c) { c.nofollowCheckbox = CheckState::On; },
          "http://site.test/p.html", 1, "200 no error", true, true },
        { "follow blacklist", none, "http://site.test/skip/p.html", 1, "200 no error", true,
          false },
    };
    for (const Case &c : cases) {
        controls.setDefaults();
        c.set(controls);
        manager.addBlacklistRule(QStringLiteral("/skip/"), OrelConfigManager::DoNotFollow);
        pausedHub();
        LinkCheckerUrl *p = addPage(QString::fromUtf8(c.pageUrl), c.distance);
        p->setIsHTML(c.html);
        const int before = hub->recordCount();
        read(p, page(anchor("new.html")), QString::fromUtf8(c.status));
        EXPECT_EQ(hub->recordCount() > before, c.read) << c.name;
        EXPECT_TRUE(p->getData().isEmpty()) << c.name;
    }
}

TEST_F(HubTest, FollowWhitelistMarksPagesOutsideIt)
{
    manager.addBlacklistRule(QStringLiteral("/docs/"), OrelConfigManager::OnlyFollow);
    pausedHub();
    LinkCheckerUrl *outside = addPage(QStringLiteral("http://site.test/blog/p.html"), 1);
    read(outside, page(anchor("n1.html")));
    EXPECT_TRUE(outside->isBlacklisted());
    EXPECT_EQ(byUrl(QStringLiteral("http://site.test/blog/n1.html")), nullptr);

    LinkCheckerUrl *inside = addPage(QStringLiteral("http://site.test/docs/p.html"), 1);
    read(inside, page(anchor("n2.html")));
    EXPECT_FALSE(inside->isBlacklisted());
    EXPECT_NE(byUrl(QStringLiteral("http://site.test/docs/n2.html")), nullptr);
}

TEST_F(HubTest, HostileHrefsNeverCrash)
{
    pausedHub();
    LinkCheckerUrl *p = addPage(QStringLiteral("http://site.test/p.html"));
    QByteArray body = anchor("caf\xc3\xa9 \xff\xfe.html") + anchor("http://[::1") + anchor("%%%")
            + anchor(QByteArray(100 * 1024, 'a') + ".html") + anchor("a\tb\nc.html");
    QByteArray garbage(4096, '\0');
    for (int i = 0; i < garbage.size(); ++i)
        garbage[i] = char((i * 131 + 7) % 256);
    read(p, page(body) + garbage + page(anchor("after.html")));
    for (int i = 0; i < hub->recordCount(); ++i) {
        const QString url = hub->recordAt(i)->getLinkUrl();
        for (QChar ch : url)
            EXPECT_LT(ch.unicode(), 128) << "non-ASCII URL recorded";
    }
    EXPECT_GE(hub->recordCount(), 4);
}

TEST_F(HubTest, SoftNotFoundAndArchive)
{
    controls.soft404Terms = QStringLiteral("  page not found \n\nmissing-page\n");
    pausedHub();
    LinkCheckerUrl *p = addPage(QStringLiteral("http://site.test/dir/missing-page.html"));
    EXPECT_FALSE(hub->shouldPerformSoft404Check());
    EXPECT_FALSE(hub->performSoft404CheckOnThisUrl(p));
    controls.soft404Button = CheckState::Mixed; // body kept, nothing judged
    EXPECT_TRUE(hub->shouldPerformSoft404Check());
    EXPECT_FALSE(hub->performSoft404CheckOnThisUrl(p));
    controls.soft404Button = CheckState::On;
    EXPECT_TRUE(hub->performSoft404CheckOnThisUrl(p)); // by URL, ignoring case
    LinkCheckerUrl *r = addPage(QStringLiteral("http://site.test/r.html"));
    r->setData("<p>Sorry, PAGE NOT FOUND here</p>");
    EXPECT_TRUE(hub->performSoft404CheckOnThisUrl(r)); // by body, ignoring case
    LinkCheckerUrl *fine = addPage(QStringLiteral("http://site.test/fine.html"));
    fine->setData("<p>All good</p>");
    EXPECT_FALSE(hub->performSoft404CheckOnThisUrl(fine));

    hub->archivePage(r);
    QFile archived(AppSupport::archiveFolder() + QStringLiteral("/r.html"));
    ASSERT_TRUE(archived.open(QIODevice::ReadOnly));
    EXPECT_EQ(archived.readAll(), QByteArray("<p>Sorry, PAGE NOT FOUND here</p>"));
    LinkCheckerUrl *tiny = addPage(QStringLiteral("http://site.test/tiny.html"));
    tiny->setData("x");
    hub->archivePage(tiny);
    EXPECT_FALSE(QFile::exists(AppSupport::archiveFolder() + QStringLiteral("/tiny.html")));
}

TEST_F(HubTest, RelativeHrefsResolvePerPageAndFolder)
{
    controls.qsButton = CheckState::Off;
    pausedHub();
    const QByteArray body = page(anchor("x.html") + anchor("?q=1") + anchor("/root.html"));
    read(addPage(QStringLiteral("http://site.test/a/p.html")), body);
    read(addPage(QStringLiteral("http://site.test/a/q.html")), body);
    read(addPage(QStringLiteral("http://site.test/b/p.html")), body);
    read(addPage(QStringLiteral("http://site.test:8080/a/p.html")), body);
    for (const char *url :
         { "http://site.test/a/x.html", "http://site.test/b/x.html", "http://site.test:8080/a/x.html",
           "http://site.test/a/p.html?q=1", "http://site.test/a/q.html?q=1",
           "http://site.test/b/p.html?q=1" })
        EXPECT_NE(byUrl(QString::fromUtf8(url)), nullptr) << url;
    EXPECT_EQ(byUrl(QStringLiteral("http://site.test/a/x.html"))->getOnPageUrlArray().size(), 2);
    EXPECT_EQ(byUrl(QStringLiteral("http://site.test/root.html"))->getOnPageUrlArray().size(), 3);
}
