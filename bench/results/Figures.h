// What the results benchmark measures and how its figures are written: the steps, row times,
// scrolls and memory parts it collects, and the number formats of its tables; main thread.
#pragma once

#include <QString>
#include <QtGlobal>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace orel::bench {

// The time limit every operation is held to.
constexpr double kTargetSeconds = 10;
// And the time of one row's data() in any model.
constexpr double kRowTargetMicros = 10;
constexpr double kPeakTargetMb = 2.5 * 1024;

// "1,234,567".
QString number(qint64 n);
QString fixed(double value, int decimals);
// "met" or "**not met**".
QString verdict(bool met);

struct CrawlFigures
{
    double seconds = 0;
    double readingSeconds = 0; // inside the hub's page reading
    qint64 pagesRead = 0;
    qint64 htmlBytes = 0;
};

struct Step
{
    QString what;
    double seconds = 0;
    double peakMb = 0;
    double rssAfterMb = 0;
    QString result;
    bool targeted = true; // held to kTargetSeconds
    bool stopped = false; // did not fit in the memory allowed
};

struct Latency
{
    QString model;
    QString row;
    double firstMicros = 0;
    double againMicros = 0;
};

// Row times of a scroll, kept as a histogram: 0.1 µs steps up to 100 µs, then 10 µs steps up
// to 10 ms, then one bin for anything slower.
struct Tally
{
    qint64 rows = 0;
    double micros = 0;
    double maxMicros = 0;
    qint64 over = 0; // rows slower than kRowTargetMicros
    std::vector<qint64> bins = std::vector<qint64>(1000 + 990 + 1);

    void add(double us)
    {
        ++rows;
        micros += us;
        maxMicros = std::max(maxMicros, us);
        if (us > kRowTargetMicros)
            ++over;
        const std::size_t bin = us < 100 ? std::size_t(us * 10)
                : us < 10000             ? 1000 + std::size_t((us - 100) / 10)
                                         : bins.size() - 1;
        ++bins[std::min(bin, bins.size() - 1)];
    }
    // The time under which this share of the rows took (the upper edge of its bin).
    double percentile(double share) const
    {
        const qint64 wanted = qint64(std::ceil(share * double(rows)));
        qint64 seen = 0;
        for (std::size_t b = 0; b < bins.size(); ++b) {
            seen += bins[b];
            if (seen >= wanted && wanted > 0)
                return b < 1000 ? double(b + 1) / 10 : 100 + double(b - 1000 + 1) * 10;
        }
        return maxMicros;
    }
    void merge(const Tally &other)
    {
        rows += other.rows;
        micros += other.micros;
        maxMicros = std::max(maxMicros, other.maxMicros);
        over += other.over;
        for (std::size_t b = 0; b < bins.size(); ++b)
            bins[b] += other.bins[b];
    }
};

struct Scroll
{
    QString model;
    Tally roots, expand, children;
    qint64 rootsTotal = 0;
    double seconds = 0;
    bool finished = true;
    double heapGrowthMb = 0;
};

struct Account
{
    QString part;
    double bytes = 0;
    bool perOccurrence = false; // else per record
    QString basis;
};

} // namespace orel::bench
