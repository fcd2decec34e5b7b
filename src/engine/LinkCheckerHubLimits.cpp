// What the links, levels and directory limits kept from a crawl run, counted as the crawl meets
// them so that a run cut short can say so instead of looking complete.
#include "engine/LinkCheckerHub.h"

#include "common/SettingsControls.h"
#include "engine/CrawlScope.h"
#include "links/LinkCheckerUrl.h"

#include <QRegularExpression>

namespace orel {

void LinkCheckerHub::resetLimitCounts()
{
    m_limits = LimitCounts();
    m_linksOverLimit = {};
}

void LinkCheckerHub::noteLinkOverLimit(size_t keyHash)
{
    // A link met on many pages is one link not checked; hashes stand for the keys, since a
    // collision only undercounts by one.
    if (m_linksOverLimit.insert(keyHash).second)
        ++m_limits.linksNotChecked;
}

void LinkCheckerHub::notePageNotRead(const LinkCheckerUrl *page)
{
    // Only pages that would otherwise have been read count: internal HTML pages.
    if (!page || !page->getIsHTML() || !page->isInternal() || page->isStartingPoint())
        return;
    if (page->getDistanceFromHome() > m_controls->levelsLimit) {
        ++m_limits.pagesBeyondLevels;
        return;
    }
    if (!page->isBlacklisted() || isPlainTextMode())
        return;
    if (m_limits.directory.isNull())
        m_limits.directory = CrawlScope::directoryLimit(m_startUrl).value_or(QString());
    if (!m_limits.directory.isEmpty()
        && !page->linkContainsOneOfTheseTerms(QStringList { m_limits.directory }))
        ++m_limits.pagesOutsideDirectory;
}

QStringList LinkCheckerHub::limitMessages() const
{
    QStringList out;
    if (m_limits.linksNotChecked > 0)
        out.append(QStringLiteral("links limit %1 reached: %2 links found but not checked")
                           .arg(linksLimit())
                           .arg(m_limits.linksNotChecked));
    if (m_limits.pagesBeyondLevels > 0)
        out.append(QStringLiteral("levels limit %1 reached: %2 pages checked but not read")
                           .arg(m_controls->levelsLimit)
                           .arg(m_limits.pagesBeyondLevels));
    if (m_limits.pagesOutsideDirectory > 0) {
        // The limit is matched as text from the end of the host on, so it starts with the port
        // when the URL has one; the folder alone is what a person recognises.
        static const QRegularExpression port(QStringLiteral("^:\\d+"));
        out.append(QStringLiteral("directory limit %1 reached: %2 pages checked but not read")
                           .arg(QString(m_limits.directory).remove(port))
                           .arg(m_limits.pagesOutsideDirectory));
    }
    return out;
}

} // namespace orel
