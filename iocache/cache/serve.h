// Serving a tile request on the cache side.
#pragma once

#include <cstdint>

namespace iocache::cache {

enum class handed_out {
    all,
    disk_full,   // stopped before the slot that needed room
    unreadable,  // a tile cannot be read: fatal
    not_served,  // a slot names no open canvas or no pixel of its tiles
};

// Fetches and locks the tiles of the request's slots, fills their results and leaves the read-ahead hints.
handed_out hand_out_tiles(int32_t code);

}  // namespace iocache::cache
