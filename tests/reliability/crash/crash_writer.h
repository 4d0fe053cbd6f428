// A program that paints on a canvas until it is killed.
#ifndef IOCACHE_TESTS_RELIABILITY_CRASH_WRITER_H
#define IOCACHE_TESTS_RELIABILITY_CRASH_WRITER_H

#include <cstdint>
#include <string>

#include "tests/reliability/oracle.h"
#include "tests/support/library.h"

namespace iocache_test {

// 5 x 4 tiles without margins, and large enough to have a reduced image.
inline constexpr int32_t tiles_across = 5;
inline constexpr int32_t tiles_down = 4;
inline constexpr int32_t tile_side = 256;
inline constexpr int32_t tile_count = tiles_across * tiles_down;

struct crash_workload {
    std::string path;
    int32_t kind = 0;
    mode how = mode::in_line;
    bool appends = false;  // paints tiles that were never painted as long as there are some
    uint32_t seed = 0;
};

// Creates or opens the canvas and paints without end, noting in `notes` what reaches the file. To be called in a child.
[[noreturn]] void paint_until_killed(const crash_workload& workload, oracle& notes);

}  // namespace iocache_test

#endif
