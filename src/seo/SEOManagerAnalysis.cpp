// The SEO analysis of the collected pages: its settings, the likely duplicates, the counters,
// the keyword phrase, the report and the CSV.
#include "seo/SEOManager.h"

#include "common/Dialogs.h"
#include "common/SettingsControls.h"
#include "common/TextSink.h"
#include "common/UserDefaults.h"
#include "links/LinkCheckerUrl.h"
#include "reports/ExportProgress.h"
#include "reports/LinkExports.h"

#include <algorithm>
#include <utility>

namespace orel {

namespace {

LinkCheckerUrl *page(OrelDataObject *item)
{
    return static_cast<LinkCheckerUrl *>(item);
}

// Whether two different pages of the list have the same size in bytes.
bool hasPairOfEqualSize(const QList<LinkCheckerUrl *> &pages)
{
    std::vector<std::pair<int, const LinkCheckerUrl *>> sizes;
    sizes.reserve(std::size_t(pages.size()));
    for (const LinkCheckerUrl *p : pages)
        sizes.emplace_back(p->getFileSizeInBytes(), p);
    std::sort(sizes.begin(), sizes.end());
    // Within a run of equal sizes the pages are sorted too: a run holds two different pages
    // exactly when its first and last differ.
    for (std::size_t first = 0; first < sizes.size();) {
        std::size_t last = first;
        while (last + 1 < sizes.size() && sizes[last + 1].first == sizes[first].first)
            ++last;
        if (sizes[first].second != sizes[last].second)
            return true;
        first = last + 1;
    }
    return false;
}

} // namespace

// ---- Settings
// ------------------------------------------------------------------------------------

bool SEOManager::isSEOEnabled() const
{
    return !m_SEOControls || SettingsControls::isOn(m_SEOControls->SEOEnabledCheckBox);
}

QString SEOManager::getSEOPhrase() const
{
    return m_SEOControls ? m_SEOControls->SEOSearchBox : QString();
}

bool SEOManager::countsKeywordsInContent() const
{
    return m_SEOControls
            && SettingsControls::isOn(m_SEOControls->SEOCountKeywordsInContentCheckBox);
}

void SEOManager::loadSEODefaults()
{
    m_SEOTableView.loadDefaults();
    const QString key = QLatin1String(DefaultsKey::SEOCountKeywordsInContent);
    if (m_SEOControls && UserDefaults::contains(key))
        m_SEOControls->SEOCountKeywordsInContentCheckBox =
                UserDefaults::boolValue(key) ? CheckState::On : CheckState::Off;
}

void SEOManager::saveSEODefaults() const
{
    m_SEOTableView.saveDefaults();
    if (m_SEOControls)
        UserDefaults::setValue(QLatin1String(DefaultsKey::SEOCountKeywordsInContent),
                               countsKeywordsInContent());
}

void SEOManager::clearSEOAnalysis()
{
    m_SEOTableView.beginChange();
    m_duplicatesTableView.beginChange();
    m_duplicates.reset();
    m_SEOSortArray.clear();
    m_SEORows.clear();
    m_SEORowsValid = false;
    m_selectedSEOPage = nullptr;
    m_duplicateRows.clear();
    m_tfPagesIncludedInSEO = m_tfPagesSEOWithoutTitle = m_tfPagesSEOWithoutDescription = 0;
    m_duplicatesTableView.endChange();
    m_SEOTableView.endChange();
}

// ---- Duplicates and counters -------------------------------------------------------------------

const SEOManager::Duplicates &SEOManager::getDuplicates()
{
    if (m_duplicates)
        return *m_duplicates;
    Duplicates byTitle;
    byTitle.reserve(qsizetype(getCount()));
    for (OrelDataObject *item : items()) {
        // A page that names another as its canonical form is that page's copy on purpose.
        if (page(item)->canonicalMatchesUrl())
            byTitle[page(item)->getLinkPageTitle()].append(page(item));
    }
    for (auto it = byTitle.begin(); it != byTitle.end();) {
        if (it->size() < 2 || !hasPairOfEqualSize(*it))
            it = byTitle.erase(it);
        else
            ++it;
    }
    m_duplicates = std::move(byTitle);
    return *m_duplicates;
}

int SEOManager::getSitemapWithoutTitle() const
{
    return int(std::count_if(items().cbegin(), items().cend(), [](OrelDataObject *item) {
        return page(item)->getLinkPageTitle().isEmpty();
    }));
}

int SEOManager::getSitemapWithoutDescription() const
{
    return int(std::count_if(items().cbegin(), items().cend(), [](OrelDataObject *item) {
        return page(item)->getMetaDescription().isEmpty();
    }));
}

void SEOManager::updateSEOCounters()
{
    m_tfPagesIncludedInSEO = getSEOCollectionCount();
    m_tfPagesSEOWithoutTitle = getSitemapWithoutTitle();
    m_tfPagesSEOWithoutDescription = getSitemapWithoutDescription();
}

// ---- The keyword phrase
// --------------------------------------------------------------------------

void SEOManager::SEOfilter()
{
    if (!isSEOEnabled())
        return;
    const QString phrase = getSEOPhrase();
    m_SEOTableView.beginChange();
    for (OrelDataObject *item : items()) {
        item->setVisible2(true);
        if (!phrase.isEmpty() && !page(item)->countSEOTerm(phrase))
            item->setVisible2(false);
    }
    if (!phrase.isEmpty()) {
        sortByColumn(QStringLiteral("totalocurrences"), false, SortAsNumber);
        m_SEOSortArray.clear();
        for (int i = 0; OrelDataObject *item = getnthSortedItem(i); ++i)
            m_SEOSortArray.push_back(item);
    } else {
        // The table's own column sort, as a click on no new column.
        bhDataSource::didClickTableColumn(&m_SEOTableView);
    }
    m_SEORowsValid = false;
    m_SEOTableView.endChange();
    // The selected row may have gone.
    SEOTableSelectionDidChange(-1);
}

// ---- Report and CSV ----------------------------------------------------------------------------

QString SEOManager::getSEOReport()
{
    updateSEOCounters();
    return QStringLiteral("<h1>SEO</h1>\n<p>%1 page(s) included, %2 without title, %3 without "
                          "description</p>\n")
                   .arg(m_tfPagesIncludedInSEO)
                   .arg(m_tfPagesSEOWithoutTitle)
                   .arg(m_tfPagesSEOWithoutDescription)
            + getDataAsHTMLusingTableView(&m_SEOTableView) + QLatin1Char('\n');
}

void SEOManager::writeSEOCSV(TextSink &out)
{
    const QList<TableColumn> columns = m_SEOTableView.columns();
    for (qsizetype c = 0; c < columns.size(); ++c) {
        if (c > 0)
            out << QLatin1Char(',');
        out << QLatin1Char('"') << columns[c].title << QLatin1Char('"');
    }
    out << QLatin1Char('\r');
    const int rows = numberOfRowsInSEOTable();
    ExportProgress progress(rows);
    for (int r = 0; r < rows; ++r) {
        for (qsizetype c = 0; c < columns.size(); ++c) {
            if (c > 0)
                out << QLatin1Char(',');
            const QString &id = columns[c].identifier;
            out << QLatin1Char('"') << exportValue(id, SEOObjectValue(id, r)) << QLatin1Char('"');
        }
        out << QLatin1Char('\r');
        progress.step(r);
    }
}

QString SEOManager::getSEOCSV()
{
    return TextSink::gather([this](TextSink &out) { writeSEOCSV(out); });
}

bool SEOManager::exportSEOAsCSV()
{
    const std::optional<QString> path =
            Dialogs::current().savePanel(QStringLiteral("csv"), QString(), QString());
    if (!path || path->isEmpty())
        return false;
    return LinkExports::writeExport(*path, [this](TextSink &out) { writeSEOCSV(out); });
}

} // namespace orel
