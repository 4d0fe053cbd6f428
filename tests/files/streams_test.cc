// Opening and closing a canvas's two streams, and what that does to a file that is there and to one that is not.
#include <fcntl.h>

#include "tests/files/files_test.h"

namespace {

using namespace iocache_test;

constexpr int32_t existed = -30;
constexpr int32_t created = -31;

class streams : public files_test {
protected:
    void SetUp() override
    {
        start();
        canvas = &settled("mask", small_mask);
        ASSERT_EQ(canvas_close_file(0), 0);
    }

    static bool can_write(FILE* stream) { return (fcntl(fileno(stream), F_GETFL) & O_ACCMODE) == O_RDWR; }
    static bool is_closed_by_exec(FILE* stream) { return (fcntl(fileno(stream), F_GETFD) & FD_CLOEXEC) != 0; }

    cv_canvas* canvas = nullptr;
};

TEST_P(streams, file_that_exists_is_opened_twice_and_keeps_its_bytes)
{
    const bytes before = read_whole_file(path("mask"));
    EXPECT_EQ(canvas_open_file(0), existed);
    ASSERT_NE(canvas->fp, nullptr);
    ASSERT_NE(canvas->fp2, nullptr);
    EXPECT_NE(canvas->fp, canvas->fp2);
    EXPECT_TRUE(can_write(canvas->fp));
    EXPECT_TRUE(can_write(canvas->fp2));
    EXPECT_EQ(read_whole_file(path("mask")), before);
    expect_no_report();
}

TEST_P(streams, file_that_does_not_exist_is_made)
{
    std::filesystem::remove(path("mask"));
    EXPECT_EQ(canvas_open_file(0), created);
    ASSERT_NE(canvas->fp, nullptr);
    ASSERT_NE(canvas->fp2, nullptr);
    EXPECT_TRUE(can_write(canvas->fp));
    EXPECT_TRUE(can_write(canvas->fp2));
    EXPECT_EQ(facts_of(path("mask")).st_size, 0);
}

TEST_P(streams, new_file_may_be_read_and_written_by_everyone_and_the_creation_mask_comes_back)
{
    std::filesystem::remove(path("mask"));
    umask(077);
    ASSERT_EQ(canvas_open_file(0), created);
    EXPECT_EQ(facts_of(path("mask")).st_mode & 07777U, 0666U);
    EXPECT_EQ(current_umask(), 077U);
}

TEST_P(streams, creation_mask_comes_back_after_opening_a_file_that_was_there)
{
    umask(027);
    ASSERT_EQ(canvas_open_file(0), existed);
    EXPECT_EQ(current_umask(), 027U);
}

TEST_P(streams, creation_mask_stays_changed_when_the_file_can_be_neither_opened_nor_made)
{
    std::filesystem::remove(path("mask"));
    std::filesystem::create_directory(path("mask"));
    umask(027);
    EXPECT_EQ(canvas_open_file(0), -255);
    EXPECT_EQ(current_umask(), 0111U) << "as hosts expect";
    EXPECT_EQ(canvas->fp, nullptr);
    EXPECT_EQ(canvas->fp2, nullptr);
    std::filesystem::remove(path("mask"));
}

TEST_P(streams, passing_trouble_never_empties_a_file)
{
    const bytes before = read_whole_file(path("mask"));
    {
        const descriptor_limit none(0);
        EXPECT_EQ(canvas_open_file(0), -255);
    }
    EXPECT_EQ(read_whole_file(path("mask")), before);
}

TEST_P(streams, one_shot_stream_is_closed_again_when_the_other_cannot_be_opened)
{
    const size_t before = open_descriptors();
    umask(027);
    {
        const descriptor_limit only_one(1);
        EXPECT_EQ(canvas_open_file(0), -255);
    }
    EXPECT_EQ(canvas->fp, nullptr);
    EXPECT_EQ(canvas->fp2, nullptr);
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(current_umask(), 027U);
}

TEST_P(streams, failed_request_block_fails_the_opening_but_leaves_both_streams_open)
{
    parg.opcode = -255;
    umask(027);
    EXPECT_EQ(canvas_open_file(0), -255);
    EXPECT_NE(canvas->fp, nullptr);
    EXPECT_NE(canvas->fp2, nullptr);
    EXPECT_EQ(current_umask(), 027U);
    parg.opcode = 0;
    EXPECT_EQ(canvas_close_file(0), 0);
}

TEST_P(streams, programs_that_the_host_starts_do_not_inherit_the_streams)
{
    std::filesystem::remove(path("mask"));
    ASSERT_EQ(canvas_open_file(0), created);
    EXPECT_TRUE(is_closed_by_exec(canvas->fp));
    EXPECT_TRUE(is_closed_by_exec(canvas->fp2));
    ASSERT_EQ(canvas_close_file(0), 0);
    uint8_t byte = 1;
    ASSERT_EQ(cv_write2(canvas, 0, &byte, 1), 0);
    EXPECT_TRUE(is_closed_by_exec(canvas->fp2));
    ASSERT_EQ(cv_read(canvas, 100, &byte, 1), -255);
    EXPECT_TRUE(is_closed_by_exec(canvas->fp));
}

TEST_P(streams, closing_closes_whatever_is_open)
{
    const size_t before = open_descriptors();
    EXPECT_EQ(canvas_close_file(0), 0) << "neither is open";
    ASSERT_EQ(canvas_open_file(0), existed);
    EXPECT_EQ(canvas_close_file(0), 0);
    EXPECT_EQ(canvas->fp, nullptr);
    EXPECT_EQ(canvas->fp2, nullptr);
    EXPECT_EQ(open_descriptors(), before);
    uint8_t byte = 0;
    ASSERT_EQ(cv_read2(canvas, 0, &byte, 1), 0);
    EXPECT_EQ(canvas_close_file(0), 0) << "only the kept-open one is";
    EXPECT_EQ(canvas->fp2, nullptr);
    EXPECT_EQ(open_descriptors(), before);
}

TEST_P(streams, empty_slot_has_none)
{
    for (const int32_t number : {1, 49, 50, -1}) {
        EXPECT_EQ(canvas_open_file(number), -255);
        EXPECT_EQ(canvas_close_file(number), -255);
    }
    expect_no_report();
}

TEST_P(streams, file_is_tested_for_reading_and_for_both)
{
    EXPECT_EQ(cv_test_file(path("mask").c_str(), 0), 0);
    EXPECT_EQ(cv_test_file(path("mask").c_str(), 1), 0);
    EXPECT_EQ(cv_test_file(path("mask").c_str(), 7), 0) << "any value but 0 asks for both";
    EXPECT_EQ(cv_test_file(path("none").c_str(), 0), -255);
    EXPECT_EQ(cv_test_file(path("none").c_str(), 1), -255);
    expect_no_report();
}

INSTANTIATE_TEST_SUITE_P(, streams, in_line_mode(), mode_name);

}  // namespace
