// Exports of the link views: CSV, tab-delimited and plain text, HTML and a Graphviz graph,
// built whole in memory and written atomically as UTF-8; main thread.
#pragma once

#include "reports/LinkResults.h"
#include "reports/TableDescription.h"

#include <QChar>
#include <QList>
#include <QString>
#include <QStringList>
#include <QStringConverter>

#include <functional>
#include <vector>

namespace orel {

class LinkViews;

class LinkExports
{
public:
    LinkExports(LinkResults &results, LinkViews &views);

    // Title of a flat-list column identifier ("status" -> "Status"); null when unknown.
    static QString flatColumnTitle(const QString &identifier);
    static QStringList flatColumnIdentifiers();

    // The link table's columns: its view's, or the flat list's first five without a view.
    QList<TableColumn> tableColumns() const;
    // The link table as CSV or tab-delimited text: quoted titles, one line per shown row (or,
    // flat, per page on which a shown row's link appears), "\r" line ends, values unescaped.
    QString tableText(const QList<TableColumn> &columns, QChar separator);
    QString flatText(const QList<TableColumn> &columns, QChar separator)
    {
        return flatText(columns, separator, visibleRows());
    }
    // The flat CSV of the given columns; badOnly takes the place of the bad-links-only switch.
    QString flatCSV(const QStringList &columns, bool badOnly);
    QString plainText();
    QString htmlText();
    // levelLimit: pages at this distance or more are left out; clean: a page is drawn as a
    // target only until it has its own node; colour: edges coloured by the page's distance.
    QString dotText(int levelLimit, bool clean, bool colour);

    // An outline's rows as shown (see bhDataSource's outline renderers): CSV, and HTML with the
    // style block in an HTML page.
    static QString outlineCsvText(TableDescription &outline);
    static QString outlineHtmlText(TableDescription &outline);

    // Each asks for a file of its type through the dialogs and writes it atomically.
    static void exportAsCSVFromOutlineView(TableDescription &outline);
    static void exportAsHTMLFromOutlineView(TableDescription &outline);
    void exportAsCSV();
    void exportAsFlatCSV();
    void exportAsTDL();
    void exportAsFlatTDL();
    void exportAsText();
    void exportAsHTML();
    void exportAsDot(int levelLimit, bool clean, bool colour);
    // Writes flatCSV() as UTF-8: atomically to a file; directly to "-" or "/dev/stdout", there
    // with "\r\n" line ends, and into a device or pipe.
    bool exportAsFlatCSVForCLI(const QString &path, const QStringList &columns, bool badOnly,
                               QString *error = nullptr);

    // Writes the text as UTF-8, atomically: a failed write leaves any earlier file whole and is
    // logged.
    static bool writeExport(const QString &path, const QString &text);
    // Appends the text in the encoding to the file, creating it when missing.
    static bool append(const QString &text, const QString &path,
                       QStringConverter::Encoding encoding = QStringConverter::Utf8);

private:
    std::vector<LinkCheckerUrl *> visibleRows() const;
    static QString headerLine(const QList<TableColumn> &columns, QChar separator);
    QString flatText(const QList<TableColumn> &columns, QChar separator,
                     const std::vector<LinkCheckerUrl *> &rows);
    // Asks for a file of the type, then builds the text and writes it.
    static bool saveExport(const QString &fileType, const std::function<QString()> &build);

    LinkResults &m_results;
    LinkViews &m_views;
};

} // namespace orel
