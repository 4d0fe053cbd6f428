// Tile by tile.
#include "tools/reader/pixel_reader.h"

#include <algorithm>

#include "tools/failure.h"
#include "tools/reader/small_images.h"

namespace iocache::tools {

namespace {

const canvas_file& checked(const canvas_file& file)
{
    file.check_version();
    const std::vector<std::string> problems = file.problems();
    if (!problems.empty()) {
        throw failure(exit_code::unsupported, file.path() + ": the canvas is damaged: " + problems.front());
    }
    return file;
}

}  // namespace

pixel_reader::pixel_reader(const canvas_file& file)
    : file_(file),
      map_(checked(file).header()),
      table_(read_slot_table(file, map_))
{}

void pixel_reader::read(canvas_block& block) const
{
    std::ranges::fill(block.colour, std::uint8_t{0});
    std::ranges::fill(block.alpha, std::uint8_t{0});
    const std::int64_t first_column = std::max<std::int64_t>(0, (block.place.x + map_.x_offset) >> map_.shift_x);
    const std::int64_t first_row = std::max<std::int64_t>(0, (block.place.y + map_.y_offset) >> map_.shift_y);
    const std::int64_t last_column = (block.place.right() - 1 + map_.x_offset) >> map_.shift_x;
    const std::int64_t last_row = (block.place.bottom() - 1 + map_.y_offset) >> map_.shift_y;
    for (std::int64_t row = first_row; row <= std::min(last_row, map_.down - 1); ++row) {
        for (std::int64_t column = first_column; column <= std::min(last_column, map_.across - 1); ++column)
            take(block, row * map_.across + column);
    }
}

void pixel_reader::take(canvas_block& block, std::int64_t tile) const
{
    const std::int32_t slot = table_.entries[static_cast<std::size_t>(tile)];
    if (slot < 0) return;
    const std::vector<std::uint8_t> bytes = read_slot(file_, map_, slot);
    const rectangle part = map_.part_of(tile);
    const std::int64_t left = std::max<std::int64_t>(part.x, block.place.x);
    const std::int64_t right = std::min(part.right(), block.place.right());
    const std::int64_t bottom = std::min(part.bottom(), block.place.bottom());
    if (right <= left) return;
    const auto count = static_cast<std::size_t>(right - left);
    const std::size_t pixel_bytes = map_.pixel_bytes();
    for (std::int64_t y = std::max<std::int64_t>(part.y, block.place.y); y < bottom; ++y) {
        const std::size_t from = map_.place_in_tile(left, y);
        const auto to = static_cast<std::size_t>((y - block.place.y) * block.place.width + left - block.place.x);
        std::copy_n(&bytes[from * pixel_bytes], count * pixel_bytes, &block.colour[to * pixel_bytes]);
        if (map_.has_alpha())
            std::copy_n(&bytes[static_cast<std::size_t>(map_.alpha_plane()) + from], count, &block.alpha[to]);
    }
}

}  // namespace iocache::tools
