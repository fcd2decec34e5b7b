#include "seo/SEOManager.h"

#include "links/LinkCheckerUrl.h"
#include "seo/SitemapTable.h"

namespace orel {

SEOManager::SEOManager(QObject *parent) : QObject(parent) { }

SEOManager::~SEOManager()
{
    m_validationRunner.quit();
}

void SEOManager::clear()
{
    bhDataSource::clear();
    clearSitemapCollection();
    clearSEOAnalysis();
    m_numberDone = 0;
    validationPagesCleared();
}

void SEOManager::go()
{
    m_numberDone = 0;
    m_stopPressed = false;
    m_crawlFinished = false;
    startValidationRun();
}

void SEOManager::add(LinkCheckerUrl *record)
{
    clearSitemapCollection();
    if (record) {
        bhDataSource::add(record);
        validationPageAdded();
    }
}

void SEOManager::reloadData()
{
    bhDataSource::reloadData();
    postToMainThread([this] {
        m_SEOTableView.reloadData();
        m_duplicatesTableView.reloadData();
        Q_EMIT sitemapChanged();
        Q_EMIT validationChanged();
    });
}

LinkCheckerUrl *SEOManager::pageAt(int index) const
{
    const auto &all = items();
    if (index < 0 || std::size_t(index) >= all.size())
        return nullptr;
    return static_cast<LinkCheckerUrl *>(all[std::size_t(index)]);
}

} // namespace orel
