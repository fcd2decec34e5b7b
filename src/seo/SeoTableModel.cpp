// The SEO table as a Qt item model.
#include "seo/SeoTableModel.h"

#include "seo/SEOManager.h"

namespace orel {

SeoTableModel::SeoTableModel(SEOManager &manager, QObject *parent)
    : ColumnsTableModel(parent), m_manager(manager)
{
    takeSnapshot();
    SeoTable &table = manager.getSEOTableView();
    connect(&table, &SeoTable::aboutToChange, this, &SeoTableModel::beginResetModel);
    connect(&table, &SeoTable::changed, this, [this] {
        takeSnapshot();
        endResetModel();
    });
    connect(&table, &SeoTable::reloaded, this, &SeoTableModel::refresh);
}

void SeoTableModel::takeSnapshot()
{
    m_rows = m_manager.numberOfRowsInSEOTable();
    setColumns(m_manager.getSEOTableView().columns());
}

void SeoTableModel::refresh()
{
    // Admitted pages go at the end of the collection and of its sorted copy, so with the SEO
    // switch unchanged the rows seen so far stay where they are.
    const int rows = m_manager.numberOfRowsInSEOTable();
    if (rows > m_rows) {
        beginInsertRows({}, m_rows, rows - 1);
        m_rows = rows;
        endInsertRows();
    } else if (rows < m_rows) {
        beginResetModel();
        takeSnapshot();
        endResetModel();
        return;
    }
    allValuesChanged();
}

int SeoTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rows;
}

QVariant SeoTableModel::data(const QModelIndex &index, int role) const
{
    if (role != Qt::DisplayRole || !checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    return m_manager.SEOObjectValue(columnId(index.column()), index.row());
}

void SeoTableModel::sort(int column, Qt::SortOrder order)
{
    if (!hasColumn(column))
        return;
    m_manager.sortSEOTable(columnId(column), order == Qt::AscendingOrder);
}

} // namespace orel
