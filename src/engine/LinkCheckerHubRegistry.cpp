// Link registry of the crawl controller: the lookup from normalised URL (or page title) to
// record, the by-page index, the bad collection and the links limit.
#include "engine/LinkCheckerHub.h"

#include "common/Log.h"
#include "common/SettingsControls.h"
#include "engine/CrawlScope.h"
#include "links/LinkCheckerUrl.h"

namespace orel {

namespace {

// The dictionaries are sized for the links limit up front, but a huge limit must not reserve
// memory that a small crawl never uses.
constexpr int kMaxReserve = 1 << 16;

} // namespace

int LinkCheckerHub::linksLimit() const
{
    return m_controls->linksLimit;
}

bool LinkCheckerHub::linksLimitReached() const
{
    return recordCount() >= linksLimit();
}

void LinkCheckerHub::clearRegistry()
{
    m_lookupDictionary.reset();
    m_byPageDictionary.reset();
    m_lastPage.clear();
    m_lastPageLinks = nullptr;
    ++m_lookupVersion;
}

void LinkCheckerHub::addToLookup(LinkCheckerUrl *record, const QString &key)
{
    if (!record || key.isNull()) {
        log(QStringLiteral("**** unable to add %1 to lookup").arg(key));
        stop();
        return;
    }
    if (!m_lookupDictionary) {
        m_lookupDictionary.emplace();
        m_lookupDictionary->reserve(std::clamp(linksLimit(), 16, kMaxReserve));
    }
    LinkCheckerUrl *previous = m_lookupDictionary->insert(key, record);
    if (previous && previous != record)
        ++m_lookupVersion; // a key now names another record
}

void LinkCheckerHub::addLink(LinkCheckerUrl *record, const QString &page)
{
    if (!m_byPageDictionary) {
        m_byPageDictionary.emplace();
        m_byPageDictionary->reserve(std::clamp(linksLimit(), 16, kMaxReserve));
    }
    // The links of one page arrive one after another: keep that page's list at hand. The
    // pointer stays valid until another key is added, and then it is looked up again.
    const bool samePage = m_lastPageLinks
            && (page.constData() == m_lastPage.constData() ? page.size() == m_lastPage.size()
                                                           : page == m_lastPage);
    if (!samePage) {
        m_lastPage = page;
        m_lastPageLinks = &(*m_byPageDictionary)[page];
    }
    // The record has just added this page to its on-page lists.
    m_lastPageLinks->append({ record, int(record->onPageCount() - 1) });
}

LinkCheckerUrl *LinkCheckerHub::weHaveThisOneAlready(const QString &url,
                                                     const LinkCheckerUrl *ignore) const
{
    if (url.isEmpty() || !m_lookupDictionary)
        return nullptr;
    const QString key = CrawlScope::lookupKey(url, shouldTrim(), shouldIgnoreSlash());
    LinkCheckerUrl *found = m_lookupDictionary->value(key);
    return found == ignore ? nullptr : found;
}

LinkCheckerUrl *LinkCheckerHub::weHaveThisInternalOneAlready(const QString &url,
                                                             const LinkCheckerUrl *ignore)
{
    if (url.isEmpty())
        return nullptr;
    const QByteArray candidate = url.toLatin1();
    const bool trim = shouldTrim();
    const bool slash = shouldIgnoreSlash();
    for (OrelDataObject *item : items()) {
        auto *record = static_cast<LinkCheckerUrl *>(item);
        if (record == ignore || !record->isInternal())
            continue;
        if (record->isEqualToUrl(candidate, trim, slash))
            return record;
    }
    return nullptr;
}

bool LinkCheckerHub::weHaveThisTitleAlready(const LinkCheckerUrl *record) const
{
    if (!record || !SettingsControls::isOn(m_controls->uniqueTitleButton))
        return false;
    const QString title = record->getLinkPageTitle();
    if (title.isEmpty() || !m_lookupDictionary)
        return false;
    return m_lookupDictionary->contains(title);
}

LinkCheckerUrl *LinkCheckerHub::getLinkCheckerUrlWithUrl(const QString &url) const
{
    for (OrelDataObject *item : items()) {
        auto *record = static_cast<LinkCheckerUrl *>(item);
        if (record->getActualLinkUrl() == url)
            return record;
    }
    return nullptr;
}

int LinkCheckerHub::countBadCollection()
{
    int bad = 0;
    for (OrelDataObject *item : items()) {
        if (static_cast<LinkCheckerUrl *>(item)->isInBadCollection())
            ++bad;
    }
    m_badCollectionCount = bad;
    return bad;
}

bool LinkCheckerHub::isInBadCollection(const LinkCheckerUrl *record) const
{
    return record && record->isInBadCollection();
}

LinkCheckerUrl *LinkCheckerHub::add(std::unique_ptr<LinkCheckerUrl> record)
{
    if (!record)
        log(QStringLiteral("*** attempt to add null link ***"));
    if (linksLimitReached()) {
        // The refused record goes; nothing may keep pointing at it.
        if (record)
            unregister(record.get());
        return nullptr;
    }
    if (!record)
        return nullptr;
    LinkCheckerUrl *added = record.get();
    bhDataSource::add(std::move(record));
    m_views->noteAdded(added);
    Q_EMIT recordAdded(added);
    return added;
}

void LinkCheckerHub::unregister(LinkCheckerUrl *record)
{
    if (m_lookupDictionary)
        m_lookupDictionary->removeRecord(record);
    if (m_byPageDictionary) {
        for (const QString &page : record->getOnPageUrlArray()) {
            auto it = m_byPageDictionary->find(page);
            if (it == m_byPageDictionary->end())
                continue;
            it->removeIf([record](const PageLink &link) { return link.record == record; });
            if (it->isEmpty())
                m_byPageDictionary->erase(it);
        }
    }
    if (m_currentItem == record)
        m_currentItem = nullptr;
    m_lastPage.clear();
    m_lastPageLinks = nullptr;
    ++m_lookupVersion;
}

const QList<PageLink> *LinkCheckerHub::linksOnPage(const QString &page) const
{
    if (!m_byPageDictionary)
        return nullptr;
    auto it = m_byPageDictionary->constFind(page);
    return it == m_byPageDictionary->constEnd() ? nullptr : &it.value();
}

int LinkCheckerHub::numberOfLinksOnThisPage(const QString &page) const
{
    const QList<PageLink> *links = linksOnPage(page);
    return links ? int(links->size()) : 0;
}

} // namespace orel
