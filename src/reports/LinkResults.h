// What the link views, their exports and the locate report read of a crawl's results; main
// thread, except resultsGeneration(), which background readers may ask from any thread.
#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QtGlobal>

#include <atomic>
#include <functional>
#include <utility>
#include <vector>

namespace orel {

class bhDataSource;
class LinkCheckerUrl;

// One link found on a page: its record and the place of this occurrence in the record's on-page
// lists, so that a page's rows reach their occurrences without searching the record's pages (a
// menu link's list is as long as the site). Reads as its record where only the record counts.
struct PageLink
{
    LinkCheckerUrl *record = nullptr;
    int occurrence = 0;

    operator LinkCheckerUrl *() const { return record; }
};

// Page URL -> the links found on that page, in order of finding, a record repeated when it
// occurs several times.
using PageIndex = QHash<QString, QList<PageLink>>;

// How the crawl is about to change records that were at rest.
enum class ResultsChange {
    Update, // records change and more may come (continuing, re-checking, a loaded list)
    Discard, // every record goes (a new crawl, the crawl controller closing)
};

// The crawl controller answers these; the views keep no copy of the results.
//
// Records at rest: while the crawl is paused or finished (childrenShown()) nothing changes the
// records, so a background thread may read them. Before the crawl changes them again or lets
// them go it calls resultsWillChange() on the main thread, which raises the generation and tells
// every listener; a listener that runs a background reader stops it and waits for it there, so
// no reader is left when the crawl goes on. A reader's result made from an older generation is
// stale and must be dropped.
class LinkResults
{
public:
    LinkResults() = default;
    // Tells the listeners that every record goes. A class that frees its records before this
    // base's destructor runs calls resultsWillChange(ResultsChange::Discard) itself first.
    virtual ~LinkResults();

    LinkResults(const LinkResults &) = delete;
    LinkResults &operator=(const LinkResults &) = delete;

    // The records in collection order, with the sorted copy of the last column click.
    virtual bhDataSource &linkSource() = 0;
    virtual const bhDataSource &linkSource() const = 0;
    // Records in the bad collection, as last counted; countBadCollection() counts again.
    virtual int badCollectionCount() const = 0;
    virtual int countBadCollection() = 0;
    // Outline children show only once the crawl was stopped or has finished; the records are
    // then at rest.
    virtual bool childrenShown() const = 0;
    // nullptr before the first page is read.
    virtual const PageIndex *pageIndex() const = 0;
    // First record whose actual URL equals url exactly; nullptr when none.
    virtual LinkCheckerUrl *getLinkCheckerUrlWithUrl(const QString &url) const = 0;

    // ---- Records at rest -----------------------------------------------------------------------
    // Raised by every resultsWillChange().
    quint64 resultsGeneration() const { return m_generation.load(std::memory_order_acquire); }
    // Called by the crawl, on the main thread, before it changes records that were at rest or
    // lets them go. Listeners run synchronously, in the order they were added.
    void resultsWillChange(ResultsChange change);

    using ChangeListener = std::function<void(ResultsChange)>;
    // Answers an id for removeChangeListener().
    int addChangeListener(ChangeListener listener);
    void removeChangeListener(int id);

private:
    std::atomic<quint64> m_generation { 0 };
    std::vector<std::pair<int, ChangeListener>> m_listeners;
    int m_nextListenerId = 1;
};

} // namespace orel
