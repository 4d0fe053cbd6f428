// The checks of a canvas file. None of them writes, and none uses the library.
//
// Later checks go by the header as it ought to be, so that one damaged number is told once and does not drown the rest.
#pragma once

#include <vector>

#include "tools/reader/canvas_file.h"
#include "tools/reader/file_map.h"
#include "tools/reader/slot_table.h"
#include "tools/reader/sound_header.h"
#include "tools/verify/finding.h"

namespace iocache::tools {

enum class depth {
    quick,  // header, layout, length and the whole tile table
    full,   // every pixel of every tile too
};

// Everything. Throws `failure` when the file cannot be read.
[[nodiscard]] std::vector<finding> verify(const canvas_file& file, depth how);

// Its parts.
void check_header(const canvas_file& file, const sound_header& sound, std::vector<finding>& findings);
void check_table(const canvas_file& file, const sound_header& sound, const slot_table& table,
                 std::vector<finding>& findings);
void check_pixels(const canvas_file& file, const sound_header& sound, const slot_table& table,
                  std::vector<finding>& findings);

}  // namespace iocache::tools
