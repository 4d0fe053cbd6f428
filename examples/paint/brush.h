// The soft brush: how much of a pixel a stamp covers, and what ink on that pixel then looks like. Arithmetic only; the
// canvas is the business of stroke.h.
#ifndef IOCACHE_EXAMPLES_PAINT_BRUSH_H
#define IOCACHE_EXAMPLES_PAINT_BRUSH_H

#include <array>
#include <cstdint>
#include <span>

#include "area.h"

namespace paint {

struct brush {
    double radius = 32.0;   // canvas pixels
    double hardness = 0.6;  // 0..1: the part of the radius that is covered in full
    double opacity = 1.0;   // 0..1, of one stamp
    double spacing = 0.15;  // between two stamps, in diameters
};

struct ink {
    std::array<uint8_t, 4> inks = {230, 40, 0, 20};  // for pictures: cyan, magenta, yellow, black
    uint8_t mask_value = 255;                        // for masks
};

// The pixels that a stamp at (x, y) may touch. Pixel n reaches from n to n + 1.
area stamp_area(const brush& with, double x, double y);

// How much of the pixels (x_first + i, row) a stamp at (x, y) covers, 0..255.
void cover_row(const brush& with, double x, double y, int32_t row, int32_t x_first, std::span<uint8_t> coverage);

// Ink over what is there: colours mix in the ratio of what is seen of them, alpha grows.
void blend_picture(std::span<const uint8_t> coverage, const ink& what, std::span<uint8_t> colour,
                   std::span<uint8_t> alpha);
// The mask moves towards the ink's value.
void blend_mask(std::span<const uint8_t> coverage, const ink& what, std::span<uint8_t> mask);

}  // namespace paint

#endif
