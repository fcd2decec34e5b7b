// What the data sources and their renderers need to know of a table or outline view; main thread.
#pragma once

#include <QList>
#include <QString>

#include <optional>

namespace orel {

class bhDataSource;

// One column as shown: the identifier is also the field name that getFieldByName() understands.
struct TableColumn
{
    QString identifier;
    QString title; // header title
    double width = 100.0;
};

// The sort order that a click on a column header asks for.
struct SortDescriptor
{
    QString key;
    bool ascending = true;
};

// Items shown by an outline are opaque to the renderers: the outline and its data source agree
// on what they point to (a record, an occurrence pairing, a page string). A pointer stays valid
// at least while the outline shows its row.
using OutlineItem = const void *;

// The GUI implements this over its Qt views; the command line and the tests implement it
// directly. A plain table answers only the first group; an outline answers all of them.
class TableDescription
{
public:
    virtual ~TableDescription();

    // The table's identifier ("validator" for the validation table).
    virtual QString identifier() const = 0;
    // The columns in display order.
    virtual QList<TableColumn> columns() const = 0;
    // The number of rows the view shows now (for an outline: roots plus expanded children).
    virtual int numberOfRows() const = 0;
    // Reloads the view from its data source; called on the main thread only.
    virtual void reloadData() { }
    // The first sort descriptor of the view, none when it has none.
    virtual std::optional<SortDescriptor> firstSortDescriptor() const { return std::nullopt; }
    // The data source answering this view's row questions; nullptr lets the renderer use itself.
    virtual bhDataSource *dataSource() const { return nullptr; }

    // Outline views only.
    virtual OutlineItem itemAtRow(int row) const
    {
        Q_UNUSED(row);
        return nullptr;
    }
    virtual bool isExpandable(OutlineItem item) const
    {
        Q_UNUSED(item);
        return false;
    }
    // The identifier of the column that carries the disclosure triangles; empty for a table.
    virtual QString outlineColumnIdentifier() const { return {}; }
};

} // namespace orel
