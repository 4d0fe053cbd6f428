// A host's lines and columns into a reduced image.
#include "tests/reduced/reduced_test.h"

using namespace iocache_test;

namespace {

constexpr uint8_t fill = 0xA5;

// Every line (or column) of the painting, cut into pieces that begin anywhere.
struct piece {
    int32_t first, last;
};
std::vector<piece> pieces_of(int32_t first, int32_t last)
{
    std::vector<piece> pieces;
    int32_t length = 1;
    for (int32_t from = first; from <= last; from += length, length = length * 3 + 7)
        pieces.push_back({from, std::min(from + length - 1, last)});
    return pieces;
}

class sampling_of : public painting_test {
protected:
    // The lines or columns worth a look: all of a small image, some of a large one.
    static int32_t stride(int32_t length) { return length > 3000 ? 7 : 1; }
};

TEST_P(sampling_of, lines_puts_exactly_their_sampled_pixels)
{
    start();
    const painting image = shape().with_pattern();
    const reduced_model model(image);
    const int32_t canvas = image.create(path("canvas"));
    make_current(canvas);
    guarded_buffer target(model.image_bytes(), fill);
    guarded_buffer separate(model.pixels(), fill);
    guarded_buffer colours(model.image_bytes(), fill);
    bytes expected(model.image_bytes(), fill);
    bytes expected_colours = expected;
    bytes expected_alpha(model.pixels(), fill);
    for (int32_t y = image.y_min; y <= image.y_max; y += stride(image.height())) {
        for (const piece& p : pieces_of(image.x_min, image.x_max)) {
            const bytes colour = image.colour_line(y, p.first, p.last);
            const bytes alpha = image.alpha_line(y, p.first, p.last);
            cv_subsample_line_in_buf(canvas, colour.data(), alpha.data(), y, p.first, p.last, target.data(), nullptr);
            cv_subsample_line_in_buf(canvas, colour.data(), alpha.data(), y, p.first, p.last, colours.data(),
                                     separate.data());
        }
        model.put({image.x_min, y, image.x_max, y}, expected);
        model.put({image.x_min, y, image.x_max, y}, expected_colours.data(), expected_alpha.data());
    }
    EXPECT_TRUE(same_bytes(target.contents(), expected));
    EXPECT_TRUE(same_bytes(colours.contents(), expected_colours));
    EXPECT_TRUE(same_bytes(separate.contents(), expected_alpha));
    EXPECT_TRUE(target.guards_are_intact() && colours.guards_are_intact() && separate.guards_are_intact());
    EXPECT_EQ(first_tile, nullptr);  // no tile is touched
}

TEST_P(sampling_of, columns_puts_exactly_their_sampled_pixels)
{
    start();
    const painting image = shape().with_pattern();
    const reduced_model model(image);
    const int32_t canvas = image.create(path("canvas"));
    make_current(canvas);
    guarded_buffer target(model.image_bytes(), fill);
    bytes expected(model.image_bytes(), fill);
    for (int32_t x = image.x_min; x <= image.x_max; x += stride(image.width())) {
        for (const piece& p : pieces_of(image.y_min, image.y_max)) {
            const bytes colour = image.colour_column(x, p.first, p.last);
            const bytes alpha = image.alpha_column(x, p.first, p.last);
            cv_subsample_column_in_buf(canvas, colour.data(), alpha.data(), x, p.first, p.last, target.data(), nullptr);
        }
        model.put({x, image.y_min, x, image.y_max}, expected);
    }
    EXPECT_TRUE(same_bytes(target.contents(), expected));
    EXPECT_TRUE(target.guards_are_intact());
    EXPECT_EQ(first_tile, nullptr);
}

TEST_P(sampling_of, lines_and_columns_goes_to_the_librarys_own_buffers)
{
    start();
    const painting image = shape().with_pattern();
    const reduced_model model(image);
    const int32_t canvas = image.create(path("canvas"));
    make_current(canvas);
    guarded_buffer separate(model.pixels(), fill);
    fill_own_buffers(fill);
    bytes picture = own_picture_buffer();
    bytes mask = own_mask_buffer();
    bytes expected_alpha(model.pixels(), fill);
    cv_visu_alfa = separate.data();
    const int32_t y = image.y_min + image.height() / 2;
    const int32_t x = image.x_min + image.width() / 2;
    for (int32_t i = 0; i < std::min({6, image.width(), image.height()}); ++i) {
        const int32_t line = std::min(y + i, image.y_max);
        const int32_t column = std::min(x + i, image.x_max);
        cv_subsample_line(canvas, image.colour_line(line, image.x_min, image.x_max).data(),
                          image.alpha_line(line, image.x_min, image.x_max).data(), line, image.x_min, image.x_max);
        cv_subsample_column(canvas, image.colour_column(column, image.y_min, image.y_max).data(),
                            image.alpha_column(column, image.y_min, image.y_max).data(), column, image.y_min,
                            image.y_max);
        uint8_t* const target = image.is_picture() ? picture.data() : mask.data();
        model.put({image.x_min, line, image.x_max, line}, target, expected_alpha.data());
        model.put({column, image.y_min, column, image.y_max}, target, expected_alpha.data());
    }
    cv_visu_alfa = nullptr;
    EXPECT_TRUE(same_bytes(own_picture_buffer(), picture));
    EXPECT_TRUE(same_bytes(own_mask_buffer(), mask));
    EXPECT_TRUE(same_bytes(separate.contents(), expected_alpha));
    EXPECT_TRUE(separate.guards_are_intact());
}

INSTANTIATE_TEST_SUITE_P(, sampling_of, every_shape(), mode_and_painting_name);

class sampling : public reduced_test {};

TEST_P(sampling, without_a_separate_plane_puts_alpha_behind_the_colours_of_the_own_buffer)
{
    start();
    const painting image = sized(1, 300, 200).with_pattern();
    const reduced_model model(image);
    const int32_t canvas = image.create(path("canvas"));
    make_current(canvas);
    fill_own_buffers(fill);
    bytes expected = own_picture_buffer();
    model.put({0, 9, 299, 9}, expected);
    cv_subsample_line(canvas, image.colour_line(9, 0, 299).data(), image.alpha_line(9, 0, 299).data(), 9, 0, 299);
    EXPECT_TRUE(same_bytes(own_picture_buffer(), expected));
}

TEST_P(sampling, a_line_or_column_that_is_not_sampled_changes_nothing)
{
    start();
    const painting image = sized(0, 3000, 3000).with_pattern();
    const int32_t canvas = image.create(path("canvas"));
    make_current(canvas);
    fill_own_buffers(fill);
    const bytes line(3000, 1);
    ASSERT_EQ(cv_ysubtbl[1] & 15, 0);
    EXPECT_EQ(cv_subsample_line(canvas, line.data(), nullptr, 1, 0, 2999), 0);
    EXPECT_EQ(cv_subsample_column(canvas, line.data(), nullptr, 1, 0, 2999), 0);
    EXPECT_TRUE(same_bytes(own_mask_buffer(), bytes(sizeof cv_visu_mask, fill)));
}

TEST_P(sampling, divides_places_by_the_step)
{
    start();
    const painting image = sized(0, 60, 40).with_pattern();
    const int32_t canvas = image.create(path("canvas"));
    cv_geometry& view = canvastable[canvas]->geom;
    view.step = 2;
    make_current(canvas);
    guarded_buffer target(60 * 40, fill);
    for (int32_t y = 0; y < 40; ++y) {
        cv_subsample_line_in_buf(canvas, image.colour_line(y, 10, 49).data(), nullptr, y, 10, 49, target.data(),
                                 nullptr);
    }
    bytes expected(60 * 40, fill);
    reduced_model(image).put({10, 0, 49, 39}, expected.data(), nullptr);
    EXPECT_TRUE(same_bytes(target.contents(), expected));
    guarded_buffer columns(60 * 40, fill);
    for (int32_t x = 10; x < 50; ++x) {
        cv_subsample_column_in_buf(canvas, image.colour_column(x, 0, 39).data(), nullptr, x, 0, 39, columns.data(),
                                   nullptr);
    }
    EXPECT_TRUE(same_bytes(columns.contents(), expected));
}

TEST_P(sampling, of_an_empty_slot_fails)
{
    start();
    bytes buffer(100, fill);
    for (const int32_t none : {-1, 0, 49, 50}) {
        EXPECT_EQ(cv_subsample_line(none, buffer.data(), buffer.data(), 0, 0, 9), -255);
        EXPECT_EQ(cv_subsample_column(none, buffer.data(), buffer.data(), 0, 0, 9), -255);
        EXPECT_EQ(cv_subsample_line_in_buf(none, buffer.data(), buffer.data(), 0, 0, 9, buffer.data(), buffer.data()),
                  -255);
        EXPECT_EQ(cv_subsample_column_in_buf(none, buffer.data(), buffer.data(), 0, 0, 9, buffer.data(), buffer.data()),
                  -255);
    }
    EXPECT_TRUE(same_bytes(buffer, bytes(100, fill)));
}

TEST_P(sampling, of_an_image_larger_than_the_own_buffers_fails)
{
    start();
    cv_max_lres_hor = cv_max_lres_vert = 2048;
    other_rbuf host_buffer(size_t{2048} * 2048 * 5);
    const bytes line(4 * 2000, 1);
    for (const int32_t kind : {0, 1}) {
        const int32_t canvas = sized(kind, 2000, 1900).create(path(kind == 0 ? "mask" : "picture"));
        make_current(canvas);
        fill_own_buffers(fill);
        EXPECT_EQ(cv_subsample_line(canvas, line.data(), line.data(), 1899, 0, 1999), -255);
        EXPECT_EQ(cv_subsample_column(canvas, line.data(), line.data(), 1999, 0, 1899), -255);
        EXPECT_TRUE(same_bytes(own_picture_buffer(), bytes(sizeof cv_visu_pic, fill)));
        EXPECT_TRUE(same_bytes(own_mask_buffer(), bytes(sizeof cv_visu_mask, fill)));
    }
}

TEST_P(sampling, beside_the_image_or_with_the_tables_of_another_changes_nothing)
{
    start();
    const painting image = sized(0, 300, 200).with_pattern();
    const int32_t canvas = image.create(path("canvas"));
    const int32_t larger = sized(0, 3000, 2000).create(path("larger"));
    make_current(canvas);
    guarded_buffer target(300 * 200, fill);
    const bytes line(400, 1);
    for (const int32_t far : {-1, 300, INT32_MAX, INT32_MIN}) {
        cv_subsample_line_in_buf(canvas, line.data(), nullptr, far, 0, 9, target.data(), nullptr);
        cv_subsample_column_in_buf(canvas, line.data(), nullptr, far, 0, 9, target.data(), nullptr);
    }
    cv_subsample_line_in_buf(canvas, line.data(), nullptr, 0, -1, 9, target.data(), nullptr);
    cv_subsample_line_in_buf(canvas, line.data(), nullptr, 0, 0, 300, target.data(), nullptr);
    cv_subsample_column_in_buf(canvas, line.data(), nullptr, 0, 0, 200, target.data(), nullptr);
    EXPECT_TRUE(same_bytes(target.contents(), bytes(300 * 200, fill)));
    canvas_make_tables(larger);
    for (int32_t y = 0; y < 200; ++y)
        cv_subsample_line_in_buf(canvas, line.data(), nullptr, y, 0, 299, target.data(), nullptr);
    EXPECT_TRUE(target.guards_are_intact());
}

INSTANTIATE_TEST_SUITE_P(, sampling, both_modes(), mode_name);

}  // namespace
