// Writes to a canvas file that fail one by one, and their order.
#include <sys/stat.h>

#include "tests/cache/forced_test.h"
#include "tests/support/file_size_limit.h"

namespace {

using namespace iocache_test;

class failed_write : public forced_test {
protected:
    void SetUp() override
    {
        start_with_zones(1);
        picture = new_picture("picture", 600, 256);
        const canvas_file fresh = file("picture");
        table_start = int32_at(fresh.contents(), 0x348);
        tiles_start = int32_at(fresh.contents(), 0x34C);
        write_tile(picture, 1, 0, 0x11);
        settle();
    }
    static void fail_writes_at(int64_t where)
    {
        hooks::on_write = [where](int64_t position, size_t) { return position == where; };
    }
    // The console's text belongs to another test.
    static int32_t write_silently(cv_tile* tile)
    {
        testing::internal::CaptureStdout();
        const int32_t result = cv_write_dirty_tile(tile);
        testing::internal::GetCapturedStdout();
        return result;
    }
    void expect_slot_given_and_tile_clean()
    {
        const cv_tile* const tile = cached(picture, 1);
        EXPECT_EQ(cv_disk_full, 0);
        EXPECT_EQ(tile->dirty, 0);
        EXPECT_EQ(tile->file_pos, tiles_start);
        EXPECT_EQ(slot_in_memory(picture, 1), 0);
        EXPECT_EQ(record_of(picture).header->tiles_written, 1);
    }
    int32_t picture = -1;
    int64_t table_start = 0;
    int64_t tiles_start = 0;
};

TEST_P(failed_write, of_the_table_leaves_the_tile_clean_with_its_slot)
{
    fail_writes_at(table_start);
    EXPECT_EQ(write_silently(cached(picture, 1)), -255);
    expect_slot_given_and_tile_clean();
    EXPECT_EQ(file("picture").slot(1, 0), -1);
    EXPECT_EQ(file("picture").dirty(), 0);
}

// The slot is counted all the same: the header of the close must not count it in a file that ends before it.
TEST_P(failed_write, of_the_table_without_room_for_the_slot_leaves_a_file_that_opens_again)
{
    {
        const file_size_limit no_larger(file("picture").contents().size());
        fail_writes_at(table_start);
        EXPECT_EQ(write_silently(cached(picture, 1)), -255);
        expect_slot_given_and_tile_clean();
        hooks::on_write = nullptr;
    }
    EXPECT_EQ(canvas_close(picture), 0);
    EXPECT_EQ(file("picture").tiles_written(), 1);
    EXPECT_GE(canvas_old(path("picture").c_str()), 0) << host().last_message();
}

// A slot that is handed out again must show zeros until its new tile is there.
TEST_P(failed_write, of_half_a_tile_leaves_nothing_of_it_in_a_closed_file)
{
    {
        const file_size_limit half(static_cast<size_t>(tiles_start + picture_tile_bytes / 2));
        EXPECT_EQ(canvas_close(picture), 0);
    }
    EXPECT_EQ(file("picture").tiles_written(), 0);
    EXPECT_EQ(file("picture").slot(1, 0), -1);
    EXPECT_EQ(file("picture").contents().size(), static_cast<size_t>(tiles_start));
}

// A failed write closes the stream that the remains are cut from.
TEST_P(failed_write, of_half_a_tile_leaves_nothing_of_it_where_table_and_header_cannot_be_written_either)
{
    const file_size_limit half(static_cast<size_t>(tiles_start + picture_tile_bytes / 2));
    testing::internal::CaptureStdout();
    EXPECT_NE(cv_flush_tiles(picture), 0);
    hooks::on_write = [this](int64_t position, size_t) { return position == 0 || position == table_start; };
    EXPECT_EQ(canvas_close(picture), 0);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(file("picture").contents().size(), static_cast<size_t>(tiles_start));
}

// Then the file is as good as lost; who looks for the reason finds it in the log.
TEST_P(failed_write, of_half_a_tile_whose_file_has_gone_is_in_the_log)
{
    const file_size_limit half(static_cast<size_t>(tiles_start + picture_tile_bytes / 2));
    testing::internal::CaptureStdout();
    EXPECT_NE(cv_flush_tiles(picture), 0);
    testing::internal::GetCapturedStdout();
    bool is_taken_back = false;  // closing writes the table before the header when it takes the slot back
    hooks::on_write = [&](int64_t position, size_t) {
        if (position == table_start) is_taken_back = true;
        if (position == 0 && is_taken_back) std::filesystem::remove(path("picture"));
        return position == 0 || position == table_start;
    };
    testing::internal::CaptureStdout();
    tq_logs = 1;
    EXPECT_EQ(canvas_close(picture), 0);
    tq_logs = 0;
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_NE(printed.find("Remains of unwritten tiles stay in " + path("picture") + "\n"), std::string::npos)
        << printed;
}

TEST_P(failed_write, of_the_header_leaves_the_tile_clean_with_its_slot)
{
    fail_writes_at(0);
    EXPECT_EQ(write_silently(cached(picture, 1)), -255);
    expect_slot_given_and_tile_clean();
    EXPECT_EQ(file("picture").slot(1, 0), 0);
    EXPECT_EQ(file("picture").dirty(), 0);
    EXPECT_EQ(record_of(picture).header->dirty, 1);
}

TEST_P(failed_write, tile_reaches_its_slot_when_it_is_changed_again)
{
    fail_writes_at(table_start);
    EXPECT_EQ(write_silently(cached(picture, 1)), -255);
    hooks::on_write = nullptr;
    EXPECT_EQ(cv_write_dirty_tile(cached(picture, 1)), 0);
    EXPECT_EQ(file("picture").contents().size(), static_cast<size_t>(tiles_start + picture_tile_bytes));
    EXPECT_NE(file("picture").contents().back(), 0x11) << "clean: nothing was written";
    write_tile(picture, 1, 0, 0x22);
    settle();
    EXPECT_EQ(cv_write_dirty_tile(cached(picture, 1)), 0);
    EXPECT_EQ(read_whole_file(path("picture")).back(), 0x22);
}

TEST_P(failed_write, of_the_header_behind_a_written_tile_is_a_failure_too)
{
    ASSERT_EQ(cv_write_dirty_tile(cached(picture, 1)), 0);
    record_of(picture).header->dirty = 0;
    write_tile(picture, 1, 0, 0x22);
    settle();
    fail_writes_at(0);
    EXPECT_EQ(write_silently(cached(picture, 1)), -255);
    EXPECT_EQ(cv_disk_full, 0);
    EXPECT_EQ(file("picture").tile(1, 0), tile_of(picture, 0x22));
    EXPECT_EQ(record_of(picture).header->dirty, 1);
}

TEST_P(failed_write, slot_is_appended_in_the_order_table_header_tile_behind_a_file_long_enough)
{
    std::vector<int64_t> positions;
    std::vector<int64_t> file_bytes;
    hooks::on_write = [&](int64_t position, size_t) {
        positions.push_back(position);
        struct stat now = {};
        EXPECT_EQ(stat(path("picture").c_str(), &now), 0);
        file_bytes.push_back(now.st_size);
        return false;
    };
    EXPECT_EQ(cv_write_dirty_tile(cached(picture, 1)), 0);
    EXPECT_EQ(positions, (std::vector<int64_t>{table_start, 0, tiles_start}));
    EXPECT_EQ(file_bytes, std::vector<int64_t>(3, tiles_start + picture_tile_bytes));
}

TEST_P(failed_write, of_a_tile_closes_the_stream_and_is_printed)
{
    fail_writes_at(tiles_start);
    testing::internal::CaptureStdout();
    cv_errno = 0;
    EXPECT_EQ(cv_write_dirty_tile(cached(picture, 1)), -255);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "write failed on canvas 0 picture\n");
    EXPECT_EQ(cv_errno, 0);
    EXPECT_EQ(host().messages(), std::vector<std::string>{});
    EXPECT_EQ(record_of(picture).fp2, nullptr);
    EXPECT_EQ(cv_disk_full, 1);
}

TEST_P(failed_write, header_of_a_canvas_that_lost_its_last_tile_is_reported_and_the_eviction_goes_on)
{
    const int32_t other = new_picture("other", 600, 256);
    ASSERT_EQ(cv_flush_tiles_keep(picture), 0);
    current_canvas = other;
    current_mask = other;
    fail_writes_at(0);
    testing::internal::CaptureStdout();
    read_tile(other, 0);
    settle();
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_EQ(output, "write failed on canvas 0 picture\nCan't write header of " + path("picture") + "\n");
    EXPECT_EQ(lru_order(), "1:0,0");
    EXPECT_EQ(record_of(picture).fp2, nullptr);
    EXPECT_EQ(host().kills(), 0);
}

TEST_P(failed_write, failure_of_a_victims_table_fails_the_request_for_good)
{
    fail_writes_at(table_start);
    testing::internal::CaptureStdout();
    EXPECT_EQ(request_tile(picture, 0), -255);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(cv_disk_full, 0);
    EXPECT_EQ(host().kills(), 1) << "no tile and no full disk: it cannot be had";
}

TEST_P(failed_write, flush_that_met_it_says_so)
{
    fail_writes_at(table_start);
    testing::internal::CaptureStdout();
    EXPECT_EQ(cv_flush_tiles(picture), -255);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(cv_disk_full, 0);
    EXPECT_EQ(lru_order(), "0:1,0");
    EXPECT_NE(cached(picture, 1), nullptr) << "the walk stopped here";
}

INSTANTIATE_TEST_SUITE_P(, failed_write, both_modes(), mode_name);

}  // namespace
