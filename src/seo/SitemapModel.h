// The sitemap table as a Qt item model for the desktop program's table view; main thread.
#pragma once

#include "reports/ColumnsTableModel.h"
#include <QStringList>

namespace orel {

class SEOManager;

// A thin table over the SEO manager's sitemap collection: one row per page of the file in the
// file's order, the columns of the built-in sitemap table, each cell the page's field of the
// column's identifier. Sorting sets the table's sort order, which orders the file too. A sort
// and new change frequencies reset the model; pages admitted while a crawl runs appear at the
// next reload(), which the view calls with its other reloads (a reset per page would cost a
// rebuild of the collection per page).
class SitemapModel : public ColumnsTableModel
{
    Q_OBJECT
public:
    explicit SitemapModel(SEOManager &seo, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    // The view reads the collection again.
    void reload();

private:
    SEOManager &m_seo;
};

} // namespace orel
