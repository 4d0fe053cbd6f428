// The five views of a new canvas, and its tile grid.
#include <cstring>

#include "tests/canvas/canvas_test.h"

using namespace iocache_test;

namespace {

class canvas_geometry : public canvas_test {
protected:
    void SetUp() override { start(); }
    const cv_canvas& made(const shape& s) { return open_new("c", s); }
};
INSTANTIATE_TEST_SUITE_P(, canvas_geometry, both_modes(), mode_name);

bool same(const cv_geometry& a, const cv_geometry& b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

TEST_P(canvas_geometry, holds_bounds_sizes_and_offsets)
{
    const cv_canvas& record = made({1, -10, -20, 89, 179, 10, 20});
    const cv_geometry& view = record.geom;
    EXPECT_EQ(view.level, 0);
    EXPECT_EQ(view.x_min, -10);
    EXPECT_EQ(view.x_max, 89);
    EXPECT_EQ(view.y_min, -20);
    EXPECT_EQ(view.y_max, 179);
    EXPECT_EQ(view.width, 100);
    EXPECT_EQ(view.height, 200);
    EXPECT_EQ(view.x_offset, 10);
    EXPECT_EQ(view.y_offset, 20);
    EXPECT_EQ(view.step, 1);
    EXPECT_TRUE(same(record.geom, record.geom_orig));
}

TEST_P(canvas_geometry, of_an_image_within_the_frame_is_the_image_itself)
{
    const cv_geometry& view = made({1, 0, 0, 1023, 1023, 0, 0}).geom_orig;
    EXPECT_EQ(view.subsampled, 0);
    EXPECT_EQ(view.scale, 1.0);
    EXPECT_EQ(view.lres_width, 1024);
    EXPECT_EQ(view.lres_height, 1024);
    EXPECT_EQ(view.frame_x, 0);
    EXPECT_EQ(view.frame_y, 0);
}

TEST_P(canvas_geometry, of_one_more_column_than_the_frame_is_reduced)
{
    const cv_geometry& view = made({0, 0, 0, 1024, 99, 0, 0}).geom_orig;
    EXPECT_EQ(view.subsampled, 1);
    EXPECT_EQ(view.scale, 1025 / 1024.0);
    EXPECT_EQ(view.lres_width, 1024);  // 1024 / 1.000977 + 1 = 1024.0009...
    EXPECT_EQ(view.lres_height, 99);   // 99 / 1.000977 + 1 = 99.9
    EXPECT_EQ(view.frame_x, 0);
    EXPECT_EQ(view.frame_y, 462);  // (1024 - 99) / 2 = 462.5
}

TEST_P(canvas_geometry, scale_follows_the_longer_side)
{
    const cv_geometry& view = made({0, 0, 0, 2047, 4095, 0, 0}).geom_orig;
    EXPECT_EQ(view.scale, 4.0);
    EXPECT_EQ(view.lres_width, 512);    // 2047 / 4 + 1 = 512.75
    EXPECT_EQ(view.lres_height, 1024);  // 4095 / 4 + 1 = 1024.75
    EXPECT_EQ(view.frame_x, 256);
    EXPECT_EQ(view.frame_y, 0);
}

TEST_P(canvas_geometry, centres_a_small_image_in_the_frame)
{
    const cv_geometry& view = made({1, 0, 0, 100, 2, 0, 0}).geom_orig;
    EXPECT_EQ(view.frame_x, 461);  // (1024 - 101) / 2 = 461.5
    EXPECT_EQ(view.frame_y, 510);  // (1024 - 3) / 2 = 510.5
}

TEST_P(canvas_geometry, follows_a_frame_of_another_size)
{
    cv_max_lres_hor = 100;
    cv_max_lres_vert = 50;
    const cv_geometry& view = made({0, 0, 0, 99, 199, 0, 0}).geom_orig;
    EXPECT_EQ(view.subsampled, 1);
    EXPECT_EQ(view.scale, 4.0);
    EXPECT_EQ(view.lres_width, 25);
    EXPECT_EQ(view.lres_height, 50);
    EXPECT_EQ(view.frame_x, 37);
    EXPECT_EQ(view.frame_y, 0);
}

// The copy is made before the margins exist.
TEST_P(canvas_geometry, full_view_is_a_copy_of_level_one_without_margins)
{
    const cv_canvas& record = made({1, 0, 0, 299, 199, 5, 6});
    cv_geometry expected = record.geom_orig;
    expected.level = 1;
    expected.frame_x = 0;
    expected.frame_y = 0;
    EXPECT_TRUE(same(record.geom_full, expected));
    EXPECT_EQ(record.geom_orig.frame_x, 362);
}

TEST_P(canvas_geometry, window_begins_at_the_origin_and_ends_with_the_image)
{
    const cv_geometry& window = made({1, -50, -60, 249, 139, 50, 60}).geom_window;
    EXPECT_EQ(window.level, 2);
    EXPECT_EQ(window.x_min, 0);
    EXPECT_EQ(window.y_min, 0);
    EXPECT_EQ(window.x_max, 299);
    EXPECT_EQ(window.y_max, 199);
    EXPECT_EQ(window.width, 300);
    EXPECT_EQ(window.height, 200);
    EXPECT_EQ(window.x_offset, 50);
    EXPECT_EQ(window.y_offset, 60);
    EXPECT_EQ(window.frame_x, 0);
    EXPECT_EQ(window.frame_y, 0);
    EXPECT_EQ(window.subsampled, 0);
    EXPECT_EQ(window.lres_width, 300);
    EXPECT_EQ(window.lres_height, 200);
    EXPECT_EQ(window.scale, 1.0);
    EXPECT_EQ(window.step, 1);
}

TEST_P(canvas_geometry, window_of_a_large_image_fills_the_frame)
{
    const cv_geometry& window = made({0, 0, 0, 2999, 1023, 0, 0}).geom_window;
    EXPECT_EQ(window.x_max, 1023);
    EXPECT_EQ(window.y_max, 1023);
    EXPECT_EQ(window.width, 1024);
    EXPECT_EQ(window.height, 1024);
    EXPECT_EQ(window.subsampled, 0);
}

TEST_P(canvas_geometry, second_window_is_the_first_of_level_three)
{
    const cv_canvas& record = made({0, 0, 0, 2999, 99, 7, 8});
    cv_geometry expected = record.geom_window;
    expected.level = 3;
    EXPECT_TRUE(same(record.geom_window2, expected));
}

TEST_P(canvas_geometry, tile_grid_ends_where_bounds_and_offset_end)
{
    struct {
        shape canvas;
        int32_t across;
        int32_t down;
    } const cases[] = {
        {{0, 0, 0, 0, 0, 0, 0}, 1, 1},
        {{0, 0, 0, 255, 256, 0, 0}, 1, 2},
        {{0, 0, 0, 255, 255, 1, 0}, 2, 1},
        {{0, 0, 0, 255, 255, 255, 257}, 2, 3},
        {{0, -100, -100, 99, 99, 100, 100}, 2, 2},
        {{1, 0, 0, 999, 99, 24, 156}, 4, 1},
        {{1, 0, 0, 999, 99, 25, 157}, 5, 2},
        {{0, 5, 5, 260, 5, 0, 0}, 1, 1},
    };
    for (const auto& c : cases) {
        const int32_t canvas = create("g", c.canvas);
        ASSERT_GE(canvas, 0);
        EXPECT_EQ(canvastable[canvas]->tiles_across, c.across);
        EXPECT_EQ(canvastable[canvas]->tiles_down, c.down);
        canvas_close(canvas);
    }
}

TEST_P(canvas_geometry, follows_configured_tiles)
{
    cv_tilesize_hor = 128;
    cv_tilesize_vert = 300;  // no power of two: rounded down for the grid
    const cv_canvas& record = made({1, 0, 0, 299, 599, 0, 0});
    EXPECT_EQ(record.tile_width, 128);
    EXPECT_EQ(record.tile_height, 300);
    EXPECT_EQ(record.tile_shift_x, 7);
    EXPECT_EQ(record.tile_shift_y, 8);
    EXPECT_EQ(record.tiles_across, 3);
    EXPECT_EQ(record.tiles_down, 3);
    EXPECT_EQ(record.tile_line_bytes, 512);
    EXPECT_EQ(record.tile_bytes, 128 * 300 * 5);
}

}  // namespace
