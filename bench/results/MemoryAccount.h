// Where the memory of a crawl's results goes, part by part, measured from the records
// themselves; main thread.
#pragma once

#include "Figures.h"

#include "links/OnPageList.h"

#include <QString>

#include <malloc.h>

#include <cstddef>
#include <map>
#include <vector>

namespace orel {
class LinkCheckerHub;
}

namespace orel::bench {

class SyntheticSite;

// What the on-page list of a record with n occurrences holds, measured on a list of its own: the
// entries grow together with the first column. The heap's figures are read by walking its free
// lists, which is slow once a crawl has fragmented it, so the common sizes are measured before.
class EntryCost
{
public:
    EntryCost()
    {
        // The page text's shared copy is made by the first append and kept for the next list
        // that appends the same text: made here, it is not counted below.
        OnPageList warm;
        warm.appendUrl(page());
        for (qsizetype n = 1; n <= kMeasuredFirst; ++n)
            bytes(n);
    }

    double bytes(qsizetype n)
    {
        if (n == 0)
            return 0;
        auto it = m_known.find(n);
        if (it != m_known.end())
            return it->second;
        const size_t before = heapInUse();
        double cost = 0;
        {
            OnPageList list;
            for (qsizetype i = 0; i < n; ++i)
                list.appendUrl(page());
            cost = double(heapInUse() - before);
        }
        m_known.emplace(n, cost);
        return cost;
    }

private:
    static constexpr qsizetype kMeasuredFirst = 4096;
    static QString page() { return QStringLiteral("http://site.test/"); }
    static size_t heapInUse()
    {
        const struct mallinfo2 info = mallinfo2();
        return info.uordblks + info.hblkhd;
    }

    std::map<qsizetype, double> m_known;
};

// The parts of the crawl's results: record objects, their texts, on-page entries, link texts,
// page pairs, the by-page index, the registry and the collection.
std::vector<Account> accountCrawl(LinkCheckerHub &hub, const SyntheticSite &site,
                                  EntryCost &entryCost);

} // namespace orel::bench
