// The crawl rules (do not check, do not follow, only follow) and the sitemap rules of the
// configuration on show.
#include "config/OrelConfigManager.h"

#include "common/Localize.h"
#include "common/SettingsControls.h"
#include "config/ConfigValues.h"

namespace orel {

using namespace config;

// ---- Crawl rules -----------------------------------------------------------------------------

QString OrelConfigManager::ruleKindName(RuleKind kind)
{
    switch (kind) {
    case DoNotCheck:
        return localized("Do not check");
    case DoNotFollow:
        return localized("Do not follow");
    case OnlyFollow:
        break;
    }
    return localized("Only follow");
}

QStringList &OrelConfigManager::rulesOfKind(RuleKind kind)
{
    switch (kind) {
    case DoNotCheck:
        return m_checkBlacklistArray;
    case DoNotFollow:
        return m_followBlacklistArray;
    case OnlyFollow:
        break;
    }
    return m_followWhitelistArray;
}

bool OrelConfigManager::addBlacklistRule(const QString &text, RuleKind kind)
{
    const QString fragment = text.trimmed();
    if (fragment.isEmpty())
        return false;
    rulesOfKind(kind).append(fragment);
    Q_EMIT rulesChanged();
    setEdited(true);
    return true;
}

int OrelConfigManager::rulesRowCount() const
{
    return int(m_checkBlacklistArray.size() + m_followBlacklistArray.size()
               + m_followWhitelistArray.size());
}

namespace {
struct RuleRef
{
    OrelConfigManager::RuleKind kind;
    int index;
};
} // namespace

static std::optional<RuleRef> locateRule(int row, qsizetype checks, qsizetype follows,
                                         qsizetype onlys)
{
    if (row < 0)
        return std::nullopt;
    if (row < checks)
        return RuleRef { OrelConfigManager::DoNotCheck, row };
    if (row < checks + follows)
        return RuleRef { OrelConfigManager::DoNotFollow, int(row - checks) };
    if (row < checks + follows + onlys)
        return RuleRef { OrelConfigManager::OnlyFollow, int(row - checks - follows) };
    return std::nullopt;
}

QString OrelConfigManager::rulesValue(int row, const QString &column) const
{
    const auto ref = locateRule(row, m_checkBlacklistArray.size(), m_followBlacklistArray.size(),
                                m_followWhitelistArray.size());
    if (!ref)
        return QString();
    if (column == QLatin1String("rulename"))
        return ruleKindName(ref->kind);
    if (column == QLatin1String("scope")) {
        return m_controls->blacklistCheckContentCheckBox != CheckState::Off
                ? localized("urls and content containing:")
                : localized("urls containing:");
    }
    if (column == QLatin1String("searchstring")) {
        return const_cast<OrelConfigManager *>(this)->rulesOfKind(ref->kind).at(ref->index);
    }
    return QString();
}

void OrelConfigManager::deleteBlacklistRule(int row)
{
    const auto ref = locateRule(row, m_checkBlacklistArray.size(), m_followBlacklistArray.size(),
                                m_followWhitelistArray.size());
    if (!ref)
        return;
    QStringList &list = rulesOfKind(ref->kind);
    list.removeAt(ref->index);
    Q_EMIT rulesChanged();
    setEdited(true);
}

void OrelConfigManager::setRulesValue(int row, const QString &text)
{
    const auto ref = locateRule(row, m_checkBlacklistArray.size(), m_followBlacklistArray.size(),
                                m_followWhitelistArray.size());
    if (!ref)
        return;
    QStringList &list = rulesOfKind(ref->kind);
    // The edited rule goes to the end of its kind's list; emptied, it is simply removed.
    list.removeAt(ref->index);
    const QString fragment = text.trimmed();
    if (!fragment.isEmpty())
        list.append(fragment);
    Q_EMIT rulesChanged();
    setEdited(true);
}

// ---- Sitemap rules ---------------------------------------------------------------------------

void OrelConfigManager::addSitemapRule()
{
    m_sitemapRules.append(newSitemapRule(QStringLiteral("edit_me"), QStringLiteral("0.5"),
                                         QStringLiteral("weekly")));
    Q_EMIT sitemapRulesChanged();
    setEdited(true);
}

void OrelConfigManager::deleteSitemapRule(int row)
{
    if (row < 0 || row >= m_sitemapRules.size())
        return;
    m_sitemapRules.removeAt(row);
    Q_EMIT sitemapRulesChanged();
    setEdited(true);
}

QString OrelConfigManager::sitemapRuleValue(int row, const QString &column) const
{
    if (row < 0 || row >= m_sitemapRules.size())
        return QString();
    return m_sitemapRules.at(row).toMap().value(column).toString();
}

void OrelConfigManager::setSitemapRuleValue(int row, const QString &column, const QString &value)
{
    if (row < 0 || row >= m_sitemapRules.size())
        return;
    if (column != QLatin1String("contains") && column != QLatin1String("priority")
        && column != QLatin1String("update"))
        return;
    QVariantMap rule = m_sitemapRules.at(row).toMap();
    rule.insert(column, value);
    m_sitemapRules[row] = rule;
    Q_EMIT sitemapRulesChanged();
    setEdited(true);
}

std::optional<QVariantMap> OrelConfigManager::ruleThatApplies(const QString &url) const
{
    std::optional<QVariantMap> found;
    for (const QVariant &r : m_sitemapRules) {
        const QVariantMap rule = r.toMap();
        const QString fragment = rule.value(QStringLiteral("contains")).toString();
        // An empty fragment is found nowhere, as a text search for nothing finds nothing.
        if (!fragment.isEmpty() && url.contains(fragment, Qt::CaseInsensitive))
            found = rule;
    }
    return found;
}

} // namespace orel
