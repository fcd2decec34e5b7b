// The results benchmark's report.
#include "Report.h"

#include <QStringList>

namespace orel::bench {

QString number(qint64 n)
{
    QString digits = QString::number(n);
    for (qsizetype at = digits.size() - 3; at > (n < 0 ? 1 : 0); at -= 3)
        digits.insert(at, QLatin1Char(','));
    return digits;
}

QString fixed(double value, int decimals)
{
    return QString::number(value, 'f', decimals);
}

QString verdict(bool met)
{
    return met ? QStringLiteral("met") : QStringLiteral("**not met**");
}

namespace {

void writeTables(QTextStream &o, const ReportInput &in)
{
    o << "## Results layer: " << number(in.shape.records) << " records, "
      << number(in.shape.occurrences) << " occurrences, " << number(in.shape.pages) << " pages\n\n";
    o << "Site: a menu of " << in.menuLinks << " links on every page, " << in.pageLinks
      << " links to other pages, the rest to " << number(in.leaves)
      << " leaves (downloads and other sites; " << number(in.badLeaves)
      << " broken). Records read through the crawl's page reading: "
      << fixed(in.crawled.readingSeconds, 1) << " s of " << fixed(in.crawled.seconds, 1)
      << " s for " << number(in.crawled.pagesRead) << " pages.\n\n";

    o << "| Operation | Time s | Peak RSS MB | RSS after MB | Result |\n|---|---:|---:|---:|---|\n";
    for (const Step &s : in.steps)
        o << "| " << s.what << " | " << fixed(s.seconds, s.seconds < 0.1 ? 4 : 2)
          << (s.stopped                                           ? " (stopped)"
                      : s.targeted && s.seconds >= kTargetSeconds ? " (over)"
                                                                  : "")
          << " | " << mb(s.peakMb) << " | " << mb(s.rssAfterMb) << " | " << s.result << " |\n";

    o << "\nOne row's data() (every column, text and background), µs:\n\n"
         "| Model | Row | First call | Again (median of 101) |\n|---|---|---:|---:|\n";
    for (const Latency &l : in.latencies)
        o << "| " << l.model << " | " << l.row << " | " << fixed(l.firstMicros, 1) << " | "
          << (l.againMicros > 0 ? fixed(l.againMicros, 1) : QStringLiteral("-")) << " |\n";

    o << "\nScrolls (each row's data() as above; opening = rowCount of a row's children):\n\n"
         "| Model | Rows | Time s | Mean µs per row | 99.9% of rows under µs | Slowest row µs "
         "| Rows over 10 µs | Slowest opening µs | Heap growth MB |\n"
         "|---|---|---:|---:|---:|---:|---:|---:|---:|\n";
    for (const Scroll &s : in.scrolls) {
        const qint64 rows = s.roots.rows + s.children.rows;
        QString what = number(s.roots.rows) + QStringLiteral(" rows");
        if (s.children.rows > 0 || s.expand.rows > 0)
            what += QStringLiteral(" + ") + number(s.children.rows) + QStringLiteral(" children");
        if (!s.finished)
            what += QStringLiteral(" (stopped: %1 of %2 rows; all would take about %3 s)")
                            .arg(number(s.roots.rows), number(s.rootsTotal),
                                 fixed(s.seconds * double(s.rootsTotal) / double(s.roots.rows), 0));
        Tally all = s.roots;
        all.merge(s.children);
        o << "| " << s.model << " | " << what << " | " << fixed(s.seconds, 2) << " | "
          << fixed(rows ? all.micros / double(rows) : 0, 2) << " | "
          << fixed(all.percentile(0.999), 1) << " | " << fixed(all.maxMicros, 0) << " | "
          << number(s.roots.over + s.children.over) << " | "
          << (s.expand.rows ? fixed(s.expand.maxMicros, 0) : QStringLiteral("-")) << " | "
          << mb(s.heapGrowthMb) << " |\n";
    }

    const double crawlHeapMb = in.afterCrawl.heapMb - in.before.heapMb;
    o << "\nMemory of the crawl's results (heap in use: " << mb(crawlHeapMb) << " MB; RSS "
      << mb(in.afterCrawl.rssMb - in.before.rssMb) << " MB over the " << mb(in.before.rssMb)
      << " MB before the crawl controller was made):\n\n| Part | MB | Bytes per occurrence | Bytes "
         "per record | Basis |\n"
         "|---|---:|---:|---:|---|\n";
    double accounted = 0;
    for (const Account &a : in.parts) {
        accounted += a.bytes;
        o << "| " << a.part << " | " << mb(a.bytes / 1048576.0) << " | "
          << (a.perOccurrence ? fixed(a.bytes / double(in.shape.occurrences), 1) : QString())
          << " | " << (a.perOccurrence ? QString() : fixed(a.bytes / double(in.shape.records), 1))
          << " | " << a.basis << " |\n";
    }
    const double rest = crawlHeapMb * 1048576.0 - accounted;
    o << "| the rest (pages' SEO data, sitemap list, pending changes, heap slack) | "
      << mb(rest / 1048576.0) << " | | " << fixed(rest / double(in.shape.records), 1) << " | "
      << "measured less the above |\n";
    o << "| **crawl total** | " << mb(crawlHeapMb) << " | "
      << fixed(crawlHeapMb * 1048576.0 / double(in.shape.occurrences), 1) << " | "
      << fixed(crawlHeapMb * 1048576.0 / double(in.shape.records), 1) << " | |\n";
    o << "| flat list (items, rows, bad rows) | " << mb(in.reportHeapMb) << " | "
      << fixed(in.reportHeapMb * 1048576.0 / double(in.shape.occurrences), 1)
      << " | | measured |\n";
}

void writeTargets(QTextStream &o, const ReportInput &in)
{
    o << "\n| Target | Result |\n|---|---|\n";
    double slowest = 0;
    QString slowestWhat;
    for (const Step &s : in.steps) {
        if (s.targeted && s.seconds > slowest) {
            slowest = s.seconds;
            slowestWhat = s.what;
        }
    }
    QStringList over;
    for (const Step &s : in.steps) {
        if (s.stopped)
            over << QStringLiteral("%1 (stopped for memory after %2 s)")
                            .arg(s.what, fixed(s.seconds, 1));
        else if (s.targeted && s.seconds >= kTargetSeconds)
            over << QStringLiteral("%1 (%2 s)").arg(s.what, fixed(s.seconds, 1));
    }
    o << "| every operation under 10 s | " << verdict(over.isEmpty()) << ": "
      << (over.isEmpty() ? QStringLiteral("slowest %1, %2 s").arg(slowestWhat, fixed(slowest, 2))
                         : over.join(QStringLiteral("; ")))
      << " |\n";
    // A row's data() per model, bad links only or not: the repeated calls at the top, middle and
    // end, the rows of the scrolls, and opening a row's children.
    const QStringList models = in.scrolled
            ? QStringList { QStringLiteral("flat list"), QStringLiteral("by link"),
                            QStringLiteral("by page") }
            : QStringList();
    for (const QString &model : models) {
        const auto ofModel = [&](const QString &name) {
            return name == model || name.startsWith(model + QLatin1Char(','));
        };
        double again = 0, first = 0, opening = 0;
        for (const Latency &l : in.latencies) {
            if (!ofModel(l.model))
                continue;
            if (l.row.startsWith(QLatin1String("open")))
                opening = std::max(opening, l.firstMicros);
            else {
                again = std::max(again, l.againMicros);
                first = std::max(first, l.firstMicros);
            }
        }
        Tally rows;
        for (const Scroll &s : in.scrolls) {
            if (!ofModel(s.model))
                continue;
            rows.merge(s.roots);
            rows.merge(s.children);
            if (s.expand.rows)
                opening = std::max(opening, s.expand.percentile(0.999));
        }
        const double p999 = rows.percentile(0.999);
        const bool met =
                again < kRowTargetMicros && p999 < kRowTargetMicros && opening < kRowTargetMicros;
        o << "| " << model << ": one row's data() under 10 µs at any position | " << verdict(met)
          << ": top, middle and end " << fixed(again, 1) << " µs at most when asked again ("
          << fixed(first, 1) << " µs the first time); 99.9% of " << number(rows.rows)
          << " scrolled rows under " << fixed(p999, 1) << " µs, slowest "
          << fixed(rows.maxMicros, 0) << " µs";
        if (opening > 0)
            o << "; opening a row's children up to " << fixed(opening, 0)
              << " µs (99.9% of openings in the scrolls)";
        o << " |\n";
    }
    QStringList above;
    for (const Step &s : in.steps) {
        if (s.peakMb >= kPeakTargetMb)
            above << QStringLiteral("%1 %2 MB").arg(s.what, mb(s.peakMb));
    }
    o << "| peak RSS under 2.5 GB | " << verdict(in.peakMb < kPeakTargetMb) << ": " << mb(in.peakMb)
      << " MB"
      << (above.isEmpty()
                  ? QString()
                  : QStringLiteral(" (over 2.5 GB: %1)").arg(above.join(QStringLiteral("; "))))
      << " |\n";
}

} // namespace

void writeReport(QTextStream &o, const ReportInput &in)
{
    writeTables(o, in);
    writeTargets(o, in);
}

} // namespace orel::bench
