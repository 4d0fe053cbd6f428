// A client asks about a tile while the cache process saves it for the first time: between two steps of that it has data
// all the time.
#include "tests/cache/forced_test.h"

namespace {

using namespace iocache_test;

class first_save : public forced_test {
protected:
    static constexpr int most_steps = 20;

    void expect_data(int32_t canvas, int32_t column)
    {
        fill_slot(0, canvas, first_pixel_of(column));
        EXPECT_EQ(cv_if_tile_exist(), 0);
        EXPECT_EQ(cv_test_if_canvas_empty(canvas), -255);
        cv_tile_request& request = fill_slot(0, canvas, first_pixel_of(column));
        const int32_t found = cv_find_pixel_in_cache(&request);
        EXPECT_NE(found, -1) << "its pixels would read as zero";
        if (found == 0) let_go(request.tile);
    }
    // Arms the pause, starts the work, and looks at the tile while the cache process stands still. False when it came to
    // its end before that step.
    template <class Start> bool look_at_step(std::atomic<int>& pause, int step, int32_t canvas, Start start)
    {
        hooks::paused = false;
        hooks::go_on = false;
        const int waits = hooks::waits;
        pause = step;
        start();
        EXPECT_TRUE(wait_for([&] { return hooks::paused || hooks::waits > waits; }));
        const bool was_met = hooks::paused;
        if (was_met) expect_data(canvas, 3);
        pause = 0;
        hooks::go_on = true;
        EXPECT_TRUE(wait_for([&] { return hooks::waits > waits; }));
        return was_met;
    }
    // A picture whose fourth tile alone was drawn on, and is in memory.
    int32_t drawn_picture()
    {
        const int32_t picture = new_picture("picture" + std::to_string(++pictures_), 1000, 256);
        write_tile(picture, 3, 0, 0x44);
        settle();
        return picture;
    }
    // The first tile is in memory, too, and older.
    static void put_first_tile_before(int32_t picture)
    {
        read_tile(picture, 0);
        read_tile(picture, 3);
        settle();
    }
    void drop(int32_t picture) { ASSERT_EQ(canvas_close(picture), 0); }

private:
    int pictures_ = 0;
};

TEST_P(first_save, of_a_tile_that_is_written_ahead)
{
    start_with_zones(4);
    for (std::atomic<int>* const pause : {&hooks::pause_at_lock, &hooks::pause_behind_lock}) {
        int steps_met = 0;
        for (int step = 1; step <= most_steps; ++step) {
            const int32_t picture = drawn_picture();
            const bool was_met = look_at_step(*pause, step, picture, [] { ASSERT_EQ(cv_start_prewrite(), 0); });
            drop(picture);
            if (!was_met) break;
            ++steps_met;
        }
        EXPECT_GE(steps_met, 3) << "it was met between marking it clean and its slot";
    }
}

TEST_P(first_save, of_a_tile_that_gives_way_to_reading_ahead)
{
    start_with_zones(2);
    int steps_met = 0;
    for (int step = 1; step <= most_steps; ++step) {
        const int32_t picture = drawn_picture();
        put_first_tile_before(picture);
        cv_prefetch_allowed = 0;
        const bool was_met = look_at_step(hooks::pause_at_idle_lock, step, picture, [&] {
            fill_slot(0, picture,
                      {256, 0, 600, 0});  // takes the place of the first tile, and the next that of the fourth
            ASSERT_EQ(ask(opcode::one_slot), 0);
            let_go(parg.req[0].tile);
        });
        cv_prefetch_allowed = 1;
        drop(picture);
        if (!was_met) break;
        ++steps_met;
    }
    EXPECT_GE(steps_met, 3) << "it was met between leaving memory and its slot";
}

INSTANTIATE_TEST_SUITE_P(, first_save, ::testing::Values(mode::process), mode_name);

}  // namespace
