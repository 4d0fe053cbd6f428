// Reads the pixels of a canvas file by the description of its format, with code that shares nothing
// with the library or the tool.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tool_tests {

struct canvas_pixels {
    bool picture = false;
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t dirty = 0;
    std::int64_t tiles_written = 0;
    std::vector<std::uint8_t> colour;  // 4 bytes a pixel for a picture, 1 for a mask
    std::vector<std::uint8_t> alpha;   // pictures only
};

// Throws std::runtime_error when the file is not a sound canvas with its origin at (0, 0).
[[nodiscard]] canvas_pixels read_canvas(const std::string& path);

// The whole file, and back.
[[nodiscard]] std::vector<std::uint8_t> read_bytes(const std::string& path);
void write_bytes(const std::string& path, const std::vector<std::uint8_t>& bytes);

}  // namespace tool_tests
