// The flat list as a Qt item model.
#include "reports/FlatListModel.h"

#include "reports/LinkVerdict.h"
#include "reports/OrelReportDataSource.h"

namespace orel {

FlatListModel::FlatListModel(OrelReportDataSource &source, QObject *parent)
    : QAbstractTableModel(parent), m_source(source)
{
    columnsFromSource();
    connect(&source, &OrelReportDataSource::tableAboutToChange, this,
            &FlatListModel::beginResetModel);
    connect(&source, &OrelReportDataSource::tableChanged, this, [this] {
        columnsFromSource();
        endResetModel();
    });
    connect(&source, &OrelReportDataSource::valuesChanged, this, [this] {
        if (rowCount() > 0 && columnCount() > 0)
            Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, columnCount() - 1));
    });
}

void FlatListModel::columnsFromSource()
{
    m_columnIds.clear();
    m_columnTitles.clear();
    for (const TableColumn &column : m_source.columns()) {
        m_columnIds.append(column.identifier);
        m_columnTitles.append(column.title);
    }
}

int FlatListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_source.numberOfRows();
}

int FlatListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_columnIds.size());
}

QVariant FlatListModel::data(const QModelIndex &index, int role) const
{
    // rowAt() checks the row; checkIndex() took about 6% of a scroll through millions of rows.
    if (!index.isValid() || index.model() != this || index.column() >= m_columnIds.size())
        return {};
    const OrelReportItem *item = m_source.rowAt(index.row());
    if (!item)
        return {};
    switch (role) {
    case Qt::DisplayRole:
        return item->getFieldByName(m_columnIds.at(index.column()));
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

QVariant FlatListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0
        || section >= m_columnTitles.size())
        return {};
    return m_columnTitles.at(section);
}

Qt::ItemFlags FlatListModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
}

void FlatListModel::sort(int column, Qt::SortOrder order)
{
    if (column < 0 || column >= m_columnIds.size())
        return;
    m_source.sortByField(m_columnIds.at(column), order == Qt::AscendingOrder);
}

} // namespace orel
