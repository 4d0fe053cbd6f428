// The protocol between a client and the cache process, step by step. Process mode, but where said otherwise.
#include <thread>

#include "tests/cache/forced_test.h"
#include "tests/support/file_size_limit.h"

namespace {

using namespace iocache_test;

class protocol : public forced_test {
protected:
    void SetUp() override
    {
        start_with_zones(8);
        mask = new_mask("mask", 2'000, 600);
        picture = new_picture("picture", 2'000, 600);
        settle();
        hooks::rings = 0;
    }
    int32_t mask = -1;
    int32_t picture = -1;
};

TEST_P(protocol, request_whose_slots_all_hit_rings_nobody)
{
    fill_slot(0, mask, first_pixel_of(0));
    fill_slot(1, picture, first_pixel_of(0));
    fill_slot(2, mask, first_pixel_of(1));
    ASSERT_EQ(ask(opcode::three_slots), 0);
    for (const cv_tile_request& request : parg.req) let_go(request.tile);
    const int rings = hooks::rings;
    EXPECT_EQ(rings, in_process_mode() ? 1 : 0) << "one ring for all three misses";
    ASSERT_EQ(ask(opcode::three_slots), 0);
    for (const cv_tile_request& request : parg.req) let_go(request.tile);
    EXPECT_EQ(hooks::rings, rings);
}

TEST_P(protocol, refused_requests_ring_nobody)
{
    ask(4);
    fill_slot(0, mask, {-1, 0, -1, 0});
    for (const int32_t code : {1, 2, 3, 31, 32, 41}) ask(code);
    parg.req[0].canvas = 49;
    for (const int32_t code : {1, 21, 22, 23, 50, 51}) ask(code);
    EXPECT_EQ(hooks::rings, 0);
}

TEST_P(protocol, pixel_of_a_tile_never_written_rings_nobody)
{
    fill_slot(0, picture, {5, 5, 5, 5});
    EXPECT_EQ(ask(opcode::picture_pixel), 0);
    EXPECT_EQ(hooks::rings, 0);
}

INSTANTIATE_TEST_SUITE_P(, protocol, both_modes(), mode_name);

class cache_process : public protocol {};

TEST_P(cache_process, every_waited_request_takes_one_ring_and_leaves_none)
{
    int rings = 0;
    for (const int32_t code : {11, 21, 22, 23, 51, 50, 99, 1, 42}) {
        fill_slot(0, mask, first_pixel_of(2));
        fill_slot(1, mask, first_pixel_of(3));
        ASSERT_EQ(ask(code), 0) << code;
        EXPECT_EQ(hooks::rings, ++rings) << code;
        EXPECT_EQ(ustestsema(cv_tile_access_sema), 0) << code;
    }
    let_go(parg.req[0].tile);
    let_go(parg.req[1].tile);
}

TEST_P(cache_process, request_without_a_wait_is_served_without_a_look_at_the_block)
{
    write_tile(mask, 1, 0, 0x11);
    settle();
    hooks::gate_closed = true;
    ASSERT_EQ(cv_start_prewrite(), 0);
    // The client already fills its next request; anything that looked at it now would go wrong.
    parg.opcode = opcode::drop;
    for (int slot = 0; slot < 3; ++slot) fill_slot(slot, mask, {-7, -8, -9, -10}, true);
    const cv_request_block filled = parg;
    const int waits = hooks::waits;
    hooks::gate_closed = false;
    ASSERT_TRUE(wait_for([&] { return hooks::waits > waits; }));
    EXPECT_EQ(std::memcmp(&filled, &parg, sizeof filled), 0);
    EXPECT_EQ(ustestsema(cv_tile_access_sema), 0);
    settle();
    EXPECT_EQ(file("mask").tile(1, 0), tile_of(mask, 0x11)) << "it was the pre-write that was served";
    EXPECT_NE(cached(mask, 1), nullptr);
}

TEST_P(cache_process, request_behind_one_without_a_wait_is_served_in_its_turn)
{
    write_tile(mask, 1, 0, 0x11);
    settle();
    hooks::gate_closed = true;
    hooks::rings = 0;
    ASSERT_EQ(cv_start_prewrite(), 0);
    std::thread opener([] {
        wait_for([] { return hooks::rings == 2; });  // both are rung before either is picked up
        hooks::gate_closed = false;
    });
    EXPECT_EQ(request_tile(picture, 3, 1), 0);
    opener.join();
    EXPECT_EQ(parg.req[0].tile, cached(picture, 3, 1));
    let_go(parg.req[0].tile);
    settle();
    EXPECT_EQ(ustestsema(cv_tile_access_sema), 0);
}

TEST_P(cache_process, wishes_that_pile_up_are_one)
{
    hooks::gate_closed = true;
    hooks::rings = 0;
    for (int i = 0; i < 100; ++i) EXPECT_EQ(cv_start_prewrite(), 0);
    EXPECT_EQ(hooks::rings, 1);
    hooks::gate_closed = false;
    settle();
    EXPECT_EQ(ustestsema(cv_tile_access_sema), 0);
}

TEST_P(cache_process, requests_behind_wishes_are_right_many_times)
{
    cv_prewrite_allowed = 0;
    cv_prefetch_allowed = 0;
    for (int round = 0; round < 500; ++round) {
        const int32_t column = round % 7;
        const auto value = static_cast<uint8_t>(round / 7);
        ASSERT_EQ(cv_start_prewrite(), 0);
        fill_slot(0, mask, {column * 256, 0, 1999, 0}, true);
        ASSERT_EQ(ask(opcode::one_slot), 0) << round;
        ASSERT_EQ(parg.req[0].tile->x, column) << round;
        std::memset(parg.req[0].buffer, value, 100);
        let_go(parg.req[0].tile);
        ASSERT_EQ(cv_start_prewrite(), 0);
        ASSERT_EQ(request_tile(picture, column, 1), 0) << round;
        ASSERT_EQ(parg.req[0].tile->id, picture) << round;
        let_go(parg.req[0].tile);
        if (round % 50 == 0) {
            ASSERT_EQ(canvas_flush_all(), 0);
            ASSERT_EQ(file("mask").tile(column, 0).front(), value) << round;
        }
    }
    settle();
    EXPECT_EQ(ustestsema(cv_tile_access_sema), 0);
}

TEST_P(cache_process, leaves_without_a_look_at_the_block_once_told_to)
{
    settle();
    fill_slot(0, mask, first_pixel_of(4), true);
    parg.opcode = opcode::one_slot;
    const cv_request_block filled = parg;
    std::atomic_ref(cv_tile_access_exit_flag).store(1);
    usvsema(cv_tile_access_sema);
    ASSERT_TRUE(wait_for([] { return platform_barrier_broken(cv_tile_access_barrier) != 0; }));
    EXPECT_EQ(std::memcmp(&filled, &parg, sizeof filled), 0);
    EXPECT_EQ(tiles_in_memory(), 0);
}

TEST_P(cache_process, client_that_waits_for_one_that_leaves_is_let_go)
{
    read_tile(mask, 0);
    settle();
    hooks::gate_closed = true;
    const int rings = hooks::rings;
    std::thread leaver([rings] {
        wait_for([rings] { return hooks::rings > rings; });
        std::atomic_ref(cv_tile_access_exit_flag).store(1);
        hooks::gate_closed = false;
    });
    EXPECT_EQ(request_tile(mask, 4), -255);
    leaver.join();
    EXPECT_EQ(parg.req[0].tile, nullptr);
    EXPECT_EQ(request_tile(mask, 4), -255);
    EXPECT_EQ(request_tile(mask, 0), 0) << "hits need nobody";
    let_go(parg.req[0].tile);
}

TEST_P(cache_process, single_slot_request_on_a_full_disk_stays_blocked_until_it_leaves)
{
    start_with_zones(1);
    picture = new_picture("another", 2'000, 256);
    write_tile(picture, 0, 0, 0x11);  // has to go for the next one, and cannot be written
    settle();
    const int waits = hooks::waits;
    const file_size_limit limit(file("another").contents().size() + 1000);
    fill_slot(1, picture, first_pixel_of(1));
    std::atomic<bool> answered = false;
    int32_t result = 0;
    std::thread client([&] {
        result = ask(opcode::second_slot_only);
        answered = true;
    });
    // The cache process is back at its doorbell: it met nobody, and nothing will make it.
    EXPECT_TRUE(wait_for([&] { return hooks::waits > waits; }));
    EXPECT_EQ(std::atomic_ref(cv_disk_full).load(), 1);
    EXPECT_FALSE(answered);
    std::atomic_ref(cv_tile_access_exit_flag).store(1);
    usvsema(cv_tile_access_sema);
    client.join();
    EXPECT_EQ(result, -255);
    EXPECT_EQ(parg.req[1].tile, nullptr);
    limit.lift();
}

INSTANTIATE_TEST_SUITE_P(, cache_process, ::testing::Values(mode::process), mode_name);

class single_slot_in_line : public forced_test {};

TEST_P(single_slot_in_line, is_repeated_on_a_full_disk_like_any_other)
{
    start_with_zones(1);
    const int32_t picture = new_picture("picture", 2'000, 256);
    write_tile(picture, 0, 0, 0x11);
    const file_size_limit limit(file("picture").contents().size() + 1000);
    int programs = 0;
    hooks::on_program = [&](const char*) {
        ++programs;
        limit.lift();
        return 0;
    };
    hooks::on_statfs = [](const char*, int64_t& block_size, int64_t& free_blocks) {
        block_size = 4096;
        free_blocks = 1000;
        return 0;
    };
    fill_slot(1, picture, first_pixel_of(1));
    EXPECT_EQ(ask(opcode::second_slot_only), 0);
    EXPECT_EQ(programs, 1);
    EXPECT_EQ(parg.req[1].tile, cached(picture, 1));
    let_go(parg.req[1].tile);
}

INSTANTIATE_TEST_SUITE_P(, single_slot_in_line, ::testing::Values(mode::in_line), mode_name);

}  // namespace
