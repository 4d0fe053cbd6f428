// A canvas whose file may be read but not written.
#include <fcntl.h>

#include "tests/files/files_test.h"
#include "tests/files/unprivileged.h"

namespace {

using namespace iocache_test;

class read_only : public files_test {
protected:
    // A clean file with one line of pixels, which nobody may write.
    void SetUp() override
    {
        start();
        cv_canvas& canvas = open_new("mask", small_mask);
        ASSERT_EQ(store(canvas, 3, 0x47), 0);
        ASSERT_EQ(canvas_close(canvas.index), 0);
        stop();
        file = read_whole_file(path("mask"));
        std::filesystem::permissions(path(""), std::filesystem::perms::all);
        std::filesystem::permissions(path("mask"), std::filesystem::perms{0444});
    }
    void TearDown() override { EXPECT_EQ(read_whole_file(path("mask")), file) << "the file has changed"; }

    // Opens the file where it cannot be written, and leaves the rest to the action.
    template <class Action> void with_open_canvas(Action action)
    {
        run_unprivileged([&] {
            start();
            const int32_t canvas = canvas_old(path("mask").c_str());
            ASSERT_GE(canvas, 0) << host().last_message();
            forget_reports();
            action(*canvastable[canvas]);
            stop();
        });
    }
    static bool can_write(FILE* stream) { return (fcntl(fileno(stream), F_GETFL) & O_ACCMODE) != O_RDONLY; }

    bytes file;
};

TEST_P(read_only, file_is_readable_but_not_both)
{
    with_open_canvas([&](cv_canvas& canvas) {
        EXPECT_EQ(cv_test_file(canvas.file_name, 0), 0);
        EXPECT_EQ(cv_test_file(canvas.file_name, 1), -255);
    });
}

TEST_P(read_only, both_streams_open_for_reading)
{
    with_open_canvas([&](cv_canvas& canvas) {
        canvas_close_file(canvas.index);
        EXPECT_EQ(canvas_open_file(canvas.index), -30);
        EXPECT_FALSE(can_write(canvas.fp));
        EXPECT_FALSE(can_write(canvas.fp2));
    });
}

TEST_P(read_only, both_families_read)
{
    with_open_canvas([&](cv_canvas& canvas) {
        bytes found(64);
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(cv_read(&canvas, 800, found.data(), 64), 0);
            EXPECT_EQ(found, part_of(file, 800, 64));
            EXPECT_EQ(canvas.fp, nullptr);
            EXPECT_EQ(cv_read2(&canvas, 860, found.data(), 64), 0);
            EXPECT_EQ(found, part_of(file, 860, 64));
            ASSERT_NE(canvas.fp2, nullptr);
            EXPECT_FALSE(can_write(canvas.fp2));
            canvas_close_file(canvas.index);
        }
        expect_no_report();
    });
}

TEST_P(read_only, one_shot_write_cannot_open_the_file)
{
    with_open_canvas([&](cv_canvas& canvas) {
        const uint8_t byte = 1;
        EXPECT_EQ(cv_write(&canvas, 0, &byte, 1), -255);
        expect_report(999206, {"cannot open the file"});
        EXPECT_EQ(canvas.fp, nullptr);
    });
}

TEST_P(read_only, kept_open_write_fails_on_the_stream_that_is_there_and_then_cannot_open_one)
{
    with_open_canvas([&](cv_canvas& canvas) {
        const uint8_t byte = 1;
        uint8_t any = 0;
        ASSERT_EQ(cv_read2(&canvas, 0, &any, 1), 0);
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(cv_write2(&canvas, 0, &byte, 1), -255); }),
                  "write failed on canvas 0 mask\n");
        EXPECT_EQ(canvas.fp2, nullptr);
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(cv_write2(&canvas, 0, &byte, 1), -255); }), "cannot open the file");
        expect_no_report();
    });
}

TEST_P(read_only, closing_a_saved_canvas_writes_no_header_and_tells_nobody)
{
    with_open_canvas([&](cv_canvas& canvas) {
        ASSERT_EQ(canvas.save, 1);
        EXPECT_TRUE(is_all(line(canvas, 3), 0x47));
        canvas.header->dirty = 1;  // what a written header would no longer say
        EXPECT_EQ(canvas_close(canvas.index), 0);
        EXPECT_EQ(canvastable[0], nullptr);
        expect_no_report();
    });
}

TEST_P(read_only, changed_canvas_closes_without_its_changes)
{
    with_open_canvas([&](cv_canvas& canvas) {
        cv_disk_full_return(1);
        // The cache process may try to write the change ahead as soon as it is there.
        const std::string printed = printed_by([&] {
            EXPECT_EQ(store(canvas, 3, 0x99), 0);
            EXPECT_EQ(canvas_close(canvas.index), 0);
        });
        EXPECT_EQ(printed.substr(0, 30), "write failed on canvas 0 mask\n");
        EXPECT_EQ(canvastable[0], nullptr);
    });
}

INSTANTIATE_TEST_SUITE_P(, read_only, both_modes(), mode_name);

}  // namespace
