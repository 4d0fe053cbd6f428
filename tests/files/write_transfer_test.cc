// Writing a block of a canvas's file: by the stream that closes again, and by the one that stays open.
#include "tests/files/files_test.h"

namespace {

using namespace iocache_test;

class writing : public files_test {
protected:
    void SetUp() override
    {
        start();
        canvas = &settled("picture", small_picture);
        file = read_whole_file(path("picture"));
    }
    bytes stored(size_t offset) const { return part_of(read_whole_file(path("picture")), offset, block.size()); }
    // Streams that can only read, so that a write fails when it comes to it.
    void make_streams_read_only()
    {
        ASSERT_EQ(canvas_close_file(0), 0);
        canvas->fp = std::fopen(canvas->file_name, "r");
        canvas->fp2 = std::fopen(canvas->file_name, "r");
    }

    cv_canvas* canvas = nullptr;
    bytes file;
    const bytes block = pattern(64);
};

TEST_P(writing, one_shot_write_stores_the_block_and_closes_its_stream)
{
    EXPECT_EQ(cv_write(canvas, 5000, block.data(), 64), 0);
    EXPECT_EQ(stored(5000), block);
    EXPECT_EQ(canvas->fp, nullptr);
    expect_no_report();
    EXPECT_EQ(read_whole_file(path("picture")).size(), file.size()) << "nothing else has changed";
}

TEST_P(writing, one_shot_write_without_a_file_is_told)
{
    std::filesystem::remove(path("picture"));
    EXPECT_EQ(cv_write(canvas, 0, block.data(), 64), -255);
    expect_report(999206, {"cannot open the file"});
    EXPECT_EQ(canvas->fp, nullptr);
    EXPECT_FALSE(exists(path("picture"))) << "a write never creates the file";
}

TEST_P(writing, one_shot_write_that_cannot_seek_is_told_and_leaves_its_stream_open)
{
    EXPECT_EQ(cv_write(canvas, -1, block.data(), 64), -255);
    expect_report(999207, {"seek failed on 0 picture\n"});
    EXPECT_EQ(error_m, std::string("seek failed on 0 picture\n"));
    EXPECT_NE(canvas->fp, nullptr);
}

TEST_P(writing, one_shot_write_that_fails_is_told_and_leaves_its_stream_open)
{
    make_streams_read_only();
    FILE* const left_open = canvas->fp;
    EXPECT_EQ(cv_write(canvas, 0, block.data(), 64), -255);
    expect_report(999208, {"write failed on 0 picture\n"});
    EXPECT_EQ(error_m, std::string("write failed on 0 picture\n"));
    EXPECT_EQ(canvas->fp, left_open);
    EXPECT_EQ(read_whole_file(path("picture")), file);
}

TEST_P(writing, one_shot_write_that_only_partly_fits_has_failed)
{
    const auto end = static_cast<int64_t>(file.size());
    {
        const file_size_limit limit(file.size() + 10);
        EXPECT_EQ(cv_write(canvas, end, block.data(), 64), -255);
        expect_report(999208, {"write failed on 0 picture\n"});
    }
    forget_reports();
    EXPECT_EQ(cv_write(canvas, end, block.data(), 64), 0) << "by the stream that was left open";
    EXPECT_EQ(stored(file.size()), block);
    EXPECT_EQ(canvas->fp, nullptr);
    expect_no_report();
}

TEST_P(writing, one_shot_write_of_nothing_fails_as_a_write)
{
    EXPECT_EQ(cv_write(canvas, 0, block.data(), 0), -255);
    expect_report(999208, {"write failed on 0 picture\n"});
}

TEST_P(writing, one_shot_write_does_not_name_the_file_for_a_full_disk)
{
    cv_name_file = nullptr;
    EXPECT_EQ(cv_write(canvas, 5000, block.data(), 64), 0);
    EXPECT_EQ(cv_name_file, nullptr);
}

TEST_P(writing, kept_open_write_stores_the_block_and_leaves_its_stream_open)
{
    FILE* const kept = canvas->fp2;
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(cv_write2(canvas, 5000, block.data(), 64), 0);
    EXPECT_EQ(stored(5000), block) << "already in the file";
    EXPECT_EQ(canvas->fp2, kept);
    EXPECT_EQ(canvas->fp, nullptr);
}

TEST_P(writing, kept_open_write_opens_a_closed_stream)
{
    ASSERT_EQ(canvas_close_file(0), 0);
    EXPECT_EQ(cv_write2(canvas, 5000, block.data(), 64), 0);
    EXPECT_EQ(stored(5000), block);
    EXPECT_NE(canvas->fp2, nullptr);
}

TEST_P(writing, kept_open_write_without_a_file_is_only_printed)
{
    ASSERT_EQ(canvas_close_file(0), 0);
    std::filesystem::remove(path("picture"));
    int32_t result = 0;
    EXPECT_EQ(printed_by([&] { result = cv_write2(canvas, 0, block.data(), 64); }), "cannot open the file");
    EXPECT_EQ(result, -255);
    EXPECT_FALSE(exists(path("picture")));
    expect_no_report();
}

TEST_P(writing, kept_open_write_that_cannot_seek_is_only_printed_and_closes_its_stream)
{
    int32_t result = 0;
    EXPECT_EQ(printed_by([&] { result = cv_write2(canvas, -1, block.data(), 64); }),
              "seek failed on canvas 0 picture\n");
    EXPECT_EQ(result, -255);
    EXPECT_EQ(error_m, std::string("seek failed on canvas 0 picture\n"));
    EXPECT_EQ(canvas->fp2, nullptr);
    expect_no_report();
}

TEST_P(writing, kept_open_write_that_fails_is_only_printed_and_the_next_one_opens_its_stream_afresh)
{
    make_streams_read_only();
    int32_t result = 0;
    EXPECT_EQ(printed_by([&] { result = cv_write2(canvas, 5000, block.data(), 64); }),
              "write failed on canvas 0 picture\n");
    EXPECT_EQ(result, -255);
    EXPECT_EQ(error_m, std::string("write failed on canvas 0 picture\n"));
    EXPECT_EQ(canvas->fp2, nullptr);
    expect_no_report();

    EXPECT_EQ(cv_write2(canvas, 5000, block.data(), 64), 0) << "opened for writing this time";
    EXPECT_EQ(stored(5000), block);
}

TEST_P(writing, kept_open_write_of_nothing_has_failed)
{
    int32_t result = 0;
    EXPECT_EQ(printed_by([&] { result = cv_write2(canvas, 0, block.data(), 0); }),
              "write failed on canvas 0 picture\n");
    EXPECT_EQ(result, -255);
}

TEST_P(writing, kept_open_write_names_its_file_before_anything_else)
{
    cv_name_file = nullptr;
    ASSERT_EQ(canvas_close_file(0), 0);
    std::filesystem::remove(path("picture"));
    printed_by([&] { EXPECT_EQ(cv_write2(canvas, 0, block.data(), 64), -255); });
    ASSERT_NE(cv_name_file, nullptr);
    EXPECT_STREQ(cv_name_file, path("picture").c_str());
}

TEST_P(writing, named_file_is_that_of_the_last_write)
{
    cv_canvas& mask = settled("mask", small_mask);
    ASSERT_EQ(cv_write2(canvas, 5000, block.data(), 64), 0);
    EXPECT_STREQ(cv_name_file, path("picture").c_str());
    ASSERT_EQ(cv_write2(&mask, 5000, block.data(), 64), 0);
    EXPECT_STREQ(cv_name_file, path("mask").c_str());
    ASSERT_EQ(canvas_close(mask.index), 0);
    EXPECT_STREQ(cv_name_file, path("mask").c_str()) << "still valid after its canvas has gone";
}

TEST_P(writing, positions_beyond_4_gib_are_kept_apart)
{
    constexpr int64_t far = (int64_t{1} << 32) + 5000;
    const bytes other = pattern(64, 2);
    ASSERT_EQ(cv_write(canvas, 5000, block.data(), 64), 0);
    ASSERT_EQ(cv_write(canvas, far, other.data(), 64), 0);
    ASSERT_EQ(cv_write2(canvas, far + 64, block.data(), 64), 0);
    EXPECT_EQ(facts_of(path("picture")).st_size, far + 128);
    bytes found(64);
    EXPECT_EQ(cv_read2(canvas, far, found.data(), 64), 0);
    EXPECT_EQ(found, other);
    EXPECT_EQ(cv_read(canvas, far + 64, found.data(), 64), 0);
    EXPECT_EQ(found, block);
    EXPECT_EQ(cv_read(canvas, 5000, found.data(), 64), 0);
    EXPECT_EQ(found, block);
}

INSTANTIATE_TEST_SUITE_P(, writing, in_line_mode(), mode_name);

}  // namespace
