// An outline item model described as an outline view with every row expanded, so that the
// outline renderers can export it without a window (the command line, tests); main thread.
#pragma once

#include "reports/TableDescription.h"
#include "reports/bhDataSource.h"

#include <QModelIndex>

#include <vector>

class QAbstractItemModel;

namespace orel {

// Rows are the model's roots, each followed by its children, as the model has them when this
// is made; the model must not change while the description is used. Cells are the model's
// display texts, row colours its Qt::BackgroundRole Colour.
class ModelOutline : public bhDataSource, public TableDescription
{
public:
    ModelOutline(const QAbstractItemModel &model, const QList<TableColumn> &columns);

    QString identifier() const override { return {}; }
    QList<TableColumn> columns() const override { return m_columns; }
    int numberOfRows() const override { return int(m_rows.size()); }
    bhDataSource *dataSource() const override { return const_cast<ModelOutline *>(this); }
    OutlineItem itemAtRow(int row) const override;
    // Roots open onto their children; children open onto nothing.
    bool isExpandable(OutlineItem item) const override;
    QString outlineColumnIdentifier() const override;

    QString objectValueByItem(TableDescription *outline, const QString &columnId,
                              OutlineItem item) override;
    std::optional<Colour> labelColorForRow(TableDescription *table, int row) override;

private:
    const QAbstractItemModel &m_model;
    QList<TableColumn> m_columns;
    std::vector<QModelIndex> m_rows;
};

} // namespace orel
