// The bare access.
#include <atomic>

#include "bench/growth/growth.h"
#include "bench/support/fail.h"

namespace iocache_bench {

void visit_tile(int32_t canvas, int32_t x, int32_t y, bool write)
{
    parg.opcode = 1;
    cv_tile_request& request = parg.req[0];
    request.canvas = canvas;
    request.x = x;
    request.y = y;
    request.x_end = x;
    request.y_end = y;
    request.write = write ? 1 : 0;
    if (cv_tile_access() != 0) fail("a tile was refused");
    std::atomic_ref(request.tile->locked).store(0, std::memory_order_release);
}

}  // namespace iocache_bench
