// Transfers that signals and short counts interrupt are finished; what fails for another reason is not tried again.
#include "tests/files/files_test.h"
#include "tests/files/troubled_stream.h"

namespace {

using namespace iocache_test;

enum class family { one_shot, kept_open };

class interrupted : public files_test {
protected:
    void SetUp() override
    {
        start();
        canvas = &settled("picture", small_picture);
        file.contents = pattern(1000);
    }
    void TearDown() override { canvas_close_file(0); }

    // The next transfer uses the troubled stream.
    void give(family which, bool is_buffered = false)
    {
        canvas_close_file(0);
        (which == family::one_shot ? canvas->fp : canvas->fp2) = file.open(is_buffered);
    }
    int32_t read(family which, bytes& into)
    {
        const auto length = static_cast<int32_t>(into.size());
        return which == family::one_shot ? cv_read(canvas, 100, into.data(), length)
                                         : cv_read2(canvas, 100, into.data(), length);
    }
    int32_t write(family which, const bytes& from)
    {
        const auto length = static_cast<int32_t>(from.size());
        return which == family::one_shot ? cv_write(canvas, 100, from.data(), length)
                                         : cv_write2(canvas, 100, from.data(), length);
    }

    troubled_file file;
    cv_canvas* canvas = nullptr;
};

constexpr family families[] = {family::one_shot, family::kept_open};

TEST_P(interrupted, short_counts_are_put_together_to_one_block)
{
    for (const family which : families) {
        file.most_bytes = 7;
        give(which);
        bytes found(200);
        EXPECT_EQ(read(which, found), 0);
        EXPECT_EQ(found, part_of(file.contents, 100, 200));
        EXPECT_GT(file.transfers, 200 / 7);
        file.transfers = 0;
    }
}

TEST_P(interrupted, block_that_signals_interrupt_is_read_again_from_its_start)
{
    for (const family which : families) {
        file.signals = 4;
        give(which);
        bytes found(200);
        EXPECT_EQ(read(which, found), 0);
        EXPECT_EQ(found, part_of(file.contents, 100, 200));
        EXPECT_EQ(file.signals, 0);
    }
    expect_no_report();
}

TEST_P(interrupted, block_that_signals_interrupt_is_written_again_from_its_start)
{
    for (const family which : families) {
        file.contents = bytes(1000);
        file.signals = 4;
        give(which);
        EXPECT_EQ(write(which, pattern(200, 3)), 0);
        EXPECT_EQ(file.signals, 0);
        EXPECT_EQ(part_of(file.contents, 100, 200), pattern(200, 3));
        EXPECT_TRUE(is_all(part_of(file.contents, 0, 100), 0));
        EXPECT_TRUE(is_all(part_of(file.contents, 300, 700), 0));
    }
    expect_no_report();
}

TEST_P(interrupted, other_trouble_is_not_tried_again)
{
    file.read_error = file.write_error = EIO;
    give(family::one_shot);
    bytes found(200);
    EXPECT_EQ(read(family::one_shot, found), -255);
    expect_report(999203, {"read failed on 0 picture\n"});
    EXPECT_EQ(file.transfers, 1);

    forget_reports();
    file.transfers = 0;
    EXPECT_EQ(write(family::one_shot, found), -255);
    expect_report(999208, {"write failed on 0 picture\n"});
    EXPECT_EQ(file.transfers, 1);
}

TEST_P(interrupted, read_works_again_after_its_stream_met_an_error)
{
    for (const family which : families) {
        file.read_error = EIO;
        give(which);
        bytes found(200);
        printed_by([&] { EXPECT_EQ(read(which, found), -255); });
        file.read_error = 0;
        EXPECT_EQ(read(which, found), 0) << "by the same stream";
        EXPECT_EQ(found, part_of(file.contents, 100, 200));
    }
}

TEST_P(interrupted, stream_that_cannot_seek_is_told_apart_from_one_that_cannot_read)
{
    file.seeks = false;
    give(family::one_shot);
    bytes found(8);
    EXPECT_EQ(read(family::one_shot, found), -255);
    expect_report(999202, {"seek failed on 0 picture\n"});
    EXPECT_EQ(file.transfers, 0);
}

TEST_P(interrupted, small_block_whose_flush_fails_counts_as_a_failed_write)
{
    file.write_error = ENOSPC;
    give(family::one_shot, true);
    EXPECT_EQ(write(family::one_shot, pattern(8)), -255);
    expect_report(999208, {"write failed on 0 picture\n"});
    EXPECT_EQ(part_of(file.contents, 100, 8), part_of(pattern(1000), 100, 8));

    forget_reports();
    give(family::kept_open, true);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(write(family::kept_open, pattern(8)), -255); }),
              "write failed on canvas 0 picture\n");
    EXPECT_EQ(canvas->fp2, nullptr);
    EXPECT_TRUE(file.is_closed);
}

TEST_P(interrupted, result_of_closing_both_streams_is_that_of_the_kept_open_one)
{
    for (const bool kept_open_closes : {true, false}) {
        troubled_file other;
        file.closes = !kept_open_closes;
        other.closes = kept_open_closes;
        give(family::one_shot);
        canvas->fp2 = other.open();
        EXPECT_EQ(canvas_close_file(0), kept_open_closes ? 0 : -255);
        EXPECT_EQ(canvas->fp, nullptr);
        EXPECT_EQ(canvas->fp2, nullptr);
        EXPECT_TRUE(file.is_closed);
        EXPECT_TRUE(other.is_closed);
    }
}

TEST_P(interrupted, result_of_closing_the_one_shot_stream_counts_when_it_is_alone)
{
    file.closes = false;
    give(family::one_shot);
    EXPECT_EQ(canvas_close_file(0), -255);
    EXPECT_EQ(canvas->fp, nullptr);
    file.closes = true;
    give(family::one_shot);
    EXPECT_EQ(canvas_close_file(0), 0);
}

INSTANTIATE_TEST_SUITE_P(, interrupted, in_line_mode(), mode_name);

}  // namespace
