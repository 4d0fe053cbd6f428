// Fetching, for the cache side's own callers.
#pragma once

#include <cstdint>

#include <iocache/iocache.h>

#include "iocache/cache/eviction.h"

namespace iocache::cache {

// The tile, newest in the LRU order and not locked; null when it cannot be had or lies outside the grid. Reading ahead
// gives up where a request would have to take a locked tile.
cv_tile* fetch(cv_canvas& canvas, int32_t column, int32_t row, search_for purpose);

}  // namespace iocache::cache
