// The results benchmark's report: its figures as Markdown tables and each target's verdict;
// main thread.
#pragma once

#include "Figures.h"
#include "ProcessMemory.h"
#include "SyntheticSite.h"

#include <QTextStream>

#include <vector>

namespace orel::bench {

struct ReportInput
{
    const SyntheticSite::Shape &shape;
    int menuLinks;
    int pageLinks;
    qint64 leaves;
    qint64 badLeaves;
    const CrawlFigures &crawled;
    const std::vector<Step> &steps;
    const std::vector<Latency> &latencies;
    const std::vector<Scroll> &scrolls;
    const std::vector<Account> &parts; // the crawl's memory by part
    const ProcessMemory &before; // before the crawl controller was made
    const ProcessMemory &afterCrawl;
    double reportHeapMb; // the flat list's heap
    bool scrolled; // the scrolls ran
    double peakMb;
};

void writeReport(QTextStream &o, const ReportInput &in);

} // namespace orel::bench
