// What the cache process does between requests: reads ahead what the last one will want next, and writes dirty tiles
// back while nobody waits. Both give way to a new request between two tiles. Cache side only.

#include <algorithm>
#include <span>

#include "iocache/cache/doorbell.h"
#include "iocache/cache/fetch.h"
#include "iocache/cache/tile_entry.h"
#include "iocache/cache/tile_place.h"
#include "iocache/cache/write_back.h"

cv_pref_entry cv_pref[3] = {};

namespace {

using namespace iocache::cache;

bool is_pending(const cv_pref_entry& hint)
{
    return hint.canvas != nullptr;
}

// One tile of a hint. What lies outside the grid is not there to be read, and ends the hint.
void follow(cv_pref_entry& hint)
{
    if (!in_grid(*hint.canvas, hint.next_col, hint.row)) {
        hint.canvas = nullptr;
        return;
    }
    fetch(*hint.canvas, hint.next_col, hint.row, search_for::read_ahead);  // its failure is the next request's
    ++hint.next_col;
    if (--hint.count < 1) hint.canvas = nullptr;
}

cv_tile* next_in_list(const cv_tile& tile)
{
    const tile_access_guard held;
    return tile.next;
}

}  // namespace

// One tile of each hint in turn, so that up to three streams advance together.
int32_t cv_prefetch(void)
{
    const std::span hints(cv_pref);
    while (std::ranges::any_of(hints, is_pending)) {
        for (cv_pref_entry& hint : hints) {
            if (!is_pending(hint)) continue;
            if (request_is_waiting()) return -255;
            follow(hint);
        }
    }
    return 0;
}

// From the oldest on: the order in which replacement will want clean victims.
int32_t cv_prewrite(void)
{
    cv_tile* tile = nullptr;
    {
        const tile_access_guard held;
        tile = first_tile;
    }
    while (tile != nullptr) {
        if (request_is_waiting()) return -255;
        write_unlocked_dirty_tile(*tile);
        if (disk_is_full()) return -255;
        tile = next_in_list(*tile);
    }
    return 0;
}
