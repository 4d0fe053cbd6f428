// Which derived images a write makes stale.
#include <optional>

#include "tests/reduced/reduced_test.h"

using namespace iocache_test;

namespace {

class dirty_bits : public reduced_test {
protected:
    // The mask after asking for this level, when it was 0x40 before.
    int mask_for(int32_t level, int32_t window_flag, int32_t window_mode)
    {
        cv_canvas record = {};
        record.dirty_mask = 0x40;
        record.window_flag = window_flag;
        record.window_mode = window_mode;
        cv_set_dirtybits_mask(&record, level);
        return record.dirty_mask;
    }
};

TEST_P(dirty_bits, hold_the_own_image_and_every_view_that_derives_from_the_level)
{
    for (const int32_t flag : {0, 1, 7}) {
        for (const int32_t window_mode : {0, 1, 2, 5}) {
            EXPECT_EQ(mask_for(0, flag, window_mode), 1);
            EXPECT_EQ(mask_for(1, flag, window_mode), 3);
            EXPECT_EQ(mask_for(2, flag, window_mode), flag == 0 ? 5 : 7);
        }
        EXPECT_EQ(mask_for(3, flag, 0), 9);
        EXPECT_EQ(mask_for(3, flag, 1), 11);
        EXPECT_EQ(mask_for(3, flag, 2), flag == 0 ? 13 : 15);
    }
}

TEST_P(dirty_bits, stay_for_a_level_or_window_mode_that_is_none)
{
    for (const int32_t level : {-1, 4, 5, 255}) EXPECT_EQ(mask_for(level, 1, 2), 0x40);
    for (const int32_t window_mode : {-1, 3, 5}) EXPECT_EQ(mask_for(3, 1, window_mode), 0x40);
}

TEST_P(dirty_bits, of_a_new_and_of_an_opened_canvas_are_those_of_level_0)
{
    start();
    const int32_t canvas = sized(0, 300, 200).create(path("canvas"));
    EXPECT_EQ(canvastable[canvas]->dirty_mask, 1);
    ASSERT_EQ(canvas_close(canvas), 0);
    ASSERT_EQ(canvas_old(path("canvas").c_str()), canvas);
    EXPECT_EQ(canvastable[canvas]->dirty_mask, 1);
    EXPECT_EQ(canvastable[canvas]->tile_flags[0], 0);
}

TEST_P(dirty_bits, gather_in_the_flags_of_every_tile_handed_out_for_writing)
{
    start();
    const painting image = sized(1, 600, 300);
    const int32_t canvas = image.create(path("canvas"));
    cv_canvas& record = *canvastable[canvas];
    const bytes colour(4 * 600, 1);
    const bytes alpha(600, 1);
    bytes colour_read(4 * 600);
    bytes alpha_read(600);

    cv_getline(canvas, colour_read.data(), alpha_read.data(), 0, 0, 599);  // reading leaves them
    EXPECT_EQ(record.tile_flags[0], 0);
    cv_storeline(canvas, colour.data(), alpha.data(), 0, 300, 310);  // a tile that is in memory
    EXPECT_EQ(record.tile_flags[0], 0);
    EXPECT_EQ(record.tile_flags[1], 1);
    cv_set_dirtybits_mask(&record, 1);
    cv_storeline(canvas, colour.data(), alpha.data(), 0, 300, 310);
    EXPECT_EQ(record.tile_flags[1], 3);
    cv_set_dirtybits_mask(&record, 2);
    cv_storeline(canvas, colour.data(), alpha.data(), 299, 300, 310);  // one that is not
    EXPECT_EQ(record.tile_flags[4], 5);
    cv_set_dirtybits_mask(&record, 0);
    cv_storeline(canvas, colour.data(), alpha.data(), 299, 300, 310);
    EXPECT_EQ(record.tile_flags[4], 5);  // bits are only ever set
    EXPECT_EQ(record.tile_flags[3], 0);
}

INSTANTIATE_TEST_SUITE_P(, dirty_bits, both_modes(), mode_name);

}  // namespace
