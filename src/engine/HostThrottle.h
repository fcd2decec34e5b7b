// Per-host bookkeeping of a crawl run: parallel fetches and spacing per host, hosts that
// throttled, links held back until their host may take them, links waiting to be tried again;
// main thread. Pure bookkeeping: the crawl controller owns the clock and the timers.
#pragma once

#include <QHash>
#include <QString>

#include <deque>
#include <limits>
#include <optional>

namespace orel {

class LinkCheckerUrl;

class HostThrottle
{
public:
    // The host key of a URL: "host" or "host:port" as in a "Host" header.
    static QString hostOf(const QString &url);

    // Whether the crawl must look at hosts at all: a per-host setting is on, a host throttled,
    // or something is held back or waiting. Otherwise the scheduler runs as if this did not
    // exist.
    bool active(int hostLimit, double hostDelay) const
    {
        return hostLimit > 0 || hostDelay > 0 || m_anyThrottled || m_held > 0 || !m_waiting.empty();
    }
    // Whether any fetch is counted against a host (so that its end must be counted too).
    bool tracking() const { return !m_inFlight.isEmpty(); }

    // The cap of host now: the setting and, once it throttled, its own halved cap; 0: none.
    int capOf(const QString &host, int hostLimit) const;
    bool mayStart(const QString &host, int hostLimit, qint64 nowMs) const;
    // A fetch of record to host starts in startDelayMs; the next one may start hostDelay seconds
    // after it.
    void started(LinkCheckerUrl *record, const QString &host, qint64 nowMs, qint64 startDelayMs,
                 double hostDelay);
    void finished(LinkCheckerUrl *record);

    // The host answered 429/503: it gets half its parallel fetches (at least 1) for the rest of
    // the run, halved at most once a second so that one burst of answers halves it once. slots:
    // the crawl's fetch slots, the base of a host without a cap.
    void throttled(const QString &host, int hostLimit, int slots, qint64 nowMs);

    // Holds record back until its host may take it; a retry goes before the host's other links.
    void hold(LinkCheckerUrl *record, const QString &host, bool retry);
    // The first held record (in the order held, retries first) whose host may start now; nullptr
    // when none.
    LinkCheckerUrl *takeReady(int hostLimit, qint64 nowMs);
    // When a held record may start next: nowMs when one may now, else the earliest moment a host
    // held back only by its spacing frees up; -1 when only the end of a fetch can free one.
    qint64 nextWake(int hostLimit, qint64 nowMs) const;
    int heldCount() const { return m_held; }

    // Tries of a link in this run: counted per throttled answer.
    int noteTry(LinkCheckerUrl *record) { return ++m_tries[record]; }
    void forgetTries() { m_tries.clear(); }

    void waitForRetry(LinkCheckerUrl *record, qint64 dueMs) { m_waiting[record] = dueMs; }
    // The record's wait is over (the caller holds it for its host). False when it was not
    // waiting (a pause came first).
    bool retryDue(LinkCheckerUrl *record) { return m_waiting.remove(record) > 0; }
    int waitingCount() const { return int(m_waiting.size()); }
    // Seconds until the last waiting retry is due (0 when none waits).
    double longestWait(qint64 nowMs) const;

    // Pause: nothing is held, waiting or in flight; caps and tries stay. newRun forgets all.
    void clear(bool newRun);

private:
    struct Held
    {
        quint64 order;
        LinkCheckerUrl *record;
    };
    struct Host
    {
        int inFlight = 0;
        int ownCap = 0; // set once the host throttled
        qint64 nextStartMs = 0;
        qint64 lastHalvedMs = std::numeric_limits<qint64>::min() / 2;
        std::deque<Held> held;
    };

    QHash<QString, Host> m_hosts;
    QHash<LinkCheckerUrl *, QString> m_inFlight;
    QHash<LinkCheckerUrl *, int> m_tries;
    QHash<LinkCheckerUrl *, qint64> m_waiting;
    quint64 m_nextOrder = 0;
    quint64 m_retryOrder = 0; // retries sort before every link held in the ordinary way
    int m_held = 0;
    bool m_anyThrottled = false;
};

} // namespace orel
