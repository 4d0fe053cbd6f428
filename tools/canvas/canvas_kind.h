// The two kinds of canvas, as the library numbers them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace iocache::tools {

enum class canvas_kind : std::int32_t {
    mask = 0,     // one byte a pixel
    picture = 1,  // four bytes of CMYK and one of alpha
};

inline constexpr std::size_t picture_colour_bytes = 4;

// Bytes of a pixel's colour; a picture's alpha comes on top.
[[nodiscard]] constexpr std::size_t colour_bytes(canvas_kind kind)
{
    return kind == canvas_kind::picture ? picture_colour_bytes : 1;
}

}  // namespace iocache::tools
