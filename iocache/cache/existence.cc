// Questions about tiles that fetch nothing. Client side; no lock is taken for the first two.

#include <algorithm>
#include <cstdio>
#include <vector>

#include "iocache/cache/tile_entry.h"
#include "iocache/cache/tile_place.h"
#include "iocache/cache/write_back.h"

namespace {

using namespace iocache;
using namespace iocache::cache;

bool is_changed_in_memory(const cv_canvas& record, int64_t index)
{
    cv_tile* const tile = cached_tile(record, index);
    if (tile == nullptr || dirty(*tile).load(std::memory_order_acquire) != 1) return false;
    return cached_tile(record, index) == tile;  // or the entry may be another tile's by now
}

// The cache process may write the tile meanwhile, or give it up to read ahead. In this order no step of it is missed.
bool holds_data(const cv_canvas& record, int64_t index)
{
    return is_changed_in_memory(record, index) || is_on_its_way(record, index) ||
           slot_of_tile(record, index) != canvas::never_written;
}

int32_t rest_of(int32_t first, int32_t last)
{
    return static_cast<int32_t>(std::min<int64_t>(int64_t{last} - first + 1, INT32_MAX));
}

}  // namespace

// Rightwards and downwards only. The runs are filled for nothing alone; outside the tiles there is nothing as far as
// the request goes.
int32_t cv_if_tile_exist(void)
{
    cv_tile_request& request = parg.req[0];
    int32_t run_x = rest_of(request.x, request.x_end);
    int32_t run_y = rest_of(request.y, request.y_end);
    if (const cv_canvas* const record = canvas::find(request.canvas)) {
        const tile_place place = place_of(*record, request.x, request.y);
        if (in_grid(*record, place.column, place.row)) {
            if (holds_data(*record, place.index)) return 0;
            run_x = std::min(record->tile_width - place.x_in_tile, run_x);
            run_y = std::min(record->tile_height - place.y_in_tile, run_y);
        }
    }
    request.run_x = run_x;
    request.run_y = run_y;
    return -255;
}

int32_t cv_test_if_canvas_empty(int32_t canvas)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return -255;
    for (int64_t index = 0; index < canvas::tile_count(*record); ++index) {
        if (holds_data(*record, index)) return -255;
    }
    return 0;
}

// Looked at under the lock, printed without it.
void cv_check_lock(void)
{
    struct place {
        int32_t id, x, y;
    };
    std::vector<place> held_tiles;
    {
        const tile_access_guard held;
        for (cv_tile* tile = first_tile; tile != nullptr; tile = tile->next) {
            if (locked(*tile).load(std::memory_order_relaxed) != 0) held_tiles.push_back({tile->id, tile->x, tile->y});
        }
    }
    for (const place& tile : held_tiles) std::printf("id = %d,  x = %d,  y = %d\n", tile.id, tile.x, tile.y);
}
