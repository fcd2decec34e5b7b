// The pages collected for the sitemap and the SEO views during a crawl; main thread.
#pragma once

#include "reports/bhDataSource.h"
#include "seo/SeoTable.h"

#include <QHash>
#include <QList>
#include <QObject>

namespace orel {

class LinkCheckerUrl;
class SettingsControls;
class TextSink;

// A data source over records owned by the crawl controller: it only references them, so it
// must be cleared before the controller throws its records away. The sitemap, the SEO
// analysis and the validation each keep their members in their own block below (and their
// code in SEOManagerSitemap.cpp, SEOManagerAnalysis.cpp, SEOManagerValidation.cpp).
class SEOManager : public QObject, public bhDataSource
{
    Q_OBJECT
public:
    explicit SEOManager(QObject *parent = nullptr);
    ~SEOManager() override;

    // Forgets every collected page (a new crawl).
    void clear() override;
    // A crawl run starts: counters and sorting go back to their start values.
    void go();
    // Admits a page (in order of admission).
    void add(LinkCheckerUrl *record);
    LinkCheckerUrl *pageAt(int index) const;

    // Progress of the crawl, as the controller counts it.
    void incNumberDone() { ++m_numberDone; }
    int getNumberDone() const { return m_numberDone; }
    void setStopPressed(bool on) { m_stopPressed = on; }
    bool stopPressed() const { return m_stopPressed; }
    void setCrawlFinished(bool on) { m_crawlFinished = on; }
    bool crawlFinished() const { return m_crawlFinished; }

    // ---- Sitemap -------------------------------------------------------------------------

    // ---- SEO analysis --------------------------------------------------------------------
    // (code in SEOManagerAnalysis.cpp and SEOManagerSeoTable.cpp)
    using Duplicates = QHash<QString, QList<LinkCheckerUrl *>>;

    // The controls read live: SEOEnabledCheckBox, SEOSearchBox (the phrase) and
    // SEOCountKeywordsInContentCheckBox. Without controls SEO is on and the phrase empty.
    void setSEOControls(SettingsControls *controls) { m_SEOControls = controls; }
    bool isSEOEnabled() const;
    QString getSEOPhrase() const;
    bool countsKeywordsInContent() const;
    SeoTable &getSEOTableView() { return m_SEOTableView; }
    SeoTable &getDuplicatesTableView() { return m_duplicatesTableView; }
    // The optional columns' check boxes and content counting ("SEOCountKeywordsInContent"):
    // read at start, saved at quit.
    void loadSEODefaults();
    void saveSEODefaults() const;

    // Pages that share a title and at least one size in bytes, by title, with every page of
    // the title; a page whose canonical URL points elsewhere takes no part. Built on first use
    // and kept until clear().
    const Duplicates &getDuplicates();
    // Collection pages without a title, and without a meta description.
    int getSitemapWithoutTitle() const;
    int getSitemapWithoutDescription() const;
    int getSEOCollectionCount() const { return int(getCount()); }
    // The counters as shown (pages included, without title, without description), taken from
    // the collection by updateSEOCounters().
    void updateSEOCounters();
    int getPagesIncludedInSEO() const { return m_tfPagesIncludedInSEO; }
    int getPagesSEOWithoutTitle() const { return m_tfPagesSEOWithoutTitle; }
    int getPagesSEOWithoutDescription() const { return m_tfPagesSEOWithoutDescription; }

    // Applies the phrase (SEO on only): the pages without it leave the SEO table, which is then
    // sorted by the phrase's total count, most first; an empty phrase shows every page again
    // in the table's column sort.
    void SEOfilter();
    // The SEO table: no rows with SEO off, else the pages whose second visibility flag is on,
    // in sorted order.
    int numberOfRowsInSEOTable();
    OrelDataObject *getnthVisibleItem(int n) override;
    // A cell: while a phrase is set, the text columns (and "filesize" when counting in the
    // content) read "(count) text"; every other cell the page's field.
    QString SEOObjectValue(const QString &columnId, int row);
    // A click on the SEO table's column header (numeric fields sort numerically).
    void sortSEOTable(const QString &columnId, bool ascending);

    // Selecting a row of the SEO table (-1 for none) fills the duplicates table with the
    // other pages of the same title and size in bytes.
    void SEOTableSelectionDidChange(int row);
    LinkCheckerUrl *getSelectedSEOPage() const { return m_selectedSEOPage; }
    int numberOfRowsInDuplicatesTable() const { return int(m_duplicateRows.size()); }
    LinkCheckerUrl *duplicateAt(int row) const;
    // Acting on the selected page: open it in the browser, its URL for the clipboard, the
    // inspector.
    void SEODoubleClick() { SEOOpenPage(); }
    void SEOOpenPage();
    void visitURL() { SEOOpenPage(); }
    QString copyURL() const;
    void showInspector();

    // "<h1>SEO</h1>", the counters and the SEO table as HTML.
    QString getSEOReport();
    // The SEO table's columns and rows, each value quoted, "\r" line ends, values unescaped.
    void writeSEOCSV(TextSink &out);
    QString getSEOCSV();
    // Asks for a CSV file and writes it (see LinkExports::writeExport); answers whether it did.
    bool exportSEOAsCSV();

    // ---- HTML validation -----------------------------------------------------------------

private:
    // ---- Sitemap -------------------------------------------------------------------------

    // ---- SEO analysis --------------------------------------------------------------------
    // Forgets the duplicates, the selection and the rows (part of clear()).
    void clearSEOAnalysis();
    // The SEO table's rows, rebuilt when the collection, its order or a flag changed.
    const std::vector<LinkCheckerUrl *> &SEORows();

    SettingsControls *m_SEOControls = nullptr;
    SeoTable m_SEOTableView { *this, SeoTable::Kind::SEO };
    SeoTable m_duplicatesTableView { *this, SeoTable::Kind::Duplicates };
    std::optional<Duplicates> m_duplicates;
    std::vector<OrelDataObject *> m_SEOSortArray;
    std::vector<LinkCheckerUrl *> m_SEORows;
    bool m_SEORowsValid = false;
    unsigned m_SEORowsCount = 0;
    quint64 m_SEORowsGeneration = 0;
    LinkCheckerUrl *m_selectedSEOPage = nullptr;
    std::vector<LinkCheckerUrl *> m_duplicateRows;
    int m_tfPagesIncludedInSEO = 0;
    int m_tfPagesSEOWithoutTitle = 0;
    int m_tfPagesSEOWithoutDescription = 0;

    // ---- HTML validation -----------------------------------------------------------------

    int m_numberDone = 0;
    bool m_stopPressed = false;
    bool m_crawlFinished = false;
};

} // namespace orel
