// The flat list as a Qt item model for the desktop program's table view; main thread.
#pragma once

#include "reports/Colour.h"

#include "reports/ColumnsTableModel.h"
#include <QList>

namespace orel {

class OrelReportDataSource;

// A thin table over OrelReportDataSource: its shown rows and columns, each cell the field of the
// column's identifier, header titles, and sorting through the source's text sort. A row is found
// in constant time through the source's index of shown rows. Every change of rows or columns in
// the source (filter, bad-links-only switch, sort, a new build, a column shown or hidden) resets
// the model; a reload of values (the crawl moved on) marks every cell changed.
//
// VerdictRole answers the link's verdict (LinkVerdict.h): "good", "bad" or "blocked".
// Qt::BackgroundRole answers the source's labelColorForRow() for the row as a QVariant holding a
// Colour (an invalid QVariant when the row has none). The core has no GUI types, so the desktop
// program registers the conversions once at start, after which item delegates paint it as they
// would a QColor:
//     QMetaType::registerConverter<orel::Colour, QColor>(toQColor);
//     QMetaType::registerConverter<orel::Colour, QBrush>(toQBrush);
class FlatListModel : public ColumnsTableModel
{
    Q_OBJECT
public:
    explicit FlatListModel(OrelReportDataSource &source, QObject *parent = nullptr);

    OrelReportDataSource &source() const { return m_source; }

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

private:
    void columnsFromSource();

    OrelReportDataSource &m_source;
    // The source's shown columns, taken again on every reset: data() reads them per cell.
};

} // namespace orel
