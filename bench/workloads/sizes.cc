// The small sizes: everything is tried in a second.
#include "bench/workloads/workloads.h"

namespace iocache_bench {

sizes sizes::small()
{
    sizes few;
    few.side = 1280;  // larger than the low-resolution frame
    few.region = 512;
    few.cached_mib = 64;
    few.out_of_core_mib = 4;  // 12 of the 25 tiles
    few.random_pixels = 100'000;
    few.missed_pixels = 200;
    few.starts_a_run = 3;
    few.stroke_side = 2000;
    few.stamps = 50;
    few.photograph_side = 1000;
    return few;
}

}  // namespace iocache_bench
