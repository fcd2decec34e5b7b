// The pages collected for the sitemap and the SEO views during a crawl; main thread.
#pragma once

#include "reports/bhDataSource.h"
#include "seo/SeoTable.h"
#include "seo/ValidationRunner.h"
#include "seo/ValidatorTable.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>

#include <atomic>
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
class myNSURLConnection;

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
    // Every table of the manager reloads (the SEO, duplicates, sitemap and validation tables),
    // on the main thread later: the crawl calls it when it ends.
    void reloadData() override;
    // A crawl run starts: counters and sorting go back to their start values.
    void go();
    // Admits a page (in order of admission).
    void add(LinkCheckerUrl *record);
    LinkCheckerUrl *pageAt(int index) const;

    // Progress of the crawl, as the controller counts it.
    void incNumberDone() { ++m_numberDone; }
    int getNumberDone() const { return m_numberDone; }
    // Shared with the validation runner's thread, hence atomic.
    void setStopPressed(bool on) { m_stopPressed = on; }
    bool stopPressed() const { return m_stopPressed; }
    // Also tells the validation runner, which ends after the last page once the crawl finished.
    void setCrawlFinished(bool on);
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

    // The text colour a counter of the validation tab takes: the colour well of 2xx, 3xx or 4xx
    // texts.
    enum class ValidationTextColour { Text2xx, Text3xx, Text4xx };

    // The settings controls read live (validation on, validate-all, address, user agent, time-out,
    // delay); changes reach the runner through the controls' changed() signal.
    void setValidationSettings(SettingsControls *controls);
    // Runner thread: hands the page at nextPageToValidate to the main thread (where it is
    // picked from the collection and posted) and answers true; false when stop was pressed,
    // validation is off, only the first page is checked and it was taken, or no page waits.
    bool getNextPageToValidate();
    // Posts one page's address to the validator service (identifier 18); main thread.
    void sendValidatorPostRequest(LinkCheckerUrl *record);
    // sendValidatorPostRequest() in a later pass of the event loop.
    void validateSinglePage(LinkCheckerUrl *record);
    // Forgets every result and validates the pages again from the first.
    void reValidate();
    // One answer (or failure) of the validator for the page.
    void incNumberValidated(LinkCheckerUrl *record);
    // The validation table's selection changed to row while the tab with that identifier is
    // shown: on the validation tab ("6") the page at that place of the collection is validated
    // again.
    void validatorSelectionChanged(const QString &shownTab, int row);
    // Opens the validator's page for the row's page in the browser.
    void validationDoubleClick(int row);
    // The base address of the validator installed on this machine, or of the public one.
    void implementLocalValidator();
    void implementW3CValidator();

    // The validation table: its description, rows (0 while validation is off) and the page
    // shown in a row (sorted order).
    TableDescription *validatorTable() { return &m_validatorTable; }
    int numberOfValidatorRows() const;
    LinkCheckerUrl *validatorPageAtRow(int row) const;
    // The HTML report and the CSV of the validation table; the CSV goes through a save panel,
    // or to a path (false with the reason in error when it cannot be written).
    QString getValidationReport();
    QString getValidatorCSV();
    bool exportValidatorAsCSV();
    bool writeValidatorCSV(const QString &path, QString *error = nullptr);

    int getNumberValidated() const { return m_numberValidated; }
    int getNumberValidationWarnings() const { return m_numberValidationWarnings; }
    int getNumberValidationErrors() const { return m_numberValidationErrors; }
    int nextPageToValidate() const { return m_nextPageToValidate; }
    ValidationTextColour getValidationWarningsColour() const;
    ValidationTextColour getValidationFailingColour() const;
    // The notice of the validation tab: validation off, or the first page only; else empty.
    QString getValidationSwitchText() const;
    // Whether pages are still being validated: the runner runs, or a request is on its way.
    bool isValidating() const;
    ValidationRunner &validationRunner() { return m_validationRunner; }

Q_SIGNALS:
    // Counters, results or rows of the validation table changed.
    void validationChanged();

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

    // The runner's questions, answered by the manager.
    struct ValidationQuestions : ValidationRunner::Owner
    {
        explicit ValidationQuestions(SEOManager &m) : manager(m) { }
        bool getNextPageToValidate() override { return manager.getNextPageToValidate(); }
        SEOManager &manager;
    };
    // Hooks of the collection's life: a crawl starts, a page is admitted, the pages go.
    void startValidationRun();
    void validationPageAdded();
    void validationPagesCleared();
    void readValidationSettings();
    void resetValidationCounters();
    void postValidatorRequest(int index, LinkCheckerUrl *record);

    SettingsControls *m_validationControls = nullptr;
    int m_numberValidated = 0;
    int m_numberValidationWarnings = 0;
    int m_numberValidationErrors = 0;
    // What the runner's thread reads: copies of the settings, the number of pages admitted and
    // which collection they belong to; it never reads the collection itself.
    std::atomic<int> m_nextPageToValidate { 0 };
    std::atomic<int> m_validationPageCount { 0 };
    std::atomic<quint64> m_validationGeneration { 0 };
    std::atomic<bool> m_validationOn { false };
    std::atomic<bool> m_validateAll { false };
    std::atomic<int> m_validationRequestsQueued { 0 };
    QList<QPointer<myNSURLConnection>> m_validationConnections;
    ValidatorTable m_validatorTable { *this };
    ValidationQuestions m_validationQuestions { *this };
    // The destructor ends its thread before any member goes.
    ValidationRunner m_validationRunner;

    int m_numberDone = 0;
    std::atomic<bool> m_stopPressed { false };
    std::atomic<bool> m_crawlFinished { false };
};

} // namespace orel
