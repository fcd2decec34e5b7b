#include "reports/ColumnsTableModel.h"

namespace orel {

void ColumnsTableModel::setColumns(const QList<TableColumn> &columns)
{
    m_ids.clear();
    m_titles.clear();
    for (const TableColumn &column : columns) {
        m_ids.append(column.identifier);
        m_titles.append(column.title);
    }
}

int ColumnsTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_ids.size());
}

QVariant ColumnsTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || !hasColumn(section))
        return {};
    return m_titles.at(section);
}

Qt::ItemFlags ColumnsTableModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
}

void ColumnsTableModel::allValuesChanged()
{
    const int rows = rowCount();
    if (rows > 0 && !m_ids.isEmpty())
        Q_EMIT dataChanged(index(0, 0), index(rows - 1, int(m_ids.size()) - 1));
}

} // namespace orel
