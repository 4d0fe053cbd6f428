// Letting tiles go. Cache side only.
//
// Stranded tiles: an eviction unhooks its victim from the canvas before it writes it; when that write fails the victim
// stays on the LRU list with its changes. A later fetch of the tile must find it there and not read its old slot.
#pragma once

#include <cstdint>

#include <iocache/iocache.h>

namespace iocache::cache {

enum class search_for { request, read_ahead };

// Evicts the oldest unlocked tiles, as many as it takes, until the current block of the zones holds `bytes`. With only
// locked tiles left the oldest is taken all the same and the user told to leave; never for mere reading ahead. False
// when the disk is full, a write failed, or nothing is left to evict.
bool make_room(int32_t bytes, search_for purpose);

// Takes a tile off its canvas's table, so that no lookup finds it. It stays on the LRU list.
void unhook(cv_tile& tile);
// Takes an unhooked, clean tile off the list and gives back its buffer and its entry.
void unlink_and_free(cv_tile& tile);

// An unhooked tile could not be written and stays.
void strand(cv_tile& tile);
// Hooks a stranded tile in again; null when there is none for this place.
cv_tile* reattach_stranded_tile(const cv_canvas& canvas, int32_t column, int32_t row);
void reattach_stranded_tiles(const cv_canvas& canvas);
void forget_stranded_tiles();

}  // namespace iocache::cache
