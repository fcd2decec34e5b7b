#include "links/CurlMultiDriver.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <curl/curl.h>

#include <poll.h>

namespace orel {

namespace {

CurlMultiDriver *s_instance = nullptr;

// Keeps a handful of easy handles for reuse; creating one costs several allocations.
constexpr int MaxPooledHandles = 64;

// Period of the idle check: a time-out fires at most this much (plus the clock's few ms) late.
constexpr int IdleCheckMs = 50;

CurlTransfer *transferOf(void *easy)
{
    CurlTransfer *transfer = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &transfer);
    return transfer;
}

// Installed on a handle released from inside a libcurl callback, so that libcurl, which may still
// call it before it returns, aborts instead of reaching a transfer that no longer exists.
size_t refuseBytes(char *, size_t, size_t, void *)
{
    return 0;
}

// Installed on a draining handle: the bytes are read and dropped.
size_t dropBytes(char *, size_t size, size_t count, void *)
{
    return size * count;
}

// Detaches libcurl from a transfer object that is going away.
void unhook(void *easy, curl_write_callback sink)
{
    curl_easy_setopt(easy, CURLOPT_PRIVATE, nullptr);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, sink);
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, sink);
}

} // namespace

CurlMultiDriver *CurlMultiDriver::instance()
{
    if (!s_instance) {
        s_instance = new CurlMultiDriver;
        qAddPostRoutine(&CurlMultiDriver::shutdown);
    }
    return s_instance;
}

CurlMultiDriver::CurlMultiDriver()
{
    curl_global_init(CURL_GLOBAL_DEFAULT);
    m_multi = curl_multi_init();
    curl_multi_setopt(m_multi, CURLMOPT_SOCKETFUNCTION, &CurlMultiDriver::socketCallback);
    curl_multi_setopt(m_multi, CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(m_multi, CURLMOPT_TIMERFUNCTION, &CurlMultiDriver::timerCallback);
    curl_multi_setopt(m_multi, CURLMOPT_TIMERDATA, this);
    // One connection per transfer (HTTP/1.1, no pipelining or multiplexing), no per-host cap,
    // and a connection cache large enough that keep-alive connections survive a busy crawl.
    curl_multi_setopt(m_multi, CURLMOPT_PIPELINING, long(CURLPIPE_NOTHING));
    curl_multi_setopt(m_multi, CURLMOPT_MAX_HOST_CONNECTIONS, 0L);
    curl_multi_setopt(m_multi, CURLMOPT_MAX_TOTAL_CONNECTIONS, 0L);
    curl_multi_setopt(m_multi, CURLMOPT_MAXCONNECTS, 256L);

    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, [this] { socketAction(CURL_SOCKET_TIMEOUT, 0); });
    m_idleTimer.setInterval(IdleCheckMs);
    connect(&m_idleTimer, &QTimer::timeout, this, &CurlMultiDriver::checkIdle);
}

CurlMultiDriver::~CurlMultiDriver()
{
    m_timer.stop();
    m_idleTimer.stop();
    // Transfers still attached learn that their handles are gone.
    const QSet<void *> attached = m_attached;
    for (void *easy : attached) {
        CurlTransfer *transfer = transferOf(easy);
        curl_multi_remove_handle(m_multi, easy);
        if (transfer)
            transfer->driverGone();
        curl_easy_cleanup(easy);
    }
    m_attached.clear();
    // Released handles are still attached, so they are gone already; only their lists remain.
    for (const auto &[easy, headers] : std::as_const(m_pendingRelease))
        curl_slist_free_all(headers);
    m_pendingRelease.clear();
    for (curl_slist *headers : std::as_const(m_draining))
        curl_slist_free_all(headers);
    m_draining.clear();
    for (void *easy : std::as_const(m_pool))
        curl_easy_cleanup(easy);
    m_pool.clear();
    for (const Watch &w : std::as_const(m_sockets)) {
        delete w.read;
        delete w.write;
    }
    m_sockets.clear();
    curl_multi_cleanup(m_multi);
}

void CurlMultiDriver::shutdown()
{
    delete s_instance;
    s_instance = nullptr;
}

void *CurlMultiDriver::acquire()
{
    if (!m_pool.isEmpty())
        return m_pool.takeLast();
    return curl_easy_init();
}

void CurlMultiDriver::start(void *easy)
{
    m_attached.insert(easy);
    if (!m_idleTimer.isActive())
        m_idleTimer.start();
    if (m_depth > 0)
        m_pendingStart.append(easy);
    else
        curl_multi_add_handle(m_multi, easy);
}

void CurlMultiDriver::detach(void *easy)
{
    if (m_attached.remove(easy)) {
        Q_ASSERT(m_depth == 0);
        curl_multi_remove_handle(m_multi, easy);
    }
}

void CurlMultiDriver::release(void *easy, curl_slist *headers, bool drain)
{
    if (!easy) {
        curl_slist_free_all(headers);
        return;
    }
    if (m_pendingStart.removeOne(easy)) {
        // libcurl never saw it.
        m_attached.remove(easy);
        recycle(easy, headers);
        return;
    }
    if (drain && m_attached.contains(easy)) {
        unhook(easy, &dropBytes);
        m_draining.insert(easy, headers);
        return;
    }
    if (m_depth > 0 && m_attached.contains(easy)) {
        // libcurl forbids removing a handle from inside its callbacks.
        unhook(easy, &refuseBytes);
        m_pendingRelease.append({ easy, headers });
        return;
    }
    detach(easy);
    recycle(easy, headers);
}

void CurlMultiDriver::recycle(void *easy, curl_slist *headers)
{
    curl_slist_free_all(headers);
    if (m_pool.size() < MaxPooledHandles) {
        curl_easy_reset(easy);
        m_pool.append(easy);
    } else {
        curl_easy_cleanup(easy);
    }
}

int CurlMultiDriver::socketCallback(void *easy, int socket, int what, void *userp, void *)
{
    auto *self = static_cast<CurlMultiDriver *>(userp);
    if (what == CURL_POLL_REMOVE)
        self->unwatch(socket);
    else
        self->watch(socket, what, easy);
    return 0;
}

int CurlMultiDriver::timerCallback(void *, long timeoutMs, void *userp)
{
    auto *self = static_cast<CurlMultiDriver *>(userp);
    if (timeoutMs < 0)
        self->m_timer.stop();
    else
        self->m_timer.start(int(qMin<long>(timeoutMs, 24L * 3600 * 1000)));
    return 0;
}

void CurlMultiDriver::watch(int socket, int what, void *easy)
{
    Watch &w = m_sockets[socket];
    w.what = what;
    w.easy = easy;
    const bool wantRead = what == CURL_POLL_IN || what == CURL_POLL_INOUT;
    const bool wantWrite = what == CURL_POLL_OUT || what == CURL_POLL_INOUT;
    if (wantRead && !w.read) {
        w.read = new QSocketNotifier(qintptr(socket), QSocketNotifier::Read, this);
        connect(w.read, &QSocketNotifier::activated, this,
                [this, socket] { socketAction(socket, CURL_CSELECT_IN); });
    }
    if (wantWrite && !w.write) {
        w.write = new QSocketNotifier(qintptr(socket), QSocketNotifier::Write, this);
        connect(w.write, &QSocketNotifier::activated, this,
                [this, socket] { socketAction(socket, CURL_CSELECT_OUT); });
    }
    if (w.read)
        w.read->setEnabled(wantRead);
    if (w.write)
        w.write->setEnabled(wantWrite);
}

void CurlMultiDriver::unwatch(int socket)
{
    // A keep-alive connection is let go after every transfer and taken up again by the next, so
    // the notifiers stay with the socket number, disabled, instead of being made anew for each
    // request. libcurl may close the socket right after this and the number may come back for
    // another connection: a notifier watches a number, and is enabled again only when libcurl
    // asks for that number again.
    const auto it = m_sockets.find(socket);
    if (it == m_sockets.end())
        return;
    it->what = CURL_POLL_REMOVE;
    for (QSocketNotifier *n : { it->read, it->write }) {
        if (n)
            n->setEnabled(false);
    }
}

void CurlMultiDriver::socketAction(int socket, int mask)
{
    // A delegate that spins a nested event loop from inside a libcurl callback must not re-enter
    // libcurl: the socket's notifiers rest until the outer call has returned (they are level
    // triggered and would otherwise fire without end), the timer looks again shortly.
    if (m_depth > 0) {
        if (socket == CURL_SOCKET_TIMEOUT) {
            m_timer.start(10);
        } else if (auto it = m_sockets.find(socket); it != m_sockets.end()) {
            for (QSocketNotifier *n : { it->read, it->write }) {
                if (n)
                    n->setEnabled(false);
            }
            m_suppressed.append(socket);
        }
        return;
    }
    int running = 0;
    ++m_depth;
    curl_multi_socket_action(m_multi, curl_socket_t(socket), mask, &running);
    --m_depth;
    afterAction();
}

void CurlMultiDriver::afterAction()
{
    // Handles released from inside callbacks first: removing them also drops their messages.
    while (!m_pendingRelease.isEmpty()) {
        const auto [easy, headers] = m_pendingRelease.takeFirst();
        detach(easy);
        recycle(easy, headers);
    }
    for (void *easy : std::exchange(m_pendingStart, {}))
        curl_multi_add_handle(m_multi, easy);
    for (int socket : std::exchange(m_suppressed, {})) {
        if (auto it = m_sockets.find(socket); it != m_sockets.end() && it->what != CURL_POLL_REMOVE)
            watch(socket, it->what, it->easy);
    }
    int left = 0;
    while (CURLMsg *msg = curl_multi_info_read(m_multi, &left)) {
        if (msg->msg != CURLMSG_DONE)
            continue;
        void *easy = msg->easy_handle;
        const int result = msg->data.result;
        CurlTransfer *transfer = transferOf(easy);
        // The transfer may release, restart or keep its handle; msg is invalid afterwards.
        if (transfer) {
            transfer->transferDone(result);
        } else {
            // A drained handle has read its last byte.
            detach(easy);
            recycle(easy, m_draining.take(easy));
        }
    }
}

// The platform's request time-out counts from the last byte received, so one check for all
// transfers compares clocks instead of restarting a timer for every chunk that arrives.
void CurlMultiDriver::checkIdle()
{
    if (m_attached.isEmpty()) {
        m_idleTimer.stop();
        return;
    }
    // Inside libcurl (a nested event loop in a callback) nothing may end; the next check will.
    if (m_depth > 0)
        return;
    const qint64 now = coarseClockMs();
    QList<void *> idle;
    for (void *easy : std::as_const(m_attached)) {
        if (isIdle(easy, now))
            idle.append(easy);
    }
    for (void *easy : std::as_const(idle)) {
        // An earlier one's delegate may have ended this one, or a new transfer taken its handle.
        if (m_attached.contains(easy) && isIdle(easy, now))
            transferOf(easy)->transferDone(CURLE_OPERATION_TIMEDOUT);
    }
}

bool CurlMultiDriver::isIdle(void *easy, qint64 now) const
{
    const CurlTransfer *transfer = transferOf(easy);
    if (!transfer || transfer->m_idleLimitMs <= 0
        || now - transfer->m_lastActivityMs <= transfer->m_idleLimitMs)
        return false;
    // Bytes waiting unread mean that the event loop was busy, not the server: libcurl reads them
    // in a moment and the transfer goes on. (Rare, so the sockets are searched.)
    for (auto it = m_sockets.cbegin(); it != m_sockets.cend(); ++it) {
        if (it->easy != easy || (it->what != CURL_POLL_IN && it->what != CURL_POLL_INOUT))
            continue;
        pollfd waiting { it.key(), POLLIN, 0 };
        if (::poll(&waiting, 1, 0) > 0)
            return false;
    }
    return true;
}

} // namespace orel
