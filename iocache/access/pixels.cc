// Single pixels for interactive tools: straight out of memory where possible, else by a request. These two may be
// called from several threads; their requests are serialised by cv_tile_access_cut_lock.

#include <cstring>

#include "iocache/access/access.h"
#include "iocache/cache/cache.h"
#include "iocache/cache/peek.h"

int32_t current_cutout = 0;

namespace {

using namespace iocache;

constexpr uint32_t cutout_shift = 24;

class cut_guard {
public:
    cut_guard() { _lock(cv_tile_access_cut_lock); }
    ~cut_guard() { _ulock(cv_tile_access_cut_lock); }
    cut_guard(const cut_guard&) = delete;
    cut_guard& operator=(const cut_guard&) = delete;
};

// The value, and a picture's alpha through the pointer. A request that fails gives 0 and leaves alpha alone. Never
// inline: its locks would cost the pixels found in memory their registers.
[[gnu::noinline]] uint32_t request_value(const cv_canvas& canvas, int32_t x, int32_t y, uint32_t* alpha)
{
    const cut_guard serialised;
    cache::tile_visit visit(canvas.index, x, y, false);
    if (!visit.at(x, y)) return 0;
    const cv_tile_request& tile = visit.request();
    if (canvas.pixel_shift == 0) return *tile.pixel;
    uint32_t value = 0;
    std::memcpy(&value, tile.pixel, sizeof value);
    *alpha = *tile.alfa_pixel;
    return value;
}

// mask_shift: where a mask byte found in memory goes. One that had to be requested always comes in the low 8 bits.
inline uint32_t value_of(const cv_canvas& canvas, int32_t x, int32_t y, uint32_t* alpha, uint32_t mask_shift)
{
    uint32_t value = 0;
    if (canvas.pixel_shift != 0) {
        if (cache::peek_pixel<true>(canvas, x, y, value, alpha)) return value;
    } else {
        if (cache::peek_pixel<false>(canvas, x, y, value, alpha)) return value << mask_shift;
    }
    return request_value(canvas, x, y, alpha);
}

}  // namespace

uint32_t cv_ask_value_pixel(cv_canvas* canvas, int32_t x, int32_t y, uint32_t* alpha)
{
    return value_of(*canvas, x, y, alpha, 0);
}

uint32_t cv_ask_value_cutout(cv_canvas* canvas, int32_t x, int32_t y, uint32_t* alpha)
{
    return value_of(*canvas, x, y, alpha, cutout_shift);
}
