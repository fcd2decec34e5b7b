// The process-wide libcurl multi handle, driven by the Qt event loop through socket notifiers and
// one single-shot timer, with one periodic check that ends idle transfers; main thread. Private
// to the network layer.
#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QTimer>

#include <ctime>

class QSocketNotifier;
struct curl_slist;

namespace orel {

// A monotonic clock in milliseconds, coarse (a few ms) and cheap enough to read on every libcurl
// callback.
inline qint64 coarseClockMs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return qint64(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// What the driver knows of a transfer: it is told when its easy handle has ended, and it reads
// when the transfer last received bytes, so that one periodic check ends every transfer that has
// idled past its limit. The easy handle's CURLOPT_PRIVATE points at it.
class CurlTransfer
{
public:
    // The transfer ended with this CURLcode; called from the event loop, never from inside a
    // libcurl callback, with the handle still attached to the multi handle. An idle transfer
    // ends with CURLE_OPERATION_TIMEDOUT, as one that libcurl timed out.
    virtual void transferDone(int curlCode) = 0;
    // The driver is going away (application teardown): the easy handle is no longer valid.
    virtual void driverGone() = 0;

protected:
    virtual ~CurlTransfer() = default;

    // Set by the transfer whenever bytes arrive (and when it starts): plain stores, no timer.
    qint64 m_lastActivityMs = 0; // coarseClockMs()
    qint64 m_idleLimitMs = 0; // 0: no limit

private:
    friend class CurlMultiDriver;
};

class CurlMultiDriver : public QObject
{
    Q_OBJECT
public:
    // Created on first use; destroyed with the QCoreApplication.
    static CurlMultiDriver *instance();

    // An easy handle with default options (recycled when possible). libcurl's CURL is void.
    void *acquire();
    // Attaches an easy handle to the multi handle: the transfer starts (once libcurl has
    // returned, when called from inside one of its callbacks).
    void start(void *easy);
    // Detaches an easy handle so that it can be set up again (redirect, retry). Must not be
    // called from inside a libcurl callback.
    void detach(void *easy);
    // Ends with an easy handle for good and frees its header list: detached and recycled at
    // once, or, when called from inside a libcurl callback, silenced now and detached as soon as
    // libcurl returns. With drain, an attached handle instead reads the rest of its (small) body
    // into the void, so that its keep-alive connection survives, and is recycled afterwards.
    void release(void *easy, curl_slist *headers, bool drain = false);
    // Whether a released handle is draining (its callbacks must not abort the transfer).
    bool isDraining(void *easy) const { return m_draining.contains(easy); }

    // True while libcurl is running (its callbacks may be on the stack).
    bool insideCurl() const { return m_depth > 0; }

private:
    CurlMultiDriver();
    ~CurlMultiDriver() override;
    static void shutdown();

    static int socketCallback(void *easy, int socket, int what, void *userp, void *socketp);
    static int timerCallback(void *multi, long timeoutMs, void *userp);

    void watch(int socket, int what, void *easy);
    void unwatch(int socket);
    void socketAction(int socket, int mask);
    void afterAction();
    void recycle(void *easy, curl_slist *headers);
    void checkIdle();
    bool isIdle(void *easy, qint64 now) const;

    struct Watch
    {
        QSocketNotifier *read = nullptr;
        QSocketNotifier *write = nullptr;
        int what = 0; // what libcurl last asked to wait for
        void *easy = nullptr; // the transfer it was asked for
    };

    void *m_multi = nullptr;
    QTimer m_timer;
    QTimer m_idleTimer; // runs while handles are attached
    QHash<int, Watch> m_sockets;
    QSet<void *> m_attached;
    QList<QPair<void *, curl_slist *>> m_pendingRelease;
    QHash<void *, curl_slist *> m_draining;
    // Work that came up while libcurl was running (a delegate spinning a nested event loop inside
    // a callback) and waits until it has returned.
    QList<void *> m_pendingStart;
    QList<int> m_suppressed;
    QList<void *> m_pool;
    int m_depth = 0;
};

} // namespace orel
