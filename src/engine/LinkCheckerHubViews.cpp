// The crawl controller's view and export operations, which the link views and their exports
// carry out, and the coalesced reload of its views.
#include "engine/LinkCheckerHub.h"

namespace orel {

void LinkCheckerHub::reloadData()
{
    if (!getTableView() || m_reloadPending)
        return;
    m_reloadPending = true;
    postToMainThread([this] {
        m_reloadPending = false;
        if (TableDescription *view = getTableView())
            view->reloadData();
    });
}

} // namespace orel
