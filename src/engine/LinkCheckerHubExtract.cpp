// Link extraction and crawl scope of the crawl controller: whether a fetched page is read, the
// scope rules, and the page archive. Reading a page's links is in LinkCheckerHubPage.cpp.
#include "engine/LinkCheckerHub.h"

#include "common/UrlParts.h"

#include "common/AppSupport.h"
#include "common/AtomicFile.h"
#include "common/Dialogs.h"
#include "common/Localize.h"
#include "common/Log.h"
#include "common/SettingsControls.h"
#include "engine/CrawlScope.h"
#include "links/ArchiveName.h"
#include "links/LinkCheckerUrl.h"
#include "seo/SEOManager.h"

#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QUrl>

namespace orel {

namespace {

bool copyFolder(const QString &from, const QString &to)
{
    if (!QDir().mkpath(to))
        return false;
    QDir source(from);
    for (const QFileInfo &fi :
         source.entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)) {
        const QString target = to + QLatin1Char('/') + fi.fileName();
        if (fi.isDir()) {
            if (!copyFolder(fi.filePath(), target))
                return false;
        } else if (!QFile::copy(fi.filePath(), target)) {
            return false;
        }
    }
    return true;
}

} // namespace

// ---- Scope tests --------------------------------------------------------------------------------

bool LinkCheckerHub::compareHost(const QString &host, const QStringList &domains) const
{
    // With no known host (a local start file) everything is internal. The test looks at the
    // crawl's own list, whatever list the caller passes.
    if (m_domains.isEmpty())
        return true;
    return CrawlScope::hostMatches(host, domains,
                                   SettingsControls::isOn(m_controls->subdomainButton));
}

void LinkCheckerHub::resetDomain(LinkCheckerUrl *record)
{
    if (!record)
        return;
    const QString host = QUrl(record->getActualLinkUrl()).host();
    if (m_domains.size() == 1)
        m_domains = host.isEmpty() ? QStringList() : QStringList { host };
    else if (!host.isEmpty())
        m_domains.append(host);
}

bool LinkCheckerHub::isMailtoEtc(const QString &href)
{
    return CrawlScope::isMailtoEtc(href);
}

bool LinkCheckerHub::containsColon(const QString &text)
{
    return CrawlScope::containsColon(text);
}

bool LinkCheckerHub::isJavascript(const QString &text)
{
    return CrawlScope::isJavascript(text);
}

bool LinkCheckerHub::isTel(const QString &text)
{
    return CrawlScope::isTel(text);
}

bool LinkCheckerHub::containsOneOfTheseTerms(const QString &text, const QStringList &terms)
{
    return CrawlScope::containsOneOfTheseTerms(text, terms);
}

QStringList LinkCheckerHub::trimEachItemInArray(const QStringList &items)
{
    return CrawlScope::trimEachItemInArray(items);
}

QString LinkCheckerHub::stripHost(const QString &url)
{
    return UrlParts::stripHost(url);
}

bool LinkCheckerHub::shouldBeInSitemapCollection(const LinkCheckerUrl *record) const
{
    if (!record || record->getIsImage() || !record->getIsHTML() || !record->isInternal())
        return false;
    const int colour = record->getColour();
    return colour != 3 && colour != 4;
}

QString LinkCheckerHub::getChangeFrequencyForTag(int tag)
{
    return SEOManager::getChangeFrequencyForTag(tag);
}

// ---- Reading a page ----------------------------------------------------------------------------

void LinkCheckerHub::extractLinks(LinkCheckerUrl *record)
{
    if (!record)
        return;
    readPage(record);
    record->clearData();
    reloadData();
}

bool LinkCheckerHub::pageShouldBeRead(LinkCheckerUrl *page, const QUrl &pageUrl)
{
    // A redirect onto a page that has its own record: that record reads it.
    if (weHaveThisOneAlready(page->getRedir(), page))
        return false;
    if (!compareHost(pageUrl.host(), m_domains))
        return false; // external pages are checked, never read
    if (m_listOnly || (m_singlePage && recordAt(0) != page))
        return false;

    if (page->linkContainsOneOfTheseTerms(m_followBlacklistArray))
        page->setIsBlacklisted(true);
    if (!SettingsControls::isOn(m_controls->blacklistCheckContentCheckBox)) {
        if (!m_followWhitelistArray.isEmpty()
            && !page->linkContainsOneOfTheseTerms(m_followWhitelistArray))
            page->setIsBlacklisted(true);
    } else {
        if (page->dataContainsOneOfTheseTerms(m_followBlacklistArray))
            page->setIsBlacklisted(true);
        if (!m_followWhitelistArray.isEmpty()) {
            if (page->dataContainsOneOfTheseTerms(m_followWhitelistArray)
                || page->linkContainsOneOfTheseTerms(m_followWhitelistArray))
                log(QStringLiteral("contains whitelist term - ok"));
            else
                page->setIsBlacklisted(true);
        }
    }

    // A page at exactly the levels limit is read; its links are checked but not read.
    if (page->isBlacklisted() || page->getDistanceFromHome() > m_controls->levelsLimit
        || linksLimitReached()) {
        notePageNotRead(page);
        return false;
    }

    if (!SettingsControls::isOff(m_controls->nofollowCheckbox)) {
        if (!SettingsControls::isOn(m_controls->nofollowCheckbox) || page->isNofollow())
            return false;
    }

    if (!page->getIsHTML()) {
        const bool xmlStart =
                page->isStartingPoint() && page->getActualLinkUrl().contains(QLatin1String(".xml"));
        if (!isPlainTextMode() && !xmlStart)
            return false;
    }
    return true;
}

// ---- Page archive ------------------------------------------------------------------------------

void LinkCheckerHub::archivePage(LinkCheckerUrl *record)
{
    if (!record || record->getData().size() <= 1)
        return;
    const QString name = archiveFileNameForUrl(record->getActualLinkUrl());
    if (!isSafeArchiveFileName(name)) {
        // ".." would leave the archive folder; a name too long cannot be written.
        log(QStringLiteral("not archiving %1: no file name for it in the archive")
                    .arg(record->getActualLinkUrl()));
        return;
    }
    if (!AppSupport::ensureFolder() || !QDir().mkpath(AppSupport::archiveFolder()))
        return;
    // A failed write only loses the copy; the crawl goes on.
    writeFileAtomically(AppSupport::archiveFolder() + QLatin1Char('/') + name, record->getData());
}

void LinkCheckerHub::saveArchive()
{
    if (!QFileInfo(AppSupport::folder()).isDir() || !QFileInfo(AppSupport::archiveFolder()).isDir())
        return;
    const std::optional<QString> folder =
            Dialogs::current().chooseFolder(localized("Archive pages"), localized("Choose"));
    if (!folder || folder->isEmpty())
        return;
    const QString target = *folder + QLatin1Char('/') + QStringLiteral("Orrelwick archived pages ")
            + uniqueStringUsingDateAndTime();
    if (!copyFolder(AppSupport::archiveFolder(), target))
        log(QStringLiteral("Unsuccessful saving %1\n").arg(*folder));
}

void LinkCheckerHub::clearTempFolder()
{
    AppSupport::ensureFolder();
    QDir(AppSupport::tempFolder()).removeRecursively();
}

void LinkCheckerHub::emptyTempFolder()
{
    clearTempFolder();
    QDir().mkpath(AppSupport::tempFolder());
}

void LinkCheckerHub::clearArchiveFolder()
{
    AppSupport::ensureFolder();
    QDir(AppSupport::archiveFolder()).removeRecursively();
}

QString LinkCheckerHub::uniqueStringUsingDateAndTime()
{
    const QDateTime now = QDateTime::currentDateTime();
    return QStringLiteral("%1%2%3%4%5")
            .arg(now.date().day())
            .arg(now.date().month())
            .arg(now.date().year())
            .arg(now.time().hour())
            .arg(now.time().minute());
}

} // namespace orel
