// The link views of a crawl's results: visibility, the rows of the link table and of the two
// outlines, and the row colours.
#include "reports/LinkViews.h"

#include "common/Localize.h"
#include "common/SettingsControls.h"
#include "common/UserDefaults.h"
#include "links/LinkCheckerUrl.h"
#include "links/OrelOnPage.h"
#include "reports/bhDataSource.h"

#include <algorithm>

namespace orel {

namespace {

const char *const kColourPrefixes[] = { nullptr, "Tillery2xxColour", "Tillery3xxColour",
                                        "Tillery4xxColour", "Tillery5xxColour" };

// Colours until the user picks others: green, amber, orange-red, red; a pale grey for "none".
const Colour kDefaultColours[] = { { 0.9, 0.9, 0.9, 1 },
                                   { 0.80, 0.95, 0.80, 1 },
                                   { 1.00, 0.90, 0.60, 1 },
                                   { 1.00, 0.75, 0.60, 1 },
                                   { 1.00, 0.60, 0.60, 1 } };

} // namespace

LinkViews::LinkViews(LinkResults &results, const SettingsControls &controls)
    : m_results(results), m_controls(controls)
{
    loadColoursFromDefaults();
}

void LinkViews::clear()
{
    m_pairings.clear();
    m_pagesNeedingAttention.reset();
    m_linksFilterTag = 0;
    m_searchText.clear();
}

const std::vector<OrelDataObject *> &LinkViews::items() const
{
    return m_results.linkSource().items();
}

LinkCheckerUrl *LinkViews::recordAt(int index) const
{
    const auto &all = items();
    if (index < 0 || std::size_t(index) >= all.size())
        return nullptr;
    return static_cast<LinkCheckerUrl *>(all[std::size_t(index)]);
}

int LinkViews::recordCount() const
{
    return int(items().size());
}

const QList<LinkCheckerUrl *> *LinkViews::linksOnPage(const QString &page) const
{
    const PageIndex *index = m_results.pageIndex();
    if (!index)
        return nullptr;
    const auto it = index->constFind(page);
    return it == index->cend() ? nullptr : &it.value();
}

int LinkViews::countItemsforThisPage(const QString &page) const
{
    const QList<LinkCheckerUrl *> *links = linksOnPage(page);
    return links ? int(links->size()) : 0;
}

void LinkViews::setBadLinksOnly(bool on)
{
    m_badLinksOnly = on;
    m_results.linkSource().reloadData();
}

void LinkViews::filter()
{
    for (OrelDataObject *item : items()) {
        auto *record = static_cast<LinkCheckerUrl *>(item);
        bool visible = m_searchText.isEmpty() || record->contains(m_searchText);
        if (m_linksFilterTag == 2 && !record->isInternal())
            visible = false;
        else if (m_linksFilterTag == 4 && record->isInternal())
            visible = false;
        else if (m_linksFilterTag == 3 && !record->getIsImage())
            visible = false;
        record->setVisible(visible);
    }
    m_results.linkSource().reloadData();
}

bool LinkViews::isShown(const LinkCheckerUrl *record) const
{
    return record->getVisible() && (!m_badLinksOnly || record->isInBadCollection());
}

OrelDataObject *LinkViews::getnthItem(int index)
{
    if (m_badLinksOnly) {
        if (m_results.badCollectionCount() == 0)
            return nullptr;
        int seen = 0;
        for (OrelDataObject *item : items()) {
            if (static_cast<LinkCheckerUrl *>(item)->isInBadCollection() && seen++ == index)
                return item;
        }
        // Fewer bad records than asked for: the plain answer below.
    }
    return recordAt(index);
}

OrelDataObject *LinkViews::getnthVisibleItem(int n)
{
    if (m_badLinksOnly && m_results.badCollectionCount() == 0)
        return nullptr;
    const int count = recordCount();
    int seen = 0;
    for (int i = 0; i < count; ++i) {
        auto *record = static_cast<LinkCheckerUrl *>(m_results.linkSource().getnthSortedItem(i));
        if (!record || !isShown(record))
            continue;
        if (seen++ == n)
            return record;
    }
    return nullptr;
}

int LinkViews::countVisible(const std::vector<OrelDataObject *> *collection) const
{
    int n = 0;
    for (OrelDataObject *item : items()) {
        auto *record = static_cast<LinkCheckerUrl *>(item);
        if (record->getVisible() && (collection || record->isInBadCollection()))
            ++n;
    }
    return n;
}

int LinkViews::numberOfRows() const
{
    if (m_searchText.isEmpty() && m_linksFilterTag == 0)
        return m_badLinksOnly ? m_results.badCollectionCount() : recordCount();
    return m_badLinksOnly ? countVisible(nullptr) : countVisible(&items());
}

QString LinkViews::objectValue(const QString &columnId, int row)
{
    OrelDataObject *item = getnthVisibleItem(row);
    return item ? item->getFieldByName(columnId) : QString(QLatin1String(""));
}

std::vector<LinkCheckerUrl *> LinkViews::visibleRows(bool badOnly) const
{
    std::vector<LinkCheckerUrl *> rows;
    if (badOnly && m_results.badCollectionCount() == 0)
        return rows;
    const int count = recordCount();
    rows.reserve(std::size_t(count));
    for (int i = 0; i < count; ++i) {
        auto *record = static_cast<LinkCheckerUrl *>(m_results.linkSource().getnthSortedItem(i));
        if (record && record->getVisible() && (!badOnly || record->isInBadCollection()))
            rows.push_back(record);
    }
    return rows;
}

QString LinkViews::showHideGoodLinks()
{
    setBadLinksOnly(!m_badLinksOnly);
    return m_badLinksOnly ? localized("Show all links") : localized("Bad links only");
}

int LinkViews::numberOfOccurrences(LinkCheckerUrl *record) const
{
    // Children appear only once the crawl no longer changes them.
    if (!record || !m_results.childrenShown())
        return 0;
    return int(record->onPageCount());
}

OrelOnPage *LinkViews::occurrence(LinkCheckerUrl *record, int index)
{
    if (!record || index < 0)
        return nullptr;
    return &m_pairings.try_emplace({ record, index }, record, index).first->second;
}

int LinkViews::countVisibleItemsforThisPage(const QString &page) const
{
    if (!m_results.childrenShown())
        return 0;
    const QList<LinkCheckerUrl *> *links = linksOnPage(page);
    if (!links)
        return 0;
    int n = 0;
    for (const LinkCheckerUrl *record : *links) {
        if (isShown(record))
            ++n;
    }
    return n;
}

bool LinkViews::pageHasAtLeastOneVisibleItem(const QString &page) const
{
    const QList<LinkCheckerUrl *> *links = linksOnPage(page);
    if (!links)
        return false;
    if (!m_badLinksOnly)
        return true;
    return std::any_of(links->cbegin(), links->cend(),
                       [this](const LinkCheckerUrl *record) { return isShown(record); });
}

int LinkViews::countPagesWithVisibleItems()
{
    m_pagesNeedingAttention.emplace();
    const PageIndex *index = m_results.pageIndex();
    if (!index)
        return 0;
    for (auto it = index->cbegin(); it != index->cend(); ++it) {
        for (const LinkCheckerUrl *record : it.value()) {
            if (isShown(record)) {
                m_pagesNeedingAttention->append(it.key());
                break;
            }
        }
    }
    return int(m_pagesNeedingAttention->size());
}

QString LinkViews::getNthPageWithVisibleItems(int n) const
{
    if (!m_pagesNeedingAttention)
        return {};
    if (n < 0 || n >= m_pagesNeedingAttention->size())
        return QString(QLatin1String(""));
    return m_pagesNeedingAttention->at(n);
}

OrelOnPage *LinkViews::getNthVisibleItemForPage(int n, const QString &page)
{
    const QList<LinkCheckerUrl *> *links = linksOnPage(page);
    if (!links)
        return nullptr;
    int seen = 0;
    for (qsizetype p = 0; p < links->size(); ++p) {
        LinkCheckerUrl *record = links->at(p);
        if (!isShown(record))
            continue;
        if (seen++ != n)
            continue;
        // A record found several times on one page: the k-th time here is its k-th entry of
        // this page in its own list.
        int k = 0;
        for (qsizetype before = 0; before < p; ++before) {
            if (links->at(before) == record)
                ++k;
        }
        const QStringList &pages = record->getOnPageUrlArray();
        for (int i = 0; i < pages.size(); ++i) {
            if (pages.at(i) == page && k-- == 0)
                return occurrence(record, i);
        }
        return nullptr;
    }
    return nullptr;
}

QString LinkViews::byLinkValue(const LinkCheckerUrl *record, const QString &columnId)
{
    if (!record || columnId == QLatin1String("linktext"))
        return QString(QLatin1String(""));
    return record->getFieldByName(columnId);
}

QString LinkViews::byLinkValue(const OrelOnPage *occurrence, const QString &columnId)
{
    static const QStringList linkColumns { QStringLiteral("linkurl"), QStringLiteral("status"),
                                           QStringLiteral("redir"), QStringLiteral("distance"),
                                           QStringLiteral("timestamp") };
    if (!occurrence || linkColumns.contains(columnId))
        return QString(QLatin1String(""));
    return occurrence->getFieldByName(columnId);
}

QString LinkViews::byPageValue(const QString &page, const QString &columnId)
{
    return columnId == QLatin1String("linkurl") ? page : QString(QLatin1String(""));
}

QString LinkViews::byPageValue(const OrelOnPage *occurrence, const QString &columnId)
{
    return occurrence ? occurrence->getFieldByName(columnId) : QString(QLatin1String(""));
}

void LinkViews::setClassColour(int colourClass, const Colour &colour)
{
    if (colourClass >= 0 && colourClass <= 4)
        m_classColours[colourClass] = colour;
}

Colour LinkViews::classColour(int colourClass) const
{
    return m_classColours[colourClass >= 1 && colourClass <= 4 ? colourClass : 0];
}

void LinkViews::loadColoursFromDefaults()
{
    for (int c = 0; c <= 4; ++c) {
        m_classColours[c] = kDefaultColours[c];
        if (!kColourPrefixes[c])
            continue;
        const QString prefix = QLatin1String(kColourPrefixes[c]);
        if (!UserDefaults::contains(prefix + QLatin1Char('R')))
            continue;
        m_classColours[c] = Colour { UserDefaults::doubleValue(prefix + QLatin1Char('R')),
                                     UserDefaults::doubleValue(prefix + QLatin1Char('G')),
                                     UserDefaults::doubleValue(prefix + QLatin1Char('B')),
                                     UserDefaults::doubleValue(prefix + QLatin1Char('A')) };
    }
}

void LinkViews::saveColoursToDefaults() const
{
    for (int c = 1; c <= 4; ++c) {
        const QString prefix = QLatin1String(kColourPrefixes[c]);
        UserDefaults::setValue(prefix + QLatin1Char('R'), float(m_classColours[c].r));
        UserDefaults::setValue(prefix + QLatin1Char('G'), float(m_classColours[c].g));
        UserDefaults::setValue(prefix + QLatin1Char('B'), float(m_classColours[c].b));
        UserDefaults::setValue(prefix + QLatin1Char('A'), float(m_classColours[c].a));
    }
}

std::optional<Colour> LinkViews::labelColorForRow(int row)
{
    if (!SettingsControls::isOn(m_controls.displayLabelButton))
        return std::nullopt;
    return rowColour(static_cast<LinkCheckerUrl *>(getnthVisibleItem(row)));
}

std::optional<Colour> LinkViews::rowColour(const LinkCheckerUrl *record) const
{
    // No colour stands for the transparent one.
    if (!SettingsControls::isOn(m_controls.displayLabelButton))
        return std::nullopt;
    const int colourClass = record ? record->getColour() : 0;
    if (colourClass < 1 || colourClass > 4)
        return std::nullopt;
    return m_classColours[colourClass];
}

} // namespace orel
