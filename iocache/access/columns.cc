// Image columns between the host's buffers and the tiles: one request a tile and a strided loop inside it.

#include <cstring>

#include "iocache/access/access.h"
#include "iocache/cache/cache.h"
#include "iocache/canvas/canvas.h"

namespace {

using namespace iocache;

// Visits the tiles of a column downwards; copy_run(request, position in the column, pixels) moves the pixels.
template <class CopyRun>
int32_t walk_column(const cv_canvas& canvas, int32_t x, int32_t y_first, int32_t y_last, bool storing, CopyRun copy_run)
{
    cache::line_visit visit(canvas, {x, y_first}, {x, y_last}, storing);
    for (int64_t y = y_first; y <= y_last;) {
        if (!visit.at(x, static_cast<int32_t>(y))) return -255;
        const int32_t pixels = visit.request().run_y;
        copy_run(visit.request(), static_cast<size_t>(y - y_first), static_cast<size_t>(pixels));
        y += pixels;
    }
    return 0;
}

// A column in one plane: the host's buffer, and the tile's rows.
struct plane {
    uint8_t* target;
    size_t target_stride;
    const uint8_t* source;
    size_t source_stride;

    template <size_t bytes> void copy(size_t item) const
    {
        std::memcpy(target + item * target_stride, source + item * source_stride, bytes);
    }
};

constexpr size_t picture_pixel_bytes = 4;

void copy_mask(const plane& mask, size_t count)
{
    for (size_t i = 0; i < count; ++i) mask.copy<1>(i);
}

// Both planes in one go: twice as many rows are then on their way from memory.
void copy_picture(const plane& colour, const plane& alpha, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        colour.copy<picture_pixel_bytes>(i);
        alpha.copy<1>(i);
    }
}

}  // namespace

int32_t cv_getcolumn(int32_t canvas, void* colour, void* alpha, int32_t x, int32_t y_first, int32_t y_last)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return -255;
    auto* const colours = static_cast<uint8_t*>(colour);
    auto* const alphas = static_cast<uint8_t*>(alpha);
    const bool is_picture = record->kind == canvas::picture_kind;
    return walk_column(
        *record, x, y_first, y_last, false, [=](const cv_tile_request& tile, size_t position, size_t pixels) {
            const auto stride = static_cast<size_t>(tile.line_bytes);
            if (!is_picture) return copy_mask({colours + position, 1, tile.pixel, stride}, pixels);
            copy_picture({colours + position * picture_pixel_bytes, picture_pixel_bytes, tile.pixel, stride},
                         {alphas + position, 1, tile.alfa_pixel, stride / picture_pixel_bytes}, pixels);
        });
}

int32_t cv_storecolumn(int32_t canvas, const void* colour, const void* alpha, int32_t x, int32_t y_first,
                       int32_t y_last)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return -255;
    const auto* const colours = static_cast<const uint8_t*>(colour);
    const auto* const alphas = static_cast<const uint8_t*>(alpha);
    const bool is_picture = record->kind == canvas::picture_kind;
    return walk_column(
        *record, x, y_first, y_last, true, [=](const cv_tile_request& tile, size_t position, size_t pixels) {
            const auto stride = static_cast<size_t>(tile.line_bytes);
            if (!is_picture) return copy_mask({tile.pixel, stride, colours + position, 1}, pixels);
            copy_picture({tile.pixel, stride, colours + position * picture_pixel_bytes, picture_pixel_bytes},
                         {tile.alfa_pixel, stride / picture_pixel_bytes, alphas + position, 1}, pixels);
        });
}
