// Calls to the system and to the platform that fail as a test says: the n-th of them, or the n-th and all that follow.
// Transfers, opening, seeking, truncating, synchronising, closing, renaming, deleting, looking at files, memory.
//
// Calls are counted in whatever thread they are made. Streams to the terminal are left alone.
#ifndef IOCACHE_TESTS_SUPPORT_FAILING_CALLS_H
#define IOCACHE_TESTS_SUPPORT_FAILING_CALLS_H

namespace iocache_test::failing_calls {

struct fault {
    int call = 0;  // counted from 1 on; 0 never comes
    bool is_sticky = false;
    int error = 0;
    bool is_short = false;  // a transfer moves half of its bytes before it fails; other calls are not counted then
};

// From now on calls count.
void arm(const fault& one);
// No longer. Returns how many were counted.
int disarm();
// Whether the fault came.
bool has_failed();

}  // namespace iocache_test::failing_calls

#endif
