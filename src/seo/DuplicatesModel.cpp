// The duplicates table as a Qt item model.
#include "seo/DuplicatesModel.h"

#include "links/LinkCheckerUrl.h"
#include "seo/SEOManager.h"

namespace orel {

DuplicatesModel::DuplicatesModel(SEOManager &manager, QObject *parent)
    : QAbstractTableModel(parent), m_manager(manager)
{
    // The duplicates table's columns are fixed.
    for (const TableColumn &column : manager.getDuplicatesTableView().columns()) {
        m_columnIds.append(column.identifier);
        m_columnTitles.append(column.title);
    }
    SeoTable &table = manager.getDuplicatesTableView();
    connect(&table, &SeoTable::aboutToChange, this, &DuplicatesModel::beginResetModel);
    connect(&table, &SeoTable::changed, this, &DuplicatesModel::endResetModel);
}

int DuplicatesModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_manager.numberOfRowsInDuplicatesTable();
}

int DuplicatesModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_columnIds.size());
}

QVariant DuplicatesModel::data(const QModelIndex &index, int role) const
{
    if (role != Qt::DisplayRole || !checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const LinkCheckerUrl *page = m_manager.duplicateAt(index.row());
    return page ? page->getFieldByName(m_columnIds.at(index.column())) : QString();
}

QVariant DuplicatesModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0
        || section >= m_columnTitles.size())
        return {};
    return m_columnTitles.at(section);
}

Qt::ItemFlags DuplicatesModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
}

} // namespace orel
