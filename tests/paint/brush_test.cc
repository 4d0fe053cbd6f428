// The brush, the pointer's way and the command line: arithmetic without a canvas.
#include <array>
#include <chrono>
#include <cmath>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

#include "examples/paint/brush.h"
#include "examples/paint/camera.h"
#include "examples/paint/detail.h"
#include "examples/paint/latency.h"
#include "examples/paint/options.h"
#include "examples/paint/screen_colour.h"

namespace {

using namespace paint;

std::vector<uint8_t> covered(const brush& with, double x, double y, int32_t row, int32_t first, size_t count)
{
    std::vector<uint8_t> coverage(count, 77);
    cover_row(with, x, y, row, first, coverage);
    return coverage;
}

TEST(brush, stamp_of_radius_32_touches_64_by_64_pixels)
{
    EXPECT_EQ(stamp_area({.radius = 32.0}, 100.0, 200.0), (area{68, 168, 131, 231}));
    EXPECT_EQ(stamp_area({.radius = 32.0}, 100.0, 200.0).width(), 64);
    EXPECT_EQ(stamp_area({.radius = 1.0}, -0.5, 0.0), (area{-2, -1, 0, 0}));
}

TEST(brush, is_full_within_its_hardness_and_falls_to_nothing_at_its_radius)
{
    const auto row = covered({.radius = 20.0, .hardness = 0.5, .opacity = 1.0}, 0.0, 0.5, 0, 0, 25);
    for (size_t i = 0; i < 25; ++i) {
        const double distance = static_cast<double>(i) + 0.5;
        if (distance <= 10.0) { EXPECT_EQ(row[i], 255) << i; }
        if (distance >= 20.0) { EXPECT_EQ(row[i], 0) << i; }
        if (i > 0) { EXPECT_LE(row[i], row[i - 1]) << i; }
    }
    EXPECT_NEAR(row[14] + row[15], 255, 2);  // half covered half way
}

TEST(brush, is_round_and_the_same_to_all_sides)
{
    const brush with = {.radius = 12.0, .hardness = 0.3, .opacity = 0.7};
    for (int32_t row = -12; row < 12; ++row) {
        const auto line = covered(with, 0.0, 0.0, row, -12, 24);
        const auto opposite = covered(with, 0.0, 0.0, -1 - row, -12, 24);
        EXPECT_EQ(line, opposite);
        EXPECT_TRUE(std::equal(line.begin(), line.end(), line.rbegin()));
    }
}

TEST(brush, opacity_limits_what_one_stamp_covers)
{
    EXPECT_EQ(covered({.radius = 9.0, .hardness = 1.0, .opacity = 0.4}, 0.5, 0.5, 0, 0, 1)[0], 102);
    EXPECT_EQ(covered({.radius = 9.0, .hardness = 1.0, .opacity = 0.0}, 0.5, 0.5, 0, 0, 1)[0], 0);
}

TEST(brush, full_cover_is_the_ink_and_no_cover_changes_nothing)
{
    const ink what = {.inks = {10, 20, 30, 40}, .mask_value = 99};
    std::vector<uint8_t> colour = {1, 2, 3, 4, 5, 6, 7, 8};
    std::vector<uint8_t> alpha = {50, 60};
    blend_picture(std::array<uint8_t, 2>{255, 0}, what, colour, alpha);
    EXPECT_EQ(colour, (std::vector<uint8_t>{10, 20, 30, 40, 5, 6, 7, 8}));
    EXPECT_EQ(alpha, (std::vector<uint8_t>{255, 60}));
    std::vector<uint8_t> mask = {7, 8};
    blend_mask(std::array<uint8_t, 2>{255, 0}, what, mask);
    EXPECT_EQ(mask, (std::vector<uint8_t>{99, 8}));
}

TEST(brush, ink_on_nothing_has_its_own_colour_and_mixes_with_what_is_seen_below)
{
    const ink what = {.inks = {200, 100, 0, 0}, .mask_value = 200};
    std::vector<uint8_t> colour = {0, 0, 0, 0, 100, 100, 100, 100};
    std::vector<uint8_t> alpha = {0, 255};
    blend_picture(std::array<uint8_t, 2>{51, 51}, what, colour, alpha);
    EXPECT_EQ(colour, (std::vector<uint8_t>{200, 100, 0, 0, 120, 100, 80, 80}));
    EXPECT_EQ(alpha, (std::vector<uint8_t>{51, 255}));
    std::vector<uint8_t> mask = {100};
    blend_mask(std::array<uint8_t, 1>{51}, what, mask);
    EXPECT_EQ(mask[0], 120);
}

TEST(screen_colour, takes_light_away_for_every_ink)
{
    std::array<uint8_t, 4> rgba{};
    picture_to_rgba(std::array<uint8_t, 4>{255, 0, 51, 0}, 17, rgba);
    EXPECT_EQ(rgba, (std::array<uint8_t, 4>{0, 255, 204, 17}));
    picture_to_rgba(std::array<uint8_t, 4>{0, 0, 51, 255}, 255, rgba);
    EXPECT_EQ(rgba, (std::array<uint8_t, 4>{0, 0, 0, 255}));
    mask_to_rgba(30, rgba);
    EXPECT_EQ(rgba, (std::array<uint8_t, 4>{30, 30, 30, 255}));
}

TEST(camera, fits_the_canvas_into_the_middle)
{
    const viewport port = {300, 0, 900, 760};
    const camera fitted = camera::fitting({0, 0, 2999, 1999}, port);
    EXPECT_NEAR(fitted.zoom(), 0.288, 1e-9);
    EXPECT_NEAR(fitted.to_screen({1500.0, 1000.0}, port).x, 750.0, 0.51);
    EXPECT_NEAR(fitted.to_screen({1500.0, 1000.0}, port).y, 380.0, 0.51);
}

TEST(camera, zooms_about_the_pointer_and_pans_with_it)
{
    const viewport port = {300, 0, 900, 760};
    camera moved = camera::fitting({-50, -20, 2949, 1979}, port);
    const point before = moved.to_canvas({500.0, 200.0}, port);
    moved.zoom_about({500.0, 200.0}, port, 4.0);
    const point after = moved.to_canvas({500.0, 200.0}, port);
    EXPECT_NEAR(after.x, before.x, 0.13);
    EXPECT_NEAR(after.y, before.y, 0.13);
    const point corner = moved.to_canvas({300.0, 0.0}, port);
    EXPECT_EQ(corner.x * 4.0, std::round(corner.x * 4.0));  // pixels begin where screen pixels begin

    moved.pan(40.0, -8.0);
    EXPECT_NEAR(moved.to_canvas({540.0, 192.0}, port).x, after.x, 1e-9);
    EXPECT_NEAR(moved.to_canvas({540.0, 192.0}, port).y, after.y, 1e-9);
    moved.zoom_about({500.0, 200.0}, port, 1e9);
    EXPECT_EQ(moved.zoom(), camera::closest_zoom);
}

TEST(detail, level_is_the_coarsest_that_is_as_fine_as_the_screen)
{
    EXPECT_EQ(detail_level(16.0), 0);
    EXPECT_EQ(detail_level(1.0), 0);
    EXPECT_EQ(detail_level(0.51), 0);
    EXPECT_EQ(detail_level(0.5), 1);
    EXPECT_EQ(detail_level(0.3), 1);
    EXPECT_EQ(detail_level(0.25), 2);
}

TEST(detail, squares_cover_what_is_visible_and_nothing_beside_the_canvas)
{
    const area canvas = {-50, 0, 2949, 1999};
    EXPECT_EQ(detail_squares(0, {-50, 0, 205, 255}, canvas), (area{0, 0, 0, 0}));
    EXPECT_EQ(detail_squares(0, {206, 256, 206, 512}, canvas), (area{1, 1, 1, 2}));
    EXPECT_EQ(detail_squares(1, {-999, -999, 9999, 9999}, canvas), (area{0, 0, 5, 3}));
    EXPECT_TRUE(detail_squares(0, {3000, 0, 3100, 10}, canvas).is_empty());
}

TEST(latency, keeps_the_newest_times)
{
    latency_recorder times(3);
    EXPECT_EQ(times.median_milliseconds(), 0.0);
    for (const int taken : {90, 1, 2, 3}) times.add(std::chrono::milliseconds(taken));
    EXPECT_EQ(times.count(), 3U);
    EXPECT_EQ(times.median_milliseconds(), 2.0);
    EXPECT_EQ(times.worst_milliseconds(), 3.0);
}

std::optional<options> read(std::vector<const char*> arguments)
{
    return read_options(arguments);
}

TEST(options, say_what_to_open_and_how)
{
    const auto made = read({"a.canvas", "--new", "300x200", "--mask", "--cache", "20", "--in-line"});
    ASSERT_TRUE(made);
    EXPECT_EQ(made->file, "a.canvas");
    EXPECT_EQ(made->created->width, 300);
    EXPECT_EQ(made->created->height, 200);
    EXPECT_EQ(made->kind, canvas_kind::mask);
    EXPECT_EQ(made->cache_mebibytes, 20);
    EXPECT_EQ(made->mode, cache_mode::in_line);
    EXPECT_FALSE(read({"a.canvas"})->created);
    EXPECT_EQ(read({"--measure", "1000"})->cache_mebibytes, 64);
    EXPECT_EQ(read({"--measure", "1000", "--cache", "30"})->cache_mebibytes, 30);
}

TEST(options, that_make_no_sense_are_refused)
{
    EXPECT_FALSE(read({}));
    EXPECT_FALSE(read({"a", "b"}));
    EXPECT_FALSE(read({"a", "--mask"}));
    EXPECT_FALSE(read({"a", "--measure", "5"}));
    EXPECT_FALSE(read({"a", "--new", "300"}));
    EXPECT_FALSE(read({"a", "--new", "0x5"}));
    EXPECT_FALSE(read({"a", "--new", "40000x5"}));
    EXPECT_FALSE(read({"a", "--new"}));
    EXPECT_FALSE(read({"a", "--cache", "x"}));
    EXPECT_FALSE(read({"a", "--colour"}));
}

}  // namespace
