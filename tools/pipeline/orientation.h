// Turning pixels the way a camera's or scanner's note says: orientations 1 to 8 as EXIF and TIFF count
// them. 1 is upright, 2 to 4 are mirrored or upside down, 5 to 8 have rows and columns exchanged too.
#pragma once

#include <cstdint>
#include <span>

#include "tools/rectangle.h"

namespace iocache::tools {

inline constexpr std::int32_t upright = 1;

struct picture_size {
    std::int32_t width = 0;
    std::int32_t height = 0;
};

[[nodiscard]] constexpr bool exchanges_sides(std::int32_t orientation)
{
    return orientation >= 5;
}

// The size of the picture once it is turned.
[[nodiscard]] constexpr picture_size turned(const picture_size& stored, std::int32_t orientation)
{
    return exchanges_sides(orientation) ? picture_size{stored.height, stored.width} : stored;
}

// Where a part of the stored picture comes to lie.
[[nodiscard]] rectangle turned(const rectangle& part, const picture_size& stored, std::int32_t orientation);

// Turns the pixels of a part, `pixel_bytes` bytes each, 1 or 4; source and target do not overlap.
void turn_pixels(std::span<const std::uint8_t> source, std::span<std::uint8_t> target, const picture_size& part,
                 std::size_t pixel_bytes, std::int32_t orientation);

}  // namespace iocache::tools
