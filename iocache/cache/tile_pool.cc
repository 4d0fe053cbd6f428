// The pool of tile entries. It grows by chunks and never shrinks: as many entries as there ever were tiles in memory
// at once. Cache side only, but for the generations.

#include <memory>
#include <new>
#include <span>

#include "iocache/cache/eviction.h"
#include "iocache/cache/tile_entry.h"
#include "iocache/cache/write_back.h"

namespace {

using namespace iocache::cache;

constexpr size_t entries_per_chunk = 64;

struct chunk {
    tile_entry entries[entries_per_chunk];
    chunk* older;
};

chunk* newest_chunk = nullptr;
tile_entry* free_entries = nullptr;

void put_on_free_list(tile_entry& entry)
{
    entry.next_free = free_entries;
    free_entries = &entry;
}

bool grow()
{
    size_t bytes = sizeof(chunk) + alignof(chunk);
    void* memory = platform_allocate(static_cast<int64_t>(bytes));
    if (memory == nullptr) return false;
    std::align(alignof(chunk), sizeof(chunk), memory, bytes);
    auto* const fresh = new (memory) chunk{};
    fresh->older = newest_chunk;
    newest_chunk = fresh;
    for (tile_entry& entry : fresh->entries) {
        entry.generation.store(1, std::memory_order_relaxed);  // odd: holds no tile
        put_on_free_list(entry);
    }
    return true;
}

bool holds_tile(const tile_entry& entry)
{
    return entry.generation.load(std::memory_order_relaxed) % 2 == 0;
}

}  // namespace

// The record's fields are written one by one: buffer may be looked at by a late reader of the tile before.
cv_tile* iocache::cache::take_entry()
{
    if (free_entries == nullptr && !grow()) return nullptr;
    tile_entry& entry = *free_entries;
    free_entries = entry.next_free;
    entry.writing = false;
    entry.stranded = false;
    return &entry.tile;
}

void iocache::cache::retire(cv_tile& tile)
{
    entry_of(tile).generation.fetch_add(1, std::memory_order_acq_rel);
}

void iocache::cache::give_back_entry(cv_tile& tile)
{
    put_on_free_list(entry_of(tile));
}

// Entries of an earlier run come back to the pool; their tile memory went with its region.
void iocache::cache::forget_all_tiles()
{
    first_tile = nullptr;
    last_tile = nullptr;
    total_size_tiles = 0;
    set_disk_full(0);
    free_entries = nullptr;
    for (chunk* c = newest_chunk; c != nullptr; c = c->older) {
        for (tile_entry& entry : c->entries) {
            if (holds_tile(entry)) retire(entry.tile);
            put_on_free_list(entry);
        }
    }
    // For the first tiles, while this is still the host's thread: the first block that another thread asks for makes the
    // C library map a heap for it. Without memory the first tile tries again.
    if (newest_chunk == nullptr) grow();
    for (cv_pref_entry& hint : std::span(cv_pref)) hint = {};
    forget_stranded_tiles();
    forget_tile_on_its_way();
}
