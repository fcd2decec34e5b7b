#include "seo/SitemapTable.h"

#include "common/Localize.h"
#include "seo/SEOManager.h"

namespace orel {

QList<TableColumn> SitemapTable::defaultColumns()
{
    return { { QStringLiteral("actualurl"), localized("URL"), 400 },
             { QStringLiteral("linkpagetitle"), localized("Title"), 200 },
             { QStringLiteral("distancefromhome"), localized("Distance from home"), 80 },
             { QStringLiteral("changefrequency"), localized("Change frequency"), 80 } };
}

int SitemapTable::numberOfRows() const
{
    return m_seo.getSitemapCollectionCount();
}

void SitemapTable::setSortDescriptor(std::optional<SortDescriptor> sort)
{
    m_sort = std::move(sort);
    m_seo.sitemapColumnClicked();
}

} // namespace orel
