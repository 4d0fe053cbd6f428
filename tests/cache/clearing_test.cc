// A tile that was never written is zeros for its client, whoever cleared it, whatever its memory held before and
// whatever else its request did.
#include <unistd.h>

#include "tests/cache/cache_test.h"

namespace {

using namespace iocache_test;

constexpr uint8_t old_contents = 0x77;

class cleared_tiles : public cache_test {
protected:
    // Every zone has held a changed tile of a canvas that is gone.
    void start_with_used_zones(int64_t zones)
    {
        start_with_zones(zones);
        const int32_t before = new_picture("before", static_cast<int32_t>(zones) * tile_side, tile_side);
        for (int32_t column = 0; column < zones; ++column) write_tile(before, column, 0, old_contents);
        ASSERT_EQ(canvas_close(before), 0);
    }
    static bytes in_slot(int slot)
    {
        const cv_tile_request& request = parg.req[slot];
        return bytes(request.buffer, request.buffer + record_of(request.canvas).tile_bytes);
    }
    static void let_go_of_slots(int count)
    {
        for (int slot = 0; slot < count; ++slot) let_go(parg.req[slot].tile);
    }
};

TEST_P(cleared_tiles, of_all_slots_are_zeros)
{
    start_with_used_zones(3);
    const int32_t picture = new_picture("picture", 800, 256);
    for (int slot = 0; slot < 3; ++slot) fill_slot(slot, picture, first_pixel_of(slot), slot == 1);
    ASSERT_EQ(ask(opcode::three_slots), 0);
    for (int slot = 0; slot < 3; ++slot) EXPECT_EQ(in_slot(slot), tile_of(picture, 0)) << slot;
    let_go_of_slots(3);
}

TEST_P(cleared_tiles, of_a_single_slot_are_zeros)
{
    start_with_used_zones(1);
    const int32_t picture = new_picture("picture", 800, 256);
    fill_slot(2, picture, first_pixel_of(1));
    ASSERT_EQ(ask(opcode::third_slot_only), 0);
    EXPECT_EQ(in_slot(2), tile_of(picture, 0));
    let_go(parg.req[2].tile);
}

// A host that rings and meets the cache process by itself clears nothing.
TEST_P(cleared_tiles, of_a_host_that_rings_by_itself_are_zeros)
{
    if (GetParam() == mode::in_line) GTEST_SKIP() << "there is nobody to ring for";
    start_with_used_zones(1);
    const int32_t picture = new_picture("picture", 800, 256);
    fill_slot(0, picture, first_pixel_of(1));
    parg.opcode = opcode::one_slot;
    usvsema(cv_tile_access_sema);
    ASSERT_EQ(barrier(cv_tile_access_barrier, 2), 0);
    EXPECT_EQ(in_slot(0), tile_of(picture, 0));
    let_go(parg.req[0].tile);
}

TEST_P(cleared_tiles, leave_what_a_later_slot_read_into_their_memory)
{
    start_with_used_zones(1);
    const int32_t picture = new_picture("picture", 800, 256);
    write_tile(picture, 1, 0, 0x55);
    read_tile(picture, 2);
    fill_slot(0, picture, first_pixel_of(0));
    fill_slot(1, picture, first_pixel_of(1));
    ASSERT_EQ(ask(opcode::two_slots), 0);
    EXPECT_EQ(in_slot(1), tile_of(picture, 0x55));
    EXPECT_EQ(cv_errno, 999010) << "the second tile took the first one's memory";
    let_go(parg.req[1].tile);
}

TEST_P(cleared_tiles, reach_the_file_as_zeros_when_a_later_slot_takes_their_memory)
{
    start_with_used_zones(1);
    const int32_t picture = new_picture("picture", 800, 256);
    write_tile(picture, 1, 0, 0x55);
    read_tile(picture, 1);
    fill_slot(0, picture, first_pixel_of(0), true);
    fill_slot(1, picture, first_pixel_of(1));
    ASSERT_EQ(ask(opcode::two_slots), 0);
    let_go(parg.req[1].tile);
    settle();
    EXPECT_EQ(file("picture").tile(0, 0), tile_of(picture, 0));
}

TEST_P(cleared_tiles, are_zeros_though_a_later_slot_cannot_be_read)
{
    start_with_used_zones(2);
    const int32_t mask = new_mask("mask", 600, 256);
    write_tile(mask, 1, 0, 2);
    ASSERT_EQ(cv_flush_tiles(mask), 0);
    ASSERT_EQ(truncate(path("mask").c_str(), int32_at(file("mask").contents(), 0x34C) + 5), 0);
    fill_slot(0, mask, first_pixel_of(0));
    fill_slot(1, mask, first_pixel_of(1));
    EXPECT_EQ(ask(opcode::two_slots), -255);
    ASSERT_NE(cached(mask, 0), nullptr);
    EXPECT_EQ(shown(mask, 0), tile_of(mask, 0));
}

TEST_P(cleared_tiles, are_kept_as_zeros_by_a_zoom_canvas)
{
    start_with_used_zones(4);
    const int32_t parent = new_picture("parent", 600, 600);
    const int32_t zoom = new_picture("zoom", 600, 600);
    record_of(parent).zoom_child = &record_of(zoom);
    write_tile(parent, 1, 1, 0x22);
    EXPECT_EQ(shown(zoom, 1, 1), tile_of(zoom, 0));
    EXPECT_EQ(shown(parent, 1, 1), tile_of(parent, 0x22));
}

INSTANTIATE_TEST_SUITE_P(, cleared_tiles, both_modes(), mode_name);

}  // namespace
