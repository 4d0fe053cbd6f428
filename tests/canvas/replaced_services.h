// Services of the machine that fail, or answer, as a test says.
#ifndef IOCACHE_TESTS_CANVAS_REPLACED_SERVICES_H
#define IOCACHE_TESTS_CANVAS_REPLACED_SERVICES_H

#include <cstdint>
#include <ctime>
#include <optional>
#include <vector>

namespace iocache_test::services {

// The allocation of this number fails, counted from 1 since start_counting(), on the calling thread; 0 for none.
extern thread_local int failing_allocation;
// Sizes of the allocations since then; bytes.
extern thread_local std::vector<int64_t> allocations;
void start_counting(int failing);
void stop_counting();

// What the clock shows, in place of the time.
extern std::optional<std::time_t> clock;

}  // namespace iocache_test::services

#endif
