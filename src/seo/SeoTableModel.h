// The SEO table as a Qt item model for the desktop program's table view; main thread.
#pragma once

#include "reports/ColumnsTableModel.h"
#include <QList>

namespace orel {

class SEOManager;

// A thin table over the SEO manager's SEO table: its rows (the pages the phrase leaves, in the
// table's order), its columns, each cell as the manager answers it (with the phrase's counts
// while a phrase is set) and sorting by a click on a column. Wholesale changes (phrase, sort,
// columns, a new crawl) reset the model; a reload of the table appends the pages admitted since
// the last look when nothing else changed, and otherwise resets.
class SeoTableModel : public ColumnsTableModel
{
    Q_OBJECT
public:
    explicit SeoTableModel(SEOManager &manager, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    // Takes in pages admitted since the last look (the crawl goes on).
    void refresh();

private:
    void takeSnapshot();

    SEOManager &m_manager;
    // The rows and columns as last announced: the view must never see more than that.
    int m_rows = 0;
};

} // namespace orel
