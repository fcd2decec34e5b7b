// "orrelwick-cli crawl": one crawl run without a window, and "orrelwick-cli recheck": the bad
// links of a saved link list fetched again. Settings come from a configuration file or a saved
// configuration, then from --set, then the URL argument; the results go to the export files
// asked for and the summary line to standard output.
#include "Commands.h"
#include "History.h"
#include "OutputPaths.h"
#include "Report.h"
#include "StopSignals.h"
#include "ResultExports.h"
#include "SitemapOptions.h"
#include "SeoOptions.h"
#include "ValidateOptions.h"

#include "common/Localize.h"
#include "common/Log.h"
#include "common/ScriptedDialogs.h"
#include "common/SettingsControls.h"
#include "common/UrlParts.h"
#include "common/UserDefaults.h"
#include "config/OrelConfigManager.h"
#include "engine/CrawlScope.h"
#include "engine/LinkCheckerHub.h"
#include "links/LinkCheckerUrl.h"
#include "engine/LocalSite.h"
#include "links/myNSURLConnection.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSocketNotifier>
#include <QTextStream>
#include <QTimer>
#include <QUrl>

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace orel::cli {

namespace {

struct Options
{
    QString url;
    QString configFile;
    QString configName;
    QList<QPair<QString, QString>> sets;
    QString flatCsv;
    QStringList columns { QStringLiteral("status"), QStringLiteral("linkurl"),
                          QStringLiteral("redir"), QStringLiteral("linktext"),
                          QStringLiteral("onpageurl") };
    bool badOnly = false;
    bool quiet = false;
    bool verbose = false;
    bool columnsGiven = false;
    ExportOptions exports;
    ReportOptions report;
    SitemapOptions sitemap;
    SeoOptions seo;
    ValidateOptions validate;
    PreviousRun baseline; // read from --baseline before the crawl
};

// Options that make no sense together; answers an error text or a null string.
QString checkCombinations(const Options &o)
{
    if (o.quiet && o.verbose)
        return QStringLiteral("--quiet and --verbose exclude each other");
    if (o.columnsGiven && o.flatCsv.isEmpty())
        return QStringLiteral("--columns needs --flat-csv");
    const bool listingReport = o.report.format == QLatin1String("json")
            || o.report.format == QLatin1String("junit") || o.report.format == QLatin1String("csv");
    if (o.badOnly && o.flatCsv.isEmpty() && o.exports.files().isEmpty() && !listingReport)
        return QStringLiteral("--bad-only needs an export (--flat-csv, --csv, --html, ... or "
                              "--format json|junit|csv)");
    if (o.quiet && o.report.formatGiven && o.report.format != QLatin1String("text")
        && o.report.output.isEmpty())
        return QStringLiteral("--quiet leaves only the summary: give --output FILE for the %1 "
                              "report")
                .arg(o.report.format);
    return {};
}

// Answers an error text, or a null string when the arguments are understood.
QString parse(const QStringList &args, Options &o)
{
    auto value = [&](int &i, const QString &option, QString &out) -> QString {
        if (i + 1 >= args.size())
            return QStringLiteral("%1 needs a value").arg(option);
        out = args.at(++i);
        return {};
    };
    for (int i = 0; i < args.size(); ++i) {
        const QString &a = args.at(i);
        QString err;
        if (a == QLatin1String("--config")) {
            err = value(i, a, o.configFile);
        } else if (a == QLatin1String("--config-name")) {
            err = value(i, a, o.configName);
        } else if (a == QLatin1String("--set")) {
            QString assignment;
            err = value(i, a, assignment);
            if (err.isNull()) {
                const qsizetype eq = assignment.indexOf(QLatin1Char('='));
                if (eq <= 0)
                    return QStringLiteral("--set needs NAME=VALUE, not \"%1\"").arg(assignment);
                o.sets.append({ assignment.left(eq), assignment.mid(eq + 1) });
            }
        } else if (a == QLatin1String("--flat-csv")) {
            err = value(i, a, o.flatCsv);
        } else if (a == QLatin1String("--columns")) {
            QString list;
            err = value(i, a, list);
            o.columnsGiven = true;
            if (err.isNull()) {
                o.columns = list.split(QLatin1Char(','), Qt::SkipEmptyParts);
                for (QString &c : o.columns)
                    c = c.trimmed();
                if (o.columns.isEmpty())
                    return QStringLiteral("--columns needs at least one column");
                for (const QString &c : o.columns) {
                    if (LinkCheckerHub::flatColumnTitle(c).isNull())
                        return QStringLiteral("unknown column \"%1\" (known: %2)")
                                .arg(c,
                                     LinkCheckerHub::flatColumnIdentifiers().join(
                                             QLatin1Char(',')));
                }
            }
        } else if (parseExportOption(args, i, o.exports, err)
                   || parseSitemapOption(args, i, o.sitemap, err)) {
            // taken
        } else if (parseSeoOption(args, i, o.seo, err)
                   || parseReportOption(args, i, o.report, err)) {
            // taken
        } else if (parseValidateOption(args, i, o.validate, err)) {
            // taken
        } else if (a == QLatin1String("--bad-only")) {
            o.badOnly = true;
        } else if (a == QLatin1String("--quiet") || a == QLatin1String("-q")) {
            o.quiet = true;
        } else if (a == QLatin1String("--verbose") || a == QLatin1String("-v")) {
            o.verbose = true;
        } else if (a.startsWith(QLatin1String("--"))) {
            return QStringLiteral("unknown option \"%1\"").arg(a);
        } else if (o.url.isNull()) {
            o.url = a;
        } else {
            return QStringLiteral("more than one URL given (\"%1\" and \"%2\")").arg(o.url, a);
        }
        if (!err.isNull())
            return err;
    }
    if (!o.configFile.isEmpty() && !o.configName.isEmpty())
        return QStringLiteral("--config and --config-name exclude each other");
    return checkCombinations(o);
}

// One setting by name: a key of the settings dictionary, else a settings control.
QString applySetting(OrelConfigManager &manager, SettingsControls &controls, const QString &name,
                     QString value)
{
    QString error;
    if (OrelConfigManager::settingsKeys().contains(name)) {
        if (!manager.applySettingsKey(name, value, &error))
            return error.isEmpty() ? QStringLiteral("bad value for %1").arg(name) : error;
        return {};
    }
    if (!controls.has(name))
        return QStringLiteral("unknown setting \"%1\"").arg(name);
    if (name == QLatin1String("soft404Terms"))
        value.replace(QLatin1Char('|'), QLatin1Char('\n'));
    if (!controls.setByName(name, value, &error))
        return error;
    return {};
}

// The settings of the run: a configuration file or a saved configuration, then --set, then the
// URL argument. Answers an error text, or a null string when all is well.
QString loadSettings(const Options &o, OrelConfigManager &manager, SettingsControls &controls)
{
    if (!o.configFile.isEmpty()) {
        if (!QFileInfo(o.configFile).isFile())
            return QStringLiteral("cannot read configuration \"%1\"").arg(o.configFile);
        QString error;
        if (!manager.openSettings(o.configFile, &error))
            return QStringLiteral("cannot read configuration \"%1\": %2").arg(o.configFile, error);
    } else if (!o.configName.isEmpty()) {
        manager.loadAllUrls();
        const int row = manager.findConfiguration(o.configName);
        if (row < 0)
            return QStringLiteral("no configuration named \"%1\"").arg(o.configName);
        manager.selectRow(row);
    }
    for (const auto &[name, value] : o.sets) {
        if (const QString err = applySetting(manager, controls, name, value); !err.isNull())
            return err;
    }
    if (!o.url.isNull()) {
        QString url = o.url.trimmed();
        // A local path may be given relative to the working folder.
        if (!url.contains(QLatin1String("://")) && QFileInfo::exists(url))
            url = QFileInfo(url).absoluteFilePath();
        controls.urlField = url;
    }
    LocalSite::startInFolder(controls); // a site's folder: its index.html, the folder its root
    return {};
}

// What can be known to fail before the crawl: no start URL, one that cannot be crawled, an
// output that cannot be written. Answers an error text, or a null string.
QString checkBeforeCrawl(const Options &o, const SettingsControls &controls)
{
    if (controls.urlField.trimmed().isEmpty())
        return QStringLiteral("no URL to crawl (give one, or a configuration with one)");
    const QUrl start(CrawlScope::normaliseStartUrl(controls.urlField.trimmed()));
    const QString scheme = start.scheme();
    if (!start.isValid()
        || (scheme != QLatin1String("http") && scheme != QLatin1String("https")
            && scheme != QLatin1String("file"))
        || (scheme != QLatin1String("file") && start.host().isEmpty()))
        return QStringLiteral("cannot crawl \"%1\": not an http, https or file URL")
                .arg(controls.urlField);
    if (const QString err = checkOutputPath(o.flatCsv); !err.isNull())
        return err;
    if (const QString err = checkReportOptions(o.report); !err.isNull())
        return err;
    if (const QString err = checkSitemapOptions(o.sitemap); !err.isNull())
        return err;
    if (const QString err = checkSeoOutputs(o.seo); !err.isNull())
        return err;
    if (const QString err = checkValidateOptions(o.validate); !err.isNull())
        return err;
    return checkExports(o.exports);
}

struct RunOutcome
{
    bool interrupted = false; // Ctrl-C, SIGTERM or SIGHUP
    int signal = 0; // which of them
    bool stalled = false; // no transfer left running, yet not finished
};

// Ctrl-C, SIGTERM (a CI job's time-out) and SIGHUP pause the crawl and end the run; the signal
// handler only writes to a pipe that the event loop reads.
class InterruptWatch
{
public:
    InterruptWatch(LinkCheckerHub &hub, QEventLoop &loop, RunOutcome &outcome)
    {
        if (stopSignalFd() < 0)
            return;
        // A signal that came before the crawl started is read as soon as the loop runs.
        m_notifier = std::make_unique<QSocketNotifier>(stopSignalFd(), QSocketNotifier::Read);
        QObject::connect(m_notifier.get(), &QSocketNotifier::activated, &loop, [&] {
            outcome.signal = takeStopSignal();
            outcome.interrupted = true;
            if (hub.state() == LinkCheckerHub::State::Running)
                hub.stop();
            loop.quit();
        });
    }

private:
    std::unique_ptr<QSocketNotifier> m_notifier;
};

// A crawl whose last fetch could not even start would wait for ever: once no transfer is left
// for longer than twice the time-out, the run is paused and its results written.
void watchForStall(QTimer &watchdog, LinkCheckerHub &hub, QEventLoop &loop, RunOutcome &outcome)
{
    auto idleFor = std::make_shared<QElapsedTimer>();
    auto lastDone = std::make_shared<int>(-1);
    watchdog.setInterval(500);
    QObject::connect(
            &watchdog, &QTimer::timeout, &loop, [&hub, &loop, &outcome, idleFor, lastDone] {
                if (hub.state() != LinkCheckerHub::State::Running) {
                    idleFor->invalidate();
                    return;
                }
                // Any transfer, waiting start or answer since the last look counts as life.
                const int done = hub.getNumberDone();
                const bool progressed = done != *lastDone;
                *lastDone = done;
                if (progressed || myNSURLConnection::activeCount() > 0 || hub.pendingStarts() > 0) {
                    idleFor->invalidate();
                    return;
                }
                if (!idleFor->isValid()) {
                    idleFor->start();
                    return;
                }
                if (hub.isFinished())
                    return; // the finished signal ends the loop
                if (idleFor->elapsed() > qint64(2000 * hub.getTimeoutInterval()) + 2000) {
                    outcome.stalled = true;
                    hub.stop();
                    loop.quit();
                }
            });
    watchdog.start();
}

// The crawl from start() (go() or a re-check) until it finishes, runs out of memory, stalls or
// is interrupted; with a progress line on stderr when asked for.
RunOutcome crawlUntilDone(LinkCheckerHub &hub, bool progress, const std::function<void()> &start)
{
    RunOutcome outcome;
    QEventLoop loop;
    QObject::connect(&hub, &LinkCheckerHub::crawlFinishedSignal, &loop, [&] { loop.quit(); });
    // Out of memory the crawl is stopped for good: what it found is written afterwards.
    QObject::connect(&hub, &LinkCheckerHub::memoryExhausted, &loop, [&] { loop.quit(); });
    const InterruptWatch interrupts(hub, loop, outcome);
    QTimer watchdog;
    watchForStall(watchdog, hub, loop, outcome);

    QElapsedTimer clock;
    clock.start();
    QTimer progressTimer;
    if (progress) {
        progressTimer.setInterval(200);
        QObject::connect(&progressTimer, &QTimer::timeout, &loop, [&] {
            const double seconds = std::max(0.001, clock.elapsed() / 1000.0);
            QTextStream(stderr) << "\r\033[K" << hub.getNumberDone() << " checked, "
                                << hub.recordCount() << " found, " << hub.getBadCollectionCount()
                                << " bad, " << qRound(hub.getNumberDone() / seconds) << " links/s"
                                << hub.retryProgressText() << Qt::flush;
        });
        progressTimer.start();
    }

    start();
    if (!hub.isCrawlFinished())
        loop.exec();
    if (progress)
        QTextStream(stderr) << "\r\033[K" << Qt::flush;
    return outcome;
}

// The start page that could not be fetched, as one line for stderr; a null string when it was
// fetched or the run ended before it was answered. No answer at all (refused, unknown host,
// time-out) and an error answer (a 404 start page) are both start errors: nothing of the site
// was checked.
QString startError(LinkCheckerHub &hub, const RunOutcome &outcome)
{
    const LinkCheckerUrl *start = hub.recordAt(0);
    if (start && start->isStartingPoint()
        && start->getStatus() == localized("blocked by robots.txt"))
        return QStringLiteral("cannot crawl from %1: the site's robots.txt disallows it for the "
                              "user agent \"%2\"")
                .arg(UrlParts::withoutUserInfo(start->getLinkUrl()),
                     hub.controls()->userAgentString);
    if (!start || !start->isStartingPoint() || start->isGoodLink())
        return {};
    const QString status = start->getStatus();
    if (status.isEmpty() && (outcome.interrupted || !hub.isCrawlFinished()))
        return {};
    const bool answered = !status.isEmpty() && status.at(0).isDigit();
    const bool local = start->getLinkUrl().startsWith(QLatin1String("file:"));
    return QStringLiteral("cannot fetch the start page %1: %2 (%3)")
            .arg(UrlParts::withoutUserInfo(start->getLinkUrl()),
                 status.isEmpty() ? QStringLiteral("no answer") : status,
                 answered        ? QStringLiteral("the server answered with an error")
                         : local ? QStringLiteral("the file could not be read")
                                 : QStringLiteral("no answer from the server"));
}

// The report in its form, and the summary line: after the text report on standard output, on
// standard output when the report went to a file, on stderr when another form took standard
// output.
bool stdoutTakenByReport(const Options &o)
{
    const bool toStdout = o.report.output.isEmpty() || o.report.output == QLatin1String("-");
    return toStdout && o.report.format != QLatin1String("text");
}

QString writeReportAndSummary(const Report &report, const Options &o)
{
    const bool toStdout = o.report.output.isEmpty() || o.report.output == QLatin1String("-");
    const bool text = o.report.format == QLatin1String("text");
    if (text && toStdout)
        return writeReport(report, o.report, o.quiet, o.badOnly);
    const QString error = writeReport(report, o.report, o.quiet, o.badOnly);
    QTextStream(toStdout ? stderr : stdout) << report.summary << "\n";
    return error;
}

// After the run: the flat CSV, the other exports, the report with the summary line; then the
// process ends with the run's exit status.
[[noreturn]] void finishRun(LinkCheckerHub &hub, const Options &o, RunOutcome outcome, bool crawl)
{
    // A signal while the crawl was not running (it ended at once, or between two runs).
    if (const int sig = takeStopSignal()) {
        outcome.signal = sig;
        outcome.interrupted = true;
    }
    if (outcome.stalled)
        QTextStream(stderr) << "orrelwick-cli: no transfer left running; crawl paused\n";
    hub.countBadCollection();
    QString error;
    const QString startFailed = crawl ? startError(hub, outcome) : QString();
    Report report = collectReport(hub, outcome.interrupted, o.report.failOnBlocked);
    // A run that did not read everything it found says nothing of the links it did not check.
    // Only a crawl has a start URL to keep a history for; a re-check compares with a baseline.
    const bool complete = crawl && !outcome.interrupted && !outcome.stalled && hub.isCrawlFinished()
            && !hub.stoppedForMemory() && report.limits.isEmpty() && startFailed.isNull();
    ReportOptions compare = o.report;
    compare.noHistory = compare.noHistory || !crawl;
    const QStringList historyWarnings = compareAndRecord(report, compare, o.baseline, complete);
    try {
        if (!o.flatCsv.isEmpty())
            hub.exportAsFlatCSVForCLI(o.flatCsv, o.columns, o.badOnly, &error);
        if (error.isNull())
            error = writeExports(hub, o.exports, o.badOnly);
        if (error.isNull())
            error = writeSitemapOutputs(hub, o.sitemap);
        if (error.isNull())
            error = writeSeoOutputs(hub, o.seo);
        if (error.isNull())
            error = writeValidationOutputs(hub, o.validate, stdoutTakenByReport(o));
        if (const QString e = writeReportAndSummary(report, o); error.isNull())
            error = e;
    } catch (const std::bad_alloc &) {
        error = QStringLiteral("out of memory while writing the results");
    }
    for (const QString &line : report.limits + historyWarnings)
        QTextStream(stderr) << "orrelwick-cli: " << line << "\n";
    if (!startFailed.isNull())
        QTextStream(stderr) << "orrelwick-cli: " << startFailed << "\n";
    if (hub.stoppedForMemory())
        QTextStream(stderr) << "orrelwick-cli: out of memory: crawl stopped, the links found so "
                               "far are written\n";
    if (!error.isNull())
        QTextStream(stderr) << "orrelwick-cli: " << error << "\n";

    // Everything is written; tearing down a large crawl's records one by one would only cost
    // time, so the process ends here. A signal's exit status is the shell's: 128 + its number.
    UserDefaults::sync();
    std::fflush(stdout);
    std::fflush(stderr);
    if (outcome.signal > 0)
        std::_Exit(128 + outcome.signal);
    if (hub.stoppedForMemory() || !error.isNull() || !startFailed.isNull())
        std::_Exit(2);
    std::_Exit(report.exitStatus());
}

// What a crawl or recheck run is made of, from its arguments to the dialogs' scripted answers.
struct Run
{
    Options o;
    SettingsControls controls;
    OrelConfigManager manager { &controls };
    ScriptedDialogs dialogs;

    // The options shared by crawl and recheck; answers an error text or a null string.
    QString prepare(const QStringList &args)
    {
        if (const QString err = parse(args, o); !err.isNull())
            return err;
        if (!o.verbose)
            QLoggingCategory::setFilterRules(QStringLiteral("orrelwick.info=false"));
        if (const QString err = loadSettings(o, manager, controls); !err.isNull())
            return err;
        if (!o.report.baseline.isEmpty()) {
            QString error;
            if (!readPreviousRun(o.report.baseline, o.baseline, &error))
                return QStringLiteral("--baseline %1: %2").arg(o.report.baseline, error);
            o.baseline.source = o.report.baseline;
        }
        applyValidateOptions(o.validate, controls);
        // Pages are archived during the run and copied into the folder at its end.
        if (!o.exports.archiveDir.isEmpty()) {
            controls.archiveButton = CheckState::On;
            dialogs.panelAnswers.enqueue(QFileInfo(o.exports.archiveDir).absoluteFilePath());
        }
        prepareSeo(o.seo, controls);
        Dialogs::install(&dialogs);
        return {};
    }
};

} // namespace

int runCrawlCommand(const QStringList &args)
{
    armStopSignals();
    Run run;
    const Options &o = run.o;
    if (const QString err = run.prepare(args); !err.isNull())
        return fail(err);
    if (const QString err = checkBeforeCrawl(o, run.controls); !err.isNull())
        return fail(err);

    LinkCheckerHub hub(&run.controls, &run.manager);
    const bool progress = !o.quiet && ::isatty(STDERR_FILENO);
    RunOutcome outcome = crawlUntilDone(hub, progress, [&] { hub.go(); });
    if (o.exports.recheckBad && hub.isCrawlFinished() && !outcome.interrupted)
        outcome = crawlUntilDone(hub, progress, [&] { hub.reCheckBadItems(); });
    if (hub.isCrawlFinished() && !outcome.interrupted)
        waitForValidation(hub, o.validate);
    finishRun(hub, o, outcome, true);
}

int runRecheckCommand(const QStringList &args)
{
    armStopSignals();
    Run run;
    const Options &o = run.o;
    if (const QString err = run.prepare(args); !err.isNull())
        return fail(err);
    // The URL argument is the saved link list.
    const QString list = o.url;
    if (list.isEmpty())
        return fail(QStringLiteral("recheck needs a saved link list (FILE.plist)"));
    if (const QString err = checkExports(o.exports); !err.isNull())
        return fail(err);
    if (const QString err = checkOutputPath(o.flatCsv); !err.isNull())
        return fail(err);
    if (const QString err = checkReportOptions(o.report); !err.isNull())
        return fail(err);
    LinkCheckerHub hub(&run.controls, &run.manager);
    if (!QFileInfo(list).isFile() || hub.loadLinkList(list) == 0)
        return fail(QStringLiteral("no links read from \"%1\"").arg(list));
    hub.adoptLoadedRecords();
    const RunOutcome outcome = crawlUntilDone(hub, !o.quiet && ::isatty(STDERR_FILENO),
                                              [&] { hub.reCheckBadItems(); });
    finishRun(hub, o, outcome, false);
}

} // namespace orel::cli
