// The pages collected for the sitemap and the SEO views during a crawl; main thread.
#pragma once

#include "reports/bhDataSource.h"
#include "seo/SeoTable.h"

#include <QHash>
#include <QList>
#include <QObject>

#include <memory>
#include <optional>
#include <vector>

class QDateTime;

namespace orel {

class LinkCheckerUrl;
class OrelConfigManager;
class SettingsControls;
class SitemapTable;
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
    // The settings (change frequency and priority pop-ups, options row, FTP fields) and the
    // sitemap rules, save folder and file name; neither is owned.
    void setSitemapContext(SettingsControls *controls, OrelConfigManager *configManager);
    // The sitemap table: its columns make the CSV, its sort orders the file. nullptr (the
    // start) uses a built-in table of the URL, title, distance and change frequency.
    void setSitemapTableView(TableDescription *table);
    TableDescription *getSitemapTableView();
    SitemapTable &builtInSitemapTable();
    // The word of a change frequency tag: 0 "none", 1 "always" … 7 "never", else "".
    static QString getChangeFrequencyForTag(int tag);

    // The pages of the file: admitted pages, without blacklisted ones when xmlNoBlacklisted is
    // on and without those whose canonical URL is elsewhere, in the table's sort order. Kept
    // until a page is admitted, clear() or a column click.
    const std::vector<LinkCheckerUrl *> &getSitemapCollection();
    int getSitemapCollectionCount() { return int(getSitemapCollection().size()); }
    void clearSitemapCollection();
    // A click on a sitemap column header: the collection is sorted again.
    void sitemapColumnClicked();
    // Every admitted page takes its rule's change frequency, else the pop-up's word.
    void updateChangeFrequencies();

    // The texts of the three files. The XML's comment carries when (the time of the export).
    QString sitemapXML(const QDateTime &when);
    QString sitemapCSV();
    QString sitemapHTML();

    // Asks where (a save panel, or the temporary folder with options row 2) and writes the XML
    // file there; the path becomes the sitemap location.
    void exportXML();
    // Writes the XML file to path, which becomes the sitemap location. A failure is logged and
    // answered with its reason.
    bool writeXML(const QString &path, QString *error = nullptr);
    // Save panels of type "csv" and "html", then the file; failures are logged.
    void exportSitemapAsCSV();
    void exportSitemapAsHTML();
    bool writeSitemapCSV(const QString &path, QString *error = nullptr);
    bool writeSitemapHTML(const QString &path, QString *error = nullptr);
    QString getSitemapLocation() const { return m_sitemapLocation; }

    // Uploads the file at the sitemap location to "server/dir/name" with the FTP fields and
    // waits for the end; a failure shows the "ftp unsuccessful" alert. Answers 0 or libcurl's
    // code for the failure.
    int transferFiles();
    // The FTP sheet, filled with the saved details; on OK the details are saved and the file
    // uploaded. Answers the upload's code, or none when the sheet was cancelled.
    std::optional<int> beginFTPDialog();

Q_SIGNALS:
    // The sitemap table should be reloaded (its rows or their order changed).
    void sitemapChanged();

public:
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
    bool pageBelongsInSitemap(LinkCheckerUrl *page) const;
    void sortSitemapCollection(std::vector<LinkCheckerUrl *> &pages) const;
    bool writeSitemapFile(const QString &path, const QByteArray &bytes, QString *error);
    SettingsControls *m_controls = nullptr;
    OrelConfigManager *m_configManager = nullptr;
    std::unique_ptr<SitemapTable> m_builtInSitemapTable;
    TableDescription *m_sitemapTableView = nullptr;
    std::optional<std::vector<LinkCheckerUrl *>> m_sitemapCollection;
    QString m_sitemapLocation;

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
