// The sitemap table as the renderers and the sitemap file see it when no view is attached (the
// command line, the tests): fixed columns and a sort order that can be set; main thread.
#pragma once

#include "reports/TableDescription.h"

namespace orel {

class SEOManager;

class SitemapTable : public TableDescription
{
public:
    explicit SitemapTable(SEOManager &seo) : m_seo(seo) { }

    // The columns of the sitemap table (each identifier a record field).
    static QList<TableColumn> defaultColumns();

    QString identifier() const override { return QStringLiteral("sitemap"); }
    QList<TableColumn> columns() const override { return m_columns; }
    void setColumns(const QList<TableColumn> &columns) { m_columns = columns; }
    int numberOfRows() const override;
    std::optional<SortDescriptor> firstSortDescriptor() const override { return m_sort; }
    // A column click: the new order, then the collection is sorted again.
    void setSortDescriptor(std::optional<SortDescriptor> sort);

private:
    SEOManager &m_seo;
    QList<TableColumn> m_columns = defaultColumns();
    std::optional<SortDescriptor> m_sort;
};

} // namespace orel
