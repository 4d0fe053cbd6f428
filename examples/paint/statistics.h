// What the tile cache holds at this moment, counted from the library's public data.
#ifndef IOCACHE_EXAMPLES_PAINT_STATISTICS_H
#define IOCACHE_EXAMPLES_PAINT_STATISTICS_H

#include <cstdint>

namespace paint {

struct cache_statistics {
    int32_t tiles = 0;        // in memory, of open canvases
    int32_t dirty_tiles = 0;  // of them, with changes that are not in the file
    int32_t zones = 0;
    int32_t zones_used = 0;
    int64_t bytes_used = 0;  // by these tiles
    int64_t bytes = 0;
};

// Meets the cache process first, which then rests until the next request: nothing moves while it is counted. Costs at
// most the wait for the one tile that is being written or read.
cache_statistics count_cache();

}  // namespace paint

#endif
