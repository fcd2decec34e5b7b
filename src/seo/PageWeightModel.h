// The page-weight table as a Qt item model for the desktop window; main thread.
#pragma once

#include "reports/ColumnsTableModel.h"

namespace orel {

class PageWeightGatherer;

// A thin table over PageWeightGatherer: its fixed columns, each cell the field of the column's
// identifier of the n-th visible record, no row colouring, and a header click sorting as the
// data source sorts. A change of rows in the gatherer (a new run, the page's resources found, a
// sort) resets the model; a fetch moving on marks every cell changed.
class PageWeightModel : public ColumnsTableModel
{
    Q_OBJECT
public:
    explicit PageWeightModel(PageWeightGatherer &gatherer, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

private:
    PageWeightGatherer &m_gatherer;
};

} // namespace orel
