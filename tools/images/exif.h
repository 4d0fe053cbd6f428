// The one entry of an EXIF block that import needs: how the picture is to be turned.
#pragma once

#include <cstdint>
#include <span>

namespace iocache::tools {

// The orientation, 1..8, that an EXIF block (from its byte-order mark on) names in its first directory;
// 1, which is upright, when it names none or makes no sense.
[[nodiscard]] std::int32_t exif_orientation(std::span<const std::uint8_t> block);

}  // namespace iocache::tools
