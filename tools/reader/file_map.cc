// Arithmetic of the format.
#include "tools/reader/file_map.h"

#include <algorithm>

namespace iocache::tools {

namespace {

std::int64_t grid_size(std::int64_t length, std::int64_t offset, std::int32_t shift)
{
    if (length < 1 || length - 1 + offset < 0) return 0;
    return ((length - 1 + offset) >> shift) + 1;
}

std::int64_t reduced_length(std::int64_t length, double scale)
{
    if (!(scale > 1.0)) return length;
    return static_cast<std::int64_t>(static_cast<double>(length - 1) / scale + 1.0);
}

}  // namespace

std::int32_t tile_shift(std::int64_t size)
{
    std::int32_t shift = 0;
    while (size >> (shift + 1) > 0) ++shift;
    return shift;
}

file_map::file_map(const cv_header& header)
    : kind(header.image_kind != 0 ? canvas_kind::picture : canvas_kind::mask),
      bounds{header.x_min, header.y_min, header.x_max - header.x_min + 1, header.y_max - header.y_min + 1},
      x_offset(header.x_offset),
      y_offset(header.y_offset),
      tile_width(header.tile_width),
      tile_height(header.tile_height),
      shift_x(tile_shift(header.tile_width)),
      shift_y(tile_shift(header.tile_height)),
      across(grid_size(bounds.width, x_offset, shift_x)),
      down(grid_size(bounds.height, y_offset, shift_y)),
      tile_bytes(header.tile_bytes),
      icon{"icon", header.icon_offset, header.icon_bytes},
      ink{"ink colours", header.ink_offset, header.ink_bytes},
      tqcms{"colour processing", header.tqcms_offset, header.tqcms_bytes},
      reduced{"reduced image", header.subsampled_offset, header.subsampled_bytes},
      table{"tile table", header.tile_table_offset, header.tile_table_bytes},
      tiles_offset(header.tiles_offset),
      icon_width(header.icon_width),
      icon_height(header.icon_height),
      reduced_width(reduced_length(bounds.width, header.scale)),
      reduced_height(reduced_length(bounds.height, header.scale)),
      scale(header.scale)
{}

std::int64_t file_map::slots_begun(std::int64_t file_bytes) const
{
    if (tile_bytes < 1) return 0;
    return std::max<std::int64_t>(0, (file_bytes - tiles_offset + tile_bytes - 1) / tile_bytes);
}

std::int64_t file_map::whole_slots(std::int64_t file_bytes) const
{
    if (tile_bytes < 1) return 0;
    return std::max<std::int64_t>(0, (file_bytes - tiles_offset) / tile_bytes);
}

rectangle file_map::part_of(std::int64_t tile) const
{
    const std::int64_t grid_left = (tile % across) << shift_x;
    const std::int64_t grid_top = (tile / across) << shift_y;
    const std::int64_t left = std::max<std::int64_t>(grid_left - x_offset, bounds.x);
    const std::int64_t top = std::max<std::int64_t>(grid_top - y_offset, bounds.y);
    const std::int64_t right = std::min(grid_left - x_offset + (std::int64_t{1} << shift_x), bounds.right());
    const std::int64_t bottom = std::min(grid_top - y_offset + (std::int64_t{1} << shift_y), bounds.bottom());
    if (right <= left || bottom <= top) return {};
    return {static_cast<std::int32_t>(left), static_cast<std::int32_t>(top), static_cast<std::int32_t>(right - left),
            static_cast<std::int32_t>(bottom - top)};
}

std::size_t file_map::place_in_tile(std::int64_t x, std::int64_t y) const
{
    const std::int64_t column = (x + x_offset) & ((std::int64_t{1} << shift_x) - 1);
    const std::int64_t row = (y + y_offset) & ((std::int64_t{1} << shift_y) - 1);
    return static_cast<std::size_t>(row * tile_width + column);
}

}  // namespace iocache::tools
