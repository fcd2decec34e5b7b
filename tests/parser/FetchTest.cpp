// Fetching a page by URL from the local fixture server.
#include "FixtureServer.h"
#include "ParserTestUtil.h"

#include <gtest/gtest.h>

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
