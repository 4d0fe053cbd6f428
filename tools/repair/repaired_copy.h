// Carries a repair plan out, in a copy.
#pragma once

#include "tools/reader/canvas_file.h"
#include "tools/repair/repair_plan.h"
#include "tools/repair/replacement_file.h"

namespace iocache::tools {

// Fills the new file with what the plan makes of the damaged one.
void write_repaired(const canvas_file& damaged, const repair_plan& plan, replacement_file& copy);

// Header and table in the order of a file.
void write_header(replacement_file& copy, const cv_header& header);
void write_table(replacement_file& copy, const file_map& map, std::vector<std::int32_t> entries);

}  // namespace iocache::tools
