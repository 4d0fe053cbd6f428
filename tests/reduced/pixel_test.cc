// One changed pixel into the library's reduced image.
#include "tests/reduced/reduced_test.h"

using namespace iocache_test;

namespace {

constexpr uint8_t fill = 0xA5;

class pixel_update : public reduced_test {};

TEST_P(pixel_update, of_a_picture_lands_where_its_column_and_row_are_sampled)
{
    start();
    const painting image = sized(1, 1500, 1100).with_pattern();
    const reduced_model model(image);
    painted_canvas(image);
    guarded_buffer alpha(model.pixels(), fill);
    cv_visu_alfa = alpha.data();
    fill_own_buffers(fill);
    bytes picture = own_picture_buffer();
    bytes expected_alpha(model.pixels(), fill);
    for (int32_t y = 0; y < 1100; y += 7) {
        for (int32_t x = 0; x < 1500; x += 3) {
            cv_subsample_ppixel(x, y, image.colour_word(x, y), image.alpha(x, y));
            if (model.columns().is_sampled(x) && model.rows().is_sampled(y))
                model.put({x, y, x, y}, picture.data(), expected_alpha.data());
        }
    }
    cv_visu_alfa = nullptr;
    EXPECT_TRUE(same_bytes(own_picture_buffer(), picture));
    EXPECT_TRUE(same_bytes(alpha.contents(), expected_alpha));
    EXPECT_TRUE(alpha.guards_are_intact());
}

TEST_P(pixel_update, takes_the_low_byte_of_the_alpha_value)
{
    start();
    painted_canvas(sized(1, 10, 10));
    uint8_t alpha[100] = {};
    cv_visu_alfa = alpha;
    cv_subsample_ppixel(3, 2, 0x01020304, 0x1FE);
    cv_visu_alfa = nullptr;
    EXPECT_EQ(alpha[23], 0xFE);
}

TEST_P(pixel_update, without_a_separate_alpha_plane_keeps_alpha_behind_the_colours)
{
    start();
    const painting image = sized(1, 10, 10);
    painted_canvas(image);
    fill_own_buffers(0);
    ASSERT_EQ(cv_visu_alfa, nullptr);
    cv_subsample_ppixel(3, 2, 0x01020304, 77);
    uint32_t word = 0;
    std::memcpy(&word, cv_visu_pic + 4 * 23, sizeof word);
    EXPECT_EQ(word, 0x01020304U);
    EXPECT_EQ(cv_visu_pic[400 + 23], 77);
}

TEST_P(pixel_update, of_a_mask_follows_the_geometry_of_the_current_picture)
{
    start();
    const painting picture = sized(1, 1500, 1100);
    painted_canvas(picture);
    const reduced_model model(picture);
    current_mp = nullptr;  // not looked at
    fill_own_buffers(fill);
    bytes expected = own_mask_buffer();
    for (int32_t y = 0; y < 60; ++y) {
        for (int32_t x = 0; x < 90; ++x) {
            cv_subsample_mpixel(x, y, x + y);
            if (model.columns().is_sampled(x) && model.rows().is_sampled(y))
                expected[model.place(x, y)] = static_cast<uint8_t>(x + y);
        }
    }
    EXPECT_TRUE(same_bytes(own_mask_buffer(), expected));
}

TEST_P(pixel_update, outside_the_image_or_without_a_picture_changes_nothing)
{
    start();
    const painting image = sized(1, 1500, 1100);
    painted_canvas(image);
    fill_own_buffers(fill);
    const bytes before = own_picture_buffer();
    for (const int32_t x : {-1, 1500, INT32_MIN, INT32_MAX}) {
        cv_subsample_ppixel(x, 0, 1, 1);
        cv_subsample_ppixel(0, x, 1, 1);
        cv_subsample_mpixel(x, 0, 1);
        cv_subsample_mpixel(0, x, 1);
    }
    current_cp = nullptr;
    cv_subsample_ppixel(0, 0, 1, 1);
    cv_subsample_mpixel(0, 0, 1);
    EXPECT_TRUE(same_bytes(own_picture_buffer(), before));
    EXPECT_TRUE(same_bytes(own_mask_buffer(), bytes(sizeof cv_visu_mask, fill)));
}

TEST_P(pixel_update, of_an_image_larger_than_the_buffers_changes_nothing)
{
    start();
    cv_max_lres_hor = cv_max_lres_vert = 2048;
    other_rbuf host_buffer(size_t{2048} * 2048 * 5);
    painted_canvas(sized(1, 2040, 2040));
    fill_own_buffers(fill);
    cv_subsample_ppixel(2039, 2039, 1, 1);
    cv_subsample_mpixel(2039, 2039, 1);
    EXPECT_TRUE(same_bytes(own_picture_buffer(), bytes(sizeof cv_visu_pic, fill)));
    EXPECT_TRUE(same_bytes(own_mask_buffer(), bytes(sizeof cv_visu_mask, fill)));
}

INSTANTIATE_TEST_SUITE_P(, pixel_update, both_modes(), mode_name);

}  // namespace
