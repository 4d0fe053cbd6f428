// Icons: what a reduced image of any shape becomes in an icon of any shape, and that nothing beside the icon changes.
#include <cstdlib>
#include <numeric>

#include "tests/reduced/reduced_test.h"

using namespace iocache_test;

namespace {

constexpr uint8_t fill = 0xA5;

bytes noise(size_t size)
{
    bytes result(size);
    uint32_t state = 1;
    for (uint8_t& byte : result) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<uint8_t>(state >> 24U);
    }
    return result;
}

// A record with nothing but what an icon needs.
class icon_record {
public:
    icon_record(size_t pixel_bytes, icon_size size, int32_t width, int32_t height)
        : icon_(static_cast<size_t>(size.width) * static_cast<size_t>(size.height) * pixel_bytes, fill)
    {
        header_.icon_width = static_cast<int16_t>(size.width);
        header_.icon_height = static_cast<int16_t>(size.height);
        record_.header = &header_;
        record_.icon = icon_.data();
        record_.geom_orig.lres_width = width;
        record_.geom_orig.lres_height = height;
        record_.geom.lres_width = 1;  // the view at creation counts
        record_.geom.lres_height = 1;
    }
    cv_canvas* record() { return &record_; }
    const guarded_buffer& icon() const { return icon_; }

private:
    guarded_buffer icon_;
    cv_header header_ = {};
    cv_canvas record_ = {};
};

struct lengths {
    int32_t width, height;
};
constexpr lengths images[] = {{1024, 512}, {512, 1024}, {1024, 1024}, {50, 50},   {100, 100}, {1, 1},   {1, 1024},
                              {1024, 1},   {101, 99},   {99, 101},    {1023, 12}, {7, 300},   {300, 7}, {333, 334}};
constexpr icon_size icons[] = {{100, 100}, {100, 60}, {60, 100}, {1, 1}, {1, 200}, {200, 1}, {64, 48}, {33, 77}};

class icon : public reduced_test {};

TEST(icon_of_a_picture, copies_the_pixels_of_its_table)
{
    for (const auto& [width, height] : images) {
        const bytes source = noise(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
        for (const icon_size size : icons) {
            SCOPED_TRACE(testing::Message() << width << "x" << height << " in " << size.width << "x" << size.height);
            icon_record made(4, size, width, height);
            bytes expected(made.icon().size(), fill);
            put_icon(expected, size, source, width, height, 4);
            EXPECT_EQ(cv_make_pic_buffer_icon(made.record(), source.data()), 0);
            EXPECT_TRUE(same_bytes(made.icon().contents(), expected));
            EXPECT_TRUE(made.icon().guards_are_intact());
        }
    }
}

TEST(icon_of_a_mask, copies_the_pixels_of_its_table)
{
    for (const auto& [width, height] : images) {
        const bytes source = noise(static_cast<size_t>(width) * static_cast<size_t>(height));
        for (const icon_size size : icons) {
            SCOPED_TRACE(testing::Message() << width << "x" << height << " in " << size.width << "x" << size.height);
            icon_record made(1, size, width, height);
            bytes expected(made.icon().size(), fill);
            put_icon(expected, size, source, width, height, 1);
            EXPECT_EQ(cv_make_mask_buffer_icon(made.record(), source.data()), 0);
            EXPECT_TRUE(same_bytes(made.icon().contents(), expected));
            EXPECT_TRUE(made.icon().guards_are_intact());
        }
    }
}

TEST(icon_of_a_mask, leaves_rows_alone_that_the_image_does_not_reach)
{
    bytes source(1024 * 512);
    for (size_t i = 0; i < source.size(); ++i) source[i] = i % 1024 == 0 ? static_cast<uint8_t>(1 + i / 1024 % 250) : 0;
    icon_record made(1, {100, 100}, 1024, 512);
    cv_make_mask_buffer_icon(made.record(), source.data());
    const bytes icon = made.icon().contents();
    for (const auto& [row, source_row] : {lengths{0, 0}, {1, 10}, {4, 40}, {5, 51}, {49, 501}})
        EXPECT_EQ(icon[static_cast<size_t>(row) * 100], 1 + source_row % 250) << row;
    for (size_t i = 5000; i < 10000; ++i) ASSERT_EQ(icon[i], fill);
}

TEST(icon_of_a_mask, repeats_the_pixels_of_a_smaller_image)
{
    const bytes source = noise(2500);
    icon_record made(1, {100, 100}, 50, 50);
    cv_make_mask_buffer_icon(made.record(), source.data());
    const bytes icon = made.icon().contents();
    for (size_t row = 0; row < 100; ++row) {
        for (size_t column = 0; column < 100; ++column)
            ASSERT_EQ(icon[row * 100 + column], source[row / 2 * 50 + column / 2]);
    }
}

TEST(icon_of_a_mask, without_a_pixel_changes_nothing)
{
    const bytes source = noise(100);
    for (const icon_size size : {icon_size{0, 0}, icon_size{0, 10}, icon_size{10, 0}}) {
        icon_record made(1, size, 10, 10);
        EXPECT_EQ(cv_make_mask_buffer_icon(made.record(), source.data()), 0);
        EXPECT_EQ(cv_make_pic_buffer_icon(made.record(), source.data()), 0);
        EXPECT_TRUE(made.icon().guards_are_intact());
    }
}

TEST_P(icon, comes_from_the_buffer_that_its_name_says)
{
    start();
    const painting image = sized(1, 300, 200);
    const painting mask_image = sized(0, 300, 200);
    cv_canvas* const picture = canvastable[image.create(path("picture"))];
    cv_canvas* const mask = canvastable[mask_image.create(path("mask"))];
    const bytes first = noise(300 * 200 * 4);
    bytes second = first;
    for (uint8_t& byte : second) byte = static_cast<uint8_t>(byte ^ 0xFFU);
    std::copy(first.begin(), first.end(), cv_visu_pic);
    std::copy(first.begin(), first.begin() + 60000, cv_visu_mask);
    other_rbuf host_buffer(second.size());
    std::copy(second.begin(), second.end(), Rbuf);

    const auto expect = [](const cv_canvas& record, const bytes& source, size_t pixel_bytes) {
        bytes expected(100 * 100 * pixel_bytes, 0);
        put_icon(expected, {}, source, 300, 200, pixel_bytes);
        EXPECT_TRUE(same_bytes({record.icon, record.icon + expected.size()}, expected));
    };
    cv_make_pic_icon(picture);
    expect(*picture, first, 4);
    cv_make_pic_icon_Rbuf(picture);
    expect(*picture, second, 4);
    cv_make_mask_icon(mask);
    expect(*mask, first, 1);
    cv_make_mask_icon_Rbuf(mask);
    expect(*mask, second, 1);
    EXPECT_TRUE(host_buffer.buffer().guards_are_intact());
}

TEST_P(icon, of_the_configured_shape_reaches_the_file)
{
    start();
    for (const icon_size size : {icon_size{128, 40}, icon_size{40, 128}, icon_size{3, 5}}) {
        cv_iconsize_hor = size.width;
        cv_iconsize_vert = size.height;
        const painting image = sized(1, 300, 200).with_pattern();
        const std::string file = "icon" + std::to_string(size.width);
        const int32_t canvas = painted_canvas(image, file);
        fill_own_buffers(0);
        for (const int32_t tile : {0, 1}) cv_update_virt_subsampled_tile(canvas, tile);
        const bytes source = own_picture_buffer();
        cv_make_pic_icon(canvastable[canvas]);
        EXPECT_EQ(cv_write_icon(canvas), 0);
        bytes expected(static_cast<size_t>(size.width) * static_cast<size_t>(size.height) * 4, 0);
        put_icon(expected, size, source, 300, 200, 4);
        expected.resize((expected.size() + 511) / 512 * 512, 0);
        EXPECT_TRUE(same_bytes(canvas_file(path(file)).icon(), expected));
    }
}

INSTANTIATE_TEST_SUITE_P(, icon, both_modes(), mode_name);

}  // namespace
