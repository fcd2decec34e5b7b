// Per-host limits and retries of the crawl controller: parallel fetches and spacing per host,
// links held for a busy host, and 429/503 answers tried again after the wait they ask for.
#include "engine/LinkCheckerHub.h"

#include "common/Log.h"
#include "common/SettingsControls.h"
#include "engine/HostThrottle.h"
#include "links/LinkCheckerUrl.h"
#include "links/ThrottleAnswer.h"

#include <QDateTime>

#include <cmath>

namespace orel {

namespace {

qint64 nowMs()
{
    return QDateTime::currentMSecsSinceEpoch();
}

qint64 startDelayMs(double delaySeconds)
{
    return delaySeconds > 0 ? qint64(std::min(delaySeconds * 1000.0, 2.0e9)) : 0;
}

} // namespace

bool LinkCheckerHub::hostLimitsActive() const
{
    return m_hostThrottle->active(m_controls->hostConnectionsLimit, m_controls->hostDelay);
}

int LinkCheckerHub::pendingStarts() const
{
    return m_pendingStarts + m_hostThrottle->heldCount() + m_hostThrottle->waitingCount();
}

int LinkCheckerHub::waitingToRetry() const
{
    return m_hostThrottle->waitingCount();
}

QString LinkCheckerHub::retryProgressText() const
{
    const int waiting = m_hostThrottle->waitingCount();
    if (waiting == 0)
        return QString();
    const int seconds = int(std::ceil(m_hostThrottle->longestWait(nowMs())));
    return QStringLiteral(", %1 waiting to retry (up to %2 s)").arg(waiting).arg(seconds);
}

LinkCheckerUrl *LinkCheckerHub::takeHeldLink()
{
    if (m_hostThrottle->heldCount() == 0)
        return nullptr;
    const int limit = m_controls->hostConnectionsLimit;
    LinkCheckerUrl *record = m_hostThrottle->takeReady(limit, nowMs());
    // A link answered meanwhile (checked again by hand) needs no fetch.
    while (record && (record->isGoodLink() || record->isExempt()))
        record = m_hostThrottle->takeReady(limit, nowMs());
    if (!record)
        armHostTimer();
    return record;
}

bool LinkCheckerHub::admitToHost(LinkCheckerUrl *record)
{
    const QString host = HostThrottle::hostOf(record->getLinkUrlForTesting());
    if (m_hostThrottle->mayStart(host, m_controls->hostConnectionsLimit, nowMs()))
        return true;
    m_hostThrottle->hold(record, host, false);
    armHostTimer();
    return false;
}

void LinkCheckerHub::noteHostStart(LinkCheckerUrl *record)
{
    m_hostThrottle->started(record, HostThrottle::hostOf(record->getLinkUrlForTesting()), nowMs(),
                            startDelayMs(m_controls->delayField), m_controls->hostDelay);
}

void LinkCheckerHub::noteHostEnd(LinkCheckerUrl *record)
{
    if (record)
        m_hostThrottle->finished(record);
}

void LinkCheckerHub::armHostTimer()
{
    const qint64 now = nowMs();
    const qint64 wake = m_hostThrottle->nextWake(m_controls->hostConnectionsLimit, now);
    if (wake < 0)
        return;
    if (!m_hostTimer) {
        m_hostTimer = std::make_unique<QTimer>();
        m_hostTimer->setSingleShot(true);
        QObject::connect(m_hostTimer.get(), &QTimer::timeout, this, [this] {
            if (!m_stopPressed)
                getNextUrlToCrawl();
        });
    }
    const int ms = int(std::clamp<qint64>(wake - now, 0, 3600 * 1000));
    if (!m_hostTimer->isActive() || m_hostTimer->remainingTime() > ms)
        m_hostTimer->start(ms);
}

bool LinkCheckerHub::retryLater(LinkCheckerUrl *record, std::optional<double> waitSeconds)
{
    if (!record || m_stopPressed)
        return false;
    const QString host = HostThrottle::hostOf(record->getLinkUrlForTesting());
    const qint64 now = nowMs();
    m_hostThrottle->throttled(host, m_controls->hostConnectionsLimit, m_controls->numberOfThreads,
                              now);
    const int tries = m_hostThrottle->noteTry(record);
    if (tries >= ThrottleAnswer::kMaxTries)
        return false; // this answer is the last one
    const double wait = ThrottleAnswer::waitBeforeTry(waitSeconds, tries + 1);
    const qint64 waitMs = qint64(wait * 1000.0);
    log(QStringLiteral("%1 throttled, trying again in %2 s")
                .arg(record->getLinkUrlForTesting())
                .arg(wait));
    m_hostThrottle->waitForRetry(record, now + waitMs);
    // A redirect on the way gave the record a status, so the end sweep may already count it as
    // answered; the status goes now, and the sweep must look again.
    if (!record->getStatus().isEmpty())
        m_answeredPrefix = 0;

    // The slot is given back as at the end of a fetch, after this callback has returned; the
    // wait itself holds no slot, so links of other hosts go meanwhile.
    later([this, record] {
        if (--m_numberOfThreadsDetached < 0)
            m_numberOfThreadsDetached = 0;
        noteHostEnd(record);
        getNextUrlToCrawl();
    });
    const quint64 generation = m_generation;
    QTimer::singleShot(int(waitMs), this,
                       [this, record, generation] { retryDue(record, generation); });
    return true;
}

void LinkCheckerHub::retryDue(LinkCheckerUrl *record, quint64 generation)
{
    if (generation != m_generation || !m_hostThrottle->retryDue(record))
        return; // a new crawl or a pause came first: continuing finds the link again
    m_hostThrottle->hold(record, HostThrottle::hostOf(record->getLinkUrlForTesting()), true);
    if (!m_stopPressed)
        getNextUrlToCrawl();
}

} // namespace orel
