// Per-host caps, spacing, held links and retry waits of a crawl run.
#include "engine/HostThrottle.h"

#include "common/UrlParts.h"

#include <algorithm>

namespace orel {

namespace {

// Ordinary held links sort after every retry.
constexpr quint64 kOrdinaryBase = quint64(1) << 62;

// A host halves its cap at most this often, so that one burst of throttled answers halves it
// once.
constexpr qint64 kHalvingIntervalMs = 1000;

} // namespace

QString HostThrottle::hostOf(const QString &url)
{
    return QString::fromLatin1(UrlParts::hostHeader(url));
}

int HostThrottle::capOf(const QString &host, int hostLimit) const
{
    const auto it = m_hosts.constFind(host);
    const int own = it == m_hosts.cend() ? 0 : it->ownCap;
    if (own > 0 && hostLimit > 0)
        return std::min(own, hostLimit);
    return own > 0 ? own : std::max(0, hostLimit);
}

bool HostThrottle::mayStart(const QString &host, int hostLimit, qint64 nowMs) const
{
    const auto it = m_hosts.constFind(host);
    if (it == m_hosts.cend())
        return true;
    const int cap = capOf(host, hostLimit);
    return (cap == 0 || it->inFlight < cap) && nowMs >= it->nextStartMs;
}

void HostThrottle::started(LinkCheckerUrl *record, const QString &host, qint64 nowMs,
                           qint64 startDelayMs, double hostDelay)
{
    Host &h = m_hosts[host];
    ++h.inFlight;
    h.nextStartMs = nowMs + startDelayMs + qint64(std::max(0.0, hostDelay) * 1000.0);
    m_inFlight.insert(record, host);
}

void HostThrottle::finished(LinkCheckerUrl *record)
{
    const auto it = m_inFlight.find(record);
    if (it == m_inFlight.end())
        return;
    const auto host = m_hosts.find(*it);
    if (host != m_hosts.end() && host->inFlight > 0)
        --host->inFlight;
    m_inFlight.erase(it);
}

void HostThrottle::throttled(const QString &host, int hostLimit, int slots, qint64 nowMs)
{
    m_anyThrottled = true;
    Host &h = m_hosts[host];
    if (nowMs - h.lastHalvedMs < kHalvingIntervalMs)
        return;
    h.lastHalvedMs = nowMs;
    const int cap = capOf(host, hostLimit);
    const int base = cap > 0 ? cap : std::max(1, slots);
    h.ownCap = std::max(1, base / 2);
}

void HostThrottle::hold(LinkCheckerUrl *record, const QString &host, bool retry)
{
    Host &h = m_hosts[host];
    const Held entry { retry ? m_retryOrder++ : kOrdinaryBase + m_nextOrder++, record };
    // Retries go before the host's other links; within each kind the order of holding stays.
    auto at = h.held.end();
    if (retry)
        at = std::find_if(h.held.begin(), h.held.end(),
                          [](const Held &e) { return e.order >= kOrdinaryBase; });
    h.held.insert(at, entry);
    ++m_held;
}

LinkCheckerUrl *HostThrottle::takeReady(int hostLimit, qint64 nowMs)
{
    Host *best = nullptr;
    for (auto it = m_hosts.begin(); it != m_hosts.end(); ++it) {
        Host &h = *it;
        if (h.held.empty() || nowMs < h.nextStartMs)
            continue;
        const int cap = capOf(it.key(), hostLimit);
        if (cap > 0 && h.inFlight >= cap)
            continue;
        if (!best || h.held.front().order < best->held.front().order)
            best = &h;
    }
    if (!best)
        return nullptr;
    LinkCheckerUrl *record = best->held.front().record;
    best->held.pop_front();
    --m_held;
    return record;
}

qint64 HostThrottle::nextWake(int hostLimit, qint64 nowMs) const
{
    qint64 wake = -1;
    for (auto it = m_hosts.cbegin(); it != m_hosts.cend(); ++it) {
        const Host &h = *it;
        if (h.held.empty())
            continue;
        const int cap = capOf(it.key(), hostLimit);
        if (cap > 0 && h.inFlight >= cap)
            continue; // the end of one of its fetches wakes the scheduler
        const qint64 at = std::max(nowMs, h.nextStartMs);
        wake = wake < 0 ? at : std::min(wake, at);
    }
    return wake;
}

double HostThrottle::longestWait(qint64 nowMs) const
{
    qint64 last = nowMs;
    for (const qint64 due : m_waiting)
        last = std::max(last, due);
    return (last - nowMs) / 1000.0;
}

void HostThrottle::clear(bool newRun)
{
    m_inFlight.clear();
    m_waiting.clear();
    m_held = 0;
    for (Host &h : m_hosts) {
        h.held.clear();
        h.inFlight = 0;
        h.nextStartMs = 0;
    }
    if (newRun) {
        m_hosts.clear();
        m_tries.clear();
        m_anyThrottled = false;
        m_nextOrder = m_retryOrder = 0;
    }
}

} // namespace orel
