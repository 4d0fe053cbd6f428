// Old files for the tests of the command, and what has to become of them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/support/block_writer.h"
#include "tests/tools/support/import_check.h"
#include "tests/tools/support/reduced_check.h"

namespace tool_tests {

using iocache_test::old_image;

// Pixels that a block file is made of.
struct old_pixels {
    int width = 0;
    int height = 0;
    bool picture = true;
    std::vector<std::uint8_t> colour;  // 4 bytes a pixel, 1 of a mask

    [[nodiscard]] std::size_t pixel_bytes() const { return picture ? 4 : 1; }
};

// A pattern that no two neighbours share.
inline old_pixels pattern_pixels(int width, int height, bool picture)
{
    old_pixels pixels{width, height, picture, {}};
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const auto pixel = iocache_test::pattern(x, y);
            const auto count = static_cast<std::ptrdiff_t>(pixels.pixel_bytes());
            pixels.colour.insert(pixels.colour.end(), pixel.begin(), pixel.begin() + count);
        }
    }
    return pixels;
}

// How a file is laid out; the size and the kind come from the pixels.
inline std::vector<std::uint8_t> block_file(const old_pixels& pixels, old_image layout = {})
{
    layout.width = pixels.width;
    layout.height = pixels.height;
    if (!pixels.picture && layout.type == 3) layout.type = 0;
    return iocache_test::old_file(layout, [&](int x, int y) {
        std::array<std::uint8_t, 4> pixel{};
        const std::size_t at =
            (static_cast<std::size_t>(y) * static_cast<std::size_t>(pixels.width) + static_cast<std::size_t>(x)) *
            pixels.pixel_bytes();
        std::copy_n(&pixels.colour[at], pixels.pixel_bytes(), pixel.begin());
        return pixel;
    });
}

class old_file_test : public import_test {
protected:
    // The canvas file holds these pixels, an alpha of this value, and the reduced image and the icon of them.
    void expect_canvas(const std::string& name, const old_pixels& wanted, std::uint8_t alpha)
    {
        const canvas_pixels canvas = read_canvas(path(name));
        EXPECT_EQ(canvas.dirty, 0);
        EXPECT_EQ(canvas.picture, wanted.picture);
        ASSERT_EQ(canvas.width, wanted.width);
        ASSERT_EQ(canvas.height, wanted.height);
        EXPECT_EQ(first_difference(canvas.colour, wanted.colour), "");
        EXPECT_EQ(first_difference(canvas.alpha, std::vector<std::uint8_t>(canvas.alpha.size(), alpha)), "");
        const stored_images stored = read_stored(path(name));
        const stored_images computed = expected_stored(canvas);
        EXPECT_EQ(first_difference(stored.icon, computed.icon), "");
        EXPECT_EQ(first_difference(stored.reduced, computed.reduced), "");
    }

    outcome convert(const std::vector<std::string>& names, const std::vector<std::string>& options = {})
    {
        std::vector<std::string> arguments{"convert-old"};
        for (const std::string& name : names) arguments.push_back(path(name));
        return iocache(arguments + options);
    }
    // Converts it, as the only file of this name, and expects success, one line, and the original beside it.
    void expect_converted(const std::string& name, const std::vector<std::string>& options = {})
    {
        const std::vector<std::uint8_t> original = read_bytes(path(name));
        const outcome result = convert({name}, options);
        EXPECT_EQ(result.exit_code, 0) << result.err;
        EXPECT_EQ(result.err, "");
        EXPECT_TRUE(result.out.starts_with(path(name) + ": converted: ")) << result.out;
        EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 1);
        EXPECT_TRUE(read_bytes(path(name + ".orig")) == original);
        EXPECT_EQ(files(), (std::vector<std::string>{name, name + ".orig"}));
    }
    void clear()
    {
        for (const std::string& name : files()) std::filesystem::remove_all(path(name));
    }

    // A mask of version 1 with an imported image in it.
    canvas_pixels make_version_1(const std::string& name, int width, int height)
    {
        write_png(path("photo.png"), make_image(width, height, model::grey));
        EXPECT_EQ(iocache({"import", path("photo.png"), path(name), "--mask"}).exit_code, 0);
        std::filesystem::remove(path("photo.png"));
        canvas_pixels pixels = read_canvas(path(name));
        set_version(name, 1);
        return pixels;
    }
    static constexpr std::size_t version_at = 0x370;
    void set_version(const std::string& name, std::uint8_t version)
    {
        std::vector<std::uint8_t> file = read_bytes(path(name));
        file[version_at + 3] = version;
        write_bytes(path(name), file);
    }
};

}  // namespace tool_tests
