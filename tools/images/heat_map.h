// Where two images differ, as a small picture: black where they are the same, from dark red over yellow to white the
// larger the share of pixels that differ.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/rectangle.h"

namespace iocache::tools {

class heat_map {
public:
    explicit heat_map(const rectangle& place);

    void add(std::int64_t x, std::int64_t y);
    // Writes the PNG.
    void write(const std::string& path) const;

private:
    rectangle place_;
    std::int32_t cell_side_;
    std::int32_t width_;
    std::int32_t height_;
    std::vector<std::uint32_t> counts_;

    [[nodiscard]] double share(std::int32_t column, std::int32_t row) const;
};

}  // namespace iocache::tools
