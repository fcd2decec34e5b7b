// The crawl controller: owns the link records of one crawl run, fills the fetch slots, applies
// limits and scope rules, reads fetched pages for links, keeps the registry and the running
// totals, answers the records as their owner and exports the results; main thread.
#pragma once

#include "engine/HashedKey.h"
#include "engine/RegistryTable.h"
#include "links/LinkOwner.h"
#include "links/OrelOnPage.h"
#include "reports/LinkExports.h"
#include "reports/LinkResults.h"
#include "reports/LinkViews.h"
#include "reports/LocateReport.h"
#include "reports/OrelReportDataSource.h"
#include "reports/bhDataSource.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QUrl>

#include <map>
#include <memory>
#include <unordered_set>
#include <optional>
#include <utility>
#include <vector>

namespace orel {

class HostThrottle;
class AnchorCheck;
class HrefResolver;
class LinkCheckerUrl;
class LocalSite;
class OrelParser;
class OrelConfigManager;
class RobotsGate;
class SEOManager;
class SettingsControls;

// Settings are read live from the controls each time the crawl needs them, so a change made
// while a crawl runs takes effect at the next fetch. The GUI and the command line follow the
// crawl through the signals; nothing here touches a widget.
class LinkCheckerHub : public QObject, public bhDataSource, public LinkOwner, public LinkResults
{
    Q_OBJECT
public:
    enum class State { Idle, Running, Paused, Finished };
    Q_ENUM(State)

    LinkCheckerHub(SettingsControls *controls, OrelConfigManager *configManager,
                   QObject *parent = nullptr);
    ~LinkCheckerHub() override;

    SettingsControls *controls() const { return m_controls; }
    OrelConfigManager *configManager() const { return m_configManager; }
    SEOManager *seoManager() const { return m_seo.get(); }

    // ---- User actions ------------------------------------------------------------------------
    // A new crawl of the start URL in the controls.
    void go();
    // The play/pause control: "Continue" continues, "Pause" pauses, anything else starts anew.
    void go(const QString &senderTitle);
    // Pauses: fetches in flight abandon their work when they next hear from the network.
    void stop() override;
    // Resumes a paused crawl from the top of the collection; records that are neither good nor
    // exempt (unanswered, abandoned or bad) are fetched again.
    void continueCrawl();
    // Stops as a pause does after an allocation failure, keeping what was found; the alert is
    // shown once, from the event loop.
    void emergencyMemoryStop() override;
    // Whether this crawl run ended in emergencyMemoryStop().
    bool stoppedForMemory() const { return m_memoryStopped; }
    // Fetches every record that is not good again (the scheduler's skip rule picks them).
    void reCheckBadItems();
    // Kept without effect: the menu entry exists but re-checking everything is not offered.
    void reCheckAllItems() { }
    void reCheckCurrentItem();
    LinkCheckerUrl *currentItem() const { return m_currentItem; }
    void setCurrentItem(LinkCheckerUrl *record) { m_currentItem = record; }

    State state() const { return m_state; }
    // The line shown under the toolbar: "12 of 40 links checked, 1 bad".
    QString countText() const { return m_countText; }
    // The summary text "%i of %i links checked, %i bad" for the current counters.
    QString summaryText() const;
    // The same with another bad count: the command line counts blocked links apart.
    QString summaryText(int bad) const { return countLine(m_numberDone, recordCount(), bad); }
    // The start URL after normalisation (shown in the window).
    QString startUrl() const { return m_startUrl; }

    // ---- Scheduler ---------------------------------------------------------------------------
    // Fills the free fetch slots in collection order; answers whether it scheduled anything.
    bool getNextUrlToCrawl();
    // Starts one fetch at once.
    void sendAsyncServerResponse(LinkCheckerUrl *record);
    // Runs the end-of-crawl sequence when every record is answered; answers whether the run is
    // finished (or was already).
    bool isFinished();

    int getNumberDone() const { return m_numberDone; }
    int getNumberOfThreadsDetached() const { return m_numberOfThreadsDetached; }
    int getNextUrlToCrawlIndex() const { return m_nextUrlToCrawl; }
    int getBadCollectionCount() const { return m_badCollectionCount; }
    bool isCrawlFinished() const { return m_crawlFinished; }
    bool isSinglePage() const { return m_singlePage; }
    // Fetch starts scheduled (waiting for their delay) but not yet begun, with the links held
    // back for their host or waiting to be tried again.
    int pendingStarts() const;
    // Links waiting to be tried again after a 429/503 answer, and for how long the last of them
    // still waits: ", 2 waiting to retry (up to 4 s)" for a progress line, empty when none.
    int waitingToRetry() const;
    QString retryProgressText() const;
    LinkCheckerUrl *recordAt(int index) const; // nullptr past the end
    int recordCount() const { return int(getCount()); }

    // ---- Limits said aloud (see LinkCheckerHubLimits.cpp) -----------------------------------
    // What the links, levels and directory limits kept from this crawl run.
    struct LimitCounts
    {
        int linksNotChecked = 0; // distinct links found once the links limit was reached
        int pagesBeyondLevels = 0; // internal pages checked but not read: too deep
        int pagesOutsideDirectory = 0; // internal pages checked but not read: above the folder
        QString directory; // the directory limit of the start URL, when it has one
    };
    const LimitCounts &limitCounts() const { return m_limits; }
    // One line per limit that stopped something, e.g. "links limit 5 reached: 37 links found
    // but not checked"; empty when none did.
    QStringList limitMessages() const;

    // ---- Registry ------------------------------------------------------------------------------
    void addToLookup(LinkCheckerUrl *record, const QString &key) override;
    void addLink(LinkCheckerUrl *record, const QString &page) override;
    // The record registered under url (normalised as records normalise their own URL), unless
    // it is ignore; nullptr when none.
    LinkCheckerUrl *weHaveThisOneAlready(const QString &url, const LinkCheckerUrl *ignore) const;
    // Linear scan of the internal records comparing as the record itself compares URLs.
    LinkCheckerUrl *weHaveThisInternalOneAlready(const QString &url, const LinkCheckerUrl *ignore);
    bool weHaveThisTitleAlready(const LinkCheckerUrl *record) const;
    // First record whose actual URL equals url exactly.
    LinkCheckerUrl *getLinkCheckerUrlWithUrl(const QString &url) const override;
    int countBadCollection() override;
    bool isInBadCollection(const LinkCheckerUrl *record) const;
    // Appends while the collection holds fewer records than the links limit and answers the
    // record, now the hub's; a record refused at the limit is unregistered and deleted (nullptr
    // then). A missing record is logged.
    LinkCheckerUrl *add(std::unique_ptr<LinkCheckerUrl> record);
    // The records found on a page, once per appearance; nullptr when the page is unknown.
    const QList<PageLink> *linksOnPage(const QString &page) const;
    int numberOfLinksOnThisPage(const QString &page) const override;

    // ---- Scope -----------------------------------------------------------------------------
    void extractLinks(LinkCheckerUrl *record) override;
    // Whether host is internal: everything is while the crawl knows no host at all.
    bool compareHost(const QString &host, const QStringList &domains) const;
    void resetDomain(LinkCheckerUrl *record) override;
    QStringList getDomains() const { return m_domains; }
    QStringList getFollowWhitelistArray() const { return m_followWhitelistArray; }
    QStringList getFollowBlacklistArray() const { return m_followBlacklistArray; }
    QStringList getCheckBlacklistArray() const { return m_checkBlacklistArray; }
    QStringList getSoft404Array() const { return m_soft404Array; }
    static bool isMailtoEtc(const QString &href);
    static bool containsColon(const QString &text);
    static bool isJavascript(const QString &text);
    static bool isTel(const QString &text);
    static bool containsOneOfTheseTerms(const QString &text, const QStringList &terms);
    static QStringList trimEachItemInArray(const QStringList &items);
    static QString stripHost(const QString &url);
    // No image, HTML, internal, not coloured as a client or server error.
    bool shouldBeInSitemapCollection(const LinkCheckerUrl *record) const;
    static QString getChangeFrequencyForTag(int tag);

    // ---- Pages -----------------------------------------------------------------------------
    bool performSoft404CheckOnThisUrl(LinkCheckerUrl *record) override;
    bool shouldPerformSoft404Check() const override;
    // Writes the body (more than 1 byte) to the archive folder under the page's file name.
    void archivePage(LinkCheckerUrl *record) override;
    bool shouldArchive() const override;
    // Asks for a folder and copies the archive there under a dated name.
    void saveArchive();
    static void clearTempFolder();
    static void emptyTempFolder();
    static void clearArchiveFolder();
    static QString uniqueStringUsingDateAndTime();

    // ---- Owner answers -------------------------------------------------------------------------
    void threadHasFinished(LinkCheckerUrl *record) override;
    void incNumberDone(LinkCheckerUrl *record) override;
    void statusHasChangedFordO(LinkCheckerUrl *record) override;
    void incNumberValidated(LinkCheckerUrl *record) override;
    bool retryLater(LinkCheckerUrl *record, std::optional<double> waitSeconds) override;
    bool mayFollowRedirect(const QString &url) const override;
    bool stopPressed() const override { return m_stopPressed; }
    bool isRechecking() const override { return m_rechecking; }
    bool shouldTrim() const override;
    bool shouldIgnoreSlash() const override;
    bool shouldTrimSpaces() const override;
    bool getIgnoreQS() const override;
    bool getCheckImages() const;
    bool checkErrorPages() const;
    bool isPlainTextMode() const override;
    bool shouldFlagBlacklisted() const override;
    double getTimeoutInterval() const override;
    bool displayPageTitle() const override;
    bool shouldHighlight() const override;
    // Queued calls made for records of an earlier crawl run are dropped.
    void later(std::function<void()> fn) override;

    // ---- Views (the link views and their exports; see LinkViews and LinkExports) ------------
    LinkViews &views() { return *m_views; }
    LinkExports &exports() { return *m_exports; }
    // The flat list of every occurrence, made on first use; from then on it is rebuilt in the
    // background after each pause and at the end of each run, and follows the search text and
    // the bad-links-only switch.
    OrelReportDataSource &report();
    bool badLinksOnly() const { return m_views->badLinksOnly(); }
    void setBadLinksOnly(bool on);
    void setSearchText(const QString &text) { m_views->setSearchText(text); }
    void setLinksFilterTag(int tag) { m_views->setLinksFilterTag(tag); }
    void filter();
    OrelDataObject *getnthItem(int index) override { return m_views->getnthItem(index); }
    OrelDataObject *getnthVisibleItem(int n) override { return m_views->getnthVisibleItem(n); }
    LinkCheckerUrl *getnthofAllItems(int index) const { return recordAt(index); }
    int countVisible(const std::vector<OrelDataObject *> *collection)
    {
        return m_views->countVisible(collection);
    }
    // Reloads of the views are coalesced: many pages read in one pass cause one reload. While a
    // crawl runs only the tab shown is reloaded: the link table and by-link outline when the
    // by-link tab ("1") is selected (always when no crawl runs), the by-page outline when the
    // by-page tab ("4") is.
    void reloadData() override;
    void setSelectedTab(const QString &tab) { m_selectedTab = tab; }
    QString showHideGoodLinks();
    int numberOfOccurrences(LinkCheckerUrl *record) const
    {
        return m_views->numberOfOccurrences(record);
    }
    OrelOnPage *occurrence(LinkCheckerUrl *record, int index)
    {
        return m_views->occurrence(record, index);
    }
    int countItemsforThisPage(const QString &page) const { return numberOfLinksOnThisPage(page); }
    int countVisibleItemsforThisPage(const QString &page) const
    {
        return m_views->countVisibleItemsforThisPage(page);
    }
    bool pageHasAtLeastOneVisibleItem(const QString &page) const
    {
        return m_views->pageHasAtLeastOneVisibleItem(page);
    }
    int countPagesWithVisibleItems() { return m_views->countPagesWithVisibleItems(); }
    QString getNthPageWithVisibleItems(int n) const
    {
        return m_views->getNthPageWithVisibleItems(n);
    }
    OrelOnPage *getNthVisibleItemForPage(int n, const QString &page)
    {
        return m_views->getNthVisibleItemForPage(n, page);
    }
    static QString byLinkValue(const LinkCheckerUrl *record, const QString &columnId)
    {
        return LinkViews::byLinkValue(record, columnId);
    }
    static QString byLinkValue(const OrelOnPage *occurrence, const QString &columnId)
    {
        return LinkViews::byLinkValue(occurrence, columnId);
    }
    static QString byPageValue(const QString &page, const QString &columnId)
    {
        return LinkViews::byPageValue(page, columnId);
    }
    static QString byPageValue(const OrelOnPage *occurrence, const QString &columnId)
    {
        return LinkViews::byPageValue(occurrence, columnId);
    }
    void setClassColour(int colourClass, const Colour &colour)
    {
        m_views->setClassColour(colourClass, colour);
    }
    Colour classColour(int colourClass) const { return m_views->classColour(colourClass); }
    void loadColoursFromDefaults() { m_views->loadColoursFromDefaults(); }
    void saveColoursToDefaults() const { m_views->saveColoursToDefaults(); }
    std::optional<Colour> rowColour(const LinkCheckerUrl *record) const
    {
        return m_views->rowColour(record);
    }
    std::optional<Colour> labelColorForRow(TableDescription *, int row) override
    {
        return m_views->labelColorForRow(row);
    }
    Colour labelColorForConstant(int colourClass) const
    {
        return m_views->labelColorForConstant(colourClass);
    }
    int numberOfRowsInTableView(TableDescription *) override { return m_views->numberOfRows(); }
    QString objectValueForTableColumn(TableDescription *, const QString &columnId, int row) override
    {
        return m_views->objectValue(columnId, row);
    }

    // The locate report of the record's occurrence at pageIndex of its on-page list.
    QString locate(const LinkCheckerUrl *record, int pageIndex) const
    {
        return record ? locateReport(*this, *record, pageIndex) : QString();
    }

    // ---- LinkResults ---------------------------------------------------------------------------
    bhDataSource &linkSource() override { return *this; }
    const bhDataSource &linkSource() const override { return *this; }
    int badCollectionCount() const override { return m_badCollectionCount; }
    bool childrenShown() const override { return m_stopPressed || m_crawlFinished; }
    const PageIndex *pageIndex() const override
    {
        return m_byPageDictionary ? &*m_byPageDictionary : nullptr;
    }

    // ---- Saved link lists --------------------------------------------------------------------
    // Asks for a "plist" file and appends the records of its "linkcheckerUrls" array. Loaded
    // records have no owner, so they are not registered and not de-duplicated.
    void readDatabase();
    // Appends the records of a link list file; answers how many were read.
    int loadLinkList(const QString &path);
    // Makes the hub the owner of the records loaded without one, so that a re-check of the list
    // alone hears their answers: their bad flags are set from their statuses, and while the
    // list is re-checked no page is read for more links. The next crawl ends this.
    void adoptLoadedRecords();
    // Saving links is offered but writes nothing: only the log line.
    void saveLinks(bool badOnly);
    void writeDatabase(bool allLinks) { Q_UNUSED(allLinks); }
    void loadLinksWithOptionsRecheck(bool recheck, bool justBad)
    {
        Q_UNUSED(recheck);
        Q_UNUSED(justBad);
    }
    // Asks for a file: settings files open in the configuration manager, any other path
    // becomes the start URL.
    void openLocalFile();

    // ---- Sitemap (see SEOManager) ------------------------------------------------------------
    // The XML file, shown from the by-page tab; the two lists; the FTP sheet and upload.
    void exportXML();
    void exportSitemapAsCSV();
    void exportSitemapAsHTML();
    std::optional<int> beginFTPDialog();

    // ---- Exports (see LinkExports) --------------------------------------------------------
    // The views the export menu renders for the by-link ("1") and by-page ("4") tabs; not owned.
    void setOutlineViews(TableDescription *byLink, TableDescription *byPage)
    {
        m_byLinkOutline = byLink;
        m_byPageOutline = byPage;
    }
    // The export menu: by the selected tab, the by-link outline ("1"), the flat list ("2") or
    // the by-page outline ("4"). A tree view has no tab-delimited form: an alert says so.
    void exportAsCSVMenuItem(const QString &tab);
    void exportAsHTMLMenuItem(const QString &tab);
    void exportAsTDLMenuItem(const QString &tab);
    static QString flatColumnTitle(const QString &identifier)
    {
        return LinkExports::flatColumnTitle(identifier);
    }
    static QStringList flatColumnIdentifiers() { return LinkExports::flatColumnIdentifiers(); }
    QString flatCSV(const QStringList &columns, bool badOnly)
    {
        return m_exports->flatCSV(columns, badOnly);
    }
    QString csvText() { return m_exports->tableText(m_exports->tableColumns(), QLatin1Char(',')); }
    QString flatCsvText()
    {
        return m_exports->flatText(m_exports->tableColumns(), QLatin1Char(','));
    }
    QString tdlText() { return m_exports->tableText(m_exports->tableColumns(), QLatin1Char('\t')); }
    QString flatTdlText()
    {
        return m_exports->flatText(m_exports->tableColumns(), QLatin1Char('\t'));
    }
    QString plainText() { return m_exports->plainText(); }
    QString htmlText() { return m_exports->htmlText(); }
    QString dotText(int levelLimit, bool clean, bool colour)
    {
        return m_exports->dotText(levelLimit, clean, colour);
    }
    void exportAsCSV() { m_exports->exportAsCSV(); }
    void exportAsFlatCSV() { m_exports->exportAsFlatCSV(); }
    void exportAsTDL() { m_exports->exportAsTDL(); }
    void exportAsFlatTDL() { m_exports->exportAsFlatTDL(); }
    void exportAsText() { m_exports->exportAsText(); }
    void exportAsHTML() { m_exports->exportAsHTML(); }
    void exportAsDot(int levelLimit, bool clean, bool colour)
    {
        m_exports->exportAsDot(levelLimit, clean, colour);
    }
    bool exportAsFlatCSVForCLI(const QString &path, const QStringList &columns, bool badOnly,
                               QString *error = nullptr)
    {
        return m_exports->exportAsFlatCSVForCLI(path, columns, badOnly, error);
    }

Q_SIGNALS:
    // The controls go into the running state (new crawl, continue, re-check).
    void crawlWillContinue();
    // The controls go into the stopped state (pause, memory stop, end of the run).
    void crawlDidStop();
    // The end-of-crawl sequence has run; summary is "%i of %i links checked, %i bad".
    void crawlFinishedSignal(const QString &summary);
    void countChanged(int done, int total, int bad);
    void countTextChanged(const QString &text);
    void stateChanged(State state);
    // The start URL field was normalised.
    void startUrlChanged(const QString &url);
    // The flat list should be rebuilt (after a pause and at the end of a run).
    void reportRequested();
    // An allocation failed and the crawl is stopped; the controls are already in the stopped
    // state.
    void memoryExhausted();
    void recordAdded(LinkCheckerUrl *record);
    // The XML sitemap was exported from the sitemap window, which closes now.
    void sitemapWindowShouldClose();

private:
    // The outline view of the by-link ("1") or by-page ("4") tab; nullptr for any other tab.
    TableDescription *outlineOfTab(const QString &tab) const;
    // Drops the previous run's records, views, registry, temporary and archive folders.
    void discardResults();
    void setState(State state);
    void enterRunningState();
    void enterStoppedState();
    // Pauses: cancels every transfer and scheduled start, and resets the slots and the place.
    void haltFetches();
    void setCountText(const QString &text);
    // "%i of %i links checked, %i bad", or without the bad part before anything is counted.
    QString countLine(int done, int total, std::optional<int> bad) const;
    void updateCountField();
    void clearRegistry();
    void unregister(LinkCheckerUrl *record);
    void startAfterDelay(LinkCheckerUrl *record, double delaySeconds);
    void startQueued();
    void runLater();
    void addToTotals();
    bool linksLimitReached() const;

    // Per-host caps, spacing and retries (see HostThrottle); idle while every setting is off
    // and no host has throttled.
    bool hostLimitsActive() const;
    // A link held for its host whose host may take it now; nullptr when none.
    LinkCheckerUrl *takeHeldLink();
    // Whether record's host may take one more fetch now; if not, it is held for the host.
    bool admitToHost(LinkCheckerUrl *record);
    void noteHostStart(LinkCheckerUrl *record);
    void noteHostEnd(LinkCheckerUrl *record);
    // Wakes the scheduler when a host held back by its spacing frees up.
    void armHostTimer();
    void retryDue(LinkCheckerUrl *record, quint64 generation);
    int linksLimit() const;
    void resetLimitCounts();
    // A new link (by its registry key's hash) the links limit keeps out of the collection.
    void noteLinkOverLimit(size_t keyHash);
    // A page pageShouldBeRead turned down: counted when a limit was the reason.
    void notePageNotRead(const LinkCheckerUrl *page);

    // Page reading helpers.
    bool pageShouldBeRead(LinkCheckerUrl *page, const QUrl &pageUrl);
    void readPage(LinkCheckerUrl *page);
    void admitToSitemap(LinkCheckerUrl *page, const QString &actual);
    // What registering the links of one page needs to know of the page.
    struct PageReading
    {
        LinkCheckerUrl *page;
        QString actual; // the page's actual URL: the page its links are on
        QString title;
        int distance; // of the page's links
        bool pageIsLocalFile;
        bool trimQuery;
        bool hashIsBad;
        bool sitemapOnly;
        const LocalSite *site; // the local site the page is in, when root-relative links map there
    };
    // An href read against a base URL: its absolute form (null when none can be formed), its
    // registry key and, once found, the record registered under that key.
    struct ResolvedHref
    {
        QString absolute;
        QString key;
        size_t keyHash = 0; // of a non-empty key
        LinkCheckerUrl *record = nullptr;
        quint64 lookupVersion = 0; // the record is valid while the registry is at this version

        void clear() { *this = ResolvedHref(); }
    };
    // One link read from a page, waiting in a batch to be registered (see readPage).
    struct PendingHref
    {
        QString href;
        QString text;
        bool nofollow = false;
        bool headNoFollow = false;
        bool image = false; // an image's source
        ResolvedHref resolved;
    };
    void readLinks(const PageReading &reading, OrelParser &parser, const HrefResolver &resolver,
                   QString firstHref, QString &linkText);
    void prefetchBatch(std::vector<PendingHref> &batch, qsizetype n) const;
    // One link of the page: a new record, or one more occurrence of a known one.
    void registerHref(const PageReading &reading, PendingHref &p);
    void registerMissingUrl(const PageReading &reading, const PendingHref &p);
    void registerNewLink(const PageReading &reading, const PendingHref &p);
    static void addOccurrence(const PageReading &reading, LinkCheckerUrl *record,
                              const QString &text);
    // Resolves href into entry, reusing the entry's string buffers where it can.
    void resolveHref(const HrefResolver &resolver, const QString &href, ResolvedHref &entry) const;
    // The record registered for a resolved href, remembering it in the entry.
    LinkCheckerUrl *knownRecord(ResolvedHref &entry) const;

    // ---- Optional scope checks: robots.txt, fragments, local sites (LinkCheckerHubGates.cpp) --
    void prepareScopeChecks(const QString &startUrl);
    // Whether the scheduler passes the record over for now: a fragment record, or a record its
    // host's robots.txt holds back (not yet read) or refuses (then answered).
    bool heldBack(LinkCheckerUrl *record);
    void refuseByRobots(LinkCheckerUrl *record);
    void robotsArrived();
    // A record's fetch has ended: the fragment records waiting for it are decided.
    void fetchEnded(LinkCheckerUrl *record);
    // A link "page#name": its fragment record, new or one more occurrence.
    void checkFragment(const PageReading &reading, PendingHref &p);
    std::unique_ptr<RobotsGate> m_robots;
    std::unique_ptr<AnchorCheck> m_anchors;
    std::unique_ptr<LocalSite> m_localSite;

    SettingsControls *m_controls; // not owned
    OrelConfigManager *m_configManager; // not owned
    std::unique_ptr<SEOManager> m_seo;

    State m_state = State::Idle;
    QString m_countText;
    mutable QStringList m_summaryWords; // "of", "links checked", "bad", translated
    QString m_startUrl;

    int m_nextUrlToCrawl = 0;
    int m_numberOfThreadsDetached = 0;
    int m_numberDone = 0;
    int m_badCollectionCount = 0;
    int m_pendingStarts = 0;
    // Every record before this place has a status; the end sweep starts here.
    int m_answeredPrefix = 0;
    bool m_stopPressed = false;
    bool m_crawlFinished = false;
    bool m_singlePage = false;
    bool m_rechecking = false;
    bool m_memoryStopped = false;
    bool m_listOnly = false; // re-checking a loaded list: no page is read
    // Raised by every new crawl; queued work of an older run compares and drops itself.
    quint64 m_generation = 0;
    LinkCheckerUrl *m_currentItem = nullptr;

    QStringList m_domains;
    QStringList m_checkBlacklistArray;
    QStringList m_followBlacklistArray;
    QStringList m_followWhitelistArray;
    QStringList m_robotsBlacklistArray;
    QStringList m_soft404Array;

    // Created on first use and dropped by each new crawl; keys are shared by URLs and titles.
    std::optional<RegistryTable> m_lookupDictionary;
    std::optional<PageIndex> m_byPageDictionary;

    // Raised whenever a registry key changes its record, so remembered records are looked up
    // again.
    quint64 m_lookupVersion = 0;
    // Batches readPage has finished with, kept so that their strings' buffers serve the next
    // page; a read nested in another (a local file fetched at once) takes one of its own.
    std::vector<std::vector<PendingHref>> m_spareBatches;
    // The page whose links are being registered, and its list in the by-page index.
    QString m_lastPage;
    QList<PageLink> *m_lastPageLinks = nullptr;
    bool m_reloadPending = false;
    // Calls posted with later() wait here for one queued call that runs them all, in order.
    std::vector<std::pair<quint64, std::function<void()>>> m_laterQueue;
    // Starts without a delay wait here for one queued call that starts them all.
    std::vector<std::pair<LinkCheckerUrl *, quint64>> m_startQueue;

    LimitCounts m_limits;
    std::unordered_set<size_t> m_linksOverLimit;
    std::unique_ptr<HostThrottle> m_hostThrottle;
    std::unique_ptr<QTimer> m_hostTimer;

    std::unique_ptr<LinkViews> m_views;
    std::unique_ptr<LinkExports> m_exports;
    std::unique_ptr<OrelReportDataSource> m_report;
    TableDescription *m_byLinkOutline = nullptr;
    TableDescription *m_byPageOutline = nullptr;
    QString m_selectedTab = QStringLiteral("2");
};

} // namespace orel
