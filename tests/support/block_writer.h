// An independent writer of the older block format: an 812-byte header, a palette, an icon, and the image in complete
// 64 x 64 blocks. Written from the format's description, sharing nothing with the library.
#ifndef IOCACHE_TESTS_SUPPORT_BLOCK_WRITER_H
#define IOCACHE_TESTS_SUPPORT_BLOCK_WRITER_H

#include <array>
#include <cstdint>
#include <functional>
#include <utility>

#include "tests/support/file_reader.h"

namespace iocache_test {

struct old_image {
    int32_t width = 100;
    int32_t height = 100;
    int32_t type = 3;    // 3 is a picture, everything else a mask
    char flag = '1';     // '1': four-byte entries in the current order
    bytes palette = {};  // as it is to be stored
    int32_t palette_entries = 0;
    int32_t icon_width = 10;
    int32_t icon_height = 8;

    bool is_picture() const { return type == 3; }
    size_t pixel_bytes() const { return is_picture() ? 4 : 1; }
    size_t icon_bytes() const
    {
        const auto pixels = static_cast<size_t>(icon_width) * static_cast<size_t>(icon_height);
        return is_picture() ? pixels * (flag == '1' ? 4 : 3) : pixels;
    }
};

// The pixel that an image holds, as a canvas should show it: four bytes of a picture, or the first of them of a mask.
using pixel_function = std::function<std::array<uint8_t, 4>(int32_t x, int32_t y)>;

inline std::array<uint8_t, 4> pattern(int32_t x, int32_t y)
{
    const uint32_t word = static_cast<uint32_t>(x) * 2'654'435'761U ^ static_cast<uint32_t>(y) * 40'503'001U;
    return {static_cast<uint8_t>(word >> 24), static_cast<uint8_t>(word >> 16), static_cast<uint8_t>(word >> 8),
            static_cast<uint8_t>(word | 1U)};
}

inline bytes old_header(const old_image& image)
{
    bytes header(812, 0xEE);  // what the format does not say is nobody's business
    put_big_endian(header, 2, 2, static_cast<uint16_t>(image.width - 1));
    put_big_endian(header, 6, 2, static_cast<uint16_t>(image.height - 1));
    put_big_endian(header, 20, 2, static_cast<uint16_t>(image.type));
    put_big_endian(header, 34, 2, static_cast<uint16_t>(image.palette_entries));
    put_big_endian(header, 36, 2, static_cast<uint16_t>(image.icon_width));
    put_big_endian(header, 38, 2, static_cast<uint16_t>(image.icon_height));
    header[684] = static_cast<uint8_t>(image.flag);
    return header;
}

// Pixels outside the image, inside its last blocks, are 0x5A: a conversion must not let them show.
inline bytes old_file(const old_image& image, const pixel_function& pixel_at = pattern)
{
    bytes file = old_header(image);
    file.insert(file.end(), image.palette.begin(), image.palette.end());
    file.insert(file.end(), image.icon_bytes(), 0x77);
    for (int32_t block_y = 0; block_y < image.height; block_y += 64) {
        for (int32_t block_x = 0; block_x < image.width; block_x += 64) {
            for (int32_t i = 0; i < 64 * 64; ++i) {
                const int32_t x = block_x + i % 64;
                const int32_t y = block_y + i / 64;
                const bool inside = x < image.width && y < image.height;
                std::array<uint8_t, 4> pixel = {0x5A, 0x5A, 0x5A, 0x5A};
                if (inside) pixel = pixel_at(x, y);
                if (image.is_picture() && image.flag != '1')
                    std::swap(pixel[0], pixel[3]), std::swap(pixel[1], pixel[2]);
                file.insert(file.end(), pixel.begin(), pixel.begin() + static_cast<int>(image.pixel_bytes()));
            }
        }
    }
    return file;
}

}  // namespace iocache_test

#endif
