// Exports of the crawl controller's own table: CSV, tab-delimited and plain text, HTML and a
// Graphviz graph of the internal pages.
#include "engine/LinkCheckerHub.h"

#include "common/Dialogs.h"
#include "common/Localize.h"
#include "common/Log.h"
#include "common/UrlParts.h"
#include "engine/CrawlScope.h"
#include "links/LinkCheckerUrl.h"
#include "reports/ExportProgress.h"

#include <QSaveFile>
#include <QSet>

namespace orel {

namespace {

const char kStyleBlock[] =
        "<style> table{padding:2px;margin:2px;border:none; font-family:monospace;text-align:left} "
        "th{background:#eee;} td{height:1em;white-space:nowrap;overflow:hidden;} "
        "td.alt{background:#f0f0ff;} p{font-family:arial,sans-serif;}</style>";

QString htmlPage(const QString &body)
{
    return QStringLiteral("<html><head><title>Data Export from Kestovan</title><body>") + body
            + QStringLiteral("</body></head></html>");
}

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

} // namespace

QList<TableColumn> LinkCheckerHub::tableColumns() const
{
    if (TableDescription *table = getTableView())
        return table->columns();
    // Without a view: the flat list's default columns.
    QList<TableColumn> columns;
    for (const QString &id :
         { QStringLiteral("status"), QStringLiteral("linkurl"), QStringLiteral("redir"),
           QStringLiteral("linktext"), QStringLiteral("onpageurl") })
        columns.append(TableColumn { id, flatColumnTitle(id), 200 });
    return columns;
}

QString LinkCheckerHub::plainText()
{
    const QList<TableColumn> columns = tableColumns();
    QString out = QStringLiteral("Data Export from Orrelwick\r==========================\r\r");
    const std::vector<LinkCheckerUrl *> rows = visibleRows();
    ExportProgress progress(int(rows.size()));
    for (std::size_t r = 0; r < rows.size(); ++r) {
        progress.step(int(r));
        for (const TableColumn &column : columns) {
            const bool pages = column.identifier == QLatin1String("onpageurl");
            out += (pages ? QStringLiteral("On Page(s)") : column.title) + QStringLiteral(": ")
                    + exportValue(column.identifier,
                                  rows[r]->getFieldByName(pages ? QStringLiteral("onpageurltext")
                                                                : column.identifier))
                    + QStringLiteral("  ");
        }
        out += QLatin1Char('\r');
    }
    return out;
}

QString LinkCheckerHub::htmlText()
{
    const QList<TableColumn> columns = tableColumns();
    QString body = QLatin1String(kStyleBlock) + QStringLiteral("<table><tr>");
    for (const TableColumn &column : columns)
        body += QStringLiteral("<th style = max-width:%1px>").arg(column.width, 0, 'f', 0)
                + column.title + QStringLiteral("</th>");
    body += QStringLiteral("</tr>");
    const std::vector<LinkCheckerUrl *> rows = visibleRows();
    ExportProgress progress(int(rows.size()));
    for (std::size_t r = 0; r < rows.size(); ++r) {
        progress.step(int(r));
        const std::optional<Colour> colour = rowColour(rows[r]);
        body += QStringLiteral("<tr>");
        for (const TableColumn &column : columns) {
            QString id = column.identifier;
            if (id == QLatin1String("onpageurl"))
                id = QStringLiteral("onpageurlhtml");
            else if (id == QLatin1String("linkurl"))
                id = QStringLiteral("linkurlhtml");
            else if (id == QLatin1String("redir"))
                id = QStringLiteral("linkredirhtml");
            body += QStringLiteral("<td ");
            if (colour)
                body += QStringLiteral("style = background:rgb(%1,%2,%3)")
                                .arg(int(colour->r * 255))
                                .arg(int(colour->g * 255))
                                .arg(int(colour->b * 255));
            body += QLatin1Char('>') + exportValue(id, rows[r]->getFieldByName(id))
                    + QStringLiteral("</td>");
        }
        body += QStringLiteral("</tr>");
    }
    body += QStringLiteral("</table><br />");
    return htmlPage(body);
}

QString LinkCheckerHub::dotText(int levelLimit, bool clean, bool colour)
{
    struct Node
    {
        QString url;
        QStringList targets;
        int distance;
    };
    QList<Node> nodes;
    QSet<QString> nodeUrls;
    const int count = numberOfRowsInTableView(getTableView());
    ExportProgress progress(count);
    for (int r = 0; r < count; ++r) {
        progress.step(r);
        auto *page = static_cast<LinkCheckerUrl *>(getnthItem(r));
        if (!page || !page->isInternal() || page->getDistanceFromHome() >= levelLimit)
            continue;
        Node node { page->getActualLinkUrl(), {}, page->getDistanceFromHome() };
        nodeUrls.insert(node.url);
        // The internal records found on this page, in table order.
        QSet<const LinkCheckerUrl *> onPage;
        if (const QList<LinkCheckerUrl *> *links = linksOnPage(node.url))
            onPage = QSet<const LinkCheckerUrl *>(links->cbegin(), links->cend());
        for (int t = 0; !onPage.isEmpty() && t < count; ++t) {
            auto *target = static_cast<LinkCheckerUrl *>(getnthItem(t));
            if (!target || !target->isInternal() || !onPage.contains(target))
                continue;
            const QString url = target->getActualLinkUrl();
            if (clean && nodeUrls.contains(url))
                continue;
            node.targets.append(url);
        }
        nodes.append(node);
    }
    // A site without internal pages still gives a graph, an empty one.
    QString out = QStringLiteral("digraph \"")
            + (nodes.isEmpty() ? QString() : UrlParts::withoutUserInfo(nodes.first().url))
            + QStringLiteral("\" {\r");
    for (const Node &node : nodes) {
        for (const QString &target : node.targets) {
            out += QLatin1Char('"') + CrawlScope::stripHost(UrlParts::withoutUserInfo(node.url))
                    + QStringLiteral("\" -> \"")
                    + CrawlScope::stripHost(UrlParts::withoutUserInfo(target)) + QLatin1Char('"');
            if (colour)
                out += QStringLiteral(" [color=") + edgeColour(node.distance) + QLatin1Char(']');
            out += QStringLiteral(";\r");
        }
    }
    return out + QLatin1Char('}');
}

void LinkCheckerHub::saveExport(const QString &text, const QString &fileType)
{
    const std::optional<QString> path =
            Dialogs::current().savePanel(fileType, QString(), QString());
    if (!path || path->isEmpty())
        return;
    QSaveFile file(*path);
    const QByteArray bytes = text.toUtf8();
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        log(QStringLiteral("Unsuccessful exporting data to %1\n").arg(*path));
}

void LinkCheckerHub::exportAsCSV()
{
    saveExport(csvText(), QStringLiteral("csv"));
}

void LinkCheckerHub::exportAsFlatCSV()
{
    saveExport(flatCsvText(), QStringLiteral("csv"));
}

void LinkCheckerHub::exportAsTDL()
{
    saveExport(tdlText(), QStringLiteral("txt"));
}

void LinkCheckerHub::exportAsFlatTDL()
{
    saveExport(flatTdlText(), QStringLiteral("txt"));
}

void LinkCheckerHub::exportAsText()
{
    saveExport(plainText(), QStringLiteral("txt"));
}

void LinkCheckerHub::exportAsHTML()
{
    saveExport(htmlText(), QStringLiteral("html"));
}

void LinkCheckerHub::exportAsDot(int levelLimit, bool clean, bool colour)
{
    saveExport(dotText(levelLimit, clean, colour), QStringLiteral("dot"));
}

} // namespace orel
