// A canvas file, read as a file: nothing here uses the library's state, changes the file, or trusts a
// number in it. Positions are 64 bits wide; every region is checked against the size of the file before
// anything is read from it.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include <iocache/iocache.h>

#include "iocache/canvas/file_layout.h"
#include "tools/canvas/canvas_kind.h"
#include "tools/file.h"
#include "tools/rectangle.h"

namespace iocache::tools {

struct file_region {
    const char* name;
    std::int64_t offset;
    std::int64_t bytes;
};

class canvas_file {
public:
    // Opens the file read-only and reads its header. Throws `failure`: `unsupported` when it is no canvas.
    explicit canvas_file(const std::string& path);

    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] const cv_header& header() const { return header_; }
    [[nodiscard]] std::int64_t bytes() const { return bytes_; }

    [[nodiscard]] canvas_kind kind() const;
    // As the header's own bounds say, which is what opening goes by.
    [[nodiscard]] rectangle bounds() const;
    [[nodiscard]] std::int64_t tiles_across() const;
    [[nodiscard]] std::int64_t tiles_down() const;
    // In the order of the file; a region of 0 bytes is absent.
    [[nodiscard]] std::vector<file_region> regions() const;

    // What does not fit together, one sentence each; empty for a sound file.
    [[nodiscard]] std::vector<std::string> problems() const;
    // A mask of the older version: opening would transform it.
    [[nodiscard]] bool is_converted_when_opened() const;
    // Throws `failure` for such a canvas.
    void check_version() const;

    // Calls visit(tile, slot) for every tile of the grid in order; the slot is -1 for one never written.
    // Requires a tile table that lies within the file (problems() says when it does not).
    void for_each_tile(const std::function<void(std::int64_t, std::int32_t)>& visit) const;
    // The number of tiles that have a slot.
    [[nodiscard]] std::int64_t occupied_tiles() const;

    // Fills the target from this place of the file. Throws `failure` when it cannot, also beyond the end.
    void read_at(std::int64_t offset, std::span<std::uint8_t> target) const;
    // The header as the file holds it, most significant byte first.
    [[nodiscard]] const std::array<std::uint8_t, canvas::header_bytes>& stored_header() const { return stored_header_; }
    [[nodiscard]] int descriptor() const { return file_.get(); }

private:
    std::string path_;
    file_descriptor file_;
    std::int64_t bytes_;
    std::array<std::uint8_t, canvas::header_bytes> stored_header_{};
    cv_header header_{};

    [[nodiscard]] bool holds(const file_region& region) const;
    [[nodiscard]] file_region tile_table() const;
    [[nodiscard]] file_region tiles() const;
};

}  // namespace iocache::tools
