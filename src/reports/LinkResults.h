// What the link views, their exports and the locate report read of a crawl's results; main
// thread.
#pragma once

#include <QHash>
#include <QList>
#include <QString>

namespace orel {

class bhDataSource;
class LinkCheckerUrl;

// Page URL -> the records found on that page, in order of finding, a record repeated when it
// occurs several times.
using PageIndex = QHash<QString, QList<LinkCheckerUrl *>>;

// The crawl controller answers these; the views keep no copy of the results.
class LinkResults
{
public:
    virtual ~LinkResults();

    // The records in collection order, with the sorted copy of the last column click.
    virtual bhDataSource &linkSource() = 0;
    virtual const bhDataSource &linkSource() const = 0;
    // Records in the bad collection, as last counted; countBadCollection() counts again.
    virtual int badCollectionCount() const = 0;
    virtual int countBadCollection() = 0;
    // Outline children show only once the crawl was stopped or has finished.
    virtual bool childrenShown() const = 0;
    // nullptr before the first page is read.
    virtual const PageIndex *pageIndex() const = 0;
    // First record whose actual URL equals url exactly; nullptr when none.
    virtual LinkCheckerUrl *getLinkCheckerUrlWithUrl(const QString &url) const = 0;
};

} // namespace orel
