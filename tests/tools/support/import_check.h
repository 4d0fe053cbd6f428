// Imports an image in both modes and compares every byte of the canvas files with what they must hold.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "tests/tools/support/canvas_reader.h"
#include "tests/tools/support/images.h"
#include "tests/tools/support/process.h"

namespace tool_tests {

// Where two planes differ first, in words; empty when they are the same.
inline std::string first_difference(const std::vector<std::uint8_t>& one, const std::vector<std::uint8_t>& other)
{
    if (one.size() != other.size())
        return std::to_string(one.size()) + " bytes against " + std::to_string(other.size());
    const auto [at, there] = std::mismatch(one.begin(), one.end(), other.begin());
    if (at == one.end()) return {};
    return "byte " + std::to_string(at - one.begin()) + ": " + std::to_string(*at) + " against " +
           std::to_string(*there);
}

class import_test : public tool_test {
protected:
    // Imports the file `name` as a picture and expects these pixels.
    void expect_picture(const std::string& name, int width, int height, const cmyk_pixels& wanted,
                        const std::vector<std::string>& options = {})
    {
        for (const auto& mode : {process_mode(), in_line_mode()}) {
            SCOPED_TRACE(name + " " + mode.back());
            const canvas_pixels canvas = import(name, mode + options);
            EXPECT_TRUE(canvas.picture);
            ASSERT_EQ(canvas.width, width);
            ASSERT_EQ(canvas.height, height);
            EXPECT_EQ(first_difference(canvas.colour, wanted.colour), "");
            EXPECT_EQ(first_difference(canvas.alpha, wanted.alpha), "");
        }
    }
    void expect_picture(const std::string& name, const image& source, const cmyk_pixels& wanted,
                        const std::vector<std::string>& options = {})
    {
        expect_picture(name, source.width, source.height, wanted, options);
    }

    void expect_mask(const std::string& name, const image& source, const std::vector<std::uint8_t>& wanted)
    {
        for (const auto& mode : {process_mode(), in_line_mode()}) {
            SCOPED_TRACE(name + " " + mode.back());
            const canvas_pixels canvas = import(name, mode + std::vector<std::string>{"--mask"});
            EXPECT_FALSE(canvas.picture);
            ASSERT_EQ(canvas.width, source.width);
            ASSERT_EQ(canvas.height, source.height);
            EXPECT_EQ(first_difference(canvas.colour, wanted), "");
        }
    }

    canvas_pixels import(const std::string& name, const std::vector<std::string>& options)
    {
        const outcome result =
            iocache(std::vector<std::string>{"import", path(name), path("canvas"), "--force"} + options);
        EXPECT_EQ(result.exit_code, 0) << result.err;
        EXPECT_EQ(result.err, "");
        if (result.exit_code != 0) return {};
        canvas_pixels canvas = read_canvas(path("canvas"));
        EXPECT_EQ(canvas.dirty, 0);
        return canvas;
    }
};

}  // namespace tool_tests
