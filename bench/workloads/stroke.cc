// W11: a stroke of 1000 stamps of 64 x 64 pixels across a canvas of 20,000 x 20,000, as a paint program makes it: every
// stamp reads its lines, mixes the brush into them, stores them, and brings the tiles that it touched into the reduced
// image. The tiles are in memory. There is no physical limit to compare with; each stamp has to be done in a frame.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <set>

#include <iocache/iocache.h>

#include "bench/support/fail.h"
#include "bench/support/picture.h"
#include "bench/workloads/workloads.h"

namespace iocache_bench {

namespace {

constexpr int32_t stamp_side = 64;
constexpr uint8_t brush_alpha = 255;

struct stamp {
    int32_t x, y;  // upper left
};

// From the left edge to the right, two waves high and low.
std::vector<stamp> stroke_across(int32_t side, int32_t count)
{
    std::vector<stamp> stamps;
    const double room = side - stamp_side - 1;
    for (int32_t i = 0; i < count; ++i) {
        const double part = static_cast<double>(i) / count;
        const double height = 0.5 + 0.4 * std::sin(4 * std::numbers::pi * part);
        stamps.push_back({static_cast<int32_t>(part * room), static_cast<int32_t>(height * room)});
    }
    return stamps;
}

std::set<int32_t> tiles_under(int32_t canvas, const stamp& at)
{
    std::set<int32_t> tiles;
    for (const int32_t y : {at.y, at.y + stamp_side - 1}) {
        for (const int32_t x : {at.x, at.x + stamp_side - 1}) tiles.insert(cv_ask_tilenr(canvas, x, y));
    }
    return tiles;
}

// Half brush, half what was there; opaque.
void mix(line& pixels, uint8_t ink)
{
    for (uint8_t& byte : pixels.colour) byte = static_cast<uint8_t>((byte + ink + 1) / 2);
    std::ranges::fill(pixels.alpha, brush_alpha);
}

bool paint(int32_t canvas, const stamp& at, line& pixels, uint8_t ink)
{
    for (int32_t y = at.y; y < at.y + stamp_side; ++y) {
        if (cv_getline(canvas, pixels.colour.data(), pixels.alpha.data(), y, at.x, at.x + stamp_side - 1) != 0)
            return false;
        mix(pixels, ink);
        if (cv_storeline(canvas, pixels.colour.data(), pixels.alpha.data(), y, at.x, at.x + stamp_side - 1) != 0)
            return false;
    }
    for (const int32_t tile : tiles_under(canvas, at)) cv_update_virt_subsampled_ptile(canvas, tile);
    return true;
}

void make_current(int32_t canvas)
{
    current_canvas = canvas;
    current_cp = canvastable[canvas];
    canvas_make_tables(canvas);
    const cv_geometry& view = current_cp->geom;
    cv_visu_alfa = cv_visu_pic + int64_t{pattern::colour_bytes} * view.lres_width * view.lres_height;
}

// Paints the whole stroke; milliseconds of each stamp.
std::vector<double> paint_all(int32_t canvas, const std::vector<stamp>& stamps, line& pixels, uint8_t ink)
{
    std::vector<double> times;
    times.reserve(stamps.size());
    for (const stamp& each : stamps) {
        const stopwatch time;
        if (!paint(canvas, each, pixels, ink)) fail("cannot paint");
        times.push_back(time.seconds() * 1e3);
    }
    return times;
}

// Every sampled pixel under the stamps shows in the reduced image what the canvas has.
bool reduced_image_follows(int32_t canvas, const std::vector<stamp>& stamps)
{
    constexpr int sampled_bits = 15;
    constexpr int place_shift = 4;
    const cv_geometry& view = current_cp->geom;
    for (const stamp& at : stamps) {
        for (int32_t y = at.y; y < at.y + stamp_side; ++y) {
            if ((cv_ysubtbl[y] & sampled_bits) == 0) continue;
            for (int32_t x = at.x; x < at.x + stamp_side; ++x) {
                if ((cv_xsubtbl[x] & sampled_bits) == 0) continue;
                const int64_t row = (static_cast<uint16_t>(cv_ysubtbl[y]) >> place_shift) - view.frame_y;
                const int64_t column = (static_cast<uint16_t>(cv_xsubtbl[x]) >> place_shift) - view.frame_x;
                const int64_t pixel = row * view.lres_width + column;
                uint32_t alpha = 0;
                const uint32_t value = cv_ask_value_pixel(canvastable[canvas], x, y, &alpha);
                if (std::memcmp(&value, cv_visu_pic + pattern::colour_bytes * pixel, sizeof value) != 0) return false;
                if (alpha != brush_alpha || cv_visu_alfa[pixel] != brush_alpha) return false;
            }
        }
    }
    return true;
}

}  // namespace

void paint_stroke(const options& wanted, report& found)
{
    const int32_t side = wanted.amounts.stroke_side;
    std::filesystem::create_directories(wanted.scratch);
    const std::filesystem::path path = wanted.scratch / "stroke.canvas";
    std::filesystem::remove(path);
    const running_library library(wanted.library(wanted.amounts.cached_mib));
    const int32_t canvas = canvas_new(path.c_str(), 1, 0, 0, side - 1, side - 1, 0, 0);
    if (canvas < 0) fail("cannot create " + path.string());
    make_current(canvas);
    const std::vector<stamp> stamps = stroke_across(side, wanted.amounts.stamps);
    line pixels(stamp_side);
    series medians{"library", "ms", false, {}};
    series tails{"library p99", "ms", false, {}};
    series worst{"library, worst stamp", "ms", false, {}};
    for (int run = 0; run <= wanted.runs; ++run) {
        const std::vector<double> times = paint_all(canvas, stamps, pixels, static_cast<uint8_t>(40 * run));
        if (run == 0) continue;  // brings the tiles into memory
        medians.samples.push_back(median(times));
        tails.samples.push_back(percentile(times, 0.99));
        worst.samples.push_back(std::ranges::max(times));
    }
    found.add({medians, tails, worst});
    found.settings.emplace_back("stroke_side", side);
    found.pixels_are_right = reduced_image_follows(canvas, stamps);
    canvas_close(canvas);  // unsaved: its file goes with it
}

}  // namespace iocache_bench
