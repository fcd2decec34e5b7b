// Fragment records decided from their pages.
#include "engine/AnchorCheck.h"

#include "common/Localize.h"
#include "links/LinkCheckerUrl.h"
#include "parser/AnchorNames.h"

#include <algorithm>
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
AnchorCheck::Decisions AnchorCheck::pageDone(LinkCheckerUrl *page)
{
    const bool fetched = page->getSentRequest().has_value();
    auto it = m_pages.find(page);
    if (!fetched && it == m_pages.end())
        return {};
    if (it == m_pages.end())
        it = m_pages.insert(page, Page());
    Page &entry = *it;
    // An error page's body is the server's, not the page's: its names count for nothing.
    if (fetched && page->getIsHTML() && page->isGoodLink() && !page->getData().isEmpty()) {
        entry.html = true;
        entry.names = AnchorNames::scan(page->getData());
    } else if (!(entry.done && page->getIsHTML())) {
        // A re-check reads the status only: the names read before stay.
        entry.html = false;
        entry.names.clear();
    }
    Decisions result;
    for (Waiting &w : std::exchange(entry.waiting, {})) {
        w.record->setStatus(verdict(*page, entry.html, entry.names, w.fragment));
        result.decided.push_back(w.record);
        if (fetched)
            entry.decided.push_back(std::move(w));
    }
    // A page fetched again (a re-check) may change the verdicts it gave before.
    for (const Waiting &w : entry.decided) {
        if (std::find(result.decided.begin(), result.decided.end(), w.record)
            != result.decided.end())
            continue;
        const QString status = verdict(*page, entry.html, entry.names, w.fragment);
        if (status != w.record->getStatus()) {
            w.record->setStatus(status);
            result.changed.push_back(w.record);
        }
    }
    if (fetched)
        entry.done = true;
    else
        m_pages.erase(it);
    return result;
}

bool AnchorCheck::track(LinkCheckerUrl *fragmentRecord, LinkCheckerUrl *page,
                        const QByteArray &fragment)
{
    m_fragments.insert(fragmentRecord);
    Page &entry = m_pages[page];
    const bool answeredUnfetched = !page->getSentRequest() && !page->getStatus().isEmpty();
    if (entry.done || answeredUnfetched) {
        fragmentRecord->setStatus(verdict(*page, entry.html, entry.names, fragment));
        if (entry.done)
            entry.decided.push_back({ fragmentRecord, fragment });
        else
            m_pages.remove(page);
        return true;
    }
    entry.waiting.push_back({ fragmentRecord, fragment });
    return false;
}

} // namespace orel
