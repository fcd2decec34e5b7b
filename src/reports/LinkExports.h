// Exports of the link views: CSV, tab-delimited and plain text, HTML and a Graphviz graph, each
// written to its file as UTF-8 while it is built (atomically: a failure leaves an earlier file
// whole) or gathered into a string; main thread.
#pragma once

#include "common/TextSink.h"
#include "reports/LinkResults.h"
#include "reports/TableDescription.h"

#include <QChar>
#include <QList>
#include <QString>
#include <QStringList>
#include <QStringConverter>

#include <functional>
#include <optional>
#include <vector>

namespace orel {

class LinkViews;
class ReadAhead;

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
    void writeTable(TextSink &out, const QList<TableColumn> &columns, QChar separator);
    void writeFlat(TextSink &out, const QList<TableColumn> &columns, QChar separator)
    {
        writeFlat(out, columns, separator, visibleRows());
    }
    // The flat CSV of the given columns; badOnly takes the place of the bad-links-only switch.
    void writeFlatCSV(TextSink &out, const QStringList &columns, bool badOnly);
    void writePlainText(TextSink &out);
    void writeHtml(TextSink &out);
    // levelLimit: pages at this distance or more are left out; clean: a page is drawn as a
    // target only until it has its own node; colour: edges coloured by the page's distance.
    void writeDot(TextSink &out, int levelLimit, bool clean, bool colour);

    // The same texts as strings.
    QString tableText(const QList<TableColumn> &columns, QChar separator)
    {
        return TextSink::gather([&](TextSink &out) { writeTable(out, columns, separator); });
    }
    QString flatText(const QList<TableColumn> &columns, QChar separator)
    {
        return TextSink::gather([&](TextSink &out) { writeFlat(out, columns, separator); });
    }
    QString flatCSV(const QStringList &columns, bool badOnly)
    {
        return TextSink::gather([&](TextSink &out) { writeFlatCSV(out, columns, badOnly); });
    }
    QString plainText()
    {
        return TextSink::gather([&](TextSink &out) { writePlainText(out); });
    }
    QString htmlText()
    {
        return TextSink::gather([&](TextSink &out) { writeHtml(out); });
    }
    QString dotText(int levelLimit, bool clean, bool colour)
    {
        return TextSink::gather([&](TextSink &out) { writeDot(out, levelLimit, clean, colour); });
    }

    // An outline's rows as shown (see bhDataSource's outline renderers): CSV, and HTML with the
    // style block in an HTML page.
    static QString outlineCsvText(TableDescription &outline);
    static QString outlineHtmlText(TableDescription &outline);

    // Each asks for a file of its type through the dialogs, then writes its text to it.
    static void exportAsCSVFromOutlineView(TableDescription &outline);
    static void exportAsHTMLFromOutlineView(TableDescription &outline);
    void exportAsCSV();
    void exportAsFlatCSV();
    void exportAsTDL();
    void exportAsFlatTDL();
    void exportAsText();
    void exportAsHTML();
    void exportAsDot(int levelLimit, bool clean, bool colour);
    // Writes the flat CSV as UTF-8: atomically to a file; directly to "-" or "/dev/stdout", there
    // with "\r\n" line ends, and into a device or pipe.
    bool exportAsFlatCSVForCLI(const QString &path, const QStringList &columns, bool badOnly,
                               QString *error = nullptr);

    // Write the text (that build appends, while it is built) as UTF-8, atomically: a failed
    // write leaves any earlier file whole and is logged.
    static bool writeExport(const QString &path, const std::function<void(TextSink &)> &build);
    static bool writeExport(const QString &path, const QString &text);
    // Appends the text in the encoding to the file, creating it when missing.
    static bool append(const QString &text, const QString &path,
                       QStringConverter::Encoding encoding = QStringConverter::Utf8);

private:
    std::vector<LinkCheckerUrl *> visibleRows() const;
    static void writeHeader(TextSink &out, const QList<TableColumn> &columns, QChar separator);
    void writeFlat(TextSink &out, const QList<TableColumn> &columns, QChar separator,
                   const std::vector<LinkCheckerUrl *> &rows);
    // The record's pages as its getOnPagesArray() lists them, each without user info; the same
    // as the list joined and then without user info only when between cannot be part of user
    // info ("\r" cannot; "," can).
    static void writePages(TextSink &out, const LinkCheckerUrl &record, QChar between,
                           ReadAhead &pages);
    // Asks where to save a file of the type; none when cancelled.
    static std::optional<QString> savePath(const QString &fileType);
    // Asks for a file of the type, then builds the text into it.
    static bool saveExport(const QString &fileType, const std::function<void(TextSink &)> &build);

    LinkResults &m_results;
    LinkViews &m_views;
};

} // namespace orel
