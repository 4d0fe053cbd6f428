// What one access costs while one thing grows. Every point is measured in a process of its own.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <iocache/iocache.h>

#include "bench/support/child.h"
#include "bench/support/measure.h"

namespace iocache_bench {

struct growth_options {
    std::filesystem::path scratch;
    int32_t side = 16'384;  // of the picture whose tiles are missed
    int rounds = 5;
    bool quick = false;
};

// All series at one size.
struct point {
    double at;
    std::vector<series> found;
};

struct growth {
    std::string name;  // a file name, too
    std::string what;  // what grows
    std::vector<point> points;
    std::vector<std::string> remarks;
};

growth grow_cached_tiles(const growth_options& wanted);
growth grow_open_canvases(const growth_options& wanted);
growth grow_grid(const growth_options& wanted);
growth grow_workers(const growth_options& wanted);

// Asks for the tile of a pixel and lets it go again: an access without any pixels.
void visit_tile(int32_t canvas, int32_t x, int32_t y, bool write = false);

// Nanoseconds (or microseconds) of one of `count` steps, in each of `rounds` rounds; step(i) does one, i counting on
// through all rounds.
template <class Step>
series time_each(const std::string& name, const std::string& unit_name, int rounds, int64_t count, Step step)
{
    const double scale = unit_name == "ns" ? 1e9 : 1e6;
    series found{name, unit_name, false, {}};
    int64_t next = 0;
    for (int round = 0; round < rounds; ++round) {
        const stopwatch time;
        for (int64_t i = 0; i < count; ++i) step(next++);
        found.samples.push_back(time.seconds() / static_cast<double>(count) * scale);
    }
    return found;
}

}  // namespace iocache_bench
