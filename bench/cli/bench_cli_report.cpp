// Times each form of the command-line report for the records of a crawl of the crawl
// benchmark's site: 20,000 pages of 40 links each (800,000 occurrences), 1% of them to 8,040
// missing pages. Each form is written to a file in the folder given (default: a temporary one),
// as orrelwick-cli --output writes it; then again compared with an earlier run in which half of
// those pages were missing and 2,000 others that are no longer linked.
#include "cli/History.h"
#include "cli/Report.h"
#include "common/TextSink.h"
#include "links/LinkCheckerUrl.h"
#include "reports/LinkExports.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTextStream>

#include <memory>
#include <vector>

using namespace orel;
using namespace orel::cli;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const int pages = 20000, linksPerPage = 40, missing = 8040;
    QTemporaryDir tmp;
    const QString dir = argc > 1 ? QString::fromLocal8Bit(argv[1]) : tmp.path();

    QElapsedTimer clock;
    clock.start();
    std::vector<std::unique_ptr<LinkCheckerUrl>> records;
    const QString base = QStringLiteral("http://127.0.0.1:8080/section-%1/page-%2.html");
    for (int i = 0; i < pages + missing; ++i) {
        auto r = std::make_unique<LinkCheckerUrl>();
        const bool gone = i >= pages;
        r->setLinkUrl(gone ? QStringLiteral("http://127.0.0.1:8080/missing/gone-%1.html").arg(i)
                           : base.arg(i % 50).arg(i),
                      false);
        r->setStatus(gone ? QStringLiteral("404 not found") : QStringLiteral("200 no error"));
        r->setIsInBadCollection(gone);
        r->setIsInternal(true);
        r->setResponseTime(0.0012);
        records.push_back(std::move(r));
    }
    // Every page's 40 links: 1% to a missing page, the rest to other pages.
    int occurrences = 0, nextMissing = 0;
    for (int p = 0; p < pages; ++p) {
        const QString page = records[p]->getLinkUrl();
        for (int k = 0; k < linksPerPage; ++k, ++occurrences) {
            LinkCheckerUrl *target = occurrences % 100 == 99
                    ? records[pages + (nextMissing++ % missing)].get()
                    : records[(p * 7 + k * 131 + 1) % pages].get();
            target->addOnPageUrl(page);
            target->addOnPageName(QStringLiteral("Page title %1").arg(p));
            target->addOnPageLinkText(QStringLiteral("Link text number %1").arg(k));
        }
    }
    Report report;
    report.start = records[0]->getLinkUrl();
    for (const auto &r : records)
        report.links.append(r.get());
    report.checked = int(records.size());
    report.bad = missing;
    report.summary =
            QStringLiteral("%1 of %1 links checked, %2 bad").arg(records.size()).arg(missing);
    QTextStream out(stdout);
    out << "records " << records.size() << ", occurrences " << occurrences << ", made in "
        << clock.elapsed() / 1000.0 << " s\n\n| Form | Time s | MB written |\n|---|---:|---:|\n";

    const std::pair<const char *, std::function<void(TextSink &)>> forms[] = {
        { "text", [&](TextSink &s) { writeTextReport(s, report, false); } },
        { "json", [&](TextSink &s) { writeJsonReport(s, report, false); } },
        { "junit", [&](TextSink &s) { writeJUnitReport(s, report, false); } },
        { "markdown", [&](TextSink &s) { writeMarkdownReport(s, report); } },
        { "csv", [&](TextSink &s) { writeCsvReport(s, report, false); } },
    };
    const auto writeForms = [&](const char *suffix) {
        for (const auto &[name, write] : forms) {
            const QString path = dir + QStringLiteral("/report.") + QLatin1String(name);
            clock.restart();
            if (!LinkExports::writeExport(path, write))
                return false;
            const double seconds = clock.nsecsElapsed() / 1e9;
            out << "| " << name << suffix << " | " << QString::number(seconds, 'f', 3) << " | "
                << QString::number(QFileInfo(path).size() / 1e6, 'f', 1) << " |\n";
            out.flush();
        }
        return true;
    };
    if (!writeForms(""))
        return 1;

    PreviousRun previous;
    previous.present = true;
    previous.source = QStringLiteral("history");
    for (int i = pages; i < pages + missing; i += 2)
        previous.failing.insert(records[i]->getLinkUrl(),
                                { QStringLiteral("404 not found"), Verdict::Bad });
    for (int i = 0; i < 2000; ++i)
        previous.failing.insert(QStringLiteral("http://127.0.0.1:8080/old/removed-%1.html").arg(i),
                                { QStringLiteral("404 not found"), Verdict::Bad });
    clock.restart();
    compareWithPrevious(report, previous, true);
    out << "| comparison | " << QString::number(clock.nsecsElapsed() / 1e9, 'f', 3) << " | |\n";
    if (!writeForms(" (compared)"))
        return 1;

    // The history of this run (its 8,040 bad links) written and read back, as the next crawl
    // of the same start URL reads it.
    qputenv("ORRELWICK_HOME", QFile::encodeName(dir));
    clock.restart();
    QString error;
    if (!writeHistory(report, previous, true, &error))
        return 1;
    PreviousRun readBack;
    if (!readPreviousRun(historyFile(report.start), readBack, &error)
        || readBack.failing.size() != missing)
        return 1;
    out << "| history written and read | " << QString::number(clock.nsecsElapsed() / 1e9, 'f', 3)
        << " | " << QString::number(QFileInfo(historyFile(report.start)).size() / 1e6, 'f', 1)
        << " |\n";
    out.flush();
    // The records are left to the process's end, as orrelwick-cli leaves them.
    std::quick_exit(0);
}
