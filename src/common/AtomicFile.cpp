// Writing a whole file atomically.
#include "common/AtomicFile.h"

#include "common/TextSink.h"

#include <QSaveFile>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace orel {

namespace {

// Flushed before the commit: a write failing while the commit empties the buffer goes unreported
// by commit() and would replace the file with a truncated one. A file not committed is removed
// when it goes, leaving the earlier one.
bool commit(QSaveFile &file, bool written, QString *error)
{
    if (written && file.flush() && file.commit())
        return true;
    if (error)
        *error = file.errorString();
    return false;
}

// Writes chunks to a file on a thread of its own, so that the file system's copying of one chunk
// overlaps the building of the next: on a large export that copying took a third of the time. At
// most two chunks wait, the one being written included; a builder faster than the file waits.
class BackgroundWriter
{
public:
    explicit BackgroundWriter(QIODevice &file) : m_file(file), m_thread([this] { run(); }) { }
    ~BackgroundWriter() { finish(); }
    BackgroundWriter(const BackgroundWriter &) = delete;
    BackgroundWriter &operator=(const BackgroundWriter &) = delete;

    // Queues the bytes; false once a write has failed.
    bool write(QByteArray bytes)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_queue.size() < kWaiting || m_failed; });
        if (m_failed)
            return false;
        m_queue.push_back(std::move(bytes));
        m_changed.notify_all();
        return true;
    }

    // Waits until every queued chunk is written; answers whether all were.
    bool finish()
    {
        {
            const std::lock_guard lock(m_mutex);
            m_done = true;
        }
        m_changed.notify_all();
        if (m_thread.joinable())
            m_thread.join();
        return !m_failed;
    }

private:
    static constexpr std::size_t kWaiting = 2;

    void run()
    {
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_changed.wait(lock, [this] { return !m_queue.empty() || m_done; });
            if (m_queue.empty())
                return;
            const QByteArray &bytes = m_queue.front();
            const bool failed = m_failed; // only this thread sets it
            lock.unlock();
            const bool written = !failed && m_file.write(bytes) == bytes.size();
            lock.lock();
            m_queue.pop_front();
            m_failed = !written;
            m_changed.notify_all();
        }
    }

    QIODevice &m_file;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<QByteArray> m_queue;
    bool m_done = false;
    bool m_failed = false;
    std::thread m_thread; // last: started once the rest is made
};

} // namespace

bool writeFileAtomically(const QString &path, const QByteArray &bytes, QString *error)
{
    QSaveFile file(path);
    const bool opened = file.open(QIODevice::WriteOnly);
    return commit(file, opened && file.write(bytes) == bytes.size(), error);
}

bool writeTextAtomically(const QString &path, const std::function<void(TextSink &)> &build,
                         QString *error)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return commit(file, false, error);
    BackgroundWriter writer(file);
    TextSink sink([&writer](QByteArray bytes) { return writer.write(std::move(bytes)); });
    build(sink);
    const bool written = sink.finish();
    return commit(file, writer.finish() && written, error);
}

} // namespace orel
