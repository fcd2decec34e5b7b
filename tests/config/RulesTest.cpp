#include "ConfigTestSupport.h"

using namespace orel;
using orel::test::ConfigTest;

namespace {

QVariantMap rule(const char *contains, const char *priority)
{
    return { { QStringLiteral("contains"), QLatin1String(contains) },
        { QStringLiteral("priority"), QLatin1String(priority) },
        { QStringLiteral("update"), QStringLiteral("weekly") } };
}

QStringList column(const OrelConfigManager &m, const char *id)
{
    QStringList out;
    for (int row = 0; row < m.rulesRowCount(); ++row)
        out.append(m.rulesValue(row, QLatin1String(id)));
    return out;
}

} // namespace

TEST_F(ConfigTest, RulesTableShowsTheThreeListsInOrder)
{
    manager->addBlacklistRule(QStringLiteral("only"), OrelConfigManager::OnlyFollow);
    manager->addBlacklistRule(QStringLiteral("check1"), OrelConfigManager::DoNotCheck);
    manager->addBlacklistRule(QStringLiteral("  "), OrelConfigManager::DoNotFollow);
    manager->addBlacklistRule(QStringLiteral("check2"), OrelConfigManager::DoNotCheck);
    EXPECT_TRUE(manager->isEdited());

    ASSERT_EQ(manager->rulesRowCount(), 3);
    EXPECT_EQ(column(*manager, "searchstring"),
        (QStringList {
            QStringLiteral("check1"), QStringLiteral("check2"), QStringLiteral("only") }));
    EXPECT_EQ(column(*manager, "rulename"),
        (QStringList { QStringLiteral("Do not check"), QStringLiteral("Do not check"),
            QStringLiteral("Only follow") }));
    EXPECT_EQ(manager->rulesValue(2, QStringLiteral("scope")), QStringLiteral("urls containing:"));
    controls->blacklistCheckContentCheckBox = CheckState::On;
    // Every kind says "content", whatever it is.
    EXPECT_EQ(manager->rulesValue(2, QStringLiteral("scope")),
        QStringLiteral("urls and content containing:"));
    EXPECT_TRUE(manager->rulesValue(3, QStringLiteral("searchstring")).isEmpty());
    EXPECT_TRUE(manager->rulesValue(0, QStringLiteral("nosuchcolumn")).isEmpty());
}

TEST_F(ConfigTest, EditingARuleMovesItToTheEndOfItsGroup)
{
    manager->addBlacklistRule(QStringLiteral("first"), OrelConfigManager::DoNotCheck);
    manager->addBlacklistRule(QStringLiteral("second"), OrelConfigManager::DoNotCheck);
    manager->addBlacklistRule(QStringLiteral("follow"), OrelConfigManager::DoNotFollow);
    manager->setRulesValue(0, QStringLiteral("first edited"));
    EXPECT_EQ(manager->getCheckBlacklistArray(),
        (QStringList { QStringLiteral("second"), QStringLiteral("first edited") }));
    EXPECT_EQ(manager->getFollowBlacklistArray(), QStringList { QStringLiteral("follow") });

    manager->setRulesValue(2, QStringLiteral("follow2"));
    EXPECT_EQ(manager->getFollowBlacklistArray(), QStringList { QStringLiteral("follow2") });

    manager->deleteBlacklistRule(1);
    manager->deleteBlacklistRule(7); // out of range: nothing
    manager->deleteBlacklistRule(-1);
    EXPECT_EQ(manager->getCheckBlacklistArray(), QStringList { QStringLiteral("second") });
    EXPECT_EQ(manager->rulesRowCount(), 2);
}

TEST_F(ConfigTest, RulesAreStoredCommaJoinedAndTrimmedOnLoad)
{
    manager->implementSettingsFromDictionary(
        { { QStringLiteral("checkBlacklist"), QStringLiteral(" logout , /print/ ,\n,tmp\r\n") },
            { QStringLiteral("followBlacklist"), QString() },
            { QStringLiteral("followWhitelist"), QStringLiteral("a,b") } });
    EXPECT_EQ(manager->getCheckBlacklistArray(),
        (QStringList {
            QStringLiteral("logout"), QStringLiteral("/print/"), QStringLiteral("tmp") }));
    EXPECT_TRUE(manager->getFollowBlacklistArray().isEmpty());
    const QVariantMap dict = manager->compileConfigDict();
    EXPECT_EQ(dict.value(QStringLiteral("checkBlacklist")), QStringLiteral("logout,/print/,tmp"));
    EXPECT_EQ(dict.value(QStringLiteral("followWhitelist")), QStringLiteral("a,b"));

    // Applying another configuration replaces the rules rather than adding to them.
    manager->implementSettingsFromDictionary({});
    EXPECT_EQ(manager->rulesRowCount(), 0);
    EXPECT_TRUE(manager->getSitemapRules().isEmpty());
}

TEST_F(ConfigTest, LastApplicableSitemapRuleWinsIgnoringCase)
{
    manager->implementSettingsFromDictionary({ { QStringLiteral("sitemapRules"),
        QVariantList { rule("blog", "0.3"), rule("blog/archive", "0.1"), rule("", "0.9") } } });
    struct Case
    {
        const char *url;
        const char *priority; // nullptr: no rule
    };
    const Case cases[] = {
        { "http://x.test/BLOG/archive/2020", "0.1" },
        { "http://x.test/blog/post", "0.3" },
        { "http://x.test/Blog", "0.3" },
        { "http://x.test/about", nullptr },
    };
    for (const Case &c : cases) {
        const auto r = manager->ruleThatApplies(QLatin1String(c.url));
        if (!c.priority) {
            EXPECT_FALSE(r) << c.url;
            continue;
        }
        ASSERT_TRUE(r) << c.url;
        EXPECT_EQ(r->value(QStringLiteral("priority")), QLatin1String(c.priority)) << c.url;
    }
}

TEST_F(ConfigTest, SitemapRulesTableAddsEditsAndDeletes)
{
    manager->addSitemapRule();
    manager->addSitemapRule();
    ASSERT_EQ(manager->sitemapRulesRowCount(), 2);
    EXPECT_EQ(manager->getSitemapRules().at(0).toMap(),
        (QVariantMap { { QStringLiteral("contains"), QStringLiteral("edit_me") },
            { QStringLiteral("priority"), QStringLiteral("0.5") },
            { QStringLiteral("update"), QStringLiteral("weekly") } }));
    manager->setSitemapRuleValue(1, QStringLiteral("contains"), QStringLiteral("news"));
    manager->setSitemapRuleValue(1, QStringLiteral("update"), QStringLiteral("daily"));
    manager->setSitemapRuleValue(1, QStringLiteral("bogus"), QStringLiteral("x"));
    EXPECT_EQ(manager->sitemapRuleValue(1, QStringLiteral("contains")), QStringLiteral("news"));
    EXPECT_EQ(manager->sitemapRuleValue(1, QStringLiteral("update")), QStringLiteral("daily"));
    EXPECT_FALSE(manager->getSitemapRules().at(1).toMap().contains(QStringLiteral("bogus")));

    manager->deleteSitemapRule(0);
    ASSERT_EQ(manager->sitemapRulesRowCount(), 1);
    EXPECT_EQ(
        manager->ruleThatApplies(QStringLiteral("http://a/NEWS"))->value(QStringLiteral("update")),
        QStringLiteral("daily"));
    // Stored whole as a list of dictionaries.
    EXPECT_EQ(manager->compileConfigDict().value(QStringLiteral("sitemapRules")).toList(),
        manager->getSitemapRules());
}
