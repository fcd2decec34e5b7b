// Fetching a page by URL from the local fixture server.
#include "FixtureServer.h"
#include "ParserTestUtil.h"
#include "links/SynchronousFetch.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

using namespace orel;

TEST(ParserFetch, FetchesHtmlOnlyAndSkipsMediaWithoutFetching)
{
    test::FixtureServer server;
    ASSERT_TRUE(server.isRunning());
    const auto fetch = [&](const char *path) {
        return OrelParser::initWithUrl(server.url(QLatin1String(path)), QStringLiteral("Agent/1"));
    };

    auto page = fetch("/");
    ASSERT_TRUE(page);
    EXPECT_EQ(page->getInitialStatus(), 200);
    EXPECT_EQ(page->getTitle(), QStringLiteral("fixture index"));
    EXPECT_EQ(page->getBaseHref().value_or(QUrl()).toString(), server.url(QStringLiteral("/")));
    EXPECT_EQ(page->getNextHref(true, true), QStringLiteral("/final"));

    // A missing page still answers with an HTML body, and its status is kept.
    auto missing = fetch("/gone.html");
    ASSERT_TRUE(missing);
    EXPECT_EQ(missing->getInitialStatus(), 404);

    // A folder without its slash is redirected; the base is where the page was found.
    auto dir = fetch("/dir");
    ASSERT_TRUE(dir);
    EXPECT_EQ(dir->getTitle(), QStringLiteral("dir index"));
    EXPECT_EQ(dir->getBaseHref().value_or(QUrl()).toString(), server.url(QStringLiteral("/dir/")));

    EXPECT_FALSE(fetch("/type/text"));
    EXPECT_FALSE(fetch("/doc.pdf"));
    EXPECT_FALSE(fetch("/x/clip.Mp4/"));
    const QString requests = server.requestLog().join(QLatin1Char('\n'));
    EXPECT_TRUE(requests.contains(QStringLiteral("GET /type/text")));
    EXPECT_FALSE(requests.contains(QStringLiteral("doc.pdf")));
    EXPECT_FALSE(requests.contains(QStringLiteral("clip")));

    EXPECT_FALSE(OrelParser::initWithUrl(QStringLiteral("http://[bad"), QString()));
}

// The fetch goes the crawl's way: a local page is read as a page, with its type from its name,
// and the failures are the crawl's own.
TEST(ParserFetch, ReadsLocalPagesAndEndsRedirectsAsACrawlDoes)
{
    QTemporaryDir dir;
    test::writeFile(dir.filePath("p.html"), "<title>local</title><a href=\"x.html\">x</a>");
    test::writeFile(dir.filePath("t.txt"), "<title>text</title>");
    const QString folder = QLatin1String("file://") + dir.path();
    auto local = OrelParser::initWithUrl(folder + "/p.html", QString());
    ASSERT_TRUE(local);
    EXPECT_EQ(local->getTitle(), QStringLiteral("local"));
    EXPECT_EQ(local->getNextHref(false, false), QStringLiteral("x.html"));
    EXPECT_FALSE(OrelParser::initWithUrl(folder + "/t.txt", QString()));
    EXPECT_FALSE(OrelParser::initWithUrl(folder + "/gone.html", QString()));

    test::FixtureServer server;
    ASSERT_TRUE(server.isRunning());
    EXPECT_FALSE(OrelParser::initWithUrl(server.url("/redirect/loop"), QString()));
    EXPECT_EQ(server.requestLog().size(), 101);
    const FetchResult empty = fetchSynchronously(
            fetchRequest(server.url("/redirect/empty"), QStringLiteral("A/1"), 10));
    EXPECT_EQ(empty.statusText(), QStringLiteral("redirection to nowhere"));
    EXPECT_EQ(empty.statusCode(), 302);
}
