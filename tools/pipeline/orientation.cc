// All eight orientations are one walk: the source in order, the target by two steps, one to the next
// pixel of a row and one to the next row.
#include "tools/pipeline/orientation.h"

#include <array>
#include <cstring>

namespace iocache::tools {

namespace {

struct mirror {
    bool columns;  // of the stored picture: left becomes right
    bool rows;
};

// By orientation, from 1. From 5 on, rows and columns are exchanged afterwards; that makes 6 a quarter
// turn to the right and 8 one to the left.
constexpr std::array<mirror, 8> mirrors{{{false, false},
                                         {true, false},
                                         {true, true},
                                         {false, true},
                                         {false, false},
                                         {false, true},
                                         {true, true},
                                         {true, false}}};

const mirror& mirror_of(std::int32_t orientation)
{
    return mirrors.at(static_cast<std::size_t>(orientation - 1));
}

template <std::size_t pixel_bytes>
void turn(const std::uint8_t* source, std::uint8_t* target, const picture_size& part, std::int32_t orientation)
{
    const mirror& mirrored = mirror_of(orientation);
    const std::ptrdiff_t width = part.width;
    const std::ptrdiff_t height = part.height;
    std::ptrdiff_t column_step = exchanges_sides(orientation) ? height : 1;
    std::ptrdiff_t row_step = exchanges_sides(orientation) ? 1 : width;
    std::ptrdiff_t first = 0;
    if (mirrored.columns) {
        first += column_step * (width - 1);
        column_step = -column_step;
    }
    if (mirrored.rows) {
        first += row_step * (height - 1);
        row_step = -row_step;
    }
    constexpr auto bytes = static_cast<std::ptrdiff_t>(pixel_bytes);
    for (std::ptrdiff_t row = 0; row < height; ++row) {
        std::uint8_t* at = target + (first + row * row_step) * bytes;
        for (std::ptrdiff_t column = 0; column < width; ++column, at += column_step * bytes, source += bytes) {
            std::memcpy(at, source, pixel_bytes);
        }
    }
}

}  // namespace

rectangle turned(const rectangle& part, const picture_size& stored, std::int32_t orientation)
{
    const mirror& mirrored = mirror_of(orientation);
    const std::int32_t x = mirrored.columns ? stored.width - part.x - part.width : part.x;
    const std::int32_t y = mirrored.rows ? stored.height - part.y - part.height : part.y;
    if (exchanges_sides(orientation)) return {y, x, part.height, part.width};
    return {x, y, part.width, part.height};
}

void turn_pixels(std::span<const std::uint8_t> source, std::span<std::uint8_t> target, const picture_size& part,
                 std::size_t pixel_bytes, std::int32_t orientation)
{
    if (pixel_bytes == 1) {
        turn<1>(source.data(), target.data(), part, orientation);
    } else {
        turn<4>(source.data(), target.data(), part, orientation);
    }
}

}  // namespace iocache::tools
