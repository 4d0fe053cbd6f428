// Memory straight from the system: one large mapping for the tiles, and zeroed blocks for everything else.
#include "iocache/platform/platform.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <limits>

#include <sys/mman.h>
#include <unistd.h>

namespace {

// No mapping is empty.
std::size_t mapped_bytes(int64_t bytes)
{
    return bytes > 0 ? static_cast<std::size_t>(bytes) : static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

// False for what a size_t of this machine, or any block of memory, cannot hold.
bool is_possible(int64_t bytes)
{
    return bytes >= 0 && bytes <= std::numeric_limits<std::ptrdiff_t>::max();
}

// Only hints: a system without huge pages is as good, and a little slower. The start of a region stays in small pages:
// a huge one is cleared whole when it is touched, which takes longer than reading a tile, and who only opens a canvas
// to look at it should not wait for that.
void advise_huge_pages(std::byte* region, std::size_t bytes)
{
    constexpr std::size_t small_start_bytes = 2'097'152;  // one huge page of most systems
    const std::size_t start = std::min(bytes, small_start_bytes);
    static_cast<void>(madvise(region, start, MADV_NOHUGEPAGE));
    static_cast<void>(madvise(region + start, bytes - start, MADV_HUGEPAGE));
}

}  // namespace

IOCACHE_REPLACEABLE void* platform_map_region(int64_t bytes)
{
    if (!is_possible(bytes)) {
        errno = EINVAL;
        return nullptr;
    }
    void* const region =
        mmap(nullptr, mapped_bytes(bytes), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (region == MAP_FAILED) return nullptr;
    advise_huge_pages(static_cast<std::byte*>(region), mapped_bytes(bytes));
    return region;
}

IOCACHE_REPLACEABLE void platform_unmap_region(void* region, int64_t bytes)
{
    if (region && is_possible(bytes)) munmap(region, mapped_bytes(bytes));
}

IOCACHE_REPLACEABLE void* platform_allocate(int64_t bytes)
{
    if (!is_possible(bytes)) {
        errno = EINVAL;
        return nullptr;
    }
    return std::calloc(1, std::max<std::size_t>(static_cast<std::size_t>(bytes), 1));
}
