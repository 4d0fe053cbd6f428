// What the small images of a file tell about its tiles: some of their pixels.
#pragma once

#include <cstdint>
#include <vector>

#include "tools/reader/canvas_file.h"
#include "tools/reader/file_map.h"

namespace iocache::tools {

// Pixels that a tile should have.
struct tile_evidence {
    std::vector<std::uint32_t> places;  // in the planes of the tile
    std::vector<std::uint8_t> colour;   // of each place
    std::vector<std::uint8_t> alpha;    // of each place; empty when nothing tells
    bool is_blank = true;               // all of it is zero: the tile may never have been written

    [[nodiscard]] bool fits_colour(const file_map& map, const std::vector<std::uint8_t>& tile) const;
    [[nodiscard]] bool fits_alpha(const file_map& map, const std::vector<std::uint8_t>& tile) const;
    // The share of pixels that fit, of those that are not zero on both sides.
    [[nodiscard]] double likeness(const file_map& map, const std::vector<std::uint8_t>& tile) const;
};

// One for each tile of the grid. From the reduced image, or else from the icon; all blank when both are.
[[nodiscard]] std::vector<tile_evidence> gather_evidence(const canvas_file& file, const file_map& map);

}  // namespace iocache::tools
