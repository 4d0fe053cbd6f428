// Reading a block of a canvas's file: by the stream that closes again, and by the one that stays open.
#include "tests/files/files_test.h"

namespace {

using namespace iocache_test;

class reading : public files_test {
protected:
    void SetUp() override
    {
        start();
        canvas = &settled("picture", small_picture);
        file = read_whole_file(path("picture"));
    }
    // "VERB failed on INDEX NAME", with a canvas in slot 0.
    static std::string told(const std::string& verb) { return verb + " failed on 0 picture\n"; }
    static std::string printed(const std::string& verb) { return verb + " failed on canvas 0 picture\n"; }

    cv_canvas* canvas = nullptr;
    bytes file;
    bytes buffer = bytes(64, 0xEE);
};

TEST_P(reading, one_shot_read_fetches_the_block_and_closes_its_stream)
{
    EXPECT_EQ(cv_read(canvas, 0x340, buffer.data(), 64), 0);
    EXPECT_EQ(buffer, part_of(file, 0x340, 64));
    EXPECT_EQ(canvas->fp, nullptr);
    expect_no_report();
}

TEST_P(reading, one_shot_read_of_the_last_byte_succeeds)
{
    EXPECT_EQ(cv_read(canvas, static_cast<int64_t>(file.size()) - 1, buffer.data(), 1), 0);
    EXPECT_EQ(buffer[0], file.back());
}

TEST_P(reading, one_shot_read_without_a_file_is_told)
{
    std::filesystem::remove(path("picture"));
    EXPECT_EQ(cv_read(canvas, 0, buffer.data(), 64), -255);
    expect_report(999201, {"cannot open the file\n"});
    EXPECT_EQ(canvas->fp, nullptr);
}

TEST_P(reading, one_shot_read_that_cannot_seek_is_told_and_leaves_its_stream_open)
{
    EXPECT_EQ(cv_read(canvas, -1, buffer.data(), 64), -255);
    expect_report(999202, {told("seek")});
    EXPECT_EQ(error_m, told("seek"));
    EXPECT_NE(canvas->fp, nullptr);
}

TEST_P(reading, one_shot_read_across_the_end_is_told_and_leaves_its_stream_open)
{
    EXPECT_EQ(cv_read(canvas, static_cast<int64_t>(file.size()) - 63, buffer.data(), 64), -255);
    expect_report(999203, {told("read")});
    EXPECT_EQ(error_m, told("read"));
    EXPECT_NE(canvas->fp, nullptr);
}

TEST_P(reading, stream_that_a_failed_one_shot_read_left_open_is_used_again)
{
    ASSERT_EQ(cv_read(canvas, int64_t{1} << 40, buffer.data(), 64), -255);
    FILE* const left_open = canvas->fp;
    ASSERT_EQ(cv_read(canvas, int64_t{1} << 40, buffer.data(), 64), -255);
    EXPECT_EQ(canvas->fp, left_open);
    // The name no longer leads to the file, so that only the same stream can still read it.
    std::filesystem::remove(path("picture"));
    EXPECT_EQ(cv_read(canvas, 0, buffer.data(), 64), 0);
    EXPECT_EQ(buffer, part_of(file, 0, 64));
    EXPECT_EQ(canvas->fp, nullptr);
}

TEST_P(reading, one_shot_read_of_nothing_fails_as_a_read)
{
    EXPECT_EQ(cv_read(canvas, 0, buffer.data(), 0), -255);
    expect_report(999203, {told("read")});
}

TEST_P(reading, one_shot_read_opens_for_reading_and_writing)
{
    ASSERT_EQ(cv_read(canvas, -1, buffer.data(), 64), -255);
    ASSERT_NE(canvas->fp, nullptr);
    EXPECT_EQ(cv_write(canvas, 100, pattern(8).data(), 8), 0) << "by the stream that the read left open";
    EXPECT_EQ(part_of(read_whole_file(path("picture")), 100, 8), pattern(8));
}

TEST_P(reading, kept_open_read_fetches_the_block_and_leaves_its_stream_open)
{
    FILE* const kept = canvas->fp2;
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(cv_read2(canvas, 0x340, buffer.data(), 64), 0);
    EXPECT_EQ(buffer, part_of(file, 0x340, 64));
    EXPECT_EQ(canvas->fp2, kept);
    EXPECT_EQ(canvas->fp, nullptr);
}

TEST_P(reading, kept_open_read_opens_a_closed_stream)
{
    ASSERT_EQ(canvas_close_file(0), 0);
    EXPECT_EQ(cv_read2(canvas, 0x340, buffer.data(), 64), 0);
    EXPECT_EQ(buffer, part_of(file, 0x340, 64));
    EXPECT_NE(canvas->fp2, nullptr);
}

TEST_P(reading, kept_open_read_without_a_file_is_only_printed)
{
    ASSERT_EQ(canvas_close_file(0), 0);
    std::filesystem::remove(path("picture"));
    int32_t result = 0;
    EXPECT_EQ(printed_by([&] { result = cv_read2(canvas, 0, buffer.data(), 64); }), "cannot open the file\n");
    EXPECT_EQ(result, -255);
    expect_no_report();
}

TEST_P(reading, kept_open_read_that_cannot_seek_is_only_printed_and_leaves_its_stream_open)
{
    FILE* const kept = canvas->fp2;
    int32_t result = 0;
    EXPECT_EQ(printed_by([&] { result = cv_read2(canvas, -1, buffer.data(), 64); }), printed("seek"));
    EXPECT_EQ(result, -255);
    EXPECT_EQ(error_m, printed("seek"));
    EXPECT_EQ(canvas->fp2, kept);
    expect_no_report();
}

TEST_P(reading, kept_open_read_across_the_end_is_only_printed_and_leaves_its_stream_open)
{
    FILE* const kept = canvas->fp2;
    const auto offset = static_cast<int64_t>(file.size()) - 63;
    int32_t result = 0;
    EXPECT_EQ(printed_by([&] { result = cv_read2(canvas, offset, buffer.data(), 64); }), printed("read"));
    EXPECT_EQ(result, -255);
    EXPECT_EQ(error_m, printed("read"));
    EXPECT_EQ(canvas->fp2, kept);
    expect_no_report();
    EXPECT_EQ(cv_read2(canvas, 0, buffer.data(), 64), 0) << "the next one works";
}

TEST_P(reading, neither_family_relies_on_the_position_of_the_one_before)
{
    for (const int64_t offset : {int64_t{4000}, int64_t{12}, int64_t{44'000}}) {
        EXPECT_EQ(cv_read2(canvas, offset, buffer.data(), 64), 0);
        EXPECT_EQ(buffer, part_of(file, static_cast<size_t>(offset), 64));
        EXPECT_EQ(cv_read(canvas, offset + 30, buffer.data(), 64), 0);
        EXPECT_EQ(buffer, part_of(file, static_cast<size_t>(offset) + 30, 64));
    }
}

TEST_P(reading, name_of_a_file_is_never_a_format)
{
    settled("%s%n%d", small_mask);
    EXPECT_EQ(cv_read(canvastable[1], -1, buffer.data(), 1), -255);
    expect_report(999202, {"seek failed on 1 %s%n%d\n"});
    EXPECT_EQ(printed_by([&] { cv_read2(canvastable[1], -1, buffer.data(), 1); }), "seek failed on canvas 1 %s%n%d\n");
}

TEST_P(reading, text_of_a_failure_is_cut_to_its_buffer)
{
    const std::string name(200, 'n');
    settled(name, small_mask);
    EXPECT_EQ(cv_read(canvastable[1], -1, buffer.data(), 1), -255);
    expect_report(999202, {("seek failed on 1 " + name).substr(0, sizeof error_m - 1)});
}

INSTANTIATE_TEST_SUITE_P(, reading, in_line_mode(), mode_name);

}  // namespace
