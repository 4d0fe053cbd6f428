// The older block format, as far as it is converted: an 812-byte header, an optional palette, an icon that is skipped,
// and the image in complete 64 x 64 blocks, row of blocks after row of blocks. Numbers are 16 bits, big-endian.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>

namespace iocache::convert {

inline constexpr int32_t block_header_bytes = 812;
inline constexpr int32_t block_side = 64;  // pixels

// What a header says.
struct block_image {
    int32_t x_max;
    int32_t y_max;
    bool is_picture;
    bool is_direct;  // four-byte entries in the current byte order; otherwise three-byte icon and palette entries and
                     // reversed pixels
    int32_t palette_entries;
    int32_t icon_width;
    int32_t icon_height;

    int32_t entry_bytes() const { return is_direct ? 4 : 3; }
    int32_t pixel_bytes() const { return is_picture ? 4 : 1; }
    int32_t block_line_bytes() const { return block_side * pixel_bytes(); }
    int32_t block_bytes() const { return block_side * block_line_bytes(); }
    bool has_palette() const { return is_picture && palette_entries > 0; }

    // Where the blocks begin, and the length of a file that holds them all; bytes.
    int64_t blocks_begin() const;
    int64_t file_bytes() const;
    // No image has a negative size or count.
    bool is_possible() const;
};

block_image parse_block_header(std::span<const uint8_t, block_header_bytes> header);

// One block's pixels to a tile, whose lines lie `tile_line_bytes` apart; reversed where the image is not direct.
void copy_block(const block_image& image, std::span<const uint8_t> block, uint8_t* target, int32_t tile_line_bytes);

// The palette as the host gets it: entries of four bytes. `stored` holds entries of entry_bytes().
void unpack_palette(const block_image& image, std::span<const uint8_t> stored, std::span<uint8_t> palette);

}  // namespace iocache::convert
