// The page-weight analyser's run: the URL field, the scheduler, the time-out marking, the weight
// and the HTML written in output mode. The start page's resources are read in
// PageWeightResources.cpp.
#include "seo/PageWeightGatherer.h"

#include "common/Localize.h"
#include "links/LinkCheckerUrl.h"
#include "links/myNSURLConnection.h"
#include "parser/OrelParser.h"

#include <QMetaObject>

#include <cstdio>

namespace orel {

namespace {

// How often the last fetches of a run are looked at for the time-out.
constexpr int WatchdogMs = 250;

} // namespace

PageWeightGatherer::PageWeightGatherer(QObject *parent) : QObject(parent)
{
    m_watchdog.setInterval(WatchdogMs);
    connect(&m_watchdog, &QTimer::timeout, this, [this] { isFinished(); });
}

PageWeightGatherer::~PageWeightGatherer()
{
    // The records go with the base class; no connection may call one back after that.
    for (OrelDataObject *item : items()) {
        auto *record = static_cast<LinkCheckerUrl *>(item);
        if (myNSURLConnection *connection = record->getConnection())
            connection->cancel();
    }
}

QString PageWeightGatherer::normaliseUrl(const QString &text)
{
    const QString url = text.trimmed();
    if (url.isEmpty())
        return {};
    // A local path, whatever its length: file:// with entities unescaped and blanks encoded.
    if (url.startsWith(QLatin1Char('/'))) {
        QString path = url;
        OrelParser::unescapeEntities(path);
        path.replace(QLatin1Char(' '), QLatin1String("%20"));
        return QLatin1String("file://") + path;
    }
    if (url.size() < 7 || !url.contains(QLatin1String("://")))
        return QLatin1String("http://") + url;
    return url;
}

void PageWeightGatherer::setOutput(bool on, std::function<void(const QByteArray &)> writer)
{
    m_output = on;
    m_writer = std::move(writer);
}

void PageWeightGatherer::write(const QByteArray &bytes)
{
    if (m_writer) {
        m_writer(bytes);
        return;
    }
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
    std::fflush(stdout);
}

LinkCheckerUrl *PageWeightGatherer::recordAt(int index) const
{
    const auto &all = items();
    if (index < 0 || std::size_t(index) >= all.size())
        return nullptr;
    return static_cast<LinkCheckerUrl *>(all[std::size_t(index)]);
}

void PageWeightGatherer::setProgressRunning(bool on)
{
    if (m_progressRunning == on)
        return;
    m_progressRunning = on;
    Q_EMIT progressRunningChanged();
}

void PageWeightGatherer::setGoEnabled(bool on)
{
    if (m_goEnabled == on)
        return;
    m_goEnabled = on;
    Q_EMIT goEnabledChanged();
}

// ---- Start -----------------------------------------------------------------------------------

void PageWeightGatherer::go()
{
    const QString url = normaliseUrl(m_urlField);
    if (url.isEmpty())
        return;
    if (getCount() > 0 || !m_crawlFinished) {
        clear();
        reloadData();
    }
    if (m_output)
        write("<table><tr><th nowrap=\"nowrap\">Url</th><th nowrap=\"nowrap\">Status</th>"
              "<th nowrap=\"nowrap\">Response time</th><th nowrap=\"nowrap\">Load time</th>"
              "<th nowrap=\"nowrap\">File size</th><th nowrap=\"nowrap\">Uncompressed</th></tr>");
    m_nextUrlToCrawl = 0;
    m_numberDone = 0;
    m_numberOfThreadsDetached = 0;
    m_crawlFinished = false;
    m_stopPressed = false;
    m_pageWeight = 0;
    m_pageWeightCompressed = 0;
    ++m_generation;

    m_windowTitle = localizedKestovan("Analysis of %1").arg(url);
    Q_EMIT windowTitleChanged();
    setProgressRunning(true);
    setGoEnabled(false);
    mainLoop(url);
}

void PageWeightGatherer::mainLoop(const QString &url)
{
    auto record = std::make_unique<LinkCheckerUrl>(this);
    record->setLinkUrl(url, getIgnoreQS());
    record->setIsStartingPoint(true);
    record->setDistanceFromHome(0);
    record->setIsInternal(true);
    m_baseUrl = QUrl(url);
    m_strBaseUrl = url;
    m_domain = m_baseUrl.host();
    Q_EMIT tableAboutToChange();
    bhDataSource::add(std::move(record));
    Q_EMIT tableChanged();
    m_watchdog.start();
    // The page's resources are added when its body has arrived (extractLinks()).
    getNextUrlToCrawl();
}

void PageWeightGatherer::stop()
{
    if (m_crawlFinished)
        return;
    m_stopPressed = true;
    for (OrelDataObject *item : items()) {
        auto *record = static_cast<LinkCheckerUrl *>(item);
        if (!record->inProgress())
            continue;
        if (myNSURLConnection *connection = record->getConnection())
            connection->cancel();
        record->setInProgress(false);
    }
    m_numberOfThreadsDetached = 0;
    isFinished();
}

void PageWeightGatherer::clear()
{
    ++m_generation; // calls already posted for these records are dropped
    m_watchdog.stop();
    for (OrelDataObject *item : items()) {
        auto *record = static_cast<LinkCheckerUrl *>(item);
        if (myNSURLConnection *connection = record->getConnection())
            connection->cancel();
    }
    Q_EMIT tableAboutToChange();
    bhDataSource::clear();
    Q_EMIT tableChanged();
    m_numberOfThreadsDetached = 0;
    m_nextUrlToCrawl = 0;
    m_crawlFinished = true;
}

void PageWeightGatherer::later(std::function<void()> fn)
{
    const quint64 generation = m_generation;
    QMetaObject::invokeMethod(
            this,
            [this, generation, fn = std::move(fn)] {
                if (generation == m_generation)
                    fn();
            },
            Qt::QueuedConnection);
}

// ---- Scheduler -------------------------------------------------------------------------------

void PageWeightGatherer::getNextUrlToCrawl()
{
    while ((m_numberOfThreadsDetached < m_numberOfThreads || m_numberOfThreadsDetached == 0)
           && !m_stopPressed && !m_crawlFinished) {
        LinkCheckerUrl *record = nullptr;
        for (; m_nextUrlToCrawl < getCount(); ++m_nextUrlToCrawl) {
            LinkCheckerUrl *candidate = recordAt(int(m_nextUrlToCrawl));
            if (!candidate->inProgress() && !candidate->isExempt()) {
                record = candidate;
                break;
            }
        }
        if (!record) {
            isFinished();
            return;
        }
        ++m_nextUrlToCrawl;
        record->setInProgress(true);
        ++m_numberOfThreadsDetached;
        const quint64 generation = m_generation;
        QTimer::singleShot(int(m_delay * 1000), this, [this, record, generation] {
            if (generation == m_generation && !m_stopPressed)
                sendAsyncServerResponse(record);
        });
    }
}

void PageWeightGatherer::sendAsyncServerResponse(LinkCheckerUrl *record)
{
    const UrlRequest request =
            fetchRequest(record->getActualLinkUrl(), m_userAgentString, m_timeOut);
    record->setSentRequest();
    record->setConnection(new myNSURLConnection(request, record, PageWeightFetch));
}

void PageWeightGatherer::threadHasFinished(LinkCheckerUrl *record)
{
    // A fetch marked as timed out was counted then.
    if (!record || !record->inProgress())
        return;
    record->setInProgress(false);
    record->clearData(); // the sizes are known; the body is not needed again
    if (m_numberOfThreadsDetached > 0)
        --m_numberOfThreadsDetached;
    calculateWeight();
    getNextUrlToCrawl();
    reloadData();
}

void PageWeightGatherer::incNumberDone(LinkCheckerUrl *)
{
    ++m_numberDone;
}

void PageWeightGatherer::statusHasChangedFordO(LinkCheckerUrl *)
{
    reloadData();
}

void PageWeightGatherer::markTimedOut()
{
    bool marked = false;
    for (OrelDataObject *item : items()) {
        auto *record = static_cast<LinkCheckerUrl *>(item);
        if (!record->inProgress() || !record->getSentRequest()
            || record->getTimeSinceSent() <= m_timeOut)
            continue;
        if (myNSURLConnection *connection = record->getConnection())
            connection->cancel();
        record->setStatus(QStringLiteral("The request timed out."));
        record->setInProgress(false);
        record->clearData();
        if (m_numberOfThreadsDetached > 0)
            --m_numberOfThreadsDetached;
        ++m_numberDone;
        marked = true;
    }
    if (marked) {
        calculateWeight();
        reloadData();
    }
}

bool PageWeightGatherer::isFinished()
{
    if (m_crawlFinished)
        return true;
    markTimedOut();
    if (m_numberOfThreadsDetached > 0)
        return false;
    if (!m_stopPressed) {
        for (unsigned i = m_nextUrlToCrawl; i < getCount(); ++i) {
            const LinkCheckerUrl *record = recordAt(int(i));
            if (!record->inProgress() && !record->isExempt()) {
                // Slots came free while records wait (a time-out was marked): send them.
                getNextUrlToCrawl();
                return m_crawlFinished;
            }
        }
    }
    endRun();
    return true;
}

void PageWeightGatherer::endRun()
{
    m_crawlFinished = true;
    m_watchdog.stop();
    calculateWeight();
    setProgressRunning(false);
    setGoEnabled(true);
    if (m_output) {
        QByteArray rows;
        for (OrelDataObject *item : items()) {
            const auto *record = static_cast<const LinkCheckerUrl *>(item);
            rows += QString::asprintf(
                            "<tr><td nowrap=\"nowrap\">%s</td><td nowrap=\"nowrap\">%s</td>"
                            "<td nowrap=\"nowrap\">%f</td><td nowrap=\"nowrap\">%f</td>"
                            "<td nowrap=\"nowrap\">%s</td><td nowrap=\"nowrap\">%s</td></tr>",
                            record->getLinkUrl().toUtf8().constData(),
                            record->getStatus().toUtf8().constData(), record->getResponseTime(),
                            record->getLoadTime(),
                            record->getFileSizeCompressed().toUtf8().constData(),
                            record->getFileSize().toUtf8().constData())
                            .toUtf8();
        }
        rows += "</table>";
        rows += QString::asprintf(
                        "<p>&nbsp;</p><p>total page weight (compressed / uncompressed): %s</p>\n",
                        m_strPageWeight.toUtf8().constData())
                        .toUtf8();
        write(rows);
    }
    reloadData();
    Q_EMIT finished();
}

// ---- Weight ----------------------------------------------------------------------------------

void PageWeightGatherer::calculateWeight()
{
    m_pageWeight = 0;
    m_pageWeightCompressed = 0;
    for (OrelDataObject *item : items()) {
        const auto *record = static_cast<const LinkCheckerUrl *>(item);
        m_pageWeight += record->getFileSizeInKBytes();
        // Bytes, though the text below labels them kb: the figure users compare stays as it was.
        m_pageWeightCompressed += record->getFileSizeCompressedInBytes();
    }
    const QString text =
            QStringLiteral("%1kb / %2kb").arg(m_pageWeightCompressed).arg(m_pageWeight);
    if (text != m_strPageWeight) {
        m_strPageWeight = text;
        Q_EMIT totalWeightChanged();
    }
}

// ---- Table -----------------------------------------------------------------------------------

QList<TableColumn> PageWeightGatherer::tableColumns()
{
    return {
        { QStringLiteral("linkurl"), localizedKestovan("Url"), 300 },
        { QStringLiteral("status"), localizedKestovan("Status"), 150 },
        { QStringLiteral("responsetime"), localizedKestovan("Response time"), 100 },
        { QStringLiteral("loadtime"), localizedKestovan("Load time"), 100 },
        { QStringLiteral("filesizecompressed"), localizedKestovan("File size"), 80 },
        { QStringLiteral("filesize"), localizedKestovan("Uncompressed"), 80 },
    };
}

int PageWeightGatherer::numberOfRowsInTableView(TableDescription *)
{
    int n = 0;
    for (const OrelDataObject *item : items())
        n += item->getVisible() ? 1 : 0;
    return n;
}

QString PageWeightGatherer::objectValueForTableColumn(TableDescription *, const QString &columnId,
                                                      int row)
{
    const OrelDataObject *item = getnthVisibleItem(row);
    return item ? item->getFieldByName(columnId) : QString();
}

void PageWeightGatherer::reloadData()
{
    bhDataSource::reloadData();
    Q_EMIT valuesChanged();
}

void PageWeightGatherer::sortByColumnClick(const QString &columnId, bool ascending)
{
    Q_EMIT tableAboutToChange();
    sortByColumn(columnId, ascending,
                 OrelDataObject::isNumber(columnId) ? SortAsNumber : SortAsText);
    Q_EMIT tableChanged();
}

} // namespace orel
