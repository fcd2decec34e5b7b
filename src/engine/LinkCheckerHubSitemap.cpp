// The crawl controller's sitemap menu entries: each hands over to the SEO manager.
#include "engine/LinkCheckerHub.h"

#include "seo/SEOManager.h"

namespace orel {

void LinkCheckerHub::exportXML()
{
    // The sitemap is shown with the pages it lists.
    setSelectedTab(QStringLiteral("4"));
    m_seo->exportXML();
    Q_EMIT sitemapWindowShouldClose();
}

void LinkCheckerHub::exportSitemapAsCSV()
{
    m_seo->exportSitemapAsCSV();
}

void LinkCheckerHub::exportSitemapAsHTML()
{
    m_seo->exportSitemapAsHTML();
}

std::optional<int> LinkCheckerHub::beginFTPDialog()
{
    return m_seo->beginFTPDialog();
}

} // namespace orel
