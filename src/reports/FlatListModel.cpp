// The flat list as a Qt item model.
#include "reports/FlatListModel.h"

#include "reports/LinkVerdict.h"
#include "reports/OrelReportDataSource.h"

namespace orel {

FlatListModel::FlatListModel(OrelReportDataSource &source, QObject *parent)
    : ColumnsTableModel(parent), m_source(source)
{
    columnsFromSource();
    connect(&source, &OrelReportDataSource::tableAboutToChange, this,
            &FlatListModel::beginResetModel);
    connect(&source, &OrelReportDataSource::tableChanged, this, [this] {
        columnsFromSource();
        endResetModel();
    });
    connect(&source, &OrelReportDataSource::valuesChanged, this, [this] { allValuesChanged(); });
}

void FlatListModel::columnsFromSource()
{
    setColumns(m_source.columns());
}

int FlatListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_source.numberOfRows();
}

QVariant FlatListModel::data(const QModelIndex &index, int role) const
{
    // rowAt() checks the row; checkIndex() took about 6% of a scroll through millions of rows.
    if (!index.isValid() || index.model() != this || !hasColumn(index.column()))
        return {};
    const OrelReportItem *item = m_source.rowAt(index.row());
    if (!item)
        return {};
    switch (role) {
    case Qt::DisplayRole:
        return item->getFieldByName(columnId(index.column()));
    case Qt::BackgroundRole:
        // The colour the view asks for its row number, as the link views colour theirs.
        if (const std::optional<Colour> colour = m_source.labelColorForRow(nullptr, index.row()))
            return QVariant::fromValue(*colour);
        return {};
    case VerdictRole:
        return linkVerdict(item->getLinkCheckerUrl());
    default:
        return {};
    }
}

void FlatListModel::sort(int column, Qt::SortOrder order)
{
    if (!hasColumn(column))
        return;
    m_source.sortByField(columnId(column), order == Qt::AscendingOrder);
}

} // namespace orel
