// The record of one link met during a crawl: its URL forms, status, redirect target, the pages
// it appears on, page data, sizes and timings, and the delegate of its own fetch; main thread.
#pragma once

#include "links/ConnectionDelegate.h"
#include "links/OnPageList.h"
#include "links/OrelDataObject.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

namespace orel {

class LinkOwner;
class myNSURLConnection;

// Records are many (about 100k in a large crawl, with about 1M on-page entries), so the class is
// kept compact: rarely used page data lives in a block allocated on first use, and the on-page
// columns are packed (OnPageList); the list getters build their lists on each call.
//
// A record may have no owner (nullptr, e.g. loaded from a saved list): it then sends nothing and
// answers owner questions with "off".
//
// Status texts are "%i %@" (code and reason phrase) for HTTP answers, or fixed failure texts.
// Classifications read the first character of the status as a digit (a non-digit counts as 0).
class LinkCheckerUrl : public OrelDataObject, public ConnectionDelegate
{
public:
    explicit LinkCheckerUrl(LinkOwner *owner = nullptr);
    ~LinkCheckerUrl() override;

    LinkCheckerUrl(const LinkCheckerUrl &) = delete;
    LinkCheckerUrl &operator=(const LinkCheckerUrl &) = delete;

    LinkOwner *getOwner() const { return m_owner; }
    void setOwner(LinkOwner *owner) { m_owner = owner; }

    // Frees the lists, buffers and strings and forgets the owner and the connection.
    void releaseAll() override;
    // Frees the body once the page has been parsed.
    void clearData();

    // ---- Status -----------------------------------------------------------------------------
    QString getStatus() const { return m_status; }
    // A null string is ignored; "" is stored.
    void setStatus(const QString &status);
    // Keeps history: "new < old" when a status is present, else the new text alone.
    void updateStatus(const QString &status);

    // ---- URL forms ----------------------------------------------------------------------------
    // String form of the link URL (keeps a trailing slash even when the byte form lost it).
    QString getLinkUrl() const { return m_nsslinkUrl; }
    QString getLinkurl() const { return m_nsslinkUrl; }
    // Byte form used for matching (fragment, optionally query and trailing slash trimmed).
    QByteArray getLinkUrlBytes() const { return m_linkUrl; }
    QString getRedir() const { return m_nssredir; }
    // Every URL the last fetch was sent on to, in order (the final one is getRedir()); empty
    // when it was answered without a redirect. Kept only for records that were redirected.
    QStringList redirectHistory() const
    {
        return m_redirectHistory ? *m_redirectHistory : QStringList();
    }
    QByteArray getRedirBytes() const { return m_redir; }
    // The URL that is fetched: the redirect target when one is recorded, else the link URL.
    QString getActualLinkUrl() const { return m_redir.isEmpty() ? m_nsslinkUrl : m_nssredir; }
    QString getActualurl() const { return getActualLinkUrl(); }

    // Cuts buffer at the first "#", then (trimQuery) at the first "?"; texts shorter than 2
    // bytes are left alone.
    static void trimHash(QByteArray &buffer, bool trimQuery);
    // Stores the URL (trimmed), registers the byte form with the owner (addToLookup) and updates
    // the actual URL. A null text is ignored.
    void setLinkUrl(const QString &text, bool trimQuery);
    // A record that stands for one "#name" of a page: the shown and fetched form keeps the
    // fragment, the matching form is the page's. Not registered: the owner registers it under
    // a key of its own.
    void setFragmentLinkUrl(const QString &text);
    // Stores the redirect target (not cut at "#"/"?", not registered). A null text is ignored.
    void setRedir(const QString &text);
    // The actual URL is derived from the other two forms on every read (one string less per
    // record); kept as an operation for callers that set it explicitly.
    void setActualLinkUrl() { }
    // Whether the candidate (trimmed like a stored URL, "///" reduced to "//") equals the link
    // URL or the redirect target byte for byte. A match found only through the "///" reduction
    // sets recursion. The candidate is taken by value: the caller's copy is untouched.
    bool isEqualToUrl(QByteArray candidate, bool trimmed, bool ignoreTrailingSlash);
    // YES without a canonical URL, else whether the canonical equals this URL (slashes ignored).
    bool canonicalMatchesUrl();
    // The link URL climbs above the site root ("../" anywhere).
    bool directoryTooHigh() const;
    // The URL a fetch uses: the selected on-page URL when a highlight call-back is wanted, else
    // the actual URL.
    QString getLinkUrlForTesting() const;
    // The views' search filter: link URL, redirect, link text or status, ignoring case.
    bool contains(const QString &text) const override;
    bool isEqualToTitle(const QString &title) const;
    bool hasTitle(const QString &title) const;
    // Case-sensitive byte search of each term in the link URL; a null list answers NO.
    bool linkContainsOneOfTheseTerms(const QStringList &terms) const;

    // ---- On-page lists (appended by the owner once per occurrence) ---------------------------
    // A null page is logged as "null string submitted to url:%@", an empty one as "empty string
    // submitted to url:%@"; both are stored as "no url". Tells the owner addLink(this, page).
    void addOnPageUrl(const QString &page);
    void addOnPageName(const QString &name); // a null title is stored as "untitled"
    void addOnPageLinkText(const QString &text); // a null text is logged and stored as "no text"
    // setLinkText(text) then addOnPageLinkText(text). The record's link text is then read from
    // its last occurrence instead of being kept a second time.
    void addLinkTextOccurrence(const QString &text);
    void addNofollow(bool nofollow);
    void addLinkedImage(LinkCheckerUrl *image); // not owned; nullptr ignored
    void setOnPageUrl(const QStringList &list);
    void setOnPageName(const QStringList &list);
    void setOnPageLinkText(const QStringList &list);
    void setNofollowArray(const QList<bool> &list);
    bool isOnPage(const QString &page) const;
    bool appearsOn(const LinkCheckerUrl *page) const;

    QStringList getOnPageUrlArray() const { return m_onPage.urls(); }
    QStringList getOnPageNameArray() const { return m_onPage.names(); }
    QStringList getOnPageLinkTextArray() const { return m_onPage.texts(); }
    QList<bool> getNofollowArray() const { return m_onPage.nofollows(); }
    // One occurrence at a time, without building the lists: the number of pages, and each
    // column's entry ("" past its end, false for the flag).
    qsizetype onPageCount() const { return m_onPage.urlCount(); }
    // Warms the cache for the next occurrence to be added (see OnPageList::prefetchNext).
    void prefetchOccurrence() const { m_onPage.prefetchNext(); }
    QString onPageUrlAt(qsizetype i) const;
    QString onPageNameAt(qsizetype i) const;
    QString onPageLinkTextAt(qsizetype i) const;
    bool nofollowAt(qsizetype i) const { return m_onPage.nofollowAt(i); }
    qsizetype getNofollowCount() const { return m_onPage.nofollowCount(); }
    // The same without copies, for exports reading millions in a row (see OnPageList's views);
    // valid while the record is unchanged.
    QStringView onPageUrlView(qsizetype i) const { return m_onPage.urlView(i); }
    QStringView onPageNameView(qsizetype i) const { return m_onPage.nameView(i); }
    QStringView onPageLinkTextView(qsizetype i) const { return m_onPage.textView(i); }
    // Occurrence i's page as the appears-on table shows it: its title when the owner displays
    // titles, else its URL.
    QStringView onPageShownView(qsizetype i) const;
    // getOnPagesArray() an entry at a time: its length, and entry i.
    qsizetype onPagesArrayCount() const;
    QStringView onPagesArrayView(qsizetype i) const;
    const QList<LinkCheckerUrl *> &getLinkedImages() const;
    // Page titles when the owner displays titles, else the page URLs.
    QStringList getOnPagesArray() const;
    QString getLastOnPageUrl() const; // "" when none; sent as the "Referer"
    QString getOnPages() const; // URLs joined by "\r"
    QString getOnPageUrl() const; // one cell: "", the single page, or "%i occurrences over ..."
    QString getOnPageName() const;
    QString getOnPagesHTML() const;
    QString getOnPagesCSV() const;
    QString getOnPagesText() const;
    QString getLinkUrlHTML() const;
    QString getLinkRedirHTML() const;

    // ---- Keyed access -------------------------------------------------------------------------
    // "onpageurlarray" answers getOnPagesArray() joined by "\r"; callers that need the list call
    // getOnPagesArray().
    QString getFieldByName(const QString &name) const override;
    float getFieldAsNumberByName(const QString &name) const override;

    // ---- Classification -----------------------------------------------------------------------
    int getColour() const; // 0 none, 2 redirect/warning, 3 client error, 4 failure/server error
    int getSEOColour() const { return getColour(); }
    int getValidatorColour() const; // 2 for "Invalid", else 0
    bool isGoodLink() const;
    bool isErrorPage() const;
    // YES when the link is fine; the owner puts the record in the bad collection on NO.
    bool shouldBeMemberOfBadCollection() const;
    bool isExempt() const; // never fetched
    int isNofollow() const; // 0/1 from the first entry
    QString getNofollow() const; // "No", "Yes", "mixed"

    // ---- Plain fields -------------------------------------------------------------------------
    QString getLinkText() const;
    QString getLinktext() const { return getLinkText(); }
    void setLinkText(const QString &text);
    QString getLinkPageTitle() const { return m_linkPageTitle; }
    QString getLinkpagetitle() const { return m_linkPageTitle; }
    void setLinkPageTitle(const QString &title) { m_linkPageTitle = title; }
    QString getMetaDescription() const;
    QString getMetadescription() const { return getMetaDescription(); }
    void setMetaDescription(const QString &text);
    QString getKeywords() const;
    void setKeywords(const QString &text);
    QString getHeadings() const;
    void setHeadings(const QString &text);
    QString getCanonical() const;
    void setCanonical(const QString &text);
    QString getChangeFrequency() const;
    QString getChangefrequency() const { return getChangeFrequency(); }
    void setChangeFrequency(const QString &text);
    // The send time in the user's locale ("" before sending), unless a text was set explicitly
    // (a loaded link list); formatted on demand so that records carry no string for it.
    QString getTimestamp() const;
    void setTimestamp(const QString &text);

    QString getValidatorStatus() const;
    QString getValidatorstatus() const { return getValidatorStatus(); }
    void setValidatorStatus(const QString &text);
    int getValidatorErrors() const;
    QString getValidatorerrors() const; // "%i"
    void setValidatorErrors(int n);
    int getValidatorWarnings() const;
    QString getValidatorwarnings() const; // "%i"
    void setValidatorWarnings(int n);

    int getWordCount() const { return m_wordCount; }
    QString getWordcount() const; // "%i"
    void setWordCount(int n) { m_wordCount = n; }
    int getDistanceFromHome() const { return m_distanceFromHome; }
    QString getDistancefromhome() const; // "%i"
    void setDistanceFromHome(int n) { m_distanceFromHome = n; }
    int getLinkCount() const; // the owner's numberOfLinksOnThisPage for the actual URL
    QString getLinkcount() const; // "%i"
    int getNumberOfRedirects() const { return m_numberOfRedirects; }
    void setNumberOfRedirects(int n) { m_numberOfRedirects = n; }
    int getPreviousFailureCount() const { return m_previousFailureCount; }
    void setPreviousFailureCount(int n) { m_previousFailureCount = n; }
    int getLastClickedOnPage() const { return m_lastClickedOnPage; }
    void setLastClickedOnPage(int row) { m_lastClickedOnPage = row; }

    bool getIsHTML() const { return m_isHTML; }
    void setIsHTML(bool on) { m_isHTML = on; }
    bool getIsImage() const { return m_isImage; }
    void setIsImage(bool on) { m_isImage = on; }
    bool isStartingPoint() const { return m_isStartingPoint; }
    void setIsStartingPoint(bool on) { m_isStartingPoint = on; }
    bool isInternal() const { return m_isInternal; }
    void setIsInternal(bool on) { m_isInternal = on; }
    bool isBlacklisted() const { return m_isBlacklisted; }
    void setIsBlacklisted(bool on) { m_isBlacklisted = on; }
    bool isBeingRechecked() const { return m_isBeingRechecked; }
    void setBeingRechecked(bool on) { m_isBeingRechecked = on; }
    bool isBeingValidated() const { return m_isBeingValidated; }
    // A second verdict beside the status: the server refused the crawler (throttled after the
    // retries, a bot challenge) rather than the page being missing. The status text and the
    // bad collection stay as the answer made them.
    bool isBlocked() const { return m_isBlocked; }
    void setBlocked(bool on) { m_isBlocked = on; }
    void setIsBeingValidated(bool on) { m_isBeingValidated = on; }
    bool isInBadCollection() const { return m_isInBadCollection; }
    void setIsInBadCollection(bool on) { m_isInBadCollection = on; }
    bool inProgress() const { return m_inProgress; }
    void setInProgress(bool on) { m_inProgress = on; }
    bool hasHadSlashTrimmed() const { return m_hasHadSlashTrimmed; }
    void setHasHadSlashTrimmed(bool on) { m_hasHadSlashTrimmed = on; }
    bool hasHadRedirSlashTrimmed() const { return m_hasHadRedirSlashTrimmed; }
    void setHasHadRedirSlashTrimmed(bool on) { m_hasHadRedirSlashTrimmed = on; }
    bool headContainsNoFollow() const { return m_headContainsNoFollow; }
    void setHeadContainsNoFollow(bool on) { m_headContainsNoFollow = on; }
    bool requiresHighlightCallback() const { return m_highlightCallback; }
    void setHighlightCallback(bool on) { m_highlightCallback = on; }
    bool getRecursion() const { return m_recursion; }
    void setRecursion(bool on) { m_recursion = on; }
    bool getListsHaveChanged() const { return m_listsHaveChanged; }
    void setListsHaveChanged(bool on) { m_listsHaveChanged = on; }
    bool getContentLengthUnavailable() const { return m_contentlengthunavailable; }
    void setContentLengthUnavailable(bool on) { m_contentlengthunavailable = on; }

    // ---- Bodies -------------------------------------------------------------------------------
    const QByteArray &getData() const { return m_data; } // empty until bytes arrive
    void setData(const QByteArray &data) { m_data = data; }
    QByteArray getOnPageData() const; // the page fetched for highlighting
    void setOnPageData(const QByteArray &data);
    QByteArray getCacheData() const;

    // ---- Sizes and times ----------------------------------------------------------------------
    void setFileSize(int bytes); // bytes and bytes / 1024 as KB
    void setFileSizeCompressed(int bytes); // bytes / 1024 as KB only
    QString getFileSize() const; // "%ikb"
    QString getFilesize() const { return getFileSize(); }
    QString getFileSizeCompressed() const; // "%ikb"
    QString getFilesizecompressed() const { return getFileSizeCompressed(); }
    int getFileSizeInBytes() const { return m_fileSizeBytes; }
    int getFileSizeInKBytes() const { return m_fileSize; }
    int getFileSizeCompressedInKBytes() const { return m_fileSizeCompressed; }
    int getFileSizeCompressedInBytes() const { return m_fileSizeCompressed * 1024; }
    QString getTotalImageWeight() const; // "" or "%i kb" of the summed bytes / 1024
    int getTotalImageWeightAsNumber() const; // sum of the images' KB values
    QString getImageqty() const; // "" or "%i"

    // Stamps the send time (now) and its description in the user's locale. A fetch starts here,
    // so the redirect count starts again (a re-check must not inherit the earlier hops).
    void setSentRequest();
    void setSentRequest(const QDateTime &when);
    std::optional<QDateTime> getSentRequest() const;
    double getTimeSinceSent() const; // seconds; 0 when never sent
    // Seconds since the fetch last heard from the network: the send, or the last bytes its
    // connection received.
    double getTimeSinceLastActivity() const;
    double getResponseTime() const { return m_responseTimeInterval; }
    QString getResponsetime() const; // "%g"
    void setResponseTime(double seconds) { m_responseTimeInterval = seconds; }
    double getLoadTime() const { return m_loadTimeInterval; }
    void setLoadTime(double seconds) { m_loadTimeInterval = seconds; }

    // ---- SEO counts of the current search term -----------------------------------------------
    // Case-insensitive, overlapping matches count; 0 when either text is null or empty.
    static int countOcurrencesOfString(const QString &term, const QString &text);
    // Counts the term in URL, title, description, headings, keywords and the archived page.
    bool countSEOTerm(const QString &term);
    int countOcurrencesOfStringInArchive(const QString &term) const;
    bool archiveContainsOneOfTheseTerms(const QStringList &terms) const;
    bool dataContainsOneOfTheseTerms(const QStringList &terms) const;
    int getOcurrencesInUrl() const;
    int getOcurrencesInTitle() const;
    int getOcurrencesInDescription() const;
    int getOcurrencesInKeywords() const;
    int getOcurrencesInHeadings() const;
    int getOcurrencesInArchive() const;
    int getTotalOccurrences() const;

    // ---- Appears-on table of the inspector ----------------------------------------------------
    int numberOfRowsInTableView() const { return int(m_onPage.urlCount()); }
    // Column "1": page title (owner displays titles) or page URL; other columns: the link text.
    QString objectValueForTableColumn(const QString &columnId, int row) const;
    void tableViewSelectionDidChange(int selectedRow) { m_lastClickedOnPage = selectedRow; }
    // Asks the owner to highlight the bad links of the selected page when it highlights; else
    // answers the selected page URL for the caller to open in the browser (null otherwise).
    QString highlightBadLinksInSelectedPageOrVisitOnPage();
    void inspect();

    // ---- Fetch ------------------------------------------------------------------------------
    // The crawl sets the connection right after creating it; "cancel and release" cancels it
    // and forgets it.
    void setConnection(myNSURLConnection *connection);
    myNSURLConnection *getConnection() const;

    std::optional<UrlRequest> willSendRequest(myNSURLConnection *connection,
                                              const UrlRequest &proposed,
                                              const UrlResponse *redirectResponse) override;
    bool canAuthenticateAgainstProtectionSpace(myNSURLConnection *connection,
                                               AuthMethod method) override;
    void didReceiveAuthenticationChallenge(myNSURLConnection *connection,
                                           AuthChallenge &challenge) override;
    void didReceiveResponse(myNSURLConnection *connection, const UrlResponse &response) override;
    void didReceiveData(myNSURLConnection *connection, const char *bytes,
                        qsizetype length) override;
    void connectionDidFinishLoading(myNSURLConnection *connection) override;
    void didFailWithError(myNSURLConnection *connection, const UrlError &error) override;
    // A cached response: kept in cacheData (the body so far is dropped); answers none so that
    // nothing is cached, except for validator requests, which keep the proposal.
    std::optional<QByteArray> willCacheResponse(myNSURLConnection *connection,
                                                const QByteArray &cachedData);

private:
    struct PageExtras;
    PageExtras &extras();
    int adoptConnection(myNSURLConnection *connection);
    void cancelAndRelease();
    void finishRecheck();
    // A validator's answer: its status, warnings and errors from the response headers.
    void readValidatorHeaders(const HeaderList &headers);
    // A 429/503 answer the owner will try again: the answer and its redirects are forgotten.
    bool handOverForRetry(int kind, const UrlResponse &response);
    void noteRedirectHop(const QString &url);
    void postThreadHasFinished();
    void stampSentRequest(qint64 msSinceEpoch);
    void postIncNumberDone();
    void postIncNumberValidated();
    bool ownerStopPressed() const;
    bool copyToBuffer(const QString &text, QByteArray &buffer);

    LinkOwner *m_owner = nullptr; // not owned
    QPointer<myNSURLConnection> m_connection;
    std::unique_ptr<PageExtras> m_extra; // page metadata, validator, SEO counts, images, buffers

    QByteArray m_linkUrl;
    QByteArray m_redir;
    QString m_nsslinkUrl;
    QString m_nssredir;
    QString m_status;
    QString m_linkText;
    QString m_linkPageTitle;

    OnPageList m_onPage;

    QByteArray m_data;

    qint64 m_sentRequestMs = -1; // ms since the epoch; -1 = not sent
    double m_responseTimeInterval = 0;
    double m_loadTimeInterval = 0;
    int m_fileSizeBytes = 0;
    int m_fileSize = 0;
    int m_fileSizeCompressed = 0;
    int m_wordCount = -1;
    int m_distanceFromHome = 0;
    int m_numberOfRedirects = 0;
    int m_previousFailureCount = 0;
    int m_lastClickedOnPage = 0;

    bool m_isHTML = true;
    bool m_isImage = false;
    bool m_isStartingPoint = false;
    bool m_isInternal = true;
    bool m_isBlacklisted = false;
    bool m_isBeingRechecked = false;
    bool m_isBeingValidated = false;
    bool m_isInBadCollection = false;
    bool m_inProgress = false;
    bool m_hasHadSlashTrimmed = false;
    bool m_linkTextIsLastOccurrence = false; // m_linkText unused: the last on-page text is it
    bool m_hasHadRedirSlashTrimmed = false;
    bool m_headContainsNoFollow = false;
    bool m_highlightCallback = false;
    bool m_recursion = false;
    bool m_listsHaveChanged = false;
    bool m_contentlengthunavailable = false;
    bool m_isBlocked = false;
    std::unique_ptr<QStringList> m_redirectHistory;
};

} // namespace orel
