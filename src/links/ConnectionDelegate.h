// Callbacks of one URL transfer (myNSURLConnection), delivered on the main thread.
#pragma once

#include "links/UrlRequest.h"

#include <optional>

namespace orel {

class myNSURLConnection;

// Order of calls for one transfer: willSendRequest (once for the initial request, once per
// redirect), then possibly canAuthenticateAgainstProtectionSpace and
// didReceiveAuthenticationChallenge, then didReceiveResponse, any number of didReceiveData, and
// finally connectionDidFinishLoading or didFailWithError. Once the delegate cancels the
// connection no further call arrives.
class ConnectionDelegate
{
public:
    virtual ~ConnectionDelegate();

    // Answer the request to send (possibly changed), or none to stop the transfer silently.
    // redirectResponse is null for the initial request.
    virtual std::optional<UrlRequest> willSendRequest(myNSURLConnection *connection,
                                                      const UrlRequest &proposed,
                                                      const UrlResponse *redirectResponse) = 0;
    virtual bool canAuthenticateAgainstProtectionSpace(myNSURLConnection *connection,
                                                       AuthMethod method) = 0;
    virtual void didReceiveAuthenticationChallenge(myNSURLConnection *connection,
                                                   AuthChallenge &challenge) = 0;
    virtual void didReceiveResponse(myNSURLConnection *connection, const UrlResponse &response) = 0;
    virtual void didReceiveData(myNSURLConnection *connection, const char *bytes,
                                qsizetype length) = 0;
    virtual void connectionDidFinishLoading(myNSURLConnection *connection) = 0;
    virtual void didFailWithError(myNSURLConnection *connection, const UrlError &error) = 0;
};

} // namespace orel
