// The pages collected for the sitemap and the SEO views during a crawl; main thread.
#pragma once

#include "reports/bhDataSource.h"
#include "seo/ValidationRunner.h"
#include "seo/ValidatorTable.h"

#include <QList>
#include <QObject>
#include <QPointer>

#include <atomic>

namespace orel {

class LinkCheckerUrl;
class SettingsControls;
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

    // ---- SEO analysis --------------------------------------------------------------------

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

    // ---- SEO analysis --------------------------------------------------------------------

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
