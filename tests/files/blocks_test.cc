// The two blocks of a picture that the library keeps for its host, and the name that goes with one of them.
#include <cstring>
#include <utility>

#include "tests/files/files_test.h"

namespace {

using namespace iocache_test;

// One of the two, with what the format says about it.
struct block {
    const char* name;
    uint8_t* (*get)(int32_t);
    int32_t (*set)(int32_t, const void*);
    uint8_t* buffer;
    size_t count;
    size_t offset_field;
    int32_t cv_header::*offset;
    int32_t cv_header::*size;
};
const block blocks[] = {
    {"ink definitions", cv_ink_color_def_get, cv_ink_color_def_set, ink_color_def, 6144, 0x680, &cv_header::ink_offset,
     &cv_header::ink_bytes},
    {"colour-processing table", cv_tqcms_proc_get, cv_tqcms_proc_set, tqcms_proc, 153'600, 0x678,
     &cv_header::tqcms_offset, &cv_header::tqcms_bytes},
};

class opaque_blocks : public files_test {
protected:
    void SetUp() override
    {
        start();
        forget_reports();
    }
    bytes stored(const block& which) const
    {
        const bytes file = read_whole_file(path("picture"));
        return part_of(file, static_cast<size_t>(int32_at(file, which.offset_field)), which.count);
    }
    static bytes in_buffer(const block& which) { return {which.buffer, which.buffer + which.count}; }
};

TEST_P(opaque_blocks, set_block_is_in_the_file_and_is_got_again)
{
    cv_canvas& canvas = settled("picture", small_picture);
    const bytes before = read_whole_file(path("picture"));
    for (const block& which : blocks) {
        const bytes data = pattern(which.count);
        EXPECT_EQ(which.set(canvas.index, data.data()), 0) << which.name;
        EXPECT_EQ(stored(which), data) << which.name;
        std::memset(which.buffer, 0, which.count);
        EXPECT_EQ(which.get(canvas.index), which.buffer) << which.name;
        EXPECT_EQ(in_buffer(which), data) << which.name;
    }
    EXPECT_EQ(canvas.fp, nullptr);
    expect_no_report();
    bytes expected = before;
    std::ranges::copy(pattern(6144), expected.begin() + 44'544);
    std::ranges::copy(pattern(153'600), expected.begin() + 50'688);
    EXPECT_EQ(read_whole_file(path("picture")), expected) << "nothing else has changed";
}

TEST_P(opaque_blocks, new_picture_has_zeros_in_both)
{
    cv_canvas& canvas = settled("picture", small_picture);
    for (const block& which : blocks) {
        std::memset(which.buffer, 0xEE, which.count);
        ASSERT_EQ(which.get(canvas.index), which.buffer);
        EXPECT_TRUE(is_all(in_buffer(which), 0)) << which.name;
    }
}

TEST_P(opaque_blocks, mask_has_neither)
{
    cv_canvas& canvas = settled("mask", small_mask);
    const bytes before = read_whole_file(path("mask"));
    const bytes data = pattern(153'600);
    for (const block& which : blocks) {
        cv_errno = 0;
        EXPECT_EQ(which.get(canvas.index), nullptr) << which.name;
        EXPECT_EQ(cv_errno, 1);
        cv_errno = 0;
        EXPECT_EQ(which.set(canvas.index, data.data()), -255) << which.name;
        EXPECT_EQ(cv_errno, 1);
    }
    EXPECT_EQ(host().messages(), messages{});
    EXPECT_EQ(read_whole_file(path("mask")), before);
}

TEST_P(opaque_blocks, region_without_an_offset_is_missing)
{
    cv_canvas& canvas = settled("picture", small_picture);
    for (const block& which : blocks) {
        canvas.header->*which.offset = 0;
        cv_errno = 0;
        EXPECT_EQ(which.get(canvas.index), nullptr) << which.name;
        EXPECT_EQ(cv_errno, 1);
    }
}

TEST_P(opaque_blocks, region_of_another_size_is_refused)
{
    cv_canvas& canvas = settled("picture", small_picture);
    const bytes before = read_whole_file(path("picture"));
    const bytes data = pattern(153'600);
    for (const block& which : blocks) {
        for (const int32_t more : {-1, 1, 512}) {
            canvas.header->*which.size = static_cast<int32_t>(which.count) + more;
            cv_errno = 0;
            EXPECT_EQ(which.get(canvas.index), nullptr) << which.name;
            EXPECT_EQ(cv_errno, 2);
            cv_errno = 0;
            EXPECT_EQ(which.set(canvas.index, data.data()), -255) << which.name;
            EXPECT_EQ(cv_errno, 2);
        }
    }
    EXPECT_EQ(host().messages(), messages{});
    EXPECT_EQ(read_whole_file(path("picture")), before);
}

TEST_P(opaque_blocks, canvas_that_is_not_open_has_neither)
{
    const bytes data = pattern(153'600);
    for (const block& which : blocks) {
        for (const int32_t number : {0, 49, 50, -1}) {
            cv_errno = 0;
            EXPECT_EQ(which.get(number), nullptr) << which.name;
            EXPECT_EQ(cv_errno, 3);
            cv_errno = 0;
            EXPECT_EQ(which.set(number, data.data()), -255) << which.name;
            EXPECT_EQ(cv_errno, 3);
        }
    }
    EXPECT_EQ(host().messages(), messages{});
}

TEST_P(opaque_blocks, failed_transfer_has_its_own_code)
{
    cv_canvas& canvas = settled("picture", small_picture);
    std::filesystem::resize_file(path("picture"), 44'544);
    for (const block& which : blocks) {
        forget_reports();
        EXPECT_EQ(which.get(canvas.index), nullptr) << which.name;
        expect_report(999203, {"read failed on 0 picture\n"});
    }
    canvas_close_file(canvas.index);
    std::filesystem::remove(path("picture"));
    const bytes data = pattern(153'600);
    for (const block& which : blocks) {
        forget_reports();
        EXPECT_EQ(which.set(canvas.index, data.data()), -255) << which.name;
        expect_report(999206, {"cannot open the file"});
    }
}

TEST_P(opaque_blocks, name_of_the_table_is_in_header_and_file)
{
    cv_canvas& canvas = settled("picture", small_picture);
    EXPECT_STREQ(cv_tqcms_procname_get(canvas.index), "");
    EXPECT_EQ(cv_tqcms_procname_set(canvas.index, "coated, second edition"), 0);
    EXPECT_EQ(cv_tqcms_procname_get(canvas.index), canvas.header->tqcms_procname);
    EXPECT_STREQ(cv_tqcms_procname_get(canvas.index), "coated, second edition");
    EXPECT_EQ(text_at(read_whole_file(path("picture")), 0x636, 64), "coated, second edition");
    EXPECT_EQ(canvas.fp, nullptr) << "written by the one-shot stream";
    expect_no_report();
}

TEST_P(opaque_blocks, shorter_name_leaves_nothing_of_the_longer_one)
{
    cv_canvas& canvas = settled("picture", small_picture);
    ASSERT_EQ(cv_tqcms_procname_set(canvas.index, std::string(64, 'L').c_str()), 0);
    ASSERT_EQ(cv_tqcms_procname_set(canvas.index, "s"), 0);
    EXPECT_EQ(text_at(read_whole_file(path("picture")), 0x636, 64), "s");
}

TEST_P(opaque_blocks, long_name_fills_its_field_and_nothing_behind_it)
{
    cv_canvas& canvas = settled("picture", small_picture);
    const bytes before = read_whole_file(path("picture"));
    for (const size_t length : {size_t{63}, size_t{64}, size_t{65}, size_t{300}}) {
        EXPECT_EQ(cv_tqcms_procname_set(canvas.index, std::string(length, 'n').c_str()), 0);
        bytes expected = before;
        std::fill_n(expected.begin() + 0x636, std::min<size_t>(length, 64), uint8_t{'n'});
        EXPECT_EQ(read_whole_file(path("picture")), expected) << length;
    }
}

TEST_P(opaque_blocks, mask_has_a_name_too)
{
    cv_canvas& canvas = settled("mask", small_mask);
    EXPECT_EQ(cv_tqcms_procname_set(canvas.index, "grey"), 0);
    EXPECT_EQ(text_at(read_whole_file(path("mask")), 0x636, 64), "grey");
}

TEST_P(opaque_blocks, name_is_set_also_when_it_cannot_be_written)
{
    cv_canvas& canvas = settled("picture", small_picture);
    std::filesystem::remove(path("picture"));
    EXPECT_EQ(cv_tqcms_procname_set(canvas.index, "coated"), 0) << "as hosts expect";
    EXPECT_STREQ(cv_tqcms_procname_get(canvas.index), "coated");
    expect_report(999206, {"cannot open the file"});
}

int32_t canvas_to_close = -1;
void close_that_canvas(const char* /*text*/)
{
    cv_wrt_err = nullptr;
    EXPECT_EQ(canvas_close(canvas_to_close), 0);
}

// A host may do anything when it is told of a failure, write another header for one thing.
TEST_P(opaque_blocks, host_may_close_another_canvas_when_it_is_told_of_a_header_not_written)
{
    cv_canvas& canvas = settled("picture", small_picture);
    canvas_to_close = settled("other", small_picture).index;
    std::filesystem::remove(path("picture"));
    const auto kept = std::exchange(cv_wrt_err, close_that_canvas);
    EXPECT_EQ(cv_tqcms_procname_set(canvas.index, "coated"), 0);
    cv_wrt_err = kept;
    EXPECT_EQ(canvastable[canvas_to_close], nullptr);
}

TEST_P(opaque_blocks, name_may_be_set_to_itself_and_to_its_own_end)
{
    cv_canvas& canvas = settled("picture", small_picture);
    ASSERT_EQ(cv_tqcms_procname_set(canvas.index, "coated paper"), 0);
    EXPECT_EQ(cv_tqcms_procname_set(canvas.index, cv_tqcms_procname_get(canvas.index)), 0);
    EXPECT_STREQ(cv_tqcms_procname_get(canvas.index), "coated paper");
    EXPECT_EQ(cv_tqcms_procname_set(canvas.index, cv_tqcms_procname_get(canvas.index) + 7), 0);
    EXPECT_EQ(text_at(read_whole_file(path("picture")), 0x636, 64), "paper");
}

TEST_P(opaque_blocks, canvas_that_is_not_open_has_no_name)
{
    for (const int32_t number : {0, 49, 50, -1}) {
        cv_errno = 0;
        EXPECT_EQ(cv_tqcms_procname_get(number), nullptr);
        EXPECT_EQ(cv_errno, 3);
        cv_errno = 0;
        EXPECT_EQ(cv_tqcms_procname_set(number, "coated"), -255);
        EXPECT_EQ(cv_errno, 3);
    }
    EXPECT_EQ(host().messages(), messages{});
}

INSTANTIATE_TEST_SUITE_P(, opaque_blocks, in_line_mode(), mode_name);

}  // namespace
