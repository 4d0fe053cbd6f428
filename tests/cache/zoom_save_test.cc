// The first write to a tile of a canvas that has a zoom canvas: that one keeps the tile as it was.
#include "tests/cache/cache_test.h"
#include "tests/support/file_size_limit.h"

namespace {

using namespace iocache_test;

class zoom_save : public cache_test {
protected:
    void start_with_zoom(int64_t zones)
    {
        start_with_zones(zones);
        parent = new_picture("parent", 600, 600);
        zoom = new_picture("zoom", 600, 600);
        write_tile(parent, 1, 1, 0x11);
        ASSERT_EQ(cv_flush_tiles(parent), 0);
        record_of(parent).zoom_child = &record_of(zoom);
    }
    void TearDown() override
    {
        cv_disk_full_return(0);
        std::atomic_ref(cv_disk_full).store(0);
    }
    int32_t parent = -1;
    int32_t zoom = -1;
};

TEST_P(zoom_save, first_write_saves_the_old_tile)
{
    start_with_zoom(8);
    write_tile(parent, 1, 1, 0x22);
    settle();
    ASSERT_NE(cached(zoom, 1, 1), nullptr);
    EXPECT_EQ(cached(zoom, 1, 1)->dirty, 1);
    EXPECT_EQ(cached(zoom, 1, 1)->locked, 0);
    EXPECT_EQ(shown(zoom, 1, 1), tile_of(zoom, 0x11));
    EXPECT_EQ(shown(parent, 1, 1), tile_of(parent, 0x22));
    EXPECT_EQ(cv_clear_tile, 1);
    ASSERT_EQ(canvas_flush_all(), 0);
    EXPECT_EQ(file("zoom").tile(1, 1), tile_of(zoom, 0x11));
    EXPECT_EQ(file("parent").tile(1, 1), tile_of(parent, 0x22));
}

TEST_P(zoom_save, first_write_to_a_tile_in_memory_saves_it_too)
{
    start_with_zoom(8);
    read_tile(parent, 1, 1);
    write_tile(parent, 1, 1, 0x22);
    EXPECT_EQ(shown(zoom, 1, 1), tile_of(zoom, 0x11));
}

TEST_P(zoom_save, later_writes_leave_the_saved_tile)
{
    start_with_zoom(8);
    write_tile(parent, 1, 1, 0x22);
    write_tile(parent, 1, 1, 0x33);
    EXPECT_EQ(shown(zoom, 1, 1), tile_of(zoom, 0x11));
    ASSERT_EQ(canvas_flush_all(), 0);
    write_tile(parent, 1, 1, 0x44);
    EXPECT_EQ(shown(zoom, 1, 1), tile_of(zoom, 0x11));
}

TEST_P(zoom_save, tile_that_was_never_written_is_saved_as_zeros)
{
    start_with_zoom(8);
    write_tile(parent, 0, 0, 0x22);
    ASSERT_EQ(canvas_flush_all(), 0);
    EXPECT_GE(file("zoom").slot(0, 0), 0);
    EXPECT_EQ(file("zoom").tile(0, 0), tile_of(zoom, 0));
}

TEST_P(zoom_save, reading_saves_nothing)
{
    start_with_zoom(8);
    read_tile(parent, 1, 1);
    settle();
    EXPECT_EQ(cached(zoom, 1, 1), nullptr);
}

TEST_P(zoom_save, zoom_canvas_with_fewer_tiles_keeps_only_those)
{
    start_with_zones(8);
    parent = new_picture("parent", 600, 600);
    zoom = new_picture("zoom", 600, 100);
    record_of(parent).zoom_child = &record_of(zoom);
    write_tile(parent, 1, 1, 0x22);
    settle();
    EXPECT_EQ(cv_test_if_canvas_empty(zoom), 0);
    EXPECT_EQ(shown(parent, 1, 1), tile_of(parent, 0x22));
    record_of(parent).zoom_child = nullptr;
}

TEST_P(zoom_save, full_disk_in_the_middle_is_made_good_by_the_repeated_request)
{
    start_with_zoom(2);
    const int32_t other = new_picture("other", 256, 256);
    write_tile(other, 0, 0, 0x55);  // must go for the copy, and cannot be written
    ASSERT_EQ(request_tile(parent, 1, 1), 0);
    let_go(parg.req[0].tile);
    settle();
    cv_disk_full_return(1);
    {
        const file_size_limit limit(file("other").contents().size() + 1000);
        EXPECT_EQ(request_tile(parent, 1, 1, true), -255);
    }
    EXPECT_EQ(cv_clear_tile, 0) << "left at 0 by the interrupted save";
    EXPECT_EQ(cv_disk_full, 1);
    EXPECT_EQ(parg.req[0].tile, nullptr);

    cv_disk_full_return(0);
    std::atomic_ref(cv_disk_full).store(0);
    write_tile(parent, 1, 1, 0x22);
    settle();
    EXPECT_EQ(cv_clear_tile, 1);
    EXPECT_EQ(shown(zoom, 1, 1), tile_of(zoom, 0x11));
    EXPECT_EQ(shown(parent, 1, 1), tile_of(parent, 0x22));
    EXPECT_EQ(shown(other, 0), tile_of(other, 0x55));
}

INSTANTIATE_TEST_SUITE_P(, zoom_save, both_modes(), mode_name);

}  // namespace
