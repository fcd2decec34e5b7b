// What a link record asks of its owner (the crawl controller or the page-weight analyser);
// main thread.
#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace orel {

class LinkCheckerUrl;

// Records hold a plain, non-owning pointer to their owner. A record without an owner (loaded
// from a saved list) sends nothing. "Post and wait" is a direct call; "post, no wait" goes
// through later().
class LinkOwner
{
public:
    virtual ~LinkOwner();

    // Crawl bookkeeping
    virtual void threadHasFinished(LinkCheckerUrl *record) = 0;
    virtual void incNumberDone(LinkCheckerUrl *record) = 0;
    virtual void statusHasChangedFordO(LinkCheckerUrl *record) = 0;
    virtual void extractLinks(LinkCheckerUrl *record) = 0;
    virtual void incNumberValidated(LinkCheckerUrl *record) = 0;

    // Registry
    virtual void addToLookup(LinkCheckerUrl *record, const QString &key) = 0;
    virtual void addLink(LinkCheckerUrl *record, const QString &page) = 0;

    // Page handling
    virtual bool performSoft404CheckOnThisUrl(LinkCheckerUrl *record) = 0;
    virtual bool shouldPerformSoft404Check() const = 0;
    virtual void archivePage(LinkCheckerUrl *record) = 0;
    virtual bool shouldArchive() const = 0;
    virtual void resetDomain(LinkCheckerUrl *record) = 0;

    // Stopping
    virtual void emergencyMemoryStop() = 0;
    virtual void stop() = 0;
    virtual bool stopPressed() const = 0;
    virtual bool isRechecking() const = 0;

    // Settings answers
    virtual bool shouldTrim() const = 0;
    virtual bool shouldIgnoreSlash() const = 0;
    virtual bool shouldTrimSpaces() const = 0;
    virtual bool getIgnoreQS() const = 0;
    virtual bool isPlainTextMode() const = 0;
    virtual bool shouldFlagBlacklisted() const = 0;
    virtual double getTimeoutInterval() const = 0;

    // Questions of the views; owners without views keep the defaults.
    virtual bool displayPageTitle() const { return false; }
    virtual bool shouldHighlight() const { return false; }
    virtual int numberOfLinksOnThisPage(const QString &page) const;
    virtual void showInspector(LinkCheckerUrl *record);
    virtual void highlightBadLinksInSelectedPage(LinkCheckerUrl *record);

    // A 429 or 503 answer to an ordinary check: whether the owner will fetch the record again
    // later (it then releases the slot itself; the record drops this answer). waitSeconds is
    // what "Retry-After" asked for, if anything. Owners that do not retry keep the default.
    virtual bool retryLater(LinkCheckerUrl *record, std::optional<double> waitSeconds)
    {
        (void)record;
        (void)waitSeconds;
        return false;
    }

    // A redirect of an ordinary check is about to be followed to url: whether the owner lets it
    // (robots.txt may forbid the target). Owners without such rules keep the default.
    virtual bool mayFollowRedirect(const QString &url) const
    {
        (void)url;
        return true;
    }

    // "Post, no wait": runs fn on the main thread in a later pass of the event loop. Owners that
    // delete records (a new crawl) override it to drop calls for records already gone.
    virtual void later(std::function<void()> fn);
};

} // namespace orel
