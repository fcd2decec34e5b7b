#include "seo/SitemapModel.h"

#include "links/LinkCheckerUrl.h"
#include "seo/SEOManager.h"
#include "seo/SitemapTable.h"

namespace orel {

SitemapModel::SitemapModel(SEOManager &seo, QObject *parent)
    : QAbstractTableModel(parent), m_seo(seo)
{
    for (const TableColumn &c : m_seo.builtInSitemapTable().columns()) {
        m_columnIds << c.identifier;
        m_columnTitles << c.title;
    }
    connect(&m_seo, &SEOManager::sitemapChanged, this, &SitemapModel::reload);
}

int SitemapModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_seo.getSitemapCollectionCount();
}

int SitemapModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_columnIds.size());
}

QVariant SitemapModel::data(const QModelIndex &index, int role) const
{
    if (role != Qt::DisplayRole || !index.isValid() || index.column() >= m_columnIds.size())
        return {};
    const std::vector<LinkCheckerUrl *> &pages = m_seo.getSitemapCollection();
    if (std::size_t(index.row()) >= pages.size())
        return {};
    return pages[std::size_t(index.row())]->getFieldByName(m_columnIds.at(index.column()));
}

QVariant SitemapModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0
        || section >= m_columnTitles.size())
        return {};
    return m_columnTitles.at(section);
}

void SitemapModel::sort(int column, Qt::SortOrder order)
{
    if (column < 0 || column >= m_columnIds.size())
        return;
    // The table's sort drops the collection, which reloads this model.
    m_seo.builtInSitemapTable().setSortDescriptor(
            SortDescriptor { m_columnIds.at(column), order == Qt::AscendingOrder });
}

void SitemapModel::reload()
{
    beginResetModel();
    endResetModel();
}

} // namespace orel
