// The fetch of a link record: the record is the delegate of its own connection and turns the
// transfer's events into its status, redirect target, sizes and timings, reporting to the owner.
//
// "Post and wait" messages to the owner are direct calls (the callbacks already run on the main
// thread); "post, no wait" messages go through owner->later() so they run in a later pass of
// the event loop. Every path that ends an ordinary check sends incNumberDone and
// threadHasFinished exactly once; validator requests end with incNumberValidated instead.
#include "links/LinkCheckerUrl.h"

#include "common/Localize.h"
#include "common/Log.h"
#include "common/UrlParts.h"
#include "links/LinkCheckerUrlExtras.h"
#include "links/LinkOwner.h"
#include "links/ReasonPhrase.h"
#include "links/ThrottleAnswer.h"
#include "links/myNSURLConnection.h"

#include <new>

namespace orel {

namespace {

// Without a connection (tests driving the delegate directly) a call is an ordinary check.
int kindOf(const myNSURLConnection *connection)
{
    return connection ? connection->getIdentifier() : CrawlFetch;
}

// The first character of a status read as a digit; anything else counts as 0.
int statusClass(const QString &status)
{
    if (status.isEmpty() || !status.at(0).isDigit())
        return 0;
    return status.at(0).digitValue();
}

} // namespace

bool LinkCheckerUrl::ownerStopPressed() const
{
    return m_owner && m_owner->stopPressed();
}

void LinkCheckerUrl::cancelAndRelease()
{
    if (m_connection && !m_connection->isCancelled())
        m_connection->cancel();
    m_connection = nullptr;
}

// A re-check ends with its three answers handled at once, then the record is an ordinary one again.
void LinkCheckerUrl::finishRecheck()
{
    cancelAndRelease();
    if (m_owner) {
        m_owner->incNumberDone(this);
        m_owner->statusHasChangedFordO(this);
        m_owner->threadHasFinished(this);
    }
    m_isBeingRechecked = false;
}

void LinkCheckerUrl::postThreadHasFinished()
{
    if (LinkOwner *owner = m_owner)
        owner->later([owner, this] { owner->threadHasFinished(this); });
}

void LinkCheckerUrl::postIncNumberDone()
{
    if (LinkOwner *owner = m_owner)
        owner->later([owner, this] { owner->incNumberDone(this); });
}

void LinkCheckerUrl::postIncNumberValidated()
{
    if (LinkOwner *owner = m_owner)
        owner->later([owner, this] { owner->incNumberValidated(this); });
}

// The connection calling is the one to cancel, also when its starter did not hand it over with
// setConnection() (validator and page-weight fetches may not).
int LinkCheckerUrl::adoptConnection(myNSURLConnection *connection)
{
    if (connection)
        m_connection = connection;
    return kindOf(connection);
}

// ---- Redirects -------------------------------------------------------------------------------

std::optional<UrlRequest> LinkCheckerUrl::willSendRequest(myNSURLConnection *connection,
                                                          const UrlRequest &proposed,
                                                          const UrlResponse *redirectResponse)
{
    const int kind = adoptConnection(connection);

    // The initial request passes through here too, so at most 100 real redirects are followed.
    if (m_numberOfRedirects > 100) {
        log(QStringLiteral("recurring redirect"));
        setStatus(QStringLiteral("recurring redirect"));
        cancelAndRelease();
        postIncNumberDone();
        postThreadHasFinished();
        return std::nullopt;
    }
    ++m_numberOfRedirects;

    UrlRequest next = proposed;
    next.setHeader("Host", UrlParts::hostHeader(proposed.url));

    if (kind == HighlightFetch)
        return next;

    if (proposed.url.isEmpty()) {
        setStatus(QStringLiteral("redirection to nowhere"));
        cancelAndRelease();
        postIncNumberDone();
        postThreadHasFinished();
        return std::nullopt;
    }

    if (redirectResponse && kind != ValidatorRequest)
        noteRedirectHop(proposed.url);

    // A hop to a page the site's robots.txt forbids is not fetched either.
    if (redirectResponse && kind != ValidatorRequest && m_owner
        && !m_owner->mayFollowRedirect(proposed.url)) {
        setRedir(proposed.url);
        setStatus(localized("blocked by robots.txt"));
        cancelAndRelease();
        postIncNumberDone();
        postThreadHasFinished();
        return std::nullopt;
    }

    if (proposed.url == getActualLinkUrl() || kind == ValidatorRequest)
        return next;

    const bool trim = m_owner && m_owner->shouldTrim();
    if (!m_redir.isEmpty()) {
        // A later hop of a chain: the target moves on, the status keeps the first hop's code.
        setRedir(proposed.url);
    } else {
        QByteArray candidate;
        if (!copyToBuffer(proposed.url, candidate))
            return next;
        const bool ignoreSlash = m_owner && m_owner->shouldIgnoreSlash();
        if (isEqualToUrl(candidate, trim, ignoreSlash)) {
            // The same URL as far as matching goes (e.g. only a trailing slash added): absorb
            // it instead of reporting a redirect.
            setLinkUrl(proposed.url, trim);
        } else {
            setRedir(proposed.url);
            if (redirectResponse && redirectResponse->statusCode > 0)
                updateStatus(statusText(redirectResponse->statusCode));
        }
    }

    // The crawl's domain follows a redirected start URL.
    if (m_isStartingPoint && m_owner)
        m_owner->resetDomain(this);
    return next;
}

// Only redirected records pay for the list.
void LinkCheckerUrl::noteRedirectHop(const QString &url)
{
    if (!m_redirectHistory)
        m_redirectHistory = std::make_unique<QStringList>();
    m_redirectHistory->append(url);
}

// ---- Authentication --------------------------------------------------------------------------

bool LinkCheckerUrl::canAuthenticateAgainstProtectionSpace(myNSURLConnection *, AuthMethod method)
{
    return method == AuthMethod::ServerTrust && m_isStartingPoint;
}

// The site's own certificate is accepted; no user name or password is ever offered.
void LinkCheckerUrl::didReceiveAuthenticationChallenge(myNSURLConnection *connection,
                                                       AuthChallenge &challenge)
{
    adoptConnection(connection);
    log(QStringLiteral("received authentication challenge from %1").arg(getActualLinkUrl()));
    if (ownerStopPressed())
        return;
    if (challenge.method == AuthMethod::ServerTrust && m_isInternal) {
        challenge.useServerTrustCredential();
        return;
    }
    setStatus(QStringLiteral("requires authentication"));
    challenge.cancel();
    cancelAndRelease();
    if (m_owner)
        m_owner->incNumberDone(this);
    postThreadHasFinished();
}

// ---- Response --------------------------------------------------------------------------------

void LinkCheckerUrl::readValidatorHeaders(const HeaderList &headers)
{
    // The validator has used both spellings of its headers; both are read, in this order.
    static const char *const spellings[2][3] = {
        { "X-W3C-Validator-Status", "X-W3C-Validator-Warnings", "X-W3C-Validator-Errors" },
        { "X-W3c-Validator-Status", "X-W3c-Validator-Warnings", "X-W3c-Validator-Errors" },
    };
    for (const auto &names : spellings) {
        bool found = false;
        const QByteArray status = headerValue(headers, names[0], &found);
        if (!found)
            continue;
        setValidatorStatus(QString::fromUtf8(status.trimmed()));
        setValidatorWarnings(headerValue(headers, names[1]).trimmed().toInt());
        setValidatorErrors(headerValue(headers, names[2]).trimmed().toInt());
        cancelAndRelease();
        postIncNumberValidated();
        return;
    }
}

void LinkCheckerUrl::didReceiveResponse(myNSURLConnection *connection, const UrlResponse &response)
{
    const int kind = adoptConnection(connection);
    if (m_sentRequestMs < 0 || kind == HighlightFetch)
        return;
    if (ownerStopPressed()) {
        cancelAndRelease();
        return;
    }

    if (kind != ValidatorRequest)
        m_responseTimeInterval = getTimeSinceSent();

    const HeaderList headers = response.isHttp ? response.headers : HeaderList();
    bool hasContentLength = false;
    const QByteArray contentLength = headerValue(headers, "Content-Length", &hasContentLength);
    if (m_isImage || kind == PageWeightFetch) {
        if (hasContentLength)
            setFileSizeCompressed(contentLength.trimmed().toInt());
        else
            log(QStringLiteral("Content-Length header isn't available for %1, uncompressed size "
                               "will be set to = final data length")
                        .arg(getActualLinkUrl()));
    }
    m_contentlengthunavailable = !hasContentLength;

    if (kind == ValidatorRequest) {
        readValidatorHeaders(headers);
        return;
    }

    if (handOverForRetry(kind, response))
        return;

    if (!response.isHttp) {
        setBlocked(false);
        setStatus(QStringLiteral("200 no error (not http)"));
        m_isHTML = response.mimeType.contains(QLatin1String("html"), Qt::CaseInsensitive);
    } else {
        m_isHTML = headerValue(headers, "Content-Type").toLower().contains("html");
        setBlocked(ThrottleAnswer::isBlockedAnswer(response.statusCode, headers));
        const QString text = statusText(response.statusCode);
        if (m_isBeingRechecked)
            setStatus(text);
        else
            updateStatus(text); // follows any redirect texts
    }

    // A re-check needs only the status.
    if (m_isBeingRechecked) {
        finishRecheck();
        return;
    }

    if (m_owner)
        m_owner->statusHasChangedFordO(this);

    // The body is needed only to read a page, measure an image or a page-weight resource, or
    // look for a soft 404 on an external page.
    const bool notNeeded = !m_isHTML && !m_isImage && !m_isStartingPoint && kind != PageWeightFetch;
    const bool externalNotNeeded = !m_isInternal && kind != PageWeightFetch
            && !(m_owner && m_owner->shouldPerformSoft404Check());
    if (notNeeded || externalNotNeeded) {
        cancelAndRelease();
        if (m_owner)
            m_owner->incNumberDone(this);
        postThreadHasFinished();
        return;
    }

    // Size the body once from the announced length instead of growing it chunk by chunk. The
    // cap keeps a wrong or hostile header from reserving memory the body never fills.
    constexpr qint64 kMaxReserve = 64 * 1024 * 1024;
    const qint64 announced = hasContentLength ? contentLength.trimmed().toLongLong() : 0;
    if (announced > 0 && announced <= kMaxReserve) {
        try {
            m_data.reserve(m_data.size() + qsizetype(announced));
        } catch (const std::bad_alloc &) {
            // Not even that much is free: the body's first bytes will find out for good.
        }
    }
}

// A throttled ordinary check (429, or 503 without a bot challenge) goes back to the owner,
// which fetches it again after a wait. Everything this fetch learnt is dropped, so that the next
// try starts from the link's own URL as a first fetch would.
bool LinkCheckerUrl::handOverForRetry(int kind, const UrlResponse &response)
{
    if (kind != CrawlFetch || !response.isHttp || !m_owner
        || !ThrottleAnswer::isThrottle(response.statusCode)
        || ThrottleAnswer::hasChallengeMarker(response.headers))
        return false;
    const auto asked =
            ThrottleAnswer::retryAfter(response.headers, QDateTime::currentDateTimeUtc());
    if (!m_owner->retryLater(this, asked))
        return false;
    cancelAndRelease();
    m_status = QString();
    m_redir = QByteArray();
    m_nssredir = QString();
    m_hasHadRedirSlashTrimmed = false;
    m_isBeingRechecked = false;
    m_isBlocked = false;
    m_redirectHistory.reset();
    m_sentRequestMs = -1; // not in flight: the end-of-crawl sweep leaves it alone
    return true;
}

std::optional<QByteArray> LinkCheckerUrl::willCacheResponse(myNSURLConnection *connection,
                                                            const QByteArray &cachedData)
{
    if (kindOf(connection) == ValidatorRequest)
        return cachedData;
    extras().cacheData = cachedData;
    m_data = QByteArray();
    return std::nullopt;
}

// ---- Data ------------------------------------------------------------------------------------

void LinkCheckerUrl::didReceiveData(myNSURLConnection *connection, const char *bytes,
                                    qsizetype length)
{
    const int kind = adoptConnection(connection);
    if (ownerStopPressed()) {
        cancelAndRelease();
        return;
    }
    if (m_isBeingRechecked && kind != HighlightFetch) {
        cancelAndRelease();
        return;
    }
    try {
        if (kind == HighlightFetch) {
            extras().onPageData.append(bytes, length);
            return;
        }
        if (m_extra && m_extra->cacheData)
            return;
        // No size limit: a very large page is kept whole.
        m_data.append(bytes, length);
    } catch (const std::bad_alloc &) {
        // The body that did not fit goes at once, so that what the crawl found can be kept.
        log(QStringLiteral("**** failed to add data for %1").arg(getActualLinkUrl()));
        clearData();
        if (m_extra)
            m_extra->onPageData = QByteArray();
        cancelAndRelease();
        if (m_owner)
            m_owner->emergencyMemoryStop();
    }
}

// ---- Failure ---------------------------------------------------------------------------------

void LinkCheckerUrl::didFailWithError(myNSURLConnection *connection, const UrlError &error)
{
    const int kind = adoptConnection(connection);
    if (ownerStopPressed()) {
        cancelAndRelease();
        return;
    }
    if (kind == HighlightFetch) {
        cancelAndRelease();
        return;
    }
    if (kind == ValidatorRequest) {
        setValidatorStatus(error.localizedDescription);
        cancelAndRelease();
        postIncNumberValidated();
        return;
    }

    setBlocked(false);
    setStatus(error.localizedDescription);
    if (m_isBeingRechecked) {
        finishRecheck();
        return;
    }
    if (m_owner) {
        m_owner->statusHasChangedFordO(this);
        m_owner->incNumberDone(this);
    }
    postThreadHasFinished();
    cancelAndRelease();
}

// ---- End of data -----------------------------------------------------------------------------

void LinkCheckerUrl::connectionDidFinishLoading(myNSURLConnection *connection)
{
    const int kind = adoptConnection(connection);
    if (m_sentRequestMs < 0)
        return;
    if (ownerStopPressed()) {
        cancelAndRelease();
        return;
    }

    if (kind == PageWeightFetch || m_isImage) {
        m_loadTimeInterval = getTimeSinceSent() - m_responseTimeInterval;
        setFileSize(int(m_data.size()));
        if (m_contentlengthunavailable)
            setFileSizeCompressed(int(m_data.size()));
    }

    if (kind == HighlightFetch) {
        // The owner highlights the link in the fetched page when the slot is released.
        postThreadHasFinished();
    } else {
        if (m_isInternal && m_isHTML && m_owner && m_owner->shouldArchive())
            m_owner->archivePage(this);
        if (statusClass(m_status) < 4 && m_owner && m_owner->performSoft404CheckOnThisUrl(this))
            updateStatus(QStringLiteral("404 'soft 404'"));
        if (m_owner) {
            m_owner->incNumberDone(this);
            if (!m_owner->isRechecking())
                m_owner->extractLinks(this);
        }
        postThreadHasFinished();
    }

    cancelAndRelease();
    if (m_isInternal)
        clearData();
}

} // namespace orel
