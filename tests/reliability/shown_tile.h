// A whole tile as the library shows it, line by line: its colours and, of a picture, its alpha plane behind them.
#ifndef IOCACHE_TESTS_RELIABILITY_SHOWN_TILE_H
#define IOCACHE_TESTS_RELIABILITY_SHOWN_TILE_H

#include "tests/canvas/canvas_test.h"

namespace iocache_test {

// Of a canvas that begins at 0,0 and consists of whole tiles; zeros where a line cannot be read.
inline bytes shown_tile(int32_t canvas, size_t tile)
{
    const cv_canvas& record = *canvastable[canvas];
    const auto side = static_cast<size_t>(record.tile_width);
    const auto across = static_cast<size_t>(record.tiles_across);
    const bool is_picture = record.kind == 1;
    const size_t line_bytes = side * static_cast<size_t>(record.bytes_per_pixel);
    bytes content(line_bytes * side + (is_picture ? side * side : 0));
    const auto left = static_cast<int32_t>(tile % across * side);
    const auto top = static_cast<int32_t>(tile / across * side);
    for (size_t line = 0; line < side; ++line) {
        uint8_t* const alpha = is_picture ? &content[line_bytes * side + line * side] : nullptr;
        cv_getline(canvas, &content[line * line_bytes], alpha, top + static_cast<int32_t>(line), left,
                   left + record.tile_width - 1);
    }
    return content;
}

}  // namespace iocache_test

#endif
