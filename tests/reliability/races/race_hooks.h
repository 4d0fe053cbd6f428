// Where the races stop the cache process: at a place of its work, until the client lets it go on.
//
// Threads: the client arms a stop while the cache process waits for a ring; everything else is atomic.
#ifndef IOCACHE_TESTS_RELIABILITY_RACE_HOOKS_H
#define IOCACHE_TESTS_RELIABILITY_RACE_HOOKS_H

#include <cstdint>
#include <functional>

#include "iocache/platform/waiting.h"

namespace iocache_test::race_hooks {

enum class place {
    none,
    pick_up,         // a ring was heard, and what was posted is not yet looked at
    lock,            // before it takes cv_tile_access_lock for the n-th time
    lock_when_idle,  // the same, counted from its meeting with the client
    transfer,        // before a tile's bytes go to the file
};

// The next stop, instead of any other. It ends with go_on(), or with the second ring from now.
void arm(place where, int nth = 1);
// For a cache process that is stopped: to the next stop, so many locks later; 0: to the end of its work.
void go_on(int locks_until_next_stop = 0);
// It has stopped, and has not been let go.
bool is_stopped();
// It has heard and done everything, and waits.
bool is_idle();
// Stops that were left again.
int64_t stops_made();

// After each write of a tile: the first and the last word of what went to the file.
extern std::function<void(uint64_t first, uint64_t last)> on_tile_written;

// What either side may wait for has changed.
void tell();
// How often something was told, and the wait for the next time.
uint32_t told();
void wait_while_told(uint32_t times);

// Waits awake for a moment, where there is a second processor, and then asleep.
template <class Condition> void await(Condition happened)
{
    constexpr int tries = 500;
    for (int i = 0; iocache::platform::spinning_helps() && i < tries; ++i) {
        if (happened()) return;
        iocache::platform::pause_processor();
    }
    for (;;) {
        const uint32_t times = told();
        if (happened()) return;
        wait_while_told(times);
    }
}

}  // namespace iocache_test::race_hooks

#endif
