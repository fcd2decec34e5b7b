// Link extraction and crawl scope of the crawl controller: whether a fetched page is read, the
// scan of its links, and the records made for new links; plus the page archive.
#include "engine/LinkCheckerHub.h"

#include "common/AppSupport.h"
#include "common/Dialogs.h"
#include "common/Localize.h"
#include "common/Log.h"
#include "common/SettingsControls.h"
#include "common/UrlParts.h"
#include "config/OrelConfigManager.h"
#include "engine/CrawlScope.h"
#include "engine/HrefResolver.h"
#include "links/ArchiveName.h"
#include "links/LinkCheckerUrl.h"
#include "parser/OrelParser.h"
#include "seo/SEOManager.h"

#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QSaveFile>
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

// Copies text into target, reusing target's own buffer when nothing else holds it, and keeps a
// null text null. The copy leaves the source unshared, so that the scanner and the resolver,
// which hand out their working buffers, can reuse them for the next link.
void copyInto(QString &target, const QString &text)
{
    if (text.isNull()) {
        target = QString();
    } else if (target.isDetached() && !target.isNull()) {
        target.resize(0);
        target.append(text.constData(), text.size());
    } else {
        target = QString(text.constData(), text.size());
    }
}

} // namespace

// ---- Scope tests
// ---------------------------------------------------------------------------------

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
    return CrawlScope::stripHost(url);
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
    static const char *const words[] = { "none",   "always",  "hourly", "daily",
                                         "weekly", "monthly", "yearly", "never" };
    if (tag < 0 || tag > 7)
        return QString(QLatin1String(""));
    return QLatin1String(words[tag]);
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
    if (m_singlePage && recordAt(0) != page)
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
        || linksLimitReached())
        return false;

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

void LinkCheckerHub::readPage(LinkCheckerUrl *page)
{
    const QString actual = page->getActualLinkUrl();
    const QUrl pageUrl(actual);
    if (actual.isEmpty() || !pageUrl.isValid()) {
        log(QStringLiteral("badly formed url: %1").arg(page->getLinkUrl()));
        return;
    }
    if (!pageShouldBeRead(page, pageUrl))
        return;

    const SettingsControls &c = *m_controls;
    std::unique_ptr<OrelParser> parser = OrelParser::initWithData(
            page->getData(), c.userAgentString, SettingsControls::isOn(c.SEOEnabledCheckBox),
            shouldArchive(), SettingsControls::isOn(c.robotsCheckBox),
            SettingsControls::isOn(c.nofollowCheckbox)
                    || SettingsControls::isOn(c.nofollowColCheckbox)
                    || SettingsControls::isOn(c.nofollowFlatColCheckbox));
    if (parser && page->isStartingPoint()) {
        if (isPlainTextMode())
            parser->setPlainTextMode();
        else if (actual.contains(QLatin1String(".xml")))
            parser->setXMLMode();
    }

    // Relative links are read against the page's base href (itself relative to the page) or
    // else the page's own URL.
    QUrl base = pageUrl;
    if (parser) {
        if (const std::optional<QUrl> baseHref = parser->getBaseHref();
            baseHref && !baseHref->isEmpty())
            base = baseHref->isRelative() ? pageUrl.resolved(*baseHref) : *baseHref;
    }

    const bool checkImages = getCheckImages();
    const bool trim = shouldTrimSpaces();
    std::optional<QString> href;
    if (parser && parser->getLength() > 0) {
        const QString title = parser->getTitle();
        page->setLinkPageTitle(title.isNull() ? QString(QLatin1String("")) : title);
        href = parser->getNextHref(checkImages, trim);
    }

    const bool uniqueTitles = SettingsControls::isOn(c.uniqueTitleButton);
    if (uniqueTitles && weHaveThisTitleAlready(page)) {
        if (parser)
            parser->curlUpAndDie();
        return;
    }
    if (page->isErrorPage() && !checkErrorPages())
        href.reset();
    // The link text is read into this string and then swapped with the batch slot's, so that
    // both buffers go round again instead of one string being made per link.
    QString linkText;
    if (href)
        parser->getData(linkText);
    if (uniqueTitles && !page->getLinkPageTitle().isEmpty())
        addToLookup(page, page->getLinkPageTitle());

    if (parser && !m_rechecking && shouldBeInSitemapCollection(page)
        && parser->getShouldBeIndexed()) {
        if (!linksOnPage(actual))
            m_seo->add(page);
        std::optional<QVariantMap> rule;
        if (m_configManager)
            rule = m_configManager->ruleThatApplies(actual);
        if (rule && rule->contains(QStringLiteral("update")))
            page->setChangeFrequency(rule->value(QStringLiteral("update")).toString());
        else
            page->setChangeFrequency(getChangeFrequencyForTag(c.sitemapChangeFrequency));
    }

    const QString pageTitle = page->getLinkPageTitle();
    const HrefResolver resolver(base);
    const int distance = page->getDistanceFromHome() + 1;
    const bool pageIsLocalFile = pageUrl.isLocalFile();
    const bool trimQuery = SettingsControls::isOn(c.qsButton);
    const bool hashIsBad = SettingsControls::isOn(c.hashIsBad);
    const bool sitemapOnly = SettingsControls::isOn(c.sitemapOnly);

    // Appends one occurrence of a link on this page to a record.
    auto addOccurrence = [&](LinkCheckerUrl *record, const QString &text) {
        record->setLinkText(text);
        record->addOnPageUrl(actual);
        record->addOnPageName(pageTitle);
        record->addOnPageLinkText(text);
    };

    // The href is let go before the next one is read, so that the scanner can reuse its buffer.
    auto nextHref = [&] {
        href.reset();
        href = parser->getNextHref(checkImages, trim);
        if (href)
            parser->getData(linkText);
    };

    // Registers one link of the page: a new record, or one more occurrence of a known one.
    auto registerHref = [&](const QString &h, const QString &text, bool nofollow, bool headNoFollow,
                            ResolvedHref &entry) {
        if (h.isEmpty() || h == QLatin1String("#")) {
            if (hashIsBad && !linksLimitReached()) {
                auto record = std::make_unique<LinkCheckerUrl>(this);
                addOccurrence(record.get(), text);
                record->setDistanceFromHome(distance);
                record->setStatus(localized("missing link url"));
                record->setIsInternal(false);
                record->setLinkUrl(h.isEmpty() ? QStringLiteral("empty quotes") : h, false);
                incNumberDone(record.get());
                add(std::move(record));
                getNextUrlToCrawl();
            }
            return;
        }
        const QString &absolute = entry.absolute;
        if (absolute.isNull()) {
            if (h == QLatin1String("MCMS zref") && !linksLimitReached()) {
                auto record = std::make_unique<LinkCheckerUrl>(this);
                addOccurrence(record.get(), text);
                record->setStatus(QStringLiteral("MCMS zref"));
                record->addNofollow(nofollow);
                incNumberDone(record.get());
                add(std::move(record));
            }
            return;
        }
        if (LinkCheckerUrl *known = knownRecord(entry)) {
            known->addOnPageUrl(actual);
            known->addOnPageName(pageTitle);
            known->addLinkTextOccurrence(text);
            known->addNofollow(nofollow);
            known->setHeadContainsNoFollow(headNoFollow);
            if (known->getIsImage())
                page->addLinkedImage(known);
            return;
        }
        if (isMailtoEtc(h) || absolute.isEmpty() || linksLimitReached())
            return;
        const UrlParts absoluteUrl = UrlParts::of(absolute);
        auto record = std::make_unique<LinkCheckerUrl>(this);
        record->setLinkUrl(absolute, trimQuery);
        record->setIsInternal(compareHost(absoluteUrl.host, m_domains));
        addOccurrence(record.get(), text);
        record->setDistanceFromHome(distance);
        const QString &scheme = absoluteUrl.scheme;
        bool notChecked = false;
        if (containsOneOfTheseTerms(absolute, m_checkBlacklistArray)) {
            record->setIsBlacklisted(true);
            notChecked = true;
        } else if (scheme == QLatin1String("ftp")) {
            notChecked = true;
        } else if (!record->isInternal() && sitemapOnly) {
            notChecked = true;
        } else if (scheme == QLatin1String("file") && !pageIsLocalFile) {
            // A web page cannot make this program open local files.
            notChecked = true;
        }
        if (notChecked) {
            record->setStatus(localized("Not checked"));
            incNumberDone(record.get());
        }
        if (record->getIsImage())
            page->addLinkedImage(record.get());
        record->addNofollow(nofollow);
        record->setHeadContainsNoFollow(headNoFollow);
        if (add(std::move(record)))
            getNextUrlToCrawl();
    };

    // Links are taken a batch at a time: the batch is read and resolved, then looked up, then
    // registered in page order. On a large site the table slots, key texts and records a lookup
    // reaches are rarely in the cache; prefetching them for a whole batch, one kind after the
    // other, lets those memory reads overlap instead of each link waiting for its own. A lookup
    // that found nothing is repeated when its turn comes (an earlier link of the batch may have
    // added the record), and a record found is used only while the registry has not changed its
    // keys. The slots are kept from page to page, each reusing its strings' buffers.
    constexpr qsizetype BatchSize = 32;
    std::vector<PendingHref> batch;
    if (!m_spareBatches.empty()) {
        batch = std::move(m_spareBatches.back());
        m_spareBatches.pop_back();
    }
    batch.resize(BatchSize);
    while (href) {
        qsizetype n = 0;
        do {
            PendingHref &p = batch[n++];
            copyInto(p.href, *href);
            std::swap(p.text, linkText);
            p.nofollow = parser->lastLinkWasNofollow();
            p.headNoFollow = parser->getHeadContainsNoFollow();
            if (!p.href.isEmpty() && p.href != QLatin1String("#"))
                resolveHref(resolver, p.href, p.resolved);
            else
                p.resolved.clear();
            nextHref();
        } while (href && n < BatchSize);
        if (m_lookupDictionary) {
            for (qsizetype i = 0; i < n; ++i) {
                if (!batch[i].resolved.key.isEmpty())
                    m_lookupDictionary->prefetchSlot(batch[i].resolved.keyHash);
            }
            for (qsizetype i = 0; i < n; ++i) {
                if (!batch[i].resolved.key.isEmpty())
                    m_lookupDictionary->prefetchKeyText(batch[i].resolved.keyHash);
            }
        }
        for (qsizetype i = 0; i < n; ++i)
            knownRecord(batch[i].resolved);
        for (qsizetype i = 0; i < n; ++i) {
            if (const LinkCheckerUrl *record = batch[i].resolved.record)
                record->prefetchOccurrence();
        }
        for (qsizetype i = 0; i < n; ++i) {
            PendingHref &p = batch[i];
            registerHref(p.href, p.text, p.nofollow, p.headNoFollow, p.resolved);
        }
    }
    m_spareBatches.push_back(std::move(batch));
    if (parser)
        parser->curlUpAndDie();
}

void LinkCheckerHub::resolveHref(const HrefResolver &resolver, const QString &href,
                                 ResolvedHref &entry) const
{
    // The key may share the previous absolute text; letting it go first frees that buffer.
    entry.key = QString();
    entry.record = nullptr;
    entry.lookupVersion = 0;
    if (const std::optional<QString> absolute = resolver.resolve(href))
        copyInto(entry.absolute, *absolute);
    else
        entry.absolute = QString();
    if (!entry.absolute.isNull()) {
        entry.key = CrawlScope::lookupKey(entry.absolute, shouldTrim(), shouldIgnoreSlash());
        entry.keyHash = entry.key.isEmpty() ? 0 : HashedKey::hashOf(entry.key);
    }
}

LinkCheckerUrl *LinkCheckerHub::knownRecord(ResolvedHref &entry) const
{
    if (entry.record && entry.lookupVersion == m_lookupVersion)
        return entry.record;
    if (entry.key.isEmpty() || !m_lookupDictionary)
        return nullptr;
    LinkCheckerUrl *found = m_lookupDictionary->value(HashedKey(entry.key, entry.keyHash));
    entry.record = found;
    entry.lookupVersion = m_lookupVersion;
    return found;
}

// ---- Page archive ------------------------------------------------------------------------------

void LinkCheckerHub::archivePage(LinkCheckerUrl *record)
{
    if (!record || record->getData().size() <= 1)
        return;
    if (!AppSupport::ensureFolder() || !QDir().mkpath(AppSupport::archiveFolder()))
        return;
    QSaveFile file(AppSupport::archiveFolder() + QLatin1Char('/')
                   + archiveFileNameForUrl(record->getActualLinkUrl()));
    // A failed write only loses the copy; the crawl goes on.
    if (file.open(QIODevice::WriteOnly)) {
        file.write(record->getData());
        file.commit();
    }
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
