// The state of one transfer of myNSURLConnection, shared by the files of the connection; main
// thread. Private to the network layer.
#pragma once

#include "links/ConnectionDelegate.h"
#include "links/CurlMultiDriver.h"
#include "links/myNSURLConnection.h"

#include <QFile>
#include <QPointer>

#include <limits>
#include <memory>
#include <optional>

namespace orel {

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
    std::unique_ptr<QFile> uploadSource; // the file an upload sends

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
    bool configureUpload(); // ConnectionUpload.cpp
    void uploadDone(int curlCode);
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
    void driverGone() override;

    static size_t headerCallback(char *ptr, size_t size, size_t count, void *userdata);
    static size_t writeCallback(char *ptr, size_t size, size_t count, void *userdata);
    static size_t readCallback(char *buffer, size_t size, size_t count, void *userdata);
    static size_t uploadHeaderCallback(char *ptr, size_t size, size_t count, void *userdata);
};

} // namespace orel
