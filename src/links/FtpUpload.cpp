#include "links/FtpUpload.h"

#include "links/ConnectionDelegate.h"
#include "links/CurlMultiDriver.h"
#include "links/myNSURLConnection.h"

#include <QEventLoop>

#include <curl/curl.h>

namespace orel {

namespace {

// Hears the transfer's end and stops the waiting loop.
class UploadDelegate final : public ConnectionDelegate
{
public:
    explicit UploadDelegate(QEventLoop &loop) : m_loop(loop) { }

    FtpUpload::Result result;
    bool ended = false;

    std::optional<UrlRequest> willSendRequest(myNSURLConnection *, const UrlRequest &proposed,
                                              const UrlResponse *) override
    {
        return proposed;
    }
    bool canAuthenticateAgainstProtectionSpace(myNSURLConnection *, AuthMethod) override
    {
        return false;
    }
    void didReceiveAuthenticationChallenge(myNSURLConnection *, AuthChallenge &) override { }
    void didReceiveResponse(myNSURLConnection *, const UrlResponse &) override { }
    void didReceiveData(myNSURLConnection *, const char *, qsizetype) override { }
    void connectionDidFinishLoading(myNSURLConnection *) override { end({}); }
    void didFailWithError(myNSURLConnection *, const UrlError &error) override
    {
        // The connection's own time-out reads as libcurl's.
        const int code = error.code == UrlError::TimedOut ? int(CURLE_OPERATION_TIMEDOUT)
                : error.code > 0                          ? error.code
                                                          : int(CURLE_READ_ERROR);
        end({ code, error.localizedDescription });
    }

private:
    void end(FtpUpload::Result r)
    {
        result = std::move(r);
        ended = true;
        m_loop.quit();
    }
    QEventLoop &m_loop;
};

} // namespace

FtpUpload::Result FtpUpload::run(const QString &file, const QString &destination,
                                 const QString &user, const QString &password,
                                 double timeoutSeconds)
{
    if (CurlMultiDriver::instance()->insideCurl()) {
        return { int(CURLE_RECURSIVE_API_CALL),
                 QString::fromUtf8(curl_easy_strerror(CURLE_RECURSIVE_API_CALL)) };
    }
    if (file.isEmpty()) // no sitemap written yet: as for a file that cannot be read
        return { int(CURLE_READ_ERROR), QString::fromUtf8(curl_easy_strerror(CURLE_READ_ERROR)) };
    UrlRequest request;
    request.url = destination;
    request.method = "STOR";
    request.uploadFile = file;
    request.user = user;
    request.password = password;
    request.timeoutSeconds = timeoutSeconds;

    QEventLoop loop;
    UploadDelegate delegate(loop);
    // The connection deletes itself after its last delegate call.
    new myNSURLConnection(request, &delegate, SitemapUpload);
    if (!delegate.ended)
        loop.exec();
    return delegate.result;
}

} // namespace orel
