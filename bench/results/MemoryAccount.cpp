// Where the memory of a crawl's results goes.
#include "MemoryAccount.h"

#include "ProcessMemory.h"
#include "SyntheticSite.h"

#include "common/SettingsControls.h"
#include "engine/LinkCheckerHub.h"
#include "links/LinkCheckerUrl.h"

#include <algorithm>
#include <bit>
#include <unordered_set>

namespace orel::bench {

std::vector<Account> accountCrawl(LinkCheckerHub &hub, const SyntheticSite &site,
                                  EntryCost &entryCost)
{
    std::vector<Account> parts;
    const qint64 records = hub.recordCount();
    double objects = 0, entries = 0, textChars = 0;
    // The record's own texts, each shared block counted once: URL as text and as bytes, status,
    // redirect target (both forms), page title.
    double urlText = 0, urlBytes = 0, status = 0, redirect = 0, title = 0;
    std::unordered_set<const void *> seen;
    seen.reserve(size_t(records) * 2);
    const auto block = [&](auto text) -> double {
        const void *data = text.data_ptr().d_ptr();
        return data && seen.insert(data).second ? double(heapChunk(data)) : 0;
    };
    for (int i = 0; i < records; ++i) {
        const LinkCheckerUrl *r = hub.recordAt(i);
        objects += double(heapChunkFor(sizeof(LinkCheckerUrl)));
        urlText += block(r->getLinkUrl());
        urlBytes += block(r->getLinkUrlBytes());
        status += block(r->getStatus());
        redirect += block(r->getRedir()) + block(r->getRedirBytes());
        title += block(r->getLinkPageTitle());
        const qsizetype n = r->onPageCount();
        entries += entryCost.bytes(n);
        for (qsizetype k = 0; k < n; ++k)
            textChars += double(r->onPageLinkTextAt(k).size());
    }
    parts.push_back({ QStringLiteral("record objects"), objects, false,
                      QStringLiteral("%1 bytes each").arg(sizeof(LinkCheckerUrl)) });
    parts.push_back({ QStringLiteral("record URL as text"), urlText, false,
                      QStringLiteral("the registry's key shares it") });
    parts.push_back({ QStringLiteral("record URL as bytes"), urlBytes, false,
                      QStringLiteral("as UTF-8 conversion left it") });
    parts.push_back({ QStringLiteral("record status, redirect target, page title"),
                      status + redirect + title, false,
                      QStringLiteral("status %1, redirect %2, title %3 MB; shared texts once")
                              .arg(mb(status / 1048576.0), mb(redirect / 1048576.0),
                                   mb(title / 1048576.0)) });
    const double occurrences = double(site.shape().occurrences);
    parts.push_back({ QStringLiteral("on-page entries"), entries, true,
                      QStringLiteral("an entry per occurrence in one array per record, its "
                                     "size doubled as it fills") });
    parts.push_back({ QStringLiteral("link texts"), textChars * 2, true,
                      QStringLiteral("%1 characters on average, 2 bytes each, end to end in "
                                     "shared blocks")
                              .arg(fixed(textChars / occurrences, 1)) });
    // The pair and its own copies of the page's URL and title, read through each page's first
    // link.
    double sharedPages = 0;
    if (const PageIndex *index = hub.pageIndex()) {
        for (auto it = index->cbegin(); it != index->cend(); ++it) {
            if (it->isEmpty())
                continue;
            const PageLink &first = it->constFirst();
            sharedPages += double(heapChunkFor(sizeof(QSharedData) + 2 * sizeof(QString)))
                    + block(first.record->onPageUrlAt(first.occurrence))
                    + block(first.record->onPageNameAt(first.occurrence));
        }
    }
    parts.push_back({ QStringLiteral("page URL and title, one shared pair per page"), sharedPages,
                      true, QStringLiteral("one per page read, with its own copies of both") });

    double byPage = 0;
    if (const PageIndex *index = hub.pageIndex()) {
        for (auto it = index->cbegin(); it != index->cend(); ++it)
            byPage += double(heapChunkFor(16 + sizeof(PageLink) * size_t(it->capacity())));
        // The hash's own nodes (key and list) and buckets.
        byPage += double(index->size()) * double(sizeof(QString) + sizeof(QList<void *>))
                + double(index->capacity());
    }
    parts.push_back({ QStringLiteral("by-page index"), byPage, true,
                      QStringLiteral("a record and its place per occurrence, one list per page") });

    // Reserved for the links limit (at most 65,536 keys) and doubled whenever half full.
    size_t slotCount =
            std::bit_ceil(size_t(std::clamp(hub.controls()->linksLimit, 16, 1 << 16)) * 2);
    while (slotCount < 2 * (size_t(records) + 1))
        slotCount *= 2;
    const double slots = double(slotCount);
    parts.push_back({ QStringLiteral("registry table"),
                      slots * double(sizeof(QString) + sizeof(size_t) + sizeof(void *)), false,
                      QStringLiteral("%1 slots of key, hash and record, at most half full")
                              .arg(number(qint64(slots))) });
    const double pointers = double(std::bit_ceil(size_t(records)));
    parts.push_back({ QStringLiteral("collection and link view index"),
                      pointers * (2 * sizeof(void *) + sizeof(void *) + sizeof(int)), false,
                      QStringLiteral("records owned and in order, shown rows, ranks") });
    return parts;
}

} // namespace orel::bench
