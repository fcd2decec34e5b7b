// The results layer at the size of a large site: a crawl's records are read from a generated site
// through the crawl's own page reading, and then the link views, the three item models, the flat
// list and the exports are timed on them, with the memory they take. Prints Markdown tables.
#include "Figures.h"
#include "MemoryAccount.h"
#include "ProcessMemory.h"
#include "Report.h"
#include "SyntheticSite.h"

#include "common/HeapTuning.h"
#include "common/SettingsControls.h"
#include "common/TextSink.h"
#include "config/OrelConfigManager.h"
#include "engine/LinkCheckerHub.h"
#include "links/LinkCheckerUrl.h"
#include "links/OnPageList.h"
#include "links/ReasonPhrase.h"
#include "reports/ByLinkModel.h"
#include "reports/ByPageModel.h"
#include "reports/FlatListModel.h"
#include "reports/LinkExports.h"
#include "reports/LinkViews.h"
#include "reports/OrelReportDataSource.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTextStream>

#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <chrono>
#include <cstdio>
#include <functional>
#include <map>
#include <span>
#include <tuple>
#include <unordered_set>
#include <vector>

using namespace orel;
using namespace orel::bench;

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double microsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

const Clock::time_point g_start = Clock::now();

void progress(const QString &line)
{
    std::fprintf(stderr, "[%7.1f s] %s\n", secondsSince(g_start), qPrintable(line));
}

[[noreturn]] void fail(const QString &why)
{
    std::fprintf(stderr, "bench_results: %s\n", qPrintable(why));
    std::exit(1);
}

struct Options
{
    SyntheticSite::Shape shape;
    double scrollCap = 120;
    QString out; // where the exports are kept; none: written to a temporary folder and deleted
    // Memory an export may take beyond what the process has mapped before it; none: what the
    // machine has available then, less 2 GB.
    double exportRoomMb = 0;
    // The groups of steps to run (scroll, filter, sort, exports); empty: all. The crawl, the flat
    // list build and the models always run.
    QStringList only;

    bool runs(const char *group) const
    {
        return only.isEmpty() || only.contains(QLatin1String(group));
    }
};

Options parseOptions(const QStringList &args)
{
    Options o;
    for (qsizetype i = 1; i < args.size(); ++i) {
        const QString &a = args.at(i);
        const auto value = [&]() -> QString {
            if (i + 1 >= args.size())
                fail(QStringLiteral("%1 needs a value").arg(a));
            return args.at(++i);
        };
        const auto count = [&]() -> qint64 {
            bool ok = false;
            const qint64 n = value().remove(QLatin1Char('_')).toLongLong(&ok);
            if (!ok || n < 1)
                fail(QStringLiteral("%1 needs a positive number").arg(a));
            return n;
        };
        if (a == QLatin1String("--records"))
            o.shape.records = count();
        else if (a == QLatin1String("--pages"))
            o.shape.pages = count();
        else if (a == QLatin1String("--occurrences"))
            o.shape.occurrences = count();
        else if (a == QLatin1String("--menu"))
            o.shape.menu = int(count());
        else if (a == QLatin1String("--scroll-cap"))
            o.scrollCap = double(count());
        else if (a == QLatin1String("--out"))
            o.out = value();
        else if (a == QLatin1String("--export-room"))
            o.exportRoomMb = double(count()) * 1024;
        else if (a == QLatin1String("--only")) {
            o.only = value().split(QLatin1Char(','));
            for (const QString &group : std::as_const(o.only)) {
                if (!QStringList { "scroll", "filter", "sort", "exports" }.contains(group))
                    fail(QStringLiteral("--only takes scroll, filter, sort or exports, not \"%1\"")
                                 .arg(group));
            }
        } else if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            std::printf("usage: bench_results [--records N] [--pages N] [--occurrences N] "
                        "[--menu N] [--scroll-cap SECONDS] [--out DIR] [--export-room GB]\n"
                        "                     [--only scroll,filter,sort,exports]\n"
                        "defaults: 1,000,000 records, 100,000 pages, 10,000,000 occurrences, "
                        "a menu of 30 links, scrolls stopped after 120 s, exports may map what "
                        "the machine has available less 2 GB, every group of steps\n");
            std::exit(0);
        } else {
            fail(QStringLiteral("unknown option %1 (try --help)").arg(a));
        }
    }
    if (const std::optional<QString> why = SyntheticSite::check(o.shape))
        fail(*why);
    return o;
}

std::vector<Step> g_steps;
std::vector<Latency> g_latencies;
std::vector<Scroll> g_scrolls;
double g_peakMb = 0;
double g_uncounted = 0; // seconds of a step spent on the benchmark's own checks
quint64 g_sink = 0; // keeps the values read from being optimised away

template<typename F>
Step &timed(const QString &what, F &&fn, bool targeted = true)
{
    ProcessMemory::resetPeak();
    g_uncounted = 0;
    const Clock::time_point start = Clock::now();
    QString result = fn();
    Step step { what, secondsSince(start) - g_uncounted, 0, 0, result, targeted };
    const ProcessMemory after = ProcessMemory::now();
    step.peakMb = after.peakMb;
    step.rssAfterMb = after.rssMb;
    g_peakMb = std::max(g_peakMb, after.peakMb);
    progress(QStringLiteral("%1: %2 s, %3").arg(what, fixed(step.seconds, 3), result));
    g_steps.push_back(step);
    return g_steps.back();
}

// ---- Models -------------------------------------------------------------------------------------

// What a view asks of one row as it paints it: each column's text and background.
double rowMicros(const QAbstractItemModel &model, const QModelIndex &parent, int row)
{
    const Clock::time_point start = Clock::now();
    const int columns = model.columnCount(parent);
    for (int c = 0; c < columns; ++c) {
        const QModelIndex index = model.index(row, c, parent);
        g_sink += quint64(model.data(index, Qt::DisplayRole).toString().size());
        g_sink += quint64(model.data(index, Qt::BackgroundRole).isValid());
    }
    return microsSince(start);
}

void latency(const QString &model, const QString &row, const QAbstractItemModel &m,
             const QModelIndex &parent, int r)
{
    Latency l { model, row, rowMicros(m, parent, r), 0 };
    std::vector<double> again;
    for (int i = 0; i < 101; ++i)
        again.push_back(rowMicros(m, parent, r));
    std::nth_element(again.begin(), again.begin() + 50, again.end());
    l.againMicros = again[50];
    g_latencies.push_back(l);
}

// Rows at the top, in the middle and at the end; in an outline also the children of such rows,
// the first time a page or link is opened (its rowCount) timed as well.
void latencies(const QString &name, const QAbstractItemModel &m, bool tree)
{
    const int n = m.rowCount();
    if (n == 0)
        return;
    const std::pair<const char *, int> places[] = { { "top", 0 },
                                                    { "middle", n / 2 },
                                                    { "end", n - 1 } };
    for (const auto &[where, row] : places)
        latency(name, QStringLiteral("%1 row %2").arg(QLatin1String(where), number(row)), m, {},
                row);
    if (!tree)
        return;
    for (const auto &[where, row] : places) {
        const QModelIndex parent = m.index(row, 0);
        const Clock::time_point start = Clock::now();
        const int k = m.rowCount(parent);
        g_latencies.push_back({ name,
                                QStringLiteral("open %1 row %2 (%3 children)")
                                        .arg(QLatin1String(where), number(row), number(k)),
                                microsSince(start), 0 });
        if (k == 0)
            continue;
        for (const int child : { 0, k / 2, k - 1 })
            latency(name,
                    QStringLiteral("child %1 of %2 row %3")
                            .arg(number(child), QLatin1String(where), number(row)),
                    m, parent, child);
    }
}

Scroll scrollAll(const QString &name, const QAbstractItemModel &m, bool tree, double capSeconds)
{
    Scroll s;
    s.model = name;
    const double heapBefore = ProcessMemory::now().heapMb;
    const Clock::time_point start = Clock::now();
    s.rootsTotal = m.rowCount();
    for (int r = 0; r < s.rootsTotal; ++r) {
        s.roots.add(rowMicros(m, {}, r));
        if (tree) {
            const QModelIndex parent = m.index(r, 0);
            const Clock::time_point opened = Clock::now();
            const int k = m.rowCount(parent);
            s.expand.add(microsSince(opened));
            for (int c = 0; c < k; ++c)
                s.children.add(rowMicros(m, parent, c));
        }
        if ((r & 63) == 63 && secondsSince(start) > capSeconds) {
            s.finished = false;
            break;
        }
    }
    s.seconds = secondsSince(start);
    s.heapGrowthMb = ProcessMemory::now().heapMb - heapBefore;
    progress(QStringLiteral("scroll %1: %2 of %3 rows and %4 children in %5 s%6")
                     .arg(name, number(s.roots.rows), number(s.rootsTotal), number(s.children.rows),
                          fixed(s.seconds, 2),
                          s.finished ? QString() : QStringLiteral(" (stopped)")));
    return s;
}

int columnWithTitle(const QAbstractItemModel &m, const QString &title)
{
    for (int c = 0; c < m.columnCount(); ++c) {
        if (m.headerData(c, Qt::Horizontal).toString() == title)
            return c;
    }
    fail(QStringLiteral("no column %1").arg(title));
}

// ---- The crawl ----------------------------------------------------------------------------------

// Answers each record as a fetch would, in collection order as the scheduler takes them, and
// hands each page's body to the hub's page reading, which registers its links.
CrawlFigures crawl(const SyntheticSite &site, LinkCheckerHub &hub)
{
    CrawlFigures f;
    const Clock::time_point start = Clock::now();
    QByteArray html;
    html.reserve(64 * 1024);
    const QString moved = statusText(301);
    for (int i = 0; i < hub.recordCount(); ++i) {
        LinkCheckerUrl *record = hub.recordAt(i);
        const std::optional<SyntheticSite::Target> target = site.target(record->getLinkUrl());
        if (!target)
            fail(QStringLiteral("a record the site does not have: %1").arg(record->getLinkUrl()));
        const SyntheticSite::Answer answer = site.answer(*target);
        record->setSentRequest();
        record->setIsHTML(answer.html);
        if (answer.redirect) {
            record->setRedir(*answer.redirect);
            record->updateStatus(moved);
        }
        record->updateStatus(answer.status);
        hub.statusHasChangedFordO(record);
        hub.incNumberDone(record);
        if (target->page) {
            site.pageHtml(target->index, html);
            f.htmlBytes += html.size();
            record->setData(html);
            const Clock::time_point reading = Clock::now();
            hub.extractLinks(record);
            f.readingSeconds += secondsSince(reading);
            ++f.pagesRead;
        }
        if ((i & 0x3ffff) == 0x3ffff)
            progress(QStringLiteral("crawl: %1 records answered, %2 found")
                             .arg(number(i + 1), number(hub.recordCount())));
    }
    f.seconds = secondsSince(start);
    return f;
}

// ---- Output -------------------------------------------------------------------------------------

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

// The "\r" bytes of a file.
qint64 countLineEnds(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        fail(QStringLiteral("cannot read %1").arg(path));
    qint64 count = 0;
    for (QByteArray chunk = file.read(1 << 20); !chunk.isEmpty(); chunk = file.read(1 << 20))
        count += chunk.count('\r');
    return count;
}

} // namespace

int main(int argc, char *argv[])
{
    tuneHeap();
    QCoreApplication app(argc, argv);
    const Options options = parseOptions(QCoreApplication::arguments());
    const SyntheticSite site(options.shape);
    const SyntheticSite::Shape &shape = site.shape();

    // Settings, defaults and the archive folder live in a folder of the run's own.
    QTemporaryDir home;
    if (!home.isValid())
        fail(QStringLiteral("no temporary folder"));
    qputenv("ORRELWICK_HOME", QFile::encodeName(home.path()));
    std::unique_ptr<QTemporaryDir> outTemp;
    QString outDir = options.out;
    if (outDir.isEmpty()) {
        outTemp = std::make_unique<QTemporaryDir>();
        outDir = outTemp->path();
    } else if (!QDir().mkpath(outDir)) {
        fail(QStringLiteral("cannot make %1").arg(outDir));
    }
    if (!ProcessMemory::resetPeak())
        progress(QStringLiteral("the kernel does not let the peak be reset: peaks are "
                                "cumulative"));

    progress(QStringLiteral("site: %1 records, %2 pages, %3 occurrences, %4 leaves (%5 bad)")
                     .arg(number(shape.records), number(shape.pages), number(shape.occurrences),
                          number(site.leaves()), number(site.badLeaves())));

    EntryCost entryCost;
    malloc_trim(0);
    const ProcessMemory before = ProcessMemory::now();
    SettingsControls controls;
    controls.setDefaults();
    controls.linksLimit = int(std::min<qint64>(100'000'000, shape.records + 1));
    controls.urlField = SyntheticSite::homeUrl();
    OrelConfigManager manager(&controls);
    LinkCheckerHub hub(&controls, &manager);
    // A crawl of the site's home page, paused at once: the records are then answered and the
    // pages read by hand, as the fetches would.
    hub.go();
    hub.stop();

    CrawlFigures crawled;
    timed(
            QStringLiteral("crawl: answer every record and read every page"),
            [&] {
                crawled = crawl(site, hub);
                hub.countBadCollection();
                hub.views().flush();
                return QStringLiteral("%1 pages read (%2 MB of HTML) in %3 s of page reading")
                        .arg(number(crawled.pagesRead), mb(double(crawled.htmlBytes) / 1048576.0),
                             fixed(crawled.readingSeconds, 1));
            },
            false);
    const ProcessMemory afterCrawl = ProcessMemory::now();

    // The result set must be the one asked for.
    qint64 occurrences = 0;
    for (int i = 0; i < hub.recordCount(); ++i)
        occurrences += hub.recordAt(i)->onPageCount();
    const qint64 pagesIndexed = hub.pageIndex() ? hub.pageIndex()->size() : 0;
    if (hub.recordCount() != shape.records || occurrences != shape.occurrences
        || pagesIndexed != shape.pages || hub.getBadCollectionCount() != site.badLeaves())
        fail(QStringLiteral("the crawl made %1 records, %2 occurrences, %3 pages with links and %4 "
                            "bad records")
                     .arg(number(hub.recordCount()), number(occurrences), number(pagesIndexed),
                          number(hub.getBadCollectionCount())));

    progress(QStringLiteral("accounting for the crawl's memory"));
    const std::vector<Account> parts = accountCrawl(hub, site, entryCost);
    malloc_trim(0);

    // ---- The flat list
    OrelReportDataSource &report = hub.report();
    const double heapBeforeReport = ProcessMemory::now().heapMb;
    timed(QStringLiteral("flat list build (doReport)"), [&] {
        report.doReport(hub);
        return QStringLiteral("%1 rows, %2 bad")
                .arg(number(report.numberOfRows()), number(qint64(report.badCollection().size())));
    });
    const double reportHeapMb = ProcessMemory::now().heapMb - heapBeforeReport;
    if (report.numberOfRows() != shape.occurrences)
        fail(QStringLiteral("the flat list has %1 rows").arg(number(report.numberOfRows())));

    // ---- The models and their row counts
    std::unique_ptr<ByLinkModel> byLink;
    std::unique_ptr<ByPageModel> byPage;
    std::unique_ptr<FlatListModel> flat;
    timed(QStringLiteral("by-link model: made, row count"), [&] {
        byLink = std::make_unique<ByLinkModel>(hub.views());
        return QStringLiteral("%1 rows").arg(number(byLink->rowCount()));
    });
    timed(QStringLiteral("by-page model: made (pages with shown links), row count"), [&] {
        byPage = std::make_unique<ByPageModel>(hub.views());
        return QStringLiteral("%1 rows").arg(number(byPage->rowCount()));
    });
    timed(QStringLiteral("flat list model: made, row count"), [&] {
        flat = std::make_unique<FlatListModel>(report);
        return QStringLiteral("%1 rows").arg(number(flat->rowCount()));
    });
    if (byLink->rowCount() != shape.records || byPage->rowCount() != shape.pages)
        fail(QStringLiteral("the outlines have %1 and %2 rows")
                     .arg(number(byLink->rowCount()), number(byPage->rowCount())));

    // ---- One row at a time, then every row
    const auto scrollStep = [&](const QString &name, const QAbstractItemModel &m, bool tree) {
        timed(QStringLiteral("scroll through every row: %1").arg(name), [&] {
            g_scrolls.push_back(scrollAll(name, m, tree, options.scrollCap));
            const Scroll &s = g_scrolls.back();
            QString text = QStringLiteral("%1 rows").arg(number(s.roots.rows));
            if (tree)
                text += QStringLiteral(" and %1 children").arg(number(s.children.rows));
            if (!s.finished)
                text += QStringLiteral(", stopped after %1 s: %2 of %3 rows")
                                .arg(fixed(options.scrollCap, 0), number(s.roots.rows),
                                     number(s.rootsTotal));
            return text;
        });
    };
    // Each model's rows at the top, middle and end, then every row; suffix names the view state.
    const auto rowsAndScrolls = [&](const QString &suffix) {
        const std::tuple<QString, const QAbstractItemModel &, bool> models[] = {
            { QStringLiteral("flat list"), *flat, false },
            { QStringLiteral("by link"), *byLink, true },
            { QStringLiteral("by page"), *byPage, true },
        };
        for (const auto &[name, model, tree] : models)
            latencies(name + suffix, model, tree);
        for (const auto &[name, model, tree] : models)
            scrollStep(name + suffix, model, tree);
    };
    if (options.runs("scroll")) {
        progress(QStringLiteral("one row's data at the top, middle and end"));
        rowsAndScrolls(QString());
    }

    // ---- Bad links only (with its scrolls when those run)
    if (options.runs("filter")) {
        timed(QStringLiteral("bad links only: on"), [&] {
            hub.setBadLinksOnly(true);
            return QStringLiteral("rows: by link %1, by page %2, flat %3")
                    .arg(number(byLink->rowCount()), number(byPage->rowCount()),
                         number(flat->rowCount()));
        });
        if (options.runs("scroll"))
            rowsAndScrolls(QStringLiteral(", bad only"));
        timed(QStringLiteral("bad links only: off"), [&] {
            hub.setBadLinksOnly(false);
            return QStringLiteral("rows: by link %1, by page %2, flat %3")
                    .arg(number(byLink->rowCount()), number(byPage->rowCount()),
                         number(flat->rowCount()));
        });
    }

    // ---- Filter and sort
    if (options.runs("filter")) {
        const QString search = QStringLiteral("partner-0042.");
        timed(QStringLiteral("search \"%1\": on").arg(search), [&] {
            hub.setSearchText(search);
            hub.filter();
            return QStringLiteral("rows: by link %1, by page %2, flat %3")
                    .arg(number(byLink->rowCount()), number(byPage->rowCount()),
                         number(flat->rowCount()));
        });
        timed(QStringLiteral("search: off"), [&] {
            hub.setSearchText(QString());
            hub.filter();
            return QStringLiteral("rows: by link %1, flat %2")
                    .arg(number(byLink->rowCount()), number(flat->rowCount()));
        });
        timed(QStringLiteral("external links only: on"), [&] {
            hub.setLinksFilterTag(4);
            hub.filter();
            report.filter(QString(), OrelReportDataSource::ExternalLinks);
            return QStringLiteral("rows: by link %1, by page %2, flat %3")
                    .arg(number(byLink->rowCount()), number(byPage->rowCount()),
                         number(flat->rowCount()));
        });
        timed(QStringLiteral("external links only: off"), [&] {
            hub.setLinksFilterTag(0);
            hub.filter();
            report.filter(QString(), OrelReportDataSource::AllLinks);
            return QStringLiteral("rows: by link %1, flat %2")
                    .arg(number(byLink->rowCount()), number(flat->rowCount()));
        });
    }
    if (options.runs("sort")) {
        for (const auto &[title, order] :
             { std::pair { QStringLiteral("URL"), Qt::AscendingOrder },
               std::pair { QStringLiteral("Status"), Qt::DescendingOrder } }) {
            const QString direction =
                    order == Qt::AscendingOrder ? QStringLiteral("up") : QStringLiteral("down");
            timed(QStringLiteral("sort the flat list by %1, %2").arg(title, direction), [&] {
                flat->sort(columnWithTitle(*flat, title), order);
                return QStringLiteral("first: %1")
                        .arg(flat->data(flat->index(0, columnWithTitle(*flat, title))).toString());
            });
            timed(QStringLiteral("sort by link by %1, %2").arg(title, direction), [&] {
                byLink->sort(columnWithTitle(*byLink, title), order);
                return QStringLiteral("first: %1")
                        .arg(byLink->data(byLink->index(0, columnWithTitle(*byLink, title)))
                                     .toString());
            });
        }
    }

    // ---- Exports, each written to its file as it is built
    struct Export
    {
        QString what;
        QString file;
        std::function<void(TextSink &)> write;
        // "\r" ends each line, the header's included, and separates the pages in the hub CSV's
        // page cell; -1 when not checked.
        qint64 lines;
    };
    const Export exports[] = {
        { QStringLiteral("hub CSV"), QStringLiteral("links.csv"),
          [&](TextSink &out) {
              hub.exports().writeTable(out, hub.exports().tableColumns(), QLatin1Char(','));
          },
          shape.occurrences + 1 },
        { QStringLiteral("hub flat CSV"), QStringLiteral("links-flat.csv"),
          [&](TextSink &out) {
              hub.exports().writeFlat(out, hub.exports().tableColumns(), QLatin1Char(','));
          },
          shape.occurrences + 1 },
        { QStringLiteral("flat list CSV"), QStringLiteral("flat.csv"),
          [&](TextSink &out) { report.writeFlatText(out, QLatin1Char(',')); },
          shape.occurrences + 1 },
        { QStringLiteral("flat list HTML"), QStringLiteral("flat.html"),
          [&](TextSink &out) { report.writeHtml(out); }, -1 },
        { QStringLiteral("dot graph (no level limit, clean, coloured)"), QStringLiteral("site.dot"),
          [&](TextSink &out) { hub.exports().writeDot(out, 1000, true, true); }, -1 },
    };
    for (const Export &e :
         options.runs("exports") ? std::span<const Export>(exports) : std::span<const Export>()) {
        const QString path = QDir(outDir).filePath(e.file);
        malloc_trim(0);
        const double room = options.exportRoomMb > 0 ? options.exportRoomMb
                                                     : ProcessMemory::availableMb() - 2048;
        bool stopped = false;
        Step &step = timed(QStringLiteral("%1: built and written").arg(e.what), [&] {
            const AddressSpaceLimit limit(room);
            try {
                if (!LinkExports::writeExport(path, e.write))
                    fail(QStringLiteral("%1 was not written").arg(path));
                const Clock::time_point checking = Clock::now();
                const qint64 lines = e.lines >= 0 ? countLineEnds(path) : -1;
                if (lines != e.lines)
                    fail(QStringLiteral("%1 has %2 lines").arg(e.what, number(lines)));
                g_uncounted = secondsSince(checking);
                return QStringLiteral("%1 MB written%2")
                        .arg(mb(double(QFileInfo(path).size()) / 1048576.0),
                             lines >= 0 ? QStringLiteral(", %1 lines").arg(number(lines))
                                        : QString());
            } catch (const std::bad_alloc &) {
                stopped = true;
                return QStringLiteral("stopped: an allocation failed with %1 GB mapped beyond "
                                      "the process's own")
                        .arg(fixed(room / 1024, 1));
            }
        });
        step.stopped = stopped;
        if (outTemp)
            QFile::remove(path); // the next export's room
    }

    // ---- Report
    QTextStream &o = out();
    writeReport(o,
                { shape, site.menuLinks(), site.pageLinks(), site.leaves(), site.badLeaves(),
                  crawled, g_steps, g_latencies, g_scrolls, parts, before, afterCrawl, reportHeapMb,
                  options.runs("scroll"), g_peakMb });
    o.flush();
    return 0;
}
