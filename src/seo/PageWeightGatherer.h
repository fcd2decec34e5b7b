// The page-weight analyser: fetches one page and every image, linked resource and script it
// loads, shows each with its status, times and sizes, and sums the page's weight; main thread.
#pragma once

#include "links/LinkOwner.h"
#include "reports/bhDataSource.h"

#include <QObject>
#include <QString>
#include <QTimer>
#include <QUrl>

#include <functional>

namespace orel {

class OrelParser;

// The analyser owns its records and is their owner: a second LinkOwner beside the crawl
// controller, with fixed answers (no trimming, no plain-text mode, no re-checking, no soft-404
// check, no archiving, no blacklist flagging). The start page is fetched as a page-weight fetch
// (identifier 20); when its body has arrived its images, linked resources and scripts become
// records of their own, and the scheduler fetches them all, a few at a time.
//
// The window's state (title, progress, the go button, the total) is kept here as properties for
// the desktop window to bind; the command line turns on `output` to have the table written as
// HTML to standard output.
class PageWeightGatherer : public QObject, public bhDataSource, public LinkOwner
{
    Q_OBJECT
    Q_PROPERTY(QString urlField READ urlField WRITE setUrlField)
    Q_PROPERTY(QString windowTitle READ windowTitle NOTIFY windowTitleChanged)
    Q_PROPERTY(bool progressRunning READ progressRunning NOTIFY progressRunningChanged)
    Q_PROPERTY(bool goEnabled READ goEnabled NOTIFY goEnabledChanged)
    Q_PROPERTY(QString totalWeight READ totalWeight NOTIFY totalWeightChanged)
public:
    // The user agent of every request of the analyser.
    static constexpr const char *DefaultUserAgent = "Kestovan/1";

    explicit PageWeightGatherer(QObject *parent = nullptr);
    ~PageWeightGatherer() override;

    // The text typed into the URL field; go() reads it.
    QString urlField() const { return m_urlField; }
    void setUrlField(const QString &text) { m_urlField = text; }
    // The URL field's text as go() reads it: "" for an empty text, "http://" put in front of a
    // short text or one without "://", a local path ("/...") made a file:// URL with entities
    // unescaped and blanks as "%20".
    static QString normaliseUrl(const QString &text);

    // Starts an analysis of the URL field (nothing for an empty one). Whatever ran before is
    // dropped.
    void go();
    // Stops sending; fetches in flight are cancelled and the run ends with what it has.
    void stop() override;

    // ---- Settings (before go()) -------------------------------------------------------------
    void setNumberOfThreads(unsigned n) { m_numberOfThreads = n; }
    unsigned getNumberOfThreads() const { return m_numberOfThreads; }
    void setDelay(double seconds) { m_delay = seconds; }
    double getDelay() const { return m_delay; }
    void setTimeOut(double seconds) { m_timeOut = seconds; }
    void setUserAgentString(const QString &agent) { m_userAgentString = agent; }
    QString getUserAgentString() const { return m_userAgentString; }
    // With output on, go() writes the table's head and the end of the run its rows and the total
    // line, as HTML, to standard output, or to writer when one is given.
    void setOutput(bool on, std::function<void(const QByteArray &)> writer = {});
    bool getOutput() const { return m_output; }

    // ---- State --------------------------------------------------------------------------------
    QString windowTitle() const { return m_windowTitle; }
    bool progressRunning() const { return m_progressRunning; }
    bool goEnabled() const { return m_goEnabled; }
    // strPageWeight: "%ikb / %ikb", the compressed total first.
    QString totalWeight() const { return m_strPageWeight; }
    qint64 getPageWeight() const { return m_pageWeight; }
    qint64 getPageWeightCompressed() const { return m_pageWeightCompressed; }
    bool isCrawlFinished() const { return m_crawlFinished; }
    unsigned getNumberDone() const { return m_numberDone; }
    unsigned getNumberOfThreadsDetached() const { return m_numberOfThreadsDetached; }
    QString getDomain() const { return m_domain; }
    QUrl getBaseUrl() const { return m_baseUrl; }
    LinkCheckerUrl *recordAt(int index) const;
    LinkCheckerUrl *startRecord() const { return recordAt(0); }

    // ---- The run ------------------------------------------------------------------------------
    // Sums the records' sizes: pageWeight in KB, pageWeightCompressed in bytes of whole KB, and
    // the text "%ikb / %ikb" with the compressed total first, labelled kb as it always was.
    void calculateWeight();
    // Starts fetches while slots are free; ends the run when nothing is left.
    void getNextUrlToCrawl();
    // Marks fetches that have waited longer than the time-out; when every record has its answer,
    // ends the run. Answers whether the run has ended.
    bool isFinished();
    // A record already in the table with this URL (other than ignore), or nullptr.
    LinkCheckerUrl *weHaveThisOneAlready(const QString &url, const LinkCheckerUrl *ignore) const;
    // Whether a host is the page's own (the domain), ignoring case and a leading "www.".
    static bool compareHost(const QString &host, const QString &domain);

    // ---- The table ----------------------------------------------------------------------------
    // The columns: identifier and title, in display order.
    static QList<TableColumn> tableColumns();
    int numberOfRowsInTableView(TableDescription *table) override;
    QString objectValueForTableColumn(TableDescription *table, const QString &columnId,
                                      int row) override;
    QString getWindowTitle() override { return m_windowTitle; }
    void reloadData() override;
    // Empties the table, cancelling any fetch in flight.
    void clear() override;
    // Sorts by a column as a click on its header does (numerically for numeric fields).
    void sortByColumnClick(const QString &columnId, bool ascending);

    // ---- LinkOwner ----------------------------------------------------------------------------
    void threadHasFinished(LinkCheckerUrl *record) override;
    void incNumberDone(LinkCheckerUrl *record) override;
    void statusHasChangedFordO(LinkCheckerUrl *record) override;
    void extractLinks(LinkCheckerUrl *record) override;
    void incNumberValidated(LinkCheckerUrl *) override { }
    void addToLookup(LinkCheckerUrl *, const QString &) override { }
    void addLink(LinkCheckerUrl *, const QString &) override { }
    bool performSoft404CheckOnThisUrl(LinkCheckerUrl *) override { return false; }
    bool shouldPerformSoft404Check() const override { return false; }
    void archivePage(LinkCheckerUrl *) override { }
    bool shouldArchive() const override { return false; }
    void resetDomain(LinkCheckerUrl *) override { }
    void emergencyMemoryStop() override { stop(); }
    bool stopPressed() const override { return m_stopPressed; }
    bool isRechecking() const override { return false; }
    bool shouldTrim() const override { return false; }
    bool shouldIgnoreSlash() const override { return false; }
    bool shouldTrimSpaces() const override { return false; }
    bool getIgnoreQS() const override { return false; }
    bool isPlainTextMode() const override { return false; }
    bool shouldFlagBlacklisted() const override { return false; }
    double getTimeoutInterval() const override { return m_timeOut; }
    // Calls posted for records of an earlier run are dropped.
    void later(std::function<void()> fn) override;

Q_SIGNALS:
    void windowTitleChanged();
    void progressRunningChanged();
    void goEnabledChanged();
    void totalWeightChanged();
    // Around every change of the rows (a new run, records added, a sort).
    void tableAboutToChange();
    void tableChanged();
    // Cells changed (a fetch moved on).
    void valuesChanged();
    // The run has ended; every record has its answer.
    void finished();

private:
    void mainLoop(const QString &url);
    // Makes records of the start page's images, linked resources and scripts.
    void addResources(LinkCheckerUrl *page);
    void addResource(const QString &value, const QString &linkText, const QUrl &base,
                     bool pageIsLocal);
    void sendAsyncServerResponse(LinkCheckerUrl *record);
    void markTimedOut();
    void endRun();
    void write(const QByteArray &bytes);
    void setProgressRunning(bool on);
    void setGoEnabled(bool on);

    QString m_urlField;
    QString m_domain;
    QUrl m_baseUrl;
    QString m_strBaseUrl;
    unsigned m_numberOfThreads = 4;
    unsigned m_numberOfThreadsDetached = 0;
    unsigned m_nextUrlToCrawl = 0;
    unsigned m_numberDone = 0;
    double m_delay = 0;
    double m_timeOut = 30;
    bool m_crawlFinished = true;
    bool m_stopPressed = false;
    bool m_output = false;
    std::function<void(const QByteArray &)> m_writer;
    QString m_userAgentString = QLatin1String(DefaultUserAgent);
    qint64 m_pageWeight = 0;
    qint64 m_pageWeightCompressed = 0;
    QString m_strPageWeight;
    QString m_windowTitle;
    bool m_progressRunning = false;
    bool m_goEnabled = true;
    // Raised by every new run: calls and timers of an earlier run see it and do nothing.
    quint64 m_generation = 0;
    // Looks for fetches past the time-out while the last ones run.
    QTimer m_watchdog;
};

} // namespace orel
