// Canvases of version 1: masks are transformed when they are opened, without a copy of a single tile.

#include "tests/convert/convert_test.h"

namespace iocache_test {
namespace {

constexpr size_t version_at = 0x370;

class version1 : public convert_test {
protected:
    // A closed version-1 canvas with a pattern in some of its tiles.
    std::string make(const std::string& name, int32_t kind, int32_t width, int32_t height)
    {
        const int32_t canvas = kind == 1 ? new_picture(name, width, height) : new_mask(name, width, height);
        std::vector<uint8_t> colour(static_cast<size_t>(width) * 4);
        std::vector<uint8_t> alpha(static_cast<size_t>(width), 3);
        for (int32_t y = 0; y < height; y += 3) {
            for (size_t i = 0; i < colour.size(); ++i) colour[i] = value_at(static_cast<int32_t>(i), y);
            EXPECT_EQ(cv_storeline(canvas, colour.data(), alpha.data(), y, 0, width / 2), 0);
        }
        EXPECT_EQ(canvas_close(canvas), 0);
        bytes file = read_whole_file(path(name));
        put_big_endian(file, version_at, 4, 1);
        write_whole_file(path(name), file);
        return path(name);
    }
    static uint8_t value_at(int32_t x, int32_t y) { return static_cast<uint8_t>(x * 7 + y * 13 + 1); }
};

TEST_P(version1, mask_becomes_a_current_canvas_of_the_same_name_and_bytes)
{
    start();
    const std::string name = make("mask", 0, 1500, 900);
    const canvas_file before(name);
    const int32_t canvas = canvas_old(name.c_str());
    ASSERT_GE(canvas, 0) << host().last_message();
    EXPECT_EQ(canvastable[canvas]->file_name, name);
    EXPECT_EQ(canvastable[canvas]->save, 1);
    EXPECT_EQ(canvas_close(canvas), 0);
    EXPECT_TRUE(no_new_file_is_left());

    const canvas_file after(name);
    EXPECT_EQ(int32_at(after.contents(), version_at), 32);
    EXPECT_EQ(after.dirty(), 0);
    for (int32_t row = 0; row < before.tiles_down(); ++row) {
        for (int32_t column = 0; column < before.tiles_across(); ++column) {
            EXPECT_EQ(after.tile(column, row), before.tile(column, row)) << column << ", " << row;
            EXPECT_EQ(after.slot(column, row) < 0, before.slot(column, row) < 0) << column << ", " << row;
        }
    }
}

TEST_P(version1, new_file_comes_from_another_file_system)
{
    start();
    const std::string name = make("mask", 0, 700, 300);
    const canvas_file before(name);
    const new_files_elsewhere elsewhere;
    if (!elsewhere.is_elsewhere(name)) GTEST_SKIP() << "there is one file system only";
    const int32_t canvas = canvas_old(name.c_str());
    ASSERT_GE(canvas, 0) << host().last_message();
    EXPECT_EQ(canvastable[canvas]->file_name, name);
    EXPECT_EQ(canvas_close(canvas), 0);
    EXPECT_TRUE(elsewhere.is_empty());
    EXPECT_FALSE(std::filesystem::exists(name + ".converted"));
    const canvas_file after(name);
    EXPECT_EQ(int32_at(after.contents(), version_at), 32);
    for (int32_t column = 0; column < 3; ++column) EXPECT_EQ(after.tile(column, 1), before.tile(column, 1));
}

TEST_P(version1, unwritten_changes_survive_a_transformation_that_fails)
{
    start();
    const int32_t canvas = canvas_new(path("mask").c_str(), 0, -300, 0, 299, 99, 300, 0);
    ASSERT_GE(canvas, 0);
    cv_mark_canvas_save(canvas);
    const uint8_t pixel = 7;
    ASSERT_EQ(cv_storeline(canvas, &pixel, nullptr, 5, -10, -10), 0);
    EXPECT_EQ(cv_transform_v1_to_v10(canvas), -255);
    ASSERT_NE(canvastable[canvas], nullptr);
    EXPECT_EQ(cv_ask_value_pixel(canvastable[canvas], -10, 5, nullptr) & 0xFFU, 7U);
    EXPECT_TRUE(no_new_file_is_left());
    EXPECT_EQ(canvas_close(canvas), 0);
    EXPECT_EQ(canvas_file(path("mask")).pixel(-10, 5), bytes{7});
}

TEST_P(version1, canvas_that_zooms_depend_on_is_not_transformed)
{
    start();
    const int32_t canvas = new_mask("mask", 300, 100);
    canvastable[canvas]->open_zooms = 1;
    EXPECT_EQ(cv_transform_v1_to_v10(canvas), -255);
    EXPECT_NE(canvastable[canvas], nullptr);
    EXPECT_TRUE(no_new_file_is_left());
    canvastable[canvas]->open_zooms = 0;
    EXPECT_EQ(canvas_close(canvas), 0);
    EXPECT_TRUE(std::filesystem::exists(path("mask")));
}

TEST_P(version1, reduced_image_and_icon_are_made_from_the_tiles)
{
    start();
    const std::string name = make("mask", 0, 1500, 900);
    const int32_t canvas = canvas_old(name.c_str());
    ASSERT_GE(canvas, 0);
    EXPECT_EQ(canvas_close(canvas), 0);
    const canvas_file file(name);
    const std::vector<int32_t> columns = sampled(1500, 1500.0 / 1024);
    const std::vector<int32_t> rows = sampled(900, 1500.0 / 1024);
    const bytes image = file.reduced_image();
    const size_t width = columns.size();
    ASSERT_EQ(width, 1024U);
    for (size_t r = 0; r < rows.size(); ++r) {
        for (size_t c = 0; c < width; ++c) {
            const bool written = rows[r] % 3 == 0 && columns[c] <= 750;
            ASSERT_EQ(image[r * width + c], written ? value_at(columns[c], rows[r]) : 0) << c << ", " << r;
        }
    }
    EXPECT_EQ(file.icon()[0], image[0]);
}

TEST_P(version1, tiles_move_without_a_copy)
{
    start();
    const std::string name = make("mask", 0, 600, 300);
    bytes file = read_whole_file(name);
    put_big_endian(file, version_at, 4, 32);  // opened as a current one first, so that the move can be watched
    write_whole_file(name, file);
    const int32_t old = canvas_old(name.c_str());
    ASSERT_GE(old, 0);
    uint8_t pixel = 0;
    ASSERT_EQ(cv_getline(old, &pixel, nullptr, 0, 0, 0), 0);
    const uint8_t* const buffer = canvastable[old]->tile_cache[0]->buffer;
    const int32_t fetched = canvastable[old]->tiles_fetched;

    const int32_t fresh = cv_transform_v1_to_v10(old);
    ASSERT_GE(fresh, 0) << host().last_message();
    EXPECT_EQ(canvastable[old], nullptr);
    ASSERT_NE(canvastable[fresh]->tile_cache[0], nullptr);
    EXPECT_EQ(canvastable[fresh]->tile_cache[0]->buffer, buffer);
    EXPECT_EQ(canvastable[fresh]->tile_cache[0]->canvas, canvastable[fresh]);
    EXPECT_GE(canvastable[fresh]->tiles_fetched, fetched);
    EXPECT_EQ(canvastable[fresh]->file_name, name);
    EXPECT_EQ(canvas_close(fresh), 0);
}

TEST_P(version1, picture_is_taken_as_it_is)
{
    start();
    const std::string name = make("picture", 1, 300, 300);
    const int32_t canvas = canvas_old(name.c_str());
    ASSERT_GE(canvas, 0);
    EXPECT_EQ(canvastable[canvas]->header->version_filetype, 1);
    EXPECT_EQ(canvas_close(canvas), 0);
}

TEST_P(version1, configured_sizes_come_back)
{
    start();
    const std::string name = make("mask", 0, 300, 300);
    cv_iconsize_hor = 33;
    cv_iconsize_vert = 44;
    const int32_t canvas = canvas_old(name.c_str());
    ASSERT_GE(canvas, 0);
    EXPECT_EQ(cv_iconsize_hor, 33);
    EXPECT_EQ(cv_iconsize_vert, 44);
    EXPECT_EQ(cv_tilesize_hor, 256);
    EXPECT_EQ(canvastable[canvas]->header->icon_width, 100);
    EXPECT_EQ(canvas_close(canvas), 0);
}

TEST_P(version1, without_a_new_name_the_file_stays_and_the_slot_is_free)
{
    start();
    const std::string name = make("mask", 0, 300, 300);
    const bytes before = read_whole_file(name);
    std::filesystem::remove(new_files());
    EXPECT_EQ(canvas_old(name.c_str()), -255);
    EXPECT_EQ(cv_errno, 999133);
    const std::vector<std::string> messages = host().messages();
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[0], "maximum number of default canvasses is reached");
    EXPECT_EQ(messages[1], "Error in transformation of version_filetype = 1");
    EXPECT_EQ(canvastable[0], nullptr);
    EXPECT_EQ(read_whole_file(name), before);
}

TEST_P(version1, grid_that_would_change_is_refused_before_anything_moves)
{
    start();
    const int32_t canvas = canvas_new(path("mask").c_str(), 0, -300, 0, 299, 99, 300, 0);
    ASSERT_GE(canvas, 0);
    cv_mark_canvas_save(canvas);
    const uint8_t pixel = 7;
    ASSERT_EQ(cv_storeline(canvas, &pixel, nullptr, 5, -10, -10), 0);
    ASSERT_EQ(canvas_close(canvas), 0);
    bytes file = read_whole_file(path("mask"));
    put_big_endian(file, version_at, 4, 1);
    write_whole_file(path("mask"), file);

    EXPECT_EQ(canvas_old(path("mask").c_str()), -255);
    EXPECT_EQ(cv_errno, 999133);
    EXPECT_EQ(read_whole_file(path("mask")), file);
    EXPECT_TRUE(no_new_file_is_left());
    EXPECT_EQ(canvastable[0], nullptr);
    EXPECT_EQ(canvastable[1], nullptr);
}

TEST_P(version1, empty_slot_answers_minus_255)
{
    start();
    EXPECT_EQ(cv_transform_v1_to_v10(7), -255);
    EXPECT_EQ(cv_transform_v1_to_v10(-1), -255);
    EXPECT_EQ(cv_transform_v1_to_v10(50), -255);
}

INSTANTIATE_TEST_SUITE_P(, version1, both_modes(), mode_name);

}  // namespace
}  // namespace iocache_test
