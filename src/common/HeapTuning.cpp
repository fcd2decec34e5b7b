#include "common/HeapTuning.h"

#include <malloc.h>

namespace orel {

void tuneHeap()
{
#if defined(__GLIBC__)
    // Page bodies freed after reading are reused for the next ones. Handing freed tops back to
    // the kernel and faulting them in again costs more than keeping them; a larger step makes
    // fewer heap extensions.
    mallopt(M_TRIM_THRESHOLD, 1024 * 1024 * 1024);
    mallopt(M_TOP_PAD, 32 * 1024 * 1024);
#endif
}

} // namespace orel
