// The coordinate tables: which columns and rows are sampled and where they go in the frame.
#include <cmath>
#include <vector>

#include "tests/reduced/reduced_test.h"

using namespace iocache_test;

namespace {

struct axis_tables {
    const int16_t* frame_table;  // per frame place
    const int16_t* subsampling;  // per canvas coordinate
};

// Low 16 bits of the canvas coordinate at a frame place; all ones before the image.
int16_t plain_frame_entry(int32_t place, int32_t margin, double scale, int32_t first)
{
    const double coordinate = (place - margin) * scale + first;
    if (coordinate < 0) return -1;
    return static_cast<int16_t>(static_cast<uint16_t>(static_cast<uint32_t>(coordinate)));
}

void expect_axis(const axis_tables& tables, const sampled_axis& axis, int32_t length, int32_t frame_length,
                 int32_t margin, double scale)
{
    for (int32_t offset = 0; offset < length; ++offset) {
        const int32_t coordinate = axis.first() + offset;
        const int32_t expected = (margin + axis.place(coordinate)) * 16 + (axis.is_sampled(coordinate) ? 1 : 0);
        ASSERT_EQ(static_cast<uint16_t>(tables.subsampling[coordinate]), expected) << "at " << coordinate;
    }
    std::vector<int16_t> frame(1024);
    for (int32_t i = 0; i < frame_length; ++i)
        frame[static_cast<size_t>(i)] = plain_frame_entry(i, margin, scale, axis.first());
    int32_t place = margin;
    for (const int32_t coordinate : axis.coordinates())
        frame[static_cast<size_t>(place++)] = static_cast<int16_t>(coordinate);
    for (int32_t i = 0; i < frame_length; ++i)
        ASSERT_EQ(tables.frame_table[i], frame[static_cast<size_t>(i)]) << "frame place " << i;
}

class tables_of : public painting_test {};
class tables : public reduced_test {};

TEST_P(tables_of, a_canvas_follow_the_running_sum)
{
    start();
    const int32_t canvas = shape().create(path("canvas"));
    const reduced_model model(shape());
    ASSERT_EQ(canvas_make_tables(canvas), 0);
    expect_axis({cv_xvirttbl, cv_xsubtbl}, model.columns(), shape().width(), 1024, model.frame_x(), model.scale());
    expect_axis({cv_yvirttbl, cv_ysubtbl}, model.rows(), shape().height(), 1024, model.frame_y(), model.scale());
    EXPECT_EQ(model.columns().coordinates().size(), static_cast<size_t>(canvastable[canvas]->geom.lres_width));
    EXPECT_EQ(model.rows().coordinates().size(), static_cast<size_t>(canvastable[canvas]->geom.lres_height));
}

INSTANTIATE_TEST_SUITE_P(, tables_of, every_shape(), mode_and_painting_name);

TEST_P(tables, of_a_width_of_3000_sample_the_known_columns)
{
    start();
    const int32_t canvas = sized(0, 3000, 100).create(path("canvas"));
    canvas_make_tables(canvas);
    std::vector<int32_t> sampled;
    for (int32_t x = 0; x < 50; ++x) {
        if ((cv_xsubtbl[x] & 15) != 0) sampled.push_back(x);
    }
    EXPECT_EQ(sampled, (std::vector<int32_t>{0, 3, 6, 9, 12, 15, 18, 21, 24, 27, 30, 33, 36, 39, 42, 44, 47}));
}

TEST_P(tables, of_a_canvas_within_the_frame_sample_everything_between_its_margins)
{
    start();
    const int32_t canvas = sized(1, 300, 200).create(path("canvas"));
    canvas_make_tables(canvas);
    const int32_t frame_x = (1024 - 300) / 2;
    for (int32_t x = 0; x < 300; ++x) ASSERT_EQ(cv_xsubtbl[x], (frame_x + x) * 16 + 1);
    for (int32_t i = 0; i < frame_x; ++i) ASSERT_EQ(cv_xvirttbl[i], -1);
    EXPECT_EQ(cv_xvirttbl[frame_x], 0);
    EXPECT_EQ(cv_xvirttbl[frame_x + 299], 299);
    EXPECT_EQ(cv_xvirttbl[frame_x + 300], 300);  // a margin on the right goes on beyond the image
    EXPECT_EQ(cv_xvirttbl[1023], 1023 - frame_x);
}

TEST_P(tables, a_coordinate_just_left_of_zero_is_no_coordinate)
{
    start();
    // Frame place 361 stands for -1 + 0.5: its fraction would make it 0 if the sign did not count first.
    const int32_t canvas = sized(0, 300, 200).create(path("canvas"));
    cv_geometry& view = canvastable[canvas]->geom;
    view.scale = 0.5;
    canvas_make_tables(canvas);
    EXPECT_EQ(cv_xvirttbl[view.frame_x - 1], -1);
    EXPECT_EQ(cv_xvirttbl[view.frame_x], 0);
}

TEST_P(tables, made_twice_are_the_same)
{
    start();
    const int32_t canvas = sized(1, 3000, 2000).create(path("canvas"));
    canvas_make_tables(canvas);
    const std::vector<int16_t> columns(cv_xsubtbl, cv_xsubtbl + 3000);
    const std::vector<int16_t> rows(cv_ysubtbl, cv_ysubtbl + 2000);
    canvas_make_tables(canvas);
    EXPECT_EQ(columns, std::vector<int16_t>(cv_xsubtbl, cv_xsubtbl + 3000));
    EXPECT_EQ(rows, std::vector<int16_t>(cv_ysubtbl, cv_ysubtbl + 2000));
}

TEST_P(tables, follow_the_canvas_they_were_made_for_last)
{
    start();
    const int32_t large = sized(1, 3000, 2000).create(path("large"));
    const int32_t small = sized(0, 30, 20).create(path("small"));
    canvas_make_tables(large);
    canvas_make_tables(small);
    EXPECT_EQ(static_cast<uint16_t>(cv_xsubtbl[29]), (497 + 29) * 16 + 1);
    canvas_make_tables(large);
    EXPECT_EQ(static_cast<uint16_t>(cv_xsubtbl[2999]) >> 4, 1024);
}

TEST_P(tables, give_each_sampled_column_as_many_places_as_the_step_says)
{
    start();
    const int32_t canvas = sized(0, 40, 30).create(path("canvas"));
    cv_geometry& view = canvastable[canvas]->geom;
    view.frame_x = 100;
    view.step = 3;
    view.scale = 2.0;
    canvas_make_tables(canvas);
    for (int32_t x = 0; x < 40; ++x) {
        const int32_t place = 100 + (x + 1) / 2 * 3;  // an unsampled column names the next sampled one's place
        ASSERT_EQ(cv_xsubtbl[x], place * 16 + (x % 2 == 0 ? 1 : 0)) << x;
        if (x % 2 != 0) continue;
        for (int32_t k = 0; k < 3; ++k) ASSERT_EQ(cv_xvirttbl[place + k], x);
    }
}

TEST_P(tables, follow_the_current_view_and_not_the_one_at_creation)
{
    start();
    const int32_t canvas = sized(0, 3000, 2000).create(path("canvas"));
    cv_canvas& record = *canvastable[canvas];
    record.geom = record.geom_window;
    record.geom.x_min = 500;
    record.geom.x_max = 1523;
    record.geom.width = 1024;
    canvas_make_tables(canvas);
    for (int32_t x = 500; x < 1524; ++x) ASSERT_EQ(static_cast<uint16_t>(cv_xsubtbl[x]), (x - 500) * 16 + 1);
}

TEST_P(tables, of_an_empty_slot_are_the_earlier_ones)
{
    start();
    const int32_t canvas = sized(0, 300, 200).create(path("canvas"));
    canvas_make_tables(canvas);
    int16_t* const columns = cv_xsubtbl;
    EXPECT_EQ(canvas_make_tables(canvas + 1), 0);
    EXPECT_EQ(canvas_make_tables(-1), 0);
    EXPECT_EQ(canvas_make_tables(50), 0);
    EXPECT_EQ(cv_xsubtbl, columns);
}

TEST_P(tables, are_gone_after_a_restart)
{
    start();
    canvas_make_tables(sized(0, 300, 200).create(path("canvas")));
    EXPECT_NE(cv_xsubtbl, nullptr);
    start();
    EXPECT_EQ(cv_xsubtbl, nullptr);
    EXPECT_EQ(cv_ysubtbl, nullptr);
}

TEST_P(tables, of_a_frame_larger_than_the_arrays_stay_inside_them)
{
    start();
    cv_max_lres_hor = 3000;
    cv_max_lres_vert = 2500;
    const int32_t canvas = sized(0, 2900, 2400).create(path("canvas"));
    ASSERT_EQ(canvas_make_tables(canvas), 0);
    EXPECT_EQ(cv_xvirttbl[0], -1);
    EXPECT_EQ(cv_xvirttbl[1023], 1023 - 50);
    EXPECT_EQ(cv_yvirttbl[0], -1);  // written first would have been run over by the columns' last ones
    EXPECT_EQ(cv_yvirttbl[1023], 1023 - 50);
    EXPECT_EQ(static_cast<uint16_t>(cv_xsubtbl[2899]), (50 + 2899) * 16 + 1);
    EXPECT_EQ(static_cast<uint16_t>(cv_ysubtbl[2399]), (50 + 2399) * 16 + 1);
}

INSTANTIATE_TEST_SUITE_P(, tables, both_modes(), mode_name);

}  // namespace
