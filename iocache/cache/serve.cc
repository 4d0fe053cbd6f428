#include "iocache/cache/serve.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>

#include "iocache/cache/doorbell.h"
#include "iocache/cache/fetch.h"
#include "iocache/cache/lookup.h"
#include "iocache/cache/opcodes.h"
#include "iocache/cache/tile_entry.h"
#include "iocache/cache/tile_place.h"

namespace {

using namespace iocache;
using namespace iocache::cache;

constexpr int64_t most_hinted_tiles = 32;

// cv_clear_tile as it was before a zoom save that a full disk interrupted; the repeated request puts it back.
std::optional<int32_t> clear_tile_before_save;

void lock_tile(cv_tile& tile)
{
    const tile_access_guard held;
    locked(tile).store(1, std::memory_order_relaxed);
}

void mark_written(const cv_canvas& record, int64_t index, cv_tile& tile)
{
    const tile_access_guard held;
    dirty(tile).store(1, std::memory_order_relaxed);
    record.tile_flags[index] |= record.dirty_mask;
}

// Keeps the tile as it is before its first change in the zoom canvas. The copy overwrites the new tile whole, so it
// is not cleared first. A full disk in the middle leaves cv_clear_tile at 0, as hosts expect.
handed_out save_for_zoom(const cv_canvas& record, const tile_place& place, cv_tile& tile)
{
    if (!clear_tile_before_save) clear_tile_before_save = cv_clear_tile;
    cv_clear_tile = 0;
    cv_tile* const copy = cv_get_tile(record.zoom_child, place.column, place.row);
    if (disk_is_full()) return handed_out::disk_full;
    cv_clear_tile = *clear_tile_before_save;
    clear_tile_before_save.reset();
    // In a cache too small for both tiles the copy took the original's place.
    if (copy == nullptr || cached_tile(record, place.index) != &tile) return handed_out::unreadable;
    {
        const tile_access_guard held;
        dirty(*copy).store(1, std::memory_order_relaxed);
    }
    std::memcpy(copy->buffer, tile.buffer, static_cast<size_t>(std::min(record.tile_bytes, copy->size)));
    return handed_out::all;
}

// Only a request that runs on to the right says what it will want next.
void leave_hint(cv_pref_entry& hint, const cv_tile_request& request, cv_canvas& record, const tile_place& place)
{
    const int64_t wanted = int64_t{request.x_end} - request.x + 1;
    if (request.x_end < request.x || wanted < record.tile_width - place.x_in_tile) return;
    const int64_t beyond = wanted - request.run_x;
    const int64_t tiles = (beyond + record.tile_width - 1) >> record.tile_shift_x;
    hint.next_col = place.column + 1;
    hint.row = place.row;
    hint.count = static_cast<int32_t>(std::min(tiles, most_hinted_tiles));
    if (hint.count > 0) hint.canvas = &record;
}

handed_out hand_out(cv_tile_request& request, cv_pref_entry& hint)
{
    cv_canvas* const record = canvas::find(request.canvas);
    if (record == nullptr) return handed_out::not_served;
    const tile_place place = place_of(*record, request.x, request.y);
    if (!may_serve(*record, place)) return handed_out::not_served;

    cv_tile* const tile = fetch(*record, place.column, place.row, search_for::request,
                                client_clears() ? clearing::left_to_client : clearing::at_once);
    if (disk_is_full()) return handed_out::disk_full;
    if (tile == nullptr) return handed_out::unreadable;
    request.tile = tile;
    lock_tile(*tile);
    if (request.write != 0) {
        if (zoom_still_needs(*record, place.index)) {
            clear_tiles_left();
            const handed_out saved = save_for_zoom(*record, place, *tile);
            if (saved != handed_out::all) return saved;
        }
        mark_written(*record, place.index, *tile);
    }
    fill_results(request, *record, place, *tile);
    leave_hint(hint, request, *record, place);
    return handed_out::all;
}

}  // namespace

handed_out iocache::cache::hand_out_tiles(int32_t code)
{
    for (cv_pref_entry& hint : std::span(cv_pref)) hint.canvas = nullptr;  // once a request
    const bool is_single = opcode::asks_for_one_tile(code);
    const int32_t first = is_single ? code - opcode::one_tile_first : 0;
    const int32_t last = is_single ? first : code - 1;
    for (int32_t slot = first; slot <= last; ++slot) {
        const handed_out result = hand_out(parg.req[slot], cv_pref[slot]);
        if (result != handed_out::all) return result;
    }
    return handed_out::all;
}
