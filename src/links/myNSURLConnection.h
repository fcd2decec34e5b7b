// One URL transfer (libcurl easy handle on the shared multi handle), driven by the Qt event
// loop; main thread.
#pragma once

#include "links/ConnectionDelegate.h"
#include "links/UrlRequest.h"

#include <QObject>

#include <memory>

namespace orel {

// Kinds of transfer, fixed at creation.
enum ConnectionKind : int {
    CrawlFetch = 16,
    HighlightFetch = 17,
    ValidatorRequest = 18,
    PageWeightFetch = 20,
    SitemapUpload = 21, // the sitemap file sent to an FTP server
};

// The connection follows redirects itself so that the delegate sees every hop. It starts at
// once when constructed. With a time-out (UrlRequest::timeoutSeconds) it fails with "The request
// timed out." when it connects or receives nothing for that long, and when it has not ended
// after ten times as long, however steadily bytes arrive. It deletes itself (deleteLater) after its
// last delegate call or after cancel(); the delegate must not use the pointer after that.
class myNSURLConnection : public QObject
{
    Q_OBJECT
public:
    myNSURLConnection(const UrlRequest &request, ConnectionDelegate *delegate, int identifier);
    ~myNSURLConnection() override;

    int getIdentifier() const { return m_identifier; }
    void setIdentifier(int identifier) { m_identifier = identifier; }

    // Stops the transfer; no delegate call arrives afterwards.
    void cancel();
    bool isCancelled() const { return m_cancelled; }

    // Seconds since bytes last arrived, or since the request was sent when none have yet. A
    // request time-out counts from here.
    double getTimeSinceLastActivity() const;

    // The connection's own answer: logs "myNSURLConnection refusing authentication", answers NO.
    bool canAuthenticateAgainstProtectionSpace(AuthMethod method);

    // Number of transfers in flight in this process (for tests and the command line).
    static int activeCount();

private:
    friend class CurlMultiDriver;
    struct Private;
    std::unique_ptr<Private> d;
    int m_identifier;
    bool m_cancelled = false;
};

} // namespace orel
