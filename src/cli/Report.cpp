// The report of a command-line crawl: its options, its data and where it is written.
#include "Report.h"
#include "OutputPaths.h"

#include "common/TextSink.h"
#include "engine/LinkCheckerHub.h"
#include "links/LinkCheckerUrl.h"
#include "reports/LinkExports.h"

#include <cstdio>

namespace orel::cli {

namespace {

const char *const kFormats[] = { "text", "json", "junit", "markdown", "csv" };

} // namespace

Verdict verdictOf(const LinkCheckerUrl &record)
{
    if (record.isBlocked())
        return Verdict::Blocked;
    return record.isInBadCollection() ? Verdict::Bad : Verdict::Good;
}

QString verdictName(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Good:
        return QStringLiteral("good");
    case Verdict::Bad:
        return QStringLiteral("bad");
    case Verdict::Blocked:
        return QStringLiteral("blocked");
    }
    return {};
}

QString changeName(Change change)
{
    switch (change) {
    case Change::None:
        return {};
    case Change::New:
        return QStringLiteral("new");
    case Change::StillBad:
        return QStringLiteral("still bad");
    case Change::StillBlocked:
        return QStringLiteral("still blocked");
    case Change::Fixed:
        return QStringLiteral("fixed");
    }
    return {};
}

bool parseReportOption(const QStringList &args, int &i, ReportOptions &o, QString &error)
{
    const QString &a = args.at(i);
    QString *target = a == QLatin1String("--format") ? &o.format
            : a == QLatin1String("--output")         ? &o.output
                                                     : nullptr;
    if (target) {
        if (i + 1 >= args.size())
            error = QStringLiteral("%1 needs a value").arg(a);
        else
            *target = args.at(++i);
        o.formatGiven = o.formatGiven || target == &o.format;
        return true;
    }
    if (a == QLatin1String("--fail-on-blocked")) {
        o.failOnBlocked = true;
        return true;
    }
    if (a == QLatin1String("--no-history")) {
        o.noHistory = true;
        return true;
    }
    if (a == QLatin1String("--baseline") || a == QLatin1String("--fail-on")) {
        if (i + 1 >= args.size()) {
            error = QStringLiteral("%1 needs a value").arg(a);
            return true;
        }
        const QString value = args.at(++i);
        if (a == QLatin1String("--baseline"))
            o.baseline = value;
        else if (value == QLatin1String("bad") || value == QLatin1String("new"))
            o.failOnNew = value == QLatin1String("new");
        else
            error = QStringLiteral("--fail-on takes bad|new, not \"%1\"").arg(value);
        return true;
    }
    return false;
}

QString checkReportOptions(const ReportOptions &o)
{
    bool known = false;
    QStringList names;
    for (const char *f : kFormats) {
        known = known || o.format == QLatin1String(f);
        names.append(QLatin1String(f));
    }
    if (!known)
        return QStringLiteral("--format takes %1, not \"%2\"")
                .arg(names.join(QLatin1Char('|')), o.format);
    if (o.output == QLatin1String("-"))
        return {};
    return checkOutputPath(o.output);
}

QString reportUsage()
{
    return QStringLiteral(
            "                     [--format text|json|junit|markdown|csv] [--output FILE]\n"
            "                     [--fail-on-blocked] [--fail-on bad|new] [--baseline FILE]\n"
            "                     [--no-history]\n");
}

Report collectReport(LinkCheckerHub &hub, bool interrupted, bool failOnBlocked)
{
    Report r;
    r.start = hub.startUrl();
    r.interrupted = interrupted;
    r.failOnBlocked = failOnBlocked;
    const int n = hub.recordCount();
    r.links.reserve(n);
    for (int i = 0; i < n; ++i) {
        const LinkCheckerUrl *record = hub.recordAt(i);
        r.links.append(record);
        if (!record->getStatus().isEmpty())
            ++r.checked;
        switch (verdictOf(*record)) {
        case Verdict::Bad:
            ++r.bad;
            break;
        case Verdict::Blocked:
            ++r.blocked;
            break;
        case Verdict::Good:
            break;
        }
    }
    r.limits = hub.limitMessages();
    r.countLine = hub.isCrawlFinished() ? hub.countText() : hub.summaryText();
    // Blocked links are in the designed bad count; the summary counts them apart from it.
    if (r.blocked > 0)
        r.countLine = hub.summaryText(r.bad);
    r.summary = composeSummary(r);
    return r;
}

QString composeSummary(const Report &report)
{
    QString s = report.countLine;
    if (report.compared)
        s += QStringLiteral(" (%1 new)").arg(report.newBad);
    if (report.blocked > 0)
        s += QStringLiteral(", %1 blocked").arg(report.blocked);
    if (report.compared)
        s += QStringLiteral(", %1 fixed").arg(report.fixed.size());
    if (report.interrupted)
        s += QStringLiteral(" (interrupted)");
    return s;
}

QString writeReport(const Report &report, const ReportOptions &o, bool quiet, bool badOnly)
{
    const auto build = [&](TextSink &out) {
        if (o.format == QLatin1String("json"))
            writeJsonReport(out, report, badOnly);
        else if (o.format == QLatin1String("junit"))
            writeJUnitReport(out, report, badOnly);
        else if (o.format == QLatin1String("markdown"))
            writeMarkdownReport(out, report);
        else if (o.format == QLatin1String("csv"))
            writeCsvReport(out, report, badOnly);
        else
            writeTextReport(out, report, quiet);
    };
    if (!o.output.isEmpty() && o.output != QLatin1String("-")) {
        if (!LinkExports::writeExport(o.output, build))
            return QStringLiteral("cannot write %1").arg(o.output);
        return {};
    }
    TextSink out([](QByteArray bytes) {
        return std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout)
                == size_t(bytes.size());
    });
    build(out);
    out.finish();
    std::fflush(stdout);
    return {};
}

} // namespace orel::cli
