// Writing tiles back, for the cache side's own callers.
#pragma once

#include <cstdint>

#include <iocache/iocache.h>

namespace iocache::cache {

// As cv_write_dirty_tile, but a tile that a client holds is left alone. The test and the claim are one step: between
// them the client could change the tile and lose the change.
int32_t write_unlocked_dirty_tile(cv_tile& tile);

// A changed tile that leaves its canvas's cache, or is marked clean, is on its way from here until it has a slot: who
// looks at it without a lock in between would find no trace of it. Before either; cache side.
void send_on_its_way(const cv_tile& tile);
// Whether it is this one that is on its way. Ask behind a look at the tile in memory, and before one at its slot: each
// hands over to the next before it lets go. Any thread.
bool is_on_its_way(const cv_canvas& canvas, int64_t index);
// Start of the library.
void forget_tile_on_its_way();

}  // namespace iocache::cache
