// Fragment records decided from their pages.
#include "engine/AnchorCheck.h"

#include "common/Localize.h"
#include "links/LinkCheckerUrl.h"
#include "parser/AnchorNames.h"

#include <utility>

namespace orel {

QString AnchorCheck::verdict(const LinkCheckerUrl &page, bool pageIsHtml,
                             const std::vector<quint64> &names, const QByteArray &fragment)
{
    const QString status = page.getStatus();
    // A page that failed or was not read as HTML says nothing about its names: the link fares
    // as its page does.
    if (!page.isGoodLink() || !pageIsHtml || status.isEmpty())
        return status;
    if (AnchorNames::contains(names, fragment))
        return status;
    return localized("missing anchor");
}

// Only records that were fetched get an entry of their own: a record answered without a fetch
// (not checked, refused by robots.txt) may be dropped at the links limit, and its address must
// not be mistaken for a later record's.
std::vector<LinkCheckerUrl *> AnchorCheck::pageDone(LinkCheckerUrl *page)
{
    const bool fetched = page->getSentRequest().has_value();
    auto it = m_pages.find(page);
    if (!fetched && it == m_pages.end())
        return {};
    if (it == m_pages.end())
        it = m_pages.insert(page, Page());
    Page &entry = *it;
    entry.html = fetched && page->getIsHTML() && !page->getData().isEmpty();
    entry.names = entry.html ? AnchorNames::scan(page->getData()) : std::vector<quint64>();
    std::vector<LinkCheckerUrl *> decided;
    for (const Waiting &w : std::exchange(entry.waiting, {})) {
        w.record->setStatus(verdict(*page, entry.html, entry.names, w.fragment));
        decided.push_back(w.record);
    }
    if (fetched)
        entry.done = true;
    else
        m_pages.erase(it);
    return decided;
}

bool AnchorCheck::track(LinkCheckerUrl *fragmentRecord, LinkCheckerUrl *page,
                        const QByteArray &fragment)
{
    m_fragments.insert(fragmentRecord);
    Page &entry = m_pages[page];
    const bool answeredUnfetched = !page->getSentRequest() && !page->getStatus().isEmpty();
    if (entry.done || answeredUnfetched) {
        fragmentRecord->setStatus(verdict(*page, entry.html, entry.names, fragment));
        if (!entry.done)
            m_pages.remove(page);
        return true;
    }
    entry.waiting.push_back({ fragmentRecord, fragment });
    return false;
}

} // namespace orel
