// Exports of the link views: CSV and tab-delimited text with one line per row or per
// occurrence, plain text, HTML and a Graphviz graph of the internal pages, each appended to a
// sink piece by piece.
#include "reports/LinkExports.h"

#include "common/AtomicFile.h"
#include "common/Dialogs.h"
#include "common/Log.h"
#include "common/UrlParts.h"
#include "links/LinkCheckerUrl.h"
#include "reports/ExportProgress.h"
#include "reports/HtmlExport.h"
#include "reports/LinkViews.h"
#include "reports/ReadAhead.h"
#include "reports/bhDataSource.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <algorithm>
#include <array>
#include <cstdio>

namespace orel {

namespace {

struct FlatColumn
{
    const char *identifier;
    const char *title;
};

// The columns of the flat list, in their default order.
constexpr FlatColumn kFlatColumns[] = {
    { "status", "Status" },      { "linkurl", "URL" },       { "redir", "Redirected To" },
    { "linktext", "Link Text" }, { "onpageurl", "On Page" }, { "timestamp", "Time Stamp" },
    { "distance", "Distance" },  { "nofollow", "Nofollow" },
};

QString edgeColour(int distance)
{
    switch (distance) {
    case 0:
        return QStringLiteral("red");
    case 1:
        return QStringLiteral("orange");
    case 2:
        return QStringLiteral("yellow");
    default:
        return QStringLiteral("gray");
    }
}

// What the graph needs of each internal record of the link table, by its place there: the number
// of its URL (records redirected to one URL share it) and its text as an edge's target, and
// where else in the table it is. Read once in table order: a large site's graph has millions of
// edges, and reading each target's record and URL for each of them, scattered over the heap,
// took most of its time.
class DotTargets
{
public:
    explicit DotTargets(const std::vector<LinkCheckerUrl *> &table)
        : m_urlNumbers(table.size(), -1), m_nextPlaces(table.size(), -1)
    {
        QHash<QString, int> numbers;
        numbers.reserve(qsizetype(table.size()));
        m_firstPlaces.reserve(qsizetype(table.size()));
        m_textStarts.reserve(table.size() + 1);
        for (std::size_t t = 0; t < table.size(); ++t) {
            m_textStarts.push_back(m_texts.size());
            if (!table[t] || !table[t]->isInternal())
                continue;
            const QString url = table[t]->getActualLinkUrl();
            auto number = numbers.constFind(url);
            if (number == numbers.cend())
                number = numbers.insert(url, int(numbers.size()));
            m_urlNumbers[t] = *number;
            m_texts += UrlParts::stripHost(UrlParts::withoutUserInfo(url));
        }
        m_textStarts.push_back(m_texts.size());
        m_urlCount = int(numbers.size());
        // Each record's places, first to last: the first in m_firstPlaces, each next one in
        // m_nextPlaces at the place before it.
        for (std::size_t t = table.size(); t-- > 0;) {
            if (m_urlNumbers[t] < 0)
                continue;
            auto first = m_firstPlaces.find(table[t]);
            if (first == m_firstPlaces.end())
                first = m_firstPlaces.insert(table[t], -1);
            m_nextPlaces[t] = *first;
            *first = int(t);
        }
    }

    int urlCount() const { return m_urlCount; }
    int urlNumber(int place) const { return m_urlNumbers[std::size_t(place)]; }
    QStringView text(int place) const
    {
        const qsizetype start = m_textStarts[std::size_t(place)];
        return QStringView(m_texts).sliced(start, m_textStarts[std::size_t(place) + 1] - start);
    }
    // Appends the places of an internal record of the table (none for any other).
    void appendPlaces(const LinkCheckerUrl *record, QList<int> &places) const
    {
        const auto first = m_firstPlaces.constFind(record);
        for (int t = first == m_firstPlaces.cend() ? -1 : *first; t >= 0;
             t = m_nextPlaces[std::size_t(t)])
            places.append(t);
    }

private:
    std::vector<int> m_urlNumbers; // -1 for a place that is no internal record
    QString m_texts;
    std::vector<qsizetype> m_textStarts;
    QHash<const LinkCheckerUrl *, int> m_firstPlaces;
    std::vector<int> m_nextPlaces;
    int m_urlCount = 0;
};

} // namespace

LinkExports::LinkExports(LinkResults &results, LinkViews &views)
    : m_results(results), m_views(views)
{ }

QString LinkExports::flatColumnTitle(const QString &identifier)
{
    for (const FlatColumn &c : kFlatColumns) {
        if (identifier == QLatin1String(c.identifier))
            return QLatin1String(c.title);
    }
    return {};
}

QStringList LinkExports::flatColumnIdentifiers()
{
    QStringList out;
    for (const FlatColumn &c : kFlatColumns)
        out.append(QLatin1String(c.identifier));
    return out;
}

std::vector<LinkCheckerUrl *> LinkExports::visibleRows() const
{
    return m_views.visibleRows();
}

QList<TableColumn> LinkExports::tableColumns() const
{
    if (TableDescription *table = m_results.linkSource().getTableView())
        return table->columns();
    // Without a view: the flat list's default columns.
    QList<TableColumn> columns;
    for (const QString &id :
         { QStringLiteral("status"), QStringLiteral("linkurl"), QStringLiteral("redir"),
           QStringLiteral("linktext"), QStringLiteral("onpageurl") })
        columns.append(TableColumn { id, flatColumnTitle(id), 200 });
    return columns;
}

void LinkExports::writeHeader(TextSink &out, const QList<TableColumn> &columns, QChar separator)
{
    for (qsizetype c = 0; c < columns.size(); ++c) {
        if (c)
            out << separator;
        out << u'"' << columns.at(c).title << u'"';
    }
    out << u'\r';
}

void LinkExports::writeTable(TextSink &out, const QList<TableColumn> &columns, QChar separator)
{
    writeHeader(out, columns, separator);
    const std::vector<LinkCheckerUrl *> rows = m_views.visibleRows();
    ExportProgress progress(int(rows.size()));
    ReadAhead pages;
    for (std::size_t r = 0; r < rows.size(); ++r) {
        progress.step(int(r));
        for (qsizetype c = 0; c < columns.size(); ++c) {
            if (c)
                out << separator;
            const QString &id = columns.at(c).identifier;
            out << u'"';
            // The page column holds every page of the link, "\r" between them.
            if (id == QLatin1String("onpageurl"))
                writePages(out, *rows[r], u'\r', pages);
            else
                out << bhDataSource::exportValue(id, rows[r]->getFieldByName(id));
            out << u'"';
        }
        out << u'\r';
    }
}

void LinkExports::writePages(TextSink &out, const LinkCheckerUrl &record, QChar between,
                             ReadAhead &pages)
{
    const qsizetype count = record.onPagesArrayCount();
    for (qsizetype first = 0; first < count; first += ReadAhead::kBatch) {
        const int batch = int(std::min<qsizetype>(ReadAhead::kBatch, count - first));
        pages.read(batch, [&](int k) { return record.onPagesArrayView(first + k); });
        for (int k = 0; k < batch; ++k) {
            if (first + k)
                out << between;
            out << pages.at(k);
        }
    }
}

void LinkExports::writeFlat(TextSink &out, const QList<TableColumn> &columns, QChar separator,
                            const std::vector<LinkCheckerUrl *> &rows)
{
    writeHeader(out, columns, separator);
    qsizetype pageColumn = -1;
    for (qsizetype c = 0; c < columns.size(); ++c) {
        if (columns.at(c).identifier == QLatin1String("onpageurl"))
            pageColumn = c;
    }
    ExportProgress progress(int(rows.size()));
    // A line per page of each record (none for a record on no page), read a batch of lines at a
    // time across records: most links are on a few pages only.
    std::array<std::pair<const LinkCheckerUrl *, qsizetype>, ReadAhead::kBatch> lines;
    ReadAhead pages;
    QStringList values(columns.size()); // the record's, but for the page column
    const LinkCheckerUrl *valuesOf = nullptr;
    std::size_t r = 0;
    qsizetype page = 0;
    while (r < rows.size()) {
        int batch = 0;
        while (batch < ReadAhead::kBatch && r < rows.size()) {
            if (page < rows[r]->onPagesArrayCount()) {
                lines[std::size_t(batch++)] = { rows[r], page++ };
            } else {
                progress.step(int(++r));
                page = 0;
            }
        }
        pages.read(batch, [&lines](int k) {
            return lines[std::size_t(k)].first->onPagesArrayView(lines[std::size_t(k)].second);
        });
        for (int k = 0; k < batch; ++k) {
            const LinkCheckerUrl *record = lines[std::size_t(k)].first;
            if (record != valuesOf) {
                for (qsizetype c = 0; c < columns.size(); ++c) {
                    const QString &id = columns.at(c).identifier;
                    if (id != QLatin1String("onpageurl"))
                        values[c] = bhDataSource::exportValue(id, record->getFieldByName(id));
                }
                valuesOf = record;
            }
            for (qsizetype c = 0; c < columns.size(); ++c) {
                if (c)
                    out << separator;
                out << u'"';
                if (c == pageColumn)
                    out << pages.at(k);
                else
                    out << values.at(c);
                out << u'"';
            }
            out << u'\r';
        }
    }
}

void LinkExports::writeFlatCSV(TextSink &out, const QStringList &columns, bool badOnly)
{
    if (badOnly)
        m_results.countBadCollection();
    QList<TableColumn> described;
    for (const QString &id : columns)
        described.append(TableColumn { id, flatColumnTitle(id), 200 });
    writeFlat(out, described, QLatin1Char(','), m_views.visibleRows(badOnly));
}

bool LinkExports::exportAsFlatCSVForCLI(const QString &path, const QStringList &columns,
                                        bool badOnly, QString *error)
{
    const auto build = [&](TextSink &out) { writeFlatCSV(out, columns, badOnly); };
    if (path == QLatin1String("-") || path == QLatin1String("/dev/stdout")) {
        // Bare "\r" line ends make one overwritten line of a terminal or a log; standard output
        // gets "\r\n", which every reader splits into lines.
        std::fflush(stdout);
        TextSink out([](QByteArray bytes) {
            bytes.replace("\r", "\r\n");
            return std::fwrite(bytes.constData(), 1, std::size_t(bytes.size()), stdout)
                    == std::size_t(bytes.size());
        });
        build(out);
        const bool ok = out.finish() && std::fflush(stdout) == 0;
        if (!ok && error)
            *error = QStringLiteral("cannot write to standard output");
        return ok;
    }
    // A device or a pipe (such as /dev/stderr) cannot be replaced atomically: write into it.
    const QFileInfo info(path);
    if (info.exists() && !info.isFile() && !info.isDir()) {
        QFile device(path);
        if (device.open(QIODevice::WriteOnly)) {
            TextSink out([&device](const QByteArray &bytes) {
                return device.write(bytes) == bytes.size();
            });
            build(out);
            if (out.finish())
                return true;
        }
        if (error)
            *error = QStringLiteral("cannot write %1: %2").arg(path, device.errorString());
        return false;
    }
    QString why;
    if (!writeTextAtomically(path, build, &why)) {
        log(QStringLiteral("Unsuccessful exporting data to %1\n").arg(path));
        if (error)
            *error = QStringLiteral("cannot write %1: %2").arg(path, why);
        return false;
    }
    return true;
}

void LinkExports::writePlainText(TextSink &out)
{
    const QList<TableColumn> columns = tableColumns();
    // The page column lists every page of the link, "," between them.
    QStringList labels, fields;
    for (const TableColumn &column : columns) {
        const bool pages = column.identifier == QLatin1String("onpageurl");
        labels.append(pages ? QStringLiteral("On Page(s)") : column.title);
        fields.append(pages ? QStringLiteral("onpageurltext") : column.identifier);
    }
    out << u"Data Export from Orrelwick\r==========================\r\r";
    const std::vector<LinkCheckerUrl *> rows = m_views.visibleRows();
    ExportProgress progress(int(rows.size()));
    for (std::size_t r = 0; r < rows.size(); ++r) {
        progress.step(int(r));
        for (qsizetype c = 0; c < columns.size(); ++c)
            out << labels.at(c) << u": "
                << bhDataSource::exportValue(columns.at(c).identifier,
                                             rows[r]->getFieldByName(fields.at(c)))
                << u"  ";
        out << u'\r';
    }
}

void LinkExports::writeHtml(TextSink &out)
{
    const QList<TableColumn> columns = tableColumns();
    // The link, its redirect and its pages as anchors.
    QStringList fields;
    for (const TableColumn &column : columns) {
        const QString &id = column.identifier;
        fields.append(id == QLatin1String("onpageurl")         ? QStringLiteral("onpageurlhtml")
                              : id == QLatin1String("linkurl") ? QStringLiteral("linkurlhtml")
                              : id == QLatin1String("redir")   ? QStringLiteral("linkredirhtml")
                                                               : id);
    }
    html::writePageHead(out);
    out << html::tableStart(columns);
    // Rows in collection order; each takes the colour of the view's row of the same number, as
    // the view would paint it.
    const std::vector<OrelDataObject *> &all = m_results.linkSource().items();
    ExportProgress progress(int(all.size()));
    int written = 0;
    for (std::size_t r = 0; r < all.size(); ++r) {
        progress.step(int(r));
        auto *record = static_cast<LinkCheckerUrl *>(all[r]);
        if (!m_views.isShown(record))
            continue;
        const std::optional<Colour> colour = m_views.labelColorForRow(written++);
        const QString style = colour ? html::colourStyle(*colour) : QString();
        out << u"<tr>";
        for (const QString &field : std::as_const(fields))
            out << u"<td " << style << u'>'
                << bhDataSource::exportValue(field, record->getFieldByName(field)) << u"</td>";
        out << u"</tr>";
    }
    out << u"</table><br />";
    html::writePageTail(out);
}

void LinkExports::writeDot(TextSink &out, int levelLimit, bool clean, bool colour)
{
    struct Node
    {
        QString url;
        int distance;
    };
    // The table's items as getnthItem() answers them row by row, and what the graph needs of
    // each internal one, so that a page's targets come in table order without walking the table
    // for every page.
    const std::vector<LinkCheckerUrl *> table = m_views.tableItems();
    const DotTargets targets(table);
    const PageIndex *index = m_results.pageIndex();
    // "clean": whether a URL has been drawn as a node, by its number.
    std::vector<bool> drawn(std::size_t(targets.urlCount()));
    bool started = false;
    ExportProgress progress(int(table.size()));
    for (int r = 0; r < int(table.size()); ++r) {
        progress.step(r);
        const LinkCheckerUrl *page = table[std::size_t(r)];
        if (!page || !page->isInternal() || page->getDistanceFromHome() >= levelLimit)
            continue;
        const Node node { page->getActualLinkUrl(), page->getDistanceFromHome() };
        // The graph is named after its first node.
        if (!started)
            out << u"digraph \"" << UrlParts::withoutUserInfo(node.url) << u"\" {\r";
        started = true;
        drawn[std::size_t(targets.urlNumber(r))] = true;
        QList<int> places;
        if (const auto it = index ? index->constFind(node.url) : PageIndex::const_iterator();
            index && it != index->cend()) {
            for (const LinkCheckerUrl *target :
                 QSet<const LinkCheckerUrl *>(it->cbegin(), it->cend()))
                targets.appendPlaces(target, places);
        }
        std::sort(places.begin(), places.end());
        const QString from = UrlParts::stripHost(UrlParts::withoutUserInfo(node.url));
        for (int t : places) {
            if (clean && drawn[std::size_t(targets.urlNumber(t))])
                continue;
            out << u'"' << from << u"\" -> \"" << targets.text(t) << u'"';
            if (colour)
                out << u" [color=" << edgeColour(node.distance) << u']';
            out << u";\r";
        }
    }
    // A site without internal pages still gives a graph, an empty one.
    if (!started)
        out << u"digraph \"\" {\r";
    out << u'}';
}

std::optional<QString> LinkExports::savePath(const QString &fileType)
{
    std::optional<QString> path = Dialogs::current().savePanel(fileType, QString(), QString());
    if (!path || path->isEmpty())
        return std::nullopt;
    return path;
}

bool LinkExports::saveExport(const QString &fileType, const std::function<void(TextSink &)> &build)
{
    // Where to save is asked first: a large text is built only when it will be written.
    const std::optional<QString> path = savePath(fileType);
    return path && writeExport(*path, build);
}

bool LinkExports::writeExport(const QString &path, const std::function<void(TextSink &)> &build)
{
    if (!writeTextAtomically(path, build)) {
        log(QStringLiteral("Unsuccessful exporting data to %1\n").arg(path));
        return false;
    }
    return true;
}

bool LinkExports::writeExport(const QString &path, const QString &text)
{
    return writeExport(path, [&text](TextSink &out) { out << text; });
}

bool LinkExports::append(const QString &text, const QString &path,
                         QStringConverter::Encoding encoding)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return false;
    QStringEncoder encoder(encoding);
    const QByteArray bytes = encoder.encode(text);
    return file.write(bytes) == bytes.size();
}

QString LinkExports::outlineCsvText(TableDescription &outline)
{
    return outline.dataSource()->getDataAsCSVusingOutlineView(&outline);
}

QString LinkExports::outlineHtmlText(TableDescription &outline)
{
    // The renderer opens its own table again after this one; browsers read it either way.
    return html::page(html::styleBlock() + QStringLiteral("<table><tr>")
                      + outline.dataSource()->getDataAsHTMLusingOutlineView(&outline));
}

void LinkExports::exportAsCSVFromOutlineView(TableDescription &outline)
{
    if (const std::optional<QString> path = savePath(QStringLiteral("csv")))
        writeExport(*path, outlineCsvText(outline));
}

void LinkExports::exportAsHTMLFromOutlineView(TableDescription &outline)
{
    if (const std::optional<QString> path = savePath(QStringLiteral("html")))
        writeExport(*path, outlineHtmlText(outline));
}

void LinkExports::exportAsCSV()
{
    saveExport(QStringLiteral("csv"),
               [&](TextSink &out) { writeTable(out, tableColumns(), QLatin1Char(',')); });
}

void LinkExports::exportAsFlatCSV()
{
    saveExport(QStringLiteral("csv"),
               [&](TextSink &out) { writeFlat(out, tableColumns(), QLatin1Char(',')); });
}

void LinkExports::exportAsTDL()
{
    saveExport(QStringLiteral("txt"),
               [&](TextSink &out) { writeTable(out, tableColumns(), QLatin1Char('\t')); });
}

void LinkExports::exportAsFlatTDL()
{
    saveExport(QStringLiteral("txt"),
               [&](TextSink &out) { writeFlat(out, tableColumns(), QLatin1Char('\t')); });
}

void LinkExports::exportAsText()
{
    saveExport(QStringLiteral("txt"), [&](TextSink &out) { writePlainText(out); });
}

void LinkExports::exportAsHTML()
{
    saveExport(QStringLiteral("html"), [&](TextSink &out) { writeHtml(out); });
}

void LinkExports::exportAsDot(int levelLimit, bool clean, bool colour)
{
    saveExport(QStringLiteral("dot"),
               [&](TextSink &out) { writeDot(out, levelLimit, clean, colour); });
}

} // namespace orel
