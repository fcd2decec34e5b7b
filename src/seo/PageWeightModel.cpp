// The page-weight table as a Qt item model.
#include "seo/PageWeightModel.h"

#include "seo/PageWeightGatherer.h"

namespace orel {

PageWeightModel::PageWeightModel(PageWeightGatherer &gatherer, QObject *parent)
    : ColumnsTableModel(parent), m_gatherer(gatherer)
{
    setColumns(PageWeightGatherer::tableColumns());
    connect(&gatherer, &PageWeightGatherer::tableAboutToChange, this,
            &PageWeightModel::beginResetModel);
    connect(&gatherer, &PageWeightGatherer::tableChanged, this, &PageWeightModel::endResetModel);
    connect(&gatherer, &PageWeightGatherer::valuesChanged, this, [this] { allValuesChanged(); });
}

int PageWeightModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_gatherer.numberOfRowsInTableView(nullptr);
}

QVariant PageWeightModel::data(const QModelIndex &index, int role) const
{
    // No row colouring: only the text of the cell.
    if (role != Qt::DisplayRole || !checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    return m_gatherer.objectValueForTableColumn(nullptr, columnId(index.column()), index.row());
}

void PageWeightModel::sort(int column, Qt::SortOrder order)
{
    if (!hasColumn(column))
        return;
    m_gatherer.sortByColumnClick(columnId(column), order == Qt::AscendingOrder);
}

} // namespace orel
