// The link views of a crawl's results: visibility, the rows of the link table and of the two
// outlines, and the row colours.
#include "reports/LinkViews.h"

#include "common/Localize.h"
#include "common/SettingsControls.h"
#include "common/UserDefaults.h"
#include "links/LinkCheckerUrl.h"
#include "links/OrelOnPage.h"
#include "reports/bhDataSource.h"

#include <QMetaObject>

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
    Q_EMIT aboutToReset();
    m_pairings.clear();
    m_pagesNeedingAttention.reset();
    m_linksFilterTag = 0;
    m_searchText.clear();
    m_everyRecordVisible = true;
    m_rows.clear();
    m_rank.clear();
    m_pendingAdded.clear();
    m_pendingChanged.clear();
    m_pendingMark.clear();
    m_childrenShown = m_results.childrenShown();
}

void LinkViews::cleared()
{
    m_orderGeneration = m_results.linkSource().orderGeneration();
    Q_EMIT resetDone();
}

// ---- The index ---------------------------------------------------------------------------------

void LinkViews::noteAdded(LinkCheckerUrl *record)
{
    // Appended items sort at the end until the next sort.
    const quint32 id = record->getID();
    if (id >= m_rank.size())
        m_rank.resize(std::max<std::size_t>(id + 1, m_rank.size() * 2), -1);
    m_rank[id] = int(m_results.linkSource().getCount()) - 1;
    m_pendingAdded.push_back(record);
    scheduleFlush();
}

void LinkViews::noteChanged(LinkCheckerUrl *record)
{
    const quint32 id = record->getID();
    if (id >= m_pendingMark.size())
        m_pendingMark.resize(std::max<std::size_t>(id + 1, m_pendingMark.size() * 2));
    if (m_pendingMark[id])
        return;
    m_pendingMark[id] = true;
    m_pendingChanged.push_back(record);
    scheduleFlush();
}

void LinkViews::noteChildrenShown()
{
    if (m_results.childrenShown() == m_childrenShown)
        return;
    flush();
    Q_EMIT aboutToReset();
    m_childrenShown = m_results.childrenShown();
    Q_EMIT resetDone();
}

void LinkViews::scheduleFlush()
{
    if (m_flushScheduled)
        return;
    m_flushScheduled = true;
    QMetaObject::invokeMethod(this, &LinkViews::flush, Qt::QueuedConnection);
}

void LinkViews::flush()
{
    m_flushScheduled = false;
    if (m_results.linkSource().orderGeneration() != m_orderGeneration) {
        rebuild(); // covers whatever was announced
        return;
    }
    applyAdded();
    std::vector<LinkCheckerUrl *> changed;
    changed.swap(m_pendingChanged);
    for (LinkCheckerUrl *record : changed) {
        m_pendingMark[record->getID()] = false;
        applyChanged(record);
    }
}

void LinkViews::applyAdded()
{
    // New records rank after every record in the index, so the shown ones go at its end.
    std::vector<LinkCheckerUrl *> added;
    added.swap(m_pendingAdded);
    std::erase_if(added, [this](const LinkCheckerUrl *r) { return !isShown(r); });
    if (added.empty())
        return;
    const int first = rowCount();
    Q_EMIT rowsAboutToBeInserted(first, first + int(added.size()) - 1);
    m_rows.insert(m_rows.end(), added.begin(), added.end());
    Q_EMIT rowsInserted();
}

void LinkViews::applyChanged(LinkCheckerUrl *record)
{
    const int rank = rankOf(record);
    if (rank < 0)
        return;
    const std::size_t at = lowerBound(rank);
    const bool inIndex = at < m_rows.size() && m_rows[at] == record;
    const int row = int(at);
    if (inIndex && isShown(record)) {
        Q_EMIT rowsChanged(row, row);
    } else if (inIndex) {
        Q_EMIT rowsAboutToBeRemoved(row, row);
        m_rows.erase(m_rows.begin() + qsizetype(at));
        Q_EMIT rowsRemoved();
    } else if (isShown(record)) {
        Q_EMIT rowsAboutToBeInserted(row, row);
        m_rows.insert(m_rows.begin() + qsizetype(at), record);
        Q_EMIT rowsInserted();
    }
}

void LinkViews::rebuild()
{
    Q_EMIT aboutToReset();
    rebuildIndex();
    Q_EMIT resetDone();
}

void LinkViews::rebuildIndex()
{
    const bhDataSource &source = m_results.linkSource();
    const int count = int(source.getCount());
    m_rows.clear();
    m_rank.assign(std::size_t(std::max(source.getHighestId(), 0)) + 1, -1);
    for (int i = 0; i < count; ++i) {
        auto *record = static_cast<LinkCheckerUrl *>(source.getnthSortedItem(i));
        if (!record)
            continue;
        if (record->getID() < m_rank.size())
            m_rank[record->getID()] = i;
        if (isShown(record))
            m_rows.push_back(record);
    }
    m_pendingAdded.clear();
    for (LinkCheckerUrl *record : m_pendingChanged)
        m_pendingMark[record->getID()] = false;
    m_pendingChanged.clear();
    m_orderGeneration = source.orderGeneration();
}

int LinkViews::rankOf(const LinkCheckerUrl *record) const
{
    const quint32 id = record->getID();
    return id < m_rank.size() ? m_rank[id] : -1;
}

std::size_t LinkViews::lowerBound(int rank) const
{
    const auto it =
            std::lower_bound(m_rows.cbegin(), m_rows.cend(), rank,
                             [this](const LinkCheckerUrl *row, int r) { return rankOf(row) < r; });
    return std::size_t(it - m_rows.cbegin());
}

LinkCheckerUrl *LinkViews::rowAt(int row) const
{
    return row >= 0 && row < rowCount() ? m_rows[std::size_t(row)] : nullptr;
}

int LinkViews::rowOf(const LinkCheckerUrl *record) const
{
    const int rank = record ? rankOf(record) : -1;
    if (rank < 0)
        return -1;
    const std::size_t at = lowerBound(rank);
    return at < m_rows.size() && m_rows[at] == record ? int(at) : -1;
}

void LinkViews::sortByColumn(const QString &columnId, bool ascending)
{
    flush();
    m_results.linkSource().sortByColumn(columnId, ascending,
                                        OrelDataObject::isNumber(columnId)
                                                ? bhDataSource::SortAsNumber
                                                : bhDataSource::SortAsText);
    rebuild();
    m_results.linkSource().reloadData();
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

const QList<PageLink> *LinkViews::linksOnPage(const QString &page) const
{
    const PageIndex *index = m_results.pageIndex();
    if (!index)
        return nullptr;
    const auto it = index->constFind(page);
    return it == index->cend() ? nullptr : &it.value();
}

int LinkViews::countItemsforThisPage(const QString &page) const
{
    const QList<PageLink> *links = linksOnPage(page);
    return links ? int(links->size()) : 0;
}

void LinkViews::setBadLinksOnly(bool on)
{
    flush();
    m_badLinksOnly = on;
    rebuild();
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
    m_everyRecordVisible = m_searchText.isEmpty() && m_linksFilterTag != 2 && m_linksFilterTag != 3
            && m_linksFilterTag != 4;
    flush();
    rebuild();
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

std::vector<LinkCheckerUrl *> LinkViews::tableItems()
{
    const int count = numberOfRows();
    std::vector<LinkCheckerUrl *> out;
    out.reserve(std::size_t(count));
    if (m_badLinksOnly) {
        if (m_results.badCollectionCount() == 0)
            return std::vector<LinkCheckerUrl *>(std::size_t(count), nullptr);
        for (OrelDataObject *item : items()) {
            if (int(out.size()) == count)
                break;
            auto *record = static_cast<LinkCheckerUrl *>(item);
            if (record->isInBadCollection())
                out.push_back(record);
        }
    }
    // Beyond the bad records (or without the switch): the record at the row's own place.
    for (int r = int(out.size()); r < count; ++r)
        out.push_back(recordAt(r));
    return out;
}

OrelDataObject *LinkViews::getnthVisibleItem(int n)
{
    if (m_badLinksOnly && m_results.badCollectionCount() == 0)
        return nullptr;
    flush();
    return rowAt(n);
}

int LinkViews::countVisible(const std::vector<OrelDataObject *> *collection)
{
    // The index holds exactly one of the two counts: visible records, or visible bad ones.
    if ((collection != nullptr) != m_badLinksOnly) {
        flush();
        return rowCount();
    }
    int n = 0;
    for (OrelDataObject *item : items()) {
        auto *record = static_cast<LinkCheckerUrl *>(item);
        if (record->getVisible() && (collection || record->isInBadCollection()))
            ++n;
    }
    return n;
}

int LinkViews::numberOfRows()
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

std::vector<LinkCheckerUrl *> LinkViews::visibleRows(bool badOnly)
{
    if (badOnly && m_results.badCollectionCount() == 0)
        return {};
    if (badOnly == m_badLinksOnly) {
        flush();
        return m_rows;
    }
    std::vector<LinkCheckerUrl *> rows;
    const int count = recordCount();
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
    const QList<PageLink> *links = linksOnPage(page);
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
    const QList<PageLink> *links = linksOnPage(page);
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
    const QList<PageLink> *links = linksOnPage(page);
    if (!links)
        return nullptr;
    int seen = 0;
    for (const PageLink &link : *links) {
        if (isShown(link.record) && seen++ == n)
            return occurrence(link.record, link.occurrence);
    }
    return nullptr;
}

std::vector<PageLink> LinkViews::shownLinksOnPage(const QString &page) const
{
    std::vector<PageLink> shown;
    const QList<PageLink> *links = m_results.childrenShown() ? linksOnPage(page) : nullptr;
    if (!links)
        return shown;
    // Reading each link's record costs a cache miss on a large site; with nothing filtered out
    // every link is shown.
    if (m_everyRecordVisible && !m_badLinksOnly)
        return std::vector<PageLink>(links->cbegin(), links->cend());
    for (const PageLink &link : *links) {
        if (isShown(link.record))
            shown.push_back(link);
    }
    return shown;
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
