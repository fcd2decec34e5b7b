#include "ConfigTestSupport.h"

using namespace orel;
using orel::test::ConfigTest;

namespace {

QVariantMap rule(const QString &contains, const QString &priority)
{
    return { { u"contains"_s, contains }, { u"priority"_s, priority },
        { u"update"_s, u"weekly"_s } };
}

// One column of the rules table, joined with "|".
QString column(const OrelConfigManager &m, const QString &id)
{
    QStringList out;
    for (int row = 0; row < m.rulesRowCount(); ++row)
        out.append(m.rulesValue(row, id));
    return out.join(u'|');
}

} // namespace

TEST_F(ConfigTest, RulesTableShowsTheThreeListsInOrderAndEditsMoveToTheEnd)
{
    using M = OrelConfigManager;
    for (const auto &[text, kind] : { std::pair { u"only"_s, M::OnlyFollow },
             { u"check1"_s, M::DoNotCheck }, { u"  "_s, M::DoNotFollow },
             { u"check2"_s, M::DoNotCheck }, { u"follow"_s, M::DoNotFollow } })
        manager->addBlacklistRule(text, kind); // blank text adds nothing
    EXPECT_TRUE(manager->isEdited());
    EXPECT_EQ(column(*manager, u"searchstring"_s), u"check1|check2|follow|only"_s);
    EXPECT_EQ(
        column(*manager, u"rulename"_s), u"Do not check|Do not check|Do not follow|Only follow"_s);
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
    for (const int row : { 1, 7, -1 }) // out of range: nothing
        manager->deleteBlacklistRule(row);
    EXPECT_EQ(column(*manager, u"searchstring"_s), u"check2|follow2|only"_s);
}

TEST_F(ConfigTest, RulesAreStoredCommaJoinedAndTrimmedOnLoad)
{
    manager->implementSettingsFromDictionary(
        { { u"checkBlacklist"_s, u" logout , /print/ ,\n,\ttmp dir\r\n"_s },
            { u"followBlacklist"_s, QString() }, { u"followWhitelist"_s, u"a,b"_s } });
    EXPECT_EQ(manager->getCheckBlacklistArray(),
        (QStringList { u"logout"_s, u"/print/"_s, u"tmp dir"_s }));
    EXPECT_TRUE(manager->getFollowBlacklistArray().isEmpty());
    const QVariantMap dict = manager->compileConfigDict();
    EXPECT_EQ(dict.value(u"checkBlacklist"_s), u"logout,/print/,tmp dir"_s);
    EXPECT_EQ(dict.value(u"followWhitelist"_s), u"a,b"_s);

    // Applying another configuration replaces the rules rather than adding to them.
    manager->implementSettingsFromDictionary({});
    EXPECT_EQ(manager->rulesRowCount(), 0);
    EXPECT_TRUE(manager->getSitemapRules().isEmpty());
}

TEST_F(ConfigTest, LastApplicableSitemapRuleWinsIgnoringCaseAndTheTableEditsRules)
{
    manager->implementSettingsFromDictionary({ { u"sitemapRules"_s,
        QVariantList { rule(u"blog"_s, u"0.3"_s), rule(u"blog/archive"_s, u"0.1"_s),
            rule(QString(), u"0.9"_s) } } }); // an empty fragment is found nowhere
    const std::pair<const char *, const char *> cases[] = { // url, priority ("": no rule applies)
        { "http://x.test/BLOG/archive/2020", "0.1" }, { "http://x.test/blog/post", "0.3" },
        { "http://x.test/Blog", "0.3" }, { "http://x.test/about", "" }
    };
    for (const auto &[url, priority] : cases) {
        const auto r = manager->ruleThatApplies(QLatin1String(url));
        EXPECT_EQ(r ? r->value(u"priority"_s).toString() : QString(), QLatin1String(priority))
            << url;
    }

    manager->addSitemapRule();
    EXPECT_EQ(manager->getSitemapRules().at(3).toMap(), rule(u"edit_me"_s, u"0.5"_s));
    manager->setSitemapRuleValue(3, u"contains"_s, u"news"_s);
    manager->setSitemapRuleValue(3, u"bogus"_s, u"x"_s);
    EXPECT_FALSE(manager->getSitemapRules().at(3).toMap().contains(u"bogus"_s));
    manager->deleteSitemapRule(0);
    EXPECT_EQ(manager->sitemapRuleValue(2, u"contains"_s), u"news"_s);
    EXPECT_FALSE(manager->ruleThatApplies(u"http://x.test/blog"_s));
    // Stored whole as a list of dictionaries.
    EXPECT_EQ(
        manager->compileConfigDict().value(u"sitemapRules"_s).toList(), manager->getSitemapRules());
}
