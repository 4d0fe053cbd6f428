// Files and folders that a user may not write, or not even read.
#include "tests/canvas/edited_file.h"
#include "tests/canvas/unprivileged_child.h"

using namespace iocache_test;

namespace {

class permissions : public open_test {
protected:
    void SetUp() override {}  // the library starts in the child

    template <class Body> void with_library(Body body)
    {
        as_nobody_special([&] {
            start();
            body();
            stop();
        });
    }
    // A file made in another child by the user who owns this folder, then with these permissions.
    void make_file(const shape& s, mode_t mode)
    {
        ASSERT_EQ(chmod(path("").c_str(), 0777), 0);
        with_library([&] { file_with_tiles(s); });
        ASSERT_EQ(chmod(path("c").c_str(), mode), 0);
    }
    void set_folder_mode(mode_t mode) { ASSERT_EQ(chmod(path("").c_str(), mode), 0); }
    void TearDown() override { chmod(path("").c_str(), 0700); }
};
INSTANTIATE_TEST_SUITE_P(, permissions, both_modes(), mode_name);

TEST_P(permissions, to_read_alone_open_a_canvas_that_takes_no_write)
{
    make_file({0, 0, 0, 255, 99, 0, 0}, 0444);
    const bytes before = read_whole_file(path("c"));
    with_library([&] {
        ASSERT_EQ(open(), 0);
        cv_canvas& canvas = *canvastable[0];
        EXPECT_EQ(canvas.save, 1);
        EXPECT_NE(canvas.fp2, nullptr);
        EXPECT_TRUE(is_all(line(canvas, 0), 7));
        EXPECT_EQ(host().messages(), messages{});
        EXPECT_EQ(cv_write_header(0), -255);
        expect_report(999206, {"cannot open the file"});
        EXPECT_EQ(canvas_close(0), 0);
    });
    EXPECT_TRUE(read_whole_file(path("c")) == before);
}

// The repair cannot be written; its result is not asked for, as hosts expect.
TEST_P(permissions, to_read_alone_open_a_canvas_that_was_not_closed)
{
    make_file({0, 0, 0, 255, 99, 0, 0}, 0666);
    edited_file file(path("c"));
    file.put32(field::dirty, 1).save();
    ASSERT_EQ(chmod(path("c").c_str(), 0444), 0);
    with_library([&] {
        ASSERT_EQ(open(), 0);
        EXPECT_TRUE(is_all(line(*canvastable[0], 0), 7));
        EXPECT_EQ(canvas_close(0), 0);
    });
    EXPECT_TRUE(read_whole_file(path("c")) == file.contents());
}

TEST_P(permissions, not_to_read_keep_a_file_from_being_opened)
{
    make_file(small_mask, 0);
    with_library([&] {
        const holdings before;
        EXPECT_EQ(open(), -255);
        expect_report(999120, {"File not readable"});
        EXPECT_EQ(open_descriptors(), before.descriptors);
        EXPECT_EQ(used_slots(), 0);
    });
}

TEST_P(permissions, not_to_read_keep_a_file_from_being_replaced_by_a_new_one)
{
    make_file(small_mask, 0644);
    const bytes before = read_whole_file(path("c"));
    ASSERT_EQ(chmod(path("c").c_str(), 0), 0);
    with_library([&] {
        EXPECT_EQ(create("c", small_picture), -8);
        expect_report(999110, {"Create canvas : cannot open the file"});
        EXPECT_EQ(used_slots(), 0);
    });
    ASSERT_EQ(chmod(path("c").c_str(), 0644), 0);
    EXPECT_TRUE(read_whole_file(path("c")) == before);
}

TEST_P(permissions, to_read_alone_keep_a_file_from_being_replaced_by_a_new_one)
{
    make_file(small_mask, 0444);
    const bytes before = read_whole_file(path("c"));
    with_library([&] {
        EXPECT_EQ(create("c", small_picture), -20);
        expect_report(999111, {"Create canvas : file already exists"});
        EXPECT_EQ(used_slots(), 0);
    });
    EXPECT_TRUE(read_whole_file(path("c")) == before);
}

TEST_P(permissions, of_the_folder_keep_a_canvas_from_being_made)
{
    set_folder_mode(0555);
    with_library([&] {
        const holdings before;
        EXPECT_EQ(create("c", small_picture), -8);
        expect_report(999110, {"Create canvas : cannot open the file"});
        EXPECT_EQ(open_descriptors(), before.descriptors);
        EXPECT_EQ(used_slots(), 0);
    });
    EXPECT_FALSE(exists(path("c")));
}

// The conversion needs to write to the file.
TEST_P(permissions, to_read_alone_keep_another_layout_from_being_converted)
{
    set_folder_mode(0755);
    write_whole_file(path("c"), bytes(5000, 1));
    ASSERT_EQ(chmod(path("c").c_str(), 0444), 0);
    with_library([&] {
        EXPECT_EQ(open(), -255);
        expect_report(999135, {"convert old file : open error"});
        EXPECT_EQ(used_slots(), 0);
    });
}

}  // namespace
