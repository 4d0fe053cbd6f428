// Where a pixel lies: its tile in the grid and its place inside the tile. Shifts only, no division.
#pragma once

#include <algorithm>
#include <cstdint>

#include <iocache/iocache.h>

#include "iocache/canvas/canvas.h"
#include "iocache/zones/zones.h"

namespace iocache::cache {

struct tile_place {
    int32_t column;
    int32_t row;
    int64_t index;  // row * tiles_across + column
    int32_t x_in_tile;
    int32_t y_in_tile;
};

// Bytes that one row of a tile takes in all its planes.
inline int64_t row_bytes(const cv_canvas& canvas)
{
    return canvas.kind == canvas::picture_kind ? int64_t{canvas.tile_line_bytes} + (canvas.tile_line_bytes >> 2)
                                               : int64_t{canvas.tile_line_bytes};
}

inline tile_place place_of(const cv_canvas& canvas, int32_t x, int32_t y)
{
    const int64_t grid_x = int64_t{x} + canvas.geom_orig.x_offset;
    const int64_t grid_y = int64_t{y} + canvas.geom_orig.y_offset;
    const int64_t column = grid_x >> canvas.tile_shift_x;
    const int64_t row = grid_y >> canvas.tile_shift_y;
    return {static_cast<int32_t>(column), static_cast<int32_t>(row), row * canvas.tiles_across + column,
            static_cast<int32_t>(grid_x - (column << canvas.tile_shift_x)),
            static_cast<int32_t>(grid_y - (row << canvas.tile_shift_y))};
}

inline bool in_grid(const cv_canvas& canvas, int32_t column, int32_t row)
{
    return static_cast<uint32_t>(column) < static_cast<uint32_t>(canvas.tiles_across) &&
           static_cast<uint32_t>(row) < static_cast<uint32_t>(canvas.tiles_down);
}

// The pixel lies in the grid, in a row that the tile's bytes hold, of a tile for which memory can be had.
inline bool may_serve(const cv_canvas& canvas, const tile_place& place)
{
    return in_grid(canvas, place.column, place.row) && zones::serves(canvas.tile_bytes) &&
           (place.y_in_tile + 1) * row_bytes(canvas) <= canvas.tile_bytes;
}

// Rows of a tile that exist: its height, unless a file claims more than its tiles' bytes hold.
inline int32_t rows_held(const cv_canvas& canvas)
{
    const int64_t row = row_bytes(canvas);
    if (canvas.tile_height * row <= canvas.tile_bytes) return canvas.tile_height;
    return static_cast<int32_t>(canvas.tile_bytes / row);
}

// Signed count of pixels from `first` towards `last`, as far as the tile reaches on either side.
inline int32_t run_towards(int32_t first, int32_t last, int32_t place_in_tile, int32_t tile_length)
{
    if (last >= first)
        return static_cast<int32_t>(std::min<int64_t>(tile_length - place_in_tile, int64_t{last} - first + 1));
    return static_cast<int32_t>(std::max<int64_t>(-1 - place_in_tile, int64_t{last} - first - 1));
}

// Every result of a request but its tile. The tile must be locked: its buffer stays then.
inline void fill_results(cv_tile_request& request, const cv_canvas& canvas, const tile_place& place,
                         const cv_tile& tile)
{
    request.run_x = run_towards(request.x, request.x_end, place.x_in_tile, canvas.tile_width);
    request.run_y = run_towards(request.y, request.y_end, place.y_in_tile, rows_held(canvas));
    request.buffer = tile.buffer;
    request.line_bytes = canvas.tile_line_bytes;
    request.pixel =
        tile.buffer + int64_t{place.y_in_tile} * canvas.tile_line_bytes + (place.x_in_tile << canvas.pixel_shift);
    if (canvas.kind == canvas::picture_kind) {
        request.alfa_buffer = tile.buffer + tile_offset_alfa;
        request.alfa_line_bytes = request.line_bytes >> 2;
        request.alfa_pixel = request.alfa_buffer + int64_t{place.y_in_tile} * request.alfa_line_bytes + place.x_in_tile;
    } else {
        request.alfa_buffer = nullptr;
        request.alfa_line_bytes = 0;
        request.alfa_pixel = nullptr;
    }
}

inline void clear_results(cv_tile_request& request)
{
    request.tile = nullptr;
    request.buffer = nullptr;
    request.pixel = nullptr;
    request.alfa_buffer = nullptr;
    request.alfa_pixel = nullptr;
    request.run_x = 0;
    request.run_y = 0;
    request.line_bytes = 0;
    request.alfa_line_bytes = 0;
}

}  // namespace iocache::cache
