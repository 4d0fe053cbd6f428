// Canvas pixels as the screen shows them. The conversion is the plain one: every ink takes its share of the light and
// black takes it from all three. An application with profiles has a better one.
#ifndef IOCACHE_EXAMPLES_PAINT_SCREEN_COLOUR_H
#define IOCACHE_EXAMPLES_PAINT_SCREEN_COLOUR_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace paint {

inline constexpr uint8_t full = 255;
inline constexpr size_t colour_bytes = 4;  // of a picture's pixel: cyan, magenta, yellow, black
inline constexpr size_t rgba_bytes = 4;    // of a screen pixel

// full * full stays full, anything * 0 stays 0.
inline uint8_t product(uint32_t a, uint32_t b)
{
    constexpr uint32_t half = full / 2;
    return static_cast<uint8_t>((a * b + half) / full);
}

inline void picture_to_rgba(std::span<const uint8_t, colour_bytes> inks, uint8_t alpha,
                            std::span<uint8_t, rgba_bytes> rgba)
{
    const uint32_t light = full - uint32_t{inks[3]};
    for (size_t channel = 0; channel < 3; ++channel) rgba[channel] = product(full - uint32_t{inks[channel]}, light);
    rgba[3] = alpha;
}

inline void mask_to_rgba(uint8_t value, std::span<uint8_t, rgba_bytes> rgba)
{
    rgba[0] = rgba[1] = rgba[2] = value;
    rgba[3] = full;
}

}  // namespace paint

#endif
