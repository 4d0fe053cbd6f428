// A picture of what a repair could not decide: one row for each tile in doubt. First what the reduced image shows of
// the tile, then the slot it was given, then others it may be. Rows of slots without a tile show the slot alone.
// Numbers of tile and slots stand above the pictures.
#pragma once

#include <string>

#include "tools/reader/canvas_file.h"
#include "tools/repair/repair_plan.h"

namespace iocache::tools {

// Writes the PNG. Shows the first rows only when there are very many.
void write_contact_sheet(const canvas_file& damaged, const repair_plan& plan, const std::string& path);

}  // namespace iocache::tools
