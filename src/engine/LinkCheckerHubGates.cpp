// The optional scope checks of the crawl controller: robots.txt per host, fragment records
// decided from their pages, and a local site's root-relative links and folder pages. Each is
// set up by go() only when its setting is on; otherwise none of this runs.
#include "engine/LinkCheckerHub.h"

#include "common/Localize.h"
#include "common/SettingsControls.h"
#include "engine/AnchorCheck.h"
#include "engine/LocalSite.h"
#include "engine/RobotsGate.h"
#include "links/LinkCheckerUrl.h"

namespace orel {

// The settings are read once per crawl: a host's rules and a page's names must mean the same
// thing for every link of the run.
void LinkCheckerHub::prepareScopeChecks(const QString &startUrl)
{
    m_robots.reset();
    m_anchors.reset();
    m_localSite.reset();
    if (SettingsControls::isOn(m_controls->robotsTxtButton))
        m_robots = std::make_unique<RobotsGate>(m_controls->userAgentString, getTimeoutInterval(),
                                                [this] { robotsArrived(); });
    if (SettingsControls::isOn(m_controls->checkAnchorsButton))
        m_anchors = std::make_unique<AnchorCheck>();
    if (startUrl.startsWith(QLatin1String("file:"), Qt::CaseInsensitive))
        m_localSite = LocalSite::forRoot(m_controls->localSiteRoot);
}

bool LinkCheckerHub::heldBack(LinkCheckerUrl *record)
{
    if (m_anchors && m_anchors->isFragmentRecord(record))
        return true; // decided by its page, never fetched
    if (!m_robots)
        return false;
    switch (m_robots->check(record)) {
    case RobotsGate::Verdict::Allowed:
        return false;
    case RobotsGate::Verdict::Wait:
        return true;
    case RobotsGate::Verdict::Disallowed:
        refuseByRobots(record);
        return true;
    }
    return false;
}

// Not fetched, and not counted bad: the site asked crawlers to stay away, so the link is left
// out of the check as a link outside the crawl's scope is.
void LinkCheckerHub::refuseByRobots(LinkCheckerUrl *record)
{
    record->setStatus(localized("blocked by robots.txt"));
    incNumberDone(record);
}

bool LinkCheckerHub::mayFollowRedirect(const QString &url) const
{
    return !m_robots || !m_robots->knownToDisallow(url);
}

void LinkCheckerHub::robotsArrived()
{
    for (LinkCheckerUrl *record : m_robots->takeRefused())
        refuseByRobots(record);
    getNextUrlToCrawl();
}

void LinkCheckerHub::fetchEnded(LinkCheckerUrl *record)
{
    if (!record->isInternal() || m_anchors->isFragmentRecord(record))
        return;
    const AnchorCheck::Decisions decisions = m_anchors->pageDone(record);
    for (LinkCheckerUrl *decided : decisions.decided)
        incNumberDone(decided);
    for (LinkCheckerUrl *changed : decisions.changed)
        statusHasChangedFordO(changed);
}

void LinkCheckerHub::checkFragment(const PageReading &reading, PendingHref &p)
{
    const QString &absolute = p.resolved.absolute;
    const qsizetype hash = absolute.indexOf(QLatin1Char('#'));
    if (hash < 0 || hash + 1 >= absolute.size() || p.resolved.key.isEmpty())
        return;
    LinkCheckerUrl *page = knownRecord(p.resolved);
    if (!page || !page->isInternal() || m_anchors->isFragmentRecord(page))
        return;
    const QString scheme = absolute.left(absolute.indexOf(QLatin1Char(':'))).toLower();
    if (scheme != QLatin1String("http") && scheme != QLatin1String("https")
        && scheme != QLatin1String("file"))
        return;

    // Registry keys never hold a "#" otherwise, so this one names the fragment record alone.
    const QString key = p.resolved.key + QLatin1Char('#') + absolute.mid(hash + 1);
    if (LinkCheckerUrl *known = m_lookupDictionary->value(HashedKey(key))) {
        known->addOnPageUrl(reading.actual);
        known->addOnPageName(reading.title);
        known->addLinkTextOccurrence(p.text);
        known->addNofollow(p.nofollow);
        return;
    }
    if (linksLimitReached())
        return;
    auto record = std::make_unique<LinkCheckerUrl>(this);
    record->setFragmentLinkUrl(absolute);
    addToLookup(record.get(), key);
    record->setIsInternal(true);
    addOccurrence(reading, record.get(), p.text);
    record->addNofollow(p.nofollow);
    record->setDistanceFromHome(reading.distance);
    LinkCheckerUrl *added = add(std::move(record));
    if (added && m_anchors->track(added, page, absolute.mid(hash + 1).toUtf8()))
        incNumberDone(added);
}

} // namespace orel
