// A counting semaphore. The word is the count; who finds it above 0 takes one, the others wait for it to change.
#include "iocache/platform/platform.h"
#include "iocache/platform/waiting.h"

#include <new>

using namespace iocache::platform;

struct alignas(cache_line_bytes) cv_semaphore {
    explicit cv_semaphore(int32_t initial) : count(initial) {}
    waited_word count;
    std::atomic<bool> is_fresh{true};
};

namespace {

// A client that goes from tile to tile rings again within this time.
constexpr std::chrono::microseconds spin_limit{50};
// Who starts a thread that waits here needs it soon, and only has to open a file before.
constexpr std::chrono::microseconds first_spin_limit{500};

}  // namespace

IOCACHE_REPLACEABLE cv_semaphore* usnewsema(cv_arena* /*arena*/, int32_t count)
{
    return new (std::nothrow) cv_semaphore(count);
}

IOCACHE_REPLACEABLE int32_t uspsema(cv_semaphore* semaphore)
{
    if (!semaphore) return 0;
    std::atomic<int32_t>& count = semaphore->count.value();
    int32_t seen = count.load(std::memory_order_relaxed);
    for (;;) {
        while (seen > 0) {
            if (count.compare_exchange_weak(seen, seen - 1, std::memory_order_acquire, std::memory_order_relaxed)) {
                return 0;
            }
        }
        const bool is_first = semaphore->is_fresh.exchange(false, std::memory_order_relaxed);
        semaphore->count.wait_while(seen, is_first ? first_spin_limit : spin_limit);
        seen = count.load(std::memory_order_relaxed);
    }
}

IOCACHE_REPLACEABLE int32_t usvsema(cv_semaphore* semaphore)
{
    if (!semaphore) return 0;
    semaphore->count.value().fetch_add(1);
    semaphore->count.wake_one();
    return 0;
}

IOCACHE_REPLACEABLE int32_t ustestsema(cv_semaphore* semaphore)
{
    return semaphore ? semaphore->count.value().load(std::memory_order_acquire) : 0;
}

IOCACHE_REPLACEABLE void usfreesema(cv_semaphore* semaphore, cv_arena* /*arena*/)
{
    delete semaphore;
}
