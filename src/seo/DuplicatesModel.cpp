// The duplicates table as a Qt item model.
#include "seo/DuplicatesModel.h"

#include "links/LinkCheckerUrl.h"
#include "seo/SEOManager.h"

namespace orel {

DuplicatesModel::DuplicatesModel(SEOManager &manager, QObject *parent)
    : ColumnsTableModel(parent), m_manager(manager)
{
    // The duplicates table's columns are fixed.
    setColumns(manager.getDuplicatesTableView().columns());
    SeoTable &table = manager.getDuplicatesTableView();
    connect(&table, &SeoTable::aboutToChange, this, &DuplicatesModel::beginResetModel);
    connect(&table, &SeoTable::changed, this, &DuplicatesModel::endResetModel);
}

int DuplicatesModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_manager.numberOfRowsInDuplicatesTable();
}

QVariant DuplicatesModel::data(const QModelIndex &index, int role) const
{
    if (role != Qt::DisplayRole || !checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const LinkCheckerUrl *page = m_manager.duplicateAt(index.row());
    return page ? page->getFieldByName(columnId(index.column())) : QString();
}

} // namespace orel
