// Creating a canvas: what it leaves open, and what it refuses before it touches the disk.
#include <unistd.h>

#include "tests/canvas/canvas_test.h"

using namespace iocache_test;

namespace {

class create_canvas : public canvas_test {
protected:
    void SetUp() override { start(); }
    // Refused with this report and without a trace.
    void expect_refused(const shape& s, int32_t result, int32_t error, const std::string& message)
    {
        host().clear();
        const holdings before;
        EXPECT_EQ(create("refused", s), result);
        EXPECT_EQ(open_descriptors(), before.descriptors);
        EXPECT_EQ(used_slots(), before.slots);
        EXPECT_FALSE(exists(path("refused")));
        expect_report(error, {message});
        expect_nothing_held([&] {
            EXPECT_EQ(create("refused", s), result);
            host().clear();
        });
    }
    void fill_the_table()
    {
        for (int32_t slot = 0; slot < 50; ++slot) ASSERT_EQ(create(numbered("m", slot), small_mask), slot);
    }
};
INSTANTIATE_TEST_SUITE_P(, create_canvas, both_modes(), mode_name);

TEST_P(create_canvas, reports_nothing_when_it_succeeds)
{
    EXPECT_EQ(create("a", small_picture), 0);
    EXPECT_EQ(create("b", small_mask), 1);
    EXPECT_EQ(host().messages(), messages{});
}

TEST_P(create_canvas, of_an_open_one_returns_its_number_and_changes_nothing)
{
    create("other", small_mask);
    const int32_t canvas = create("a", small_mask);
    const bytes before = read_whole_file(path("a"));
    EXPECT_EQ(create("a", {1, 0, 0, 9, 9, 0, 0}), canvas);
    EXPECT_EQ(create("a", {7, 0, 0, -1, -1, 0, 0}), canvas) << "no argument is looked at";
    EXPECT_EQ(used_slots(), 2);
    EXPECT_EQ(canvastable[canvas]->kind, 0);
    EXPECT_EQ(read_whole_file(path("a")), before);
    EXPECT_EQ(host().messages(), messages{});
}

TEST_P(create_canvas, of_an_open_one_needs_no_free_slot)
{
    fill_the_table();
    EXPECT_EQ(create("m7", small_mask), 7);
    EXPECT_EQ(host().messages(), messages{});
}

TEST_P(create_canvas, number_fifty_one_is_refused)
{
    fill_the_table();
    expect_refused(small_mask, -1, 999103, "Create canvas : No more canvasses available !");
    expect_refused({9, 0, 0, -1, -1, 0, 0}, -1, 999103, "Create canvas : No more canvasses available !");
}

TEST_P(create_canvas, in_the_only_free_slot_succeeds)
{
    fill_the_table();
    canvas_close(31);
    EXPECT_EQ(create("again", small_mask), 31);
}

TEST_P(create_canvas, of_an_unknown_kind_is_refused)
{
    for (const int32_t kind : {2, -1, INT32_MAX})
        expect_refused({kind, 0, 0, 9, 9, 0, 0}, -2, 999104, "Create canvas : illegal parameters");
    expect_refused({2, 0, 0, -1, -1, 0, 0}, -2, 999104, "Create canvas : illegal parameters");
}

TEST_P(create_canvas, with_reversed_bounds_is_refused)
{
    const std::string message = "Create canvas : illegal parameters";
    expect_refused({0, 10, 0, 9, 9, 0, 0}, -3, 999105, message);
    expect_refused({1, 0, 10, 9, 9, 0, 0}, -3, 999105, message);
    expect_refused({1, INT32_MAX, 0, INT32_MIN, 9, 0, 0}, -3, 999105, message);
}

TEST_P(create_canvas, of_one_pixel_is_legal)
{
    EXPECT_EQ(create("a", {1, 0, 0, 0, 0, 0, 0}), 0);
    EXPECT_EQ(create("b", {0, -5, -6, -5, -6, 5, 6}), 1);
    EXPECT_EQ(canvastable[1]->geom.width, 1);
    EXPECT_EQ(canvastable[1]->geom.height, 1);
}

TEST_P(create_canvas, of_exactly_the_largest_pixel_count_is_refused)
{
    const std::string message = "Create canvas : resolution to big for this configuration";
    cv_max_resolution = 1000;
    expect_refused({0, 0, 0, 99, 9, 0, 0}, -4, 999106, message);
    EXPECT_EQ(create("a", {0, 0, 0, 998, 0, 0, 0}), 0);
}

TEST_P(create_canvas, of_a_pixel_count_beyond_thirty_two_bits_is_refused)
{
    const std::string message = "Create canvas : resolution to big for this configuration";
    expect_refused({0, 0, 0, 65'535, 65'535, 0, 0}, -4, 999106, message);  // 0 in 32 bits
    expect_refused({1, INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX, 0, 0}, -4, 999106, message);
}

// Offsets are taken as they are, but a grid without a tile, or with more than a file can list, has no canvas.
TEST_P(create_canvas, with_offsets_that_leave_no_grid_is_refused)
{
    const std::string message = "Create canvas : illegal parameters";
    expect_refused({0, 0, 0, 9, 9, -300, 0}, -3, 999105, message);
    expect_refused({0, 0, 0, 9, 9, 0, INT32_MIN}, -3, 999105, message);
    expect_refused({0, 0, 0, 9, 9, INT32_MAX, INT32_MAX}, -3, 999105, message);
}

TEST_P(create_canvas, whose_icon_does_not_fit_a_file_is_refused)
{
    cv_iconsize_hor = cv_iconsize_vert = 32'767;  // four bytes each are more than 31 bits
    expect_refused(small_picture, -7, 999109, "Create canvas : header creation problem");
}

TEST_P(create_canvas, where_no_file_can_be_is_refused)
{
    host().clear();
    umask(022);
    for (const char* name : {"no/such/folder", ""}) {
        const size_t before = open_descriptors();
        EXPECT_EQ(create(name, small_mask), -8);
        expect_report(999110, {"Create canvas : cannot open the file"});
        EXPECT_EQ(open_descriptors(), before);
        EXPECT_EQ(used_slots(), 0);
        host().clear();
    }
    EXPECT_EQ(current_umask(), 0111U) << "stays where no stream was opened, as hosts expect";
}

TEST_P(create_canvas, at_a_dangling_link_is_refused)
{
    ASSERT_EQ(symlink(path("nowhere").c_str(), path("link").c_str()), 0);
    EXPECT_EQ(create("link", small_mask), -8);
    expect_report(999110, {"Create canvas : cannot open the file"});
    EXPECT_FALSE(exists(path("nowhere")));
    EXPECT_TRUE(exists(path("link")));
}

TEST_P(create_canvas, over_a_file_is_refused_and_leaves_it)
{
    const bytes contents = {'n', 'o', 't', 'e'};
    write_whole_file(path("note"), contents);
    write_whole_file(path("empty"), {});
    expect_nothing_held([&] {
        EXPECT_EQ(create("note", small_mask), -20);
        expect_report(999111, {"Create canvas : file already exists"});
        EXPECT_EQ(create("empty", small_picture), -20);
        host().clear();
    });
    EXPECT_EQ(read_whole_file(path("note")), contents);
    EXPECT_TRUE(exists(path("empty")));
}

TEST_P(create_canvas, without_a_descriptor_is_refused_and_makes_no_file)
{
    {
        const descriptor_limit limit(0);
        EXPECT_EQ(create("a", small_mask), -8);
    }
    expect_report(999110, {"Create canvas : cannot open the file"});
    EXPECT_FALSE(exists(path("a")));
    EXPECT_EQ(used_slots(), 0);
}

// The first stream makes the file, the second cannot be opened: at this step the file is not taken back, as hosts expect.
TEST_P(create_canvas, with_one_descriptor_is_refused_and_closes_it)
{
    umask(022);
    const size_t before = open_descriptors();
    {
        const descriptor_limit limit(1);
        EXPECT_EQ(create("a", small_mask), -8);
    }
    expect_report(999110, {"Create canvas : cannot open the file"});
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(used_slots(), 0);
    EXPECT_EQ(std::filesystem::file_size(path("a")), 0U);
    EXPECT_EQ(current_umask(), 022U);
}

TEST_P(create_canvas, after_a_request_that_failed_is_refused)
{
    const size_t before = open_descriptors();
    parg.opcode = -255;
    EXPECT_EQ(create("a", small_mask), -8);
    expect_report(999110, {"Create canvas : cannot open the file"});
    EXPECT_EQ(open_descriptors(), before);
    EXPECT_EQ(used_slots(), 0);
    parg.opcode = 0;
    EXPECT_EQ(create("b", small_mask), 0);
}

TEST_P(create_canvas, makes_a_file_that_everybody_may_read_and_write)
{
    umask(077);
    create("a", small_mask);
    struct stat facts = {};
    ASSERT_EQ(stat(path("a").c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777U, 0666U);
    EXPECT_EQ(current_umask(), 077U);
}

TEST_P(create_canvas, is_not_kept_unless_it_is_marked)
{
    EXPECT_EQ(canvas_close(create("a", small_mask)), 0);
    EXPECT_FALSE(exists(path("a")));
    closed_file("b", small_mask);
    EXPECT_TRUE(exists(path("b")));
}

}  // namespace
