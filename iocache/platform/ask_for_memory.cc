// Memory of a region, made ahead of its first use.
#include "iocache/platform/platform.h"

#include <cstddef>

#include <sys/mman.h>

void iocache::platform::ask_for_memory([[maybe_unused]] void* start, [[maybe_unused]] int64_t bytes)
{
#if defined(MADV_POPULATE_WRITE)
    static_cast<void>(madvise(start, static_cast<std::size_t>(bytes), MADV_POPULATE_WRITE));
#endif
}
