// Puts the platform's objects in order in a forked child, where the other threads of its parent are missing.
//
// The handlers are registered when the library is loaded. Those of the child run before fork() returns there, while
// it has one thread only.
#include "iocache/platform/forks.h"

#include "iocache/platform/inherited_mutex.h"

#include <atomic>

#include <pthread.h>

namespace iocache::platform {
namespace {

std::atomic<std::int32_t> generation{0};

void after_fork_in_child()
{
    generation.fetch_add(1, std::memory_order_relaxed);
    free_every_lock();
    forget_every_thread();
    free_every_inherited_mutex();
    release_lock_list();
}

// Without memory for the registration, which happens at load time only, a child may wait for ever; nobody else is hurt.
[[maybe_unused]] const int registered = pthread_atfork(hold_lock_list, release_lock_list, after_fork_in_child);

}  // namespace

std::int32_t fork_generation()
{
    return generation.load(std::memory_order_relaxed);
}

}  // namespace iocache::platform
