// Processes that a SIGKILL ends at a chosen transfer of their own: the program that these lines are part of has an
// fwrite that stands in the way of the C library's.
#ifndef IOCACHE_TESTS_SUPPORT_KILLED_PROCESS_H
#define IOCACHE_TESTS_SUPPORT_KILLED_PROCESS_H

#include <atomic>
#include <functional>

namespace iocache_test::killing {

enum class moment { before, in_the_middle, after };

// Which transfer of this process is its last; 0 is none, -1 counts and never comes. Only a child sets it.
extern std::atomic<int> last_transfer;
extern std::atomic<int> transfers_done;
extern moment last_moment;
// Called in a child before each counted transfer with its size and its number, from 1 on, when it is set.
extern void (*on_transfer)(std::size_t bytes, int number);

[[noreturn]] void die();

// Runs body in a child of its own and waits for its end. Returns the status of waitpid.
int run_child(const std::function<void()>& body);
bool was_killed(int status);

}  // namespace iocache_test::killing

#endif
