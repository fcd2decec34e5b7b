// The report of a command-line crawl: which links are bad or blocked, what the limits kept from
// the crawl, the summary line; and its forms (text, JSON, JUnit XML, Markdown, CSV); main thread.
#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace orel {
class LinkCheckerHub;
class LinkCheckerUrl;
class TextSink;
} // namespace orel

namespace orel::cli {

// A link's verdict: "bad" is what the designed bad count counts; "blocked" is a server refusing
// the crawler rather than a missing page, listed apart from the bad links.
enum class Verdict { Good, Bad, Blocked };
Verdict verdictOf(const LinkCheckerUrl &record);
QString verdictName(Verdict verdict);

struct ReportOptions
{
    QString format = QStringLiteral("text"); // text, json, junit, markdown or csv
    QString output; // a file; empty: standard output
    bool failOnBlocked = false;
    bool formatGiven = false;
};

// Takes args[i] (and its value) when it is a report option; answers whether it did. An error
// text goes to error.
bool parseReportOption(const QStringList &args, int &i, ReportOptions &o, QString &error);
// A format that does not exist, an output that cannot be written.
QString checkReportOptions(const ReportOptions &o);
QString reportUsage();

// The records of a finished or paused run, read in place (the hub keeps them).
struct Report
{
    QString start; // the start URL
    QList<const LinkCheckerUrl *> links; // every record in crawl order
    int checked = 0; // records with an answer
    int bad = 0;
    int blocked = 0;
    QStringList limits; // one line per limit that stopped something
    QString summary; // the designed line, with ", N blocked" and " (interrupted)" when so
    bool interrupted = false;
    bool failOnBlocked = false;

    // 0 no bad link, 1 bad links (blocked ones too with failOnBlocked).
    int exitStatus() const { return bad > 0 || (failOnBlocked && blocked > 0) ? 1 : 0; }
};

Report collectReport(LinkCheckerHub &hub, bool interrupted, bool failOnBlocked);

// The forms. Text and Markdown list the bad and blocked links; JSON, JUnit and CSV every link,
// or only the bad and blocked ones with badOnly.
void writeTextReport(TextSink &out, const Report &report, bool quiet);
void writeJsonReport(TextSink &out, const Report &report, bool badOnly);
void writeJUnitReport(TextSink &out, const Report &report, bool badOnly);
void writeMarkdownReport(TextSink &out, const Report &report);
void writeCsvReport(TextSink &out, const Report &report, bool badOnly);

// Writes the report in the chosen form to the chosen file or standard output; answers an error
// text or a null string. The text form on standard output ends with the summary line; the
// other forms leave it to the caller.
QString writeReport(const Report &report, const ReportOptions &o, bool quiet, bool badOnly);

} // namespace orel::cli
