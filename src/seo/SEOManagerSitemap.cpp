// The sitemap's pages and its XML text: which admitted pages go in, their order, their change
// frequency and priority.
#include "seo/SEOManager.h"

#include "common/SettingsControls.h"
#include "common/UrlParts.h"
#include "config/OrelConfigManager.h"
#include "links/LinkCheckerUrl.h"
#include "seo/SitemapTable.h"

#include <QDateTime>
#include <QLocale>

#include <algorithm>

namespace orel {

namespace {

// The maker's address in the generator comment.
constexpr QLatin1StringView kMakerAddress("https://orrelwick.org");

// A rule's value for key when a rule applies, else otherwise.
QString ruleValue(const std::optional<QVariantMap> &rule, const QString &key,
                  const QString &otherwise)
{
    return rule ? rule->value(key).toString() : otherwise;
}

QString priorityByDistance(int distance)
{
    switch (distance) {
    case 0:
        return QStringLiteral("1.0");
    case 1:
        return QStringLiteral("0.5");
    case 2:
        return QStringLiteral("0.3");
    default:
        return QStringLiteral("0.2");
    }
}

} // namespace

void SEOManager::setSitemapContext(SettingsControls *controls, OrelConfigManager *configManager)
{
    m_controls = controls;
    m_configManager = configManager;
}

SitemapTable &SEOManager::builtInSitemapTable()
{
    if (!m_builtInSitemapTable)
        m_builtInSitemapTable = std::make_unique<SitemapTable>(*this);
    return *m_builtInSitemapTable;
}

void SEOManager::setSitemapTableView(TableDescription *table)
{
    m_sitemapTableView = table;
    clearSitemapCollection();
}

TableDescription *SEOManager::getSitemapTableView()
{
    return m_sitemapTableView ? m_sitemapTableView : &builtInSitemapTable();
}

QString SEOManager::getChangeFrequencyForTag(int tag)
{
    static const char *const words[] = { "none",   "always",  "hourly", "daily",
                                         "weekly", "monthly", "yearly", "never" };
    if (tag < 0 || tag > 7)
        return QString(QLatin1String(""));
    return QLatin1String(words[tag]);
}

void SEOManager::clearSitemapCollection()
{
    m_sitemapCollection.reset();
}

void SEOManager::sitemapColumnClicked()
{
    clearSitemapCollection();
    Q_EMIT sitemapChanged();
}

bool SEOManager::pageBelongsInSitemap(LinkCheckerUrl *page) const
{
    const bool noBlacklisted = m_controls && m_controls->xmlNoBlacklisted != CheckState::Off;
    if (noBlacklisted && page->isBlacklisted())
        return false;
    return page->canonicalMatchesUrl();
}

// The table's order: a numeric field by its number, any other by its text ignoring case. Pages
// that compare equal keep their order of admission.
void SEOManager::sortSitemapCollection(std::vector<LinkCheckerUrl *> &pages) const
{
    TableDescription *table = m_sitemapTableView
            ? m_sitemapTableView
            : static_cast<TableDescription *>(m_builtInSitemapTable.get());
    const std::optional<SortDescriptor> sort = table ? table->firstSortDescriptor() : std::nullopt;
    if (!sort || sort->key.isEmpty())
        return;
    const QString key = sort->key;
    const bool ascending = sort->ascending;
    if (OrelDataObject::isNumber(key)) {
        std::stable_sort(pages.begin(), pages.end(), [&](LinkCheckerUrl *a, LinkCheckerUrl *b) {
            const float x = a->getFieldAsNumberByName(key), y = b->getFieldAsNumberByName(key);
            return ascending ? x < y : y < x;
        });
        return;
    }
    // Each page's text is read once, not once per comparison.
    std::vector<std::pair<QString, LinkCheckerUrl *>> keyed;
    keyed.reserve(pages.size());
    for (LinkCheckerUrl *p : pages)
        keyed.emplace_back(p->getFieldByName(key), p);
    std::stable_sort(keyed.begin(), keyed.end(), [&](const auto &a, const auto &b) {
        const int c = a.first.compare(b.first, Qt::CaseInsensitive);
        return ascending ? c < 0 : c > 0;
    });
    for (std::size_t i = 0; i < keyed.size(); ++i)
        pages[i] = keyed[i].second;
}

const std::vector<LinkCheckerUrl *> &SEOManager::getSitemapCollection()
{
    if (!m_sitemapCollection) {
        std::vector<LinkCheckerUrl *> pages;
        pages.reserve(items().size());
        for (OrelDataObject *item : items()) {
            auto *page = static_cast<LinkCheckerUrl *>(item);
            if (pageBelongsInSitemap(page))
                pages.push_back(page);
        }
        sortSitemapCollection(pages);
        m_sitemapCollection = std::move(pages);
    }
    return *m_sitemapCollection;
}

void SEOManager::updateChangeFrequencies()
{
    const QString chosen =
            getChangeFrequencyForTag(m_controls ? m_controls->sitemapChangeFrequency : 0);
    for (OrelDataObject *item : items()) {
        auto *page = static_cast<LinkCheckerUrl *>(item);
        std::optional<QVariantMap> rule;
        if (m_configManager)
            rule = m_configManager->ruleThatApplies(page->getActualLinkUrl());
        page->setChangeFrequency(ruleValue(rule, QStringLiteral("update"), chosen));
    }
    Q_EMIT sitemapChanged();
}

QString SEOManager::sitemapXML(const QDateTime &when)
{
    const int tag = m_controls ? m_controls->sitemapChangeFrequency : 0;
    const QString chosenFrequency = getChangeFrequencyForTag(tag);
    const bool priorities = !m_controls || m_controls->sitemapPriority != QLatin1String("None");
    const QString changefreq = QStringLiteral("\t\t<changefreq>");
    const QString priority = QStringLiteral("\t\t<priority>");

    QString out;
    out.reserve(100);
    out += QLatin1String("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                         "<urlset xmlns=\"http://www.sitemaps.org/schemas/sitemap/0.9\">\n");
    out += QLatin1String("<!-- created with Kestovan from ") + kMakerAddress + QLatin1String(" on ")
            + QLocale().toString(when, QLocale::LongFormat) + QLatin1String("-->\n\n");
    for (LinkCheckerUrl *page : getSitemapCollection()) {
        // A login in a page's address is never published.
        const QString url = UrlParts::withoutUserInfo(page->getActualLinkUrl());
        out += QLatin1String("\t<url>\n\t\t<loc>") + url + QLatin1String("</loc>\n");
        std::optional<QVariantMap> rule;
        if (m_configManager)
            rule = m_configManager->ruleThatApplies(page->getActualLinkUrl());
        if (tag != 0) {
            // The page's own frequency only says whether it has one; the word is the pop-up's.
            const QString own = page->getChangeFrequency().isEmpty() ? QString() : chosenFrequency;
            out += changefreq + ruleValue(rule, QStringLiteral("update"), own)
                    + QLatin1String("</changefreq>\n");
        }
        if (priorities) {
            out += priority
                    + ruleValue(rule, QStringLiteral("priority"),
                                priorityByDistance(page->getDistanceFromHome()))
                    + QLatin1String("</priority>\n");
        }
        out += QLatin1String("\t</url>\n");
    }
    out += QLatin1String("</urlset>");
    // A plain replacement over the whole text: an "&amp;" already in a URL is escaped again.
    out.replace(QLatin1Char('&'), QLatin1String("&amp;"));
    return out;
}

} // namespace orel
