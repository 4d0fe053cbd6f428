// Files of the block format become canvases: every pixel, the reduced image, the icon, the palette.

#include <array>

#include "tests/convert/convert_test.h"
#include "tests/support/block_writer.h"

namespace iocache_test {
namespace {

class block_conversion : public convert_test {
protected:
    // Every tile byte of the canvas file at `name`: the image, and nothing in margins and alpha.
    void expect_canvas_holds(const std::string& name, const old_image& image, const pixel_function& pixel_at = pattern)
    {
        const canvas_file file(path(name));
        ASSERT_EQ(file.magic(), 414141);
        EXPECT_EQ(file.dirty(), 0);
        ASSERT_EQ(file.is_picture(), image.is_picture());
        EXPECT_EQ(file.x_max(), image.width - 1);
        EXPECT_EQ(file.y_max(), image.height - 1);
        for (int32_t row = 0; row < file.tiles_down(); ++row) {
            for (int32_t column = 0; column < file.tiles_across(); ++column) {
                bytes expected(static_cast<size_t>(file.tile_bytes()), 0);
                for (int32_t i = 0; i < 256 * 256; ++i) {
                    const int32_t x = column * 256 + i % 256;
                    const int32_t y = row * 256 + i / 256;
                    if (x >= image.width || y >= image.height) continue;
                    const std::array<uint8_t, 4> pixel = pixel_at(x, y);
                    std::copy_n(pixel.begin(), image.pixel_bytes(),
                                expected.begin() + i * static_cast<int>(image.pixel_bytes()));
                }
                ASSERT_EQ(file.tile(column, row), expected) << "tile " << column << ", " << row;
            }
        }
        expect_icon_holds(file, image, pixel_at);
    }

    // The reduced image is the canvas itself, or its sampled pixels; the icon is picked out of that.
    void expect_icon_holds(const canvas_file& file, const old_image& image, const pixel_function& pixel_at)
    {
        const double scale = file.scale();
        const std::vector<int32_t> columns = sampled(image.width, scale);
        const std::vector<int32_t> rows = sampled(image.height, scale);
        const auto width = static_cast<int32_t>((image.width - 1) / scale + 1.0);
        const auto height = static_cast<int32_t>((image.height - 1) / scale + 1.0);
        const bytes icon = file.icon();
        for (int32_t r = 0; r < 100 && icon_source(r, 100, 100, width, height) < height; ++r) {
            for (int32_t c = 0; c < 100 && icon_source(c, 100, 100, width, height) < width; ++c) {
                const auto x = columns[static_cast<size_t>(icon_source(c, 100, 100, width, height))];
                const auto y = rows[static_cast<size_t>(icon_source(r, 100, 100, width, height))];
                const std::array<uint8_t, 4> pixel = pixel_at(x, y);
                for (size_t b = 0; b < image.pixel_bytes(); ++b) {
                    ASSERT_EQ(icon[static_cast<size_t>(r * 100 + c) * image.pixel_bytes() + b], pixel[b])
                        << "icon pixel " << c << ", " << r;
                }
            }
        }
    }

    void expect_conversion(const old_image& image)
    {
        start();
        const std::string name = write("old", old_file(image));
        ASSERT_EQ(cv_convert_old_file(name.c_str()), 0) << host().last_message();
        expect_canvas_holds("old", image);
        EXPECT_TRUE(no_new_file_is_left());
        EXPECT_TRUE(host().messages().empty()) << host().last_message();
    }
};

TEST_P(block_conversion, mask_of_100_by_100_is_read_as_2_by_2_blocks)
{
    expect_conversion({.type = 0});
}

TEST_P(block_conversion, type_2_is_a_mask)
{
    expect_conversion({.width = 65, .height = 64, .type = 2});
}

TEST_P(block_conversion, direct_picture_keeps_its_bytes)
{
    expect_conversion({.width = 300, .height = 129, .flag = '1'});
}

TEST_P(block_conversion, other_pictures_come_with_their_bytes_reversed)
{
    expect_conversion({.width = 129, .height = 300, .flag = '0'});
}

TEST_P(block_conversion, picture_above_the_frame_gets_a_reduced_image)
{
    expect_conversion({.width = 1300, .height = 700});
}

TEST_P(block_conversion, mask_above_the_frame_gets_a_reduced_image)
{
    expect_conversion({.width = 700, .height = 2500, .type = 0});
}

TEST_P(block_conversion, icons_of_every_shape_are_skipped)
{
    for (const auto& [width, height] : {std::pair{0, 0}, std::pair{1, 300}, std::pair{100, 100}}) {
        SCOPED_TRACE(width);
        expect_conversion({.width = 70, .height = 70, .flag = '0', .icon_width = width, .icon_height = height});
        expect_conversion({.width = 70, .height = 70, .type = 0, .icon_width = width, .icon_height = height});
    }
}

TEST_P(block_conversion, one_pixel_is_an_image)
{
    expect_conversion({.width = 1, .height = 1});
}

TEST_P(block_conversion, three_byte_palette_entries_are_turned_round_behind_a_full_byte)
{
    expect_conversion({.flag = '0', .palette = {1, 2, 3, 4, 5, 6}, .palette_entries = 2});
    int32_t length = 0;
    const uint8_t* const palette = cv_ask_palet(&length);
    ASSERT_EQ(length, 8);
    EXPECT_EQ(bytes(palette, palette + length), (bytes{255, 3, 2, 1, 255, 6, 5, 4}));
    cv_free_palet();
    EXPECT_EQ(cv_ask_palet(&length), nullptr);
    EXPECT_EQ(length, 0);
}

TEST_P(block_conversion, four_byte_palette_entries_are_taken_as_they_stand)
{
    expect_conversion({.flag = '1', .palette = {1, 2, 3, 4, 5, 6, 7, 8}, .palette_entries = 2});
    int32_t length = 0;
    const uint8_t* const palette = cv_ask_palet(&length);
    EXPECT_EQ(bytes(palette, palette + length), (bytes{1, 2, 3, 4, 5, 6, 7, 8}));
    cv_free_palet();
}

TEST_P(block_conversion, palette_entries_of_a_mask_count_four_bytes_and_are_not_read)
{
    expect_conversion({.type = 0, .flag = '0', .palette = bytes(12, 9), .palette_entries = 3});
    int32_t length = -1;
    EXPECT_EQ(cv_ask_palet(&length), nullptr);
    EXPECT_EQ(length, 0);
}

TEST_P(block_conversion, opening_an_old_file_converts_and_opens_it)
{
    start();
    const old_image image{.width = 300, .height = 200};
    const std::string name = write("old", old_file(image));
    const int32_t canvas = canvas_old(name.c_str());
    ASSERT_GE(canvas, 0) << host().last_message();
    std::array<uint8_t, 4> pixel = {};
    uint32_t alpha = 99;
    const uint32_t value = cv_ask_value_pixel(canvastable[canvas], 299, 199, &alpha);
    std::memcpy(pixel.data(), &value, sizeof value);
    EXPECT_EQ(pixel, pattern(299, 199));
    EXPECT_EQ(alpha, 0U);
    EXPECT_EQ(canvas_close(canvas), 0);
    expect_canvas_holds("old", image);
}

TEST_P(block_conversion, new_file_comes_from_another_file_system)
{
    const old_image image{.width = 300, .height = 200, .flag = '0'};
    start();
    const new_files_elsewhere elsewhere;
    const std::string name = write("old", old_file(image));
    if (!elsewhere.is_elsewhere(name)) GTEST_SKIP() << "there is one file system only";
    ASSERT_EQ(cv_convert_old_file(name.c_str()), 0) << host().last_message();
    expect_canvas_holds("old", image);
    EXPECT_TRUE(elsewhere.is_empty());
    EXPECT_FALSE(std::filesystem::exists(name + ".converted"));
}

TEST_P(block_conversion, tables_stay_those_of_the_converted_canvas_and_no_tile_stays_locked)
{
    expect_conversion({.width = 1300, .height = 100});
    for (const cv_tile* tile = first_tile; tile != nullptr; tile = tile->next) EXPECT_EQ(tile->locked, 0);
    for (const cv_canvas* const record : canvastable) EXPECT_EQ(record, nullptr);
}

INSTANTIATE_TEST_SUITE_P(, block_conversion, both_modes(), mode_name);

}  // namespace
}  // namespace iocache_test
