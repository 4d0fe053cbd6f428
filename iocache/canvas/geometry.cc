// The views of a canvas: its bounds, its tile grid, and the reduced image that stands for it on screen.

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>

#include "iocache/canvas/canvas.h"

namespace {

using namespace iocache::canvas;

constexpr int32_t picture_bytes_per_pixel = 4;
constexpr int32_t picture_pixel_shift = 2;
constexpr int32_t picture_tile_bytes_per_pixel = 5;  // with the alpha plane

constexpr int32_t full_level = 1;
constexpr int32_t window_level = 2;
constexpr int32_t second_window_level = 3;

int32_t reduced_length(int32_t length, double scale)
{
    return static_cast<int32_t>((length - 1) / scale + 1.0);
}

// Size of the reduced image: the image itself when it fits the frame.
void set_reduced_size(cv_geometry& view)
{
    view.subsampled = view.width > cv_max_lres_hor || view.height > cv_max_lres_vert ? 1 : 0;
    view.scale = 1.0;
    view.lres_width = view.width;
    view.lres_height = view.height;
    if (view.subsampled == 0) return;
    view.scale = std::max(static_cast<double>(view.width) / cv_max_lres_hor,
                          static_cast<double>(view.height) / cv_max_lres_vert);
    view.lres_width = reduced_length(view.width, view.scale);
    view.lres_height = reduced_length(view.height, view.scale);
}

// The part of the image that fills the frame pixel by pixel.
cv_geometry window_of(const cv_geometry& image)
{
    cv_geometry window = {};
    window.level = window_level;
    window.x_max = std::min(image.width, cv_max_lres_hor) - 1;
    window.y_max = std::min(image.height, cv_max_lres_vert) - 1;
    window.width = window.x_max + 1;
    window.height = window.y_max + 1;
    window.x_offset = image.x_offset;
    window.y_offset = image.y_offset;
    window.lres_width = window.width;
    window.lres_height = window.height;
    window.scale = 1.0;
    window.step = 1;
    return window;
}

}  // namespace

int32_t cv_calc_tileshift(int32_t size)
{
    return size < 1 ? -1 : static_cast<int32_t>(std::bit_width(static_cast<uint32_t>(size))) - 1;
}

int64_t iocache::canvas::pixel_count(const extent& bounds)
{
    const int64_t width = int64_t{bounds.x_max} - bounds.x_min + 1;
    const int64_t height = int64_t{bounds.y_max} - bounds.y_min + 1;
    return width > std::numeric_limits<int64_t>::max() / height ? std::numeric_limits<int64_t>::max() : width * height;
}

int64_t iocache::canvas::reduced_image_bytes(const cv_canvas& record)
{
    const int64_t pixels = int64_t{record.geom_orig.lres_width} * record.geom_orig.lres_height;
    return round_up_region(record.kind == picture_kind ? pixels * picture_tile_bytes_per_pixel : pixels);
}

void iocache::canvas::set_format(cv_canvas& record, int32_t kind, int32_t tile_width, int32_t tile_height)
{
    const bool is_picture = kind == picture_kind;
    const int64_t tile_pixels = int64_t{cv_tilesize_hor} * cv_tilesize_vert;
    record.kind = kind;
    record.bytes_per_pixel = is_picture ? picture_bytes_per_pixel : 1;
    record.pixel_shift = is_picture ? picture_pixel_shift : 0;
    record.tile_width = tile_width;
    record.tile_height = tile_height;
    record.tile_shift_x = cv_calc_tileshift(tile_width);
    record.tile_shift_y = cv_calc_tileshift(tile_height);
    record.tile_line_bytes = tile_width * record.bytes_per_pixel;
    record.tile_bytes = static_cast<int32_t>(is_picture ? tile_pixels * picture_tile_bytes_per_pixel : tile_pixels);
}

bool iocache::canvas::set_geometry(cv_canvas& record, const extent& bounds)
{
    if (record.tile_shift_x < 0 || record.tile_shift_y < 0) return false;
    const int64_t span_x = int64_t{bounds.x_max} - bounds.x_min;
    const int64_t span_y = int64_t{bounds.y_max} - bounds.y_min;
    const int64_t across = ((span_x + bounds.x_offset) >> record.tile_shift_x) + 1;
    const int64_t down = ((span_y + bounds.y_offset) >> record.tile_shift_y) + 1;
    constexpr int64_t most = std::numeric_limits<int32_t>::max() / int64_t{sizeof(int32_t)} - region_unit;
    if (span_x < 0 || span_y < 0 || across < 1 || down < 1 || across > most || down > most / across) return false;

    record.tiles_across = static_cast<int32_t>(across);
    record.tiles_down = static_cast<int32_t>(down);

    cv_geometry& view = record.geom;
    view = {};
    view.x_min = bounds.x_min;
    view.x_max = bounds.x_max;
    view.y_min = bounds.y_min;
    view.y_max = bounds.y_max;
    view.width = static_cast<int32_t>(span_x + 1);
    view.height = static_cast<int32_t>(span_y + 1);
    view.x_offset = bounds.x_offset;
    view.y_offset = bounds.y_offset;
    view.step = 1;
    set_reduced_size(view);

    record.geom_full = view;  // before the margins exist, as hosts expect
    record.geom_full.level = full_level;
    view.frame_x = (cv_max_lres_hor - view.lres_width) / 2;
    view.frame_y = (cv_max_lres_vert - view.lres_height) / 2;
    record.geom_orig = view;
    record.geom_window = window_of(view);
    record.geom_window2 = record.geom_window;
    record.geom_window2.level = second_window_level;
    return true;
}
