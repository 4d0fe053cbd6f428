#include "iocache/cache/clearing.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace {

// One for each slot of the request block. The rendezvous hands them from the cache process to the client.
std::array<std::span<uint8_t>, std::size(cv_request_block{}.req)> tiles_left;
size_t tiles_left_count = 0;

void clear(std::span<uint8_t> tile)
{
    std::memset(tile.data(), 0, tile.size());
}

}  // namespace

void iocache::cache::clear_tile(const cv_tile& tile, clearing when)
{
    const std::span bytes(tile.buffer, static_cast<size_t>(tile.size));
    if (when == clearing::at_once || tiles_left_count == tiles_left.size()) return clear(bytes);
    tiles_left[tiles_left_count++] = bytes;
}

void iocache::cache::clear_tiles_left()
{
    for (const auto& tile : std::span(tiles_left).first(tiles_left_count)) clear(tile);
    tiles_left_count = 0;
}

void iocache::cache::forget_tiles_left()
{
    tiles_left_count = 0;
}
