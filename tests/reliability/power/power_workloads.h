// What is being done when the power goes, and what must be there afterwards.
#ifndef IOCACHE_TESTS_RELIABILITY_POWER_WORKLOADS_H
#define IOCACHE_TESTS_RELIABILITY_POWER_WORKLOADS_H

#include <functional>
#include <string>
#include <vector>

#include "tests/support/library.h"

namespace iocache_test {

// 2 x 2 tiles without margins, and large enough for a reduced image.
inline constexpr int32_t power_tile_side = 256;
inline constexpr int32_t power_tiles_across = 2;
inline constexpr int32_t power_tile_count = 4;
inline constexpr int32_t power_canvas_side = power_tile_side * power_tiles_across;
inline constexpr int32_t power_frame = 128;

// Two folders on two file systems, where the machine has two that are writable.
struct power_places {
    std::string main;
    std::string other;
    std::string file() const { return main + "/canvas"; }
};

enum class promise {
    closed_tiles,          // every tile as at the last close, but for what was written over it since
    complete_or_original,  // under the name is the file as it was or the finished one, from the beginning on
};

struct power_workload {
    std::string group;  // what is done
    std::string name;   // to what, and how
    promise what = promise::closed_tiles;
    bool keeps_original = false;     // the file as it was is always there under some name
    std::vector<std::string> names;  // where the canvas may be afterwards
    std::function<void()> prepare;   // not recorded; in a process of its own
    std::function<void()> run;       // recorded; likewise
};

std::vector<power_workload> power_workloads(const power_places& where);

}  // namespace iocache_test

#endif
