// What the link outlines' item models share: their columns, header and column count; main
// thread.
#pragma once

#include "reports/TableDescription.h"

#include <QAbstractItemModel>
#include <QList>

namespace orel {

class OutlineModel : public QAbstractItemModel
{
    Q_OBJECT
public:
    OutlineModel(const QList<TableColumn> &columns, QObject *parent);

    // The outline's columns in display order; the first is the outline column.
    QList<TableColumn> columns() const { return m_columns; }
    void setColumns(const QList<TableColumn> &columns);
    // "Status", "URL", "Link Text" and "On Page / Number of Pages".
    static QList<TableColumn> defaultColumns();

    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

protected:
    // The identifier of the column; empty when there is no such column.
    QString columnId(int column) const;

private:
    QList<TableColumn> m_columns;
};

} // namespace orel
