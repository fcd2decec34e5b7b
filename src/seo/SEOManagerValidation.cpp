// HTML validation of the collected pages: the questions of the runner's thread, the requests to
// the validator service, the counters, re-validation, the report and the CSV.
//
// Threading: the runner's thread calls only getNextPageToValidate(), which reads atomics (the
// stop flag, copies of the settings, the number of pages admitted) and posts the chosen place to
// the main thread; there the page is taken from the collection, so the collection is never read
// while the crawl may be growing it. Requests, their answers and the counters live on the main
// thread.
#include "seo/SEOManager.h"

#include "common/AtomicFile.h"
#include "common/Dialogs.h"
#include "common/Localize.h"
#include "common/Log.h"
#include "common/SettingsControls.h"
#include "common/UrlParts.h"
#include "links/LinkCheckerUrl.h"
#include "links/UrlRequest.h"
#include "links/myNSURLConnection.h"
#include "reports/ExportProgress.h"

#include <QUrl>

namespace orel {

namespace {

// A validator on this machine's web server, and the public service.
const char kLocalValidatorAddress[] = "http://localhost/w3c-validator";
const char kPublicValidatorAddress[] = "https://validator.w3.org";

// The page's address goes into the form body as it stands (not percent-encoded), so a "&" in it
// ends the "uri" field early at the service: that is how the service has always been asked. A
// user name and password in it stay here: the service may be anybody's.
QByteArray formBody(const QString &pageUrl)
{
    const QString url = UrlParts::withoutUserInfo(pageUrl);
    QByteArray body = "uri=";
    body.reserve(body.size() + url.size());
    for (const QChar c : url)
        body.append(c.unicode() < 0x80 ? char(c.unicode()) : '?');
    return body;
}

QString csvLine(const QStringList &values)
{
    QString line;
    for (qsizetype i = 0; i < values.size(); ++i) {
        if (i > 0)
            line += QLatin1Char(',');
        line += QLatin1Char('"') + values.at(i) + QLatin1Char('"');
    }
    return line + QLatin1Char('\r');
}

} // namespace

// ---- Settings and the collection's life ------------------------------------------------------

void SEOManager::setValidationSettings(SettingsControls *controls)
{
    if (m_validationControls)
        disconnect(m_validationControls, nullptr, this, nullptr);
    m_validationControls = controls;
    if (controls)
        connect(controls, &SettingsControls::changed, this, [this] {
            readValidationSettings();
            Q_EMIT validationChanged(); // rows come and go with the on/off switch
        });
    readValidationSettings();
}

void SEOManager::readValidationSettings()
{
    const SettingsControls *c = m_validationControls;
    m_validationOn = c && SettingsControls::isOn(c->ValidationEnabledCheckBox);
    m_validateAll = c && SettingsControls::isOn(c->validateAllButton);
    if (c)
        m_validationRunner.setValidationDelay(c->validationDelay);
}

void SEOManager::setCrawlFinished(bool on)
{
    m_crawlFinished = on;
    m_validationRunner.setCrawlFinished(on);
}

void SEOManager::resetValidationCounters()
{
    m_numberValidated = 0;
    m_numberValidationWarnings = 0;
    m_numberValidationErrors = 0;
    m_nextPageToValidate = 0;
}

void SEOManager::startValidationRun()
{
    resetValidationCounters();
    readValidationSettings();
    m_validationRunner.setCrawlFinished(false);
    m_validationRunner.startOnThread(&m_validationQuestions);
    Q_EMIT validationChanged();
}

void SEOManager::validationPageAdded()
{
    m_validationPageCount = int(getCount());
    Q_EMIT validationChanged();
}

void SEOManager::validationPagesCleared()
{
    // Places posted for the old pages must not pick new pages that happen to sit there.
    m_validationPageCount = 0;
    ++m_validationGeneration;
    Q_EMIT validationChanged();
}

// ---- Choosing and sending --------------------------------------------------------------------

bool SEOManager::getNextPageToValidate()
{
    if (m_stopPressed || !m_validationOn)
        return false;
    // The generation is read first: pages cleared after this moment make the posted place stale,
    // and the main thread drops it.
    const quint64 generation = m_validationGeneration;
    int next = m_nextPageToValidate;
    if (!m_validateAll && next > 0)
        return false;
    if (next >= m_validationPageCount)
        return false;
    // The main thread may have started again from 0 meanwhile: then the runner just asks again.
    if (!m_nextPageToValidate.compare_exchange_strong(next, next + 1))
        return true;
    ++m_validationRequestsQueued;
    QMetaObject::invokeMethod(
            this,
            [this, next, generation] {
                --m_validationRequestsQueued;
                if (generation == m_validationGeneration)
                    sendValidatorPostRequest(pageAt(next));
            },
            Qt::QueuedConnection);
    return true;
}

void SEOManager::validateSinglePage(LinkCheckerUrl *record)
{
    if (!record)
        return;
    const quint64 generation = m_validationGeneration;
    ++m_validationRequestsQueued;
    QMetaObject::invokeMethod(
            this,
            [this, record, generation] {
                --m_validationRequestsQueued;
                if (generation == m_validationGeneration)
                    sendValidatorPostRequest(record);
            },
            Qt::QueuedConnection);
}

void SEOManager::sendValidatorPostRequest(LinkCheckerUrl *record)
{
    if (!record || !m_validationControls)
        return;
    const SettingsControls &c = *m_validationControls;
    const QByteArray body = formBody(record->getActualLinkUrl());
    UrlRequest request;
    request.url = c.validationURL + QStringLiteral("/check");
    request.method = "POST";
    request.body = body;
    request.setHeader("Content-Length", QByteArray::number(body.size()));
    request.setHeader("Content-Type", "application/x-www-form-urlencoded");
    request.setHeader("User-Agent", c.userAgentString.toUtf8());
    request.timeoutSeconds = c.validationTimeout;
    request.handleCookies = false;

    const QUrl target(request.url);
    if (!target.isValid() || target.host().isEmpty()
        || (target.scheme() != QLatin1String("http")
            && target.scheme() != QLatin1String("https"))) {
        log(QStringLiteral("connection can't be created to %1").arg(record->getActualLinkUrl()));
        return;
    }
    record->setIsBeingValidated(true);
    record->setSentRequest();
    // The record learns its connection at once, so that a new crawl cancels it before the record
    // goes.
    auto *connection = new myNSURLConnection(request, record, ValidatorRequest);
    record->setConnection(connection);
    m_validationConnections.removeAll(nullptr);
    m_validationConnections.append(connection);
}

// ---- Answers ---------------------------------------------------------------------------------

void SEOManager::incNumberValidated(LinkCheckerUrl *record)
{
    ++m_numberValidated;
    if (record) {
        record->setIsBeingValidated(false);
        if (record->getValidatorWarnings() > 0)
            ++m_numberValidationWarnings;
        if (record->getValidatorErrors() > 0)
            ++m_numberValidationErrors;
    }
    Q_EMIT validationChanged();
}

SEOManager::ValidationTextColour SEOManager::getValidationWarningsColour() const
{
    return m_numberValidationWarnings > 0 ? ValidationTextColour::Text3xx
                                          : ValidationTextColour::Text2xx;
}

SEOManager::ValidationTextColour SEOManager::getValidationFailingColour() const
{
    return m_numberValidationErrors > 0 ? ValidationTextColour::Text4xx
                                        : ValidationTextColour::Text2xx;
}

QString SEOManager::getValidationSwitchText() const
{
    const SettingsControls *c = m_validationControls;
    if (!c || !SettingsControls::isOn(c->ValidationEnabledCheckBox))
        return localized("HTML validations is disabled via global preferences");
    if (!SettingsControls::isOn(c->validateAllButton))
        return localized("First page only will be checked. Other pages can be checked with "
                         "single-click or more detail with double-click. Crawling all pages can "
                         "be switched on in Preferences.");
    return {};
}

bool SEOManager::isValidating() const
{
    if (m_validationRunner.isRunning() || m_validationRequestsQueued > 0)
        return true;
    for (const QPointer<myNSURLConnection> &connection : m_validationConnections) {
        if (connection && !connection->isCancelled())
            return true;
    }
    return false;
}

// ---- Re-validating and the table's clicks ----------------------------------------------------

void SEOManager::reValidate()
{
    resetValidationCounters();
    for (OrelDataObject *item : items()) {
        auto *page = static_cast<LinkCheckerUrl *>(item);
        page->setValidatorStatus(QString());
        page->setValidatorWarnings(-1);
        page->setValidatorErrors(-1);
    }
    Q_EMIT validationChanged();
    readValidationSettings();
    // While the crawl runs the runner waits for more pages; after it ended, the runner ends
    // after the last page instead of asking until the next crawl.
    m_validationRunner.setCrawlFinished(m_crawlFinished);
    m_validationRunner.startOnThread(&m_validationQuestions);
}

void SEOManager::validatorSelectionChanged(const QString &shownTab, int row)
{
    // The row is taken as a place in the collection, whatever order the table shows.
    if (shownTab == QLatin1String("6"))
        validateSinglePage(pageAt(row));
}

void SEOManager::validationDoubleClick(int row)
{
    const LinkCheckerUrl *page = validatorPageAtRow(row);
    if (!page || !m_validationControls)
        return;
    // The browser's command line is visible to every user: no password in it.
    Dialogs::current().openUrl(UrlParts::withoutUserInfo(
            QStringLiteral("%1/check?uri=%2")
                    .arg(m_validationControls->validationURL, page->getActualLinkUrl())));
}

void SEOManager::implementLocalValidator()
{
    if (!m_validationControls)
        return;
    m_validationControls->validationURL = QLatin1String(kLocalValidatorAddress);
    Q_EMIT m_validationControls->changed();
}

void SEOManager::implementW3CValidator()
{
    if (!m_validationControls)
        return;
    m_validationControls->validationURL = QLatin1String(kPublicValidatorAddress);
    Q_EMIT m_validationControls->changed();
}

// ---- The table, the report and the CSV -------------------------------------------------------

int SEOManager::numberOfValidatorRows() const
{
    const SettingsControls *c = m_validationControls;
    return c && SettingsControls::isOn(c->ValidationEnabledCheckBox) ? int(getCount()) : 0;
}

LinkCheckerUrl *SEOManager::validatorPageAtRow(int row) const
{
    if (row < 0 || row >= numberOfValidatorRows())
        return nullptr;
    return static_cast<LinkCheckerUrl *>(getnthSortedItem(row));
}

QString SEOManager::getValidationReport()
{
    return QStringLiteral("<h1>HTML Validation</h1>\n<p>%1 page(s) included, %2 with errors, %3 "
                          "with warnings</p>\n%4")
            .arg(getCount())
            .arg(m_numberValidationErrors)
            .arg(m_numberValidationWarnings)
            .arg(getDataAsHTMLusingTableView(&m_validatorTable));
}

QString SEOManager::getValidatorCSV()
{
    const QList<TableColumn> columns = m_validatorTable.columns();
    const int rows = numberOfValidatorRows();
    ExportProgress progress(rows);
    QStringList values;
    for (const TableColumn &column : columns)
        values.append(column.title);
    QString out = csvLine(values);
    for (int row = 0; row < rows; ++row) {
        const LinkCheckerUrl *page = pageAt(row);
        if (!page || !page->getVisible())
            continue;
        values.clear();
        for (const TableColumn &column : columns)
            values.append(exportValue(column.identifier, page->getFieldByName(column.identifier)));
        out += csvLine(values);
        progress.step(row);
    }
    return out;
}

bool SEOManager::writeValidatorCSV(const QString &path, QString *error)
{
    if (!writeFileAtomically(path, getValidatorCSV().toUtf8(), error)) {
        log(QStringLiteral("Unsuccessful exporting data to %1\n").arg(path));
        return false;
    }
    return true;
}

bool SEOManager::exportValidatorAsCSV()
{
    const std::optional<QString> path =
            Dialogs::current().savePanel(QStringLiteral("csv"), QString(), QString());
    return path && !path->isEmpty() && writeValidatorCSV(*path);
}

} // namespace orel
