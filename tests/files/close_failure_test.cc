// Closing a canvas whose tiles cannot be written: the file says that it is not complete, and nothing keeps the record.
#include "tests/files/files_test.h"

namespace {

using namespace iocache_test;

class failed_flush : public files_test {
protected:
    void SetUp() override
    {
        start();
        cv_prewrite_allowed = 1;  // nothing is written before the close
        cv_disk_full_return(1);   // and the host makes no room
        canvas = &open_new("picture", small_picture);
    }
    void TearDown() override
    {
        cv_disk_full_return(0);
        std::atomic_ref(cv_disk_full).store(0);
    }
    // Closes while the file cannot hold another tile; answers what was printed.
    std::string close_on_a_full_disk() const
    {
        const file_size_limit limit(read_whole_file(path("picture")).size());
        return printed_by([&] {
            tq_logs = 1;
            EXPECT_EQ(canvas_close(0), 0);
            tq_logs = 0;
        });
    }

    cv_canvas* canvas = nullptr;
};

TEST_P(failed_flush, file_stays_dirty_and_the_log_says_so)
{
    ASSERT_EQ(store(*canvas, 3, 0x47), 0);
    const std::string printed = close_on_a_full_disk();
    EXPECT_EQ(canvas_file(path("picture")).dirty(), 1);
    EXPECT_EQ(printed.find("  Closing canvas " + path("picture") + "\n"), 0U);
    EXPECT_NE(printed.find("write failed on canvas 0 picture\n"), std::string::npos);
    EXPECT_NE(printed.find("  Tiles not written, canvas stays dirty " + path("picture") + "\n"), std::string::npos);
}

TEST_P(failed_flush, file_that_was_dirty_before_stays_so)
{
    constexpr shape tall{.y_max = 511};
    cv_canvas& growing = open_new("growing", tall);
    ASSERT_EQ(store(growing, 0, 0x11), 0);
    ASSERT_EQ(cv_flush_tiles(growing.index), 0);
    ASSERT_EQ(canvas_file(path("growing")).dirty(), 1);
    ASSERT_EQ(store(growing, 300, 0x22), 0);
    {
        const file_size_limit limit(read_whole_file(path("growing")).size());
        printed_by([&] { EXPECT_EQ(canvas_close(growing.index), 0); });
    }
    EXPECT_EQ(canvas_file(path("growing")).dirty(), 1);
    EXPECT_EQ(canvas_file(path("growing")).pixel(0, 0), (bytes{0x11, 0x11, 0x11, 0x11, 0x11}));
}

// The file cannot even be made longer: a header that counted the slot would keep it from being opened.
TEST_P(failed_flush, file_without_room_for_a_slot_opens_again_with_all_that_was_written)
{
    constexpr shape tall{.y_max = 511};
    cv_canvas& growing = open_new("growing", tall);
    ASSERT_EQ(store(growing, 0, 0x11), 0);
    ASSERT_EQ(cv_flush_tiles(growing.index), 0);
    ASSERT_EQ(store(growing, 300, 0x22), 0);
    {
        const file_size_limit limit(read_whole_file(path("growing")).size() + 1000);
        printed_by([&] { EXPECT_EQ(canvas_close(growing.index), 0); });
    }
    std::atomic_ref(cv_disk_full).store(0);
    const canvas_file left(path("growing"));
    EXPECT_EQ(left.dirty(), 1);
    EXPECT_EQ(left.tiles_written(), 1);
    EXPECT_EQ(left.slot(0, 1), -1);
    EXPECT_EQ(left.pixel(0, 0), (bytes{0x11, 0x11, 0x11, 0x11, 0x11}));
    EXPECT_GE(canvas_old(path("growing").c_str()), 0) << host().last_message();
}

TEST_P(failed_flush, record_is_gone_and_no_tile_names_it)
{
    constexpr shape four_tiles{.x_max = 511, .y_max = 511};
    cv_canvas& square = open_new("square", four_tiles);
    for (const int32_t y : {0, 300}) ASSERT_EQ(store(square, y, 0x47), 0);
    const size_t size = read_whole_file(path("square")).size();
    {
        const file_size_limit limit(size);
        printed_by([&] { EXPECT_EQ(canvas_close(square.index), 0); });
    }
    EXPECT_EQ(canvastable[1], nullptr);
    int32_t tiles = 0;
    for (const cv_tile* tile = first_tile; tile != nullptr; tile = tile->next, ++tiles) {
        EXPECT_EQ(tile->canvas, nullptr);
        EXPECT_EQ(tile->dirty, 0);
        EXPECT_EQ(tile->locked, 0);
    }
    EXPECT_EQ(tiles, 4);
}

TEST_P(failed_flush, library_goes_on_with_the_next_canvas)
{
    ASSERT_EQ(store(*canvas, 3, 0x47), 0);
    close_on_a_full_disk();
    std::atomic_ref(cv_disk_full).store(0);
    cv_canvas& next = open_new("next", small_picture);
    EXPECT_EQ(next.index, 0);
    ASSERT_EQ(store(next, 3, 0x99), 0);
    EXPECT_EQ(canvas_close(next.index), 0);
    EXPECT_EQ(canvas_file(path("next")).pixel(0, 3), (bytes{0x99, 0x99, 0x99, 0x99, 0x99}));
}

TEST_P(failed_flush, descriptors_are_given_back)
{
    const size_t before = open_descriptors();
    ASSERT_EQ(canvas_close(0), 0);
    const size_t without = open_descriptors();
    ASSERT_LT(without, before);
    cv_canvas& again = open_new("again", small_picture);
    ASSERT_EQ(store(again, 3, 0x47), 0);
    {
        const file_size_limit limit(read_whole_file(path("again")).size());
        printed_by([&] { EXPECT_EQ(canvas_close(again.index), 0); });
    }
    EXPECT_EQ(open_descriptors(), without);
}

TEST_P(failed_flush, unsaved_canvas_asks_for_no_room)
{
    cv_mark_canvas_nosave(0);
    ASSERT_EQ(store(*canvas, 3, 0x47), 0);
    EXPECT_EQ(close_on_a_full_disk(), "  Closing canvas " + path("picture") + "\n");
    EXPECT_EQ(cv_disk_full, 0);
    EXPECT_FALSE(exists(path("picture")));
}

INSTANTIATE_TEST_SUITE_P(, failed_flush, both_modes(), mode_name);

}  // namespace
