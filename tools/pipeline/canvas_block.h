// A rectangle of canvas pixels on its way between an image file and a canvas, and how large it may be.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tools/canvas/canvas_kind.h"
#include "tools/rectangle.h"

namespace iocache::tools {

struct canvas_block {
    rectangle place;                   // in the canvas
    std::vector<std::uint8_t> colour;  // row after row, without padding
    std::vector<std::uint8_t> alpha;   // a picture's, likewise; empty for a mask

    // Sets the place and makes room for its pixels; what they hold is left as it is.
    void shape(const rectangle& wanted, canvas_kind kind)
    {
        place = wanted;
        colour.resize(wanted.pixels() * colour_bytes(kind));
        alpha.resize(kind == canvas_kind::picture ? wanted.pixels() : 0);
    }
};

// How many rows of `width` pixels travel together: a power of two, so that bands end where tiles do, and
// as many as 10 MiB hold. Every band brings its tiles in once more; a tile that several bands have to
// fill may be written as often.
[[nodiscard]] std::int32_t band_rows(std::int32_t width, canvas_kind kind);

}  // namespace iocache::tools
