// The whole reduced image of the current picture or mask from its tiles, in memory and in the file.
#include <filesystem>

#include "tests/reduced/reduced_test.h"

using namespace iocache_test;

namespace {

constexpr uint8_t fill = 0xA5;

int32_t resample(const painting& image)
{
    return image.is_picture() ? cv_resample_picture() : cv_resample_mask();
}

class resampling_of : public painting_test {};

TEST_P(resampling_of, a_canvas_is_right_in_memory_and_in_the_file)
{
    start();
    const painting image = shape().with_pattern();
    const reduced_model model(image);
    const int32_t canvas = painted_canvas(image);
    guarded_buffer alpha(std::max<size_t>(model.pixels(), 1), fill);
    fill_own_buffers(fill);
    bytes picture = own_picture_buffer();
    bytes mask = own_mask_buffer();
    bytes expected_alpha = alpha.contents();
    model.put_resampled(image.is_picture() ? picture.data() : mask.data(), expected_alpha.data());

    if (image.is_picture()) cv_visu_alfa = alpha.data();
    EXPECT_EQ(resample(image), 0);
    cv_visu_alfa = nullptr;
    EXPECT_TRUE(same_bytes(own_picture_buffer(), picture));
    EXPECT_TRUE(same_bytes(own_mask_buffer(), mask));
    EXPECT_TRUE(alpha.guards_are_intact());
    EXPECT_TRUE(same_bytes(alpha.contents(), image.is_picture() ? expected_alpha : bytes(alpha.size(), fill)));
    EXPECT_EQ(locked_tiles(), 0);

    ASSERT_EQ(canvas_close(canvas), 0);
    const bytes stored = canvas_file(path("canvas")).reduced_image();
    ASSERT_EQ(stored.size(), model.is_subsampled() ? model.stored_bytes() : 0);
    const bytes& buffer = image.is_picture() ? picture : mask;
    EXPECT_TRUE(same_bytes(stored, {buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(stored.size())}));
}

INSTANTIATE_TEST_SUITE_P(, resampling_of, every_shape(), mode_and_painting_name);
INSTANTIATE_TEST_SUITE_P(largest, resampling_of,
                         ::testing::Combine(both_modes(),
                                            ::testing::Values(sized(1, 32000, 2999), sized(0, 32000, 32000))),
                         mode_and_painting_name);

class resampling : public reduced_test {
protected:
    // A mask that is resampled at this level of its view.
    void resample_at_level(int32_t level)
    {
        start();
        const painting image = sized(0, 1500, 1100).with_pattern();
        const int32_t canvas = painted_canvas(image);
        canvastable[canvas]->geom.level = level;
        fill_own_buffers(0);
        expected_ = own_mask_buffer();
        reduced_model(image).put_resampled(expected_.data(), nullptr);
        EXPECT_EQ(cv_resample_mask(), 0);
        EXPECT_TRUE(same_bytes(own_mask_buffer(), expected_));
        stored_ = canvas_file(path("canvas")).reduced_image();
    }
    bytes nothing_stored() const { return bytes(stored_.size(), 0); }

    bytes expected_;
    bytes stored_;
};

TEST_P(resampling, at_level_1_is_stored_in_the_window_file)
{
    resample_at_level(1);
    EXPECT_TRUE(same_bytes(stored_, nothing_stored()));
    EXPECT_TRUE(same_bytes(read_whole_file(path("canvass")), expected_));
}

TEST_P(resampling, at_level_2_is_stored_nowhere)
{
    resample_at_level(2);
    EXPECT_TRUE(same_bytes(stored_, nothing_stored()));
    EXPECT_FALSE(std::filesystem::exists(path("canvass")));
}

TEST_P(resampling, at_level_3_is_stored_nowhere)
{
    resample_at_level(3);
    EXPECT_TRUE(same_bytes(stored_, nothing_stored()));
    EXPECT_FALSE(std::filesystem::exists(path("canvass")));
}

TEST_P(resampling, of_a_picture_at_level_1_stores_the_first_4_mib)
{
    start();
    const painting image = sized(1, 1500, 1100).with_pattern();
    const int32_t canvas = painted_canvas(image);
    canvastable[canvas]->geom.level = 1;
    fill_own_buffers(fill);
    EXPECT_EQ(cv_resample_picture(), 0);
    const bytes all = own_picture_buffer();
    EXPECT_TRUE(same_bytes(read_whole_file(path("canvass")), {all.begin(), all.begin() + 4'194'304}));
}

TEST_P(resampling, leaves_out_a_last_row_and_column_that_begin_a_tile)
{
    start();
    const painting image = sized(0, 513, 257).with_pattern();
    painted_canvas(image);
    fill_own_buffers(fill);
    EXPECT_EQ(cv_resample_mask(), 0);
    EXPECT_EQ(cv_visu_mask[0], image.colour(0, 0)[0]);
    EXPECT_EQ(cv_visu_mask[511], image.colour(511, 0)[0]);
    EXPECT_EQ(cv_visu_mask[512], fill);        // column 512
    EXPECT_EQ(cv_visu_mask[256 * 513], fill);  // row 256
    EXPECT_EQ(cv_visu_mask[255 * 513 + 511], image.colour(511, 255)[0]);
}

TEST_P(resampling, without_a_separate_alpha_plane_keeps_alpha_behind_the_colours)
{
    start();
    const painting image = sized(1, 700, 400).with_pattern();
    const reduced_model model(image);
    painted_canvas(image);
    fill_own_buffers(fill);
    bytes expected = own_picture_buffer();
    model.put_resampled(expected.data(), expected.data() + 4 * model.pixels());
    EXPECT_EQ(cv_resample_picture(), 0);
    EXPECT_TRUE(same_bytes(own_picture_buffer(), expected));
}

TEST_P(resampling, takes_the_view_of_the_record_and_the_tiles_of_the_number)
{
    start();
    painting first = sized(0, 300, 200).with_pattern();
    painting second = sized(0, 300, 200);
    second.painted = {{0, 0, 99, 99}};
    const int32_t first_canvas = painted_canvas(first, "first");
    painted_canvas(second, "second");
    current_mask = first_canvas;  // current_mp stays the second one
    fill_own_buffers(fill);
    EXPECT_EQ(cv_resample_mask(), 0);
    for (int32_t y = 0; y < 200; ++y) {
        for (int32_t x = 0; x < 300; ++x) ASSERT_EQ(cv_visu_mask[y * 300 + x], first.colour(x, y)[0]);
    }
}

TEST_P(resampling, of_nothing_does_nothing)
{
    start();
    current_cp = nullptr;
    current_mp = nullptr;
    fill_own_buffers(fill);
    EXPECT_EQ(cv_resample_picture(), 0);
    EXPECT_EQ(cv_resample_mask(), 0);
    EXPECT_TRUE(same_bytes(own_picture_buffer(), bytes(sizeof cv_visu_pic, fill)));
}

TEST_P(resampling, with_other_tables_touches_nothing)
{
    start();
    painted_canvas(sized(0, 1500, 1100).with_pattern(), "large");
    canvas_make_tables(sized(0, 20, 20).create(path("small")));
    fill_own_buffers(fill);
    EXPECT_EQ(cv_resample_mask(), 0);
    EXPECT_TRUE(same_bytes(own_mask_buffer(), bytes(sizeof cv_visu_mask, fill)));
}

TEST_P(resampling, of_an_image_larger_than_the_buffers_touches_and_stores_nothing)
{
    start();
    cv_max_lres_hor = cv_max_lres_vert = 1500;
    other_rbuf host_buffer(size_t{1500} * 1500 * 5, 0);
    const painting image = sized(1, 2000, 2000).with_pattern();
    const int32_t canvas = painted_canvas(image);
    fill_own_buffers(fill);
    EXPECT_EQ(cv_resample_picture(), 0);
    EXPECT_TRUE(same_bytes(own_picture_buffer(), bytes(sizeof cv_visu_pic, fill)));
    ASSERT_EQ(canvas_close(canvas), 0);
    const bytes stored = canvas_file(path("canvas")).reduced_image();
    EXPECT_EQ(stored.size(), size_t{1500} * 1500 * 5 / 512 * 512 + (size_t{1500} * 1500 * 5 % 512 != 0 ? 512 : 0));
    EXPECT_TRUE(same_bytes(stored, bytes(stored.size(), 0)));
}

INSTANTIATE_TEST_SUITE_P(, resampling, both_modes(), mode_name);

}  // namespace
