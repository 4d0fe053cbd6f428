#include "iocache/convert/block_file.h"

#include <algorithm>
#include <cstring>

namespace {

using iocache::convert::block_header_bytes;
using iocache::convert::block_side;

constexpr size_t x_max_at = 2;
constexpr size_t y_max_at = 6;
constexpr size_t image_type_at = 20;
constexpr size_t palette_entries_at = 34;
constexpr size_t icon_width_at = 36;
constexpr size_t icon_height_at = 38;
constexpr size_t pixel_format_at = 684;

constexpr int32_t picture_type = 3;  // every other type is a mask
constexpr uint8_t direct_format = '1';
constexpr int64_t mask_palette_entry_bytes = 4;
constexpr uint8_t opaque = 255;  // first byte of a palette entry that was stored without it

int32_t number_at(std::span<const uint8_t, block_header_bytes> header, size_t offset)
{
    return static_cast<int16_t>(static_cast<uint16_t>(header[offset] << 8 | header[offset + 1]));
}

int64_t blocks_for(int32_t last_pixel)
{
    return int64_t{last_pixel} / block_side + 1;
}

}  // namespace

iocache::convert::block_image iocache::convert::parse_block_header(std::span<const uint8_t, block_header_bytes> header)
{
    return {number_at(header, x_max_at),
            number_at(header, y_max_at),
            number_at(header, image_type_at) == picture_type,
            header[pixel_format_at] == direct_format,
            number_at(header, palette_entries_at),
            number_at(header, icon_width_at),
            number_at(header, icon_height_at)};
}

// A mask's palette entries count four bytes and its icon one byte a pixel, whatever the flag says.
int64_t iocache::convert::block_image::blocks_begin() const
{
    const int64_t icon_pixels = int64_t{icon_width} * icon_height;
    if (!is_picture) return block_header_bytes + palette_entries * mask_palette_entry_bytes + icon_pixels;
    return block_header_bytes + (std::max(palette_entries, 0) + icon_pixels) * entry_bytes();
}

int64_t iocache::convert::block_image::file_bytes() const
{
    return blocks_begin() + blocks_for(x_max) * blocks_for(y_max) * block_bytes();
}

bool iocache::convert::block_image::is_possible() const
{
    return x_max >= 0 && y_max >= 0 && palette_entries >= 0 && icon_width >= 0 && icon_height >= 0;
}

void iocache::convert::copy_block(const block_image& image, std::span<const uint8_t> block, uint8_t* target,
                                  int32_t tile_line_bytes)
{
    const auto line_bytes = static_cast<size_t>(image.block_line_bytes());
    for (; !block.empty(); block = block.subspan(line_bytes), target += tile_line_bytes) {
        const std::span<const uint8_t> line = block.first(line_bytes);
        std::memcpy(target, line.data(), line.size());
        if (image.is_direct || !image.is_picture) continue;
        for (size_t pixel = 0; pixel < line_bytes; pixel += 4) std::reverse(target + pixel, target + pixel + 4);
    }
}

void iocache::convert::unpack_palette(const block_image& image, std::span<const uint8_t> stored,
                                      std::span<uint8_t> palette)
{
    if (image.is_direct) {
        std::ranges::copy(stored, palette.begin());
        return;
    }
    for (size_t from = 0, to = 0; from + 3 <= stored.size(); from += 3, to += 4) {
        palette[to] = opaque;
        palette[to + 1] = stored[from + 2];
        palette[to + 2] = stored[from + 1];
        palette[to + 3] = stored[from];
    }
}
