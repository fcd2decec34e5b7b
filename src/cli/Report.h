// The report of a command-line crawl: which links are bad or blocked, what the limits kept from
// the crawl, the summary line; and its forms (text, JSON, JUnit XML, Markdown, CSV); main thread.
#pragma once

#include <QHash>
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

// A link's change since the earlier run it is compared with; None when there is none to say.
enum class Change { None, New, StillBad, StillBlocked, Fixed };
QString changeName(Change change);

struct ReportOptions
{
    QString format = QStringLiteral("text"); // text, json, junit, markdown or csv
    QString output; // a file; empty: standard output
    bool failOnBlocked = false;
    bool formatGiven = false;
    bool failOnNew = false; // --fail-on new: only newly bad links fail the run
    QString baseline; // an earlier JSON report to compare with instead of the history
    bool noHistory = false; // neither compare with the history nor record this run
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
    QString countLine; // the designed "N of M links checked, K bad"
    QString summary; // countLine, with ", N blocked" and " (interrupted)" when so
    bool interrupted = false;
    bool failOnBlocked = false;
    bool failOnNew = false;

    // The comparison with an earlier run, when there was one.
    struct FixedLink
    {
        QString url;
        QString status; // its status in the earlier run
        bool linked = true; // false: no page links to it any more
    };
    bool compared = false;
    QString previousSource; // "history" or the baseline file
    QHash<const LinkCheckerUrl *, Change> changes; // only links with a change
    QList<FixedLink> fixed;
    int newBad = 0;
    int newBlocked = 0;

    Change changeOf(const LinkCheckerUrl *record) const
    {
        return compared ? changes.value(record, Change::None) : Change::None;
    }
    // 0 no bad link, 1 bad links (blocked ones too with failOnBlocked); with failOnNew only the
    // newly bad (and blocked) ones count, every one of them when there was no earlier run.
    int exitStatus() const
    {
        const int failing = failOnNew && compared ? newBad : bad;
        const int failingBlocked = failOnNew && compared ? newBlocked : blocked;
        return failing > 0 || (failOnBlocked && failingBlocked > 0) ? 1 : 0;
    }
};

// The summary line from the counts: countLine, " (N new)" and ", N fixed" when compared,
// ", N blocked", " (interrupted)".
QString composeSummary(const Report &report);

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
