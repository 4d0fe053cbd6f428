// Fetching, for the cache side's own callers.
#pragma once

#include <cstdint>

#include <iocache/iocache.h>

#include "iocache/cache/clearing.h"
#include "iocache/cache/eviction.h"

namespace iocache::cache {

// The tile, newest in the LRU order and not locked; null when it cannot be had or lies outside the grid. Reading ahead
// gives up where a request would have to take a locked tile. A tile that was never written is zeros, when cv_clear_tile
// says so and clearing is not left to the client.
cv_tile* fetch(cv_canvas& canvas, int32_t column, int32_t row, search_for purpose, clearing when = clearing::at_once);

}  // namespace iocache::cache
