// What the link views read of a crawl's results, and the notice given before records change.
#include "reports/LinkResults.h"

#include <algorithm>

namespace orel {

LinkResults::~LinkResults()
{
    resultsWillChange(ResultsChange::Discard);
}

void LinkResults::resultsWillChange(ResultsChange change)
{
    m_generation.fetch_add(1, std::memory_order_acq_rel);
    // A listener may remove itself (or add another) while it runs: walk a copy of the ids.
    std::vector<int> ids;
    ids.reserve(m_listeners.size());
    for (const auto &entry : m_listeners)
        ids.push_back(entry.first);
    for (int id : ids) {
        const auto it = std::find_if(m_listeners.begin(), m_listeners.end(),
                                     [id](const auto &entry) { return entry.first == id; });
        if (it == m_listeners.end())
            continue;
        const ChangeListener listener = it->second;
        listener(change);
    }
}

int LinkResults::addChangeListener(ChangeListener listener)
{
    const int id = m_nextListenerId++;
    m_listeners.emplace_back(id, std::move(listener));
    return id;
}

void LinkResults::removeChangeListener(int id)
{
    std::erase_if(m_listeners, [id](const auto &entry) { return entry.first == id; });
}

} // namespace orel
