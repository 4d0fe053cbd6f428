// A canvas file without slots that no tile names, and with the others in the order of their tiles.
#pragma once

#include <cstdint>

#include "tools/reader/canvas_file.h"
#include "tools/repair/replacement_file.h"

namespace iocache::tools {

struct compaction {
    std::int64_t dropped = 0;  // slots
    std::int64_t moved = 0;
    std::int64_t bytes = 0;  // of the new file

    [[nodiscard]] bool is_needed() const { return dropped > 0 || moved > 0; }
};

// What would change. Throws `failure`: `unsupported` for a damaged file, or one that was not closed.
[[nodiscard]] compaction plan_compaction(const canvas_file& file);
// Writes the new file and reads it back. Throws `failure` when any tile is not what it was.
void write_compacted(const canvas_file& file, replacement_file& copy);

}  // namespace iocache::tools
