// Image columns between the host's buffers and the tiles: one request a tile and a strided loop inside it.

#include <cstring>

#include "iocache/access/access.h"
#include "iocache/cache/cache.h"
#include "iocache/canvas/canvas.h"
#include "iocache/platform/waiting.h"

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

// Asks for the cache lines right of a column's, a few rows with each column that shares the present ones: who reads
// columns from left to right finds them all when he comes to them.
template <size_t pixel_bytes> void prefetch_next_lines(const uint8_t* source, size_t stride, size_t count)
{
    constexpr size_t columns_a_line = platform::cache_line_bytes / pixel_bytes;
    const size_t column = reinterpret_cast<uintptr_t>(source) / pixel_bytes % columns_a_line;
    constexpr int reading = 0;
    constexpr int to_second_level = 2;  // the first is too small for a column
    const size_t end = count * (column + 1) / columns_a_line;
    for (size_t row = count * column / columns_a_line; row < end; ++row)
        __builtin_prefetch(source + row * stride + platform::cache_line_bytes, reading, to_second_level);
}

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
            if (!is_picture) {
                prefetch_next_lines<1>(tile.pixel, stride, pixels);
                return copy_mask({colours + position, 1, tile.pixel, stride}, pixels);
            }
            prefetch_next_lines<picture_pixel_bytes>(tile.pixel, stride, pixels);
            prefetch_next_lines<1>(tile.alfa_pixel, stride / picture_pixel_bytes, pixels);
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
