// What a host may post without the client's checks, and what the cache's own functions answer when they are asked for
// what is not there.
#include "tests/cache/cache_test.h"

namespace {

using namespace iocache_test;

constexpr int32_t no_canvas = 49;

class refused_post : public library_test {
protected:
    void SetUp() override
    {
        start({.cache_bytes = 8 * picture_tile_bytes});
        canvas = new_mask("mask", 300, 300);
    }
    // Straight to the cache side: in this thread in-line, and by the doorbell and the barrier else.
    static void post(int32_t code)
    {
        parg.opcode = code;
        if (GetParam() == mode::in_line) return cv_tile_access_read(nullptr);
        usvsema(cv_tile_access_sema);
        EXPECT_EQ(barrier(cv_tile_access_barrier, 2), 0);
    }
    int32_t canvas = -1;
};

TEST_P(refused_post, for_a_tile_of_no_canvas_fails)
{
    fill_slot(0, no_canvas, first_pixel_of(0));
    post(opcode::one_slot);
    EXPECT_EQ(parg.opcode, -255);
}

TEST_P(refused_post, for_a_tile_outside_the_grid_fails)
{
    fill_slot(0, canvas, first_pixel_of(7));
    post(opcode::one_slot);
    EXPECT_EQ(parg.opcode, -255);
    parg.opcode = opcode::one_slot;
    fill_slot(0, canvas, first_pixel_of(0));
    EXPECT_EQ(cv_tile_access(), 0) << "the next request is served";
}

TEST_P(refused_post, about_no_canvas_fails)
{
    parg.req[0].canvas = no_canvas;
    post(opcode::flush);
    EXPECT_EQ(parg.opcode, -255);
}

TEST_P(refused_post, value_of_a_pixel_outside_the_grid_is_refused)
{
    fill_slot(0, canvas, first_pixel_of(7));
    EXPECT_EQ(ask(opcode::mask_pixel), -255);
    EXPECT_EQ(cv_find_pixel_in_cache(&parg.req[0]), -255);
}

TEST_P(refused_post, tile_outside_the_grid_or_of_another_size_is_not_fetched)
{
    settle();
    EXPECT_EQ(cv_get_tile(&record_of(canvas), -1, 0), nullptr);
    EXPECT_EQ(cv_get_tile(&record_of(canvas), 0, 2), nullptr);
    record_of(canvas).tile_bytes -= 1;
    EXPECT_EQ(cv_get_tile(&record_of(canvas), 0, 0), nullptr);
    record_of(canvas).tile_bytes += 1;
}

TEST_P(refused_post, tile_that_belongs_to_no_canvas_is_not_written)
{
    fill_slot(0, canvas, first_pixel_of(0), true);
    ASSERT_EQ(ask(opcode::one_slot), 0);
    cv_tile* const tile = parg.req[0].tile;
    std::atomic_ref(tile->locked).store(0, std::memory_order_release);
    ASSERT_EQ(cv_flush_tiles(canvas), 0);
    settle();
    ASSERT_EQ(tile->canvas, nullptr);
    tile->dirty = 1;
    EXPECT_EQ(cv_write_dirty_tile(tile), 0);
    EXPECT_EQ(tile->dirty, 1);
    tile->dirty = 0;
}

INSTANTIATE_TEST_SUITE_P(, refused_post, both_modes(), mode_name);

}  // namespace
