// The link views of a crawl's results: which records are rows (search text, link-type filter,
// bad links only), the rows and children of the by-link and by-page outlines, and the row
// colours; main thread.
//
// The shown rows are kept in an index in sorted order, so that a row is found in O(1) and a
// record's row in O(log n). The crawl announces what it added and changed (noteAdded,
// noteChanged); the index takes them in one batch per pass of the event loop, or at once by
// flush(), and tells the item models which rows came, went or changed. Whole-list changes
// (filter, bad-links-only switch, sort, a new crawl) rebuild it and reset the models.
#pragma once

#include "links/OrelOnPage.h"
#include "reports/Colour.h"
#include "reports/LinkResults.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace orel {

class LinkCheckerUrl;
class OrelDataObject;
class SettingsControls;

class LinkViews : public QObject
{
    Q_OBJECT
public:
    LinkViews(LinkResults &results, const SettingsControls &controls);

    // Drops what the views made of the previous results (a new crawl): clear() while the old
    // records still exist, cleared() once the collection and the page index are empty. The
    // models are reset in between.
    void clear();
    void cleared();

    // ---- Changes announced by the crawl -----------------------------------------------------
    // A record appended to the collection (it sorts at the end until the next sort).
    void noteAdded(LinkCheckerUrl *record);
    // A record whose status, bad flag or occurrences changed.
    void noteChanged(LinkCheckerUrl *record);
    // Outline children are shown or hidden now (the crawl stopped, finished or went on).
    void noteChildrenShown();
    // Takes the announced changes into the index now.
    void flush();

    // ---- The index, as the models see it (never flushes) -------------------------------------
    int rowCount() const { return int(m_rows.size()); }
    LinkCheckerUrl *rowAt(int row) const;
    // The row of a shown record; -1 when it is not shown.
    int rowOf(const LinkCheckerUrl *record) const;
    // Sorts as a click on the column does (numerically for numeric fields) and rebuilds.
    void sortByColumn(const QString &columnId, bool ascending);

    // ---- Visibility ----------------------------------------------------------------------------
    // Bad-links-only switch, search text and link-type filter (0 all, 2 internal, 4 external,
    // 3 images).
    bool badLinksOnly() const { return m_badLinksOnly; }
    void setBadLinksOnly(bool on);
    QString searchText() const { return m_searchText; }
    void setSearchText(const QString &text) { m_searchText = text; }
    int linksFilterTag() const { return m_linksFilterTag; }
    void setLinksFilterTag(int tag) { m_linksFilterTag = tag; }
    // Toggles the bad-links-only switch; answers the label of the control, which names what
    // the next press does ("Bad links only" or "Show all links").
    QString showHideGoodLinks();
    // The toolbar button's image for the state the switch is in: "showAllImage" while only bad
    // links show, else "badLinksImage" (like the label, it names what the next press does).
    QString showHideGoodLinksImage() const
    {
        return QLatin1String(m_badLinksOnly ? "showAllImage" : "badLinksImage");
    }
    // Recomputes every record's visibility from the search text and the link-type filter.
    void filter();
    // Whether a record is a row of the views now: visible, and bad when only bad links show.
    bool isShown(const LinkCheckerUrl *record) const;

    // ---- The link table and the by-link roots --------------------------------------------------
    // Bad links only: the n-th bad record in collection order, falling through to the plain
    // answer when there are fewer; otherwise the record at that place.
    OrelDataObject *getnthItem(int index);
    // getnthItem() of every row of the link table, in one walk.
    std::vector<LinkCheckerUrl *> tableItems();
    // The n-th shown record in sorted order.
    OrelDataObject *getnthVisibleItem(int n);
    // Visible records (collection given); visible and bad (nullptr).
    int countVisible(const std::vector<OrelDataObject *> *collection);
    int numberOfRows();
    // getnthVisibleItem(row)'s field of the column; "" when there is none.
    QString objectValue(const QString &columnId, int row);
    // The rows getnthVisibleItem() answers one by one, walked once; with badOnly in place of
    // the switch.
    std::vector<LinkCheckerUrl *> visibleRows() { return visibleRows(m_badLinksOnly); }
    std::vector<LinkCheckerUrl *> visibleRows(bool badOnly);

    // ---- By-link outline -----------------------------------------------------------------------
    // A record opens onto its occurrences, but only once the crawl is paused or finished.
    // Pairings stay valid until clear().
    int numberOfOccurrences(LinkCheckerUrl *record) const;
    OrelOnPage *occurrence(LinkCheckerUrl *record, int index);

    // ---- By-page outline -----------------------------------------------------------------------
    // The pages with at least one shown link, in the page index's own order; rebuilt by
    // countPagesWithVisibleItems().
    int countItemsforThisPage(const QString &page) const;
    int countVisibleItemsforThisPage(const QString &page) const;
    bool pageHasAtLeastOneVisibleItem(const QString &page) const;
    int countPagesWithVisibleItems();
    // "" out of range; a null string before the first count.
    QString getNthPageWithVisibleItems(int n) const;
    OrelOnPage *getNthVisibleItemForPage(int n, const QString &page);
    // The shown links of the page in order, as getNthVisibleItemForPage() answers them one by
    // one; none before the outline shows children.
    std::vector<PageLink> shownLinksOnPage(const QString &page) const;

    // Cell values of the outlines. A link row has no single link text; an occurrence row under
    // a link repeats none of the link's own columns; a page row shows only its URL.
    static QString byLinkValue(const LinkCheckerUrl *record, const QString &columnId);
    static QString byLinkValue(const OrelOnPage *occurrence, const QString &columnId);
    static QString byPageValue(const QString &page, const QString &columnId);
    static QString byPageValue(const OrelOnPage *occurrence, const QString &columnId);

    // ---- Row colours ---------------------------------------------------------------------------
    // The four class colours (1 2xx … 4 5xx) and the "none" colour (0).
    void setClassColour(int colourClass, const Colour &colour);
    Colour classColour(int colourClass) const;
    void loadColoursFromDefaults();
    void saveColoursToDefaults() const;
    // The colour of the link table's row; none when rows are not coloured or the class has none.
    std::optional<Colour> labelColorForRow(int row);
    Colour labelColorForConstant(int colourClass) const { return classColour(colourClass); }
    std::optional<Colour> rowColour(const LinkCheckerUrl *record) const;

Q_SIGNALS:
    // Row changes of the index, in the order a QAbstractItemModel announces them.
    void rowsAboutToBeInserted(int first, int last);
    void rowsInserted();
    void rowsAboutToBeRemoved(int first, int last);
    void rowsRemoved();
    void rowsChanged(int first, int last);
    void aboutToReset();
    void resetDone();

private:
    void scheduleFlush();
    // Rebuilds the ranks and the index from the collection, resetting the models.
    void rebuild();
    void rebuildIndex();
    int rankOf(const LinkCheckerUrl *record) const;
    // Where a record of this rank is or would go in the index.
    std::size_t lowerBound(int rank) const;
    void applyAdded();
    void applyChanged(LinkCheckerUrl *record);
    const std::vector<OrelDataObject *> &items() const;
    LinkCheckerUrl *recordAt(int index) const; // nullptr past the end
    int recordCount() const;
    const QList<PageLink> *linksOnPage(const QString &page) const;

    LinkResults &m_results;
    const SettingsControls &m_controls;
    bool m_badLinksOnly = false;
    QString m_searchText;
    int m_linksFilterTag = 0;
    bool m_everyRecordVisible = true; // the last filter() left every record visible
    // Occurrence pairings handed to the outlines, one per record and index; a map keeps each
    // where it was made, so the outlines may hold on to them until the next clear().
    std::map<std::pair<LinkCheckerUrl *, int>, OrelOnPage> m_pairings;
    std::optional<QStringList> m_pagesNeedingAttention;
    Colour m_classColours[5]; // [0] is the "none" colour

    // The shown records in sorted order, and each record's place in sorted order by its id.
    std::vector<LinkCheckerUrl *> m_rows;
    std::vector<int> m_rank;
    quint64 m_orderGeneration = 0;
    bool m_childrenShown = false;
    // Announced changes waiting for flush(); a record waits once however often it changed.
    std::vector<LinkCheckerUrl *> m_pendingAdded;
    std::vector<LinkCheckerUrl *> m_pendingChanged;
    std::vector<bool> m_pendingMark; // by id
    bool m_flushScheduled = false;
};

} // namespace orel
