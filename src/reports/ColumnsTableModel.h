// Base of the item models of flat tables: the table's columns (identifiers and titles), their
// count, the header and the item flags; main thread.
#pragma once

#include "reports/TableDescription.h"

#include <QAbstractTableModel>
#include <QStringList>

namespace orel {

// A subclass answers the rows and cells; every cell it reads is the field of the column's
// identifier. Columns are taken with setColumns() (on a reset when they can change).
class ColumnsTableModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

protected:
    explicit ColumnsTableModel(QObject *parent) : QAbstractTableModel(parent) { }

    void setColumns(const QList<TableColumn> &columns);
    bool hasColumn(int column) const { return column >= 0 && column < m_ids.size(); }
    // The identifier of a column that hasColumn().
    const QString &columnId(int column) const { return m_ids.at(column); }
    // Marks every cell changed (values were reloaded, rows and columns stayed).
    void allValuesChanged();

private:
    QStringList m_ids;
    QStringList m_titles;
};

} // namespace orel
