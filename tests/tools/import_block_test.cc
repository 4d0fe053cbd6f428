// Old block files are images like others: what they hold goes into the canvas asked for, and they stay as they are.
#include "tests/tools/support/old_files.h"

namespace tool_tests {

namespace {

class import_block_test : public old_file_test {
protected:
    void expect_import(const old_pixels& pixels, const old_image& layout, const std::string& name = "photo")
    {
        const std::vector<std::uint8_t> original = block_file(pixels, layout);
        write_bytes(path(name), original);
        for (auto mode : {process_mode(), in_line_mode()}) {
            SCOPED_TRACE(std::to_string(pixels.width) + " x " + std::to_string(pixels.height) + " " + mode.back());
            if (!pixels.picture) mode.emplace_back("--mask");
            import(name, mode);
            expect_canvas("canvas", pixels, 255);  // an image without alpha is opaque
            const outcome same = iocache({"compare", path("canvas"), path(name)});
            EXPECT_EQ(same.exit_code, 0) << same.out << same.err;
        }
        EXPECT_TRUE(read_bytes(path(name)) == original);
        EXPECT_EQ(files(), (std::vector<std::string>{"canvas", name}));
        clear();
    }
};

TEST_F(import_block_test, pictures)
{
    expect_import(pattern_pixels(300, 200, true), {.flag = '1'});
    expect_import(pattern_pixels(129, 70, true), {.flag = '0', .palette = {1, 2, 3, 4, 5, 6}, .palette_entries = 2});
    expect_import(pattern_pixels(2309, 701, true), {.flag = '0', .icon_width = 0});
    expect_import(pattern_pixels(1, 1, true), {.flag = '1', .icon_width = 300, .icon_height = 1});
}

TEST_F(import_block_test, masks)
{
    expect_import(pattern_pixels(64, 64, false), {.type = 0});
    expect_import(pattern_pixels(1100, 1300, false),
                  {.type = 2, .palette = iocache_test::bytes(12), .palette_entries = 3});
}

TEST_F(import_block_test, content_decides_and_not_the_name)
{
    expect_import(pattern_pixels(100, 100, true), {}, "photo.jpg");
}

TEST_F(import_block_test, mask_becomes_a_picture_as_any_grey_image_does)
{
    image grey = make_image(150, 90, model::grey);
    write_png(path("grey.png"), grey);
    const old_pixels mask{150, 90, false, grey.bytes()};
    write_bytes(path("old"), block_file(mask));
    const canvas_pixels from_png = import("grey.png", {});
    const canvas_pixels from_blocks = import("old", {});
    EXPECT_TRUE(from_blocks.picture);
    EXPECT_EQ(first_difference(from_blocks.colour, from_png.colour), "");
}

TEST_F(import_block_test, photograph)
{
    constexpr const char* photograph = "/usr/share/backgrounds/Kleiber_by_Lukas_Baubkus.jpg";
    if (!std::filesystem::exists(photograph)) GTEST_SKIP() << "lomiri-wallpapers-20.04 is not installed";
    const image decoded = read_jpeg(photograph);
    const old_pixels picture{decoded.width, decoded.height, true, expected(decoded).colour};
    write_bytes(path("old"), block_file(picture, {.flag = '0'}));
    import("old", process_mode());
    expect_canvas("canvas", picture, 255);
    // The same as importing the photograph itself.
    std::filesystem::create_symlink(photograph, path("photo.jpg"));
    EXPECT_EQ(iocache({"compare", path("canvas"), path("photo.jpg")}).exit_code, 0);
}

TEST_F(import_block_test, lengths_that_are_not_exact_are_no_images)
{
    std::vector<std::uint8_t> file = block_file(pattern_pixels(100, 100, true));
    for (const std::size_t size : {file.size() - 1, file.size() + 1, std::size_t{900}}) {
        file.resize(size);
        write_bytes(path("old"), file);
        EXPECT_EQ(iocache({"import", path("old"), path("canvas")}).exit_code, 4);
        EXPECT_EQ(files(), std::vector<std::string>{"old"});
    }
}

}  // namespace

}  // namespace tool_tests
