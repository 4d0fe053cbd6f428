// Where everything is in a canvas file whose header says this: regions, tiles, pixels. Only arithmetic, in 64 bits;
// nothing is checked against a file.
#pragma once

#include <cstddef>
#include <cstdint>

#include <iocache/iocache.h>

#include "tools/canvas/canvas_kind.h"
#include "tools/reader/canvas_file.h"
#include "tools/rectangle.h"

namespace iocache::tools {

// Floor of the base-2 logarithm, by which places are divided into tiles; 0 for what is not positive.
[[nodiscard]] std::int32_t tile_shift(std::int64_t size);

class file_map {
public:
    explicit file_map(const cv_header& header);

    canvas_kind kind;
    rectangle bounds;
    std::int64_t x_offset, y_offset;       // from canvas to grid
    std::int64_t tile_width, tile_height;  // as stored; the grid goes by the shifts
    std::int32_t shift_x, shift_y;
    std::int64_t across, down;  // 0 when the header's numbers make no grid
    std::int64_t tile_bytes;
    file_region icon, ink, tqcms, reduced, table;
    std::int64_t tiles_offset;
    std::int64_t icon_width, icon_height;
    std::int64_t reduced_width, reduced_height;  // of the image itself when the file has no region for it
    double scale;

    [[nodiscard]] std::int64_t tiles() const { return across * down; }
    [[nodiscard]] std::size_t pixel_bytes() const { return colour_bytes(kind); }
    [[nodiscard]] bool has_alpha() const { return kind == canvas_kind::picture; }
    [[nodiscard]] bool has_reduced() const { return reduced.bytes > 0; }
    [[nodiscard]] std::int64_t slot_offset(std::int64_t slot) const { return tiles_offset + slot * tile_bytes; }
    // Slots of which a file of this many bytes holds at least a part.
    [[nodiscard]] std::int64_t slots_begun(std::int64_t file_bytes) const;
    [[nodiscard]] std::int64_t whole_slots(std::int64_t file_bytes) const;
    // Where the alpha plane of a tile begins in it.
    [[nodiscard]] std::int64_t alpha_plane() const
    {
        return tile_width * tile_height * static_cast<std::int64_t>(picture_colour_bytes);
    }

    // The part of the image that a tile holds; empty for a tile outside of it.
    [[nodiscard]] rectangle part_of(std::int64_t tile) const;
    // The place of a canvas pixel in the planes of its tile.
    [[nodiscard]] std::size_t place_in_tile(std::int64_t x, std::int64_t y) const;
};

}  // namespace iocache::tools
