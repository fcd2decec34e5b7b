#include "links/SynchronousFetch.h"

#include "common/UrlParts.h"
#include "links/CurlMultiDriver.h"
#include "links/ReasonPhrase.h"
#include "links/myNSURLConnection.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QPointer>
#include <QThread>

#include <curl/curl.h>

namespace orel {

namespace {

// Redirects followed before the fetch fails, as for a link record.
constexpr int MaxRedirects = 100;

UrlError curlError(CURLcode code)
{
    return UrlError { int(code), QString::fromUtf8(curl_easy_strerror(code)) };
}

// Collects the transfer's answer and stops the local event loop at its end.
class Collector final : public ConnectionDelegate
{
public:
    explicit Collector(QEventLoop *loop) : m_loop(loop) { }

    FetchResult result;
    bool ended = false;

    std::optional<UrlRequest> willSendRequest(myNSURLConnection *, const UrlRequest &proposed,
                                              const UrlResponse *redirect) override
    {
        if (!redirect)
            return proposed;
        // No answer ends the transfer without another call.
        if (++m_redirects > MaxRedirects) {
            result.error =
                    UrlError { UrlError::RecurringRedirect, QStringLiteral("recurring redirect") };
            end();
            return std::nullopt;
        }
        if (proposed.url.isEmpty()) {
            result.response = *redirect;
            result.error = UrlError { UrlError::RedirectionToNowhere,
                                      QStringLiteral("redirection to nowhere") };
            end();
            return std::nullopt;
        }
        UrlRequest next = proposed;
        next.setHeader("Host", UrlParts::hostHeader(proposed.url));
        return next;
    }
    bool canAuthenticateAgainstProtectionSpace(myNSURLConnection *, AuthMethod) override
    {
        return false;
    }
    void didReceiveAuthenticationChallenge(myNSURLConnection *, AuthChallenge &challenge) override
    {
        challenge.continueWithoutCredential();
    }
    void didReceiveResponse(myNSURLConnection *, const UrlResponse &response) override
    {
        result.response = response;
        result.body.clear();
    }
    void didReceiveData(myNSURLConnection *, const char *bytes, qsizetype length) override
    {
        result.body.append(bytes, length);
    }
    void connectionDidFinishLoading(myNSURLConnection *) override { end(); }
    void didFailWithError(myNSURLConnection *, const UrlError &error) override
    {
        result.error = error;
        end();
    }

private:
    void end()
    {
        ended = true;
        m_loop->quit();
    }

    QEventLoop *m_loop;
    int m_redirects = 0;
};

FetchResult fetchOnMainThread(const UrlRequest &request)
{
    if (CurlMultiDriver::instance()->insideCurl())
        return FetchResult { std::nullopt, QByteArray(), curlError(CURLE_RECURSIVE_API_CALL) };
    QEventLoop loop;
    Collector collector(&loop);
    const QPointer<myNSURLConnection> connection = new myNSURLConnection(request, &collector, 0);
    // The connection calls back only from the event loop, so the end cannot have come yet.
    loop.exec();
    if (!collector.ended) {
        // The loop was left early (the application is quitting): the collector goes away now.
        if (connection)
            connection->cancel();
        collector.result.error = curlError(CURLE_ABORTED_BY_CALLBACK);
    }
    return std::move(collector.result);
}

} // namespace

QByteArray FetchResult::contentType(bool *found) const
{
    if (response && !response->isHttp) {
        if (found)
            *found = !response->mimeType.isEmpty();
        return response->mimeType.toUtf8();
    }
    if (!response) {
        if (found)
            *found = false;
        return {};
    }
    return headerValue(response->headers, "Content-Type", found);
}

QString FetchResult::statusText() const
{
    if (error)
        return error->localizedDescription;
    if (!response)
        return {};
    if (!response->isHttp)
        return QStringLiteral("200 no error (not http)");
    return orel::statusText(response->statusCode);
}

FetchResult fetchSynchronously(const UrlRequest &request)
{
    QCoreApplication *app = QCoreApplication::instance();
    if (!app)
        return FetchResult { std::nullopt, QByteArray(), curlError(CURLE_FAILED_INIT) };
    if (QThread::currentThread() == app->thread())
        return fetchOnMainThread(request);
    // libcurl lives on the main thread: the whole fetch runs there while this thread waits.
    FetchResult result;
    QMetaObject::invokeMethod(
            app, [&] { result = fetchOnMainThread(request); }, Qt::BlockingQueuedConnection);
    return result;
}

} // namespace orel
