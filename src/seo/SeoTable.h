// The SEO table and the duplicates table as the renderers and the item models see them: their
// columns (with the SEO table's optional columns and their check boxes in the user defaults),
// row counts, sort descriptor and change notices; main thread.
#pragma once

#include "reports/TableDescription.h"

#include <QList>
#include <QObject>
#include <QString>

#include <optional>
#include <vector>

namespace orel {

class SEOManager;

// Both tables answer their rows from the SEO manager. Every wholesale change of rows or columns
// is bracketed by aboutToChange() and changed(); reloadData() says that rows may have been
// appended or values changed since the last look.
class SeoTable : public QObject, public TableDescription
{
    Q_OBJECT
public:
    enum class Kind { SEO, Duplicates };

    SeoTable(SEOManager &manager, Kind kind);

    Kind kind() const { return m_kind; }
    // "seo" or "duplicates".
    QString identifier() const override;
    QList<TableColumn> columns() const override;
    int numberOfRows() const override;
    void reloadData() override { Q_EMIT reloaded(); }
    std::optional<SortDescriptor> firstSortDescriptor() const override { return m_sort; }
    void setSortDescriptor(const std::optional<SortDescriptor> &sort) { m_sort = sort; }
    bhDataSource *dataSource() const override;

    // ---- The SEO table's columns ---------------------------------------------------------------
    // The fixed columns (URL, title, description, keywords, headings), then the optional ones
    // ("Canonical", "Response time", "Image count", "Image weight", "Link count", "Word count",
    // "Content"), each with its check box key ("KestovanSEOViewColsCanonical" ...).
    static QList<TableColumn> fixedColumns();
    static QList<TableColumn> optionalColumns();
    static QString defaultsKeyForTitle(const QString &title); // null when not optional
    bool isColumnShown(const QString &title) const;
    // Checks the optional column's box and shows it at the end; false for any other title.
    bool addColumnWithTitle(const QString &title);
    // Unchecks the optional column's box and hides it; false for any other title.
    bool removeColumnWithTitle(const QString &title);
    // The check boxes from the user defaults (a missing key keeps the box's default: only
    // "Content" is on), and back.
    void loadDefaults();
    void saveDefaults() const;

    // Brackets a change of rows or columns (the models reset).
    void beginChange() { Q_EMIT aboutToChange(); }
    void endChange() { Q_EMIT changed(); }

Q_SIGNALS:
    void aboutToChange();
    void changed();
    void reloaded();

private:
    SEOManager &m_manager;
    Kind m_kind;
    std::optional<SortDescriptor> m_sort;
    // The optional columns shown, as places in optionalColumns(), in display order.
    std::vector<int> m_shownOptional;
};

} // namespace orel
