// Where pixels lie on tiles and tiles on the canvas. No lock: for the client between requests.

#include <algorithm>

#include "iocache/access/access.h"
#include "iocache/canvas/canvas.h"

namespace {

using namespace iocache;

// A pixel's place in the grid; not checked against it.
struct grid_place {
    int64_t column;
    int64_t row;
    int64_t x_in_tile;
    int64_t y_in_tile;
};

grid_place locate(const cv_canvas& record, int32_t x, int32_t y)
{
    const int64_t grid_x = int64_t{x} + record.geom_orig.x_offset;
    const int64_t grid_y = int64_t{y} + record.geom_orig.y_offset;
    const int64_t column = grid_x >> record.tile_shift_x;
    const int64_t row = grid_y >> record.tile_shift_y;
    return {column, row, grid_x - (column << record.tile_shift_x), grid_y - (row << record.tile_shift_y)};
}

int32_t tile_number(const cv_canvas& record, const grid_place& place)
{
    return static_cast<int32_t>(place.row * record.tiles_across + place.column);
}

}  // namespace

int32_t cv_ask_virt_param(int32_t canvas, int32_t* width, int32_t* height)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return -255;
    *width = record->geom_orig.width;
    *height = record->geom_orig.height;
    return 0;
}

int32_t cv_ask_tilenr(int32_t canvas, int32_t x, int32_t y)
{
    const cv_canvas* const record = canvas::find(canvas);
    return record == nullptr ? -255 : tile_number(*record, locate(*record, x, y));
}

// The limits follow the current view while the numbers follow the view at creation, and the lower clamp is 0 and not
// x_min; both as hosts expect.
void cv_ask_tile_limits(int32_t canvas, int32_t tile, int32_t* left, int32_t* top, int32_t* right, int32_t* bottom)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return;
    const int64_t x = int64_t{record->tile_width} * (tile % record->tiles_across) - record->geom.x_offset;
    const int64_t y = int64_t{record->tile_height} * (tile / record->tiles_across) - record->geom.y_offset;
    *left = static_cast<int32_t>(std::max<int64_t>(x, 0));
    *right = static_cast<int32_t>(std::min<int64_t>(x + record->tile_width - 1, record->geom.x_max));
    *top = static_cast<int32_t>(std::max<int64_t>(y, 0));
    *bottom = static_cast<int32_t>(std::min<int64_t>(y + record->tile_height - 1, record->geom.y_max));
}

int32_t cv_ask_tile_dimensions(int32_t canvas, int32_t* across, int32_t* down)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return -255;
    *across = record->tiles_across;
    *down = record->tiles_down;
    return 0;
}

int32_t cv_ask_tile_sizes(int32_t canvas, int32_t* width, int32_t* height)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return -255;
    *width = record->tile_width;
    *height = record->tile_height;
    return 0;
}

// Strictly inside: an answer says that the pixel's right and lower neighbours lie in the same tile.
int32_t cv_ask_tile_and_offset(int32_t canvas, int32_t x, int32_t y)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return -255;
    const grid_place place = locate(*record, x, y);
    const bool inside = place.y_in_tile < record->tile_height - 1 && place.x_in_tile < record->tile_width - 1;
    return inside ? tile_number(*record, place) : -1;
}
