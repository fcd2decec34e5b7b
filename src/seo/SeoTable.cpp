// The SEO table and the duplicates table: columns, optional columns and row counts.
#include "seo/SeoTable.h"

#include "common/UserDefaults.h"
#include "seo/SEOManager.h"

#include <algorithm>

namespace orel {

namespace {

struct Column
{
    const char *identifier;
    const char *title;
    double width;
};

constexpr Column kFixedColumns[] = {
    { "actualurl", "URL", 250 },
    { "linkpagetitle", "Title", 200 },
    { "metadescription", "Description", 200 },
    { "keywords", "Keywords", 150 },
    { "headings", "Headings", 150 },
};

struct OptionalColumn
{
    Column column;
    const char *defaultsKey;
    bool checkedByDefault;
};

constexpr OptionalColumn kOptionalColumns[] = {
    { { "canonical", "Canonical", 200 }, "KestovanSEOViewColsCanonical", false },
    { { "responsetime", "Response time", 90 }, "KestovanSEOViewColsResponseTime", false },
    { { "imageqty", "Image count", 80 }, "KestovanSEOViewColsImageCount", false },
    { { "imageweight", "Image weight", 90 }, "KestovanSEOViewColsImageWeight", false },
    { { "linkcount", "Link count", 80 }, "KestovanSEOViewColsLinkCount", false },
    { { "wordcount", "Word count", 80 }, "KestovanSEOViewColsWordCount", false },
    { { "filesize", "Content", 80 }, "KestovanSEOViewColsContent", true },
};
constexpr int kOptionalCount = int(std::size(kOptionalColumns));

// The pages that look like copies of the selected one.
constexpr Column kDuplicateColumns[] = {
    { "actualurl", "URL", 250 },
    { "linkpagetitle", "Title", 200 },
    { "filesize", "Content", 80 },
};

TableColumn tableColumn(const Column &c)
{
    return TableColumn { QLatin1String(c.identifier), QLatin1String(c.title), c.width };
}

int optionalIndex(const QString &title)
{
    for (int i = 0; i < kOptionalCount; ++i) {
        if (title == QLatin1String(kOptionalColumns[i].column.title))
            return i;
    }
    return -1;
}

} // namespace

SeoTable::SeoTable(SEOManager &manager, Kind kind) : m_manager(manager), m_kind(kind)
{
    if (kind == Kind::SEO)
        loadDefaults();
}

QString SeoTable::identifier() const
{
    return m_kind == Kind::SEO ? QStringLiteral("seo") : QStringLiteral("duplicates");
}

QList<TableColumn> SeoTable::columns() const
{
    QList<TableColumn> out;
    if (m_kind == Kind::Duplicates) {
        for (const Column &c : kDuplicateColumns)
            out.append(tableColumn(c));
        return out;
    }
    out = fixedColumns();
    for (int i : m_shownOptional)
        out.append(tableColumn(kOptionalColumns[i].column));
    return out;
}

int SeoTable::numberOfRows() const
{
    return m_kind == Kind::SEO ? m_manager.numberOfRowsInSEOTable()
                               : m_manager.numberOfRowsInDuplicatesTable();
}

bhDataSource *SeoTable::dataSource() const
{
    return &m_manager;
}

QList<TableColumn> SeoTable::fixedColumns()
{
    QList<TableColumn> out;
    for (const Column &c : kFixedColumns)
        out.append(tableColumn(c));
    return out;
}

QList<TableColumn> SeoTable::optionalColumns()
{
    QList<TableColumn> out;
    for (const OptionalColumn &c : kOptionalColumns)
        out.append(tableColumn(c.column));
    return out;
}

QString SeoTable::defaultsKeyForTitle(const QString &title)
{
    const int i = optionalIndex(title);
    return i < 0 ? QString() : QLatin1String(kOptionalColumns[i].defaultsKey);
}

bool SeoTable::isColumnShown(const QString &title) const
{
    const int i = optionalIndex(title);
    if (i < 0) {
        const QList<TableColumn> fixed = fixedColumns();
        return m_kind == Kind::SEO
                && std::any_of(fixed.cbegin(), fixed.cend(),
                               [&](const TableColumn &c) { return c.title == title; });
    }
    return std::find(m_shownOptional.cbegin(), m_shownOptional.cend(), i) != m_shownOptional.cend();
}

bool SeoTable::addColumnWithTitle(const QString &title)
{
    const int i = optionalIndex(title);
    if (m_kind != Kind::SEO || i < 0)
        return false;
    if (!isColumnShown(title)) {
        beginChange();
        m_shownOptional.push_back(i);
        endChange();
    }
    return true;
}

bool SeoTable::removeColumnWithTitle(const QString &title)
{
    const int i = optionalIndex(title);
    if (m_kind != Kind::SEO || i < 0)
        return false;
    if (isColumnShown(title)) {
        beginChange();
        std::erase(m_shownOptional, i);
        endChange();
    }
    return true;
}

void SeoTable::loadDefaults()
{
    beginChange();
    m_shownOptional.clear();
    for (int i = 0; i < kOptionalCount; ++i) {
        const QString key = QLatin1String(kOptionalColumns[i].defaultsKey);
        if (UserDefaults::contains(key) ? UserDefaults::boolValue(key)
                                        : kOptionalColumns[i].checkedByDefault)
            m_shownOptional.push_back(i);
    }
    endChange();
}

void SeoTable::saveDefaults() const
{
    for (int i = 0; i < kOptionalCount; ++i)
        UserDefaults::setValue(QLatin1String(kOptionalColumns[i].defaultsKey),
                               std::find(m_shownOptional.cbegin(), m_shownOptional.cend(), i)
                                       != m_shownOptional.cend());
}

} // namespace orel
