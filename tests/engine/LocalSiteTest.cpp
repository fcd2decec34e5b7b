// A built static site crawled from its folder: root-relative links inside the folder, folder
// links read as their index.html, and the same crawl without a site root as designed.
#include "HubTestSupport.h"

#include "engine/LocalSite.h"
#include "links/UrlRequest.h"

#include <QDir>
#include <QUrl>

namespace orel {
namespace {

using test::HubTest;

QString siteFolder()
{
    return qEnvironmentVariable("ORRELWICK_SOURCE_DIR")
            + QStringLiteral("/tests/fixtures/static-site");
}

class LocalSiteCrawl : public HubTest
{
protected:
    QString site = siteFolder();
    QString base = QUrl::fromLocalFile(siteFolder()).toString();

    QString status(const QString &path) const
    {
        const LinkCheckerUrl *r = byUrl(base + path);
        return r ? r->getStatus() : QStringLiteral("(no record)");
    }
};

TEST_F(LocalSiteCrawl, AFolderStartReadsItsIndexAndRootRelativeLinksStayInside)
{
    ASSERT_TRUE(QFileInfo(site + "/index.html").isFile()) << "ORRELWICK_SOURCE_DIR not set";
    settings("imgButton=1");
    controls.urlField = site;
    ASSERT_TRUE(LocalSite::startInFolder(controls));
    EXPECT_EQ(controls.urlField, site + "/index.html");
    EXPECT_EQ(controls.localSiteRoot, site);

    ASSERT_TRUE(crawl(controls.urlField));
    const QString ok = QStringLiteral("200 no error (not http)");
    EXPECT_EQ(status("/css/site.css"), ok);
    EXPECT_EQ(status("/blog/post.html"), ok);
    EXPECT_EQ(status("/about/"), ok); // the folder's index.html
    EXPECT_EQ(status("/about/team.html"), ok); // read from that index, relative to the folder
    EXPECT_EQ(status("/img/missing.png"), "file doesnt exist");
    // "/about" and "/about/" are one link while trailing slashes are ignored (the default).
    EXPECT_EQ(hub->getBadCollectionCount(), 1);
    EXPECT_EQ(hub->getNumberDone(), hub->recordCount());
}

TEST_F(LocalSiteCrawl, WithoutASiteRootRootRelativeLinksLeaveTheFolderAsDesigned)
{
    ASSERT_TRUE(crawl(QUrl::fromLocalFile(site + "/index.html").toString()));
    EXPECT_EQ(byUrl("file:///css/site.css")->getStatus(), "file doesnt exist");
    EXPECT_EQ(byUrl("file:///about/")->getStatus(), "file doesnt exist");
}

TEST_F(LocalSiteCrawl, AFileStartWithARootSetUsesIt)
{
    controls.localSiteRoot = site;
    ASSERT_TRUE(crawl(QUrl::fromLocalFile(site + "/about/team.html").toString()));
    EXPECT_EQ(status("/"), "200 no error (not http)");
    // The index is outside the start's folder, so it is checked but not read.
    EXPECT_EQ(byUrl(base + "/css/site.css"), nullptr);
}

TEST(LocalSite, FoldersOfTheSiteAreAskedForTheirIndex)
{
    const QString site = siteFolder();
    const std::unique_ptr<LocalSite> s = LocalSite::forRoot(site);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(LocalSite::forRoot(site + "/index.html"), nullptr); // not a folder
    EXPECT_EQ(LocalSite::forRoot(QString()), nullptr);

    const QString base = QUrl::fromLocalFile(site).toString();
    struct Case
    {
        QString url;
        QString sent;
        bool folderIndex;
    };
    const Case cases[] = {
        { base + "/about/", base + "/about/", true },
        { base + "/about", base + "/about/", true },
        { base + "/about/team.html", base + "/about/team.html", false },
        { base + "/nothing/", base + "/nothing/", false },
        { QStringLiteral("file:///tmp"), QStringLiteral("file:///tmp"), false }, // outside
        { QStringLiteral("http://127.0.0.1/about"), QStringLiteral("http://127.0.0.1/about"),
          false },
    };
    for (const Case &c : cases) {
        UrlRequest request = fetchRequest(c.url, QStringLiteral("t"), 1);
        s->prepare(request);
        EXPECT_EQ(request.url, c.sent) << c.url.toStdString();
        EXPECT_EQ(request.folderIndex, c.folderIndex) << c.url.toStdString();
    }
    EXPECT_TRUE(s->contains(QUrl(base + "/blog/post.html")));
    EXPECT_FALSE(s->contains(QUrl(base + "-other/a.html")));
    EXPECT_FALSE(s->contains(QUrl(QStringLiteral("http://127.0.0.1/"))));
}

} // namespace
} // namespace orel
