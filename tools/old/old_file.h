// Files of older formats, read as files: which one this is, if it is one, and what is in it. Nothing here uses the
// library's state or changes a file.
//
// A file is recognised when all that its header says is possible and its length is, to the byte, what the header
// implies. Names mean nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "iocache/convert/block_file.h"
#include "tools/canvas/canvas_kind.h"

namespace iocache::tools {

enum class file_format {
    block,      // the older block format
    version_1,  // a canvas of version 1 that opening transforms: a mask
    canvas,     // any other canvas: nothing is to be done to it
};

struct old_file {
    file_format format = file_format::canvas;
    canvas_kind kind = canvas_kind::mask;
    std::int32_t x_max = 0;  // the last column and row
    std::int32_t y_max = 0;
    std::int32_t palette_entries = 0;  // of a block picture
    std::int64_t bytes = 0;
    bool closed = true;  // a canvas: it was closed cleanly

    [[nodiscard]] bool is_old() const { return format != file_format::canvas; }
    // "picture, 300 x 200, 2 palette entries"
    [[nodiscard]] std::string text() const;
};

// Throws `failure`: `unsupported` for anything that is neither a sound old file nor a sound canvas.
[[nodiscard]] old_file recognise(const std::string& path);

// What a block file's header says, if the file is one.
[[nodiscard]] std::optional<convert::block_image> find_block_image(const std::string& path);

}  // namespace iocache::tools
