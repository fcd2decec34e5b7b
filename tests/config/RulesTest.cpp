#include "ConfigTestSupport.h"

using namespace orel;
using orel::test::ConfigTest;

namespace {

QVariantMap rule(const QString &contains, const QString &priority)
{
    return { { u"contains"_s, contains }, { u"priority"_s, priority },
        { u"update"_s, u"weekly"_s } };
}

QStringList column(const OrelConfigManager &m, const QString &id)
{
    QStringList out;
    for (int row = 0; row < m.rulesRowCount(); ++row)
        out.append(m.rulesValue(row, id));
    return out;
}

} // namespace

TEST_F(ConfigTest, RulesTableShowsTheThreeListsInOrderAndEditsMoveToTheEnd)
{
    manager->addBlacklistRule(u"only"_s, OrelConfigManager::OnlyFollow);
    manager->addBlacklistRule(u"check1"_s, OrelConfigManager::DoNotCheck);
    manager->addBlacklistRule(u"  "_s, OrelConfigManager::DoNotFollow);
    manager->addBlacklistRule(u"check2"_s, OrelConfigManager::DoNotCheck);
    manager->addBlacklistRule(u"follow"_s, OrelConfigManager::DoNotFollow);
    EXPECT_TRUE(manager->isEdited());
    EXPECT_EQ(column(*manager, u"searchstring"_s),
        (QStringList { u"check1"_s, u"check2"_s, u"follow"_s, u"only"_s }));
    EXPECT_EQ(column(*manager, u"rulename"_s),
        (QStringList {
            u"Do not check"_s, u"Do not check"_s, u"Do not follow"_s, u"Only follow"_s }));
    EXPECT_EQ(manager->rulesValue(3, u"scope"_s), u"urls containing:"_s);
    controls->blacklistCheckContentCheckBox = CheckState::On;
    // Every kind says "content", whatever it is.
    EXPECT_EQ(manager->rulesValue(3, u"scope"_s), u"urls and content containing:"_s);
    EXPECT_TRUE(manager->rulesValue(4, u"searchstring"_s).isEmpty());
    EXPECT_TRUE(manager->rulesValue(0, u"nosuchcolumn"_s).isEmpty());

    manager->setRulesValue(0, u"check1 edited"_s);
    manager->setRulesValue(2, u"follow2"_s);
    EXPECT_EQ(manager->getCheckBlacklistArray(), (QStringList { u"check2"_s, u"check1 edited"_s }));
    EXPECT_EQ(manager->getFollowBlacklistArray(), QStringList { u"follow2"_s });
    manager->deleteBlacklistRule(1);
    manager->deleteBlacklistRule(7); // out of range: nothing
    manager->deleteBlacklistRule(-1);
    EXPECT_EQ(column(*manager, u"searchstring"_s),
        (QStringList { u"check2"_s, u"follow2"_s, u"only"_s }));
}

TEST_F(ConfigTest, RulesAreStoredCommaJoinedAndTrimmedOnLoad)
{
    manager->implementSettingsFromDictionary(
        { { u"checkBlacklist"_s, u" logout , /print/ ,\n,\ttmp dir\r\n"_s },
            { u"followBlacklist"_s, QString() }, { u"followWhitelist"_s, u"a,b"_s } });
    EXPECT_EQ(
        manager->getCheckBlacklistArray(), (QStringList { u"logout"_s, u"/print/"_s, u"tmp dir"_s }));
    EXPECT_TRUE(manager->getFollowBlacklistArray().isEmpty());
    const QVariantMap dict = manager->compileConfigDict();
    EXPECT_EQ(dict.value(u"checkBlacklist"_s), u"logout,/print/,tmp dir"_s);
    EXPECT_EQ(dict.value(u"followWhitelist"_s), u"a,b"_s);

    // Applying another configuration replaces the rules rather than adding to them.
    manager->implementSettingsFromDictionary({});
    EXPECT_EQ(manager->rulesRowCount(), 0);
    EXPECT_TRUE(manager->getSitemapRules().isEmpty());
}

TEST_F(ConfigTest, LastApplicableSitemapRuleWinsIgnoringCase)
{
    manager->implementSettingsFromDictionary({ { u"sitemapRules"_s,
        QVariantList { rule(u"blog"_s, u"0.3"_s), rule(u"blog/archive"_s, u"0.1"_s),
            rule(QString(), u"0.9"_s) } } });
    const std::pair<QString, QString> cases[] = { // url, priority (empty: no rule applies)
        { u"http://x.test/BLOG/archive/2020"_s, u"0.1"_s },
        { u"http://x.test/blog/post"_s, u"0.3"_s }, { u"http://x.test/Blog"_s, u"0.3"_s },
        { u"http://x.test/about"_s, QString() }
    };
    for (const auto &[url, priority] : cases) {
        const auto r = manager->ruleThatApplies(url);
        EXPECT_EQ(r ? r->value(u"priority"_s).toString() : QString(), priority)
            << url.toStdString();
    }
}

TEST_F(ConfigTest, SitemapRulesTableAddsEditsAndDeletes)
{
    manager->addSitemapRule();
    manager->addSitemapRule();
    ASSERT_EQ(manager->sitemapRulesRowCount(), 2);
    EXPECT_EQ(manager->getSitemapRules().at(0).toMap(), rule(u"edit_me"_s, u"0.5"_s));
    manager->setSitemapRuleValue(1, u"contains"_s, u"news"_s);
    manager->setSitemapRuleValue(1, u"update"_s, u"daily"_s);
    manager->setSitemapRuleValue(1, u"bogus"_s, u"x"_s);
    EXPECT_EQ(manager->sitemapRuleValue(1, u"contains"_s), u"news"_s);
    EXPECT_FALSE(manager->getSitemapRules().at(1).toMap().contains(u"bogus"_s));

    manager->deleteSitemapRule(0);
    ASSERT_EQ(manager->sitemapRulesRowCount(), 1);
    EXPECT_EQ(manager->ruleThatApplies(u"http://a/NEWS"_s)->value(u"update"_s), u"daily"_s);
    // Stored whole as a list of dictionaries.
    EXPECT_EQ(
        manager->compileConfigDict().value(u"sitemapRules"_s).toList(), manager->getSitemapRules());
}
