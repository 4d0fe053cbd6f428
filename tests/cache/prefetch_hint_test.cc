// What a tile request says it will want next. Idle work is forbidden here, so that the hints stay.
#include "tests/cache/cache_test.h"

namespace {

using namespace iocache_test;

class prefetch_hint : public cache_test {
protected:
    void SetUp() override
    {
        start_with_zones(8);
        mask = new_mask("mask", 20'000, 600);
    }
    const cv_pref_entry& hint_of(const pixel_range& pixels, int slot = 0)
    {
        fill_slot(slot, mask, pixels);
        EXPECT_EQ(ask(opcode::first_slot_only + slot), 0);
        let_go(parg.req[slot].tile);
        settle();
        return cv_pref[slot];
    }
    void expect_hint(const pixel_range& pixels, int32_t next_column, int32_t row, int32_t count)
    {
        const cv_pref_entry& hint = hint_of(pixels);
        EXPECT_EQ(hint.canvas, &record_of(mask));
        EXPECT_EQ(hint.next_col, next_column);
        EXPECT_EQ(hint.row, row);
        EXPECT_EQ(hint.count, count);
    }
    int32_t mask = -1;
};

TEST_P(prefetch_hint, counts_the_tiles_behind_this_one)
{
    expect_hint({0, 0, 999, 0}, 1, 0, 3);
}

TEST_P(prefetch_hint, never_counts_more_than_32_tiles)
{
    expect_hint({0, 300, 9'999, 300}, 1, 1, 32);
}

TEST_P(prefetch_hint, counts_from_the_place_inside_the_tile)
{
    expect_hint({256 + 200, 0, 256 + 200 + 56, 0}, 2, 0, 1);           // one pixel behind the tile
    expect_hint({256 * 3 + 200, 0, 256 * 3 + 200 + 311, 0}, 4, 0, 1);  // the next tile's last pixel
    expect_hint({256 * 5 + 200, 0, 256 * 5 + 200 + 312, 0}, 6, 0, 2);
}

TEST_P(prefetch_hint, is_none_when_the_request_ends_in_this_tile)
{
    EXPECT_EQ(hint_of({0, 0, 254, 0}).canvas, nullptr);
    EXPECT_EQ(hint_of({512, 0, 767, 0}).canvas, nullptr) << "with its last pixel";
}

TEST_P(prefetch_hint, is_none_leftwards_and_downwards)
{
    EXPECT_EQ(hint_of({5000, 0, 0, 0}).canvas, nullptr);
    EXPECT_EQ(hint_of({10, 0, 10, 599}).canvas, nullptr);
}

TEST_P(prefetch_hint, is_none_after_a_hit)
{
    read_tile(mask, 0);
    EXPECT_EQ(hint_of({0, 0, 999, 0}).canvas, nullptr) << "the cache process did not see the request";
}

TEST_P(prefetch_hint, every_slot_has_its_own)
{
    const int32_t picture = new_picture("picture", 20'000, 600);
    fill_slot(0, mask, {0, 0, 999, 0});
    fill_slot(1, picture, {256, 256, 600, 256});
    fill_slot(2, mask, {2560, 0, 2560, 0});
    ASSERT_EQ(ask(opcode::three_slots), 0);
    for (const cv_tile_request& request : parg.req) let_go(request.tile);
    settle();
    EXPECT_EQ(cv_pref[0].canvas, &record_of(mask));
    EXPECT_EQ(cv_pref[0].count, 3);
    EXPECT_EQ(cv_pref[1].canvas, &record_of(picture));
    EXPECT_EQ(cv_pref[1].next_col, 2);
    EXPECT_EQ(cv_pref[1].row, 1);
    EXPECT_EQ(cv_pref[1].count, 1);
    EXPECT_EQ(cv_pref[2].canvas, nullptr);
}

TEST_P(prefetch_hint, next_request_clears_all_of_them)
{
    for (int slot = 0; slot < 3; ++slot) fill_slot(slot, mask, {slot * 2560, 0, slot * 2560 + 999, 0});
    ASSERT_EQ(ask(opcode::three_slots), 0);
    for (const cv_tile_request& request : parg.req) let_go(request.tile);
    hint_of({15'000, 300, 15'000, 300}, 1);
    for (const cv_pref_entry& hint : cv_pref) EXPECT_EQ(hint.canvas, nullptr);
}

TEST_P(prefetch_hint, other_requests_leave_it)
{
    hint_of({0, 0, 999, 0});
    ASSERT_EQ(cv_flush_tiles_keep(mask), 0);
    EXPECT_EQ(cv_pref[0].canvas, &record_of(mask));
}

TEST_P(prefetch_hint, closing_its_canvas_takes_it_away)
{
    hint_of({0, 0, 999, 0});
    ASSERT_EQ(canvas_close(mask), 0);
    EXPECT_EQ(cv_pref[0].canvas, nullptr);
}

INSTANTIATE_TEST_SUITE_P(, prefetch_hint, both_modes(), mode_name);

}  // namespace
