// The flat list of a crawl's results: one row per occurrence of a link on a page, with its
// filter, bad-links-only rows, text sort, columns, row colours and exports; main thread. The list
// is built on a thread of its own after a pause and at the end of a run.
#pragma once

#include "common/TextSink.h"
#include "reports/Colour.h"
#include "reports/LinkResults.h"
#include "reports/OrelReportItem.h"
#include "reports/TableDescription.h"
#include "reports/bhDataSource.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QThread;

namespace orel {

class SettingsControls;

// Building. doReport() builds at once on the calling (main) thread. requestReport() builds on a
// background thread and replaces the list on the main thread when done, then emits reportReady().
// The background build reads the crawl's records, which is safe only while nothing changes them:
// - the build starts only while the crawl is paused or finished (LinkResults::childrenShown()).
//   A request made while the crawl runs looks again once from the event loop, because the end
//   of a run asks for the report before it marks itself finished; if the crawl still runs then,
//   nothing is built.
// - the crawl calls LinkResults::resultsWillChange() before it changes or frees its records
//   again; on that notice this source stops its build and waits for it to end.
// - a result built from an older generation of the results is dropped instead of being shown.
// When the records go (a new crawl), the list is emptied at once: its items read their values
// from the records.
//
// Rows. The rows are the collection, or the bad collection with bad links only, less the items
// the search text and the link-type filter hide, in their stored (sorted) order. The shown rows
// are kept as an index rebuilt on each filter, switch, sort and build, so that a row is found in
// constant time; the table signals bracket every such change (and every change of columns).
//
// Memory: an item costs 40 bytes plus 8 for its place in the collection, 8 more in the bad
// collection when its link is bad and 8 in the row index while a filter hides some rows.
class OrelReportDataSource : public QObject, public bhDataSource
{
    Q_OBJECT
public:
    // Tags of the link-type filter; here 1 means all links (the link views use 0).
    enum FilterTag { AllLinks = 1, InternalLinks = 2, ImageLinks = 3, ExternalLinks = 4 };
    // The colour of a status class (1 2xx … 4 5xx), such as the link views' colour wells.
    using ColourProvider = std::function<Colour(int colourClass)>;

    // Above this many items (with bad links only off) an export asks before it goes on.
    static constexpr unsigned kLargeExportItems = 10000;

    // controls: displayLabelButton switches row colours on; without controls rows have none.
    // The column check boxes are restored from the user defaults.
    explicit OrelReportDataSource(const SettingsControls *controls = nullptr,
                                  QObject *parent = nullptr);
    ~OrelReportDataSource() override;

    // ---- Building -------------------------------------------------------------------------------
    // One item per occurrence of every record; an item joins the bad collection when its record's
    // shouldBeMemberOfBadCollection() answers false. Any build under way is dropped.
    void doReport(LinkResults &results);
    // Asks for a background build (see above); a build already under way is stopped first.
    void requestReport(LinkResults &results);
    // Whether a background build has been asked for and not yet delivered or dropped.
    bool isBuilding() const { return m_building; }
    // Empties the list (both collections, the rows and the items).
    void clear() override;

    // ---- Rows -----------------------------------------------------------------------------------
    const std::vector<OrelDataObject *> &badCollection() const { return m_badCollection; }
    // Shows the items that contain the search text (all when empty) and pass the link-type filter.
    void filter(const QString &searchText, int tag);
    QString searchText() const { return m_searchText; }
    int filterTag() const { return m_filterTag; }
    bool badLinksOnly() const { return m_badLinksOnly; }
    void setBadLinksOnly(bool on);
    // The bad-links-only switch was pressed: the views reload (the switch itself is set with
    // setBadLinksOnly()).
    void showHideGoodLinks() { reloadData(); }
    int numberOfRows() const { return int(rows().size()); }
    int numberOfRowsInTableView(TableDescription *table) override;
    // The item shown at this row; nullptr out of range.
    OrelReportItem *rowAt(int row) const;
    OrelDataObject *getnthVisibleItem(int n) override { return rowAt(n); }
    QString objectValueForTableColumn(TableDescription *table, const QString &columnId,
                                      int row) override;
    // Reloads the view and tells the table its values changed, on the main thread later.
    void reloadData() override;

    // ---- Sort -----------------------------------------------------------------------------------
    // Sorts the collection and the bad collection in place by the field's text, ignoring case
    // ("10" comes before "9"); descending inverts the comparison, equal values keep their order.
    void sortByField(const QString &field, bool ascending);
    QString currentSortField() const { return m_currentSortField; }
    bool currentSortAscending() const { return m_currentSortAscending; }
    // A column click: the descriptor's key (a column identifier or its sort key) and direction.
    void didClickTableColumn(TableDescription *table) override;

    // ---- Columns --------------------------------------------------------------------------------
    // The eight columns of the flat list in their default order, and the one of a title, a
    // column identifier or a sort key ("a" … "h"); none when unknown.
    static QList<TableColumn> allColumns();
    static std::optional<TableColumn> columnWithTitle(const QString &title);
    static QString identifierForSortKey(const QString &key);
    // The shown columns in display order.
    QList<TableColumn> columns() const;
    bool isColumnShown(const QString &title) const;
    // Checks the column's box and shows it at the end; answers false for an unknown title.
    bool addColumnWithTitle(const QString &title);
    // Unchecks the column's box and hides it; answers false for an unknown title.
    bool removeColumnWithTitle(const QString &title);
    // Check boxes from the user defaults (keys that exist only), then the shown columns are the
    // checked ones in default order.
    void loadDefaults();
    void saveDefaults() const;

    // ---- Colours --------------------------------------------------------------------------------
    void setColourProvider(ColourProvider provider) { m_colours = std::move(provider); }
    // The colour of a row of the table: that of getnthVisibleItem(row) while a search text is
    // set, otherwise that of getnthItem(row); none when rows are not coloured or the class has
    // no colour.
    std::optional<Colour> labelColorForRow(TableDescription *table, int row) override;
    // The colour of an item's class; none when rows are not coloured or the class has none.
    std::optional<Colour> rowColour(const OrelDataObject *item) const;

    // ---- Exports --------------------------------------------------------------------------------
    // The shown rows and columns; values are not escaped and lines end in "\r".
    void writeFlatText(TextSink &out, QChar separator);
    QString flatCSVText() { return flatText(QLatin1Char(',')); }
    QString flatTDLText() { return flatText(QLatin1Char('\t')); }
    // An HTML page of the shown rows: the link and its redirect as the record's anchors, the page
    // as an anchor of the row's own page, and row colours; every second uncoloured row is shaded.
    void writeHtml(TextSink &out);
    QString htmlText()
    {
        return TextSink::gather([this](TextSink &out) { writeHtml(out); });
    }
    // With bad links only off and more than kLargeExportItems items, asks whether to go on;
    // answers whether the export should go on.
    bool confirmLargeExport();
    // Each asks for a file of its type and writes it atomically as UTF-8 while it is built;
    // answers whether a file was written. A failed write logs "Unsuccessful exporting data to
    // <path>" and leaves an existing file as it was.
    bool exportAsFlatCSV();
    bool exportAsHTML();
    bool exportAsFlatTDL();

Q_SIGNALS:
    // The rows or columns are about to change wholesale, and have changed.
    void tableAboutToChange();
    void tableChanged();
    // Values of the shown rows may have changed (a reload).
    void valuesChanged();
    // A build has replaced the list.
    void reportReady();

private:
    struct Build;
    enum class RowSource { Collection, BadCollection, Filtered };

    void attach(LinkResults &results);
    void detach();
    void resultsWillChange(ResultsChange change);
    void stopBuild();
    void startBuild(LinkResults &results, quint64 request);
    static void build(const std::vector<OrelDataObject *> &records, OrelReportDataSource *owner,
                      const std::function<bool()> &stopped, Build &out);
    void deliver(const std::shared_ptr<Build> &result);
    void applyFilter();
    void rebuildRows();
    const std::vector<OrelDataObject *> &rows() const;
    QString flatText(QChar separator)
    {
        return TextSink::gather([&](TextSink &out) { writeFlatText(out, separator); });
    }
    // Asks for a file of the type, then builds the text into it.
    static bool writeExport(const QString &fileType, const std::function<void(TextSink &)> &build);

    const SettingsControls *m_controls;
    ColourProvider m_colours;

    std::unique_ptr<OrelReportItemStore> m_store;
    std::vector<OrelDataObject *> m_badCollection;
    RowSource m_rowSource = RowSource::Collection;
    std::vector<OrelDataObject *> m_filteredRows;

    QString m_searchText;
    int m_filterTag = AllLinks;
    bool m_badLinksOnly = false;
    QString m_currentSortField;
    bool m_currentSortAscending = true;

    // Check box of each of the eight columns (allColumns() order) and the shown ones, as places
    // in that order, in display order.
    std::vector<bool> m_columnChecked;
    std::vector<int> m_shownColumns;

    LinkResults *m_results = nullptr;
    int m_listenerId = 0;
    std::unique_ptr<QThread> m_worker;
    std::atomic<bool> m_stopBuild { false };
    // Raised by every build asked for, so that only the latest is delivered.
    quint64 m_request = 0;
    bool m_building = false;
};

} // namespace orel
