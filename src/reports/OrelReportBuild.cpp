// Building the flat list from a crawl's records, at once or on a thread of its own, and putting
// the result in place on the main thread.
#include "reports/OrelReportDataSource.h"

#include "common/Log.h"
#include "links/LinkCheckerUrl.h"

#include <QThread>

#include <limits>
#include <new>

namespace orel {

// What one build made; handed from the build's thread to the main thread whole.
struct OrelReportDataSource::Build
{
    std::unique_ptr<OrelReportItemStore> store = std::make_unique<OrelReportItemStore>();
    std::vector<OrelDataObject *> items;
    std::vector<OrelDataObject *> bad;
    quint32 highestId = 0;
    QStringList messages; // logged on the main thread
    quint64 generation = 0; // of the results read
    quint64 request = 0;
    bool stopped = false;
};

void OrelReportDataSource::doReport(LinkResults &results)
{
    stopBuild();
    attach(results);
    auto result = std::make_shared<Build>();
    result->generation = results.resultsGeneration();
    result->request = ++m_request;
    build(
            results.linkSource().items(), this, [] { return false; }, *result);
    deliver(result);
}

void OrelReportDataSource::requestReport(LinkResults &results)
{
    stopBuild();
    attach(results);
    const quint64 request = ++m_request;
    if (results.childrenShown()) {
        startBuild(results, request);
        return;
    }
    // The end of a run asks before it marks itself finished: look again from the event loop.
    m_building = true;
    QMetaObject::invokeMethod(
            this,
            [this, request] {
                if (request != m_request || !m_results)
                    return; // asked again, cleared or the results went
                if (!m_results->childrenShown()) {
                    m_building = false; // the crawl runs: its records may change under the build
                    return;
                }
                startBuild(*m_results, request);
            },
            Qt::QueuedConnection);
}

void OrelReportDataSource::startBuild(LinkResults &results, quint64 request)
{
    auto result = std::make_shared<Build>();
    result->generation = results.resultsGeneration();
    result->request = request;
    m_stopBuild.store(false, std::memory_order_relaxed);
    m_building = true;
    const std::vector<OrelDataObject *> *records = &results.linkSource().items();
    LinkResults *source = &results;
    // The thread is joined (stopBuild) before this source or the results go, and before the
    // crawl changes the records, so the pointers stay valid while it runs.
    m_worker.reset(QThread::create([this, records, source, result] {
        const auto stopped = [this, source, generation = result->generation] {
            return m_stopBuild.load(std::memory_order_relaxed)
                    || source->resultsGeneration() != generation;
        };
        build(*records, this, stopped, *result);
        QMetaObject::invokeMethod(
                this, [this, result] { deliver(result); }, Qt::QueuedConnection);
    }));
    m_worker->setObjectName(QStringLiteral("flat list"));
    m_worker->start(QThread::LowPriority);
}

void OrelReportDataSource::stopBuild()
{
    if (m_worker) {
        m_stopBuild.store(true, std::memory_order_relaxed);
        m_worker->wait();
        m_worker.reset();
    }
    m_building = false;
}

// One item per occurrence of each record, in collection order. The bad collection takes the
// items of records whose shouldBeMemberOfBadCollection() answers false: the name of that test
// reads the other way round, but that is its sense.
void OrelReportDataSource::build(const std::vector<OrelDataObject *> &records,
                                 OrelReportDataSource *owner, const std::function<bool()> &stopped,
                                 Build &out)
{
    for (OrelDataObject *object : records) {
        if (stopped()) {
            out.stopped = true;
            return;
        }
        auto *record = static_cast<LinkCheckerUrl *>(object);
        const bool bad = !record->shouldBeMemberOfBadCollection();
        const qsizetype occurrences = record->onPageCount();
        try {
            for (qsizetype j = 0; j < occurrences; ++j) {
                OrelReportItem *item = out.store->add(record, quint32(j), owner);
                item->setID(++out.highestId);
                out.items.push_back(item);
                if (bad)
                    out.bad.push_back(item);
            }
        } catch (const std::bad_alloc &) {
            // The rest of this record's occurrences are left out; the next record may still fit.
            out.messages.append(QStringLiteral("**** unable to add more data to flat view report"));
        }
    }
    // Rows are counted in a signed 32-bit integer by the views.
    if (out.items.size() > std::size_t(std::numeric_limits<qint32>::max())) {
        out.messages.append(QStringLiteral("*** unable to display flat list as its members (%1) "
                                           "exceeds internal limits. clearing it and returning")
                                    .arg(qulonglong(out.items.size())));
        out.items = {};
        out.bad = {};
        out.store = std::make_unique<OrelReportItemStore>();
        out.highestId = 0;
    }
}

void OrelReportDataSource::deliver(const std::shared_ptr<Build> &result)
{
    for (const QString &line : result->messages)
        log(line);
    if (result->request != m_request)
        return; // another build was asked for since
    if (m_worker) {
        m_worker->wait(); // it has handed its result over and is ending
        m_worker.reset();
    }
    m_building = false;
    if (result->stopped || !m_results || result->generation != m_results->resultsGeneration())
        return; // the records changed (or went) while it was built

    Q_EMIT tableAboutToChange();
    m_filteredRows.clear();
    m_badCollection = std::move(result->bad);
    adoptCollection(std::move(result->items), qint32(result->highestId));
    // The previous items go only now: nothing refers to them any more.
    m_store.swap(result->store);
    result->store.reset();
    m_currentSortField.clear();
    m_currentSortAscending = true;
    if (!m_searchText.isEmpty() || m_filterTag != AllLinks)
        applyFilter();
    rebuildRows();
    Q_EMIT tableChanged();
    bhDataSource::reloadData();
    Q_EMIT reportReady();
}

void OrelReportDataSource::attach(LinkResults &results)
{
    if (m_results == &results)
        return;
    detach();
    // The items shown read from the previous results' records, which this source no longer
    // hears about.
    clear();
    m_results = &results;
    m_listenerId =
            results.addChangeListener([this](ResultsChange change) { resultsWillChange(change); });
}

void OrelReportDataSource::detach()
{
    if (!m_results)
        return;
    m_results->removeChangeListener(m_listenerId);
    m_results = nullptr;
    m_listenerId = 0;
}

void OrelReportDataSource::resultsWillChange(ResultsChange change)
{
    stopBuild();
    ++m_request; // a build asked for and not yet started is no longer wanted
    if (change == ResultsChange::Discard) {
        clear();
        detach();
    }
}

} // namespace orel
