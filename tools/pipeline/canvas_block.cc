// The height of bands.
#include "tools/pipeline/canvas_block.h"

#include <algorithm>
#include <bit>

namespace iocache::tools {

namespace {

constexpr std::size_t band_bytes = std::size_t{10} << 20;  // 64 rows of the widest picture
constexpr std::size_t most_rows = 256;                     // a tile's height: more would gain nothing

}  // namespace

std::int32_t band_rows(std::int32_t width, canvas_kind kind)
{
    const std::size_t pixel_bytes = colour_bytes(kind) + (kind == canvas_kind::picture ? 1 : 0);
    const std::size_t rows = band_bytes / (static_cast<std::size_t>(width) * pixel_bytes);
    return static_cast<std::int32_t>(std::bit_floor(std::clamp<std::size_t>(rows, 1, most_rows)));
}

}  // namespace iocache::tools
