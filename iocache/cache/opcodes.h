// The requests a client can make. Any other value is illegal.
#pragma once

#include <cstdint>

namespace iocache::cache::opcode {

inline constexpr int32_t failed = -255;    // left in parg by a request that the cache side could not serve
inline constexpr int32_t tiles_first = 1;  // the tiles of slots 0 .. opcode - 1
inline constexpr int32_t tiles_last = 3;
inline constexpr int32_t flush_all = 11;
inline constexpr int32_t pre_write = 20;  // nobody waits for it
inline constexpr int32_t flush_canvas = 21;
inline constexpr int32_t write_canvas = 22;
inline constexpr int32_t drop_canvas = 23;
inline constexpr int32_t picture_pixel = 31;   // never sent to the cache process
inline constexpr int32_t mask_pixel = 32;      // likewise
inline constexpr int32_t one_tile_first = 41;  // the tile of slot opcode - 41
inline constexpr int32_t one_tile_last = 43;
inline constexpr int32_t open_stream = 50;
inline constexpr int32_t close_stream = 51;
inline constexpr int32_t meet_only = 99;

constexpr bool asks_for_tiles(int32_t code)
{
    return code >= tiles_first && code <= tiles_last;
}
constexpr bool asks_for_one_tile(int32_t code)
{
    return code >= one_tile_first && code <= one_tile_last;
}

}  // namespace iocache::cache::opcode
