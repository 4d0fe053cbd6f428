// Emptying the cache: for one canvas (flush, write back, drop) and for all.
#include "tests/cache/cache_test.h"
#include "tests/support/file_size_limit.h"

namespace {

using namespace iocache_test;

class flushing : public cache_test {
protected:
    void SetUp() override
    {
        start_with_zones(8);
        mine = new_mask("mine", 1000, 256);
        other = new_picture("other", 1000, 256);
    }
    void TearDown() override
    {
        cv_disk_full_return(0);
        std::atomic_ref(cv_disk_full).store(0);
    }
    int32_t mine = -1;
    int32_t other = -1;
};

TEST_P(flushing, writes_a_canvas_back_and_detaches_its_tiles)
{
    write_tile(mine, 1, 0, 0x11);
    write_tile(other, 0, 0, 0x22);
    read_tile(mine, 2);
    EXPECT_EQ(cv_flush_tiles(mine), 0);
    EXPECT_EQ(file("mine").tile(1, 0), tile_of(mine, 0x11));
    EXPECT_EQ(file("mine").slot(2, 0), -1) << "it was clean";
    EXPECT_EQ(file("other").slot(0, 0), -1) << "the other canvas is left alone";
    EXPECT_EQ(lru_order(), "-:1,0 1:0,0 -:2,0");
    EXPECT_EQ(cached(mine, 1), nullptr);
    EXPECT_EQ(cached(mine, 2), nullptr);
    EXPECT_EQ(cached(other, 0)->dirty, 1);
    EXPECT_EQ(record_of(mine).tiles_fetched, 2) << "only replacement lowers the count";
}

TEST_P(flushing, detached_tile_is_never_found_again)
{
    write_tile(mine, 1, 0, 0x11);
    ASSERT_EQ(cv_flush_tiles(mine), 0);
    EXPECT_EQ(shown(mine, 1), tile_of(mine, 0x11));
    settle();
    EXPECT_EQ(lru_order(), "-:1,0 0:1,0");
}

TEST_P(flushing, writes_tiles_in_the_order_of_the_grid)
{
    for (const int32_t column : {3, 0, 2, 1}) write_tile(mine, column, 0, 1);
    ASSERT_EQ(cv_flush_tiles(mine), 0);
    for (int32_t column = 0; column < 4; ++column) EXPECT_EQ(file("mine").slot(column, 0), column);
}

TEST_P(flushing, writes_locked_tiles_too)
{
    ASSERT_EQ(request_tile(mine, 1, 0, true), 0);
    cv_tile* const held = parg.req[0].tile;
    std::memset(parg.req[0].buffer, 0x44, 65'536);
    ASSERT_EQ(cv_flush_tiles_keep(mine), 0);
    EXPECT_EQ(file("mine").tile(1, 0), tile_of(mine, 0x44));
    EXPECT_EQ(held->locked, 1);
    let_go(held);
}

TEST_P(flushing, keeping_writes_back_and_leaves_the_tiles_in_memory)
{
    write_tile(mine, 1, 0, 0x11);
    EXPECT_EQ(cv_flush_tiles_keep(mine), 0);
    EXPECT_EQ(file("mine").tile(1, 0), tile_of(mine, 0x11));
    ASSERT_NE(cached(mine, 1), nullptr);
    EXPECT_EQ(cached(mine, 1)->dirty, 0);
    EXPECT_EQ(lru_order(), "0:1,0");
}

TEST_P(flushing, dropping_loses_the_changes_and_keeps_the_file)
{
    write_tile(mine, 1, 0, 0x11);
    ASSERT_EQ(cv_flush_tiles_keep(mine), 0);
    write_tile(mine, 1, 0, 0x99);
    write_tile(mine, 2, 0, 0x99);
    settle();
    cv_tile* const dropped = cached(mine, 1);
    EXPECT_EQ(cv_delete_tiles(mine), 0);
    EXPECT_EQ(dropped->canvas, nullptr);
    EXPECT_EQ(dropped->dirty, 0);
    EXPECT_EQ(lru_order(), "-:1,0 -:2,0");
    EXPECT_EQ(file("mine").tile(1, 0), tile_of(mine, 0x11));
    EXPECT_EQ(file("mine").slot(2, 0), -1);
    EXPECT_EQ(shown(mine, 1), tile_of(mine, 0x11));
    EXPECT_EQ(shown(mine, 2), tile_of(mine, 0));
}

TEST_P(flushing, everything_goes_to_the_files_and_leaves_memory)
{
    write_tile(mine, 1, 0, 0x11);
    write_tile(other, 2, 0, 0x22);
    ASSERT_EQ(request_tile(mine, 3, 0, true), 0);  // locked
    std::memset(parg.req[0].buffer, 0x33, 65'536);
    read_tile(mine, 2);
    ASSERT_EQ(cv_flush_tiles(mine), 0);  // some are detached
    read_tile(mine, 0);
    const int64_t before = total_size_tiles;
    EXPECT_EQ(canvas_flush_all(), 0);

    EXPECT_EQ(first_tile, nullptr);
    EXPECT_EQ(last_tile, nullptr);
    EXPECT_EQ(zones_in_use(), 0);
    EXPECT_EQ(before - total_size_tiles, 4 * mask_tile_bytes + picture_tile_bytes);
    EXPECT_EQ(cached(mine, 0), nullptr);
    EXPECT_EQ(cached(other, 2), nullptr);
    EXPECT_EQ(file("mine").tile(1, 0), tile_of(mine, 0x11));
    EXPECT_EQ(file("mine").tile(3, 0), tile_of(mine, 0x33));
    EXPECT_EQ(file("other").tile(2, 0), tile_of(other, 0x22));
    EXPECT_EQ(record_of(mine).tiles_fetched, 4) << "only replacement lowers the count";
    EXPECT_EQ(record_of(other).tiles_fetched, 1);
}

TEST_P(flushing, an_empty_cache_is_nothing_to_flush)
{
    EXPECT_EQ(canvas_flush_all(), 0);
    EXPECT_EQ(cv_flush_tiles(mine), 0);
    EXPECT_EQ(cv_flush_tiles_keep(mine), 0);
    EXPECT_EQ(cv_delete_tiles(mine), 0);
    EXPECT_EQ(file("mine").tiles_written(), 0);
}

TEST_P(flushing, slot_without_a_canvas_is_refused)
{
    for (const int32_t number : {-1, 7, 50, INT32_MIN}) {
        EXPECT_EQ(cv_flush_tiles(number), -255);
        EXPECT_EQ(cv_flush_tiles_keep(number), -255);
        EXPECT_EQ(cv_delete_tiles(number), -255);
    }
    settle();
}

TEST_P(flushing, ends_at_the_first_failure_and_goes_on_from_there_when_repeated)
{
    for (int32_t column = 0; column < 4; ++column) write_tile(mine, column, 0, static_cast<uint8_t>(column + 1));
    cv_disk_full_return(1);
    const size_t tiles_start = static_cast<size_t>(int32_at(file("mine").contents(), 0x34C));
    {
        const file_size_limit limit(tiles_start + 2 * mask_tile_bytes);
        EXPECT_EQ(cv_flush_tiles(mine), -255);
    }
    EXPECT_EQ(cv_disk_full, 1);
    EXPECT_EQ(lru_order(), "-:0,0 -:1,0 0:2,0 0:3,0");
    EXPECT_EQ(cached(mine, 2)->dirty, 1);
    EXPECT_EQ(cached(mine, 3)->dirty, 1);

    std::atomic_ref(cv_disk_full).store(0);
    EXPECT_EQ(cv_flush_tiles(mine), 0);
    for (int32_t column = 0; column < 4; ++column)
        EXPECT_EQ(file("mine").tile(column, 0), tile_of(mine, static_cast<uint8_t>(column + 1))) << column;
    EXPECT_EQ(file("mine").tiles_written(), 4);
}

TEST_P(flushing, everything_stops_at_a_full_disk_and_loses_nothing)
{
    for (int32_t column = 0; column < 3; ++column) write_tile(mine, column, 0, static_cast<uint8_t>(column + 1));
    cv_disk_full_return(1);
    const size_t tiles_start = static_cast<size_t>(int32_at(file("mine").contents(), 0x34C));
    {
        const file_size_limit limit(tiles_start + mask_tile_bytes);
        EXPECT_EQ(canvas_flush_all(), 0) << "its result is not passed on";
    }
    EXPECT_EQ(cv_disk_full, 1);
    EXPECT_EQ(lru_order(), "0:1,0 0:2,0");
    EXPECT_EQ(cached(mine, 1), nullptr) << "unhooked before its write failed";

    std::atomic_ref(cv_disk_full).store(0);
    EXPECT_EQ(shown(mine, 1), tile_of(mine, 2));
    EXPECT_EQ(canvas_flush_all(), 0);
    EXPECT_EQ(tiles_in_memory(), 0);
    for (int32_t column = 0; column < 3; ++column)
        EXPECT_EQ(file("mine").tile(column, 0), tile_of(mine, static_cast<uint8_t>(column + 1))) << column;
}

TEST_P(flushing, everything_stops_while_the_disk_is_full_even_without_a_write)
{
    read_tile(mine, 0);
    read_tile(mine, 1);
    settle();
    cv_disk_full_return(1);
    std::atomic_ref(cv_disk_full).store(1);
    EXPECT_EQ(canvas_flush_all(), 0);
    EXPECT_EQ(lru_order(), "0:0,0 0:1,0");
}

INSTANTIATE_TEST_SUITE_P(, flushing, both_modes(), mode_name);

}  // namespace
