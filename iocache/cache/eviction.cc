// Replacement: strict LRU over unlocked tiles, oldest first, until a freed block serves. Several victims may have to
// go for one picture tile, because a mask tile leaves its zone divided as long as another mask tile is in it.

#include "iocache/cache/eviction.h"

#include <cstdio>
#include <mutex>

#include "iocache/cache/clearing.h"
#include "iocache/cache/tile_entry.h"
#include "iocache/cache/write_back.h"
#include "iocache/canvas/canvas.h"
#include "iocache/setup/setup.h"
#include "iocache/zones/zones.h"

namespace {

using namespace iocache;
using namespace iocache::cache;

// Tiles on the LRU list that are stranded; normally 0, and then no fetch searches for one.
int64_t stranded_tiles = 0;

class ask_guard {
public:
    ask_guard() { _lock(cv_tile_access_ask_lock); }
    ~ask_guard() { _ulock(cv_tile_access_ask_lock); }
    ask_guard(const ask_guard&) = delete;
    ask_guard& operator=(const ask_guard&) = delete;
};

void unhook_with_lock(cv_tile& tile, const tile_access_guard& held)
{
    if (tile.canvas == nullptr) return;
    const ask_guard unhooking;
    const int64_t index = index_of(*tile.canvas, tile);
    if (cached_tile(*tile.canvas, index) == &tile) set_cached_tile(*tile.canvas, index, nullptr, held);
}

// The oldest tile from `tile` on that no client holds, unhooked from its canvas; null behind the newest.
cv_tile* next_victim(cv_tile* tile)
{
    const tile_access_guard held;
    while (tile != nullptr && locked(*tile).load(std::memory_order_acquire) == 1) tile = tile->next;
    if (tile == nullptr) return nullptr;
    if (tile->canvas != nullptr && dirty(*tile).load(std::memory_order_relaxed) == 1) send_on_its_way(*tile);
    unhook_with_lock(*tile, held);
    return tile;
}

cv_tile* oldest()
{
    const tile_access_guard held;
    return first_tile;
}

cv_tile* neighbour(const cv_tile& tile)
{
    const tile_access_guard held;
    return tile.next;
}

bool is_current(const cv_canvas& canvas)
{
    return canvas.index == std::atomic_ref(current_canvas).load(std::memory_order_relaxed) ||
           canvas.index == std::atomic_ref(current_mask).load(std::memory_order_relaxed);
}

// The last tile of a canvas nobody works on has gone: its file is complete, and its stream is closed.
void rest(cv_canvas& canvas)
{
    if (canvas.header->dirty == 1 && !is_current(canvas)) {
        {
            const std::lock_guard held(canvas::header_guard);
            canvas.header->dirty = 0;
        }
        canvas::hold_every_slot(canvas);
        if (cv_write_header2(canvas.index) != 0) setup::print("Can't write header of %s\n", canvas.file_name);
    }
    canvas::close_kept_stream(canvas);
}

bool was_last_tile(cv_canvas& canvas)
{
    return tiles_fetched(canvas).fetch_sub(1, std::memory_order_relaxed) == 1;
}

// The block freed last serves `bytes`: its zone is free, or of the right kind.
bool freed_block_serves(int32_t bytes)
{
    cv_alloc_curr_size = bytes;
    cv_alloc_fill_in_current();
    const int32_t kind = cv_alloc_code[cv_alloc_curr_nr];
    if (kind == zones::free_kind) cv_alloc_curr_index = 0;
    if (kind != zones::free_kind && kind != cv_alloc_curr_code) return false;
    zones::make_current(cv_alloc_curr_nr, cv_alloc_curr_index);
    return true;
}

enum class pass { found, failed, only_locked_left };

pass evict_from_oldest(int32_t bytes)
{
    for (cv_tile* victim = next_victim(oldest()); victim != nullptr;) {
        if (cv_write_dirty_tile(victim) != 0) {
            strand(*victim);
            return pass::failed;
        }
        if (victim->canvas != nullptr && was_last_tile(*victim->canvas)) rest(*victim->canvas);
        cv_tile* const following = neighbour(*victim);
        unlink_and_free(*victim);
        if (freed_block_serves(bytes)) return pass::found;
        victim = next_victim(following);
    }
    return pass::only_locked_left;
}

void unlock_by_force(cv_tile& tile)
{
    const tile_access_guard held;
    locked(tile).store(0, std::memory_order_relaxed);
}

void hook_in(const cv_canvas& canvas, cv_tile& tile)
{
    entry_of(tile).stranded = false;
    --stranded_tiles;
    const tile_access_guard held;
    set_cached_tile(canvas, index_of(canvas, tile), &tile, held);
    touch(tile, held);
}

}  // namespace

bool iocache::cache::make_room(int32_t bytes, search_for purpose)
{
    while (!disk_is_full()) {
        const pass result = evict_from_oldest(bytes);
        if (result != pass::only_locked_left) return result == pass::found;
        cv_tile* const oldest_locked = oldest();
        if (oldest_locked == nullptr || purpose == search_for::read_ahead) return false;
        setup::report(999010, "All tiles are locked. EXIT as soon as possible");
        clear_tiles_left();  // it may be one of them
        unlock_by_force(*oldest_locked);
    }
    return false;
}

void iocache::cache::unhook(cv_tile& tile)
{
    const tile_access_guard held;
    unhook_with_lock(tile, held);
}

void iocache::cache::unlink_and_free(cv_tile& tile)
{
    if (entry_of(tile).stranded) --stranded_tiles;
    {
        const tile_access_guard held;
        cv_remove_from_lru_list(&tile);
    }
    retire(tile);
    cv_alloc_free(tile.buffer);
    give_back_entry(tile);
}

void iocache::cache::strand(cv_tile& tile)
{
    if (tile.canvas == nullptr || entry_of(tile).stranded) return;
    entry_of(tile).stranded = true;
    ++stranded_tiles;
}

cv_tile* iocache::cache::reattach_stranded_tile(const cv_canvas& canvas, int32_t column, int32_t row)
{
    if (stranded_tiles == 0) return nullptr;
    for (cv_tile* tile = oldest(); tile != nullptr; tile = neighbour(*tile)) {
        if (!entry_of(*tile).stranded || tile->canvas != &canvas || tile->x != column || tile->y != row) continue;
        hook_in(canvas, *tile);
        return tile;
    }
    return nullptr;
}

void iocache::cache::reattach_stranded_tiles(const cv_canvas& canvas)
{
    if (stranded_tiles == 0) return;
    for (cv_tile* tile = oldest(); tile != nullptr;) {
        cv_tile* const following = neighbour(*tile);
        if (entry_of(*tile).stranded && tile->canvas == &canvas) hook_in(canvas, *tile);
        tile = following;
    }
}

void iocache::cache::forget_stranded_tiles()
{
    stranded_tiles = 0;
}
