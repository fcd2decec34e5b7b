// The connection's life: start, redirects, challenges, local files and its end; its libcurl side
// is in ConnectionTransfer.cpp.
#include "links/myNSURLConnection.h"

#include "common/LocalFile.h"
#include "common/Log.h"
#include "common/UrlParts.h"
#include "links/ConnectionPrivate.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QThread>
#include <QTimer>
#include <QUrl>

#include <curl/curl.h>
#include <unistd.h>

#include <atomic>

namespace orel {

namespace {

// Connections may be created on any thread (they move to the main thread at once).
std::atomic<int> s_active = 0;

// A cancelled transfer whose remaining body is at most this long is read to its end in the
// background, so that its keep-alive connection can serve the next transfer.
constexpr qint64 DrainLimit = 64 * 1024;
// A redirect loop that no delegate stops still ends.
constexpr int MaxHops = 1000;
// File bytes are handed over in slices so that a large file does not block the event loop.
constexpr qint64 FileSlice = 1 << 20;

bool hasScheme(const QString &url, QLatin1StringView scheme)
{
    return url.size() > scheme.size() && url.at(scheme.size()) == QLatin1Char(':')
            && url.startsWith(scheme, Qt::CaseInsensitive);
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

} // namespace

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
    QString path = QUrl(request.url).toLocalFile();
    if (request.folderIndex && QFileInfo(path).isDir()
        && QFileInfo(path + QStringLiteral("/index.html")).isFile())
        path += QStringLiteral("/index.html");
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
