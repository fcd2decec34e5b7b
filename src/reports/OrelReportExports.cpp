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
#include "reports/ReadAhead.h"

#include <algorithm>
#include <array>
#include <vector>

namespace orel {

namespace {

// What an export writes in a column. A row's cells are its record's (the same for every row of a
// link, whose rows follow each other unless the list is sorted by an occurrence's value: read
// again only when the record changes) or its occurrence's: the page and the link text, read a
// batch of rows ahead (see ReadAhead), and the nofollow flag.
enum class Cell { Record, Page, PageAnchor, LinkText, PageName, Nofollow };

// The cells of the shown rows, a batch at a time, as getFieldByName() and exportValue() give
// them. In HTML the link and its redirect are the record's anchors and the page an anchor of
// this occurrence's page only. (The record's own page field lists every page of the link:
// repeated in each of its rows, a link in a site's menu would make the page grow with the square
// of its occurrences.)
class FlatRows
{
public:
    FlatRows(const OrelReportDataSource &source, const QList<TableColumn> &columns, bool html)
        : m_source(source)
    {
        for (const TableColumn &column : columns) {
            const QString &id = column.identifier;
            const Cell cell = id == QLatin1String("onpageurl")
                    ? (html ? Cell::PageAnchor : Cell::Page)
                    : id == QLatin1String("linktext")   ? Cell::LinkText
                    : id == QLatin1String("onpagename") ? Cell::PageName
                    : id == QLatin1String("nofollow")   ? Cell::Nofollow
                                                        : Cell::Record;
            m_cells.push_back(cell);
            m_readsPages = m_readsPages || cell == Cell::Page || cell == Cell::PageAnchor;
            m_readsPageUrls = m_readsPageUrls || cell == Cell::PageAnchor;
            m_readsTexts = m_readsTexts || cell == Cell::LinkText;
            m_readsNames = m_readsNames || cell == Cell::PageName;
            m_fields.append(!html                                    ? id
                                    : id == QLatin1String("linkurl") ? QStringLiteral("linkurlhtml")
                                    : id == QLatin1String("redir") ? QStringLiteral("linkredirhtml")
                                                                   : id);
        }
        m_recordValues.resize(m_fields.size());
    }

    // Reads the occurrences of rows first .. first + count - 1 (count at most ReadAhead::kBatch).
    void read(int first, int count)
    {
        for (int k = 0; k < count; ++k)
            m_items[k] = m_source.rowAt(first + k);
        const auto readAhead = [this, count](ReadAhead &texts, auto view) {
            texts.read(count, [this, &view](int k) {
                const LinkCheckerUrl *record = m_items[k]->getLinkCheckerUrl();
                return record ? view(*record, m_items[k]->getOccurrence()) : QStringView();
            });
        };
        if (m_readsPages)
            readAhead(m_pages,
                      [](const LinkCheckerUrl &r, quint32 i) { return r.onPageShownView(i); });
        if (m_readsPageUrls)
            readAhead(m_pageUrls,
                      [](const LinkCheckerUrl &r, quint32 i) { return r.onPageUrlView(i); });
        if (m_readsTexts)
            readAhead(m_texts,
                      [](const LinkCheckerUrl &r, quint32 i) { return r.onPageLinkTextView(i); });
        if (m_readsNames)
            readAhead(m_names,
                      [](const LinkCheckerUrl &r, quint32 i) { return r.onPageNameView(i); });
    }

    // Writes the cell of column c of the batch's row k.
    void write(TextSink &out, int k, qsizetype c)
    {
        const OrelReportItem &item = *m_items[k];
        switch (m_cells[std::size_t(c)]) {
        case Cell::Record:
            if (item.getLinkCheckerUrl() != m_record || !m_recordRead)
                readRecord(item);
            out << m_recordValues.at(c);
            break;
        case Cell::Page:
            out << m_pages.at(k);
            break;
        case Cell::PageAnchor:
            out << u"<a href = \"" << m_pageUrls.at(k) << u"\" target=\"_blank\">" << m_pages.at(k)
                << u"</a>";
            break;
        case Cell::LinkText:
            out << m_texts.at(k);
            break;
        case Cell::PageName:
            out << m_names.at(k);
            break;
        case Cell::Nofollow:
            out << (item.getNofollow() ? u"Yes" : u"No");
            break;
        }
    }

private:
    void readRecord(const OrelReportItem &item)
    {
        for (qsizetype c = 0; c < m_fields.size(); ++c) {
            if (m_cells[std::size_t(c)] == Cell::Record)
                m_recordValues[c] = bhDataSource::exportValue(m_fields.at(c),
                                                              item.getFieldByName(m_fields.at(c)));
        }
        m_record = item.getLinkCheckerUrl();
        m_recordRead = true;
    }

    const OrelReportDataSource &m_source;
    std::vector<Cell> m_cells;
    QStringList m_fields;
    bool m_readsPages = false, m_readsPageUrls = false, m_readsTexts = false, m_readsNames = false;
    std::array<const OrelReportItem *, ReadAhead::kBatch> m_items {};
    ReadAhead m_pages, m_pageUrls, m_texts, m_names;
    const LinkCheckerUrl *m_record = nullptr;
    bool m_recordRead = false;
    QStringList m_recordValues;
};

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
    FlatRows rows(*this, shownColumns, false);
    const int count = numberOfRows();
    ExportProgress progress(count);
    for (int first = 0; first < count; first += ReadAhead::kBatch) {
        progress.step(first);
        const int batch = std::min(ReadAhead::kBatch, count - first);
        rows.read(first, batch);
        for (int k = 0; k < batch; ++k) {
            for (qsizetype c = 0; c < shownColumns.size(); ++c) {
                if (c > 0)
                    out << separator;
                out << u'"';
                rows.write(out, k, c);
                out << u'"';
            }
            out << u'\r';
        }
    }
}

// A row's class colour wins over the shading of every second row: a cell takes one style.
void OrelReportDataSource::writeHtml(TextSink &out)
{
    const QList<TableColumn> shownColumns = columns();
    html::writePageHead(out);
    out << html::tableStart(shownColumns);
    FlatRows rows(*this, shownColumns, true);
    const int count = numberOfRows();
    ExportProgress progress(count);
    const QString shaded = QStringLiteral("style = background:#f0f0ff ");
    for (int first = 0; first < count; first += ReadAhead::kBatch) {
        progress.step(first);
        const int batch = std::min(ReadAhead::kBatch, count - first);
        rows.read(first, batch);
        for (int k = 0; k < batch; ++k) {
            const int r = first + k;
            // Each row takes the colour the view gives its row of the same number.
            const std::optional<Colour> colour = labelColorForRow(nullptr, r);
            const QString style = colour ? html::colourStyle(*colour)
                    : r % 2 == 1         ? shaded
                                         : QString();
            out << u"<tr>";
            for (qsizetype c = 0; c < shownColumns.size(); ++c) {
                out << u"<td " << style << u'>';
                rows.write(out, k, c);
                out << u"</td>";
            }
            out << u"</tr>";
        }
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
