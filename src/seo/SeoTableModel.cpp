// The SEO table as a Qt item model.
#include "seo/SeoTableModel.h"

#include "seo/SEOManager.h"

namespace orel {

SeoTableModel::SeoTableModel(SEOManager &manager, QObject *parent)
    : QAbstractTableModel(parent), m_manager(manager)
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
    m_columnIds.clear();
    m_columnTitles.clear();
    for (const TableColumn &column : m_manager.getSEOTableView().columns()) {
        m_columnIds.append(column.identifier);
        m_columnTitles.append(column.title);
    }
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
    if (m_rows > 0 && !m_columnIds.isEmpty())
        Q_EMIT dataChanged(index(0, 0), index(m_rows - 1, int(m_columnIds.size()) - 1));
}

int SeoTableModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rows;
}

int SeoTableModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_columnIds.size());
}

QVariant SeoTableModel::data(const QModelIndex &index, int role) const
{
    if (role != Qt::DisplayRole || !checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    return m_manager.SEOObjectValue(m_columnIds.at(index.column()), index.row());
}

QVariant SeoTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0
        || section >= m_columnTitles.size())
        return {};
    return m_columnTitles.at(section);
}

Qt::ItemFlags SeoTableModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
}

void SeoTableModel::sort(int column, Qt::SortOrder order)
{
    if (column < 0 || column >= m_columnIds.size())
        return;
    m_manager.sortSEOTable(m_columnIds.at(column), order == Qt::AscendingOrder);
}

} // namespace orel
