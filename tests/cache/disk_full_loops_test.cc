// What clients do while the disk is full: how often the handler runs and how often the request is made again.
#include <optional>

#include "tests/cache/forced_test.h"
#include "tests/support/file_size_limit.h"

namespace {

using namespace iocache_test;

// A cache that holds a dirty picture tile which cannot be written; here there is room for no other.
class full_disk_loop : public forced_test {
protected:
    void SetUp() override { begin(1); }
    void begin(int64_t zones)
    {
        start_with_zones(zones);
        picture = new_picture("picture", 2'000, 256);
        write_tile(picture, 0, 0, 0x11);
        settle();
        hooks::rings = 0;
        limit_.emplace(file("picture").contents().size() + 1000);
        hooks::on_program = [this](const char*) {
            ++programs;
            return programs > give_up_after ? -1 : 0;
        };
        hooks::on_statfs = [this](const char*, int64_t& block_size, int64_t& free_blocks) {
            block_size = 1024;
            free_blocks = programs >= room_after ? 2'000 : 1'000;
            if (programs >= room_after) limit_->lift();
            return 0;
        };
    }
    void TearDown() override
    {
        limit_.reset();
        forced_test::TearDown();
    }
    int rings_if_process(int count) const { return in_process_mode() ? count : 0; }

    int32_t picture = -1;
    std::atomic<int> programs = 0;
    int give_up_after = 1'000;
    int room_after = 1'000;

private:
    std::optional<file_size_limit> limit_;
};

TEST_P(full_disk_loop, tile_request_runs_the_handler_once_before_each_repetition)
{
    room_after = 3;
    EXPECT_EQ(request_tile(picture, 1), 0);
    EXPECT_EQ(programs, 3);
    EXPECT_EQ(hooks::rings, rings_if_process(4));
    EXPECT_EQ(parg.req[0].tile, cached(picture, 1));
    EXPECT_EQ(parg.req[0].tile->locked, 1);
    let_go(parg.req[0].tile);
    settle();
    EXPECT_EQ(file("picture").tile(0, 0), tile_of(picture, 0x11));
    EXPECT_EQ(file("picture").tiles_written(), 1);
    EXPECT_EQ(cv_disk_full, 0);
}

TEST_P(full_disk_loop, tile_request_fails_when_the_handler_gives_up)
{
    give_up_after = 2;
    EXPECT_EQ(request_tile(picture, 1), -255);
    EXPECT_EQ(programs, 3);
    EXPECT_EQ(hooks::rings, rings_if_process(3));
    EXPECT_EQ(parg.req[0].tile, nullptr);
    EXPECT_EQ(cv_disk_full, 1);
}

TEST_P(full_disk_loop, tile_request_asks_the_handler_first_when_the_disk_was_full_before)
{
    give_up_after = 0;
    EXPECT_EQ(request_tile(picture, 1), -255);
    EXPECT_EQ(request_tile(picture, 1), -255);
    EXPECT_EQ(programs, 2);
    EXPECT_EQ(hooks::rings, rings_if_process(1)) << "the second one was not even posted";
}

TEST_P(full_disk_loop, flush_runs_the_handler_until_there_is_room_and_is_then_repeated_once)
{
    room_after = 3;
    EXPECT_EQ(cv_flush_tiles(picture), 0);
    EXPECT_EQ(programs, 3);
    EXPECT_EQ(hooks::rings, rings_if_process(2));
    EXPECT_EQ(file("picture").tile(0, 0), tile_of(picture, 0x11));
    EXPECT_EQ(cv_disk_full, 0);
}

TEST_P(full_disk_loop, flush_fails_when_the_handler_gives_up)
{
    give_up_after = 1;
    EXPECT_EQ(cv_flush_tiles_keep(picture), -255);
    EXPECT_EQ(programs, 2);
    EXPECT_EQ(hooks::rings, rings_if_process(1));
    EXPECT_NE(cached(picture, 0), nullptr);
    EXPECT_EQ(cached(picture, 0)->dirty, 1);
}

TEST_P(full_disk_loop, flush_of_everything_runs_the_handler_too)
{
    room_after = 2;
    EXPECT_EQ(canvas_flush_all(), 0);
    EXPECT_EQ(programs, 2);
    EXPECT_EQ(tiles_in_memory(), 0);
    EXPECT_EQ(file("picture").tile(0, 0), tile_of(picture, 0x11));
}

TEST_P(full_disk_loop, any_waited_request_meets_a_disk_that_was_full_before)
{
    cv_disk_full_return(1);
    EXPECT_EQ(request_tile(picture, 1), -255);
    cv_disk_full_return(0);
    hooks::rings = 0;
    room_after = 1;
    EXPECT_EQ(ask(opcode::meet), 0);
    EXPECT_EQ(programs, 1);
    EXPECT_EQ(hooks::rings, rings_if_process(2)) << "posted, and posted again behind the handler";
}

TEST_P(full_disk_loop, refusal_fails_requests_without_running_anything)
{
    cv_disk_full_return(1);
    EXPECT_EQ(request_tile(picture, 1), -255);
    EXPECT_EQ(cv_flush_tiles(picture), -255);
    EXPECT_EQ(ask(opcode::meet), -255);
    EXPECT_EQ(programs, 0);
}

TEST_P(full_disk_loop, close_behind_a_flush_that_failed_keeps_the_file_dirty_and_no_tile_of_it)
{
    give_up_after = 0;
    EXPECT_EQ(canvas_close(picture), 0);
    for (const cv_tile* tile = first_tile; tile != nullptr; tile = tile->next) EXPECT_EQ(tile->canvas, nullptr);
    EXPECT_EQ(file("picture").dirty(), 1);
}

INSTANTIATE_TEST_SUITE_P(, full_disk_loop, both_modes(), mode_name);

class full_disk_behind_the_first_slot : public full_disk_loop {
protected:
    void SetUp() override
    {
        begin(2);
        mask = new_mask("mask", 600, 256);
        fill_slot(0, mask, first_pixel_of(1));
        fill_slot(1, picture, first_pixel_of(4));
    }
    int32_t mask = -1;
};

TEST_P(full_disk_behind_the_first_slot, releases_what_was_handed_out_when_the_handler_gives_up)
{
    give_up_after = 0;
    EXPECT_EQ(ask(opcode::two_slots), -255);
    ASSERT_NE(cached(mask, 1), nullptr) << "the first slot found room";
    EXPECT_EQ(cached(mask, 1)->locked, 0);
    EXPECT_EQ(parg.req[0].tile, nullptr);
    EXPECT_EQ(parg.req[1].tile, nullptr);
}

TEST_P(full_disk_behind_the_first_slot, serves_every_slot_again_once_there_is_room)
{
    room_after = 1;
    EXPECT_EQ(ask(opcode::two_slots), 0);
    EXPECT_EQ(programs, 1);
    EXPECT_EQ(parg.req[0].tile, cached(mask, 1));
    EXPECT_EQ(parg.req[1].tile, cached(picture, 4));
    for (const int slot : {0, 1}) {
        EXPECT_EQ(parg.req[slot].tile->locked, 1);
        let_go(parg.req[slot].tile);
    }
    settle();
    EXPECT_EQ(file("picture").tile(0, 0), tile_of(picture, 0x11));
}

INSTANTIATE_TEST_SUITE_P(, full_disk_behind_the_first_slot, both_modes(), mode_name);

}  // namespace
