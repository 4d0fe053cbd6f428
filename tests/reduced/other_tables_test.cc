// Tables that are not the canvas's own, and views that a host has changed: nothing lands outside the reduced image.
#include "tests/reduced/reduced_test.h"

using namespace iocache_test;

namespace {

constexpr uint8_t fill = 0xA5;
constexpr int32_t side = 50;

class other_tables : public reduced_test {
protected:
    void SetUp() override
    {
        start();
        canvas = painted_canvas(sized(0, side, side).with_pattern());
        fill_own_buffers(fill);
    }
    cv_canvas& record() const { return *canvastable[canvas]; }
    // The tables of a canvas of this size.
    static void use_tables_of(const std::string& file, int32_t width, int32_t height)
    {
        make_current(sized(0, width, height).create(file));
    }
    void sample_line(int32_t y) const { EXPECT_EQ(cv_subsample_line(canvas, line.data(), nullptr, y, 0, side - 1), 0); }
    void sample_column(int32_t x) const
    {
        EXPECT_EQ(cv_subsample_column(canvas, line.data(), nullptr, x, 0, side - 1), 0);
    }
    static void expect_untouched_from(size_t pixel)
    {
        const bytes buffer = own_mask_buffer();
        EXPECT_TRUE(std::all_of(buffer.begin() + static_cast<std::ptrdiff_t>(pixel), buffer.end(),
                                [](uint8_t byte) { return byte == fill; }));
    }

    int32_t canvas = -1;
    bytes line = bytes(side, 0x11);
};

TEST_P(other_tables, of_a_wider_canvas_take_no_line_and_no_column)
{
    use_tables_of(path("wide"), 1000, side);
    sample_line(0);
    sample_column(0);
    expect_untouched_from(0);
}

TEST_P(other_tables, of_a_higher_canvas_take_no_line_and_no_column)
{
    use_tables_of(path("high"), side, 1000);
    sample_line(0);
    sample_column(0);
    expect_untouched_from(0);
}

TEST_P(other_tables, that_end_before_the_canvas_give_no_reduced_image)
{
    use_tables_of(path("small"), side, 10);
    current_mask = canvas;
    current_mp = &record();
    EXPECT_EQ(cv_resample_mask(), 0);
    cv_update_virt_subsampled_mtile(canvas, 0);
    expect_untouched_from(0);
}

TEST_P(other_tables, without_a_step_nothing_is_sampled)
{
    record().geom.step = 0;
    sample_line(0);
    sample_column(0);
    cv_update_virt_subsampled_mtile(canvas, 0);
    expect_untouched_from(0);
}

TEST_P(other_tables, view_with_fewer_pixels_takes_only_those)
{
    constexpr int32_t fewer = 10;
    record().geom.lres_width = fewer;
    record().geom.lres_height = 1;
    sample_line(0);
    expect_untouched_from(fewer);
    EXPECT_EQ(own_mask_buffer()[fewer - 1], 0x11);
    EXPECT_EQ(cv_resample_mask(), 0);
    expect_untouched_from(fewer);
    current_cp = &record();
    cv_subsample_mpixel(side - 1, side - 1, 0x22);
    expect_untouched_from(fewer);
}

TEST_P(other_tables, view_that_begins_behind_its_rows_takes_none)
{
    record().geom.frame_y += 2 * side;
    EXPECT_EQ(cv_resample_mask(), 0);
    expect_untouched_from(0);
}

TEST_P(other_tables, step_or_margin_beyond_the_frame_names_no_column_there)
{
    record().geom.step = 100;
    EXPECT_EQ(canvas_make_tables(canvas), 0);
    record().geom.step = 1;
    record().geom.frame_x = -5;
    EXPECT_EQ(canvas_make_tables(canvas), 0);
    EXPECT_EQ(cv_xvirttbl[0], 5);
}

TEST_P(other_tables, tiles_that_are_not_there_change_nothing)
{
    const int32_t picture = sized(1, side, side).create(path("picture"));
    for (const int32_t tile : {-1, 1}) {
        cv_update_virt_subsampled_mtile(canvas, tile);
        cv_update_virt_subsampled_ptile(picture, tile);
    }
    constexpr int32_t no_canvas = 49;
    cv_update_virt_subsampled_tile(no_canvas, 0);
    cv_update_virt_subsampled_ptile(no_canvas, 0);
    cv_update_virt_subsampled_mtile(no_canvas, 0);
    cv_update_virt_subsampled_ptile_buffer(no_canvas, 0, cv_visu_pic);
    cv_update_virt_subsampled_mtile_buffer(no_canvas, 0, cv_visu_mask);
    cv_update_virt_subsampled_ptile_buffer(canvas, 0, cv_visu_pic);
    expect_untouched_from(0);
    EXPECT_EQ(own_picture_buffer(), bytes(sizeof cv_visu_pic, fill));
}

INSTANTIATE_TEST_SUITE_P(, other_tables, both_modes(), mode_name);

}  // namespace
