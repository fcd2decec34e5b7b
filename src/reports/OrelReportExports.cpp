// Exports of the flat list: CSV, tab-delimited text and an HTML page of the shown rows, each
// built whole in memory and written atomically as UTF-8.
#include "reports/OrelReportDataSource.h"

#include "common/AtomicFile.h"
#include "common/Dialogs.h"
#include "common/Localize.h"
#include "common/Log.h"
#include "links/LinkCheckerUrl.h"
#include "reports/ExportProgress.h"
#include "reports/HtmlExport.h"

namespace orel {

namespace {

// An HTML cell: the link and its redirect as the record's anchors; the page as an anchor of this
// occurrence's page only. (The record's own page field lists every page of the link: repeated
// in each of its rows, a link in a site's menu would make the page grow with the square of its
// occurrences.)
QString htmlValue(const OrelReportItem *item, const QString &columnId)
{
    if (columnId == QLatin1String("onpageurl")) {
        const LinkCheckerUrl *record = item->getLinkCheckerUrl();
        const QString page = record ? record->onPageUrlAt(item->getOccurrence()) : QString();
        return bhDataSource::exportValue(columnId,
                                         QStringLiteral("<a href = \"%1\" target=\"_blank\">%2</a>")
                                                 .arg(page, item->getOnPageUrl()));
    }
    QString field = columnId;
    if (columnId == QLatin1String("linkurl"))
        field = QStringLiteral("linkurlhtml");
    else if (columnId == QLatin1String("redir"))
        field = QStringLiteral("linkredirhtml");
    return bhDataSource::exportValue(field, item->getFieldByName(field));
}

} // namespace

QString OrelReportDataSource::flatText(QChar separator)
{
    const QList<TableColumn> shownColumns = columns();
    QString out;
    for (qsizetype c = 0; c < shownColumns.size(); ++c) {
        if (c > 0)
            out += separator;
        out += QLatin1Char('"') + shownColumns[c].title + QLatin1Char('"');
    }
    out += QLatin1Char('\r');
    const int count = numberOfRows();
    ExportProgress progress(count);
    for (int r = 0; r < count; ++r) {
        progress.step(r);
        const OrelReportItem *item = rowAt(r);
        for (qsizetype c = 0; c < shownColumns.size(); ++c) {
            if (c > 0)
                out += separator;
            const QString &id = shownColumns[c].identifier;
            out += QLatin1Char('"') + exportValue(id, item->getFieldByName(id)) + QLatin1Char('"');
        }
        out += QLatin1Char('\r');
    }
    return out;
}

// A row's class colour wins over the shading of every second row: a cell takes one style.
QString OrelReportDataSource::htmlText()
{
    const QList<TableColumn> shownColumns = columns();
    QString body = html::tableStart(shownColumns);
    const int count = numberOfRows();
    ExportProgress progress(count);
    for (int r = 0; r < count; ++r) {
        progress.step(r);
        const OrelReportItem *item = rowAt(r);
        // Each row takes the colour the view gives its row of the same number.
        const std::optional<Colour> colour = labelColorForRow(nullptr, r);
        QString style;
        if (colour)
            style = html::colourStyle(*colour);
        else if (r % 2 == 1)
            style = QStringLiteral("style = background:#f0f0ff ");
        body += QStringLiteral("<tr>");
        for (const TableColumn &column : shownColumns) {
            body += QStringLiteral("<td ") + style + QLatin1Char('>')
                    + htmlValue(item, column.identifier) + QStringLiteral("</td>");
        }
        body += QStringLiteral("</tr>");
    }
    body += QStringLiteral("</table><br />");
    return html::page(body);
}

bool OrelReportDataSource::confirmLargeExport()
{
    if (m_badLinksOnly || getCount() <= kLargeExportItems)
        return true;
    const int answer = Dialogs::current().alert(
            localized("Large export"),
            localized("With the present settings, the exported file will contain a very large "
                      "number of links, many of which may be OK. If you continue, there may be "
                      "problems generating or displaying the file. Consider cancelling and "
                      "showing bad links only before generating this report."),
            { localized("Cancel"), localized("Continue") });
    return answer == 1;
}

bool OrelReportDataSource::writeExport(const QString &text, const QString &fileType)
{
    const std::optional<QString> path =
            Dialogs::current().savePanel(fileType, QString(), QString());
    if (!path || path->isEmpty())
        return false;
    if (!writeFileAtomically(*path, text.toUtf8())) {
        log(QStringLiteral("Unsuccessful exporting data to %1\n").arg(*path));
        return false;
    }
    return true;
}

bool OrelReportDataSource::exportAsFlatCSV()
{
    if (!confirmLargeExport())
        return false;
    return writeExport(flatCSVText(), QStringLiteral("csv"));
}

bool OrelReportDataSource::exportAsHTML()
{
    if (!confirmLargeExport())
        return false;
    return writeExport(htmlText(), QStringLiteral("html"));
}

bool OrelReportDataSource::exportAsFlatTDL()
{
    return writeExport(flatTDLText(), QStringLiteral("txt"));
}

} // namespace orel
