// A lock for short work. Taken and given back by one atomic exchange each while nobody else wants it: every cache hit
// pays for that once. Who finds it taken spins on plain loads for a short time, then sleeps.
// For the files of this folder and the workers of the reference host.
#ifndef IOCACHE_PLATFORM_SHORT_LOCK_H
#define IOCACHE_PLATFORM_SHORT_LOCK_H

#include "iocache/platform/waiting.h"

namespace iocache::platform {

class alignas(cache_line_bytes) short_lock {
public:
    void lock()
    {
        if (!take_if_free()) wait();
    }
    void unlock()
    {
        if (state_.exchange(free, std::memory_order_release) == awaited) state_.notify_one();
    }
    // For a process whose thread that held the lock is gone.
    void reset() { state_.store(free, std::memory_order_relaxed); }

private:
    enum state : std::int32_t {
        free = 0,
        held = 1,     // and nobody sleeps
        awaited = 2,  // held, and somebody may sleep: unlocking has to wake one
    };
    // Longer than what is done under the lock takes, shorter than a time slice: its holder may not be running.
    static constexpr std::chrono::microseconds spin_limit{10};

    bool take_if_free()
    {
        std::int32_t expected = free;
        return state_.compare_exchange_strong(expected, held, std::memory_order_acquire, std::memory_order_relaxed);
    }
    // Kept out of line, so that the usual way through lock() stays a handful of instructions.
    [[gnu::noinline]] void wait()
    {
        const auto taken = [this] { return state_.load(std::memory_order_relaxed) == free && take_if_free(); };
        if (spin_until(taken, spin_limit)) return;
        // Who has slept cannot know whether others still do, so it takes the lock as awaited: one wake-up too many at
        // most.
        while (state_.exchange(awaited, std::memory_order_acquire) != free) {
            state_.wait(awaited, std::memory_order_relaxed);
        }
    }

    std::atomic<std::int32_t> state_{free};
};

}  // namespace iocache::platform

#endif
