// The whole tile table of a file, and what it makes of the slots.
//
// An entry is a slot's number, -1 for a tile never written, or nonsense. Each slot belongs to one tile at most.
#pragma once

#include <cstdint>
#include <vector>

#include "tools/reader/canvas_file.h"
#include "tools/reader/file_map.h"

namespace iocache::tools {

struct slot_table {
    std::vector<std::int32_t> entries;  // one a tile
    bool is_cut_off = false;            // the file ends within the table; entries behind its end count as -1

    // How many entries name each of the first `slots` slots.
    [[nodiscard]] std::vector<std::int32_t> uses(std::int64_t slots) const;
    // The largest slot named, but none from `limit` on; -1 when there is none.
    [[nodiscard]] std::int64_t largest_below(std::int64_t limit) const;
};

// Requires a grid whose table fits a file, as sound_header() makes sure.
[[nodiscard]] slot_table read_slot_table(const canvas_file& file, const file_map& map);

}  // namespace iocache::tools
