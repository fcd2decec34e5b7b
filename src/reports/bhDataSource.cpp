#include "reports/bhDataSource.h"

#include "common/Dialogs.h"
#include "common/Localize.h"
#include "common/Log.h"
#include "common/UrlParts.h"
#include "links/OrelDataObject.h"
#include "reports/ExportProgress.h"

#include <QCoreApplication>
#include <QThread>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace orel {

namespace {

bool looksLikeAddress(const QString &value)
{
    return value.contains(QLatin1String("http://")) || value.contains(QLatin1String("https://"));
}

QString anchor(const QString &value)
{
    return QStringLiteral("<a href = %1 >%1</a>").arg(value);
}

// The class attribute of a report cell; alternate rows also get the class "alt".
QString cellClass(const QString &columnId, bool alternate)
{
    if (alternate)
        return QStringLiteral("class = \"%1 alt\" ").arg(columnId);
    return QStringLiteral("class = %1 ").arg(columnId);
}

QString rgbStyle(const Colour &c)
{
    return QStringLiteral("style = \"background:rgb(%1,%2,%3)\"")
            .arg(int(c.r * 255))
            .arg(int(c.g * 255))
            .arg(int(c.b * 255));
}

QString headerCells(const QList<TableColumn> &columns)
{
    QString out;
    for (const TableColumn &column : columns)
        out += QStringLiteral("<th class = %1>%2</th>").arg(column.identifier, column.title);
    return out;
}

} // namespace

bhDataSource::bhDataSource()
{
    if (QCoreApplication *app = QCoreApplication::instance())
        m_mainThreadContext.moveToThread(app->thread());
}

bhDataSource::~bhDataSource() = default;

void bhDataSource::add(std::unique_ptr<OrelDataObject> item)
{
    if (!item)
        return;
    OrelDataObject *added = item.get();
    m_owned.push_back(std::move(item));
    add(added);
}

void bhDataSource::add(OrelDataObject *item)
{
    if (!item)
        return;
    m_collection.push_back(item);
    if (m_sortArray)
        m_sortArray->push_back(item);
    const quint32 id = item->getID();
    if (id != 0) {
        if (qint64(id) > m_highestId)
            m_highestId = qint32(id);
    } else {
        ++m_highestId;
        item->setID(quint32(m_highestId));
    }
}

void bhDataSource::clear()
{
    m_sortArray.reset();
    m_collection.clear();
    m_collection.shrink_to_fit();
    m_owned.clear();
    m_owned.shrink_to_fit();
    m_highestId = 0;
    m_lastIndex.store(0, std::memory_order_relaxed);
    ++m_orderGeneration;
}

void bhDataSource::adoptCollection(std::vector<OrelDataObject *> items, qint32 highestId)
{
    bhDataSource::clear();
    m_collection = std::move(items);
    m_highestId = highestId;
}

void bhDataSource::deleteItem(OrelDataObject *item)
{
    const auto firstRemoved = std::remove(m_collection.begin(), m_collection.end(), item);
    if (firstRemoved == m_collection.end())
        return;
    m_collection.erase(firstRemoved, m_collection.end());
    ++m_orderGeneration;
}

void bhDataSource::swop(OrelDataObject *a, OrelDataObject *b)
{
    const int i = indexOf(a);
    const int j = indexOf(b);
    if (i < 0 || j < 0)
        return;
    std::swap(m_collection[std::size_t(i)], m_collection[std::size_t(j)]);
    ++m_orderGeneration;
}

int bhDataSource::indexOf(const OrelDataObject *item) const
{
    if (!item)
        return -1;
    const std::size_t hint = m_lastIndex.load(std::memory_order_relaxed);
    if (hint < m_collection.size() && m_collection[hint] == item)
        return int(hint);
    const auto it = std::find(m_collection.begin(), m_collection.end(), item);
    if (it == m_collection.end())
        return -1;
    return int(it - m_collection.begin());
}

OrelDataObject *bhDataSource::getFirstItem() const
{
    if (m_collection.empty())
        return nullptr;
    m_lastIndex.store(0, std::memory_order_relaxed);
    return m_collection.front();
}

OrelDataObject *bhDataSource::getNextItem(const OrelDataObject *item) const
{
    const int i = indexOf(item);
    if (i < 0 || std::size_t(i) + 1 >= m_collection.size())
        return nullptr;
    m_lastIndex.store(std::size_t(i) + 1, std::memory_order_relaxed);
    return m_collection[std::size_t(i) + 1];
}

OrelDataObject *bhDataSource::getItemById(quint32 id)
{
    // Subclasses may answer getnthItem() from a filtered list; the walk starts from its answer.
    OrelDataObject *start = getnthItem(0);
    const int from = indexOf(start);
    if (from < 0)
        return nullptr;
    for (std::size_t i = std::size_t(from); i < m_collection.size(); ++i) {
        if (m_collection[i]->getID() == id) {
            m_lastIndex.store(i, std::memory_order_relaxed);
            return m_collection[i];
        }
    }
    return nullptr;
}

OrelDataObject *bhDataSource::getnthItem(int index)
{
    if (m_collection.empty()) {
        log(QStringLiteral("count is 0"));
        return nullptr;
    }
    if (index < 0 || std::size_t(index) >= m_collection.size())
        return nullptr;
    m_lastIndex.store(std::size_t(index), std::memory_order_relaxed);
    return m_collection[std::size_t(index)];
}

OrelDataObject *bhDataSource::getnthSortedItem(int index) const
{
    if (m_collection.empty() || index < 0)
        return nullptr;
    const std::size_t i = std::size_t(index);
    if (m_sortArray && i < m_sortArray->size())
        return (*m_sortArray)[i];
    if (i < m_collection.size())
        return m_collection[i];
    return nullptr;
}

OrelDataObject *bhDataSource::getnthVisibleItem(int n)
{
    if (n < 0)
        return nullptr;
    int seen = 0;
    for (int i = 0;; ++i) {
        OrelDataObject *item = getnthSortedItem(i);
        if (!item)
            return nullptr;
        if (item->getVisible()) {
            if (seen == n)
                return item;
            ++seen;
        }
    }
}

void bhDataSource::postToMainThread(std::function<void()> fn)
{
    QMetaObject::invokeMethod(&m_mainThreadContext, std::move(fn), Qt::QueuedConnection);
}

void bhDataSource::reloadData()
{
    postToMainThread([this] {
        if (m_tableView)
            m_tableView->reloadData();
    });
}

int bhDataSource::numberOfRowsInTableView(TableDescription *table)
{
    Q_UNUSED(table);
    return int(m_collection.size());
}

QString bhDataSource::objectValueForTableColumn(TableDescription *table, const QString &columnId,
                                                int row)
{
    Q_UNUSED(table);
    OrelDataObject *item = getnthItem(row);
    if (!item)
        return QStringLiteral("");
    return item->getFieldByName(columnId);
}

std::optional<Colour> bhDataSource::labelColorForRow(TableDescription *table, int row)
{
    Q_UNUSED(table);
    Q_UNUSED(row);
    return std::nullopt;
}

QString bhDataSource::objectValueByItem(TableDescription *outline, const QString &columnId,
                                        OutlineItem item)
{
    Q_UNUSED(outline);
    Q_UNUSED(columnId);
    Q_UNUSED(item);
    return {};
}

void bhDataSource::didClickTableColumn(TableDescription *table)
{
    if (!table)
        return;
    const std::optional<SortDescriptor> descriptor = table->firstSortDescriptor();
    if (!descriptor || descriptor->key.isEmpty())
        return;
    sortByColumn(descriptor->key, descriptor->ascending,
                 OrelDataObject::isNumber(descriptor->key) ? SortAsNumber : SortAsText);
    reloadData();
}

// --- Sorting ------------------------------------------------------------------------------

void bhDataSource::sortByColumn(const QString &columnId, bool ascending, int options)
{
    ++m_orderGeneration;
    if (options == SortAsText)
        sortAsText(columnId, ascending);
    else
        sortAsNumber(columnId, ascending, options);
}

int bhDataSource::compare(const OrelDataObject *a, const OrelDataObject *b, const QString &columnId,
                          int options) const
{
    const float x = a->getFieldAsNumberByName(columnId);
    const float y = b->getFieldAsNumberByName(columnId);
    if (options != SortAsNumber)
        return 0;
    if (std::isinf(x) || std::isinf(y)) {
        log(QStringLiteral("overflow"));
        return 0;
    }
    if (x > y)
        return 1;
    if (x < y)
        return -1;
    return 0;
}

void bhDataSource::sortAsText(const QString &columnId, bool ascending)
{
    // Each value is read once; a stable sort keeps equal values in collection order.
    const std::size_t n = m_collection.size();
    std::vector<QString> keys;
    keys.reserve(n);
    for (const OrelDataObject *item : m_collection)
        keys.push_back(item->getFieldByName(columnId));
    std::vector<std::size_t> order(n);
    std::iota(order.begin(), order.end(), std::size_t(0));
    std::stable_sort(order.begin(), order.end(), [&](std::size_t i, std::size_t j) {
        const int c = QString::compare(keys[i], keys[j], Qt::CaseInsensitive);
        return ascending ? c < 0 : c > 0;
    });
    std::vector<OrelDataObject *> sorted;
    sorted.reserve(n);
    for (std::size_t i : order)
        sorted.push_back(m_collection[i]);
    m_sortArray = std::move(sorted);
}

// An insertion sort: each item in collection order goes before the first placed item that does
// not precede it, so equal items end up in the reverse of their collection order. With 7 or more
// items placed, the search starts at the middle or the three-quarter place when those precede.
void bhDataSource::sortAsNumber(const QString &columnId, bool ascending, int options)
{
    const std::size_t n = m_collection.size();
    std::vector<float> values;
    values.reserve(n);
    bool allFinite = true;
    for (const OrelDataObject *item : m_collection) {
        const float v = item->getFieldAsNumberByName(columnId);
        allFinite = allFinite && std::isfinite(v);
        values.push_back(v);
    }

    std::vector<std::size_t> order(n);
    std::iota(order.begin(), order.end(), std::size_t(0));
    if (options != SortAsNumber) {
        // Every comparison answers 0: each item is inserted in front of all others.
        std::reverse(order.begin(), order.end());
    } else if (allFinite) {
        // With a total order the insertion sort places every item before its equals, and a
        // jump start never skips a place it would have chosen: the result is a sort by value
        // with ties in reverse collection order. This keeps a million records fast.
        std::sort(order.begin(), order.end(), [&](std::size_t i, std::size_t j) {
            if (values[i] != values[j])
                return ascending ? values[i] < values[j] : values[i] > values[j];
            return i > j;
        });
    } else {
        // Infinite or not-a-number values break the order; the insertion is followed literally,
        // logging through compare() as it goes.
        auto precedes = [&](std::size_t placed, std::size_t x) {
            const int c = compare(m_collection[placed], m_collection[x], columnId, options);
            return ascending ? c == -1 : c == 1;
        };
        order.clear();
        if (n > 0)
            order.push_back(0);
        for (std::size_t x = 1; x < n; ++x) {
            const std::size_t count = order.size();
            std::size_t s = 0;
            if (count > 6 && precedes(order[count / 2], x)) {
                const std::size_t quarter = (count / 4) * 3;
                s = precedes(order[quarter], x) ? quarter : count / 2;
            }
            while (s < order.size() && precedes(order[s], x))
                ++s;
            order.insert(order.begin() + std::ptrdiff_t(s), x);
        }
    }

    std::vector<OrelDataObject *> sorted;
    sorted.reserve(n);
    for (std::size_t i : order)
        sorted.push_back(m_collection[i]);
    m_sortArray = std::move(sorted);
}

// --- Renderers ----------------------------------------------------------------------------

QString bhDataSource::exportValue(const QString &columnId, const QString &value)
{
    if (columnId == QLatin1String("linkurl") || columnId == QLatin1String("linkurlhtml"))
        return value;
    return UrlParts::withoutUserInfo(value);
}

QString bhDataSource::getDataAsCSV()
{
    TableDescription *table = m_tableView;
    const QList<TableColumn> columns = table ? table->columns() : QList<TableColumn>();
    QString out;
    out.reserve(100);
    for (qsizetype c = 0; c < columns.size(); ++c) {
        if (c > 0)
            out += QLatin1Char(',');
        out += QLatin1Char('"') + columns[c].title + QLatin1Char('"');
    }
    out += QLatin1Char('\r');
    const int rows = numberOfRowsInTableView(table);
    for (int r = 0; r < rows; ++r) {
        for (qsizetype c = 0; c < columns.size(); ++c) {
            if (c > 0)
                out += QLatin1Char(',');
            out += QLatin1Char('"')
                    + exportValue(columns[c].identifier,
                                  objectValueForTableColumn(table, columns[c].identifier, r))
                    + QLatin1Char('"');
        }
        out += QLatin1Char('\r');
    }
    return out;
}

QString bhDataSource::getDataAsHTML()
{
    TableDescription *table = m_tableView;
    const QList<TableColumn> columns = table ? table->columns() : QList<TableColumn>();
    QString out = QStringLiteral("<table cellpadding=2 cellspacing=2 border=0><tr>");
    for (const TableColumn &column : columns)
        out += QLatin1String("<th style = background:#cccccc>") + column.title
                + QLatin1String("</th>");
    out += QLatin1String("</tr>");
    const int rows = numberOfRowsInTableView(table);
    for (int r = 0; r < rows; ++r) {
        out += QLatin1String("<tr>");
        for (const TableColumn &column : columns) {
            out += QLatin1String("<td ");
            if (r % 2 == 1)
                out += QLatin1String("style = background:#f0f0ff");
            out += QLatin1Char('>')
                    + exportValue(column.identifier,
                                  objectValueForTableColumn(table, column.identifier, r))
                    + QLatin1String("</td>");
        }
        out += QLatin1String("</tr>");
    }
    out += QLatin1String("</table><br />");
    return out;
}

QString bhDataSource::getDataAsHTMLusingTableView(TableDescription *table)
{
    const QList<TableColumn> columns = table ? table->columns() : QList<TableColumn>();
    const bool validator = table && table->identifier() == QLatin1String("validator");
    const QString checkAddress = QLatin1String(kPublicValidatorCheckAddress);
    QString out = QStringLiteral("<table><tr>") + headerCells(columns) + QStringLiteral("</tr>");
    int visibleRow = 0;
    for (std::size_t place = 0; place < m_collection.size(); ++place) {
        const OrelDataObject *item = m_collection[place];
        if (!item->getVisible())
            continue;
        const bool alternate = visibleRow % 2 == 1;
        ++visibleRow;
        // The colour is asked with the collection place, not the visible row number.
        const std::optional<Colour> colour = labelColorForRow(table, int(place));
        out += QLatin1String("<tr>");
        for (const TableColumn &column : columns) {
            out += QLatin1String("<td ") + cellClass(column.identifier, alternate);
            if (colour)
                out += rgbStyle(*colour);
            out += QLatin1Char('>');
            const QString value =
                    exportValue(column.identifier, item->getFieldByName(column.identifier));
            if (!looksLikeAddress(value))
                out += value;
            else if (validator)
                out += QLatin1String("<a href = ") + checkAddress + QLatin1String("?uri=") + value
                        + QLatin1String(" >") + value + QLatin1String("</a>");
            else
                out += anchor(value);
            out += QLatin1String("</td>");
        }
        out += QLatin1String("</tr>");
    }
    out += QLatin1String("</table><br />");
    return out;
}

QString bhDataSource::getDataAsHTMLusingOutlineView(TableDescription *outline)
{
    if (!outline)
        return {};
    bhDataSource *source = outline->dataSource() ? outline->dataSource() : this;
    const QList<TableColumn> columns = outline->columns();
    const QString outlineColumn = outline->outlineColumnIdentifier();
    const int rows = outline->numberOfRows();
    ExportProgress progress(rows);

    QString out = QStringLiteral("<table><tr>") + headerCells(columns) + QStringLiteral("</tr>");
    for (int r = 0; r < rows; ++r) {
        const OutlineItem item = outline->itemAtRow(r);
        const bool child = !outline->isExpandable(item);
        const std::optional<Colour> colour = source->labelColorForRow(outline, r);
        out += QLatin1String("<tr>");
        for (const TableColumn &column : columns) {
            out += QLatin1String("<td ") + cellClass(column.identifier, r % 2 == 1);
            if (colour)
                out += rgbStyle(*colour);
            out += QLatin1Char('>');
            const QString value = exportValue(
                    column.identifier, source->objectValueByItem(outline, column.identifier, item));
            // Children are indented in the outline column.
            if (child && column.identifier == outlineColumn)
                out += QLatin1String("&nbsp;&nbsp;");
            out += looksLikeAddress(value) ? anchor(value) : value;
            out += QLatin1String("</td>");
        }
        out += QLatin1String("</tr>");
        progress.step(r);
    }
    out += QLatin1String("</table><br />");
    return out;
}

QString bhDataSource::getDataAsCSVusingOutlineView(TableDescription *outline)
{
    if (!outline)
        return {};
    bhDataSource *source = outline->dataSource() ? outline->dataSource() : this;
    const QList<TableColumn> columns = outline->columns();
    const QString outlineColumn = outline->outlineColumnIdentifier();
    const int rows = outline->numberOfRows();
    ExportProgress progress(rows);

    QString out;
    for (qsizetype c = 0; c < columns.size(); ++c) {
        if (c > 0)
            out += QLatin1Char(',');
        out += QStringLiteral("\"%1\"").arg(columns[c].title);
    }
    out += QLatin1Char('\r');
    for (int r = 0; r < rows; ++r) {
        const OutlineItem item = outline->itemAtRow(r);
        const bool child = !outline->isExpandable(item);
        for (qsizetype c = 0; c < columns.size(); ++c) {
            if (c > 0)
                out += QLatin1Char(',');
            out += QLatin1Char('"');
            // Children are indented in the outline column.
            if (child && columns[c].identifier == outlineColumn)
                out += QLatin1Char('\t');
            out += exportValue(columns[c].identifier,
                               source->objectValueByItem(outline, columns[c].identifier, item))
                    + QLatin1Char('"');
        }
        out += QLatin1Char('\r');
        progress.step(r);
    }
    return out;
}

} // namespace orel
