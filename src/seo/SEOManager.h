// The pages collected for the sitemap and the SEO views during a crawl; main thread.
#pragma once

#include "reports/bhDataSource.h"

#include <QObject>

namespace orel {

class LinkCheckerUrl;

// A data source over records owned by the crawl controller: it only references them, so it
// must be cleared before the controller throws its records away. The sitemap, the SEO
// analysis and the validation each keep their members in their own block below (and their
// code in SEOManagerSitemap.cpp, SEOManagerAnalysis.cpp, SEOManagerValidation.cpp).
class SEOManager : public QObject, public bhDataSource
{
    Q_OBJECT
public:
    explicit SEOManager(QObject *parent = nullptr);
    ~SEOManager() override;

    // Forgets every collected page (a new crawl).
    void clear() override;
    // A crawl run starts: counters and sorting go back to their start values.
    void go();
    // Admits a page (in order of admission).
    void add(LinkCheckerUrl *record);
    LinkCheckerUrl *pageAt(int index) const;

    // Progress of the crawl, as the controller counts it.
    void incNumberDone() { ++m_numberDone; }
    int getNumberDone() const { return m_numberDone; }
    void setStopPressed(bool on) { m_stopPressed = on; }
    bool stopPressed() const { return m_stopPressed; }
    void setCrawlFinished(bool on) { m_crawlFinished = on; }
    bool crawlFinished() const { return m_crawlFinished; }

    // ---- Sitemap -------------------------------------------------------------------------

    // ---- SEO analysis --------------------------------------------------------------------

    // ---- HTML validation -----------------------------------------------------------------

private:
    // ---- Sitemap -------------------------------------------------------------------------

    // ---- SEO analysis --------------------------------------------------------------------

    // ---- HTML validation -----------------------------------------------------------------


    int m_numberDone = 0;
    bool m_stopPressed = false;
    bool m_crawlFinished = false;
};

} // namespace orel
