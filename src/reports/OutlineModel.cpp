// What the link outlines' item models share.
#include "reports/OutlineModel.h"

namespace orel {

OutlineModel::OutlineModel(const QList<TableColumn> &columns, QObject *parent)
    : QAbstractItemModel(parent), m_columns(columns)
{ }

QList<TableColumn> OutlineModel::defaultColumns()
{
    return { { QStringLiteral("status"), QStringLiteral("Status"), 110 },
             { QStringLiteral("linkurl"), QStringLiteral("URL"), 200 },
             { QStringLiteral("linktext"), QStringLiteral("Link Text"), 200 },
             { QStringLiteral("onpageurl"), QStringLiteral("On Page / Number of Pages"), 200 } };
}

void OutlineModel::setColumns(const QList<TableColumn> &columns)
{
    beginResetModel();
    m_columns = columns;
    endResetModel();
}

int OutlineModel::columnCount(const QModelIndex &) const
{
    return int(m_columns.size());
}

QVariant OutlineModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0
        || section >= m_columns.size())
        return {};
    return m_columns.at(section).title;
}

QString OutlineModel::columnId(int column) const
{
    return column >= 0 && column < m_columns.size() ? m_columns.at(column).identifier : QString();
}

} // namespace orel
