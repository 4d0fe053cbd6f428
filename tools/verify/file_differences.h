// Two canvas files against each other, but for their pixels: numbers and texts of the header, and the regions.
#pragma once

#include <string>
#include <vector>

#include "tools/reader/canvas_file.h"

namespace iocache::tools {

struct header_difference {
    std::string field;
    std::string one;
    std::string other;
};

[[nodiscard]] std::vector<header_difference> header_differences(const canvas_file& one, const canvas_file& other);
// The names of regions before the tile table that hold different bytes.
[[nodiscard]] std::vector<std::string> region_differences(const canvas_file& one, const canvas_file& other);

}  // namespace iocache::tools
