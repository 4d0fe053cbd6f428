// Where pixels lie on tiles and tiles on the canvas, and the three entry points that empty the cache of a canvas.
#include "tests/support/library.h"
#include "tests/support/painting.h"

using namespace iocache_test;

namespace {

constexpr int32_t no_canvases[] = {-1, 7, 49, 50, INT32_MAX, INT32_MIN};

struct limits {
    int32_t left = -77, top = -77, right = -77, bottom = -77;
    bool operator==(const limits&) const = default;
};
std::ostream& operator<<(std::ostream& out, const limits& l)
{
    return out << l.left << "," << l.top << " to " << l.right << "," << l.bottom;
}
limits limits_of(int32_t canvas, int32_t tile)
{
    limits found;
    cv_ask_tile_limits(canvas, tile, &found.left, &found.top, &found.right, &found.bottom);
    return found;
}

class tile_queries : public library_test {};

TEST_P(tile_queries, a_pixel_lies_on_the_tile_of_its_column_and_row)
{
    start();
    const int32_t canvas = new_mask("canvas", 1024, 600);
    EXPECT_EQ(cv_ask_tilenr(canvas, 300, 10), 1);
    EXPECT_EQ(cv_ask_tilenr(canvas, 255, 10), 0);
    EXPECT_EQ(cv_ask_tilenr(canvas, 254, 254), 0);
    EXPECT_EQ(cv_ask_tilenr(canvas, 1023, 599), 2 * 4 + 3);
}

TEST_P(tile_queries, a_pixel_beside_the_canvas_gives_a_number_beside_the_grid)
{
    start();
    const int32_t canvas = new_mask("canvas", 1024, 600);
    EXPECT_EQ(cv_ask_tilenr(canvas, -1, 0), -1);
    EXPECT_EQ(cv_ask_tilenr(canvas, -257, 256), 4 - 2);
    EXPECT_EQ(cv_ask_tilenr(canvas, 0, -1), -4);
    EXPECT_EQ(cv_ask_tilenr(canvas, 5000, 5000), 19 * 4 + 19);
}

TEST_P(tile_queries, every_pixel_agrees_with_the_division)
{
    start();
    const painting image{
        .kind = 0, .x_min = -300, .y_min = -40, .x_max = 700, .y_max = 500, .x_offset = 310, .y_offset = 50};
    const int32_t canvas = image.create(path("canvas"));
    for (int32_t y = -60; y < 560; y += 7) {
        for (int32_t x = -320; x < 800; ++x) {
            const int32_t column = floor_div(x + 310, 256);
            const int32_t row = floor_div(y + 50, 256);
            const int32_t number = row * image.tiles_across() + column;
            ASSERT_EQ(cv_ask_tilenr(canvas, x, y), number);
            const bool is_last = (x + 310) - column * 256 == 255 || (y + 50) - row * 256 == 255;
            ASSERT_EQ(cv_ask_tile_and_offset(canvas, x, y), is_last ? -1 : number);
        }
    }
}

TEST_P(tile_queries, a_pixel_at_its_tiles_right_or_lower_edge_shares_no_tile_with_its_neighbours)
{
    start();
    const int32_t canvas = new_mask("canvas", 1024, 600);
    EXPECT_EQ(cv_ask_tile_and_offset(canvas, 255, 10), -1);
    EXPECT_EQ(cv_ask_tile_and_offset(canvas, 10, 255), -1);
    EXPECT_EQ(cv_ask_tile_and_offset(canvas, 255, 255), -1);
    EXPECT_EQ(cv_ask_tile_and_offset(canvas, 254, 254), 0);
    EXPECT_EQ(cv_ask_tile_and_offset(canvas, 256, 256), 5);
}

TEST_P(tile_queries, numbers_follow_the_view_at_creation_and_limits_the_current_one)
{
    start();
    const int32_t canvas = new_mask("canvas", 1024, 600);
    cv_geometry& view = canvastable[canvas]->geom;
    view.x_offset = 10;
    view.y_offset = 20;
    view.x_max = 500;
    view.y_max = 400;
    EXPECT_EQ(cv_ask_tilenr(canvas, 250, 250), 0);
    EXPECT_EQ(cv_ask_tile_and_offset(canvas, 250, 250), 0);
    EXPECT_EQ(limits_of(canvas, 0), (limits{0, 0, 245, 235}));
    EXPECT_EQ(limits_of(canvas, 1), (limits{246, 0, 500, 235}));
    EXPECT_EQ(limits_of(canvas, 4), (limits{0, 236, 245, 400}));
}

TEST_P(tile_queries, limits_end_at_zero_and_at_the_views_right_and_bottom)
{
    start();
    const painting image{
        .kind = 1, .x_min = -30, .y_min = -20, .x_max = 700, .y_max = 500, .x_offset = 100, .y_offset = 90};
    const int32_t canvas = image.create(path("canvas"));
    EXPECT_EQ(limits_of(canvas, 0), (limits{0, 0, 155, 165}));  // 0, and not x_min
    EXPECT_EQ(limits_of(canvas, 1), (limits{156, 0, 411, 165}));
    const int32_t last = image.tiles_across() * image.tiles_down() - 1;
    EXPECT_EQ(limits_of(canvas, last), (limits{668, 422, 700, 500}));
    EXPECT_EQ(limits_of(canvas, 1003), (limits{668, 63910, 700, 500}));  // far below the grid
}

TEST_P(tile_queries, sizes_and_dimensions_are_those_of_the_canvas)
{
    start();
    const painting image{
        .kind = 1, .x_min = -30, .y_min = -20, .x_max = 700, .y_max = 500, .x_offset = 100, .y_offset = 90};
    const int32_t canvas = image.create(path("canvas"));
    int32_t first = 0;
    int32_t second = 0;
    EXPECT_EQ(cv_ask_virt_param(canvas, &first, &second), 0);
    EXPECT_EQ(first, 731);
    EXPECT_EQ(second, 521);
    EXPECT_EQ(cv_ask_tile_dimensions(canvas, &first, &second), 0);
    EXPECT_EQ(first, 4);
    EXPECT_EQ(second, 3);
    EXPECT_EQ(cv_ask_tile_sizes(canvas, &first, &second), 0);
    EXPECT_EQ(first, 256);
    EXPECT_EQ(second, 256);
    canvastable[canvas]->geom.width = 5;  // the view at creation counts
    EXPECT_EQ(cv_ask_virt_param(canvas, &first, &second), 0);
    EXPECT_EQ(first, 731);
}

TEST_P(tile_queries, an_empty_slot_answers_nothing_but_failure)
{
    start();
    for (const int32_t none : no_canvases) {
        int32_t first = 11;
        int32_t second = 12;
        EXPECT_EQ(cv_ask_virt_param(none, &first, &second), -255);
        EXPECT_EQ(cv_ask_tile_dimensions(none, &first, &second), -255);
        EXPECT_EQ(cv_ask_tile_sizes(none, &first, &second), -255);
        EXPECT_EQ(first, 11);
        EXPECT_EQ(second, 12);
        EXPECT_EQ(cv_ask_tilenr(none, 0, 0), -255);
        EXPECT_EQ(cv_ask_tile_and_offset(none, 0, 0), -255);
        EXPECT_EQ(limits_of(none, 0), limits{});
        EXPECT_EQ(cv_flush_tiles(none), -255);
        EXPECT_EQ(cv_flush_tiles_keep(none), -255);
        EXPECT_EQ(cv_delete_tiles(none), -255);
    }
}

// ---- flush, write back, drop ----------------------------------------------------------------------------------------

class tile_entry_points : public library_test {
protected:
    // Two canvases with one changed tile each.
    void SetUp() override
    {
        start();
        for (const char* name : {"first", "second"}) {
            const int32_t canvas = new_mask(name, 300, 200);
            const bytes line(10, 0x33);
            ASSERT_EQ(cv_storeline(canvas, line.data(), nullptr, 0, 0, 9), 0);
        }
        start_all_processes();
    }
    bool is_in_memory(int32_t canvas) const { return canvastable[canvas]->tile_cache[0] != nullptr; }
    uint8_t in_file(const std::string& name) const { return canvas_file(path(name)).tile(0, 0)[0]; }
    int32_t read(int32_t canvas)
    {
        uint8_t value = 0;
        EXPECT_EQ(cv_getline(canvas, &value, nullptr, 0, 0, 0), 0);
        return value;
    }
};

TEST_P(tile_entry_points, a_flush_writes_and_lets_go)
{
    EXPECT_EQ(cv_flush_tiles(1), 0);
    EXPECT_EQ(parg.opcode, 21);
    EXPECT_EQ(parg.req[0].canvas, 1);
    EXPECT_FALSE(is_in_memory(1));
    EXPECT_TRUE(is_in_memory(0));
    EXPECT_EQ(in_file("second"), 0x33);
    EXPECT_EQ(read(1), 0x33);
}

TEST_P(tile_entry_points, a_flush_that_keeps_writes_and_keeps)
{
    EXPECT_EQ(cv_flush_tiles_keep(1), 0);
    EXPECT_EQ(parg.opcode, 22);
    EXPECT_EQ(parg.req[0].canvas, 1);
    EXPECT_TRUE(is_in_memory(1));
    EXPECT_EQ(canvastable[1]->tile_cache[0]->dirty, 0);
    EXPECT_EQ(in_file("second"), 0x33);
}

TEST_P(tile_entry_points, a_delete_lets_go_what_was_never_written)
{
    const bytes line(10, 0x44);
    ASSERT_EQ(cv_flush_tiles_keep(1), 0);
    ASSERT_EQ(cv_storeline(1, line.data(), nullptr, 0, 0, 9), 0);
    EXPECT_EQ(cv_delete_tiles(1), 0);
    EXPECT_EQ(parg.opcode, 23);
    EXPECT_EQ(parg.req[0].canvas, 1);
    EXPECT_FALSE(is_in_memory(1));
    EXPECT_TRUE(is_in_memory(0));
    EXPECT_EQ(read(1), 0x33);
}

INSTANTIATE_TEST_SUITE_P(, tile_queries, both_modes(), mode_name);
INSTANTIATE_TEST_SUITE_P(, tile_entry_points, both_modes(), mode_name);

}  // namespace
