// The pieces every HTML export of link results shares.
#include "reports/HtmlExport.h"

namespace orel::html {

QString styleBlock()
{
    return QStringLiteral(
            "<style> table{padding:2px;margin:2px;border:none; font-family:monospace;"
            "text-align:left} th{background:#eee;} td{height:1em;white-space:nowrap;"
            "overflow:hidden;} td.alt{background:#f0f0ff;} p{font-family:arial,sans-serif;}"
            "</style>");
}

void writePageHead(TextSink &out)
{
    out << u"<html><head><title>Data Export from Kestovan</title><body>";
}

void writePageTail(TextSink &out)
{
    out << u"</body></head></html>";
}

QString page(const QString &body)
{
    return TextSink::gather([&body](TextSink &out) {
        writePageHead(out);
        out << body;
        writePageTail(out);
    });
}

QString tableStart(const QList<TableColumn> &columns)
{
    QString out = styleBlock() + QStringLiteral("<table><tr>");
    for (const TableColumn &column : columns)
        out += QStringLiteral("<th style = max-width:%1px>").arg(column.width, 0, 'f', 0)
                + column.title + QStringLiteral("</th>");
    return out + QStringLiteral("</tr>");
}

QString colourStyle(const Colour &colour)
{
    return QStringLiteral("style = background:rgb(%1,%2,%3)")
            .arg(int(colour.r * 255))
            .arg(int(colour.g * 255))
            .arg(int(colour.b * 255));
}

} // namespace orel::html
