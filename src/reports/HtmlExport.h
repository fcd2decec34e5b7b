// The pieces every HTML export of link results shares: the style block, the page around the
// table, the header row and a row's colour; any thread.
#pragma once

#include "common/TextSink.h"
#include "reports/Colour.h"
#include "reports/TableDescription.h"

#include <QList>
#include <QString>

namespace orel::html {

// The style block that begins every exported table.
QString styleBlock();
// The page text before and after an export's body (the body sits inside the head element, as
// exports always had it), and a body inside the page.
void writePageHead(TextSink &out);
void writePageTail(TextSink &out);
QString page(const QString &body);
// The style block, "<table><tr>", a header cell per column with its width, "</tr>".
QString tableStart(const QList<TableColumn> &columns);
// "style = background:rgb(r,g,b)" with each component times 255, truncated.
QString colourStyle(const Colour &colour);

} // namespace orel::html
