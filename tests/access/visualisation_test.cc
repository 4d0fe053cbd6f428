// Whole low-resolution images for the host.
#include <cstdlib>
#include <memory>

#include <unistd.h>

#include "tests/support/library.h"
#include "tests/support/painting.h"

using namespace iocache_test;

namespace {

constexpr uint8_t fill = 0xA5;
constexpr size_t alpha_place = 4'194'304;

struct view {
    std::unique_ptr<uint8_t, decltype(&std::free)> image{nullptr, &std::free};
    int32_t width = -7;
    int32_t height = -7;
};
view visualisation_of(int32_t canvas)
{
    view result;
    result.image.reset(cv_get_visualisation(canvas, &result.width, &result.height));
    return result;
}

painting with_everything(painting image)
{
    image.painted = {image.bounds()};
    return image;
}

// The colour (or mask) plane, or the alpha plane, of a whole painting.
bytes colour_plane(const painting& image)
{
    bytes plane;
    for (int32_t y = image.y_min; y <= image.y_max; ++y) {
        const bytes line = image.colour_line(y, image.x_min, image.x_max);
        plane.insert(plane.end(), line.begin(), line.end());
    }
    return plane;
}
bytes alpha_plane(const painting& image)
{
    bytes plane;
    for (int32_t y = image.y_min; y <= image.y_max; ++y) {
        const bytes line = image.alpha_line(y, image.x_min, image.x_max);
        plane.insert(plane.end(), line.begin(), line.end());
    }
    return plane;
}

// A host buffer of the least size that the library may expect, in the place of the host's.
class other_xbuf {
public:
    explicit other_xbuf(size_t size = 5 * 1024 * 1024) : before_(Xbuf), buffer_(size, fill) { Xbuf = buffer_.data(); }
    ~other_xbuf() { Xbuf = before_; }
    other_xbuf(const other_xbuf&) = delete;
    other_xbuf& operator=(const other_xbuf&) = delete;
    const guarded_buffer& buffer() const { return buffer_; }

private:
    uint8_t* before_;
    guarded_buffer buffer_;
};

class visualisation : public library_test {
protected:
    int32_t painted(const painting& image, const std::string& name = "canvas")
    {
        const int32_t canvas = image.create(path(name));
        image.store(canvas);
        return canvas;
    }
    static std::vector<painting> small_shapes(int32_t kind)
    {
        return {with_everything({.kind = kind, .x_max = 299, .y_max = 199}),
                with_everything({.kind = kind, .x_max = 1023, .y_max = 1023}),
                with_everything({.kind = kind, .x_max = 0, .y_max = 700}),
                with_everything({.kind = kind,
                                 .x_min = -30,
                                 .y_min = -20,
                                 .x_max = 500,
                                 .y_max = 300,
                                 .x_offset = 300,
                                 .y_offset = 255})};
    }
};

TEST_P(visualisation, of_a_picture_within_the_frame_is_its_colour_plane)
{
    start({3 * picture_tile_bytes, 2});
    int number = 0;
    for (const painting& image : small_shapes(1)) {
        SCOPED_TRACE(image);
        const int32_t canvas = painted(image, std::to_string(number++));
        const view found = visualisation_of(canvas);
        ASSERT_NE(found.image, nullptr);
        EXPECT_EQ(found.width, image.width());
        EXPECT_EQ(found.height, image.height());
        const bytes expected = colour_plane(image);
        EXPECT_TRUE(same_bytes({found.image.get(), found.image.get() + expected.size()}, expected));
        EXPECT_EQ(locked_tiles(), 0);
    }
}

TEST_P(visualisation, of_a_canvas_without_data_is_black_and_asks_for_no_tile)
{
    start();
    const int32_t canvas = new_picture("canvas", 300, 200);
    const view found = visualisation_of(canvas);
    ASSERT_NE(found.image, nullptr);
    EXPECT_TRUE(same_bytes({found.image.get(), found.image.get() + 240'000}, bytes(240'000, 0)));
    EXPECT_EQ(canvastable[canvas]->tiles_fetched, 0);
}

TEST_P(visualisation, of_a_picture_beyond_the_frame_is_the_stored_image)
{
    start();
    const int32_t canvas = new_picture("canvas", 3000, 1500);
    const auto stored_bytes = static_cast<size_t>(canvastable[canvas]->header->subsampled_bytes);
    ASSERT_EQ(stored_bytes, (size_t{1024} * 512 * 5 + 511) / 512 * 512);
    bytes stored(stored_bytes);
    for (size_t i = 0; i < stored.size(); ++i) stored[i] = static_cast<uint8_t>(i * 7 + i / 1000);
    std::copy(stored.begin(), stored.end(), Rbuf);
    ASSERT_EQ(cv_write_subsampled_Rbuf(canvas), 0);
    canvastable[canvas]->geom.lres_width = 3;  // the view at creation counts
    const view found = visualisation_of(canvas);
    ASSERT_NE(found.image, nullptr);
    EXPECT_EQ(found.width, 1024);
    EXPECT_EQ(found.height, 512);
    EXPECT_TRUE(same_bytes({found.image.get(), found.image.get() + stored_bytes}, stored));
}

TEST_P(visualisation, of_a_region_smaller_than_its_image_still_has_the_images_size)
{
    start();
    const int32_t canvas = new_picture("canvas", 3000, 1500);
    std::fill_n(Rbuf, size_t{1024} * 512 * 5, uint8_t{9});
    ASSERT_EQ(cv_write_subsampled_Rbuf(canvas), 0);
    canvastable[canvas]->header->subsampled_bytes = 512;
    const view found = visualisation_of(canvas);
    ASSERT_NE(found.image, nullptr);
    uint32_t sum = 0;  // every byte that width and height promise may be read
    for (size_t i = 0; i < size_t{1024} * 512 * 5; ++i) sum += found.image.get()[i];
    EXPECT_EQ(sum, 512U * 9);
}

TEST_P(visualisation, of_a_region_that_cannot_be_read_is_null_with_its_size_told)
{
    start();
    const int32_t canvas = new_picture("canvas", 3000, 1500);
    ASSERT_EQ(truncate(path("canvas").c_str(), 210'000), 0);
    const view found = visualisation_of(canvas);
    EXPECT_EQ(found.image, nullptr);
    EXPECT_EQ(found.width, 1024);
    EXPECT_EQ(found.height, 512);
    EXPECT_EQ(cv_errno, 999203);
}

TEST_P(visualisation, whose_tile_cannot_be_read_is_null)
{
    start();
    const painting image = with_everything({.kind = 1, .x_max = 299, .y_max = 199});
    const int32_t canvas = painted(image);
    ASSERT_EQ(cv_flush_tiles(canvas), 0);
    ASSERT_EQ(truncate(path("canvas").c_str(), 210'000), 0);
    EXPECT_EQ(visualisation_of(canvas).image, nullptr);
    EXPECT_EQ(cv_get_lowres_visu(canvas), -255);
    EXPECT_EQ(locked_tiles(), 0);
}

TEST_P(visualisation, of_a_mask_or_an_empty_slot_is_null_and_tells_nothing)
{
    start();
    const int32_t mask = new_mask("mask", 300, 200);
    for (const int32_t none : {mask, mask + 1, -1, 49, 50}) {
        const view found = visualisation_of(none);
        EXPECT_EQ(found.image, nullptr);
        EXPECT_EQ(found.width, -7);
        EXPECT_EQ(found.height, -7);
    }
}

// ---- into the host's buffer -----------------------------------------------------------------------------------------

TEST_P(visualisation, in_the_hosts_buffer_has_colour_and_alpha_of_a_picture)
{
    start({3 * picture_tile_bytes, 2});
    int number = 0;
    for (const painting& image : small_shapes(1)) {
        SCOPED_TRACE(image);
        const int32_t canvas = painted(image, std::to_string(number++));
        const other_xbuf target;
        EXPECT_EQ(cv_get_lowres_visu(canvas), 0);
        bytes expected(target.buffer().size(), fill);
        const bytes colour = colour_plane(image);
        const bytes alpha = alpha_plane(image);
        std::copy(colour.begin(), colour.end(), expected.begin());
        std::copy(alpha.begin(), alpha.end(), expected.begin() + alpha_place);
        EXPECT_TRUE(same_bytes(target.buffer().contents(), expected));
        EXPECT_TRUE(target.buffer().guards_are_intact());
        EXPECT_EQ(locked_tiles(), 0);
    }
}

TEST_P(visualisation, in_the_hosts_buffer_has_the_bytes_of_a_mask)
{
    start({3 * picture_tile_bytes, 2});
    int number = 0;
    for (const painting& image : small_shapes(0)) {
        SCOPED_TRACE(image);
        const int32_t canvas = painted(image, std::to_string(number++));
        const other_xbuf target;
        EXPECT_EQ(cv_get_lowres_visu(canvas), 0);
        bytes expected = colour_plane(image);
        expected.resize(target.buffer().size(), fill);
        EXPECT_TRUE(same_bytes(target.buffer().contents(), expected));
        EXPECT_TRUE(target.buffer().guards_are_intact());
    }
}

TEST_P(visualisation, in_the_hosts_buffer_of_a_canvas_without_data_reads_its_tiles)
{
    start();
    const int32_t canvas = new_picture("canvas", 300, 200);
    const other_xbuf target;
    EXPECT_EQ(cv_get_lowres_visu(canvas), 0);
    EXPECT_EQ(canvastable[canvas]->tiles_fetched, 2);
    const bytes found = target.buffer().contents();
    EXPECT_TRUE(same_bytes({found.begin(), found.begin() + 240'000}, bytes(240'000, 0)));
}

TEST_P(visualisation, in_the_hosts_buffer_walks_the_tiles_from_left_to_right)
{
    start();
    const painting image = with_everything({.kind = 1, .x_max = 299, .y_max = 199});
    const int32_t canvas = painted(image);
    const other_xbuf target;
    ASSERT_EQ(cv_get_lowres_visu(canvas), 0);
    EXPECT_EQ(parg.opcode, 1);
    EXPECT_EQ(parg.req[0].x, 256);
    EXPECT_EQ(parg.req[0].run_x, 44);
    EXPECT_EQ(parg.req[0].x_end, 299);
    EXPECT_EQ(parg.req[0].y_end, 199);
    EXPECT_EQ(parg.req[0].run_y, 200);
    EXPECT_EQ(parg.req[0].write, 0);
}

TEST_P(visualisation, in_the_hosts_buffer_of_a_canvas_beyond_the_frame_fails)
{
    start();
    const other_xbuf target;
    for (const int32_t none : {new_picture("picture", 1025, 20), new_mask("mask", 20, 1025), 5, -1, 50})
        EXPECT_EQ(cv_get_lowres_visu(none), -255);
    EXPECT_TRUE(same_bytes(target.buffer().contents(), bytes(target.buffer().size(), fill)));
}

TEST_P(visualisation, in_the_hosts_buffer_of_a_picture_whose_colours_would_reach_its_alpha_fails)
{
    start();
    cv_max_lres_hor = cv_max_lres_vert = 2048;
    const int32_t canvas = new_picture("canvas", 2000, 1000);
    const other_xbuf target;
    EXPECT_EQ(cv_get_lowres_visu(canvas), -255);
    EXPECT_TRUE(same_bytes(target.buffer().contents(), bytes(target.buffer().size(), fill)));
}

TEST_P(visualisation, in_the_hosts_buffer_of_a_mask_may_fill_4_mib)
{
    start({12 * picture_tile_bytes, 2});
    cv_max_lres_hor = cv_max_lres_vert = 4096;
    const painting image = with_everything({.kind = 0, .x_max = 1999, .y_max = 999});
    const int32_t canvas = painted(image);
    const int32_t too_large = new_mask("too_large", 2049, 2048);
    const other_xbuf target;
    EXPECT_EQ(cv_get_lowres_visu(canvas), 0);
    bytes expected = colour_plane(image);
    expected.resize(target.buffer().size(), fill);
    EXPECT_TRUE(same_bytes(target.buffer().contents(), expected));
    EXPECT_EQ(cv_get_lowres_visu(too_large), -255);
    EXPECT_TRUE(target.buffer().guards_are_intact());
}

INSTANTIATE_TEST_SUITE_P(, visualisation, both_modes(), mode_name);

}  // namespace
