#include "platform/Memory.h"

#include <malloc.h>

namespace varkel {

/// Left to itself, the allocator takes the first large blocks for a sign of more, and each thread that has
/// held a child's long output keeps tens of megabytes; and it makes eight heaps per core, each of which grows
/// to the most that was ever needed in it at once.
void keepMemorySmall() {
#ifdef __GLIBC__
    constexpr int large = 4 << 20;
    constexpr int heaps = 4;
    mallopt(M_ARENA_MAX, heaps);
    mallopt(M_MMAP_THRESHOLD, large);
    mallopt(M_TRIM_THRESHOLD, 2 * large);
#endif
}

void releaseFreeMemory() {
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

}  // namespace varkel
