#include "links/myNSURLConnection.h"

#include "common/LocalFile.h"
#include "common/Log.h"
#include "common/UrlParts.h"
#include "links/CurlMultiDriver.h"

#include <QCoreApplication>
#include <QFile>
#include <QMimeDatabase>
#include <QPointer>
#include <QThread>
#include <QTimer>
#include <QUrl>

#include <curl/curl.h>
#include <unistd.h>

#include <atomic>
#include <limits>
#include <memory>

namespace orel {

namespace {

// Connections may be created on any thread (they move to the main thread at once).
std::atomic<int> s_active = 0;

// A cancelled transfer whose remaining body is at most this long is read to its end in the
// background, so that its keep-alive connection can serve the next transfer.
constexpr qint64 DrainLimit = 64 * 1024;
// A redirect loop that no delegate stops still ends.
constexpr int MaxHops = 1000;
// A transfer that keeps receiving, too slowly or without end, ends at this many time-outs.
constexpr qint64 HardEndFactor = 10;
// File bytes are handed over in slices so that a large file does not block the event loop.
constexpr qint64 FileSlice = 1 << 20;

bool hasScheme(const QString &url, QLatin1StringView scheme)
{
    return url.size() > scheme.size() && url.at(scheme.size()) == QLatin1Char(':')
            && url.startsWith(scheme, Qt::CaseInsensitive);
}

// libcurl refuses spaces and raw non-ASCII in a URL; everything else is passed as given. A
// non-ASCII URL goes through QUrl first so that an international host name becomes its ASCII form.
QByteArray urlBytes(const QString &url)
{
    bool ascii = true;
    for (QChar c : url)
        ascii = ascii && c.unicode() < 0x80;
    const QByteArray utf8 = ascii ? url.toLatin1() : QUrl(url).toEncoded();
    QByteArray out;
    out.reserve(utf8.size());
    static const char hex[] = "0123456789ABCDEF";
    for (char c : utf8) {
        const auto b = static_cast<unsigned char>(c);
        if (b <= 0x20 || b >= 0x7f || c == '"' || c == '<' || c == '>' || c == '\\' || c == '^'
            || c == '`' || c == '{' || c == '|' || c == '}') {
            out.append('%');
            out.append(hex[b >> 4]);
            out.append(hex[b & 15]);
        } else {
            out.append(c);
        }
    }
    return out;
}

AuthMethod authMethodOf(const QByteArray &wwwAuthenticate, QString *realm)
{
    const QByteArray value = wwwAuthenticate.trimmed();
    const int realmAt = value.toLower().indexOf("realm=");
    if (realmAt >= 0) {
        QByteArray r = value.mid(realmAt + 6);
        if (r.startsWith('"'))
            r = r.mid(1, r.indexOf('"', 1) - 1);
        else
            r = r.left(r.indexOf(','));
        *realm = QString::fromUtf8(r.trimmed());
    }
    const QByteArray scheme = value.left(value.indexOf(' ')).toLower();
    if (scheme == "basic")
        return AuthMethod::HttpBasic;
    if (scheme == "digest")
        return AuthMethod::HttpDigest;
    return AuthMethod::HttpOther;
}

// Hosts never reached through a proxy: the user's own list plus the loopback addresses.
const QByteArray &noProxyList()
{
    static const QByteArray list = [] {
        QByteArray user = qgetenv("no_proxy");
        if (user.isEmpty())
            user = qgetenv("NO_PROXY");
        const QByteArray loopback = "127.0.0.1,localhost,::1";
        return user.isEmpty() ? loopback : user + ',' + loopback;
    }();
    return list;
}

bool isRedirectStatus(int status)
{
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

} // namespace

// The state of one transfer: the request on the wire now, the response being received and what
// happens with its body. Every delegate call goes through call(), which notices when the
// delegate cancels or deletes the connection; after a false answer nothing of the connection
// may be touched, as it may be gone.
struct myNSURLConnection::Private final : public CurlTransfer
{
    // What the body of the current response is for.
    enum class Body { Deliver, Discard, Hold };

    myNSURLConnection *q;
    ConnectionDelegate *delegate;
    UrlRequest request;
    void *easy = nullptr;
    curl_slist *headerList = nullptr;

    // The response being received.
    int status = 0;
    HeaderList headers;
    bool headersComplete = false;
    Body body = Body::Deliver;
    qint64 expectedLength = -1;
    bool bodyStarted = false;
    UrlResponse held; // a redirect or authentication response, until the transfer ends
    QByteArray heldBody;

    int hops = 0;
    QByteArray trustedHost; // whose certificate the delegate accepted for this transfer
    bool ended = false;
    qint64 hardEndMs = std::numeric_limits<qint64>::max(); // coarseClockMs()
    bool pastHardEnd = false;
    std::unique_ptr<QFile> file;

    Private(myNSURLConnection *owner, ConnectionDelegate *d) : q(owner), delegate(d)
    {
        m_lastActivityMs = coarseClockMs();
    }
    ~Private() { release(); }

    // Runs one delegate call; false when the delegate cancelled or deleted the connection.
    template<typename F>
    bool call(F &&f)
    {
        const QPointer<myNSURLConnection> living(q);
        f();
        return living && !q->m_cancelled;
    }

    void begin(const UrlRequest &initial);
    void send(const UrlRequest &next);
    bool configure();
    bool limitTime();
    void release(bool drain = false);
    bool drainable() const;
    void markEnded();
    void endSilently();
    void finish();
    void fail(int code, const QString &text);
    void failCurl(int curlCode);

    bool headersDone();
    UrlResponse makeResponse() const;
    void followRedirect();
    std::optional<AuthChallenge::Answer> askAboutChallenge(AuthMethod method, const QString &realm);
    void answerAuthentication();
    void answerServerTrust(int curlCode);
    void deliverHeld();

    void startFile();
    void readFileSlice();

    bool bytesArrive();
    qint64 lastActivityMs() const { return m_lastActivityMs; }
    void transferDone(int curlCode) override;
    void driverGone() override
    {
        easy = nullptr;
        curl_slist_free_all(headerList);
        headerList = nullptr;
    }

    static size_t headerCallback(char *ptr, size_t size, size_t count, void *userdata);
    static size_t writeCallback(char *ptr, size_t size, size_t count, void *userdata);
};

myNSURLConnection::myNSURLConnection(const UrlRequest &request, ConnectionDelegate *delegate,
                                     int identifier)
    : d(std::make_unique<Private>(this, delegate)), m_identifier(identifier)
{
    ++s_active;
    // libcurl and the delegate calls live on the main thread; a connection made elsewhere (a
    // background validation run) moves there at once.
    if (QCoreApplication *app = QCoreApplication::instance(); app && thread() != app->thread())
        moveToThread(app->thread());
    // The delegate hears from the connection only once control is back in the event loop.
    QMetaObject::invokeMethod(
            this, [this, request] { d->begin(request); }, Qt::QueuedConnection);
}

myNSURLConnection::~myNSURLConnection()
{
    d->markEnded();
}

void myNSURLConnection::cancel()
{
    if (QThread::currentThread() != thread()) {
        QMetaObject::invokeMethod(
                this, [this] { cancel(); }, Qt::QueuedConnection);
        return;
    }
    if (m_cancelled)
        return;
    m_cancelled = true;
    d->release(d->drainable());
    d->file.reset();
    d->markEnded();
    deleteLater();
}

bool myNSURLConnection::canAuthenticateAgainstProtectionSpace(AuthMethod)
{
    log(QStringLiteral("myNSURLConnection refusing authentication"));
    return false;
}

double myNSURLConnection::getTimeSinceLastActivity() const
{
    return double(coarseClockMs() - d->lastActivityMs()) / 1000.0;
}

int myNSURLConnection::activeCount()
{
    return s_active;
}

void myNSURLConnection::Private::markEnded()
{
    if (!ended) {
        ended = true;
        --s_active;
    }
}

bool myNSURLConnection::Private::drainable() const
{
    return easy && headersComplete && body == Body::Deliver && !bodyStarted
            && (request.method == "HEAD" || (expectedLength >= 0 && expectedLength <= DrainLimit));
}

void myNSURLConnection::Private::release(bool drain)
{
    if (easy || headerList)
        CurlMultiDriver::instance()->release(easy, headerList, drain);
    easy = nullptr;
    headerList = nullptr;
}

void myNSURLConnection::Private::endSilently()
{
    release();
    file.reset();
    markEnded();
    q->deleteLater();
}

void myNSURLConnection::Private::finish()
{
    release();
    file.reset();
    markEnded();
    if (call([&] { delegate->connectionDidFinishLoading(q); }))
        q->deleteLater();
}

void myNSURLConnection::Private::fail(int code, const QString &text)
{
    release();
    file.reset();
    markEnded();
    const UrlError error { code, text };
    if (call([&] { delegate->didFailWithError(q, error); }))
        q->deleteLater();
}

void myNSURLConnection::Private::failCurl(int curlCode)
{
    if (curlCode == CURLE_OPERATION_TIMEDOUT) {
        fail(UrlError::TimedOut, QStringLiteral("The request timed out."));
        return;
    }
    // libcurl's fixed text for the code, never its per-transfer message, which carries timings
    // and addresses: one failure reads the same in every run, so records group by status.
    fail(curlCode, QString::fromUtf8(curl_easy_strerror(CURLcode(curlCode))));
}

void myNSURLConnection::Private::begin(const UrlRequest &initial)
{
    if (q->m_cancelled)
        return;
    std::optional<UrlRequest> answer;
    if (!call([&] { answer = delegate->willSendRequest(q, initial, nullptr); }))
        return;
    if (!answer) {
        endSilently();
        return;
    }
    send(*answer);
}

void myNSURLConnection::Private::send(const UrlRequest &next)
{
    // A web server's redirect never reaches into the local file system.
    const bool fromHttp = hops > 0 && !hasScheme(request.url, QLatin1StringView("file"));
    request = next;
    status = 0;
    headers.clear();
    headersComplete = false;
    body = Body::Deliver;
    expectedLength = -1;
    bodyStarted = false;
    held = UrlResponse();
    heldBody.clear();
    if (hasScheme(request.url, QLatin1StringView("file"))) {
        if (fromHttp) {
            failCurl(CURLE_UNSUPPORTED_PROTOCOL);
            return;
        }
        QTimer::singleShot(0, q, [this] { startFile(); });
        return;
    }
    if (!configure())
        return;
    CurlMultiDriver::instance()->start(easy);
}

// The time-out counts from the last byte received: libcurl's own clock limits the connect phase
// and ends the transfer at its hard end, the driver's idle check limits every gap between bytes,
// and bytesArrive() enforces the hard end while libcurl is busy with a body.
bool myNSURLConnection::Private::limitTime()
{
    m_idleLimitMs = request.timeoutSeconds > 0 ? qMax<qint64>(1, request.timeoutSeconds * 1000) : 0;
    m_lastActivityMs = coarseClockMs();
    if (m_idleLimitMs == 0)
        return true;
    if (hardEndMs == std::numeric_limits<qint64>::max())
        hardEndMs = m_lastActivityMs + HardEndFactor * m_idleLimitMs;
    const qint64 left = hardEndMs - m_lastActivityMs;
    if (left <= 0) {
        failCurl(CURLE_OPERATION_TIMEDOUT);
        return false;
    }
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, long(qMin(m_idleLimitMs, left)));
    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, long(left));
    return true;
}

bool myNSURLConnection::Private::configure()
{
    CurlMultiDriver *driver = CurlMultiDriver::instance();
    if (easy) {
        driver->detach(easy);
        curl_easy_reset(easy);
    } else {
        easy = driver->acquire();
        if (!easy) {
            fail(CURLE_OUT_OF_MEMORY, QString::fromUtf8(curl_easy_strerror(CURLE_OUT_OF_MEMORY)));
            return false;
        }
    }
    curl_slist_free_all(headerList);
    headerList = nullptr;

    const QByteArray url = urlBytes(request.url);
    curl_easy_setopt(easy, CURLOPT_URL, url.constData());
    curl_easy_setopt(easy, CURLOPT_PRIVATE, static_cast<CurlTransfer *>(this));
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_NOPROXY, noProxyList().constData());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, long(CURL_HTTP_VERSION_1_1));
    // Decoded bodies for the delegate; Content-Length stays the size on the wire.
    curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "");
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &Private::headerCallback);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Private::writeCallback);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
    // A typical page arrives in one read instead of two: libcurl follows every read with a
    // readiness poll, so this saves two system calls per page.
    curl_easy_setopt(easy, CURLOPT_BUFFERSIZE, 65536L);
    if (!limitTime())
        return false;
    if (!trustedHost.isEmpty() && UrlParts::hostHeader(request.url) == trustedHost) {
        curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 0L);
        curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 0L);
    }

    const QByteArray method = request.method.isEmpty() ? QByteArray("GET") : request.method;
    if (method == "GET" && request.body.isEmpty()) {
        curl_easy_setopt(easy, CURLOPT_HTTPGET, 1L);
    } else if (method == "HEAD") {
        curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
    } else {
        curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(request.body.size()));
        curl_easy_setopt(easy, CURLOPT_COPYPOSTFIELDS, request.body.constData());
        if (method != "POST")
            curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, method.constData());
        // No one-second wait for a "100 Continue" that many servers never send.
        headerList = curl_slist_append(headerList, "Expect:");
    }
    for (const auto &[name, value] : std::as_const(request.headers)) {
        // "Name;" is libcurl's way of sending a header with an empty value.
        const QByteArray line =
                value.isEmpty() ? QByteArray(name + ';') : QByteArray(name + ": " + value);
        headerList = curl_slist_append(headerList, line.constData());
    }
    if (headerList)
        curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headerList);
    return true;
}

size_t myNSURLConnection::Private::headerCallback(char *ptr, size_t size, size_t count,
                                                  void *userdata)
{
    auto *d = static_cast<Private *>(userdata);
    const size_t total = size * count;
    if (d->q->m_cancelled || !d->bytesArrive())
        return 0;
    QByteArrayView line(ptr, qsizetype(total));
    while (!line.isEmpty() && (line.back() == '\n' || line.back() == '\r'))
        line.chop(1);

    if (line.startsWith("HTTP/")) {
        // A new response begins (after an interim 1xx answer, too).
        d->headers.clear();
        d->headers.reserve(16); // a typical answer's header count, without regrowing
        d->headersComplete = false;
        const qsizetype space = line.indexOf(' ');
        const QByteArrayView code = space < 0 ? QByteArrayView() : line.sliced(space + 1);
        d->status = code.first(qMin<qsizetype>(3, code.size())).toInt();
        return total;
    }
    if (d->headersComplete)
        return total; // trailers after a chunked body
    if (line.isEmpty()) {
        if (d->status >= 100 && d->status < 200)
            return total;
        d->headersComplete = true;
        void *easy = d->easy;
        if (d->headersDone())
            return total;
        // Cancelled or deleted meanwhile: a small rest of the body is still read (keep-alive).
        return CurlMultiDriver::instance()->isDraining(easy) ? total : 0;
    }
    if ((line.front() == ' ' || line.front() == '\t') && !d->headers.isEmpty()) {
        d->headers.last().second += ' ' + line.trimmed().toByteArray();
        return total;
    }
    const qsizetype colon = line.indexOf(':');
    if (colon > 0)
        d->headers.append({ line.first(colon).trimmed().toByteArray(),
                            line.sliced(colon + 1).trimmed().toByteArray() });
    return total;
}

size_t myNSURLConnection::Private::writeCallback(char *ptr, size_t size, size_t count,
                                                 void *userdata)
{
    auto *d = static_cast<Private *>(userdata);
    const size_t total = size * count;
    if (d->q->m_cancelled || !d->bytesArrive())
        return 0;
    switch (d->body) {
    case Body::Discard:
        return total;
    case Body::Hold:
        d->heldBody.append(ptr, qsizetype(total));
        return total;
    case Body::Deliver:
        break;
    }
    d->bodyStarted = true;
    return d->call([&] { d->delegate->didReceiveData(d->q, ptr, qsizetype(total)); }) ? total : 0;
}

UrlResponse myNSURLConnection::Private::makeResponse() const
{
    UrlResponse r;
    r.url = request.url;
    r.isHttp = true;
    r.statusCode = status;
    r.headers = headers;
    bool found = false;
    const QByteArray type = headerValue(headers, "Content-Type", &found);
    if (found) {
        const qsizetype semicolon = type.indexOf(';');
        r.mimeType = QString::fromLatin1((semicolon < 0 ? type : type.left(semicolon)).trimmed())
                             .toLower();
    }
    const QByteArray length = headerValue(headers, "Content-Length", &found);
    if (found) {
        bool ok = false;
        const qint64 n = length.trimmed().toLongLong(&ok);
        if (ok && n >= 0)
            r.expectedContentLength = n;
    }
    return r;
}

// End of the headers of a final (non-1xx) response: decide what the body is for. A redirect or
// an authentication challenge is answered once the transfer is over, outside libcurl.
bool myNSURLConnection::Private::headersDone()
{
    bool found = false;
    if (isRedirectStatus(status)) {
        headerValue(headers, "Location", &found);
        if (found) {
            body = Body::Discard;
            held = makeResponse();
            return true;
        }
    }
    if (status == 401) {
        headerValue(headers, "WWW-Authenticate", &found);
        if (found) {
            body = Body::Hold;
            held = makeResponse();
            return true;
        }
    }
    body = Body::Deliver;
    const UrlResponse response = makeResponse();
    expectedLength = response.expectedContentLength;
    return call([&] { delegate->didReceiveResponse(q, response); });
}

// Bytes arrive now: the idle clock starts again. False once the transfer is past its hard end,
// checked here, as data arrives, because libcurl does not look at its clock while it inflates a
// compressed body: the transfer outlives its hard end by one callback's work at most.
bool myNSURLConnection::Private::bytesArrive()
{
    m_lastActivityMs = coarseClockMs();
    if (m_lastActivityMs < hardEndMs)
        return true;
    pastHardEnd = true;
    return false;
}

void myNSURLConnection::Private::transferDone(int curlCode)
{
    if (pastHardEnd)
        curlCode = CURLE_OPERATION_TIMEDOUT;
    if (curlCode == CURLE_PEER_FAILED_VERIFICATION
        && UrlParts::hostHeader(request.url) != trustedHost) {
        answerServerTrust(curlCode);
        return;
    }
    if (curlCode != CURLE_OK) {
        failCurl(curlCode);
        return;
    }
    if (!headersComplete) {
        // libcurl finished without a complete header block (should not happen for HTTP).
        failCurl(CURLE_WEIRD_SERVER_REPLY);
        return;
    }
    switch (body) {
    case Body::Discard:
        followRedirect();
        break;
    case Body::Hold:
        answerAuthentication();
        break;
    case Body::Deliver:
        finish();
        break;
    }
}

void myNSURLConnection::Private::followRedirect()
{
    if (++hops > MaxHops) {
        failCurl(CURLE_TOO_MANY_REDIRECTS);
        return;
    }
    const QByteArray location = held.header("Location").trimmed();
    QString target;
    if (!location.isEmpty()) {
        // libcurl resolves the Location against the URL it fetched.
        char *resolved = nullptr;
        curl_easy_getinfo(easy, CURLINFO_REDIRECT_URL, &resolved);
        target = resolved
                ? QString::fromUtf8(resolved)
                : QUrl(request.url).resolved(QUrl(QString::fromUtf8(location))).toString();
    }
    CurlMultiDriver::instance()->detach(easy);

    UrlRequest proposed = request;
    proposed.url = target;
    const bool toGet = ((status == 301 || status == 302) && proposed.method == "POST")
            || (status == 303 && proposed.method != "GET" && proposed.method != "HEAD");
    if (toGet) {
        proposed.method = "GET";
        proposed.body.clear();
        proposed.headers.removeIf([](const auto &h) {
            return h.first.compare("Content-Type", Qt::CaseInsensitive) == 0
                    || h.first.compare("Content-Length", Qt::CaseInsensitive) == 0;
        });
    }
    if (!proposed.header("Host").isEmpty() && !target.isEmpty())
        proposed.setHeader("Host", UrlParts::hostHeader(target));

    const UrlResponse response = held;
    std::optional<UrlRequest> answer;
    if (!call([&] { answer = delegate->willSendRequest(q, proposed, &response); }))
        return;
    if (!answer) {
        endSilently();
        return;
    }
    send(*answer);
}

// Asks the delegate about a challenge: whether it answers one from this protection space, then
// for its answer (None when it does not). No answer when the delegate cancelled the challenge,
// which ends the transfer silently, or when the connection ended meanwhile.
std::optional<AuthChallenge::Answer>
myNSURLConnection::Private::askAboutChallenge(AuthMethod method, const QString &realm)
{
    CurlMultiDriver::instance()->detach(easy);
    AuthChallenge challenge;
    challenge.method = method;
    challenge.host = QUrl(request.url).host();
    challenge.realm = realm;
    bool accepted = false;
    if (!call([&] { accepted = delegate->canAuthenticateAgainstProtectionSpace(q, method); }))
        return std::nullopt;
    if (!accepted)
        return AuthChallenge::Answer::None;
    if (!call([&] { delegate->didReceiveAuthenticationChallenge(q, challenge); }))
        return std::nullopt;
    if (challenge.answer == AuthChallenge::Answer::Cancel) {
        endSilently();
        return std::nullopt;
    }
    return challenge.answer;
}

// No credentials are ever sent, so whatever the answer, the 401 itself is the response.
void myNSURLConnection::Private::answerAuthentication()
{
    QString realm;
    const AuthMethod method = authMethodOf(held.header("WWW-Authenticate"), &realm);
    if (askAboutChallenge(method, realm))
        deliverHeld();
}

void myNSURLConnection::Private::deliverHeld()
{
    const UrlResponse response = held;
    if (!call([&] { delegate->didReceiveResponse(q, response); }))
        return;
    if (!heldBody.isEmpty()) {
        const QByteArray bytes = std::exchange(heldBody, QByteArray());
        if (!call([&] { delegate->didReceiveData(q, bytes.constData(), bytes.size()); }))
            return;
    }
    finish();
}

// The certificate is accepted only when the delegate says so; then the same request is sent
// again, trusting the site for the rest of the transfer.
void myNSURLConnection::Private::answerServerTrust(int curlCode)
{
    const std::optional<AuthChallenge::Answer> answer =
            askAboutChallenge(AuthMethod::ServerTrust, QString());
    if (!answer)
        return;
    if (*answer == AuthChallenge::Answer::UseServerTrust) {
        trustedHost = UrlParts::hostHeader(request.url);
        send(request);
        return;
    }
    failCurl(curlCode);
}

// Only a regular file is ever opened: a FIFO or a device would block the program or never end.
void myNSURLConnection::Private::startFile()
{
    if (q->m_cancelled)
        return;
    const QString path = QUrl(request.url).toLocalFile();
    LocalFile::Kind kind = LocalFile::Kind::Missing;
    int error = 0;
    const int fd = LocalFile::openRegular(path, &kind, &error);
    switch (kind) {
    case LocalFile::Kind::Regular:
        break;
    case LocalFile::Kind::Missing:
        fail(UrlError::FileDoesntExist, QStringLiteral("file doesnt exist"));
        return;
    case LocalFile::Kind::Directory:
        fail(UrlError::FileIsDirectory, QStringLiteral("file is directory"));
        return;
    case LocalFile::Kind::NotRegular:
        fail(UrlError::FileIsNotRegular, QStringLiteral("file is not a regular file"));
        return;
    case LocalFile::Kind::Unreadable:
        fail(CURLE_FILE_COULDNT_READ_FILE,
             QString::fromUtf8(curl_easy_strerror(CURLE_FILE_COULDNT_READ_FILE))
                     + QStringLiteral(": ") + qt_error_string(error));
        return;
    }
    file = std::make_unique<QFile>();
    if (!file->open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        fail(CURLE_FILE_COULDNT_READ_FILE,
             QString::fromUtf8(curl_easy_strerror(CURLE_FILE_COULDNT_READ_FILE)));
        return;
    }
    static const QMimeDatabase mimeDatabase;
    UrlResponse response;
    response.url = request.url;
    response.isHttp = false;
    response.statusCode = 0;
    response.mimeType = mimeDatabase.mimeTypeForFile(path, QMimeDatabase::MatchExtension).name();
    response.expectedContentLength = file->size();
    if (!call([&] { delegate->didReceiveResponse(q, response); }))
        return;
    QTimer::singleShot(0, q, [this] { readFileSlice(); });
}

void myNSURLConnection::Private::readFileSlice()
{
    if (q->m_cancelled || !file)
        return;
    const QByteArray bytes = file->read(FileSlice);
    if (bytes.isEmpty()) {
        if (file->error() != QFileDevice::NoError)
            fail(CURLE_READ_ERROR, file->errorString());
        else
            finish();
        return;
    }
    if (!call([&] { delegate->didReceiveData(q, bytes.constData(), bytes.size()); }))
        return;
    QTimer::singleShot(0, q, [this] { readFileSlice(); });
}

} // namespace orel
