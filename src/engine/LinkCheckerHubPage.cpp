// Reading one fetched page of the crawl controller: the scanner run over its body, its title and
// sitemap admission, and each link on it registered as a new record or one more occurrence of a
// known one.
#include "engine/LinkCheckerHub.h"

#include "common/Localize.h"
#include "common/Log.h"
#include "common/SettingsControls.h"
#include "common/UrlParts.h"
#include "config/OrelConfigManager.h"
#include "engine/CrawlScope.h"
#include "engine/HrefResolver.h"
#include "engine/LocalSite.h"
#include "links/LinkCheckerUrl.h"
#include "parser/OrelParser.h"
#include "seo/SEOManager.h"

#include <QUrl>

namespace orel {

namespace {

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

// Links are registered a batch at a time (see readLinks).
constexpr qsizetype BatchSize = 32;

} // namespace

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
        && parser->getShouldBeIndexed())
        admitToSitemap(page, actual);

    if (href) {
        const PageReading reading { page,
                                    actual,
                                    page->getLinkPageTitle(),
                                    page->getDistanceFromHome() + 1,
                                    pageUrl.isLocalFile(),
                                    SettingsControls::isOn(c.qsButton),
                                    SettingsControls::isOn(c.hashIsBad),
                                    SettingsControls::isOn(c.sitemapOnly),
                                    m_localSite && m_localSite->contains(pageUrl)
                                            ? m_localSite.get()
                                            : nullptr };
        readLinks(reading, *parser, HrefResolver(base), std::move(*href), linkText);
    }
    if (parser)
        parser->curlUpAndDie();
}

void LinkCheckerHub::admitToSitemap(LinkCheckerUrl *page, const QString &actual)
{
    if (!linksOnPage(actual))
        m_seo->add(page);
    std::optional<QVariantMap> rule;
    if (m_configManager)
        rule = m_configManager->ruleThatApplies(actual);
    if (rule && rule->contains(QStringLiteral("update")))
        page->setChangeFrequency(rule->value(QStringLiteral("update")).toString());
    else
        page->setChangeFrequency(getChangeFrequencyForTag(m_controls->sitemapChangeFrequency));
}

// Links are taken a batch at a time: the batch is read and resolved, then looked up, then
// registered in page order. On a large site the table slots, key texts and records a lookup
// reaches are rarely in the cache; prefetching them for a whole batch, one kind after the
// other, lets those memory reads overlap instead of each link waiting for its own. A lookup
// that found nothing is repeated when its turn comes (an earlier link of the batch may have
// added the record), and a record found is used only while the registry has not changed its
// keys. The slots are kept from page to page, each reusing its strings' buffers.
void LinkCheckerHub::readLinks(const PageReading &reading, OrelParser &parser,
                               const HrefResolver &resolver, QString firstHref, QString &linkText)
{
    const bool checkImages = getCheckImages();
    const bool trim = shouldTrimSpaces();
    QString href = std::move(firstHref);
    bool more = true;
    std::vector<PendingHref> batch;
    if (!m_spareBatches.empty()) {
        batch = std::move(m_spareBatches.back());
        m_spareBatches.pop_back();
    }
    batch.resize(BatchSize);
    while (more) {
        qsizetype n = 0;
        do {
            PendingHref &p = batch[n++];
            copyInto(p.href, href);
            std::swap(p.text, linkText);
            p.nofollow = parser.lastLinkWasNofollow();
            p.headNoFollow = parser.getHeadContainsNoFollow();
            p.image = parser.lastLinkWasImage();
            if (p.href.isEmpty() || p.href == QLatin1String("#"))
                p.resolved.clear();
            else if (reading.site && LocalSite::isRootRelative(p.href))
                resolveHref(reading.site->rootResolver(),
                            p.href.size() > 1 ? p.href.mid(1) : QStringLiteral("."), p.resolved);
            else
                resolveHref(resolver, p.href, p.resolved);
            // The href is let go before the next one is read, so that the scanner can reuse
            // its buffer.
            href = QString();
            std::optional<QString> next = parser.getNextHref(checkImages, trim);
            more = next.has_value();
            if (more) {
                href = std::move(*next);
                parser.getData(linkText);
            }
        } while (more && n < BatchSize);
        prefetchBatch(batch, n);
        for (qsizetype i = 0; i < n; ++i) {
            registerHref(reading, batch[i]);
            if (m_anchors)
                checkFragment(reading, batch[i]);
        }
    }
    m_spareBatches.push_back(std::move(batch));
}

void LinkCheckerHub::prefetchBatch(std::vector<PendingHref> &batch, qsizetype n) const
{
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
}

void LinkCheckerHub::addOccurrence(const PageReading &reading, LinkCheckerUrl *record,
                                   const QString &text)
{
    record->setLinkText(text);
    record->addOnPageUrl(reading.actual);
    record->addOnPageName(reading.title);
    record->addOnPageLinkText(text);
}

void LinkCheckerHub::registerHref(const PageReading &reading, PendingHref &p)
{
    if (p.href.isEmpty() || p.href == QLatin1String("#")) {
        if (reading.hashIsBad && !linksLimitReached())
            registerMissingUrl(reading, p);
        return;
    }
    const QString &absolute = p.resolved.absolute;
    if (absolute.isNull()) {
        if (p.href == QLatin1String("MCMS zref") && !linksLimitReached()) {
            auto record = std::make_unique<LinkCheckerUrl>(this);
            addOccurrence(reading, record.get(), p.text);
            record->setStatus(QStringLiteral("MCMS zref"));
            record->addNofollow(p.nofollow);
            incNumberDone(record.get());
            add(std::move(record));
        }
        return;
    }
    if (LinkCheckerUrl *known = knownRecord(p.resolved)) {
        // A link first met in an anchor is an image once a page loads it as one.
        if (p.image)
            known->setIsImage(true);
        known->addOnPageUrl(reading.actual);
        known->addOnPageName(reading.title);
        known->addLinkTextOccurrence(p.text);
        known->addNofollow(p.nofollow);
        known->setHeadContainsNoFollow(p.headNoFollow);
        if (known->getIsImage())
            reading.page->addLinkedImage(known);
        return;
    }
    if (isMailtoEtc(p.href) || absolute.isEmpty())
        return;
    if (linksLimitReached()) {
        noteLinkOverLimit(p.resolved.keyHash);
        return;
    }
    registerNewLink(reading, p);
}

// "#" or an empty href, when those count as bad: answered at once, never fetched.
void LinkCheckerHub::registerMissingUrl(const PageReading &reading, const PendingHref &p)
{
    auto record = std::make_unique<LinkCheckerUrl>(this);
    addOccurrence(reading, record.get(), p.text);
    record->setDistanceFromHome(reading.distance);
    record->setStatus(localized("missing link url"));
    record->setIsInternal(false);
    record->setLinkUrl(p.href.isEmpty() ? QStringLiteral("empty quotes") : p.href, false);
    incNumberDone(record.get());
    add(std::move(record));
    getNextUrlToCrawl();
}

void LinkCheckerHub::registerNewLink(const PageReading &reading, const PendingHref &p)
{
    const QString &absolute = p.resolved.absolute;
    const UrlParts absoluteUrl = UrlParts::of(absolute);
    auto record = std::make_unique<LinkCheckerUrl>(this);
    record->setLinkUrl(absolute, reading.trimQuery);
    record->setIsInternal(compareHost(absoluteUrl.host, m_domains));
    record->setIsImage(p.image);
    addOccurrence(reading, record.get(), p.text);
    record->setDistanceFromHome(reading.distance);
    const QString &scheme = absoluteUrl.scheme;
    bool notChecked = false;
    if (containsOneOfTheseTerms(absolute, m_checkBlacklistArray)) {
        record->setIsBlacklisted(true);
        notChecked = true;
    } else if (scheme == QLatin1String("ftp")) {
        notChecked = true;
    } else if (!record->isInternal() && reading.sitemapOnly) {
        notChecked = true;
    } else if (scheme == QLatin1String("file") && !reading.pageIsLocalFile) {
        // A web page cannot make this program open local files.
        notChecked = true;
    }
    if (notChecked) {
        record->setStatus(localized("Not checked"));
        incNumberDone(record.get());
    }
    if (record->getIsImage())
        reading.page->addLinkedImage(record.get());
    record->addNofollow(p.nofollow);
    record->setHeadContainsNoFollow(p.headNoFollow);
    if (add(std::move(record)))
        getNextUrlToCrawl();
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

} // namespace orel
