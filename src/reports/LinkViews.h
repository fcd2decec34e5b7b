// The link views of a crawl's results: which records are rows (search text, link-type filter,
// bad links only), the rows and children of the by-link and by-page outlines, and the row
// colours; main thread.
#pragma once

#include "links/OrelOnPage.h"
#include "reports/Colour.h"
#include "reports/LinkResults.h"

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

class LinkViews
{
public:
    LinkViews(LinkResults &results, const SettingsControls &controls);

    // Drops what the views made of the previous results (a new crawl).
    void clear();

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
    // Recomputes every record's visibility from the search text and the link-type filter.
    void filter();
    // Whether a record is a row of the views now: visible, and bad when only bad links show.
    bool isShown(const LinkCheckerUrl *record) const;

    // ---- The link table and the by-link roots --------------------------------------------------
    // Bad links only: the n-th bad record in collection order, falling through to the plain
    // answer when there are fewer; otherwise the record at that place.
    OrelDataObject *getnthItem(int index);
    // The n-th shown record in sorted order.
    OrelDataObject *getnthVisibleItem(int n);
    // Visible records (collection given); visible and bad (nullptr).
    int countVisible(const std::vector<OrelDataObject *> *collection) const;
    int numberOfRows() const;
    // getnthVisibleItem(row)'s field of the column; "" when there is none.
    QString objectValue(const QString &columnId, int row);
    // The rows getnthVisibleItem() answers one by one, walked once; with badOnly in place of
    // the switch.
    std::vector<LinkCheckerUrl *> visibleRows() const { return visibleRows(m_badLinksOnly); }
    std::vector<LinkCheckerUrl *> visibleRows(bool badOnly) const;

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

private:
    const std::vector<OrelDataObject *> &items() const;
    LinkCheckerUrl *recordAt(int index) const; // nullptr past the end
    int recordCount() const;
    const QList<LinkCheckerUrl *> *linksOnPage(const QString &page) const;

    LinkResults &m_results;
    const SettingsControls &m_controls;
    bool m_badLinksOnly = false;
    QString m_searchText;
    int m_linksFilterTag = 0;
    // Occurrence pairings handed to the outlines, one per record and index; a map keeps each
    // where it was made, so the outlines may hold on to them until the next clear().
    std::map<std::pair<LinkCheckerUrl *, int>, OrelOnPage> m_pairings;
    std::optional<QStringList> m_pagesNeedingAttention;
    Colour m_classColours[5]; // [0] is the "none" colour
};

} // namespace orel
