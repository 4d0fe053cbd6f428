// The record of a canvas and the table of all: every field of a new canvas, slots, save marks, tile shifts.
#include <cstddef>

#include "tests/canvas/canvas_test.h"

using namespace iocache_test;

namespace {

class canvas_record : public canvas_test {
protected:
    void SetUp() override { start(); }
};
INSTANTIATE_TEST_SUITE_P(, canvas_record, both_modes(), mode_name);

TEST_P(canvas_record, of_a_new_picture_names_its_file_and_belongs_to_its_slot)
{
    const cv_canvas& record = *canvastable[create("one", small_picture)];
    EXPECT_EQ(record.index, 0);
    EXPECT_EQ(record.file_name, path("one"));
    EXPECT_STREQ(record.base_name, "one");
    EXPECT_EQ(record.base_name, record.file_name + path("").size());
    EXPECT_EQ(record.subs_window_name, path("one") + "s");
    EXPECT_EQ(record.fp, nullptr);   // closed after each transfer
    EXPECT_NE(record.fp2, nullptr);  // kept open
}

TEST_P(canvas_record, of_a_path_without_folder_has_the_whole_path_as_base_name)
{
    const std::string before = std::filesystem::current_path();
    std::filesystem::current_path(path(""));
    const int32_t canvas = canvas_new("bare", 0, 0, 0, 9, 9, 0, 0);
    std::filesystem::current_path(before);
    ASSERT_EQ(canvas, 0);
    EXPECT_EQ(canvastable[canvas]->base_name, canvastable[canvas]->file_name);
    EXPECT_STREQ(canvastable[canvas]->file_name, "bare");
}

TEST_P(canvas_record, of_a_new_picture_has_its_format)
{
    const cv_canvas& record = *canvastable[create("p", small_picture)];
    EXPECT_EQ(record.kind, 1);
    EXPECT_EQ(record.bytes_per_pixel, 4);
    EXPECT_EQ(record.pixel_shift, 2);
    EXPECT_EQ(record.tile_width, 256);
    EXPECT_EQ(record.tile_height, 256);
    EXPECT_EQ(record.tile_shift_x, 8);
    EXPECT_EQ(record.tile_shift_y, 8);
    EXPECT_EQ(record.tile_line_bytes, 1024);
    EXPECT_EQ(record.tile_bytes, 327'680);
}

TEST_P(canvas_record, of_a_new_mask_has_its_format)
{
    const cv_canvas& record = *canvastable[create("m", small_mask)];
    EXPECT_EQ(record.kind, 0);
    EXPECT_EQ(record.bytes_per_pixel, 1);
    EXPECT_EQ(record.pixel_shift, 0);
    EXPECT_EQ(record.tile_line_bytes, 256);
    EXPECT_EQ(record.tile_bytes, 65'536);
}

TEST_P(canvas_record, of_a_new_canvas_is_unsaved_unlinked_and_without_zooms)
{
    const cv_canvas& record = *canvastable[create("p", small_picture)];
    EXPECT_EQ(record.busy, 0);
    EXPECT_EQ(record.save, 0);
    EXPECT_EQ(record.window_flag, 0);
    EXPECT_EQ(record.window_mode, 0);
    EXPECT_EQ(record.link_a, nullptr);
    EXPECT_EQ(record.link_b, nullptr);
    EXPECT_EQ(record.zoom_child, nullptr);
    EXPECT_EQ(record.reserved1, 0);
    EXPECT_EQ(record.open_zooms, 0);
    EXPECT_EQ(record.is_zoom, nullptr);
    EXPECT_EQ(record.reserved2, 0);
    EXPECT_EQ(record.reserved3, 0);
    EXPECT_EQ(record.reserved4, 0);
    EXPECT_EQ(record.reserved5, 0);
    EXPECT_EQ(record.dirty_mode, 3);
    EXPECT_EQ(record.tiles_fetched, 0);
    EXPECT_EQ(record.tiles_spare, 0);
}

TEST_P(canvas_record, of_a_new_canvas_has_no_tile_in_memory_nor_in_the_file)
{
    const cv_canvas& record = *canvastable[create("p", {.x_max = 599, .y_max = 299})];
    ASSERT_EQ(record.tiles_across, 3);
    ASSERT_EQ(record.tiles_down, 2);
    for (size_t tile = 0; tile < 6; ++tile) {
        EXPECT_EQ(record.tile_cache[tile], nullptr);
        EXPECT_EQ(record.tile_table[tile], -1);
        EXPECT_EQ(record.tile_flags[tile], 0);
    }
}

TEST_P(canvas_record, of_a_new_canvas_marks_writes_to_the_full_view)
{
    EXPECT_EQ(canvastable[create("p", small_picture)]->dirty_mask, 1);
}

TEST_P(canvas_record, keeps_the_order_of_its_fields)
{
    EXPECT_EQ(offsetof(cv_canvas, index), 0U);
    EXPECT_LT(offsetof(cv_canvas, base_name), offsetof(cv_canvas, file_name));
    EXPECT_LT(offsetof(cv_canvas, fp), offsetof(cv_canvas, fp2));
    EXPECT_LT(offsetof(cv_canvas, tile_bytes), offsetof(cv_canvas, geom));
    EXPECT_EQ(offsetof(cv_canvas, geom_orig), offsetof(cv_canvas, geom) + sizeof(cv_geometry));
    EXPECT_EQ(offsetof(cv_canvas, geom_full), offsetof(cv_canvas, geom_orig) + sizeof(cv_geometry));
    EXPECT_EQ(offsetof(cv_canvas, geom_window), offsetof(cv_canvas, geom_full) + sizeof(cv_geometry));
    EXPECT_EQ(offsetof(cv_canvas, geom_window2), offsetof(cv_canvas, geom_window) + sizeof(cv_geometry));
    EXPECT_EQ(sizeof(cv_geometry), 72U);
    EXPECT_EQ(offsetof(cv_geometry, y_max), 12U);  // before y_min, as hosts expect
    EXPECT_EQ(offsetof(cv_geometry, y_min), 16U);
    EXPECT_EQ(offsetof(cv_geometry, scale), 56U);
    EXPECT_EQ(offsetof(cv_geometry, spare), 68U);
}

TEST_P(canvas_record, takes_the_lowest_free_slot)
{
    for (int32_t slot = 0; slot < 4; ++slot) EXPECT_EQ(create(numbered("m", slot), small_mask), slot);
    EXPECT_EQ(canvas_close(2), 0);
    EXPECT_EQ(canvas_close(1), 0);
    EXPECT_EQ(create("a", small_mask), 1);
    EXPECT_EQ(create("b", small_mask), 2);
    EXPECT_EQ(create("c", small_mask), 4);
    for (int32_t slot = 0; slot < 5; ++slot) EXPECT_EQ(canvastable[slot]->index, slot);
}

TEST_P(canvas_record, save_mark_is_set_and_taken_back)
{
    const cv_canvas& record = *canvastable[create("p", small_picture)];
    EXPECT_EQ(cv_mark_canvas_save(record.index), 0);
    EXPECT_EQ(record.save, 1);
    EXPECT_EQ(cv_mark_canvas_nosave(record.index), 0);
    EXPECT_EQ(record.save, 0);
}

TEST_P(canvas_record, that_is_not_there_cannot_be_marked)
{
    for (const int32_t empty : {0, 49, -1, 50, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(cv_mark_canvas_save(empty), -255);
        EXPECT_EQ(cv_mark_canvas_nosave(empty), -255);
    }
}

TEST(tile_shift, is_the_highest_set_bit)
{
    EXPECT_EQ(cv_calc_tileshift(1), 0);
    EXPECT_EQ(cv_calc_tileshift(2), 1);
    EXPECT_EQ(cv_calc_tileshift(3), 1);
    EXPECT_EQ(cv_calc_tileshift(255), 7);
    EXPECT_EQ(cv_calc_tileshift(256), 8);
    EXPECT_EQ(cv_calc_tileshift(300), 8);
    EXPECT_EQ(cv_calc_tileshift(INT32_MAX), 30);
}

TEST(tile_shift, of_nothing_and_less_is_minus_one)
{
    EXPECT_EQ(cv_calc_tileshift(0), -1);
    EXPECT_EQ(cv_calc_tileshift(-1), -1);
    EXPECT_EQ(cv_calc_tileshift(INT32_MIN), -1);
}

}  // namespace
