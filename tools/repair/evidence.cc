// Every pixel of a small image belongs to one tile.
#include "tools/repair/evidence.h"

#include <algorithm>

#include "tools/reader/small_images.h"

namespace iocache::tools {

namespace {

bool has_content(const std::vector<std::uint8_t>& bytes)
{
    return std::ranges::any_of(bytes, [](std::uint8_t byte) { return byte != 0; });
}

// A small image: what it shows, and of which canvas columns and rows.
struct small_image {
    reduced_planes planes;
    std::vector<std::int32_t> columns;
    std::vector<std::int32_t> rows;
    std::size_t line;  // pixels from one row to the next
};

small_image reduced_of(const canvas_file& file, const file_map& map)
{
    sampled_axes axes(map);
    return {stored_reduced(file, map), std::move(axes.columns), std::move(axes.rows),
            static_cast<std::size_t>(map.reduced_width)};
}

small_image icon_of(const canvas_file& file, const file_map& map)
{
    const sampled_axes axes(map);
    const icon_axes icon(map);
    small_image image;
    image.planes.colour = stored_icon_pixels(file, map);
    image.line = static_cast<std::size_t>(map.icon_width);
    for (const std::int32_t column : icon.columns) {
        if (static_cast<std::size_t>(column) < axes.columns.size())
            image.columns.push_back(axes.columns[static_cast<std::size_t>(column)]);
    }
    for (const std::int32_t row : icon.rows) {
        if (static_cast<std::size_t>(row) < axes.rows.size())
            image.rows.push_back(axes.rows[static_cast<std::size_t>(row)]);
    }
    return image;
}

tile_evidence evidence_of(const small_image& image, const file_map& map, std::int64_t tile)
{
    tile_evidence evidence;
    const rectangle part = map.part_of(tile);
    const place_range columns = places_within(image.columns, part.x, part.right());
    const place_range rows = places_within(image.rows, part.y, part.bottom());
    const std::size_t bytes = map.pixel_bytes();
    for (std::size_t row = rows.begin; row < rows.end; ++row) {
        for (std::size_t column = columns.begin; column < columns.end; ++column) {
            const std::size_t from = row * image.line + column;
            evidence.places.push_back(
                static_cast<std::uint32_t>(map.place_in_tile(image.columns[column], image.rows[row])));
            const auto colour = image.planes.colour.begin() + static_cast<std::ptrdiff_t>(from * bytes);
            evidence.colour.insert(evidence.colour.end(), colour, colour + static_cast<std::ptrdiff_t>(bytes));
            if (!image.planes.alpha.empty()) evidence.alpha.push_back(image.planes.alpha[from]);
        }
    }
    evidence.is_blank = !has_content(evidence.colour) && !has_content(evidence.alpha);
    return evidence;
}

}  // namespace

bool tile_evidence::fits_colour(const file_map& map, const std::vector<std::uint8_t>& tile) const
{
    const std::size_t bytes = map.pixel_bytes();
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (!std::equal(&colour[i * bytes], &colour[i * bytes] + bytes, &tile[places[i] * bytes])) return false;
    }
    return true;
}

bool tile_evidence::fits_alpha(const file_map& map, const std::vector<std::uint8_t>& tile) const
{
    for (std::size_t i = 0; i < alpha.size(); ++i) {
        if (alpha[i] != tile[static_cast<std::size_t>(map.alpha_plane()) + places[i]]) return false;
    }
    return true;
}

double tile_evidence::likeness(const file_map& map, const std::vector<std::uint8_t>& tile) const
{
    const std::size_t bytes = map.pixel_bytes();
    std::size_t compared = 0;
    std::size_t same = 0;
    const auto is_zero = [](std::uint8_t byte) { return byte == 0; };
    for (std::size_t i = 0; i < places.size(); ++i) {
        const auto* const wanted = &colour[i * bytes];
        const auto* const found = &tile[places[i] * bytes];
        if (std::all_of(wanted, wanted + bytes, is_zero) && std::all_of(found, found + bytes, is_zero)) continue;
        ++compared;
        same += std::equal(wanted, wanted + bytes, found) ? 1 : 0;
    }
    return compared == 0 ? 0.0 : static_cast<double>(same) / static_cast<double>(compared);
}

std::vector<tile_evidence> gather_evidence(const canvas_file& file, const file_map& map)
{
    small_image image;
    if (map.has_reduced()) image = reduced_of(file, map);
    if (!has_content(image.planes.colour)) image = icon_of(file, map);
    std::vector<tile_evidence> all;
    all.reserve(static_cast<std::size_t>(map.tiles()));
    for (std::int64_t tile = 0; tile < map.tiles(); ++tile) all.push_back(evidence_of(image, map, tile));
    return all;
}

}  // namespace iocache::tools
