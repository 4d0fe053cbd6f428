// Questions about tiles that fetch nothing.
#include "tests/cache/cache_test.h"

namespace {

using namespace iocache_test;

class existence : public cache_test {
protected:
    void SetUp() override
    {
        start_with_zones(8);
        mask = new_mask("mask", 1000, 1000);
    }
    int32_t exists(const pixel_range& pixels)
    {
        fill_slot(0, mask, pixels);
        parg.req[0].run_x = 1234;
        parg.req[0].run_y = 5678;
        return cv_if_tile_exist();
    }
    int32_t mask = -1;
};

TEST_P(existence, nothing_reaches_to_the_tiles_edges)
{
    EXPECT_EQ(exists({10, 20, 900, 900}), -255);
    EXPECT_EQ(parg.req[0].run_x, 246);
    EXPECT_EQ(parg.req[0].run_y, 236);
}

TEST_P(existence, nothing_reaches_no_further_than_the_request)
{
    EXPECT_EQ(exists({10, 20, 14, 20}), -255);
    EXPECT_EQ(parg.req[0].run_x, 5);
    EXPECT_EQ(parg.req[0].run_y, 1);
}

TEST_P(existence, tile_in_the_file_holds_data)
{
    write_tile(mask, 1, 0, 1);
    ASSERT_EQ(cv_flush_tiles(mask), 0);
    EXPECT_EQ(exists({300, 20, 900, 900}), 0);
    EXPECT_EQ(parg.req[0].run_x, 1234) << "runs belong to the other answer";
    EXPECT_EQ(parg.req[0].run_y, 5678);
    EXPECT_EQ(exists({200, 20, 900, 900}), -255);
    EXPECT_EQ(tiles_in_memory(), 1) << "nothing is fetched";
}

TEST_P(existence, dirty_tile_in_memory_holds_data_and_a_clean_one_does_not)
{
    read_tile(mask, 1);
    settle();
    EXPECT_EQ(exists({300, 20, 900, 900}), -255);
    write_tile(mask, 1, 0, 0);
    settle();
    EXPECT_EQ(exists({300, 20, 900, 900}), 0);
}

TEST_P(existence, outside_the_tiles_there_is_nothing_as_far_as_the_request_goes)
{
    EXPECT_EQ(exists({2000, 20, 2999, 29}), -255);
    EXPECT_EQ(parg.req[0].run_x, 1000);
    EXPECT_EQ(parg.req[0].run_y, 10);
    fill_slot(0, 49, {0, 0, 9, 9});
    EXPECT_EQ(cv_if_tile_exist(), -255);
    EXPECT_EQ(parg.req[0].run_x, 10);
}

TEST_P(existence, fresh_canvas_is_empty)
{
    EXPECT_EQ(cv_test_if_canvas_empty(mask), 0);
}

TEST_P(existence, canvas_with_clean_tiles_in_memory_is_empty)
{
    read_tile(mask, 1, 1);
    settle();
    EXPECT_EQ(cv_test_if_canvas_empty(mask), 0);
}

TEST_P(existence, canvas_with_a_dirty_tile_is_not_empty)
{
    write_tile(mask, 3, 3, 0);
    settle();
    EXPECT_EQ(cv_test_if_canvas_empty(mask), -255);
}

TEST_P(existence, canvas_with_a_tile_in_the_file_is_not_empty)
{
    write_tile(mask, 3, 3, 0);
    ASSERT_EQ(cv_flush_tiles(mask), 0);
    EXPECT_EQ(cv_test_if_canvas_empty(mask), -255);
}

TEST_P(existence, canvas_that_lost_its_changes_is_empty_again)
{
    write_tile(mask, 3, 3, 9);
    ASSERT_EQ(cv_delete_tiles(mask), 0);
    EXPECT_EQ(cv_test_if_canvas_empty(mask), 0);
}

TEST_P(existence, slot_without_a_canvas_is_not_empty)
{
    for (const int32_t number : {-1, 7, 50}) EXPECT_EQ(cv_test_if_canvas_empty(number), -255) << number;
}

TEST_P(existence, every_locked_tile_is_printed_oldest_first)
{
    const int32_t picture = new_picture("picture", 600, 600);
    ASSERT_EQ(request_tile(mask, 3, 1), 0);
    cv_tile* const first = parg.req[0].tile;
    read_tile(mask, 0);
    ASSERT_EQ(request_tile(picture, 1, 2), 0);
    cv_tile* const second = parg.req[0].tile;
    settle();
    testing::internal::CaptureStdout();
    cv_check_lock();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "id = 0,  x = 3,  y = 1\nid = 1,  x = 1,  y = 2\n");
    let_go(first);
    let_go(second);
    testing::internal::CaptureStdout();
    cv_check_lock();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

INSTANTIATE_TEST_SUITE_P(, existence, both_modes(), mode_name);

}  // namespace
