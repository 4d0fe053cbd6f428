// Giving a tile in memory to another canvas.
#pragma once

#include <cstdint>

#include <iocache/iocache.h>

namespace iocache::convert {

// The locked tile of `from` becomes the same tile of `to`, without a slot in its file yet, and is released. The grids
// agree. Returns the tile's number. Takes cv_tile_access_lock.
int32_t move_tile(cv_tile& tile, cv_canvas& from, cv_canvas& to);

}  // namespace iocache::convert
