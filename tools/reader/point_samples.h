// Which pixels of a canvas its reduced image and its icon are copies of. Computed from the format's description alone.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tools/reader/file_map.h"

namespace iocache::tools {

// One direction of the reduced image: the canvas coordinate that each of its columns (or rows) shows, in order.
[[nodiscard]] std::vector<std::int32_t> sampled_coordinates(std::int32_t first, std::int32_t length, double scale,
                                                            std::int64_t places);

struct sampled_axes {
    explicit sampled_axes(const file_map& map);
    std::vector<std::int32_t> columns;  // canvas x of each reduced column
    std::vector<std::int32_t> rows;
};

// Places of a range of canvas coordinates among the sampled ones: the first, and one behind the last.
struct place_range {
    std::size_t begin, end;
};
[[nodiscard]] place_range places_within(std::span<const std::int32_t> sampled, std::int64_t first, std::int64_t end);

// The icon: for each of its columns (or rows), from 0 on, the reduced column (or row) it shows. Columns that the image
// does not reach are left out.
struct icon_axes {
    explicit icon_axes(const file_map& map);
    std::vector<std::int32_t> columns;
    std::vector<std::int32_t> rows;
};

}  // namespace iocache::tools
