// The rows and cells of the SEO table, its sort, its selection and the duplicates table.
#include "seo/SEOManager.h"

#include "common/Dialogs.h"
#include "links/LinkCheckerUrl.h"

namespace orel {

namespace {

// "(count) text": how often the phrase occurs in a cell's text.
QString counted(int count, const QString &text)
{
    return QLatin1Char('(') + QString::number(count) + QLatin1String(") ") + text;
}

} // namespace

const std::vector<LinkCheckerUrl *> &SEOManager::SEORows()
{
    // Pages are only appended between changes of order, so the count and the order's generation
    // tell whether the rows are still those of the collection.
    if (m_SEORowsValid && m_SEORowsCount == getCount() && m_SEORowsGeneration == orderGeneration())
        return m_SEORows;
    m_SEORows.clear();
    const int count = int(getCount());
    for (int i = 0; i < count; ++i) {
        OrelDataObject *item = getnthSortedItem(i);
        if (item && item->getVisible2())
            m_SEORows.push_back(static_cast<LinkCheckerUrl *>(item));
    }
    m_SEORowsValid = true;
    m_SEORowsCount = getCount();
    m_SEORowsGeneration = orderGeneration();
    return m_SEORows;
}

int SEOManager::numberOfRowsInSEOTable()
{
    return isSEOEnabled() ? int(SEORows().size()) : 0;
}

OrelDataObject *SEOManager::getnthVisibleItem(int n)
{
    const std::vector<LinkCheckerUrl *> &rows = SEORows();
    return n >= 0 && std::size_t(n) < rows.size() ? rows[std::size_t(n)] : nullptr;
}

QString SEOManager::SEOObjectValue(const QString &columnId, int row)
{
    auto *page = static_cast<LinkCheckerUrl *>(getnthVisibleItem(row));
    if (!page)
        return QStringLiteral("");
    const QString text = page->getFieldByName(columnId);
    if (getSEOPhrase().isEmpty())
        return text;
    const auto is = [&columnId](const char *id) { return columnId == QLatin1String(id); };
    if (is("actualurl"))
        return counted(page->getOcurrencesInUrl(), text);
    if (is("linkpagetitle"))
        return counted(page->getOcurrencesInTitle(), text);
    if (is("metadescription"))
        return counted(page->getOcurrencesInDescription(), text);
    if (is("keywords"))
        return counted(page->getOcurrencesInKeywords(), text);
    if (is("headings"))
        return counted(page->getOcurrencesInHeadings(), text);
    if (is("filesize") && countsKeywordsInContent())
        return counted(page->getOcurrencesInArchive(), text);
    return text;
}

void SEOManager::sortSEOTable(const QString &columnId, bool ascending)
{
    m_SEOTableView.setSortDescriptor(SortDescriptor { columnId, ascending });
    m_SEOTableView.beginChange();
    bhDataSource::didClickTableColumn(&m_SEOTableView);
    m_SEORowsValid = false;
    m_SEOTableView.endChange();
    SEOTableSelectionDidChange(-1);
}

// ---- Selection and duplicates ------------------------------------------------------------------

void SEOManager::SEOTableSelectionDidChange(int row)
{
    m_duplicatesTableView.beginChange();
    m_selectedSEOPage = static_cast<LinkCheckerUrl *>(row >= 0 ? getnthVisibleItem(row) : nullptr);
    m_duplicateRows.clear();
    if (m_selectedSEOPage) {
        const Duplicates &duplicates = getDuplicates();
        const auto it = duplicates.constFind(m_selectedSEOPage->getLinkPageTitle());
        if (it != duplicates.cend()) {
            const int bytes = m_selectedSEOPage->getFileSizeInBytes();
            for (LinkCheckerUrl *other : *it) {
                if (other != m_selectedSEOPage && other->getFileSizeInBytes() == bytes)
                    m_duplicateRows.push_back(other);
            }
        }
    }
    m_duplicatesTableView.endChange();
}

LinkCheckerUrl *SEOManager::duplicateAt(int row) const
{
    return row >= 0 && std::size_t(row) < m_duplicateRows.size() ? m_duplicateRows[std::size_t(row)]
                                                                 : nullptr;
}

void SEOManager::SEOOpenPage()
{
    if (m_selectedSEOPage)
        Dialogs::current().openUrl(m_selectedSEOPage->getActualLinkUrl());
}

QString SEOManager::copyURL() const
{
    return m_selectedSEOPage ? m_selectedSEOPage->getActualLinkUrl() : QString();
}

void SEOManager::showInspector()
{
    if (m_selectedSEOPage)
        m_selectedSEOPage->inspect();
}

} // namespace orel
