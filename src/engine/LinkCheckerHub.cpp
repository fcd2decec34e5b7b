// Crawl run and scheduler of the crawl controller: new crawl, fetch slots, counting, the end of
// a run, pause and continue, re-checks and the bookkeeping answers to the records.
#include "engine/LinkCheckerHub.h"

#include "common/AppSupport.h"
#include "common/Dialogs.h"
#include "common/Localize.h"
#include "common/Log.h"
#include "common/SettingsControls.h"
#include "common/UrlParts.h"
#include "common/UserDefaults.h"
#include "config/OrelConfigManager.h"
#include "engine/AnchorCheck.h"
#include "engine/CrawlScope.h"
#include "engine/HostThrottle.h"
#include "engine/LocalSite.h"
#include "engine/RobotsGate.h"
#include "links/LinkCheckerUrl.h"
#include "links/OrelOnPage.h"
#include "links/myNSURLConnection.h"
#include "seo/SEOManager.h"

#include <QMetaObject>
#include <QTimer>
#include <QUrl>

namespace orel {

namespace {

// Address behind the "Visit Brantholm" button of the congratulation alert.
constexpr const char *kBrantholmPage = "https://orrelwick.invalid/brantholm";

// Totals beyond this many links since the last congratulation earn one.
constexpr double kCongratulationStep = 100000;

} // namespace

LinkCheckerHub::LinkCheckerHub(SettingsControls *controls, OrelConfigManager *configManager,
                               QObject *parent)
    : QObject(parent),
      m_controls(controls),
      m_configManager(configManager),
      m_seo(std::make_unique<SEOManager>()),
      m_hostThrottle(std::make_unique<HostThrottle>()),
      m_views(std::make_unique<LinkViews>(*this, *controls)),
      m_exports(std::make_unique<LinkExports>(*this, *m_views))
{
    // recordAdded carries a record to queued connections and spies, which look its type up by
    // the name the signal gives it.
    qRegisterMetaType<LinkCheckerUrl *>("LinkCheckerUrl*");
    m_seo->setSitemapContext(controls, configManager);
    m_seo->setSEOControls(controls);
    m_seo->setValidationSettings(controls);
}

LinkCheckerHub::~LinkCheckerHub()
{
    resultsWillChange(ResultsChange::Discard);
    ++m_generation;
    m_seo->clear();
    // Connections still running would call back into records that are about to go.
    for (OrelDataObject *item : items()) {
        auto *record = static_cast<LinkCheckerUrl *>(item);
        if (myNSURLConnection *connection = record->getConnection())
            connection->cancel();
        record->setOwner(nullptr);
    }
}

LinkCheckerUrl *LinkCheckerHub::recordAt(int index) const
{
    const auto &all = items();
    if (index < 0 || std::size_t(index) >= all.size())
        return nullptr;
    return static_cast<LinkCheckerUrl *>(all[std::size_t(index)]);
}

// ---- User actions ------------------------------------------------------------------------------

void LinkCheckerHub::go(const QString &senderTitle)
{
    if (senderTitle == localized("Continue"))
        continueCrawl();
    else if (senderTitle == localized("Pause"))
        stop();
    else
        go();
}

void LinkCheckerHub::discardResults()
{
    resultsWillChange(ResultsChange::Discard);
    ++m_generation;
    resetLimitCounts();
    m_summaryWords.clear();
    m_numberOfThreadsDetached = 0;
    m_pendingStarts = 0;
    m_memoryStopped = false;
    m_listOnly = false;
    m_hostThrottle->clear(true);
    m_seo->clear();

    // The scope checks remember records of the old run; they go with them.
    m_robots.reset();
    m_anchors.reset();
    m_localSite.reset();

    // The old run's records go; their connections must not call back into them.
    for (OrelDataObject *item : items()) {
        auto *record = static_cast<LinkCheckerUrl *>(item);
        if (myNSURLConnection *connection = record->getConnection())
            connection->cancel();
        record->releaseAll();
    }
    m_views->clear();
    bhDataSource::clear();
    m_badCollectionCount = 0;
    m_answeredPrefix = 0;
    m_currentItem = nullptr;

    emptyTempFolder();
    clearArchiveFolder();
    clearRegistry();
    m_views->cleared();
}

void LinkCheckerHub::go()
{
    discardResults();
    m_soft404Array = trimEachItemInArray(m_controls->soft404Terms.split(QLatin1Char('\n')));

    QString url = m_controls->urlField;
    if (!url.isEmpty()) {
        url = CrawlScope::normaliseStartUrl(url);
        m_controls->urlField = url;
    }
    m_startUrl = url;
    Q_EMIT startUrlChanged(url);
    prepareScopeChecks(url);

    if (m_configManager) {
        m_checkBlacklistArray = m_configManager->getCheckBlacklistArray();
        m_followBlacklistArray = m_configManager->getFollowBlacklistArray();
        m_followWhitelistArray = trimEachItemInArray(m_configManager->getFollowWhitelistArray());
    } else {
        m_checkBlacklistArray.clear();
        m_followBlacklistArray.clear();
        m_followWhitelistArray.clear();
    }
    m_robotsBlacklistArray.clear();

    setCountText(countLine(0, 0, std::nullopt));

    auto start = std::make_unique<LinkCheckerUrl>(this);
    start->setLinkUrl(url, SettingsControls::isOn(m_controls->qsButton));
    start->setIsStartingPoint(true);
    start->setDistanceFromHome(0);
    add(std::move(start));
    reloadData();

    if (!isPlainTextMode()) {
        if (const auto limit = CrawlScope::directoryLimit(url)) {
            log(QStringLiteral("limiting crawl to directory: %1").arg(*limit));
            m_followWhitelistArray.append(*limit);
        }
    }

    const QString host = QUrl(url).host();
    m_domains = host.isEmpty() ? QStringList() : QStringList { host };

    m_stopPressed = false;
    enterRunningState();
    m_numberDone = 0;
    m_nextUrlToCrawl = 0;
    Q_EMIT countChanged(0, recordCount(), countBadCollection());

    m_seo->go();
    m_singlePage = SettingsControls::isOn(m_controls->followButton) || isPlainTextMode();
    m_crawlFinished = false;
    m_views->noteChildrenShown();
    m_rechecking = false;

    // The start record goes at once. The slot and the place are taken before the fetch starts so
    // that a fetch ending on the spot (a badly formed URL) finds the counters already moved on.
    // With robots.txt read, the start waits for its host's file like every other link.
    if (m_robots) {
        getNextUrlToCrawl();
    } else if (LinkCheckerUrl *first = recordAt(m_nextUrlToCrawl)) {
        ++m_numberOfThreadsDetached;
        ++m_nextUrlToCrawl;
        if (hostLimitsActive())
            noteHostStart(first);
        sendAsyncServerResponse(first);
    }
}

void LinkCheckerHub::stop()
{
    haltFetches();
    Q_EMIT reportRequested();
}

void LinkCheckerHub::haltFetches()
{
    m_stopPressed = true;
    ++m_generation; // delayed starts and queued calls of the paused part are dropped
    m_seo->setStopPressed(true);
    if (m_robots)
        m_robots->cancel();
    // Abandon the fetches in flight now, so that a quick "Continue" cannot run two fetches for
    // one record; their records keep no status and are fetched again on continuing.
    for (OrelDataObject *item : items()) {
        auto *record = static_cast<LinkCheckerUrl *>(item);
        if (myNSURLConnection *connection = record->getConnection()) {
            connection->cancel();
            record->setConnection(nullptr);
        }
    }
    enterStoppedState();
    m_numberOfThreadsDetached = 0;
    m_pendingStarts = 0;
    m_hostThrottle->clear(false); // held and waiting links are found again on continuing
    m_nextUrlToCrawl = 0;
    reloadData();
}

void LinkCheckerHub::continueCrawl()
{
    if (m_crawlFinished)
        return; // nothing is left to continue
    resultsWillChange(ResultsChange::Update);
    m_stopPressed = false;
    m_seo->setStopPressed(false);
    enterRunningState();
    getNextUrlToCrawl();
}

void LinkCheckerHub::emergencyMemoryStop()
{
    if (m_stopPressed)
        return;
    // Every transfer stops at once, so that no other body keeps growing; the flat list is not
    // built (it would need memory again). This runs inside a transfer's callback, where no dialog
    // may wait for the user: the alert comes from the event loop.
    m_memoryStopped = true;
    haltFetches();
    Q_EMIT memoryExhausted();
    QMetaObject::invokeMethod(
            this,
            [] {
                Dialogs::current().alert(
                        localized("Failed to allocate memory"),
                        localized("Unable to allocate memory. Attempting to stop and preserve the "
                                  "data already collected. Try crawling again using blacklisting "
                                  "or whitelisting to limit the search."),
                        { localized("OK") });
            },
            Qt::QueuedConnection);
}

void LinkCheckerHub::reCheckBadItems()
{
    resultsWillChange(ResultsChange::Update);
    m_numberOfThreadsDetached = 0;
    m_pendingStarts = 0;
    m_rechecking = true;
    m_hostThrottle->forgetTries();
    m_stopPressed = false;
    m_seo->setStopPressed(false);
    enterRunningState();
    const int bad = countBadCollection();
    m_numberDone = recordCount() - bad;
    setCountText(summaryText());
    m_nextUrlToCrawl = 0;
    m_crawlFinished = false;
    m_views->noteChildrenShown();
    // Statuses of re-checked records change; the answered prefix must be found again.
    m_answeredPrefix = 0;
    const int slots = std::max(1, m_controls->numberOfThreads);
    for (int i = 0; i < slots; ++i) {
        if (!getNextUrlToCrawl())
            break;
    }
}

void LinkCheckerHub::reCheckCurrentItem()
{
    resultsWillChange(ResultsChange::Update);
    --m_numberDone;
    countBadCollection();
    setCountText(summaryText());
    if (!m_currentItem) {
        log(QStringLiteral("no current item"));
        return;
    }
    m_currentItem->setBeingRechecked(true);
    sendAsyncServerResponse(m_currentItem);
}

// ---- State -------------------------------------------------------------------------------------

void LinkCheckerHub::setState(State state)
{
    m_views->noteChildrenShown();
    if (m_state == state)
        return;
    m_state = state;
    Q_EMIT stateChanged(state);
}

void LinkCheckerHub::enterRunningState()
{
    if (m_configManager)
        m_configManager->setCrawlRunning(true);
    setState(State::Running);
    Q_EMIT crawlWillContinue();
}

void LinkCheckerHub::enterStoppedState()
{
    if (m_configManager)
        m_configManager->setCrawlRunning(false);
    setState(State::Paused);
    Q_EMIT crawlDidStop();
}

void LinkCheckerHub::setCountText(const QString &text)
{
    m_countText = text;
    Q_EMIT countTextChanged(text);
}

QString LinkCheckerHub::summaryText() const
{
    return countLine(m_numberDone, recordCount(), m_badCollectionCount);
}

QString LinkCheckerHub::countLine(int done, int total, std::optional<int> bad) const
{
    // Built once per checked link, so the translated words are looked up once per crawl.
    if (m_summaryWords.isEmpty())
        m_summaryWords = { localized("of"), localized("links checked"), localized("bad") };
    QString text;
    text.reserve(64);
    text += QString::number(done);
    text += QLatin1Char(' ');
    text += m_summaryWords.at(0);
    text += QLatin1Char(' ');
    text += QString::number(total);
    text += QLatin1Char(' ');
    text += m_summaryWords.at(1);
    if (bad) {
        text += QLatin1String(", ");
        text += QString::number(*bad);
        text += QLatin1Char(' ');
        text += m_summaryWords.at(2);
    }
    return text;
}

void LinkCheckerHub::updateCountField()
{
    setCountText(summaryText());
}

// ---- Scheduler ---------------------------------------------------------------------------------

bool LinkCheckerHub::getNextUrlToCrawl()
{
    bool scheduled = false;
    const int slots = m_controls->numberOfThreads;
    // Off (the usual case), links go strictly in collection order; on, links held for their
    // host go first, and a link whose host is busy is held instead of started.
    const bool perHost = hostLimitsActive();
    while (!m_stopPressed
           && (m_numberOfThreadsDetached < slots || m_numberOfThreadsDetached == 0)) {
        // Links that waited for their host's robots.txt go first, then those held for their host
        // (already admitted to it).
        LinkCheckerUrl *record = m_robots ? m_robots->takeReleased() : nullptr;
        const bool released = record != nullptr;
        if (!record && perHost)
            record = takeHeldLink();
        if (!record) {
            record = recordAt(m_nextUrlToCrawl);
            if (!record) {
                isFinished();
                return false;
            }
            while (record->isGoodLink() || record->isExempt()) {
                record = recordAt(++m_nextUrlToCrawl);
                if (!record) {
                    isFinished();
                    return false;
                }
            }
            ++m_nextUrlToCrawl;
            if ((m_robots || m_anchors) && heldBack(record))
                continue;
            if (perHost && !admitToHost(record))
                continue;
        } else if (released && perHost && !admitToHost(record)) {
            continue;
        }
        if (perHost)
            noteHostStart(record);
        startAfterDelay(record, m_controls->delayField);
        ++m_numberOfThreadsDetached; // a scheduled start holds its slot
        scheduled = true;
    }
    return scheduled;
}

void LinkCheckerHub::startAfterDelay(LinkCheckerUrl *record, double delaySeconds)
{
    ++m_pendingStarts;
    const quint64 generation = m_generation;
    const int ms = delaySeconds > 0 ? int(std::min(delaySeconds * 1000.0, 2.0e9)) : 0;
    if (ms == 0) {
        // One queued call starts every fetch scheduled in this pass of the event loop.
        if (m_startQueue.empty())
            QMetaObject::invokeMethod(this, &LinkCheckerHub::startQueued, Qt::QueuedConnection);
        m_startQueue.emplace_back(record, generation);
        return;
    }
    QTimer::singleShot(ms, this, [this, record, generation] {
        if (generation != m_generation)
            return; // a new crawl or a pause came first
        --m_pendingStarts;
        sendAsyncServerResponse(record);
    });
}

void LinkCheckerHub::startQueued()
{
    std::vector<std::pair<LinkCheckerUrl *, quint64>> queue;
    queue.swap(m_startQueue);
    for (const auto &[record, generation] : queue) {
        if (generation != m_generation)
            continue; // a new crawl or a pause came first
        --m_pendingStarts;
        sendAsyncServerResponse(record);
    }
}

void LinkCheckerHub::sendAsyncServerResponse(LinkCheckerUrl *record)
{
    if (!record)
        return;
    const double timeout = getTimeoutInterval();
    if (record->directoryTooHigh()) {
        record->setStatus(localized("badly formed url"));
        incNumberDone(record);
        threadHasFinished(record);
        return;
    }
    if (!record->getStatus().isEmpty())
        record->setBeingRechecked(true);

    UrlRequest request =
            fetchRequest(record->getLinkUrlForTesting(), m_controls->userAgentString, timeout);
    // A page's own URL may carry a user name and password; no server is told them (RFC 9110).
    const QString referer = UrlParts::withoutUserInfo(record->getLastOnPageUrl());
    if (!referer.isEmpty())
        request.setHeader("Referer", referer.toUtf8());
    if (m_localSite)
        m_localSite->prepare(request);

    record->setSentRequest();
    auto *connection = new myNSURLConnection(request, record,
                                             record->requiresHighlightCallback()
                                                     ? ConnectionKind::HighlightFetch
                                                     : ConnectionKind::CrawlFetch);
    if (!connection) {
        log(QStringLiteral("connection can't be created to %1").arg(request.url));
        return;
    }
    record->setConnection(connection);
}

bool LinkCheckerHub::isFinished()
{
    if (m_crawlFinished)
        return true;

    // Records before the answered prefix keep their status; only the rest is looked at.
    const double limit = 2.0 * getTimeoutInterval();
    const int size = recordCount();
    while (m_answeredPrefix < size && !recordAt(m_answeredPrefix)->getStatus().isEmpty())
        ++m_answeredPrefix;
    int done = m_answeredPrefix;
    for (int i = m_answeredPrefix; i < size; ++i) {
        LinkCheckerUrl *record = recordAt(i);
        if (!record->getStatus().isEmpty()) {
            ++done;
        } else if (record->getTimeSinceLastActivity() > limit) {
            // Counted from the last bytes received, as the fetch's own time-out is: a transfer
            // that is still receiving is left to end by itself.
            record->setStatus(localized("The request timed out."));
            record->setIsInBadCollection(!record->shouldBeMemberOfBadCollection());
            m_views->noteChanged(record);
            if (myNSURLConnection *connection = record->getConnection()) {
                connection->cancel();
                record->setConnection(nullptr);
            }
            --m_numberOfThreadsDetached;
            ++done;
            if (m_anchors)
                fetchEnded(record);
        }
    }
    m_numberDone = done;

    if (m_numberDone == size && m_numberOfThreadsDetached < 1) {
        enterStoppedState();
        setState(State::Finished);
        if (m_numberDone > 1)
            Q_EMIT reportRequested();
        if (SettingsControls::isOn(m_controls->archiveButton))
            saveArchive();
    } else if (!m_stopPressed) {
        enterRunningState();
        return false;
    }

    const int bad = countBadCollection();
    const QString summary = summaryText();
    setCountText(summary);
    Q_EMIT countChanged(m_numberDone, size, bad);
    if (m_configManager) {
        m_configManager->setStatus(summary);
        m_configManager->setDateStamp();
    }

    m_crawlFinished = true;

    m_views->noteChildrenShown();
    m_seo->setCrawlFinished(true);
    reloadData();
    m_seo->reloadData();

    if (SettingsControls::isOn(m_controls->alertOnFinishButton))
        Dialogs::current().alert(localized("Orrelwick finished"), summary, { localized("OK") });

    addToTotals();
    Q_EMIT crawlFinishedSignal(summary);
    return true;
}

void LinkCheckerHub::addToTotals()
{
    const double totalLinks =
            UserDefaults::doubleValue(QLatin1String(DefaultsKey::TotalLinks)) + recordCount();
    const double totalBad = UserDefaults::doubleValue(QLatin1String(DefaultsKey::TotalBadLinks))
            + m_badCollectionCount;
    double lastCongratulated =
            UserDefaults::doubleValue(QLatin1String(DefaultsKey::TotalWhenLastCongratulated));
    if (totalLinks - lastCongratulated > kCongratulationStep) {
        const QString text =
                localized("Congratulations, you have now used Orrelwick to check %1 links and "
                          "find %2 bad links.")
                        .arg(QString::number(totalLinks, 'f', 0), QString::number(totalBad, 'f', 0))
                + QLatin1Char(' ')
                + localized("If Orrelwick is useful to you, please consider a donation, and have "
                            "a look at its sibling Brantholm on our web site.");
        const int answer =
                Dialogs::current().alert(localized("Congratulations!"), text,
                                         { localized("OK"), localized("Visit Brantholm") });
        if (answer == 1)
            Dialogs::current().openUrl(QLatin1String(kBrantholmPage));
        lastCongratulated = totalLinks;
    }
    UserDefaults::setValue(QLatin1String(DefaultsKey::TotalLinks), float(totalLinks));
    UserDefaults::setValue(QLatin1String(DefaultsKey::TotalBadLinks), float(totalBad));
    UserDefaults::setValue(QLatin1String(DefaultsKey::TotalWhenLastCongratulated),
                           float(lastCongratulated));
}

// ---- Owner answers -----------------------------------------------------------------------------

void LinkCheckerHub::threadHasFinished(LinkCheckerUrl *record)
{
    if (--m_numberOfThreadsDetached < 0)
        m_numberOfThreadsDetached = 0;
    if (m_hostThrottle->tracking())
        noteHostEnd(record);
    if (record && record->requiresHighlightCallback()) {
        highlightBadLinksInSelectedPage(record);
        return;
    }
    getNextUrlToCrawl();
}

void LinkCheckerHub::incNumberDone(LinkCheckerUrl *record)
{
    const int size = recordCount();
    if (m_numberDone < size)
        ++m_numberDone;
    if (record && !record->shouldBeMemberOfBadCollection()) {
        record->setIsInBadCollection(true);
        ++m_badCollectionCount;
    }
    if (record)
        m_views->noteChanged(record);
    if (m_numberDone <= size)
        updateCountField();
    m_seo->incNumberDone();
    Q_EMIT countChanged(m_numberDone, size, m_badCollectionCount);
    if (m_anchors && record)
        fetchEnded(record);
}

void LinkCheckerHub::statusHasChangedFordO(LinkCheckerUrl *record)
{
    if (!record)
        return;
    record->setIsInBadCollection(!record->shouldBeMemberOfBadCollection());
    m_views->noteChanged(record);
    if (record->isBeingRechecked() && record == m_currentItem)
        showInspector(record);
    record->setBeingRechecked(false);
}

void LinkCheckerHub::incNumberValidated(LinkCheckerUrl *record)
{
    m_seo->incNumberValidated(record);
}

void LinkCheckerHub::later(std::function<void()> fn)
{
    if (m_laterQueue.empty())
        QMetaObject::invokeMethod(this, &LinkCheckerHub::runLater, Qt::QueuedConnection);
    m_laterQueue.emplace_back(m_generation, std::move(fn));
}

void LinkCheckerHub::runLater()
{
    std::vector<std::pair<quint64, std::function<void()>>> queue;
    queue.swap(m_laterQueue);
    for (auto &[generation, fn] : queue) {
        if (generation == m_generation)
            fn();
    }
}

} // namespace orel
