// The order in which cached tiles are given up: one list of every tile in memory, from the least recently used
// (first_tile) to the newest (last_tile).
//
// Invariants, whenever cv_tile_access_lock is free:
//   (1) every cached tile is on the list exactly once, a detached one too;
//   (2) first_tile and last_tile are both null or both set;
//   (3) first_tile has no prev, last_tile has no next.
//
// Locking: nothing here takes a lock. The caller holds cv_tile_access_lock, because it changes a tile's flags in the
// same breath as its place.

#include "iocache/cache/cache.h"

cv_tile* first_tile = nullptr;
cv_tile* last_tile = nullptr;

// The tile's own links are left as they were.
void cv_remove_from_lru_list(cv_tile* tile)
{
    (tile->next != nullptr ? tile->next->prev : last_tile) = tile->prev;
    (tile->prev != nullptr ? tile->prev->next : first_tile) = tile->next;
}

void cv_append_to_lru_list(cv_tile* tile)
{
    // Without a newest tile, the list's own end stands in for its neighbour.
    (last_tile != nullptr ? last_tile->next : first_tile) = tile;
    tile->prev = last_tile;
    tile->next = nullptr;
    last_tile = tile;
}
