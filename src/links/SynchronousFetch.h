// A blocking fetch of one URL through the connection layer, redirects followed; called on the main
// thread (a local event loop runs until the transfer ends) or on a worker thread (which waits
// while the main thread's event loop runs it).
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
};

// Never called from inside a libcurl callback (a delegate of another transfer): the answer is
// then an error at once, as libcurl cannot be entered again there. Authentication challenges
// are declined, so a 401 is answered as it is. On a worker thread the main thread's event loop
// must be running.
FetchResult fetchSynchronously(const UrlRequest &request);

} // namespace orel
