// The process's own memory figures for the results benchmark: resident size, its peak (which can
// be started again, so that each step gets a peak of its own) and the heap in use.
#pragma once

#include <QString>

#include <sys/resource.h>

#include <cstddef>

namespace orel::bench {

struct ProcessMemory
{
    double rssMb = 0; // resident now
    double peakMb = 0; // resident at most since the start or the last resetPeak()
    double heapMb = 0; // bytes in use in malloc's heap, mapped chunks included
    double mappedMb = 0; // address space mapped

    static ProcessMemory now();
    // Starts the peak again from the resident size now; answers whether the kernel allowed it.
    static bool resetPeak();
    // What the machine has available for new allocations without swapping.
    static double availableMb();
};

// While it lives, the process may map at most roomMb more than it has mapped now: an allocation
// beyond that fails (std::bad_alloc from Qt's containers) instead of exhausting the machine.
class AddressSpaceLimit
{
public:
    explicit AddressSpaceLimit(double roomMb);
    ~AddressSpaceLimit();
    AddressSpaceLimit(const AddressSpaceLimit &) = delete;
    AddressSpaceLimit &operator=(const AddressSpaceLimit &) = delete;

private:
    struct rlimit m_previous;
    bool m_set = false;
};

// What malloc really holds for a block it handed out at ptr (its size class and header), 0 for
// nullptr.
std::size_t heapChunk(const void *ptr);
// What malloc holds for a request of this many bytes.
std::size_t heapChunkFor(std::size_t bytes);

// Megabytes with one decimal.
QString mb(double megabytes);

} // namespace orel::bench
