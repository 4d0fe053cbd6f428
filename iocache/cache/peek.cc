// Reading one pixel while the cache process may take its tile away: an optimistic look, checked afterwards.
//
// The entry's generation and the canvas's table are both read before and after the pixel. In between the entry held
// one and the same tile, of this place, or the look is thrown away; memory of entries and tiles is never unmapped, so
// that even a look thrown away touched nothing it must not.

#include "iocache/cache/tile_entry.h"
#include "iocache/cache/tile_place.h"

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define __SANITIZE_THREAD__ 1  // as the other compiler says it
#endif
#endif

namespace {

using namespace iocache;
using namespace iocache::cache;

// The bytes may change under this read, when their tile is given up; such a read is thrown away by the caller. No
// tool can know that, so this one function is not watched.
#if defined(__SANITIZE_THREAD__)
__attribute__((noinline, no_sanitize("thread")))
#endif
void read_unguarded(const uint8_t* pixel, const uint8_t* alpha_pixel, bool is_picture, uint32_t& value, uint8_t& alpha)
{
    if (is_picture) {
        __builtin_memcpy(&value, pixel, sizeof value);
        alpha = *alpha_pixel;
    } else {
        value = *pixel;
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

}  // namespace

bool iocache::cache::peek_pixel(cv_canvas& canvas, int32_t x, int32_t y, uint32_t& value, uint8_t& alpha)
{
    const tile_place place = place_of(canvas, x, y);
    if (!may_serve(canvas, place)) return false;
    cv_tile* const tile = cached_tile(canvas, place.index);
    if (tile == nullptr) return false;
    const std::atomic<uint64_t>& generation = entry_of(*tile).generation;
    const uint64_t seen = generation.load(std::memory_order_acquire);
    if (seen % 2 != 0 || cached_tile(canvas, place.index) != tile) return false;

    const uint8_t* const buffer = std::atomic_ref(tile->buffer).load(std::memory_order_relaxed);
    const int64_t pixel = int64_t{place.y_in_tile} * (canvas.tile_line_bytes >> canvas.pixel_shift) + place.x_in_tile;
    read_unguarded(buffer + (pixel << canvas.pixel_shift), buffer + tile_offset_alfa + pixel, canvas.pixel_shift != 0,
                   value, alpha);
    keep_loads_above();
    return cached_tile(canvas, place.index) == tile && generation.load(std::memory_order_relaxed) == seen;
}
