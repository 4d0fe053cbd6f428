// Writing tiles back, for the cache side's own callers.
#pragma once

#include <cstdint>

#include <iocache/iocache.h>

namespace iocache::cache {

// As cv_write_dirty_tile, but a tile that a client holds is left alone. The test and the claim are one step: between
// them the client could change the tile and lose the change.
int32_t write_unlocked_dirty_tile(cv_tile& tile);

}  // namespace iocache::cache
