#include "seo/SitemapModel.h"

#include "links/LinkCheckerUrl.h"
#include "seo/SEOManager.h"
#include "seo/SitemapTable.h"

namespace orel {

SitemapModel::SitemapModel(SEOManager &seo, QObject *parent) : ColumnsTableModel(parent), m_seo(seo)
{
    setColumns(m_seo.builtInSitemapTable().columns());
    connect(&m_seo, &SEOManager::sitemapChanged, this, &SitemapModel::reload);
}

int SitemapModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_seo.getSitemapCollectionCount();
}

QVariant SitemapModel::data(const QModelIndex &index, int role) const
{
    if (role != Qt::DisplayRole || !index.isValid() || !hasColumn(index.column()))
        return {};
    const std::vector<LinkCheckerUrl *> &pages = m_seo.getSitemapCollection();
    if (std::size_t(index.row()) >= pages.size())
        return {};
    return pages[std::size_t(index.row())]->getFieldByName(columnId(index.column()));
}

void SitemapModel::sort(int column, Qt::SortOrder order)
{
    if (!hasColumn(column))
        return;
    // The table's sort drops the collection, which reloads this model.
    m_seo.builtInSitemapTable().setSortDescriptor(
            SortDescriptor { columnId(column), order == Qt::AscendingOrder });
}

void SitemapModel::reload()
{
    beginResetModel();
    endResetModel();
}

} // namespace orel
