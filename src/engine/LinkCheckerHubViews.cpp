// The crawl controller's coalesced reload of its views, and what its view operations tell the
// flat list.
#include "engine/LinkCheckerHub.h"

#include "common/Dialogs.h"
#include "common/Localize.h"

namespace orel {

void LinkCheckerHub::reloadData()
{
    if (m_reloadPending || !(getTableView() || m_byLinkOutline || m_byPageOutline))
        return;
    m_reloadPending = true;
    postToMainThread([this] {
        m_reloadPending = false;
        if (m_selectedTab == QLatin1String("1") || m_state != State::Running) {
            for (TableDescription *view : { m_byLinkOutline, getTableView() }) {
                if (view)
                    view->reloadData();
            }
        }
        if (m_selectedTab == QLatin1String("4") && m_byPageOutline)
            m_byPageOutline->reloadData();
    });
}

OrelReportDataSource &LinkCheckerHub::report()
{
    if (!m_report) {
        m_report = std::make_unique<OrelReportDataSource>(m_controls);
        m_report->setColourProvider([this](int colourClass) { return classColour(colourClass); });
        m_report->setBadLinksOnly(m_views->badLinksOnly());
        connect(this, &LinkCheckerHub::reportRequested, m_report.get(),
                [this] { m_report->requestReport(*this); });
    }
    return *m_report;
}

void LinkCheckerHub::setBadLinksOnly(bool on)
{
    m_views->setBadLinksOnly(on);
    if (m_report)
        m_report->setBadLinksOnly(on);
}

QString LinkCheckerHub::showHideGoodLinks()
{
    const QString label = m_views->showHideGoodLinks();
    if (m_report)
        m_report->setBadLinksOnly(m_views->badLinksOnly());
    return label;
}

void LinkCheckerHub::filter()
{
    m_views->filter();
    // The flat list takes the same search text with its own link-type filter.
    if (m_report)
        m_report->filter(m_views->searchText(), m_report->filterTag());
}

TableDescription *LinkCheckerHub::outlineOfTab(const QString &tab) const
{
    if (tab == QLatin1String("1"))
        return m_byLinkOutline;
    return tab == QLatin1String("4") ? m_byPageOutline : nullptr;
}

void LinkCheckerHub::exportAsCSVMenuItem(const QString &tab)
{
    if (tab == QLatin1String("2"))
        report().exportAsFlatCSV();
    else if (TableDescription *outline = outlineOfTab(tab))
        LinkExports::exportAsCSVFromOutlineView(*outline);
}

void LinkCheckerHub::exportAsHTMLMenuItem(const QString &tab)
{
    if (tab == QLatin1String("2"))
        report().exportAsHTML();
    else if (TableDescription *outline = outlineOfTab(tab))
        LinkExports::exportAsHTMLFromOutlineView(*outline);
}

void LinkCheckerHub::exportAsTDLMenuItem(const QString &tab)
{
    if (tab == QLatin1String("1"))
        exportAsTDL();
    else if (tab == QLatin1String("2"))
        report().exportAsFlatTDL();
    else if (tab == QLatin1String("4"))
        Dialogs::current().alert(localized("Export CSV"),
                                 localized("It's currently not possible to export tree view to "
                                           "TDL. Suggest switching to flat view before exporting."),
                                 { localized("OK") });
}

} // namespace orel
