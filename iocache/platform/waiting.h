// How a thread of this library waits for another: it spins for a short bounded time, because an answer from another
// processor mostly comes sooner than the system could put a thread to sleep and wake it, and sleeps only then.
// For the files of this folder and of the cache, the columns, and the workers of the reference host.
#ifndef IOCACHE_PLATFORM_WAITING_H
#define IOCACHE_PLATFORM_WAITING_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

#include <sched.h>

namespace iocache::platform {

// A line of the processor's caches, mostly. Two objects that different processors write lie so far apart, so that neither
// slows the other down.
inline constexpr std::size_t cache_line_bytes = 64;

// How many processors the process may run on, as far as a cpu_set_t can tell.
inline std::int32_t usable_processors()
{
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    // A machine with more processors than the set can hold makes the call fail.
    return sched_getaffinity(0, sizeof allowed, &allowed) == 0 ? CPU_COUNT(&allowed) : CPU_SETSIZE;
}

// True when there is more than one of them; with one, a spinning thread only keeps the other from it.
inline bool spinning_helps()
{
    static const bool helps = usable_processors() > 1;
    return helps;
}

// Tells the processor that this is a spinning loop.
inline void pause_processor()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    __asm__ __volatile__("yield");
#else
    std::atomic_signal_fence(std::memory_order_seq_cst);
#endif
}

// Asks happened() again and again, for at most this time. Its last answer.
template <class Condition> bool spin_until(Condition happened, std::chrono::nanoseconds limit)
{
    constexpr int tries_between_looks_at_the_clock = 32;
    if (!spinning_helps()) return happened();
    const auto start = std::chrono::steady_clock::now();
    do {
        for (int tries = 0; tries < tries_between_looks_at_the_clock; ++tries) {
            if (happened()) return true;
            pause_processor();
        }
    } while (std::chrono::steady_clock::now() - start < limit);
    return false;
}

// A word that threads wait on, and how many of them sleep.
//
// No wake-up is lost: a sleeper is counted before it looks at the word for the last time, and whoever changes the word
// (sequentially consistent, like all of this) looks at the count afterwards. So at least one of them sees the other.
// While nobody sleeps, waking costs one load.
class waited_word {
public:
    explicit waited_word(std::int32_t value) : value_(value) {}

    std::atomic<std::int32_t>& value() { return value_; }

    // Returns when the word has been seen to be something else than old.
    void wait_while(std::int32_t old, std::chrono::nanoseconds spin_limit)
    {
        if (spin_until([&] { return value_.load(std::memory_order_acquire) != old; }, spin_limit)) return;
        sleepers_.fetch_add(1);
        value_.wait(old);
        sleepers_.fetch_sub(1, std::memory_order_relaxed);
    }
    void wake_one()
    {
        if (sleepers_.load() > 0) value_.notify_one();
    }
    void wake_all()
    {
        if (sleepers_.load() > 0) value_.notify_all();
    }

private:
    std::atomic<std::int32_t> value_;
    std::atomic<std::int32_t> sleepers_{0};
};

}  // namespace iocache::platform

#endif
