// Sizes that pictures of the library and of its peers share.
#pragma once

#include <cstddef>
#include <cstdint>

#include "bench/support/pattern.h"

namespace iocache_bench {

inline constexpr int32_t tile_side = 256;
inline constexpr int64_t alpha_plane = int64_t{tile_side} * tile_side * pattern::colour_bytes;
inline constexpr int64_t tile_bytes = alpha_plane + int64_t{tile_side} * tile_side;
inline constexpr int64_t picture_pixel_bytes = 5;

}  // namespace iocache_bench
