#include "iocache/cache/flush.h"

#include "iocache/cache/eviction.h"
#include "iocache/cache/tile_entry.h"
#include "iocache/canvas/canvas.h"

int64_t total_size_tiles = 0;

namespace {

using namespace iocache;
using namespace iocache::cache;

// Written by the cache side before it meets the client, read by the client after that.
bool walk_failed = false;

void detach(cv_canvas& canvas, int64_t index, cv_tile& tile, const tile_access_guard& held)
{
    set_cached_tile(canvas, index, nullptr, held);
    tile.canvas = nullptr;
}

}  // namespace

bool iocache::cache::last_walk_failed()
{
    return walk_failed;
}

void iocache::cache::begin_walk()
{
    walk_failed = false;
}

// Locked tiles go like any other, and no canvas's tiles_fetched is lowered, as hosts expect.
void iocache::cache::flush_everything()
{
    while (first_tile != nullptr) {
        cv_tile& tile = *first_tile;
        unhook(tile);
        if (cv_write_dirty_tile(&tile) != 0 || disk_is_full()) {
            strand(tile);
            walk_failed = true;
            return;
        }
        total_size_tiles -= tile.size;
        unlink_and_free(tile);
    }
}

// A flushed or dropped tile stays on the LRU list, owned by no canvas, until replacement takes it.
void iocache::cache::walk_canvas(cv_canvas* canvas, walk what)
{
    reattach_stranded_tiles(*canvas);
    const int64_t tiles = canvas::tile_count(*canvas);
    for (int64_t index = 0; index < tiles; ++index) {
        cv_tile* const tile = cached_tile(*canvas, index);
        if (tile == nullptr) continue;
        if (what != walk::drop && cv_write_dirty_tile(tile) != 0) {
            walk_failed = true;
            return;
        }
        if (what == walk::write_back) continue;
        const tile_access_guard held;
        if (what == walk::drop) dirty(*tile).store(0, std::memory_order_relaxed);
        detach(*canvas, index, *tile, held);
    }
}

void iocache::cache::detach_tiles(cv_canvas& canvas)
{
    reattach_stranded_tiles(canvas);
    const int64_t tiles = canvas::tile_count(canvas);
    for (int64_t index = 0; index < tiles; ++index) {
        cv_tile* const tile = cached_tile(canvas, index);
        if (tile == nullptr) continue;
        const tile_access_guard held;
        dirty(*tile).store(0, std::memory_order_relaxed);
        locked(*tile).store(0, std::memory_order_relaxed);  // its canvas is gone: nobody may still use it
        detach(canvas, index, *tile, held);
    }
    for (cv_pref_entry& hint : cv_pref) {
        if (hint.canvas == &canvas) hint.canvas = nullptr;
    }
}
