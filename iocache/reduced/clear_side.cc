// Clearing the margins: pixels of edge tiles that lie outside the image. Only tiles that exist are touched, in the
// order top, bottom, right, left. Client only.

#include <algorithm>
#include <cstring>

#include "iocache/cache/cache.h"
#include "iocache/cache/tile_place.h"
#include "iocache/canvas/canvas.h"
#include "iocache/reduced/reduced.h"

namespace {

using namespace iocache;

// Pixels of margin before the first pixel and behind the last, inside their own tiles.
int32_t margin_before(int32_t first, int32_t offset, int32_t tile_length)
{
    return static_cast<int32_t>(std::max<int64_t>(int64_t{first} + offset, 0) % tile_length);
}

int32_t margin_behind(int32_t last, int32_t offset, int32_t tile_length)
{
    const int64_t used = (int64_t{last} + 1 + offset) % tile_length;
    return used == 0 ? 0 : static_cast<int32_t>(tile_length - used);
}

// The tile of slot 0 of parg at (x, y) exists; otherwise the run of nothing is in the request.
bool exists(int32_t x, int32_t y)
{
    parg.req[0].x = x;
    parg.req[0].y = y;
    return cv_if_tile_exist() == 0;
}

// Tiles of one row of the image from left to right: clear(request) for each that exists.
template <class Clear> void walk_row(const cv_canvas& record, int32_t y, Clear clear)
{
    const cv_geometry& view = record.geom_orig;
    cache::tile_visit visit(record.index, view.x_max, y, true);
    for (int64_t x = view.x_min; x <= view.x_max; x += visit.request().run_x) {
        if (!exists(static_cast<int32_t>(x), y)) continue;
        if (!visit.at(static_cast<int32_t>(x), y)) return;
        clear(visit.request());
    }
}

// The same down one column.
template <class Clear> void walk_column(const cv_canvas& record, int32_t x, Clear clear)
{
    const cv_geometry& view = record.geom_orig;
    cache::tile_visit visit(record.index, x, view.y_max, true);
    for (int64_t y = view.y_min; y <= view.y_max; y += visit.request().run_y) {
        if (!exists(x, static_cast<int32_t>(y))) continue;
        if (!visit.at(x, static_cast<int32_t>(y))) return;
        clear(visit.request());
    }
}

// Whole lines of a tile, in every plane.
void clear_lines(const cv_canvas& record, const cv_tile_request& tile, int32_t first_line, int32_t lines)
{
    const int32_t count = std::min(first_line + lines, cache::rows_held(record)) - first_line;
    if (count <= 0) return;
    MP_memset(tile.buffer + int64_t{first_line} * tile.line_bytes, 0, tile.line_bytes, count);
    if (tile.alfa_buffer == nullptr) return;
    MP_memset(tile.alfa_buffer + int64_t{first_line} * tile.alfa_line_bytes, 0, tile.alfa_line_bytes, count);
}

// `pixels` pixels of every row handed out, from `from` pixels right of the request's column.
void clear_beside(const cv_canvas& record, const cv_tile_request& tile, int32_t from, int32_t pixels)
{
    const int64_t start = int64_t{from} * record.bytes_per_pixel;
    const auto bytes = static_cast<size_t>(pixels) << record.pixel_shift;
    for (int32_t row = 0; row < tile.run_y; ++row) {
        std::memset(tile.pixel + int64_t{row} * tile.line_bytes + start, 0, bytes);
        if (tile.alfa_pixel == nullptr) continue;
        std::memset(tile.alfa_pixel + int64_t{row} * tile.alfa_line_bytes + from, 0, static_cast<size_t>(pixels));
    }
}

}  // namespace

void cv_clear_side(int32_t canvas)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return;
    const cv_geometry& view = record->geom_orig;
    const int32_t top = margin_before(view.y_min, view.y_offset, record->tile_height);
    const int32_t bottom = margin_behind(view.y_max, view.y_offset, record->tile_height);
    const int32_t right = margin_behind(view.x_max, view.x_offset, record->tile_width);
    const int32_t left = margin_before(view.x_min, view.x_offset, record->tile_width);

    if (top != 0)
        walk_row(*record, view.y_min, [&](const cv_tile_request& tile) { clear_lines(*record, tile, 0, top); });
    if (bottom != 0) {
        walk_row(*record, view.y_max, [&](const cv_tile_request& tile) {
            clear_lines(*record, tile, record->tile_height - bottom, bottom);
        });
    }
    if (right != 0)
        walk_column(*record, view.x_max, [&](const cv_tile_request& tile) { clear_beside(*record, tile, 1, right); });
    if (left != 0)
        walk_column(*record, view.x_min,
                    [&](const cv_tile_request& tile) { clear_beside(*record, tile, -left, left); });
}
