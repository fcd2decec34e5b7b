// A blocking fetch of one URL through the connection layer, redirects followed as a link record
// follows them; called on the main thread (a local event loop runs until the transfer ends) or on
// a worker thread (which waits while the main thread's event loop runs it).
#pragma once

#include "links/UrlRequest.h"

#include <optional>

namespace orel {

struct FetchResult
{
    // The last response (after the redirects): status, headers, content type and final URL.
    std::optional<UrlResponse> response;
    QByteArray body;
    std::optional<UrlError> error; // the transfer failed (with or without a response)

    bool ok() const { return response && !error; }
    int statusCode() const { return response ? response->statusCode : 0; }
    QString finalUrl() const { return response ? response->url : QString(); }
    // The type of the body: the "Content-Type" header of an HTTP answer, the type a local file's
    // name gives otherwise; found is false when there is none.
    QByteArray contentType(bool *found = nullptr) const;
    // The answer as a link record's status would read: the failure text, "%i %@" of an HTTP
    // answer, or "200 no error (not http)".
    QString statusText() const;
};

// Never called from inside a libcurl callback (a delegate of another transfer): the answer is
// then an error at once, as libcurl cannot be entered again there. Authentication challenges
// are declined, so a 401 is answered as it is. More than 100 redirects end the fetch with
// "recurring redirect", a redirect without a target with "redirection to nowhere"; every hop
// names its own host in the "Host" header. On a worker thread the main thread's event loop must
// be running. Build the request with fetchRequest() to send what a crawl sends.
FetchResult fetchSynchronously(const UrlRequest &request);

} // namespace orel
