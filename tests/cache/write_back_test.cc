// Writing changed tiles to their slots: cv_write_dirty_tile while the cache process waits for a request.
#include "tests/cache/cache_test.h"
#include "tests/support/file_size_limit.h"

namespace {

using namespace iocache_test;

class write_back : public cache_test {
protected:
    void SetUp() override
    {
        start_with_zones(8);
        picture = new_picture("picture", 1000, 600);
    }
    void change(int32_t column, int32_t row, uint8_t value)
    {
        write_tile(picture, column, row, value);
        settle();
    }
    int32_t picture = -1;
};

TEST_P(write_back, clean_tile_is_not_written)
{
    read_tile(picture, 0);
    settle();
    EXPECT_EQ(cv_write_dirty_tile(cached(picture, 0)), 0);
    EXPECT_EQ(file("picture").slot(0, 0), -1);
    EXPECT_EQ(file("picture").dirty(), 0);
}

TEST_P(write_back, only_the_value_1_means_dirty)
{
    read_tile(picture, 0);
    settle();
    cached(picture, 0)->dirty = 2;
    EXPECT_EQ(cv_write_dirty_tile(cached(picture, 0)), 0);
    EXPECT_EQ(file("picture").slot(0, 0), -1);
    EXPECT_EQ(cached(picture, 0)->dirty, 2);
}

TEST_P(write_back, first_write_gives_the_tile_the_next_slot)
{
    change(2, 1, 0x11);
    change(0, 0, 0x22);
    EXPECT_EQ(cv_write_dirty_tile(cached(picture, 2, 1)), 0);
    EXPECT_EQ(cached(picture, 2, 1)->dirty, 0);
    EXPECT_EQ(cv_write_dirty_tile(cached(picture, 0, 0)), 0);

    const canvas_file stored = file("picture");
    EXPECT_EQ(stored.slot(2, 1), 0);
    EXPECT_EQ(stored.slot(0, 0), 1);
    EXPECT_EQ(stored.tiles_written(), 2);
    EXPECT_EQ(stored.dirty(), 1);
    EXPECT_EQ(stored.tile(2, 1), tile_of(picture, 0x11));
    EXPECT_EQ(stored.tile(0, 0), tile_of(picture, 0x22));
    const int64_t tiles_start = int32_at(stored.contents(), 0x34C);
    EXPECT_EQ(cached(picture, 2, 1)->file_pos, tiles_start);
    EXPECT_EQ(cached(picture, 0, 0)->file_pos, tiles_start + 327'680);
    EXPECT_EQ(slot_in_memory(picture, 2, 1), 0);
    EXPECT_EQ(record_of(picture).header->tiles_written, 2);
}

TEST_P(write_back, second_write_goes_to_the_same_slot)
{
    change(1, 0, 0x11);
    ASSERT_EQ(cv_write_dirty_tile(cached(picture, 1)), 0);
    change(1, 0, 0x22);
    ASSERT_EQ(cv_write_dirty_tile(cached(picture, 1)), 0);
    const canvas_file stored = file("picture");
    EXPECT_EQ(stored.tiles_written(), 1);
    EXPECT_EQ(stored.tile(1, 0), tile_of(picture, 0x22));
}

TEST_P(write_back, slot_is_kept_for_good)
{
    change(1, 0, 0x11);
    ASSERT_EQ(cv_flush_tiles(picture), 0);
    change(0, 0, 0x33);
    change(1, 0, 0x22);
    ASSERT_EQ(cv_flush_tiles(picture), 0);
    const canvas_file stored = file("picture");
    EXPECT_EQ(stored.slot(1, 0), 0);
    EXPECT_EQ(stored.slot(0, 0), 1);
    EXPECT_EQ(stored.tile(1, 0), tile_of(picture, 0x22));
}

TEST_P(write_back, marks_a_clean_file_dirty_also_when_the_tile_has_a_slot)
{
    change(1, 0, 0x11);
    ASSERT_EQ(cv_write_dirty_tile(cached(picture, 1)), 0);
    record_of(picture).header->dirty = 0;
    ASSERT_EQ(cv_write_header(picture), 0);
    ASSERT_EQ(file("picture").dirty(), 0);
    change(1, 0, 0x22);
    ASSERT_EQ(cv_write_dirty_tile(cached(picture, 1)), 0);
    EXPECT_EQ(file("picture").dirty(), 1);
    EXPECT_EQ(record_of(picture).header->dirty, 1);
}

TEST_P(write_back, failed_write_means_a_full_disk_and_the_tile_stays_dirty)
{
    change(1, 0, 0x11);
    cv_tile* const tile = cached(picture, 1);
    {
        const file_size_limit limit(file("picture").contents().size() + 1000);
        EXPECT_EQ(cv_write_dirty_tile(tile), -255);
    }
    EXPECT_EQ(cv_disk_full, 1);
    EXPECT_EQ(tile->dirty, 1);
    EXPECT_EQ(cached(picture, 1), tile);
    EXPECT_EQ(slot_in_memory(picture, 1), 0) << "the slot stays the tile's";

    cv_disk_full = 0;
    EXPECT_EQ(cv_write_dirty_tile(tile), 0);
    EXPECT_EQ(file("picture").slot(1, 0), 0);
    EXPECT_EQ(file("picture").tiles_written(), 1);
    EXPECT_EQ(file("picture").tile(1, 0), tile_of(picture, 0x11));
}

TEST_P(write_back, names_the_file_that_is_written)
{
    change(1, 0, 0x11);
    ASSERT_EQ(cv_write_dirty_tile(cached(picture, 1)), 0);
    EXPECT_EQ(cv_name_file, path("picture"));
}

INSTANTIATE_TEST_SUITE_P(, write_back, both_modes(), mode_name);

}  // namespace
