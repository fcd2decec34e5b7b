// The libcurl side of a transfer of myNSURLConnection: the easy handle's options, the header and
// body callbacks, the time limits and the end of the handle's work.
#include "links/ConnectionPrivate.h"

#include "common/UrlParts.h"

#include <QUrl>

#include <curl/curl.h>

namespace orel {

namespace {

// A transfer that keeps receiving, too slowly or without end, ends at this many time-outs.
constexpr qint64 HardEndFactor = 10;

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
    if (!request.uploadFile.isEmpty())
        return configureUpload();
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
    if (uploadSource) {
        uploadDone(curlCode);
        return;
    }
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

void myNSURLConnection::Private::driverGone()
{
    easy = nullptr;
    curl_slist_free_all(headerList);
    headerList = nullptr;
}

} // namespace orel
