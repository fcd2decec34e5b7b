// The results layer at the size of a large site: a crawl's records are read from a generated site
// through the crawl's own page reading, and then the link views, the three item models, the flat
// list and the exports are timed on them, with the memory they take. Prints Markdown tables.
#include "ProcessMemory.h"
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

// The time limit every operation is held to.
constexpr double kTargetSeconds = 10;
// And the time of one row's data() in any model.
constexpr double kRowTargetMicros = 10;
constexpr double kPeakTargetMb = 2.5 * 1024;

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

// ---- Results ------------------------------------------------------------------------------------

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

struct CrawlFigures
{
    double seconds = 0;
    double readingSeconds = 0; // inside the hub's page reading
    qint64 pagesRead = 0;
    qint64 htmlBytes = 0;
};

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

// ---- Memory accounting --------------------------------------------------------------------------

// What the on-page list of a record with n occurrences holds, measured on a list of its own: the
// entries grow together with the first column. The heap's figures are read by walking its free
// lists, which is slow once a crawl has fragmented it, so the common sizes are measured before.
class EntryCost
{
public:
    EntryCost()
    {
        // The page text's shared copy is made by the first append and kept for the next list
        // that appends the same text: made here, it is not counted below.
        OnPageList warm;
        warm.appendUrl(page());
        for (qsizetype n = 1; n <= kMeasuredFirst; ++n)
            bytes(n);
    }

    double bytes(qsizetype n)
    {
        if (n == 0)
            return 0;
        auto it = m_known.find(n);
        if (it != m_known.end())
            return it->second;
        const size_t before = heapInUse();
        double cost = 0;
        {
            OnPageList list;
            for (qsizetype i = 0; i < n; ++i)
                list.appendUrl(page());
            cost = double(heapInUse() - before);
        }
        m_known.emplace(n, cost);
        return cost;
    }

private:
    static constexpr qsizetype kMeasuredFirst = 4096;
    static QString page() { return QStringLiteral("http://site.test/"); }
    static size_t heapInUse()
    {
        const struct mallinfo2 info = mallinfo2();
        return info.uordblks + info.hblkhd;
    }

    std::map<qsizetype, double> m_known;
};

std::vector<Account> accountCrawl(LinkCheckerHub &hub, const SyntheticSite &site,
                                  EntryCost &entryCost)
{
    std::vector<Account> parts;
    const qint64 records = hub.recordCount();
    double objects = 0, entries = 0, textChars = 0;
    // The record's own texts, each shared block counted once: URL as text and as bytes, status,
    // redirect target (both forms), page title.
    double urlText = 0, urlBytes = 0, status = 0, redirect = 0, title = 0;
    std::unordered_set<const void *> seen;
    seen.reserve(size_t(records) * 2);
    const auto block = [&](auto text) -> double {
        const void *data = text.data_ptr().d_ptr();
        return data && seen.insert(data).second ? double(heapChunk(data)) : 0;
    };
    for (int i = 0; i < records; ++i) {
        const LinkCheckerUrl *r = hub.recordAt(i);
        objects += double(heapChunkFor(sizeof(LinkCheckerUrl)));
        urlText += block(r->getLinkUrl());
        urlBytes += block(r->getLinkUrlBytes());
        status += block(r->getStatus());
        redirect += block(r->getRedir()) + block(r->getRedirBytes());
        title += block(r->getLinkPageTitle());
        const qsizetype n = r->onPageCount();
        entries += entryCost.bytes(n);
        for (qsizetype k = 0; k < n; ++k)
            textChars += double(r->onPageLinkTextAt(k).size());
    }
    parts.push_back({ QStringLiteral("record objects"), objects, false,
                      QStringLiteral("%1 bytes each").arg(sizeof(LinkCheckerUrl)) });
    parts.push_back({ QStringLiteral("record URL as text"), urlText, false,
                      QStringLiteral("the registry's key shares it") });
    parts.push_back({ QStringLiteral("record URL as bytes"), urlBytes, false,
                      QStringLiteral("as UTF-8 conversion left it") });
    parts.push_back({ QStringLiteral("record status, redirect target, page title"),
                      status + redirect + title, false,
                      QStringLiteral("status %1, redirect %2, title %3 MB; shared texts once")
                              .arg(mb(status / 1048576.0), mb(redirect / 1048576.0),
                                   mb(title / 1048576.0)) });
    const double occurrences = double(site.shape().occurrences);
    parts.push_back({ QStringLiteral("on-page entries"), entries, true,
                      QStringLiteral("an entry per occurrence in one array per record, its "
                                     "size doubled as it fills") });
    parts.push_back({ QStringLiteral("link texts"), textChars * 2, true,
                      QStringLiteral("%1 characters on average, 2 bytes each, end to end in "
                                     "shared blocks")
                              .arg(fixed(textChars / occurrences, 1)) });
    // The pair and its own copies of the page's URL and title, read through each page's first
    // link.
    double sharedPages = 0;
    if (const PageIndex *index = hub.pageIndex()) {
        for (auto it = index->cbegin(); it != index->cend(); ++it) {
            if (it->isEmpty())
                continue;
            const PageLink &first = it->constFirst();
            sharedPages += double(heapChunkFor(sizeof(QSharedData) + 2 * sizeof(QString)))
                    + block(first.record->onPageUrlAt(first.occurrence))
                    + block(first.record->onPageNameAt(first.occurrence));
        }
    }
    parts.push_back({ QStringLiteral("page URL and title, one shared pair per page"), sharedPages,
                      true, QStringLiteral("one per page read, with its own copies of both") });

    double byPage = 0;
    if (const PageIndex *index = hub.pageIndex()) {
        for (auto it = index->cbegin(); it != index->cend(); ++it)
            byPage += double(heapChunkFor(16 + sizeof(PageLink) * size_t(it->capacity())));
        // The hash's own nodes (key and list) and buckets.
        byPage += double(index->size()) * double(sizeof(QString) + sizeof(QList<void *>))
                + double(index->capacity());
    }
    parts.push_back({ QStringLiteral("by-page index"), byPage, true,
                      QStringLiteral("a record and its place per occurrence, one list per page") });

    // Reserved for the links limit (at most 65,536 keys) and doubled whenever half full.
    size_t slotCount =
            std::bit_ceil(size_t(std::clamp(hub.controls()->linksLimit, 16, 1 << 16)) * 2);
    while (slotCount < 2 * (size_t(records) + 1))
        slotCount *= 2;
    const double slots = double(slotCount);
    parts.push_back({ QStringLiteral("registry table"),
                      slots * double(sizeof(QString) + sizeof(size_t) + sizeof(void *)), false,
                      QStringLiteral("%1 slots of key, hash and record, at most half full")
                              .arg(number(qint64(slots))) });
    const double pointers = double(std::bit_ceil(size_t(records)));
    parts.push_back({ QStringLiteral("collection and link view index"),
                      pointers * (2 * sizeof(void *) + sizeof(void *) + sizeof(int)), false,
                      QStringLiteral("records owned and in order, shown rows, ranks") });
    return parts;
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

QString verdict(bool met)
{
    return met ? QStringLiteral("met") : QStringLiteral("**not met**");
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
    if (options.runs("scroll")) {
        progress(QStringLiteral("one row's data at the top, middle and end"));
        latencies(QStringLiteral("flat list"), *flat, false);
        latencies(QStringLiteral("by link"), *byLink, true);
        latencies(QStringLiteral("by page"), *byPage, true);

        scrollStep(QStringLiteral("flat list"), *flat, false);
        scrollStep(QStringLiteral("by link"), *byLink, true);
        scrollStep(QStringLiteral("by page"), *byPage, true);
    }

    // ---- Bad links only (with its scrolls when those run)
    if (options.runs("filter")) {
        timed(QStringLiteral("bad links only: on"), [&] {
            hub.setBadLinksOnly(true);
            return QStringLiteral("rows: by link %1, by page %2, flat %3")
                    .arg(number(byLink->rowCount()), number(byPage->rowCount()),
                         number(flat->rowCount()));
        });
        if (options.runs("scroll")) {
            latencies(QStringLiteral("flat list, bad only"), *flat, false);
            latencies(QStringLiteral("by link, bad only"), *byLink, true);
            latencies(QStringLiteral("by page, bad only"), *byPage, true);
            scrollStep(QStringLiteral("flat list, bad only"), *flat, false);
            scrollStep(QStringLiteral("by link, bad only"), *byLink, true);
            scrollStep(QStringLiteral("by page, bad only"), *byPage, true);
        }
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
    o << "## Results layer: " << number(shape.records) << " records, " << number(shape.occurrences)
      << " occurrences, " << number(shape.pages) << " pages\n\n";
    o << "Site: a menu of " << site.menuLinks() << " links on every page, " << site.pageLinks()
      << " links to other pages, the rest to " << number(site.leaves())
      << " leaves (downloads and other sites; " << number(site.badLeaves())
      << " broken). Records read through the crawl's page reading: "
      << fixed(crawled.readingSeconds, 1) << " s of " << fixed(crawled.seconds, 1) << " s for "
      << number(crawled.pagesRead) << " pages.\n\n";

    o << "| Operation | Time s | Peak RSS MB | RSS after MB | Result |\n|---|---:|---:|---:|---|\n";
    for (const Step &s : g_steps)
        o << "| " << s.what << " | " << fixed(s.seconds, s.seconds < 0.1 ? 4 : 2)
          << (s.stopped                                           ? " (stopped)"
                      : s.targeted && s.seconds >= kTargetSeconds ? " (over)"
                                                                  : "")
          << " | " << mb(s.peakMb) << " | " << mb(s.rssAfterMb) << " | " << s.result << " |\n";

    o << "\nOne row's data() (every column, text and background), µs:\n\n"
         "| Model | Row | First call | Again (median of 101) |\n|---|---|---:|---:|\n";
    for (const Latency &l : g_latencies)
        o << "| " << l.model << " | " << l.row << " | " << fixed(l.firstMicros, 1) << " | "
          << (l.againMicros > 0 ? fixed(l.againMicros, 1) : QStringLiteral("-")) << " |\n";

    o << "\nScrolls (each row's data() as above; opening = rowCount of a row's children):\n\n"
         "| Model | Rows | Time s | Mean µs per row | 99.9% of rows under µs | Slowest row µs "
         "| Rows over 10 µs | Slowest opening µs | Heap growth MB |\n"
         "|---|---|---:|---:|---:|---:|---:|---:|---:|\n";
    for (const Scroll &s : g_scrolls) {
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

    const double crawlHeapMb = afterCrawl.heapMb - before.heapMb;
    o << "\nMemory of the crawl's results (heap in use: " << mb(crawlHeapMb) << " MB; RSS "
      << mb(afterCrawl.rssMb - before.rssMb) << " MB over the " << mb(before.rssMb)
      << " MB before the crawl controller was made):\n\n| Part | MB | Bytes per occurrence | Bytes "
         "per record | Basis |\n"
         "|---|---:|---:|---:|---|\n";
    double accounted = 0;
    for (const Account &a : parts) {
        accounted += a.bytes;
        o << "| " << a.part << " | " << mb(a.bytes / 1048576.0) << " | "
          << (a.perOccurrence ? fixed(a.bytes / double(shape.occurrences), 1) : QString()) << " | "
          << (a.perOccurrence ? QString() : fixed(a.bytes / double(shape.records), 1)) << " | "
          << a.basis << " |\n";
    }
    const double rest = crawlHeapMb * 1048576.0 - accounted;
    o << "| the rest (pages' SEO data, sitemap list, pending changes, heap slack) | "
      << mb(rest / 1048576.0) << " | | " << fixed(rest / double(shape.records), 1) << " | "
      << "measured less the above |\n";
    o << "| **crawl total** | " << mb(crawlHeapMb) << " | "
      << fixed(crawlHeapMb * 1048576.0 / double(shape.occurrences), 1) << " | "
      << fixed(crawlHeapMb * 1048576.0 / double(shape.records), 1) << " | |\n";
    o << "| flat list (items, rows, bad rows) | " << mb(reportHeapMb) << " | "
      << fixed(reportHeapMb * 1048576.0 / double(shape.occurrences), 1) << " | | measured |\n";

    o << "\n| Target | Result |\n|---|---|\n";
    double slowest = 0;
    QString slowestWhat;
    for (const Step &s : g_steps) {
        if (s.targeted && s.seconds > slowest) {
            slowest = s.seconds;
            slowestWhat = s.what;
        }
    }
    QStringList over;
    for (const Step &s : g_steps) {
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
    const QStringList models = options.runs("scroll")
            ? QStringList { QStringLiteral("flat list"), QStringLiteral("by link"),
                            QStringLiteral("by page") }
            : QStringList();
    for (const QString &model : models) {
        const auto ofModel = [&](const QString &name) {
            return name == model || name.startsWith(model + QLatin1Char(','));
        };
        double again = 0, first = 0, opening = 0;
        for (const Latency &l : g_latencies) {
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
        for (const Scroll &s : g_scrolls) {
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
    for (const Step &s : g_steps) {
        if (s.peakMb >= kPeakTargetMb)
            above << QStringLiteral("%1 %2 MB").arg(s.what, mb(s.peakMb));
    }
    o << "| peak RSS under 2.5 GB | " << verdict(g_peakMb < kPeakTargetMb) << ": " << mb(g_peakMb)
      << " MB"
      << (above.isEmpty()
                  ? QString()
                  : QStringLiteral(" (over 2.5 GB: %1)").arg(above.join(QStringLiteral("; "))))
      << " |\n";
    o.flush();
    return 0;
}
