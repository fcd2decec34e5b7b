// The page-weight table as a Qt item model.
#include "seo/PageWeightModel.h"

#include "seo/PageWeightGatherer.h"

namespace orel {

PageWeightModel::PageWeightModel(PageWeightGatherer &gatherer, QObject *parent)
    : QAbstractTableModel(parent),
      m_gatherer(gatherer),
      m_columns(PageWeightGatherer::tableColumns())
{
    connect(&gatherer, &PageWeightGatherer::tableAboutToChange, this,
            &PageWeightModel::beginResetModel);
    connect(&gatherer, &PageWeightGatherer::tableChanged, this, &PageWeightModel::endResetModel);
    connect(&gatherer, &PageWeightGatherer::valuesChanged, this, [this] {
        if (rowCount() > 0)
            Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, columnCount() - 1));
    });
}

int PageWeightModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_gatherer.numberOfRowsInTableView(nullptr);
}

int PageWeightModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_columns.size());
}

QVariant PageWeightModel::data(const QModelIndex &index, int role) const
{
    // No row colouring: only the text of the cell.
    if (role != Qt::DisplayRole || !checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    return m_gatherer.objectValueForTableColumn(nullptr, m_columns.at(index.column()).identifier,
                                                index.row());
}

QVariant PageWeightModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0
        || section >= m_columns.size())
        return {};
    return m_columns.at(section).title;
}

Qt::ItemFlags PageWeightModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
}

void PageWeightModel::sort(int column, Qt::SortOrder order)
{
    if (column < 0 || column >= m_columns.size())
        return;
    m_gatherer.sortByColumnClick(m_columns.at(column).identifier, order == Qt::AscendingOrder);
}

} // namespace orel
