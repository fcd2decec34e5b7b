// Cost of the data source's collection at crawl sizes: a crawl adds its records one by one and
// walks them in order (both must stay linear), looks one up by id, and a column click sorts them
// numerically (an insertion sort with a jump start).
#include "links/OrelDataObject.h"
#include "reports/bhDataSource.h"

#include <benchmark/benchmark.h>

#include <memory>

using orel::bhDataSource;
using orel::OrelDataObject;

namespace {

// A row whose every numeric field holds the same value.
class Row : public OrelDataObject
{
public:
    explicit Row(float value) : m_value(value) { }
    float getFieldAsNumberByName(const QString &) const override { return m_value; }

private:
    float m_value;
};

void fill(bhDataSource &source, int n)
{
    for (int i = 0; i < n; ++i)
        source.add(std::make_unique<Row>(float(i % 1000)));
}

void BM_AddWalkAndFindById(benchmark::State &state)
{
    const int n = int(state.range(0));
    for (auto _ : state) {
        bhDataSource source;
        fill(source, n);
        int walked = 0;
        for (OrelDataObject *item = source.getFirstItem(); item; item = source.getNextItem(item))
            ++walked;
        benchmark::DoNotOptimize(walked);
        benchmark::DoNotOptimize(source.getItemById(quint32(n)));
    }
    state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_AddWalkAndFindById)->Arg(20000)->Arg(200000)->Unit(benchmark::kMillisecond);

void BM_NumericSort(benchmark::State &state)
{
    const int n = int(state.range(0));
    bhDataSource source;
    fill(source, n);
    for (auto _ : state) {
        source.sortByColumn(QStringLiteral("filesize"), true, bhDataSource::SortAsNumber);
        benchmark::DoNotOptimize(source.getnthSortedItem(n - 1));
    }
    state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_NumericSort)->Arg(20000)->Arg(200000)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
