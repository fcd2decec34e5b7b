// Exports of the flat list: CSV, tab-delimited text and an HTML page of the shown rows, each
// written to its file as UTF-8 while it is built.
#include "reports/OrelReportDataSource.h"

#include "common/AtomicFile.h"
#include "common/Dialogs.h"
#include "common/Localize.h"
#include "common/Log.h"
#include "common/TextSink.h"
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

void OrelReportDataSource::writeFlatText(TextSink &out, QChar separator)
{
    const QList<TableColumn> shownColumns = columns();
    for (qsizetype c = 0; c < shownColumns.size(); ++c) {
        if (c > 0)
            out << separator;
        out << u'"' << shownColumns[c].title << u'"';
    }
    out << u'\r';
    const int count = numberOfRows();
    ExportProgress progress(count);
    for (int r = 0; r < count; ++r) {
        progress.step(r);
        const OrelReportItem *item = rowAt(r);
        for (qsizetype c = 0; c < shownColumns.size(); ++c) {
            if (c > 0)
                out << separator;
            const QString &id = shownColumns[c].identifier;
            out << u'"' << exportValue(id, item->getFieldByName(id)) << u'"';
        }
        out << u'\r';
    }
}

// A row's class colour wins over the shading of every second row: a cell takes one style.
void OrelReportDataSource::writeHtml(TextSink &out)
{
    const QList<TableColumn> shownColumns = columns();
    html::writePageHead(out);
    out << html::tableStart(shownColumns);
    const int count = numberOfRows();
    ExportProgress progress(count);
    const QString shaded = QStringLiteral("style = background:#f0f0ff ");
    for (int r = 0; r < count; ++r) {
        progress.step(r);
        const OrelReportItem *item = rowAt(r);
        // Each row takes the colour the view gives its row of the same number.
        const std::optional<Colour> colour = labelColorForRow(nullptr, r);
        const QString style = colour ? html::colourStyle(*colour) : r % 2 == 1 ? shaded : QString();
        out << u"<tr>";
        for (const TableColumn &column : shownColumns)
            out << u"<td " << style << u'>' << htmlValue(item, column.identifier) << u"</td>";
        out << u"</tr>";
    }
    out << u"</table><br />";
    html::writePageTail(out);
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

bool OrelReportDataSource::writeExport(const QString &fileType,
                                       const std::function<void(TextSink &)> &build)
{
    const std::optional<QString> path =
            Dialogs::current().savePanel(fileType, QString(), QString());
    if (!path || path->isEmpty())
        return false;
    if (!writeTextAtomically(*path, build)) {
        log(QStringLiteral("Unsuccessful exporting data to %1\n").arg(*path));
        return false;
    }
    return true;
}

// The large-export question comes first, then where to save; the text is built last, into the
// file.
bool OrelReportDataSource::exportAsFlatCSV()
{
    return confirmLargeExport() && writeExport(QStringLiteral("csv"), [this](TextSink &out) {
               writeFlatText(out, QLatin1Char(','));
           });
}

bool OrelReportDataSource::exportAsHTML()
{
    return confirmLargeExport()
            && writeExport(QStringLiteral("html"), [this](TextSink &out) { writeHtml(out); });
}

bool OrelReportDataSource::exportAsFlatTDL()
{
    return writeExport(QStringLiteral("txt"),
                       [this](TextSink &out) { writeFlatText(out, QLatin1Char('\t')); });
}

} // namespace orel
