#include "measure.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <random>
#include <vector>

#include <unistd.h>

#include <iocache/iocache.h>

#include "document.h"
#include "latency.h"
#include "stroke.h"

namespace {

using namespace paint;

constexpr int32_t side = 20'000;
constexpr int32_t stamps_in_a_stroke = 50;
constexpr brush measured_brush = {.radius = 32.0, .hardness = 0.6, .opacity = 0.8, .spacing = 0.5};
constexpr double pointer_step = 33.0;  // a little more than the distance of two stamps: every event makes one
constexpr double margin = 64.0;        // keeps every stamp whole

using way = std::vector<point>;

// Strokes that begin anywhere and swing slowly to the side, each as long as one sweep of the hand.
std::vector<way> ways_of_the_hand(int32_t stamps)
{
    std::mt19937 random(20'000);  // NOLINT(cert-msc32-c,cert-msc51-cpp): every run takes the same way
    std::uniform_real_distribution<double> anywhere(2'000.0, side - 2'000.0);
    std::uniform_real_distribution<double> direction(0.0, 2.0 * std::numbers::pi);
    std::uniform_real_distribution<double> turn(-0.03, 0.03);
    std::vector<way> strokes;
    while (stamps > 0) {
        way& points = strokes.emplace_back();
        point at = {anywhere(random), anywhere(random)};
        double angle = direction(random);
        const double swing = turn(random);
        for (int32_t i = 0; i < stamps_in_a_stroke && stamps > 0; ++i, --stamps) {
            points.push_back(at);
            at = {std::clamp(at.x + pointer_step * std::cos(angle), margin, side - margin),
                  std::clamp(at.y + pointer_step * std::sin(angle), margin, side - margin)};
            angle += swing;
        }
    }
    return strokes;
}

// One event: what the window does with it, less the drawing.
bool paint_event(document& on, stroke& pen, bool pen_down, point where, latency_recorder& times)
{
    const auto arrived = latency_recorder::clock::now();
    if (pen_down) {
        pen.begin(where);
    } else {
        pen.move_to(where);
    }
    on.refresh_reduced_image();
    times.add_since(arrived);
    return !pen.failed();
}

bool paint_strokes(document& on, const std::vector<way>& strokes, latency_recorder& times, int32_t& stamps)
{
    for (const way& points : strokes) {
        stroke pen(on, measured_brush, ink{});
        for (size_t i = 0; i < points.size(); ++i) {
            if (!paint_event(on, pen, i == 0, points[i], times)) return false;
        }
        stamps += pen.stamps();
    }
    return true;
}

bool measure_pass(const char* name, document& on, const std::vector<way>& strokes, int32_t events)
{
    latency_recorder times(static_cast<size_t>(events));
    int32_t stamps = 0;
    const bool painted = paint_strokes(on, strokes, times, stamps);
    std::printf("%-20s %zu events, %d stamps: median %.3f ms, worst %.3f ms\n", name, times.count(), stamps,
                times.median_milliseconds(), times.worst_milliseconds());
    return painted;
}

}  // namespace

bool paint::measure_stamps(const std::string& folder, int32_t stamps)
{
    const std::string path = folder + "/paint-measure-" + std::to_string(getpid()) + ".canvas";
    const auto on = document::create(path, side, side, canvas_kind::picture, at_close::delete_file);
    constexpr int64_t mebibyte = 1'048'576;
    std::printf("stamps 64 pixels across on %d x %d pixels, tile cache %d MiB, %s\n", side, side,
                static_cast<int32_t>(max_size_tiles / mebibyte),
                cv_access_process == 1 ? "in-line" : "with a cache process");

    const std::vector<way> strokes = ways_of_the_hand(stamps);
    if (!measure_pass("new tiles", *on, strokes, stamps)) return false;
    canvas_flush_all();
    return measure_pass("tiles of the file", *on, strokes, stamps);
}
