#include "iocache/cache/clearing.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "iocache/cache/tile_entry.h"

namespace {

using namespace iocache::cache;

// One for each slot of the request block. The rendezvous hands them from the cache process to the client.
std::array<cv_tile*, std::size(cv_request_block{}.req)> tiles_left;
size_t tiles_left_count = 0;

void clear(const cv_tile& tile)
{
    std::memset(tile.buffer, 0, static_cast<size_t>(tile.size));
}

void mark_cleared(cv_tile& tile)
{
    entry_of(tile).generation.fetch_and(~not_cleared, std::memory_order_release);
}

}  // namespace

// A tile that is left is not published yet.
void iocache::cache::clear_tile(cv_tile& tile, clearing when)
{
    if (when == clearing::at_once || tiles_left_count == tiles_left.size()) return clear(tile);
    entry_of(tile).generation.fetch_or(not_cleared, std::memory_order_relaxed);
    tiles_left[tiles_left_count++] = &tile;
}

void iocache::cache::clear_tiles_left()
{
    for (cv_tile* const tile : std::span(tiles_left).first(tiles_left_count)) {
        clear(*tile);
        mark_cleared(*tile);
    }
    tiles_left_count = 0;
}

void iocache::cache::forget_tiles_left()
{
    for (cv_tile* const tile : std::span(tiles_left).first(tiles_left_count)) mark_cleared(*tile);
    tiles_left_count = 0;
}
