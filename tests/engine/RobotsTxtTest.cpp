#include "engine/RobotsTxt.h"

#include <gtest/gtest.h>

using orel::RobotsTxt;

namespace {

struct Case
{
    const char *agent;
    const char *path;
    bool allowed;
};

// Groups of several shapes: a shared group for every crawler, a crawler of its own with an
// allow inside a disallowed tree, two crawlers sharing a group, an empty group.
const char kGroups[] = "# comments and blank lines are nothing\r\n"
                       "Disallow: /before-any-agent\r\n"
                       "\r\n"
                       "User-Agent: *\r\n"
                       "Disallow: *.gif$\r\n"
                       "Disallow: /example/\r\n"
                       "Allow: /publications/\r\n"
                       "\r\n"
                       "user-agent: FooBot\n"
                       "disallow:/\n"
                       "ALLOW:/example/page.html # a comment after a rule\n"
                       "Allow:/example/allowed.gif\n"
                       "\n"
                       "User-Agent: barbot\n"
                       "User-Agent: bazbot\n"
                       "Disallow: /example/page.html\n"
                       "\n"
                       "User-Agent: quxbot\n";

} // namespace

TEST(RobotsTxt, PicksTheCrawlersOwnGroupsElseTheSharedOne)
{
    const Case cases[] = {
        { "FooBot/2.1 (+https://foo.example)", "/example/page.html", true },
        { "foobot", "/example/allowed.gif", true },
        { "foobot", "/anything", false },
        { "barbot", "/example/page.html", false },
        { "bazbot/1", "/example/page.html", false },
        { "bazbot/1", "/example/other.html", true }, // its group only, not the shared one
        { "quxbot", "/example/x", true }, // a group without rules allows everything
        { "Orrelwick/1.0", "/example/x", false },
        { "Orrelwick/1.0", "/a/b.gif", false },
        { "Orrelwick/1.0", "/a/b.gif?size=2", true }, // "$" ends the path
        { "Orrelwick/1.0", "/publications/x", true },
        { "Orrelwick/1.0", "/before-any-agent", true }, // rules outside a group count for none
        { "Orrelwick/1.0", "/robots.txt", true },
    };
    for (const Case &c : cases) {
        const RobotsTxt robots = RobotsTxt::parse(kGroups, QString::fromUtf8(c.agent));
        EXPECT_EQ(robots.allowed(QString::fromUtf8(c.path)), c.allowed) << c.agent << " " << c.path;
    }
}

TEST(RobotsTxt, LongestMatchWinsAndAllowWinsTies)
{
    struct Rules
    {
        const char *text;
        const char *path;
        bool allowed;
    };
    const Rules cases[] = {
        { "Disallow: /a\nAllow: /a/b", "/a/b/c", true },
        { "Disallow: /a\nAllow: /a/b", "/a/c", false },
        { "Allow: /a\nDisallow: /a/b", "/a/b", false },
        { "Disallow: /p\nAllow: /p", "/p", true }, // same length: allow
        { "Allow: /p\nDisallow: /p", "/page", true },
        { "Disallow:", "/x", true }, // an empty disallow is no rule
        { "Disallow: /*/private", "/a/private/x", false },
        { "Disallow: /fish*.php", "/fishheads/catfish.php?id=1", false },
        { "Disallow: /fish*.php", "/Fish.PHP", true }, // paths compare case-sensitively
        { "Disallow: /*.php$", "/index.php", false },
        { "Disallow: /*.php$", "/index.php5", true },
        { "Disallow: /**x*y$", "/axbyy", false },
        { "Disallow: /%7Efoo", "/~foo/bar", false }, // escapes of unreserved characters
        { "Disallow: /~foo", "/%7efoo", false },
        { "Disallow: /a%3cb", "/a%3Cb", false }, // escapes compare ignoring hex case
        { "Disallow: /caf\xc3\xa9", "/caf%C3%A9/menu", false }, // raw UTF-8 as its escapes
        { "Disallow: search", "/search?q=1", false }, // a pattern without "/" reads from the root
        { "Disallow: /", "/robots.txt", true },
        { "Disallow: /\nAllow: /$", "/", true },
        { "Disallow: /\nAllow: /$", "/x", false },
    };
    for (const Rules &c : cases) {
        const RobotsTxt robots = RobotsTxt::parse(QByteArrayLiteral("User-agent: *\n") + c.text,
                                                  QStringLiteral("Orrelwick"));
        EXPECT_EQ(robots.allowed(QString::fromUtf8(c.path)), c.allowed) << c.text << " " << c.path;
    }
}

TEST(RobotsTxt, GroupsOfOneCrawlerCombineAndMissingFilesAllow)
{
    const QByteArray text = "User-agent: orrelwick\nDisallow: /one\n\n"
                            "User-agent: other\nDisallow: /\n\n"
                            "User-agent: Orrelwick\nDisallow: /two\n";
    const RobotsTxt robots = RobotsTxt::parse(text, QStringLiteral("Orrelwick/3"));
    EXPECT_FALSE(robots.allowed(QStringLiteral("/one")));
    EXPECT_FALSE(robots.allowed(QStringLiteral("/two/x")));
    EXPECT_TRUE(robots.allowed(QStringLiteral("/three")));

    EXPECT_TRUE(RobotsTxt().allowed(QStringLiteral("/anything")));
    EXPECT_TRUE(RobotsTxt::parse("garbage without colons\n\x01\x02", QStringLiteral("x"))
                        .allowed(QStringLiteral("/")));
    EXPECT_FALSE(RobotsTxt::disallowAll().allowed(QStringLiteral("/")));
    EXPECT_FALSE(RobotsTxt::disallowAll().allowed(QString()));
    EXPECT_TRUE(RobotsTxt::disallowAll().allowed(QStringLiteral("/robots.txt")));
}

TEST(RobotsTxt, ReadsOnlyTheFirst500KiB)
{
    QByteArray text = "User-agent: *\nDisallow: /early\n";
    text += QByteArray(500 * 1024, '#');
    text += "\nDisallow: /late\n";
    const RobotsTxt robots = RobotsTxt::parse(text, QStringLiteral("Orrelwick"));
    EXPECT_FALSE(robots.allowed(QStringLiteral("/early")));
    EXPECT_TRUE(robots.allowed(QStringLiteral("/late")));
}
