// A lock for short work. Taken and given back by one atomic exchange each while nobody else wants it: every cache hit
// pays for that once. Who finds it taken spins on plain loads for a short time, then sleeps.
//
// All living locks are on a list, so that a forked child can free those whose holders it does not have.
#include "iocache/platform/forks.h"
#include "iocache/platform/platform.h"
#include "iocache/platform/waiting.h"

#include <mutex>
#include <new>

using namespace iocache::platform;

namespace {

enum lock_state : int32_t {
    lock_free = 0,
    lock_held = 1,     // and nobody sleeps
    lock_awaited = 2,  // held, and somebody may sleep: unlocking has to wake one
};

// Longer than what is done under a lock takes, shorter than a time slice: its holder may not be running.
constexpr std::chrono::microseconds spin_limit{10};

std::mutex list_mutex;
cv_lock* first_lock;  // under list_mutex

}  // namespace

struct alignas(cache_line_bytes) cv_lock {
    std::atomic<int32_t> state{lock_free};
    cv_lock* next = nullptr;  // both under list_mutex
    cv_lock* prev = nullptr;
};

namespace {

bool take_if_free(cv_lock& lock)
{
    int32_t expected = lock_free;
    return lock.state.compare_exchange_strong(expected, lock_held, std::memory_order_acquire,
                                              std::memory_order_relaxed);
}

// Kept out of line, so that the usual way through _lock stays a handful of instructions.
[[gnu::noinline]] void wait_for(cv_lock& lock)
{
    const auto taken = [&] { return lock.state.load(std::memory_order_relaxed) == lock_free && take_if_free(lock); };
    if (spin_until(taken, spin_limit)) return;
    // Who has slept cannot know whether others still do, so it takes the lock as awaited: one wake-up too many at most.
    while (lock.state.exchange(lock_awaited, std::memory_order_acquire) != lock_free) {
        lock.state.wait(lock_awaited, std::memory_order_relaxed);
    }
}

}  // namespace

IOCACHE_REPLACEABLE cv_lock* _nlock(cv_arena* /*arena*/)
{
    cv_lock* const lock = new (std::nothrow) cv_lock;
    if (!lock) return nullptr;
    const std::lock_guard guard{list_mutex};
    lock->next = first_lock;
    if (first_lock) first_lock->prev = lock;
    first_lock = lock;
    return lock;
}

IOCACHE_REPLACEABLE void _lock(cv_lock* lock)
{
    if (lock && !take_if_free(*lock)) wait_for(*lock);
}

IOCACHE_REPLACEABLE void _ulock(cv_lock* lock)
{
    if (lock && lock->state.exchange(lock_free, std::memory_order_release) == lock_awaited) lock->state.notify_one();
}

IOCACHE_REPLACEABLE void _freelock(cv_lock* lock, cv_arena* /*arena*/)
{
    if (!lock) return;
    {
        const std::lock_guard guard{list_mutex};
        (lock->prev ? lock->prev->next : first_lock) = lock->next;
        if (lock->next) lock->next->prev = lock->prev;
    }
    delete lock;
}

namespace iocache::platform {

void hold_lock_list()
{
    list_mutex.lock();
}

void release_lock_list()
{
    list_mutex.unlock();
}

void free_every_lock()
{
    for (cv_lock* lock = first_lock; lock; lock = lock->next) lock->state.store(lock_free, std::memory_order_relaxed);
}

}  // namespace iocache::platform
