// The flat list's rows: filter, bad-links-only switch, row index, text sort, columns and colours.
#include "reports/OrelReportDataSource.h"

#include "common/Log.h"
#include "common/SettingsControls.h"
#include "common/UserDefaults.h"
#include "links/LinkCheckerUrl.h"

#include <QHash>
#include <QThread> // the build's thread goes with the source

#include <algorithm>
#include <numeric>

namespace orel {

namespace {

struct FlatColumn
{
    const char *title;
    const char *identifier;
    double width;
    const char *sortKey; // the key a click on the column's header sorts by
    const char *defaultsKey; // the user default keeping its check box
    bool checkedByDefault;
};

constexpr FlatColumn kColumns[] = {
    { "Status", "status", 110, "a", "TilleryFlatViewColsStatus", true },
    { "URL", "linkurl", 200, "b", "TilleryFlatViewColsLinkurl", true },
    { "Redirected To", "redir", 200, "c", "TilleryFlatViewColsRedir", true },
    { "Link Text", "linktext", 200, "d", "TilleryFlatViewColsLinkText", true },
    { "On Page", "onpageurl", 200, "e", "TilleryFlatViewColsOnPage", true },
    { "Time Stamp", "timestamp", 200, "f", "TilleryFlatViewColsTimeStamp", false },
    { "Distance", "distance", 200, "g", "TilleryFlatViewColsDistance", false },
    { "Nofollow", "nofollow", 100, "h", "TilleryFlatViewColsNofollow", false },
};
constexpr int kColumnCount = int(std::size(kColumns));

TableColumn tableColumn(const FlatColumn &c)
{
    return TableColumn { QLatin1String(c.identifier), QLatin1String(c.title), c.width };
}

int columnIndexWithTitle(const QString &title)
{
    for (int i = 0; i < kColumnCount; ++i) {
        if (title == QLatin1String(kColumns[i].title))
            return i;
    }
    return -1;
}

// Sorts items by their text of the field, comparing case-insensitively; descending inverts a
// non-zero comparison, and equal values keep their order. A flat list has millions of rows but
// far fewer distinct values (a link's URL is the same in each of its rows), so each distinct
// value is ranked once and the rows are then placed by rank, which keeps them stable.
void sortByText(std::vector<OrelDataObject *> &items, const QString &field, bool ascending)
{
    const std::size_t n = items.size();
    QHash<QString, quint32> idOf;
    std::vector<QString> values; // by id
    std::vector<quint32> idOfItem;
    idOfItem.reserve(n);
    QString previous;
    for (const OrelDataObject *item : items) {
        QString value = item->getFieldByName(field);
        // Rows of one link come together: a shared text is the previous row's value.
        if (!idOfItem.empty() && value.constData() == previous.constData()
            && value.size() == previous.size()) {
            idOfItem.push_back(idOfItem.back());
            continue;
        }
        const auto it = idOf.constFind(value);
        if (it != idOf.cend()) {
            idOfItem.push_back(*it);
        } else {
            idOfItem.push_back(quint32(values.size()));
            idOf.insert(value, quint32(values.size()));
            values.push_back(value);
        }
        previous = std::move(value);
    }
    idOf.clear();
    previous.clear();

    // Rank the distinct values; values comparing equal share a rank.
    std::vector<quint32> byValue(values.size());
    std::iota(byValue.begin(), byValue.end(), quint32(0));
    std::sort(byValue.begin(), byValue.end(), [&](quint32 a, quint32 b) {
        return QString::compare(values[a], values[b], Qt::CaseInsensitive) < 0;
    });
    std::vector<quint32> rankOfId(values.size());
    quint32 ranks = 0;
    for (std::size_t i = 0; i < byValue.size(); ++i) {
        if (i > 0
            && QString::compare(values[byValue[i - 1]], values[byValue[i]], Qt::CaseInsensitive)
                    != 0)
            ++ranks;
        rankOfId[byValue[i]] = ranks;
    }
    ++ranks;
    values.clear();
    values.shrink_to_fit();

    // A counting sort by rank: stable, and linear in the rows.
    std::vector<std::size_t> start(std::size_t(ranks) + 1, 0);
    const auto rankOf = [&](std::size_t i) {
        const quint32 rank = rankOfId[idOfItem[i]];
        return ascending ? rank : ranks - 1 - rank;
    };
    for (std::size_t i = 0; i < n; ++i)
        ++start[rankOf(i) + 1];
    std::partial_sum(start.begin(), start.end(), start.begin());
    std::vector<OrelDataObject *> sorted(n);
    for (std::size_t i = 0; i < n; ++i)
        sorted[start[rankOf(i)]++] = items[i];
    items = std::move(sorted);
}

} // namespace

OrelReportDataSource::OrelReportDataSource(const SettingsControls *controls, QObject *parent)
    : QObject(parent), m_controls(controls), m_store(std::make_unique<OrelReportItemStore>())
{
    loadDefaults();
}

OrelReportDataSource::~OrelReportDataSource()
{
    stopBuild();
    detach();
}

void OrelReportDataSource::clear()
{
    stopBuild();
    Q_EMIT tableAboutToChange();
    ++m_request; // a build asked for is no longer wanted
    m_filteredRows.clear();
    m_filteredRows.shrink_to_fit();
    m_badCollection.clear();
    m_badCollection.shrink_to_fit();
    bhDataSource::clear();
    m_store = std::make_unique<OrelReportItemStore>();
    m_rowSource = m_badLinksOnly ? RowSource::BadCollection : RowSource::Collection;
    Q_EMIT tableChanged();
}

// ---- Rows
// ----------------------------------------------------------------------------------------

void OrelReportDataSource::filter(const QString &searchText, int tag)
{
    Q_EMIT tableAboutToChange();
    m_searchText = searchText;
    m_filterTag = tag;
    applyFilter();
    rebuildRows();
    Q_EMIT tableChanged();
}

void OrelReportDataSource::applyFilter()
{
    for (OrelDataObject *object : collection()) {
        auto *item = static_cast<OrelReportItem *>(object);
        bool visible = m_searchText.isEmpty() || item->contains(m_searchText);
        if (const LinkCheckerUrl *record = item->getLinkCheckerUrl()) {
            if (m_filterTag == InternalLinks && !record->isInternal())
                visible = false;
            else if (m_filterTag == ExternalLinks && record->isInternal())
                visible = false;
            else if (m_filterTag == ImageLinks && !record->getIsImage())
                visible = false;
        }
        item->setVisible(visible);
    }
}

void OrelReportDataSource::setBadLinksOnly(bool on)
{
    if (on == m_badLinksOnly)
        return;
    Q_EMIT tableAboutToChange();
    m_badLinksOnly = on;
    rebuildRows();
    Q_EMIT tableChanged();
}

// Without a search text and with every link type, filter() leaves every item visible, so the
// list itself is the rows; otherwise the visible items are copied in order.
void OrelReportDataSource::rebuildRows()
{
    m_filteredRows.clear();
    const RowSource whole = m_badLinksOnly ? RowSource::BadCollection : RowSource::Collection;
    if (m_searchText.isEmpty() && m_filterTag == AllLinks) {
        m_filteredRows.shrink_to_fit();
        m_rowSource = whole;
        return;
    }
    const std::vector<OrelDataObject *> &list = m_badLinksOnly ? m_badCollection : items();
    for (OrelDataObject *item : list) {
        if (item->getVisible())
            m_filteredRows.push_back(item);
    }
    m_rowSource = RowSource::Filtered;
}

const std::vector<OrelDataObject *> &OrelReportDataSource::rows() const
{
    switch (m_rowSource) {
    case RowSource::BadCollection:
        return m_badCollection;
    case RowSource::Filtered:
        return m_filteredRows;
    case RowSource::Collection:
        break;
    }
    return items();
}

int OrelReportDataSource::numberOfRowsInTableView(TableDescription *table)
{
    Q_UNUSED(table);
    return numberOfRows();
}

OrelReportItem *OrelReportDataSource::rowAt(int row) const
{
    const std::vector<OrelDataObject *> &shown = rows();
    if (row < 0 || std::size_t(row) >= shown.size())
        return nullptr;
    return static_cast<OrelReportItem *>(shown[std::size_t(row)]);
}

QString OrelReportDataSource::objectValueForTableColumn(TableDescription *table,
                                                        const QString &columnId, int row)
{
    Q_UNUSED(table);
    const OrelReportItem *item = rowAt(row);
    return item ? item->getFieldByName(columnId) : QString(QLatin1String(""));
}

void OrelReportDataSource::reloadData()
{
    bhDataSource::reloadData();
    QMetaObject::invokeMethod(this, &OrelReportDataSource::valuesChanged, Qt::QueuedConnection);
}

// ---- Sort
// ----------------------------------------------------------------------------------------

void OrelReportDataSource::sortByField(const QString &field, bool ascending)
{
    Q_EMIT tableAboutToChange();
    m_currentSortField = field;
    m_currentSortAscending = ascending;
    sortByText(collection(), field, ascending);
    sortByText(m_badCollection, field, ascending);
    rebuildRows();
    Q_EMIT tableChanged();
}

void OrelReportDataSource::didClickTableColumn(TableDescription *table)
{
    if (!table)
        return;
    const std::optional<SortDescriptor> descriptor = table->firstSortDescriptor();
    if (!descriptor || descriptor->key.isEmpty())
        return;
    const QString byKey = identifierForSortKey(descriptor->key);
    sortByField(byKey.isEmpty() ? descriptor->key : byKey, descriptor->ascending);
    reloadData();
}

// ---- Columns
// -------------------------------------------------------------------------------------

QList<TableColumn> OrelReportDataSource::allColumns()
{
    QList<TableColumn> out;
    for (const FlatColumn &c : kColumns)
        out.append(tableColumn(c));
    return out;
}

std::optional<TableColumn> OrelReportDataSource::columnWithTitle(const QString &title)
{
    const int i = columnIndexWithTitle(title);
    if (i < 0)
        return std::nullopt;
    return tableColumn(kColumns[i]);
}

QString OrelReportDataSource::identifierForSortKey(const QString &key)
{
    for (const FlatColumn &c : kColumns) {
        if (key == QLatin1String(c.sortKey))
            return QLatin1String(c.identifier);
    }
    return {};
}

QList<TableColumn> OrelReportDataSource::columns() const
{
    QList<TableColumn> out;
    for (int i : m_shownColumns)
        out.append(tableColumn(kColumns[i]));
    return out;
}

bool OrelReportDataSource::isColumnShown(const QString &title) const
{
    const int i = columnIndexWithTitle(title);
    return i >= 0
            && std::find(m_shownColumns.begin(), m_shownColumns.end(), i) != m_shownColumns.end();
}

bool OrelReportDataSource::addColumnWithTitle(const QString &title)
{
    const int i = columnIndexWithTitle(title);
    if (i < 0)
        return false;
    m_columnChecked[std::size_t(i)] = true;
    if (!isColumnShown(title)) {
        Q_EMIT tableAboutToChange();
        m_shownColumns.push_back(i);
        Q_EMIT tableChanged();
    }
    return true;
}

bool OrelReportDataSource::removeColumnWithTitle(const QString &title)
{
    const int i = columnIndexWithTitle(title);
    if (i < 0)
        return false;
    m_columnChecked[std::size_t(i)] = false;
    if (isColumnShown(title)) {
        Q_EMIT tableAboutToChange();
        std::erase(m_shownColumns, i);
        Q_EMIT tableChanged();
    }
    return true;
}

void OrelReportDataSource::loadDefaults()
{
    Q_EMIT tableAboutToChange();
    m_columnChecked.assign(std::size_t(kColumnCount), false);
    m_shownColumns.clear();
    for (int i = 0; i < kColumnCount; ++i) {
        const QString key = QLatin1String(kColumns[i].defaultsKey);
        const bool checked = UserDefaults::contains(key) ? UserDefaults::boolValue(key)
                                                         : kColumns[i].checkedByDefault;
        m_columnChecked[std::size_t(i)] = checked;
        if (checked)
            m_shownColumns.push_back(i);
    }
    Q_EMIT tableChanged();
}

void OrelReportDataSource::saveDefaults() const
{
    for (int i = 0; i < kColumnCount; ++i)
        UserDefaults::setValue(QLatin1String(kColumns[i].defaultsKey),
                               bool(m_columnChecked[std::size_t(i)]));
}

// ---- Colours
// -------------------------------------------------------------------------------------

std::optional<Colour> OrelReportDataSource::labelColorForRow(TableDescription *table, int row)
{
    Q_UNUSED(table);
    if (!m_controls || !SettingsControls::isOn(m_controls->displayLabelButton))
        return std::nullopt;
    return rowColour(m_searchText.isEmpty() ? getnthItem(row) : getnthVisibleItem(row));
}

std::optional<Colour> OrelReportDataSource::rowColour(const OrelDataObject *item) const
{
    // No colour stands for the transparent one.
    if (!m_controls || !SettingsControls::isOn(m_controls->displayLabelButton) || !m_colours
        || !item)
        return std::nullopt;
    const int colourClass = static_cast<const OrelReportItem *>(item)->getColour();
    if (colourClass < 1 || colourClass > 4)
        return std::nullopt;
    return m_colours(colourClass);
}

} // namespace orel
