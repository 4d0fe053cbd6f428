// How large a file is going to be, and the palette that a conversion may have left.
#include <cstdlib>

#include "tests/files/files_test.h"

namespace {

using namespace iocache_test;

class estimate : public files_test {
protected:
    void SetUp() override
    {
        start();
        forget_reports();
    }
};

constexpr int32_t picture = 1;
constexpr int32_t mask = 0;
constexpr int64_t header_and_icon = 4096 + 40'448;  // 100 x 100 x 4 rounded up to 512

TEST_P(estimate, small_picture_is_header_icon_table_and_tiles)
{
    EXPECT_EQ(cv_calculate_filesize(1024, 1024, picture), header_and_icon + 512 + 16 * 327'680);
    EXPECT_EQ(cv_calculate_filesize(1, 1, picture), header_and_icon + 512 + 327'680);
    EXPECT_EQ(cv_calculate_filesize(256, 256, picture), header_and_icon + 512 + 327'680);
    EXPECT_EQ(cv_calculate_filesize(257, 256, picture), header_and_icon + 512 + 2 * 327'680);
    EXPECT_EQ(cv_calculate_filesize(256, 257, picture), header_and_icon + 512 + 2 * 327'680);
}

TEST_P(estimate, mask_has_the_icon_of_a_picture_and_tiles_of_its_own)
{
    EXPECT_EQ(cv_calculate_filesize(1024, 1024, mask), header_and_icon + 512 + 16 * 65'536) << "as hosts expect";
}

TEST_P(estimate, any_kind_but_1_is_a_mask)
{
    for (const int32_t kind : {0, 2, 3, -1})
        EXPECT_EQ(cv_calculate_filesize(300, 300, kind), header_and_icon + 512 + 4 * 65'536) << kind;
}

TEST_P(estimate, reduced_image_counts_once_a_side_is_longer_than_the_frame)
{
    // 1025 x 600: factor 1025/1024, reduced to 1024 x 599.
    constexpr int64_t reduced = int64_t{1024} * 599 * 5;
    static_assert(reduced % 512 == 0);
    EXPECT_EQ(cv_calculate_filesize(1025, 600, picture), header_and_icon + reduced + 512 + 15 * 327'680);
    EXPECT_EQ(cv_calculate_filesize(600, 1025, picture), header_and_icon + reduced + 512 + 15 * 327'680);
}

TEST_P(estimate, reduced_image_of_a_mask_counts_like_that_of_a_picture)
{
    // 4096 x 2048: factor 4, reduced to 1024 x 512.
    constexpr int64_t reduced = int64_t{1024} * 512 * 5;
    EXPECT_EQ(cv_calculate_filesize(4096, 2048, mask), header_and_icon + reduced + 512 + 128 * 65'536)
        << "as hosts expect";
    EXPECT_EQ(cv_calculate_filesize(4096, 2048, picture), header_and_icon + reduced + 512 + 128 * 327'680);
}

TEST_P(estimate, longer_side_in_frames_decides_the_factor)
{
    // 2048 x 3072: factor 3; (2047/3 cut) + 1 = 683 and (3071/3 cut) + 1 = 1024.
    constexpr int64_t reduced = (int64_t{683} * 1024 * 5 + 511) / 512 * 512;
    EXPECT_EQ(cv_calculate_filesize(2048, 3072, picture), header_and_icon + reduced + 512 + 96 * 327'680);
}

TEST_P(estimate, table_is_rounded_up)
{
    // 129 tiles in one row: 516 bytes of table.
    constexpr int64_t reduced = (int64_t{1024} * 1 * 5 + 511) / 512 * 512;
    EXPECT_EQ(cv_calculate_filesize(129 * 256, 1, mask), header_and_icon + reduced + 1024 + 129 * 65'536);
}

TEST_P(estimate, large_picture_needs_more_than_32_bits)
{
    // 30,000 x 30,000: 118 x 118 tiles, reduced to 1024 x 1024.
    constexpr int64_t table = (int64_t{118} * 118 * 4 + 511) / 512 * 512;
    constexpr int64_t tiles = int64_t{118} * 118 * 327'680;
    static_assert(tiles > int64_t{1} << 32);
    EXPECT_EQ(cv_calculate_filesize(30'000, 30'000, picture), header_and_icon + 5'242'880 + table + tiles);
}

TEST_P(estimate, ink_and_colour_processing_are_not_counted)
{
    const int64_t estimated = cv_calculate_filesize(100, 80, picture);
    cv_canvas& canvas = open_new("picture", small_picture);
    ASSERT_EQ(store(canvas, 0, 1), 0);
    ASSERT_EQ(canvas_close(canvas.index), 0);
    EXPECT_EQ(facts_of(path("picture")).st_size, estimated + 6144 + 153'600) << "as hosts expect";
}

TEST_P(estimate, file_system_that_is_not_there_has_no_room)
{
    EXPECT_EQ(cv_get_disk_free(path("none").c_str()), 0U);
    int32_t block_size = 1234;
    EXPECT_EQ(cv_get_disk_free_blocks(path("none").c_str(), &block_size), 0);
    EXPECT_EQ(block_size, 1234) << "left as it was";
    expect_no_report();
}

class palette : public estimate {};

TEST_P(palette, is_handed_out_as_it_is)
{
    int32_t count = 1234;
    EXPECT_EQ(cv_ask_palet(&count), nullptr);
    EXPECT_EQ(count, 0);

    cv_palet_ptr = static_cast<uint8_t*>(std::malloc(768));
    cv_palet_num_bytes = 768;
    EXPECT_EQ(cv_ask_palet(&count), cv_palet_ptr);
    EXPECT_EQ(count, 768);
    cv_free_palet();
}

TEST_P(palette, is_freed_once)
{
    cv_palet_ptr = static_cast<uint8_t*>(std::malloc(768));
    cv_palet_num_bytes = 768;
    cv_free_palet();
    EXPECT_EQ(cv_palet_ptr, nullptr);
    EXPECT_EQ(cv_palet_num_bytes, 0);
    cv_free_palet();
    EXPECT_EQ(cv_palet_ptr, nullptr);
}

TEST_P(palette, of_no_bytes_is_not_touched)
{
    uint8_t not_owned = 0;
    cv_palet_ptr = &not_owned;
    cv_palet_num_bytes = 0;
    cv_free_palet();
    EXPECT_EQ(cv_palet_ptr, &not_owned);
    cv_palet_ptr = nullptr;
}

INSTANTIATE_TEST_SUITE_P(, estimate, in_line_mode(), mode_name);
INSTANTIATE_TEST_SUITE_P(, palette, in_line_mode(), mode_name);

}  // namespace
