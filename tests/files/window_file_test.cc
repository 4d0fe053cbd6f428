// The separate file that holds one whole visualisation buffer.
#include <cstring>

#include "tests/files/files_test.h"

namespace {

using namespace iocache_test;

class window_file : public files_test {
protected:
    void SetUp() override
    {
        start();
        forget_reports();
    }
};

constexpr size_t picture_bytes = 4'194'304;
constexpr size_t mask_bytes = 1'048'576;

TEST_P(window_file, picture_fills_four_mebibytes_from_its_visualisation_buffer)
{
    cv_canvas& canvas = settled("picture", small_picture);
    const bytes image = pattern(picture_bytes);
    std::ranges::copy(image, cv_visu_pic);
    EXPECT_EQ(canvas_write_subsampled_window(&canvas), 0);
    EXPECT_TRUE(read_whole_file(path("pictures")) == image);
    expect_no_report();
}

TEST_P(window_file, mask_fills_one_mebibyte_from_its_visualisation_buffer)
{
    cv_canvas& canvas = settled("mask", small_mask);
    const bytes image = pattern(mask_bytes);
    std::ranges::copy(image, cv_visu_mask);
    EXPECT_EQ(canvas_write_subsampled_window(&canvas), 0);
    EXPECT_TRUE(read_whole_file(path("masks")) == image);
}

TEST_P(window_file, shared_buffer_is_written_in_its_place)
{
    const bytes image = pattern(picture_bytes, 2);
    std::ranges::copy(image, Rbuf);
    EXPECT_EQ(canvas_write_subsampled_window_Rbuf(&settled("picture", small_picture)), 0);
    EXPECT_TRUE(read_whole_file(path("pictures")) == image);
    EXPECT_EQ(canvas_write_subsampled_window_Rbuf(&settled("mask", small_mask)), 0);
    EXPECT_TRUE(read_whole_file(path("masks")) == part_of(image, 0, mask_bytes));
}

TEST_P(window_file, older_file_is_replaced_whole)
{
    cv_canvas& canvas = settled("mask", small_mask);
    write_whole_file(path("masks"), bytes(mask_bytes + 5000, 0xEE));
    EXPECT_EQ(canvas_write_subsampled_window(&canvas), 0);
    EXPECT_EQ(facts_of(path("masks")).st_size, static_cast<int64_t>(mask_bytes));
}

TEST_P(window_file, is_read_into_the_visualisation_buffer_of_its_kind)
{
    cv_canvas& picture = settled("picture", small_picture);
    cv_canvas& mask = settled("mask", small_mask);
    const bytes image = pattern(picture_bytes, 3);
    const bytes grey = pattern(mask_bytes, 4);
    write_whole_file(path("pictures"), image);
    write_whole_file(path("masks"), grey);
    std::memset(cv_visu_pic, 0, sizeof cv_visu_pic);
    std::memset(cv_visu_mask, 0, sizeof cv_visu_mask);
    EXPECT_EQ(canvas_read_subsampled_window(&picture), 0);
    EXPECT_TRUE(bytes(cv_visu_pic, cv_visu_pic + picture_bytes) == image);
    EXPECT_EQ(cv_visu_pic[picture_bytes], 0) << "nothing is put behind it";
    EXPECT_EQ(canvas_read_subsampled_window(&mask), 0);
    EXPECT_TRUE(bytes(cv_visu_mask, cv_visu_mask + mask_bytes) == grey);
    expect_no_report();
}

TEST_P(window_file, that_cannot_be_made_is_told)
{
    cv_canvas& canvas = settled("mask", small_mask);
    std::filesystem::create_directory(path("masks"));
    for (const auto write : {canvas_write_subsampled_window, canvas_write_subsampled_window_Rbuf}) {
        forget_reports();
        EXPECT_EQ(write(&canvas), -255);
        expect_report(999216, {"cannot open file for subsampled window"});
    }
}

TEST_P(window_file, that_does_not_fit_is_told)
{
    cv_canvas& canvas = settled("mask", small_mask);
    for (const auto write : {canvas_write_subsampled_window, canvas_write_subsampled_window_Rbuf}) {
        const file_size_limit limit(mask_bytes - 1);
        forget_reports();
        EXPECT_EQ(write(&canvas), -255);
        expect_report(999217, {"cannot write file for subsampled window"});
    }
}

TEST_P(window_file, that_is_not_there_is_told)
{
    EXPECT_EQ(canvas_read_subsampled_window(&settled("mask", small_mask)), -255);
    expect_report(999220, {"cannot open file for subsampled window"});
    EXPECT_FALSE(exists(path("masks"))) << "reading never makes it";
}

TEST_P(window_file, that_is_too_short_is_told)
{
    cv_canvas& canvas = settled("picture", small_picture);
    write_whole_file(path("pictures"), bytes(picture_bytes - 1));
    EXPECT_EQ(canvas_read_subsampled_window(&canvas), -255);
    expect_report(999221, {"cannot read file for subsampled window"});
}

TEST_P(window_file, is_closed_after_every_transfer)
{
    cv_canvas& canvas = settled("mask", small_mask);
    const size_t before = open_descriptors();
    EXPECT_EQ(canvas_write_subsampled_window(&canvas), 0);
    EXPECT_EQ(canvas_write_subsampled_window_Rbuf(&canvas), 0);
    EXPECT_EQ(canvas_read_subsampled_window(&canvas), 0);
    std::filesystem::resize_file(path("masks"), 100);
    EXPECT_EQ(canvas_read_subsampled_window(&canvas), -255);
    {
        const file_size_limit limit(100);
        EXPECT_EQ(canvas_write_subsampled_window(&canvas), -255);
    }
    EXPECT_EQ(open_descriptors(), before);
}

INSTANTIATE_TEST_SUITE_P(, window_file, in_line_mode(), mode_name);

}  // namespace
