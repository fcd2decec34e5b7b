// Base of every table data source: an ordered collection of data objects with ids, a sorted
// copy, the row questions of the views and the CSV/HTML renderers; main thread (reloadData()
// may be called from any thread).
#pragma once

#include "reports/Colour.h"
#include "reports/TableDescription.h"

#include <QObject>
#include <QString>
#include <QtGlobal>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace orel {

class OrelDataObject;

// The address of the public HTML validator's check page; the validation table's report links
// each page to it with "?uri=" and the page address.
inline constexpr const char *kPublicValidatorCheckAddress = "https://validator.w3.org/check";

class bhDataSource
{
public:
    // Sort options: a text sort or a numeric insertion sort.
    enum SortOptions { SortAsText = 0, SortAsNumber = 1 };

    bhDataSource();
    virtual ~bhDataSource();

    bhDataSource(const bhDataSource &) = delete;
    bhDataSource &operator=(const bhDataSource &) = delete;

    // --- The collection -------------------------------------------------------------------
    // Appends the item (and to the end of the sorted copy when there is one). An item without
    // an id (0) gets highestId + 1; an item with an id raises highestId to it when greater.
    // Given as a unique_ptr, the item is the source's own until the next clear() (the crawl's
    // records); given as a pointer, it lives elsewhere and is only referenced (the SEO
    // manager's lists of the crawl's records).
    void add(std::unique_ptr<OrelDataObject> item);
    void add(OrelDataObject *item);
    // Empties the collection, drops the sorted copy, deletes the items the source owns and
    // starts the ids again from 0.
    virtual void clear();
    // Removes every occurrence of the item from the collection; the sorted copy keeps it, so an
    // item the source owns stays alive until the next clear().
    void deleteItem(OrelDataObject *item);
    // Exchanges the places of two items in the collection (nothing when either is absent).
    void swop(OrelDataObject *a, OrelDataObject *b);

    unsigned getCount() const { return static_cast<unsigned>(m_collection.size()); }
    qint32 getHighestId() const { return m_highestId; }
    // The items in collection order.
    const std::vector<OrelDataObject *> &items() const { return m_collection; }

    // --- Positional questions (nullptr when there is no such item) -------------------------
    OrelDataObject *getFirstItem() const;
    // The item after the given one in collection order.
    OrelDataObject *getNextItem(const OrelDataObject *item) const;
    // The first item with this id, walking from getnthItem(0).
    OrelDataObject *getItemById(quint32 id);
    // The item at this place of the collection; logs "count is 0" on an empty collection.
    virtual OrelDataObject *getnthItem(int index);
    // The item at this place of the sorted copy, or of the collection beyond the sorted copy.
    OrelDataObject *getnthSortedItem(int index) const;
    // The n-th (from 0) visible item in sorted order.
    virtual OrelDataObject *getnthVisibleItem(int n);
    // Whether a sort has been done since the last clear() (the sorted copy exists).
    bool hasSortArray() const { return m_sortArray.has_value(); }
    // Raised whenever the items change places other than by add() (sort, clear, delete, swop),
    // so that an index of positions knows it must be rebuilt.
    quint64 orderGeneration() const { return m_orderGeneration; }

    // --- The view -------------------------------------------------------------------------
    TableDescription *getTableView() const { return m_tableView; }
    void setTableView(TableDescription *tableView) { m_tableView = tableView; }
    // Asks the view to reload; from any thread, queued to the main thread without waiting.
    virtual void reloadData();

    // --- Row questions of the views (subclasses override) ----------------------------------
    virtual int numberOfRowsInTableView(TableDescription *table);
    // The value of a cell: getnthItem(row)'s field of the column; "" when there is no item.
    virtual QString objectValueForTableColumn(TableDescription *table, const QString &columnId,
                                              int row);
    // The colour of a row; none in the base.
    virtual std::optional<Colour> labelColorForRow(TableDescription *table, int row);
    // The value of a cell of an outline; a null string (none) in the base.
    virtual QString objectValueByItem(TableDescription *outline, const QString &columnId,
                                      OutlineItem item);
    // A click on a column header: sorts by the view's first sort descriptor (numerically for
    // numeric fields) and reloads.
    virtual void didClickTableColumn(TableDescription *table);

    // --- Sorting --------------------------------------------------------------------------
    void sortByColumn(const QString &columnId, bool ascending, int options = SortAsText);
    // -1, 0 or 1 comparing the numeric values of a field; always 0 unless options is 1.
    // An infinite value logs "overflow" and counts as equal.
    int compare(const OrelDataObject *a, const OrelDataObject *b, const QString &columnId,
                int options) const;

    // --- Renderers ------------------------------------------------------------------------
    // A cell as every export writes it: the user info of any URL in it left out, except in the
    // link's own URL (columns "linkurl" and "linkurlhtml"), which is needed to fetch it again.
    static QString exportValue(const QString &columnId, const QString &value);
    // The own view with this source's row answers; values are not escaped, lines end in "\r".
    QString getDataAsCSV();
    QString getDataAsHTML();
    // The visible items of the collection, with classes, label colours and anchors.
    QString getDataAsHTMLusingTableView(TableDescription *table);
    // The rows an outline shows now, with the progress window.
    QString getDataAsHTMLusingOutlineView(TableDescription *outline);
    QString getDataAsCSVusingOutlineView(TableDescription *outline);

    // --- Hooks, empty in the base ----------------------------------------------------------
    virtual void deleteKey() { }
    virtual void remove() { }
    virtual void sort() { }
    virtual OrelDataObject *getSelectedItem() { return nullptr; }
    // A null string means none.
    virtual QString getWindowTitle() { return {}; }

protected:
    // Runs fn on the main thread later, without waiting; dropped when this source is gone.
    void postToMainThread(std::function<void()> fn);
    // For sources that build their rows elsewhere (on another thread): the collection becomes
    // items, which live elsewhere and are only referenced, with the ids they carry; highestId is
    // as told. Whatever the source held before is cleared as by clear().
    void adoptCollection(std::vector<OrelDataObject *> items, qint32 highestId);
    // The collection itself, for sources that reorder it in place.
    std::vector<OrelDataObject *> &collection() { return m_collection; }

private:
    int indexOf(const OrelDataObject *item) const;
    void sortAsText(const QString &columnId, bool ascending);
    void sortAsNumber(const QString &columnId, bool ascending, int options);

    std::vector<OrelDataObject *> m_collection;
    std::optional<std::vector<OrelDataObject *>> m_sortArray;
    // The items given to the source to keep, in the order they came; the collection may have
    // let go of some (deleteItem) or hold some twice.
    std::vector<std::unique_ptr<OrelDataObject>> m_owned;
    TableDescription *m_tableView = nullptr;
    qint32 m_highestId = 0;
    quint64 m_orderGeneration = 0;
    // Where the last positional answer was found, so that walking with getNextItem() is O(1).
    // Only a hint (checked before use); atomic because a report thread may read positions.
    mutable std::atomic<std::size_t> m_lastIndex { 0 };
    // Lives on the main thread; queued reloads die with it.
    QObject m_mainThreadContext;
};

} // namespace orel
