// A client that writes while the cache process writes ahead: no change may be lost, and no half of one may be kept for
// the whole.
#include <thread>

#include "tests/cache/forced_test.h"

namespace {

using namespace iocache_test;

class write_race : public forced_test {
protected:
    void SetUp() override
    {
        start_with_zones(4);
        mask = new_mask("mask", 600, 256);
        settle();
    }
    static bool client_waits() { return ustestsema(cv_tile_access_sema) > 0; }
    // A reader is served out of memory meanwhile.
    void read_in_memory(uint8_t value)
    {
        cv_tile_request& request = fill_slot(0, mask, first_pixel_of(0));
        ASSERT_EQ(cv_find_tile_in_cache(&request), 0);
        EXPECT_EQ(request.pixel[0], value);
        let_go(request.tile);
    }
    int32_t mask = -1;
};

// Between any two steps of writing ahead the client takes the tile, changes half of it, lets writing ahead go on, and
// changes the rest. How many locks writing ahead takes is not this test's business: it tries them all.
TEST_P(write_race, change_of_a_tile_that_is_held_is_not_lost_at_any_step_of_writing_ahead)
{
    int steps_met = 0;
    for (int step = 1; step <= 12; ++step) {
        const auto old_value = static_cast<uint8_t>(2 * step);
        const auto new_value = static_cast<uint8_t>(2 * step + 1);
        write_tile(mask, 0, 0, old_value);
        settle();
        hooks::paused = false;
        hooks::go_on = false;
        hooks::pause_at_lock = step;
        const int waits = hooks::waits;
        ASSERT_EQ(cv_start_prewrite(), 0);
        ASSERT_TRUE(wait_for([&] { return hooks::paused || hooks::waits > waits; }));
        if (!hooks::paused) {  // writing ahead was over before its n-th lock
            hooks::pause_at_lock = 0;
            break;
        }
        ++steps_met;
        cv_tile_request& request = fill_slot(0, mask, first_pixel_of(0), true);
        if (cv_find_tile_in_cache(&request) == 0) {
            std::memset(request.buffer, new_value, 30'000);
            hooks::go_on = true;
            ASSERT_TRUE(wait_for([&] { return hooks::waits > waits; }));
            std::memset(request.buffer + 30'000, new_value, 65'536 - 30'000);
            let_go(request.tile);
        } else {  // on its way to the file: the cache process must be asked
            hooks::go_on = true;
            write_tile(mask, 0, 0, new_value);
        }
        ASSERT_EQ(cv_flush_tiles(mask), 0);
        EXPECT_EQ(file("mask").tile(0, 0), tile_of(mask, new_value)) << "step " << step;
    }
    EXPECT_GE(steps_met, 2) << "the tile was written in between";
}

// The client comes in the middle of the transfer itself.
TEST_P(write_race, tile_on_its_way_to_the_file_is_not_changed_there)
{
    write_tile(mask, 0, 0, 0x11);
    settle();
    std::atomic<int> transfers = 0;
    std::atomic<bool> client_was_seen = false;
    hooks::on_write = [&](int64_t, size_t bytes_now) {
        if (bytes_now != mask_tile_bytes || ++transfers > 1) return false;
        client_was_seen = wait_for(client_waits);
        return false;
    };
    ASSERT_EQ(cv_start_prewrite(), 0);
    ASSERT_TRUE(wait_for([&] { return transfers == 1; }));
    read_in_memory(0x11);
    write_tile(mask, 0, 0, 0x22);  // waits for the transfer
    EXPECT_TRUE(client_was_seen);
    EXPECT_EQ(file("mask").tile(0, 0), tile_of(mask, 0x11)) << "what went to the file was whole";
    ASSERT_EQ(cv_flush_tiles(mask), 0);
    EXPECT_EQ(file("mask").tile(0, 0), tile_of(mask, 0x22));
}

TEST_P(write_race, every_change_reaches_the_file_in_the_end)
{
    cv_prewrite_allowed = 0;
    for (int round = 0; round < 900; ++round) {
        const auto value = static_cast<uint8_t>(round);
        for (int32_t column = 0; column < 2; ++column) {
            ASSERT_EQ(request_tile(mask, column, 0, true), 0);
            std::memset(parg.req[0].buffer, value, 4096);
            let_go(parg.req[0].tile);
            ASSERT_EQ(cv_start_prewrite(), 0);
        }
        if (round % 30 != 0) continue;
        ASSERT_EQ(cv_flush_tiles_keep(mask), 0);
        const canvas_file stored = file("mask");
        for (int32_t column = 0; column < 2; ++column) {
            const bytes tile = stored.tile(column, 0);
            ASSERT_EQ(bytes(tile.begin(), tile.begin() + 4096), bytes(4096, value)) << round;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, write_race, ::testing::Values(mode::process), mode_name);

}  // namespace
