// Whole images in memory: they are small by their nature, and bounded where they are not.
#include "tools/reader/small_images.h"

#include <algorithm>

namespace iocache::tools {

namespace {

constexpr std::int16_t not_made = -1;
constexpr std::size_t remade_alpha_step = 5;  // a remade row's alpha begins at 5 times its place

// Up to so many bytes at a place, zeros where the file ends.
std::vector<std::uint8_t> read_padded(const canvas_file& file, std::int64_t offset, std::size_t bytes)
{
    std::vector<std::uint8_t> data(bytes);
    const auto there = std::clamp<std::int64_t>(file.bytes() - offset, 0, static_cast<std::int64_t>(bytes));
    file.read_at(offset, std::span(data).first(static_cast<std::size_t>(there)));
    return data;
}

// Where a tile's part of the image begins in the tile.
std::int64_t begin_in_tile(std::int64_t first, std::int64_t offset, std::int32_t shift)
{
    return (first + offset) & ((std::int64_t{1} << shift) - 1);
}

// Calls visit(pixel) for each pixel of the tile that is outside of the image and not zero.
template <class Visit>
void for_each_margin_pixel(const file_map& map, std::int64_t tile, std::span<const std::uint8_t> bytes,
                           const Visit& visit)
{
    const rectangle part = map.part_of(tile);
    const std::int64_t left = part.pixels() == 0 ? 0 : begin_in_tile(part.x, map.x_offset, map.shift_x);
    const std::int64_t top = part.pixels() == 0 ? 0 : begin_in_tile(part.y, map.y_offset, map.shift_y);
    const std::size_t pixel_bytes = map.pixel_bytes();
    for (std::int64_t row = 0; row < map.tile_height; ++row) {
        const bool is_image_row = row >= top && row < top + part.height;
        for (std::int64_t column = 0; column < map.tile_width; ++column) {
            if (is_image_row && column == left) column += part.width;
            if (column >= map.tile_width) break;
            const auto pixel = static_cast<std::size_t>(row * map.tile_width + column);
            const auto colour = bytes.subspan(pixel * pixel_bytes, pixel_bytes);
            const bool has_colour = std::ranges::any_of(colour, [](std::uint8_t byte) { return byte != 0; });
            if (has_colour || (map.has_alpha() && bytes[static_cast<std::size_t>(map.alpha_plane()) + pixel] != 0))
                visit(pixel);
        }
    }
}

}  // namespace

std::vector<std::uint8_t> read_slot(const canvas_file& file, const file_map& map, std::int64_t slot)
{
    return read_padded(file, map.slot_offset(slot), static_cast<std::size_t>(map.tile_bytes));
}

reduced_builder::reduced_builder(const file_map& map)
    : map_(map),
      axes_(map),
      possible_(map.reduced_width * map.reduced_height <= most_reduced_pixels)
{
    if (!possible_) return;
    const std::size_t pixels = axes_.columns.size() * axes_.rows.size();
    planes_.colour.resize(pixels * map.pixel_bytes());
    remade_.pixels.resize(pixels);
    if (!map.has_alpha()) return;
    planes_.alpha.resize(pixels);
    remade_.alpha.assign(pixels, not_made);
}

void reduced_builder::take(std::int64_t tile, const std::vector<std::uint8_t>& bytes)
{
    const rectangle part = map_.part_of(tile);
    const place_range columns = places_within(axes_.columns, part.x, part.right());
    const place_range rows = places_within(axes_.rows, part.y, part.bottom());
    // Opening passes over a last column, or row, that is the first of its tile.
    const bool is_visited = part.x < map_.bounds.right() - 1 && part.y < map_.bounds.bottom() - 1;
    for (std::size_t row = rows.begin; row < rows.end; ++row) {
        if (!bytes.empty()) take_row(part, bytes, row, columns);
        if (is_visited) note_remade(row, columns);
    }
}

void reduced_builder::take_row(const rectangle& part, const std::vector<std::uint8_t>& bytes, std::size_t row,
                               place_range columns)
{
    const std::size_t pixel_bytes = map_.pixel_bytes();
    const std::size_t line = map_.place_in_tile(part.x, axes_.rows[row]);
    for (std::size_t column = columns.begin; column < columns.end; ++column) {
        const std::size_t from = line + static_cast<std::size_t>(axes_.columns[column] - part.x);
        const std::size_t to = row * axes_.columns.size() + column;
        std::copy_n(&bytes[from * pixel_bytes], pixel_bytes, &planes_.colour[to * pixel_bytes]);
        if (map_.has_alpha()) planes_.alpha[to] = bytes[static_cast<std::size_t>(map_.alpha_plane()) + from];
    }
}

void reduced_builder::note_remade(std::size_t row, place_range columns)
{
    const std::size_t start = row * axes_.columns.size() + columns.begin;
    for (std::size_t i = 0; i < columns.end - columns.begin; ++i) {
        remade_.pixels[start + i] = true;
        const std::size_t alpha = start * remade_alpha_step + i;
        if (alpha < remade_.alpha.size()) remade_.alpha[alpha] = planes_.alpha[start + i];
    }
}

reduced_planes stored_reduced(const canvas_file& file, const file_map& map)
{
    reduced_planes planes;
    if (!map.has_reduced()) return planes;
    const auto pixels = static_cast<std::size_t>(map.reduced_width * map.reduced_height);
    const std::size_t colour = pixels * map.pixel_bytes();
    planes.colour = read_padded(file, map.reduced.offset, colour);
    if (map.has_alpha())
        planes.alpha = read_padded(file, map.reduced.offset + static_cast<std::int64_t>(colour), pixels);
    return planes;
}

std::vector<std::uint8_t> stored_icon_pixels(const canvas_file& file, const file_map& map)
{
    const auto pixels = static_cast<std::size_t>(map.icon_width * map.icon_height);
    return read_padded(file, map.icon.offset, pixels * map.pixel_bytes());
}

void put_icon(std::vector<std::uint8_t>& icon, const file_map& map, const reduced_planes& image)
{
    const icon_axes axes(map);
    const std::size_t pixel_bytes = map.pixel_bytes();
    for (std::size_t row = 0; row < axes.rows.size(); ++row) {
        for (std::size_t column = 0; column < axes.columns.size(); ++column) {
            const auto from = static_cast<std::size_t>(axes.rows[row] * map.reduced_width + axes.columns[column]);
            const std::size_t to = row * static_cast<std::size_t>(map.icon_width) + column;
            if ((from + 1) * pixel_bytes > image.colour.size()) continue;
            std::copy_n(&image.colour[from * pixel_bytes], pixel_bytes, &icon[to * pixel_bytes]);
        }
    }
}

std::int64_t margin_pixels(const file_map& map, std::int64_t tile, std::span<const std::uint8_t> bytes)
{
    std::int64_t found = 0;
    for_each_margin_pixel(map, tile, bytes, [&](std::size_t) { ++found; });
    return found;
}

std::int64_t clear_margin(const file_map& map, std::int64_t tile, std::span<std::uint8_t> bytes)
{
    std::int64_t found = 0;
    const std::size_t pixel_bytes = map.pixel_bytes();
    for_each_margin_pixel(map, tile, bytes, [&](std::size_t pixel) {
        ++found;
        std::ranges::fill(bytes.subspan(pixel * pixel_bytes, pixel_bytes), std::uint8_t{0});
        if (map.has_alpha()) bytes[static_cast<std::size_t>(map.alpha_plane()) + pixel] = 0;
    });
    return found;
}

}  // namespace iocache::tools
