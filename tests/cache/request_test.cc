// Requests for tiles: which slots they serve, what they answer, and what is refused.
#include "tests/cache/cache_test.h"

namespace {

using namespace iocache_test;

class tile_request : public cache_test {
protected:
    void SetUp() override
    {
        start_with_zones(8);
        mask = new_mask("mask", 2000, 600);
        picture = new_picture("picture", 2000, 600);
    }
    // Marks what a request must not touch.
    void spoil_results(int slot)
    {
        parg.req[slot].tile = nullptr;
        parg.req[slot].run_x = 4711;
        parg.req[slot].pixel = reinterpret_cast<uint8_t*>(&spoiled);
    }
    bool is_untouched(int slot) const
    {
        return parg.req[slot].tile == nullptr && parg.req[slot].run_x == 4711 &&
               parg.req[slot].pixel == reinterpret_cast<const uint8_t*>(&spoiled);
    }
    int32_t mask = -1;
    int32_t picture = -1;
    int32_t spoiled = 0;
};

TEST_P(tile_request, miss_fills_the_same_results_as_a_hit)
{
    for (const int32_t canvas : {mask, picture}) {
        fill_slot(0, canvas, {300, 290, 700, 280});
        ASSERT_EQ(ask(opcode::one_slot), 0);
        const cv_tile_request missed = parg.req[0];
        EXPECT_EQ(missed.run_x, 512 - 300);
        EXPECT_EQ(missed.run_y, -11);
        EXPECT_EQ(missed.tile->locked, 1);
        EXPECT_EQ(missed.pixel - missed.buffer, canvas == mask ? 34 * 256 + 44 : 34 * 1024 + 44 * 4);
        let_go(missed.tile);
        ASSERT_EQ(ask(opcode::one_slot), 0);
        EXPECT_EQ(std::memcmp(&missed, &parg.req[0], sizeof missed), 0);
        let_go(parg.req[0].tile);
    }
}

TEST_P(tile_request, write_miss_marks_the_tile_dirty_and_adds_the_mask_of_dirty_bits)
{
    record_of(mask).dirty_mask = 0x24;
    record_of(mask).tile_flags[8 + 3] = 0x41;
    ASSERT_EQ(request_tile(mask, 3, 1, true), 0);
    EXPECT_EQ(parg.req[0].tile->dirty, 1);
    EXPECT_EQ(record_of(mask).tile_flags[8 + 3], 0x65);
    let_go(parg.req[0].tile);
    ASSERT_EQ(request_tile(mask, 4, 1, false), 0);
    EXPECT_EQ(parg.req[0].tile->dirty, 0);
    EXPECT_EQ(record_of(mask).tile_flags[8 + 4] & 0x24, 0);
    let_go(parg.req[0].tile);
}

TEST_P(tile_request, opcodes_1_to_3_serve_that_many_slots)
{
    for (int32_t code = opcode::one_slot; code <= opcode::three_slots; ++code) {
        for (int slot = 0; slot < 3; ++slot) {
            fill_slot(slot, slot == 1 ? picture : mask, first_pixel_of(code + slot, 1));
            spoil_results(slot);
        }
        ASSERT_EQ(ask(code), 0);
        for (int slot = 0; slot < 3; ++slot) {
            if (slot >= code) {
                EXPECT_TRUE(is_untouched(slot)) << code;
                continue;
            }
            const cv_tile* const tile = parg.req[slot].tile;
            ASSERT_NE(tile, nullptr);
            EXPECT_EQ(tile->id, slot == 1 ? picture : mask);
            EXPECT_EQ(tile->x, code + slot);
            EXPECT_EQ(tile->y, 1);
            EXPECT_EQ(tile->locked, 1);
            let_go(parg.req[slot].tile);
        }
    }
}

TEST_P(tile_request, opcodes_41_to_43_serve_one_slot)
{
    for (int slot = 0; slot < 3; ++slot) {
        for (int other = 0; other < 3; ++other) {
            fill_slot(other, 49, {-1, -1, -1, -1});  // would be refused
            spoil_results(other);
        }
        fill_slot(slot, mask, first_pixel_of(slot), true);
        ASSERT_EQ(ask(opcode::first_slot_only + slot), 0);
        EXPECT_EQ(parg.req[slot].tile, cached(mask, slot));
        EXPECT_EQ(parg.req[slot].tile->dirty, 1);
        let_go(parg.req[slot].tile);
        for (int other = 0; other < 3; ++other) EXPECT_TRUE(other == slot || is_untouched(other)) << other;
        ASSERT_EQ(ask(opcode::first_slot_only + slot), 0) << "as a hit";
        let_go(parg.req[slot].tile);
    }
}

TEST_P(tile_request, miss_behind_a_hit_serves_every_slot)
{
    read_tile(mask, 0);
    fill_slot(0, mask, first_pixel_of(0));
    fill_slot(1, picture, first_pixel_of(5));
    ASSERT_EQ(ask(opcode::two_slots), 0);
    EXPECT_EQ(parg.req[0].tile, cached(mask, 0));
    EXPECT_EQ(parg.req[1].tile, cached(picture, 5));
    EXPECT_EQ(parg.req[0].tile->locked, 1);
    EXPECT_EQ(parg.req[1].tile->locked, 1);
    let_go(parg.req[0].tile);
    let_go(parg.req[1].tile);
}

TEST_P(tile_request, two_slots_may_name_the_same_tile)
{
    fill_slot(0, mask, {1, 0, 1, 0});
    fill_slot(1, mask, {2, 0, 2, 0});
    ASSERT_EQ(ask(opcode::two_slots), 0);
    EXPECT_EQ(parg.req[0].tile, parg.req[1].tile);
    EXPECT_EQ(parg.req[1].pixel - parg.req[0].pixel, 1);
    let_go(parg.req[0].tile);
}

TEST_P(tile_request, unknown_opcodes_are_illegal)
{
    for (const int32_t code : {INT32_MIN, -255, -1, 0, 4, 10, 12, 19, 24, 30, 33, 40, 44, 49, 52, 98, 100, INT32_MAX}) {
        host().clear();
        cv_errno = 0;
        EXPECT_EQ(ask(code), -255) << code;
        EXPECT_EQ(cv_errno, 999009);
        EXPECT_EQ(host().messages(), std::vector<std::string>{"cv_tile_access : illegal opcode"});
    }
    settle();
    EXPECT_EQ(host().kills(), 0);
}

TEST_P(tile_request, slot_without_a_canvas_is_refused)
{
    for (const int32_t number : {-1, 7, 50, INT32_MIN, INT32_MAX}) {
        for (const int32_t code : {1, 2, 3, 41, 42, 43, 21, 22, 23, 50, 51}) {
            for (int slot = 0; slot < 3; ++slot) fill_slot(slot, number, {0, 0, 0, 0});
            EXPECT_EQ(ask(code), -255) << number << ' ' << code;
        }
    }
    settle();
    EXPECT_EQ(tiles_in_memory(), 0);
}

TEST_P(tile_request, pixel_outside_the_grid_is_refused)
{
    for (const auto& [x, y] :
         {std::pair{-1, 0}, {0, -1}, {2048, 0}, {0, 768}, {INT32_MAX, 0}, {INT32_MIN, 0}, {0, INT32_MAX}}) {
        for (const int32_t code : {1, 2, 3, 41, 42, 43}) {
            for (int slot = 0; slot < 3; ++slot) fill_slot(slot, mask, {x, y, x, y}, true);
            EXPECT_EQ(ask(code), -255) << x << ',' << y << ' ' << code;
        }
    }
    settle();
    EXPECT_EQ(tiles_in_memory(), 0);
    EXPECT_EQ(host().kills(), 0);
}

TEST_P(tile_request, refused_request_leaves_nothing_locked_and_no_stale_results)
{
    read_tile(mask, 0);
    read_tile(picture, 0);
    for (const int32_t bad_slot : {0, 1, 2}) {
        for (int slot = 0; slot < 3; ++slot) fill_slot(slot, slot == 1 ? picture : mask, first_pixel_of(0));
        ASSERT_EQ(ask(opcode::three_slots), 0);
        for (const cv_tile_request& request : parg.req) let_go(request.tile);
        parg.req[bad_slot].x = -1;
        EXPECT_EQ(ask(opcode::three_slots), -255);
        for (const cv_tile_request& request : parg.req) {
            EXPECT_EQ(request.tile, nullptr);
            EXPECT_EQ(request.pixel, nullptr);
            EXPECT_EQ(request.run_x, 0);
        }
        EXPECT_EQ(cached(mask, 0)->locked, 0);
        EXPECT_EQ(cached(picture, 0)->locked, 0);
    }
}

TEST_P(tile_request, request_that_only_meets_answers_0)
{
    EXPECT_EQ(ask(opcode::meet), 0);
    EXPECT_EQ(tiles_in_memory(), 0);
}

TEST_P(tile_request, quiescing_leaves_the_workers_with_nothing_but_their_barrier)
{
    static std::atomic<int> runs;
    runs = 0;
    for (int32_t i = 0; i < nr_procs; ++i) {
        MP_def_proc_fun(i, [](void*) {
            ++runs;
            MP_barrier();
        });
    }
    ASSERT_EQ(MP_run_procs(), 0);
    EXPECT_EQ(runs, nr_procs);
    start_all_processes();
    EXPECT_EQ(parg.opcode, opcode::meet);
    EXPECT_EQ(MP_run_procs(), 0);
    EXPECT_EQ(runs, nr_procs) << "their functions were replaced";
}

INSTANTIATE_TEST_SUITE_P(, tile_request, both_modes(), mode_name);

// The cache side as the client calls it itself.
class in_line_handler : public tile_request {};

TEST_P(in_line_handler, cache_side_ignores_opcodes_it_does_not_know)
{
    for (const int32_t code : {0, 4, 31, 32, 40, 44, 52, 98, 100}) {
        fill_slot(0, mask, first_pixel_of(0));
        spoil_results(0);
        parg.opcode = code;
        cv_tile_access_read(nullptr);
        EXPECT_TRUE(is_untouched(0)) << code;
        EXPECT_EQ(parg.opcode, code);
    }
    EXPECT_EQ(tiles_in_memory(), 0);
}

INSTANTIATE_TEST_SUITE_P(, in_line_handler, ::testing::Values(mode::in_line), mode_name);

}  // namespace
