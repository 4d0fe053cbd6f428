// Bringing a tile into memory: the entry it has already, or a block of tile memory and its bytes from the file.
// Cache side only.

#include "iocache/cache/fetch.h"

#include "iocache/cache/eviction.h"
#include "iocache/cache/tile_entry.h"
#include "iocache/cache/tile_place.h"
#include "iocache/canvas/canvas.h"
#include "iocache/zones/zones.h"

namespace {

using namespace iocache;
using namespace iocache::cache;

cv_tile* touch_cached(const cv_canvas& canvas, int64_t index)
{
    const tile_access_guard held;
    cv_tile* const tile = cached_tile(canvas, index);
    touch(*tile, held);
    return tile;
}

// A block of tile memory and an entry that describes it; null when either cannot be had.
cv_tile* make_entry(cv_canvas& canvas, int32_t column, int32_t row, search_for purpose)
{
    cv_alloc_curr_size = canvas.tile_bytes;
    if (cv_alloc_search_place() != 0 && !make_room(canvas.tile_bytes, purpose)) return nullptr;
    cv_tile* const tile = take_entry();
    if (tile == nullptr) return nullptr;
    // A reader without a lock may still look at the tile that this entry held before.
    std::atomic_ref(tile->buffer).store(cv_alloc_malloc(), std::memory_order_relaxed);
    tile->id = canvas.index;
    tile->canvas = &canvas;
    tile->x = column;
    tile->y = row;
    tile->size = canvas.tile_bytes;
    tiles_fetched(canvas).fetch_add(1, std::memory_order_relaxed);
    return tile;
}

// Nobody has seen this tile yet.
void discard(cv_tile& tile)
{
    tiles_fetched(*tile.canvas).fetch_sub(1, std::memory_order_relaxed);
    cv_alloc_free(tile.buffer);
    give_back_entry(tile);
}

bool load(const cv_canvas& canvas, int64_t index, cv_tile& tile, clearing when)
{
    const int32_t slot = slot_of_tile(canvas, index);
    if (slot == canvas::never_written) {
        tile.file_pos = 0;
        if (cv_clear_tile == 1) clear_tile(tile, when);
        return true;
    }
    tile.file_pos = int64_t{slot} * tile.size + canvas.header->tiles_offset;
    return cv_read_tile(&tile) == 0;
}

// Even generation first: from here on a reader may trust what it finds under this index.
void publish(const cv_canvas& canvas, int64_t index, cv_tile& tile)
{
    const tile_access_guard held;
    locked(tile).store(0, std::memory_order_relaxed);
    dirty(tile).store(0, std::memory_order_relaxed);
    cv_append_to_lru_list(&tile);
    entry_of(tile).generation.fetch_add(1, std::memory_order_acq_rel);
    set_cached_tile(canvas, index, &tile, held);
}

}  // namespace

cv_tile* iocache::cache::fetch(cv_canvas& canvas, int32_t column, int32_t row, search_for purpose, clearing when)
{
    if (!in_grid(canvas, column, row) || !zones::serves(canvas.tile_bytes)) return nullptr;
    const int64_t index = int64_t{row} * canvas.tiles_across + column;
    if (cached_tile(canvas, index) != nullptr) return touch_cached(canvas, index);
    if (cv_tile* const stranded = reattach_stranded_tile(canvas, column, row)) return stranded;

    cv_tile* const tile = make_entry(canvas, column, row, purpose);
    if (tile == nullptr) return nullptr;
    if (!load(canvas, index, *tile, when)) {
        discard(*tile);
        return nullptr;
    }
    publish(canvas, index, *tile);
    return tile;
}

cv_tile* cv_get_tile(cv_canvas* canvas, int32_t column, int32_t row)
{
    return fetch(*canvas, column, row, search_for::request);
}
