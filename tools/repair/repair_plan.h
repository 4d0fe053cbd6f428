// What a repair would do to a file, found out without writing anything.
//
// Slots stay where they are: a repaired file holds the bytes of the damaged one, with a header, a tile table, a reduced
// image and an icon that fit them, and without what was never finished.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/reader/canvas_file.h"
#include "tools/repair/slot_matching.h"
#include "tools/verify/finding.h"

namespace iocache::tools {

struct repair_plan {
    std::vector<finding> findings;      // why
    cv_header header{};                 // the new one
    std::vector<std::int32_t> entries;  // the new tile table
    std::vector<std::string> steps;     // what will be done, in words
    std::vector<std::string> losses;    // what cannot be brought back, in words
    std::vector<unclear_match> unclear;
    bool is_possible = true;

    [[nodiscard]] bool is_needed() const { return !steps.empty(); }
};

enum class table_trust {
    where_it_makes_sense,
    none,  // every slot is looked for anew
};

// Reads every tile. Throws `failure`.
[[nodiscard]] repair_plan plan_repair(const canvas_file& file, table_trust trust);

}  // namespace iocache::tools
