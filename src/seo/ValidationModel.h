// The validation table as a Qt item model for the desktop program's table view; main thread.
#pragma once

#include "reports/ColumnsTableModel.h"
#include <QList>

#include "reports/TableDescription.h"

namespace orel {

class SEOManager;

// A thin table over the SEO manager's validation rows (the pages in sorted order, none while
// validation is off): each cell the page's field of the column's identifier. Every change the
// manager signals (a page admitted, an answer, re-validation, the switch) resets the model; the
// row count is taken only then, so the view never sees rows change unannounced.
//
// ColourClassRole answers the page's validator colour class (2 for "Invalid", else 0), which the
// desktop program maps to its colour wells.
class ValidationModel : public ColumnsTableModel
{
    Q_OBJECT
public:
    enum Role { ColourClassRole = Qt::UserRole + 1 };

    explicit ValidationModel(SEOManager &manager, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

private:
    void reset();

    SEOManager &m_manager;
    int m_rows = 0;
};

} // namespace orel
