// Image lines between the host's buffers and the tiles: one request and one block copy a tile. A tile is held only
// while its part of the line is copied.

#include <cstring>

#include "iocache/access/access.h"
#include "iocache/cache/cache.h"
#include "iocache/canvas/canvas.h"

namespace {

using namespace iocache;

// Visits the tiles of a line from left to right; copy_run(request, position in the line, pixels) moves the pixels.
template <class CopyRun>
int32_t walk_line(const cv_canvas& canvas, int32_t y, int32_t x_first, int32_t x_last, bool storing, CopyRun copy_run)
{
    cache::line_visit visit(canvas, {x_first, y}, {x_last, y}, storing);
    for (int64_t x = x_first; x <= x_last;) {
        if (!visit.at(static_cast<int32_t>(x), y)) return -255;
        const int32_t pixels = visit.request().run_x;
        copy_run(visit.request(), static_cast<size_t>(x - x_first), static_cast<size_t>(pixels));
        x += pixels;
    }
    return 0;
}

}  // namespace

int32_t cv_getline(int32_t canvas, void* colour, void* alpha, int32_t y, int32_t x_first, int32_t x_last)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return -255;
    auto* const colour_line = static_cast<uint8_t*>(colour);
    auto* const alpha_line = static_cast<uint8_t*>(alpha);
    const auto shift = static_cast<size_t>(record->pixel_shift);
    const bool has_alpha = record->kind == canvas::picture_kind;
    return walk_line(*record, y, x_first, x_last, false,
                     [=](const cv_tile_request& tile, size_t position, size_t pixels) {
                         std::memcpy(colour_line + (position << shift), tile.pixel, pixels << shift);
                         if (has_alpha) std::memcpy(alpha_line + position, tile.alfa_pixel, pixels);
                     });
}

int32_t cv_storeline(int32_t canvas, const void* colour, const void* alpha, int32_t y, int32_t x_first, int32_t x_last)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return -255;
    const auto* const colour_line = static_cast<const uint8_t*>(colour);
    const auto* const alpha_line = static_cast<const uint8_t*>(alpha);
    const auto shift = static_cast<size_t>(record->pixel_shift);
    const bool has_alpha = record->kind == canvas::picture_kind;
    return walk_line(*record, y, x_first, x_last, true,
                     [=](const cv_tile_request& tile, size_t position, size_t pixels) {
                         std::memcpy(tile.pixel, colour_line + (position << shift), pixels << shift);
                         if (has_alpha) std::memcpy(tile.alfa_pixel, alpha_line + position, pixels);
                     });
}
