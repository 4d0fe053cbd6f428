// Reading one pixel while the cache process may take its tile away: an optimistic look, checked afterwards.
//
// The canvas's table and the entry's generation are both read before and after the pixel. In between the entry held
// one and the same tile, and at the end this place still had it, or the look is thrown away; memory of entries and
// tiles is never unmapped, so that even a look thrown away touched nothing it must not.
//
// Kept inline and short: a tool asks for many pixels in a row, and the fewer instructions one takes, the more of their
// ways to memory a processor has open at once.
#pragma once

#include "iocache/cache/tile_entry.h"
#include "iocache/zones/zones.h"

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define __SANITIZE_THREAD__ 1  // as the other compiler says it
#endif
#if __has_feature(address_sanitizer)
#define __SANITIZE_ADDRESS__ 1
#endif
#endif

namespace iocache::cache {

// Colour and alpha of a picture's pixel lie at this place in their planes, of a mask's in its only one. A block of
// either kind has this many places, so that no other may be looked at.
inline constexpr uint64_t places_in_block = zones::mask_block_bytes;
inline constexpr uint64_t alpha_plane = places_in_block * sizeof(uint32_t);
static_assert(alpha_plane + places_in_block == zones::picture_block_bytes);

// The bytes may change under this read, or be given back, when their tile is given up; such a read is thrown away by
// the caller. No tool can know that, so this one function is not watched.
#if defined(__SANITIZE_THREAD__)
__attribute__((noinline, no_sanitize("thread")))
#elif defined(__SANITIZE_ADDRESS__)
__attribute__((noinline, no_sanitize("address")))
#endif
inline void
read_unguarded(const uint8_t* block, uint64_t place, bool is_picture, uint32_t& value, uint32_t* alpha)
{
    if (is_picture) {
        __builtin_memcpy(&value, block + place * sizeof value, sizeof value);
        *alpha = block[alpha_plane + place];
    } else {
        value = block[place];
    }
}

// Nothing read above may be taken from after it. ThreadSanitizer does not know fences; the machines it runs on keep
// loads in order.
inline void keep_loads_above()
{
#if defined(__SANITIZE_THREAD__)
    std::atomic_signal_fence(std::memory_order_acquire);
#else
    std::atomic_thread_fence(std::memory_order_acquire);
#endif
}

// Reads one pixel straight out of memory. False when its tile is not there, or left meanwhile; then value and alpha
// may hold anything. Of a mask alpha is left alone, and may be null.
//
// A tile in memory has a block of one of the two sizes, and its rows are a power of two long: what must be asked is
// only whether the pixel lies in the grid and in the block. Unsigned, what lies left of or above the grid lies far
// behind its other end.
//
// An entry without a tile needs no question of its own: this place led to it before its generation was read, so it
// can lead to it again afterwards only in another generation. One that a client still has to clear is not looked at.
template <bool is_picture>
bool peek_pixel(const cv_canvas& canvas, int32_t x, int32_t y, uint32_t& value, uint32_t* alpha)
{
    const uint32_t grid_y = static_cast<uint32_t>(y) + static_cast<uint32_t>(canvas.geom_orig.y_offset);
    const uint32_t row = grid_y >> canvas.tile_shift_y;
    if (row >= static_cast<uint32_t>(canvas.tiles_down)) return false;
    uint32_t place = (grid_y - (row << canvas.tile_shift_y)) << canvas.tile_shift_x;
    const uint32_t grid_x = static_cast<uint32_t>(x) + static_cast<uint32_t>(canvas.geom_orig.x_offset);
    const uint32_t column = grid_x >> canvas.tile_shift_x;
    place += grid_x;
    place -= column << canvas.tile_shift_x;
    const auto across = static_cast<uint32_t>(canvas.tiles_across);
    if (column >= across || place >= places_in_block) return false;

    const std::atomic_ref held_here(canvas.tile_cache[uint64_t{row} * across + column]);
    cv_tile* const tile = held_here.load(std::memory_order_acquire);
    if (tile == nullptr) return false;
    const std::atomic<uint64_t>& generation = entry_of(*tile).generation;
    const uint64_t seen = generation.load(std::memory_order_acquire);
    if ((seen & not_cleared) != 0) return false;
    read_unguarded(std::atomic_ref(tile->buffer).load(std::memory_order_relaxed), place, is_picture, value, alpha);
    keep_loads_above();
    return held_here.load(std::memory_order_acquire) == tile && generation.load(std::memory_order_relaxed) == seen;
}

}  // namespace iocache::cache
