// Documents, strokes, full pixels and statistics, without a window, in both modes. What lands in the file is read
// without the library.
#include <memory>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "examples/paint/detail.h"
#include "examples/paint/document.h"
#include "examples/paint/measure.h"
#include "examples/paint/session.h"
#include "examples/paint/statistics.h"
#include "examples/paint/stroke.h"
#include "tests/paint/painted_file.h"
#include "tests/support/temporary_folder.h"

namespace {

using namespace paint;
using paint_test::painted_file;

constexpr int32_t small_cache = 2;  // MiB: six picture tiles, so that painting makes room all the time
constexpr brush hard_brush = {.radius = 40.0, .hardness = 1.0, .opacity = 1.0, .spacing = 0.1};
constexpr ink some_ink = {.inks = {200, 100, 50, 10}, .mask_value = 180};

class paint_document : public ::testing::TestWithParam<int> {
protected:
    [[nodiscard]] std::string path(const std::string& name) const { return folder_.path() + "/" + name; }
    [[nodiscard]] const std::string& folder() const { return folder_.path(); }

    static area paint_line(document& on, point from, point to)
    {
        stroke pen(on, hard_brush, some_ink);
        const area changed = pen.begin(from).joined_with(pen.move_to(to));
        EXPECT_FALSE(pen.failed());
        EXPECT_GT(pen.stamps(), 1);
        return changed;
    }

private:
    temporary_folder folder_;
    session library_{small_cache, GetParam() == 0 ? cache_mode::process : cache_mode::in_line};
};

std::string mode_name(const ::testing::TestParamInfo<int>& in_line)
{
    return in_line.param == 0 ? "process" : "in_line";
}
INSTANTIATE_TEST_SUITE_P(, paint_document, ::testing::Values(0, 1), mode_name);

void expect_image_and_icon(const painted_file& file)
{
    EXPECT_EQ(file.file().dirty(), 0);
    if (file.width() > 1024 || file.height() > 1024) {
        EXPECT_TRUE(file.stored_reduced_image() == file.expected_reduced_image());
    }
    EXPECT_EQ(file.check_icon().wrong, 0);
    EXPECT_GT(file.check_icon().painted, 0);
}

// Ink in full on the line and nothing beside it: the line is level, at this height.
void expect_level_line(const painted_file& file, int32_t x_first, int32_t x_last, int32_t y)
{
    const bool is_picture = file.file().is_picture();
    const iocache_test::bytes painted =
        is_picture ? iocache_test::bytes{200, 100, 50, 10, 255} : iocache_test::bytes{180};
    for (int32_t x = x_first; x <= x_last; x += 7) {
        for (const int32_t dy : {-35, 0, 34}) ASSERT_EQ(file.pixel(x, y + dy), painted) << x << ", " << y + dy;
        for (const int32_t dy : {-42, 42}) ASSERT_EQ(file.alpha(x, y + dy), 0) << x << ", " << y + dy;
    }
}

TEST_P(paint_document, picture_larger_than_the_frame_keeps_stroke_reduced_image_and_icon)
{
    {
        const auto on = document::create(path("a"), 3000, 2000, canvas_kind::picture);
        EXPECT_EQ(paint_line(*on, {100.0, 700.0}, {2900.0, 700.0}), (area{60, 660, 2939, 739}));
        on->refresh_reduced_image();
        EXPECT_TRUE(on->close());
    }
    const painted_file file(path("a"));
    expect_level_line(file, 100, 2890, 700);
    expect_image_and_icon(file);
}

TEST_P(paint_document, mask_larger_than_the_frame_keeps_stroke_reduced_image_and_icon)
{
    {
        const auto on = document::create(path("a"), 1500, 2600, canvas_kind::mask);
        paint_line(*on, {200.0, 300.0}, {1300.0, 300.0});
        EXPECT_TRUE(on->close());
    }
    const painted_file file(path("a"));
    expect_level_line(file, 200, 1290, 300);
    expect_image_and_icon(file);
}

TEST_P(paint_document, canvases_within_the_frame_keep_their_icon)
{
    for (const canvas_kind kind : {canvas_kind::picture, canvas_kind::mask}) {
        const std::string name = path(kind == canvas_kind::mask ? "mask" : "picture");
        document::create(name, 400, 300, kind)->close();
        const auto again = document::open(name);
        paint_line(*again, {50.0, 150.0}, {350.0, 150.0});
        EXPECT_TRUE(again->close());
        const painted_file file(name);
        expect_level_line(file, 50, 340, 150);
        expect_image_and_icon(file);
    }
}

TEST_P(paint_document, stroke_over_the_edge_paints_what_is_inside)
{
    {
        const auto on = document::create(path("a"), 1200, 1100, canvas_kind::picture);
        EXPECT_EQ(paint_line(*on, {-100.0, 20.0}, {1300.0, 20.0}), (area{0, 0, 1199, 59}));
        on->close();
    }
    const painted_file file(path("a"));
    EXPECT_EQ(file.alpha(0, 0), 255);
    EXPECT_EQ(file.alpha(1199, 0), 255);
    expect_image_and_icon(file);
}

TEST_P(paint_document, reduced_image_follows_the_dirty_tiles_only)
{
    const auto on = document::create(path("a"), 4000, 4000, canvas_kind::picture);
    EXPECT_TRUE(on->refresh_reduced_image().is_empty());
    std::vector<uint8_t> pixel(4);
    on->reduced_row_as_rgba(256, 256, pixel);
    EXPECT_EQ(pixel[3], 0);

    paint_line(*on, {1000.0, 1000.0}, {1010.0, 1000.0});
    const area changed = on->refresh_reduced_image();
    // Tiles 3 and 4 both ways: columns 768..1279 of the canvas, every 3.90625th of them.
    EXPECT_EQ(changed, (area{197, 197, 327, 327}));
    on->reduced_row_as_rgba(256, 256, pixel);
    EXPECT_EQ(pixel, (std::vector<uint8_t>{53, 149, 197, 255}));
    EXPECT_TRUE(on->refresh_reduced_image().is_empty());
}

TEST_P(paint_document, saved_canvas_is_right_in_the_file_while_it_is_open)
{
    const auto on = document::create(path("a"), 2000, 3000, canvas_kind::picture);
    paint_line(*on, {300.0, 600.0}, {1700.0, 600.0});
    ASSERT_TRUE(on->save());
    const painted_file file(path("a"));
    expect_level_line(file, 300, 1690, 600);
    EXPECT_TRUE(file.stored_reduced_image() == file.expected_reduced_image());
    EXPECT_EQ(file.check_icon().wrong, 0);
    EXPECT_GT(file.check_icon().painted, 0);
}

TEST_P(paint_document, opened_canvas_shows_its_reduced_image_before_any_tile_is_read)
{
    {
        const auto on = document::create(path("a"), 3000, 2000, canvas_kind::picture);
        paint_line(*on, {100.0, 700.0}, {2900.0, 700.0});
        on->close();
    }
    const auto on = document::open(path("a"));
    EXPECT_EQ(count_cache().tiles, 0);
    std::vector<uint8_t> pixel(4);
    on->reduced_row_as_rgba(239, 512, pixel);  // rows are 2.93 apart
    EXPECT_EQ(pixel, (std::vector<uint8_t>{53, 149, 197, 255}));
}

TEST_P(paint_document, file_that_is_no_canvas_is_refused_and_left_alone)
{
    const std::string text = "not a canvas at all";
    iocache_test::write_whole_file(path("a"), {text.begin(), text.end()});
    EXPECT_THROW(document::open(path("a")), std::runtime_error);
    EXPECT_THROW(document::open(path("missing")), std::runtime_error);
    EXPECT_THROW(document::create(path("a"), 10, 10, canvas_kind::mask), std::runtime_error);
    const auto found = iocache_test::read_whole_file(path("a"));
    EXPECT_EQ(std::string(found.begin(), found.end()), text);
}

// The lines of a square as they are when every line has been sampled.
void sample_all(detail& square, const document& from)
{
    while (!square.is_complete()) ASSERT_TRUE(square.sample_next_line(from));
}

TEST_P(paint_document, full_pixels_are_those_of_the_canvas_and_follow_a_stroke)
{
    const auto on = document::create(path("a"), 1500, 1100, canvas_kind::picture);
    paint_line(*on, {600.0, 500.0}, {900.0, 500.0});
    for (const detail_place place : {detail_place{0, 2, 1}, detail_place{1, 2, 1}, detail_place{2, 1, 1}}) {
        detail square(place);
        sample_all(square, *on);
        const area pixels = place.canvas_pixels(on->bounds());
        const area changed = paint_line(*on, {pixels.left + 50.0, 600.0}, {pixels.left + 90.0, 600.0});
        square.make_stale(changed, on->bounds());
        EXPECT_EQ(square.is_complete(), changed.common_with(pixels).is_empty());
        sample_all(square, *on);

        pixel_line line;
        for (int32_t row = 0; row < detail_side; ++row) {
            const int32_t y = pixels.top + row * place.step();
            if (y > on->bounds().bottom) break;
            ASSERT_TRUE(on->read_line(y, 0, on->bounds().right, line));
            for (int32_t x = pixels.left, i = row * detail_side; x <= std::min(pixels.right, on->bounds().right);
                 x += place.step(), ++i) {
                ASSERT_EQ(square.rgba()[static_cast<size_t>(i) * 4 + 3], line.alpha[static_cast<size_t>(x)])
                    << x << ", " << y;
            }
        }
    }
}

TEST_P(paint_document, statistics_count_tiles_zones_and_memory)
{
    const cache_statistics empty = count_cache();
    EXPECT_EQ(empty.tiles, 0);
    EXPECT_EQ(empty.zones_used, 0);
    EXPECT_EQ(empty.zones, small_cache * 1024 * 1024 / 327'680);

    const auto on = document::create(path("a"), 5000, 5000, canvas_kind::picture);
    paint_line(*on, {100.0, 100.0}, {150.0, 100.0});
    const cache_statistics one = count_cache();
    EXPECT_EQ(one.tiles, 1);
    EXPECT_EQ(one.zones_used, 1);
    EXPECT_EQ(one.bytes_used, 327'680);
    EXPECT_LE(one.dirty_tiles, 1);  // it may have been written in the meantime

    paint_line(*on, {100.0, 2000.0}, {4900.0, 2000.0});
    const cache_statistics many = count_cache();
    EXPECT_EQ(many.tiles, many.zones);
    EXPECT_EQ(many.zones_used, many.zones);
    EXPECT_LE(many.dirty_tiles, many.tiles);
    on->save();
    EXPECT_EQ(count_cache().dirty_tiles, 0);
}

TEST_P(paint_document, measurement_paints_and_leaves_nothing_behind)
{
    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(measure_stamps(folder(), 60));
    const std::string printed = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(printed.find("new tiles            60 events"), std::string::npos) << printed;
    EXPECT_NE(printed.find("tiles of the file    60 events"), std::string::npos) << printed;
    EXPECT_TRUE(std::filesystem::is_empty(folder()));
}

}  // namespace
