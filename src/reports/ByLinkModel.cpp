// The by-link outline as an item model.
#include "reports/ByLinkModel.h"

#include "common/Log.h"
#include "common/UserDefaults.h"
#include "links/LinkCheckerUrl.h"
#include "links/OrelOnPage.h"
#include "reports/LinkVerdict.h"
#include "reports/LinkViews.h"

#include <algorithm>
#include <utility>

namespace orel {

namespace {

struct OptionalColumn
{
    const char *title;
    const char *identifier;
    double width;
};

constexpr OptionalColumn kOptionalColumns[] = {
    { "Redirected To", "redir", 200 },  { "Link Text", "linktext", 200 },
    { "Time Stamp", "timestamp", 200 }, { "Distance", "distance", 200 },
    { "Nofollow", "nofollow", 100 },
};

// The check box of each column the outline can show, by its user-default key.
constexpr std::pair<const char *, const char *> kColumnKeys[] = {
    { "Status", "TilleryByLinkViewColsStatus" },
    { "URL", "TilleryByLinkViewColsLinkurl" },
    { "Redirected To", "TilleryByLinkViewColsRedir" },
    { "Link Text", "TilleryByLinkViewColsLinkText" },
    { "On Page / Number of Pages", "TilleryByLinkViewColsOnPage" },
    { "Time Stamp", "TilleryByLinkViewColsTimeStamp" },
    { "Distance", "TilleryByLinkViewColsDistance" },
    { "Nofollow", "TilleryByLinkViewColsNofollow" },
};

const OptionalColumn *optionalColumn(const QString &title)
{
    for (const OptionalColumn &c : kOptionalColumns) {
        if (title == QLatin1String(c.title))
            return &c;
    }
    return nullptr;
}

} // namespace

ByLinkModel::ByLinkModel(LinkViews &views, QObject *parent)
    : OutlineModel(defaultColumns(), parent), m_views(views)
{
    connect(&views, &LinkViews::rowsAboutToBeInserted, this,
            [this](int first, int last) { beginInsertRows({}, first, last); });
    connect(&views, &LinkViews::rowsInserted, this, [this] { endInsertRows(); });
    connect(&views, &LinkViews::rowsAboutToBeRemoved, this,
            [this](int first, int last) { beginRemoveRows({}, first, last); });
    connect(&views, &LinkViews::rowsRemoved, this, [this] { endRemoveRows(); });
    connect(&views, &LinkViews::rowsChanged, this, [this](int first, int last) {
        Q_EMIT dataChanged(index(first, 0), index(last, columnCount() - 1));
    });
    connect(&views, &LinkViews::aboutToReset, this, [this] { beginResetModel(); });
    connect(&views, &LinkViews::resetDone, this, [this] { endResetModel(); });
}

bool ByLinkModel::addColumnWithTitle(const QString &title)
{
    const OptionalColumn *c = optionalColumn(title);
    QList<TableColumn> shown = columns();
    if (!c || std::any_of(shown.cbegin(), shown.cend(), [&](const TableColumn &t) {
            return t.title == title;
        }))
        return false;
    shown.append(TableColumn { QLatin1String(c->identifier), QLatin1String(c->title), c->width });
    setColumns(shown);
    return true;
}

bool ByLinkModel::removeColumnWithTitle(const QString &title)
{
    const OptionalColumn *c = optionalColumn(title);
    if (!c)
        return false;
    log(QStringLiteral("removing column"));
    QList<TableColumn> shown = columns();
    if (shown.removeIf(
                [&](const TableColumn &t) { return t.identifier == QLatin1String(c->identifier); })
        == 0)
        return false;
    setColumns(shown);
    return true;
}

void ByLinkModel::alterTableColumns(const QString &title, bool on)
{
    if (on)
        addColumnWithTitle(title);
    else
        removeColumnWithTitle(title);
}

void ByLinkModel::applyColumnDefaults()
{
    for (const auto &[title, key] : kColumnKeys) {
        if (UserDefaults::contains(QLatin1String(key)))
            alterTableColumns(QLatin1String(title), UserDefaults::boolValue(QLatin1String(key)));
    }
}

// A root row's index carries no pointer; a child row's carries its link's record, so that its
// parent is found again wherever the link's row has moved.
LinkCheckerUrl *ByLinkModel::recordAt(const QModelIndex &index) const
{
    if (!index.isValid())
        return nullptr;
    if (auto *link = static_cast<LinkCheckerUrl *>(index.internalPointer()))
        return link;
    return m_views.rowAt(index.row());
}

QModelIndex ByLinkModel::index(int row, int column, const QModelIndex &parent) const
{
    if (!hasIndex(row, column, parent))
        return {};
    if (!parent.isValid())
        return createIndex(row, column, nullptr);
    return createIndex(row, column, m_views.rowAt(parent.row()));
}

QModelIndex ByLinkModel::parent(const QModelIndex &child) const
{
    auto *link = child.isValid() ? static_cast<LinkCheckerUrl *>(child.internalPointer()) : nullptr;
    if (!link)
        return {};
    const int row = m_views.rowOf(link);
    return row < 0 ? QModelIndex() : createIndex(row, 0, nullptr);
}

int ByLinkModel::rowCount(const QModelIndex &parent) const
{
    if (!parent.isValid())
        return m_views.rowCount();
    if (parent.column() != 0 || parent.internalPointer())
        return 0; // occurrences have no children
    return m_views.numberOfOccurrences(m_views.rowAt(parent.row()));
}

QVariant ByLinkModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.column() >= columnCount())
        return {};
    LinkCheckerUrl *record = recordAt(index);
    if (!record)
        return {};
    const bool child = index.internalPointer() != nullptr;
    if (role == Qt::DisplayRole) {
        const QString &id = columnId(index.column());
        if (child) {
            // The pairing lives for this call only: one kept per child would hold memory for
            // every occurrence ever scrolled past (about 90 bytes each).
            const OrelOnPage occurrence(record, index.row());
            return LinkViews::byLinkValue(&occurrence, id);
        }
        return LinkViews::byLinkValue(record, id);
    }
    if (role == VerdictRole)
        return linkVerdict(record);
    if (role == Qt::BackgroundRole && !child) {
        if (const std::optional<Colour> colour = m_views.rowColour(record))
            return QVariant::fromValue(*colour);
    }
    return {};
}

void ByLinkModel::sort(int column, Qt::SortOrder order)
{
    if (column < 0 || column >= columnCount())
        return;
    m_views.sortByColumn(columnId(column), order == Qt::AscendingOrder);
}

} // namespace orel
