// Cache hits, served in the client's own process: one lock, an index and a move in the LRU list; nothing is searched.

#include "iocache/cache/lookup.h"

#include "iocache/cache/tile_entry.h"
#include "iocache/cache/tile_place.h"
#include "iocache/cache/write_back.h"

namespace {

using namespace iocache;
using namespace iocache::cache;

// The tile, locked, newest and, for a write, dirty; null for a miss.
cv_tile* take_hit(const cv_canvas& record, int64_t index, bool writing, const tile_access_guard& held)
{
    cv_tile* const tile = cached_tile(record, index);
    if (tile == nullptr) return nullptr;
    if (writing) {
        // Two first writes are not the client's job: one that the zoom canvas must keep the old tile of, and one to a
        // tile that is being written to the file at this moment.
        if (entry_of(*tile).writing || zoom_still_needs(record, index)) return nullptr;
        dirty(*tile).store(1, std::memory_order_relaxed);
        record.tile_flags[index] |= record.dirty_mask;
    }
    locked(*tile).store(1, std::memory_order_relaxed);
    touch(*tile, held);
    return tile;
}

}  // namespace

bool iocache::cache::zoom_still_needs(const cv_canvas& record, int64_t index)
{
    const cv_canvas* const zoom = record.zoom_child;
    return zoom != nullptr && index < canvas::tile_count(*zoom) && slot_of_tile(*zoom, index) < 0 &&
           cached_tile(*zoom, index) == nullptr;
}

bool iocache::cache::may_serve(const cv_tile_request& request)
{
    const cv_canvas* const record = canvas::find(request.canvas);
    return record != nullptr && may_serve(*record, place_of(*record, request.x, request.y));
}

lookup iocache::cache::find_tile(cv_tile_request& request)
{
    const cv_canvas* const record = canvas::find(request.canvas);
    if (record == nullptr) return lookup::refused;
    const tile_place place = place_of(*record, request.x, request.y);
    if (!may_serve(*record, place)) return lookup::refused;
    {
        const tile_access_guard held;
        request.tile = take_hit(*record, place.index, request.write != 0, held);
    }
    if (request.tile == nullptr) return lookup::miss;
    fill_results(request, *record, place, *request.tile);  // no lock needed: a locked tile stays in memory
    return lookup::hit;
}

size_t iocache::cache::find_tiles(const cv_canvas& canvas, int64_t index, int64_t step, bool writing,
                                  std::span<cv_tile*> tiles)
{
    const tile_access_guard held;
    size_t found = 0;
    for (; found < tiles.size(); ++found, index += step) {
        tiles[found] = take_hit(canvas, index, writing, held);
        if (tiles[found] == nullptr) break;
    }
    return found;
}

// Leaves the LRU order alone, and the runs.
lookup iocache::cache::find_pixel(cv_tile_request& request)
{
    const cv_canvas* const record = canvas::find(request.canvas);
    if (record == nullptr) return lookup::refused;
    const tile_place place = place_of(*record, request.x, request.y);
    if (!may_serve(*record, place)) return lookup::refused;
    {
        const tile_access_guard held;
        cv_tile* const tile = cached_tile(*record, place.index);
        request.tile = tile;
        if (tile == nullptr) {
            const bool holds_data = is_on_its_way(*record, place.index) || slot_of_tile(*record, place.index) >= 0;
            return holds_data ? lookup::miss : lookup::never_written;
        }
        locked(*tile).store(1, std::memory_order_relaxed);
    }
    const int32_t run_x = request.run_x;
    const int32_t run_y = request.run_y;
    fill_results(request, *record, place, *request.tile);
    request.run_x = run_x;
    request.run_y = run_y;
    return lookup::hit;
}

int32_t cv_find_tile_in_cache(cv_tile_request* request)
{
    return find_tile(*request) == lookup::hit ? 0 : -255;
}

int32_t cv_find_pixel_in_cache(cv_tile_request* request)
{
    switch (find_pixel(*request)) {
        case lookup::hit:
            return 0;
        case lookup::never_written:
            return canvas::never_written;
        case lookup::miss:
        case lookup::refused:
            break;
    }
    return -255;
}
