// Results made by hand for the flat list's tests: records with chosen statuses and occurrences,
// without a crawl; main thread.
#pragma once

#include "links/LinkCheckerUrl.h"
#include "reports/LinkResults.h"
#include "reports/bhDataSource.h"

#include <QString>

#include <initializer_list>
#include <memory>

namespace orel::test {

// One appearance of a link: the page, the link text there and its nofollow mark.
struct Occurrence
{
    const char *page;
    const char *text;
    bool nofollow = false;
};

class FakeResults : public LinkResults
{
public:
    bhDataSource records;
    bool atRest = true; // paused or finished

    ~FakeResults() override { resultsWillChange(ResultsChange::Discard); }

    bhDataSource &linkSource() override { return records; }
    const bhDataSource &linkSource() const override { return records; }
    int badCollectionCount() const override { return 0; }
    int countBadCollection() override { return 0; }
    bool childrenShown() const override { return atRest; }
    const PageIndex *pageIndex() const override { return nullptr; }
    LinkCheckerUrl *getLinkCheckerUrlWithUrl(const QString &) const override { return nullptr; }

    // A record without an owner, kept by records. A record given no nofollow marks has none.
    LinkCheckerUrl *add(const char *url, const char *status, std::initializer_list<Occurrence> on,
                        int distance = 1, const char *redirect = nullptr, bool marks = true)
    {
        auto record = std::make_unique<LinkCheckerUrl>(nullptr);
        record->setLinkUrl(QString::fromUtf8(url), false);
        record->setStatus(QString::fromUtf8(status));
        if (redirect)
            record->setRedir(QString::fromUtf8(redirect));
        record->setDistanceFromHome(distance);
        for (const Occurrence &o : on) {
            record->addOnPageUrl(QString::fromUtf8(o.page));
            record->addOnPageLinkText(QString::fromUtf8(o.text));
            if (marks)
                record->addNofollow(o.nofollow);
        }
        LinkCheckerUrl *added = record.get();
        records.add(std::move(record));
        return added;
    }
};

} // namespace orel::test
