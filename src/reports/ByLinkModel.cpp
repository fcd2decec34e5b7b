// The by-link outline as an item model.
#include "reports/ByLinkModel.h"

#include "links/LinkCheckerUrl.h"
#include "reports/LinkViews.h"

namespace orel {

ByLinkModel::ByLinkModel(LinkViews &views, QObject *parent)
    : QAbstractItemModel(parent), m_views(views), m_columns(defaultColumns())
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

QList<TableColumn> ByLinkModel::defaultColumns()
{
    return { { QStringLiteral("status"), QStringLiteral("Status"), 110 },
             { QStringLiteral("linkurl"), QStringLiteral("URL"), 200 },
             { QStringLiteral("linktext"), QStringLiteral("Link Text"), 200 },
             { QStringLiteral("onpageurl"), QStringLiteral("On Page / Number of Pages"), 200 } };
}

void ByLinkModel::setColumns(const QList<TableColumn> &columns)
{
    beginResetModel();
    m_columns = columns;
    endResetModel();
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

int ByLinkModel::columnCount(const QModelIndex &) const
{
    return int(m_columns.size());
}

QVariant ByLinkModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.column() >= m_columns.size())
        return {};
    LinkCheckerUrl *record = recordAt(index);
    if (!record)
        return {};
    const bool child = index.internalPointer() != nullptr;
    if (role == Qt::DisplayRole) {
        const QString &id = m_columns.at(index.column()).identifier;
        if (child)
            return LinkViews::byLinkValue(m_views.occurrence(record, index.row()), id);
        return LinkViews::byLinkValue(record, id);
    }
    if (role == Qt::BackgroundRole && !child) {
        if (const std::optional<Colour> colour = m_views.rowColour(record))
            return QVariant::fromValue(*colour);
    }
    return {};
}

QVariant ByLinkModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0
        || section >= m_columns.size())
        return {};
    return m_columns.at(section).title;
}

void ByLinkModel::sort(int column, Qt::SortOrder order)
{
    if (column < 0 || column >= m_columns.size())
        return;
    m_views.sortByColumn(m_columns.at(column).identifier, order == Qt::AscendingOrder);
}

} // namespace orel
