// What changed since an earlier crawl of the same start URL: the compact record of each run's bad
// and blocked links kept in the application-support folder ("history"), an earlier JSON report
// given with --baseline, and the comparison of a run's report with either; main thread.
#pragma once

#include "Report.h"

#include <QHash>
#include <QString>

namespace orel::cli {

// The bad and blocked links of an earlier run, by URL without user info.
struct PreviousRun
{
    struct Link
    {
        QString status;
        Verdict verdict = Verdict::Bad;
    };
    bool present = false;
    QString source; // "history" or the baseline file
    QString start;
    QHash<QString, Link> failing;
};

// Reads a JSON report of orrelwick-cli (or a history record, which has the same shape): an
// object with a "links" list of objects with "url" and "verdict". Answers false with the reason
// in error when the file cannot be read or is not such a report.
bool readPreviousRun(const QString &path, PreviousRun &run, QString *error);

// The history record of a start URL: "history/" in the application-support folder, the file
// named by a hash of the URL without its user info.
QString historyFile(const QString &startUrl);

// Marks the report's bad and blocked links "new" or "still bad", lists the links bad before and
// good now as fixed, and adds the counts to the summary. A complete run (finished, nothing left
// unread by a limit) also counts links it no longer found anywhere as fixed; an incomplete one
// says nothing of links it did not check.
void compareWithPrevious(Report &report, const PreviousRun &previous, bool complete);

// Writes the run's bad and blocked links as the start URL's history record, atomically and
// owner-only. An incomplete run keeps the earlier record's links that it did not check, so that
// the next run does not take them for fixed.
bool writeHistory(const Report &report, const PreviousRun &history, bool complete, QString *error);

// After a crawl: reads the start URL's history (unless --no-history), compares the report with
// the baseline when one was given, else with the history, and records this run (unless
// --no-history). Answers warnings for stderr (a history that cannot be read or written); such a
// history never fails the run.
QStringList compareAndRecord(Report &report, const ReportOptions &o, const PreviousRun &baseline,
                             bool complete);

} // namespace orel::cli
