#include "ProcessMemory.h"

#include <QFile>

#include <malloc.h>
#include <unistd.h>

namespace orel::bench {

namespace {

double statusFieldMb(const QByteArray &status, const char *field)
{
    const qsizetype at = status.indexOf(field);
    if (at < 0)
        return 0;
    const qsizetype end = status.indexOf('\n', at);
    QByteArray value = status.mid(at + qstrlen(field), end - at - qsizetype(qstrlen(field)));
    value = value.trimmed();
    value.chop(3); // " kB"
    return value.trimmed().toDouble() / 1024.0;
}

} // namespace

ProcessMemory ProcessMemory::now()
{
    ProcessMemory m;
    QFile file(QStringLiteral("/proc/self/status"));
    if (file.open(QIODevice::ReadOnly)) {
        const QByteArray status = file.readAll();
        m.rssMb = statusFieldMb(status, "VmRSS:");
        m.peakMb = statusFieldMb(status, "VmHWM:");
        m.mappedMb = statusFieldMb(status, "VmSize:");
    }
    const struct mallinfo2 info = mallinfo2();
    m.heapMb = double(info.uordblks + info.hblkhd) / (1024.0 * 1024.0);
    return m;
}

bool ProcessMemory::resetPeak()
{
    QFile file(QStringLiteral("/proc/self/clear_refs"));
    return file.open(QIODevice::WriteOnly) && file.write("5") == 1;
}

double ProcessMemory::availableMb()
{
    QFile file(QStringLiteral("/proc/meminfo"));
    return file.open(QIODevice::ReadOnly) ? statusFieldMb(file.readAll(), "MemAvailable:") : 0;
}

AddressSpaceLimit::AddressSpaceLimit(double roomMb)
{
    if (getrlimit(RLIMIT_AS, &m_previous) != 0)
        return;
    struct rlimit limit = m_previous;
    const rlim_t wanted = rlim_t((ProcessMemory::now().mappedMb + roomMb) * 1024 * 1024);
    limit.rlim_cur =
            m_previous.rlim_max == RLIM_INFINITY ? wanted : std::min(wanted, m_previous.rlim_max);
    m_set = setrlimit(RLIMIT_AS, &limit) == 0;
}

AddressSpaceLimit::~AddressSpaceLimit()
{
    if (m_set)
        setrlimit(RLIMIT_AS, &m_previous);
}

std::size_t heapChunk(const void *ptr)
{
    // The usable size plus the one size word malloc keeps in front of each block.
    return ptr ? malloc_usable_size(const_cast<void *>(ptr)) + sizeof(std::size_t) : 0;
}

std::size_t heapChunkFor(std::size_t bytes)
{
    // glibc: the request plus one size word, rounded up to 16 bytes, at least 32; blocks of
    // 128 KB and more are mapped on their own, in whole pages.
    if (bytes >= 128 * 1024) {
        const std::size_t page = std::size_t(sysconf(_SC_PAGESIZE));
        return (bytes + 2 * sizeof(std::size_t) + page - 1) / page * page;
    }
    return std::max<std::size_t>(32, (bytes + sizeof(std::size_t) + 15) & ~std::size_t(15));
}

QString mb(double megabytes)
{
    return QString::number(megabytes, 'f', 1);
}

} // namespace orel::bench
