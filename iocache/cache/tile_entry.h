// What the cache keeps for a tile beside its public record, and the pool all of it comes from.
//
// Entries are type-stable: the memory of one is never used for anything else, so that a reader without a lock may look
// at an entry that is given up meanwhile. Its generation tells such a reader: odd while the entry holds no tile, even
// while it does, and never the same for two tiles. Its highest bit is set while a client still has to clear the tile:
// until then the bytes are those of some other tile.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "iocache/cache/cache.h"
#include "iocache/platform/waiting.h"

namespace iocache::cache {

inline constexpr uint64_t not_cleared = uint64_t{1} << 63;  // in a generation

// What a hit and a look without a lock read of an entry, up to the tile's locked and dirty, is one line of the
// processor's caches: many entries are visited in turn, and each line of one may come from memory.
struct alignas(platform::cache_line_bytes) tile_entry {
    std::atomic<uint64_t> generation;  // see above; changed by the cache side, but for not_cleared
    cv_tile tile;
    // Under cv_tile_access_lock: the buffer is on its way to the file. A client that wants to write the tile is sent
    // to the cache side meanwhile, so that no half-changed tile reaches the disk.
    bool writing;
    bool stranded;  // cache side: unhooked for an eviction whose write failed; still on the LRU list
    tile_entry* next_free;
};
static_assert(std::is_standard_layout_v<tile_entry>);

inline tile_entry& entry_of(cv_tile& tile)
{
    return *reinterpret_cast<tile_entry*>(reinterpret_cast<std::byte*>(&tile) - offsetof(tile_entry, tile));
}

// An entry for a tile, all fields zero, not yet published; null without memory. Cache side.
cv_tile* take_entry();
// The tile is gone: readers that still look at it will notice. Before its buffer is given back. Cache side.
void retire(cv_tile& tile);
// Back to the pool, retired before. Cache side.
void give_back_entry(cv_tile& tile);

// Fields that two threads touch.
inline std::atomic_ref<int32_t> locked(cv_tile& tile)
{
    return std::atomic_ref(tile.locked);
}
inline std::atomic_ref<int32_t> dirty(cv_tile& tile)
{
    return std::atomic_ref(tile.dirty);
}
// Counted by the cache side; a conversion moves tiles, and their count, from the client.
inline std::atomic_ref<int32_t> tiles_fetched(cv_canvas& canvas)
{
    return std::atomic_ref(canvas.tiles_fetched);
}
inline cv_tile* cached_tile(const cv_canvas& canvas, int64_t index)
{
    return std::atomic_ref(canvas.tile_cache[index]).load(std::memory_order_acquire);
}
inline void set_cached_tile(const cv_canvas& canvas, int64_t index, cv_tile* tile, const tile_access_guard& /*proof*/)
{
    std::atomic_ref(canvas.tile_cache[index]).store(tile, std::memory_order_release);
}
inline int32_t slot_of_tile(const cv_canvas& canvas, int64_t index)
{
    return std::atomic_ref(canvas.tile_table[index]).load(std::memory_order_relaxed);
}
inline bool disk_is_full()
{
    return std::atomic_ref(cv_disk_full).load(std::memory_order_acquire) == 1;
}
inline void set_disk_full(int32_t state)
{
    std::atomic_ref(cv_disk_full).store(state, std::memory_order_release);
}

inline int64_t index_of(const cv_canvas& canvas, const cv_tile& tile)
{
    return int64_t{tile.y} * canvas.tiles_across + tile.x;
}

// Moves a tile to the newest end; nothing to do for the newest.
inline void touch(cv_tile& tile, const tile_access_guard& /*proof*/)
{
    if (last_tile == &tile) return;
    cv_remove_from_lru_list(&tile);
    cv_append_to_lru_list(&tile);
}

}  // namespace iocache::cache
