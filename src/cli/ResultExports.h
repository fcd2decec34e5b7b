// The result files and reports of a crawl or re-check run on the command line: which view is
// exported in which forms, the page archive, locating a link; main thread.
#pragma once

#include <QString>
#include <QStringList>

namespace orel {
class LinkCheckerHub;
}

namespace orel::cli {

struct ExportOptions
{
    QString view = QStringLiteral("flat"); // "link", "flat" or "page"
    QString csv, tdl, flatTdl, text, html, flatHtml, dot;
    int dotLevels = 1000; // pages at this distance or more are left out of the graph
    bool dotClean = false;
    bool dotColour = false;
    QString archiveDir;
    QString locate; // a link URL
    bool recheckBad = false;

    // The files to write, for checking their folders before the run.
    QStringList files() const;
};

// Takes args[i] (and its value) when it is an export option; answers whether it did. An error
// text goes to error.
bool parseExportOption(const QStringList &args, int &i, ExportOptions &o, QString &error);

// What can be known to fail before the run: a view that has no such form, a folder that does not
// exist. Answers an error text or a null string.
QString checkExports(const ExportOptions &o);

// Writes every file asked for from the hub's results as the view shows them (bad links only
// when asked), then prints the locate report on standard output. Answers an error text for the
// first thing that could not be done, or a null string.
QString writeExports(LinkCheckerHub &hub, const ExportOptions &o, bool badOnly);

// The usage lines of the options above.
QString exportUsage();

} // namespace orel::cli
