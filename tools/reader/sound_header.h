// The header as it ought to be: most of its numbers follow from a few of them, or from the file, so that a damaged one
// can be told and made again.
//
// Taken as they are: what nothing else in the file repeats (offsets of the grid, texts, units, the host's values).
#pragma once

#include <cstdint>
#include <string_view>

#include "tools/reader/canvas_file.h"

namespace iocache::tools {

enum class header_state {
    usable,      // every number follows, or could be made to follow
    no_bounds,   // nothing in the header tells how large the image is
    not_a_grid,  // the numbers make no tile grid that a file could hold
};

struct sound_header {
    cv_header header;  // when usable: consistent in itself, and its layout is the one that fits the file best
    header_state state = header_state::usable;
};

// `tiles_written` and `dirty` are left as they are found: they are the tile table's business.
[[nodiscard]] sound_header make_sound(const canvas_file& file);

// Bytes of a number of the header, most significant first, by its field.
[[nodiscard]] std::int64_t integer_of(const cv_header& header, const canvas::file_field& field);

}  // namespace iocache::tools
