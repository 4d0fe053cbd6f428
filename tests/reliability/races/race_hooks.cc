#include "tests/reliability/races/race_hooks.h"

#include <atomic>
#include <cstdio>
#include <cstring>

#include "iocache/platform/platform.h"
#include "tests/support/real_function.h"

namespace iocache_test::race_hooks {

std::function<void(uint64_t first, uint64_t last)> on_tile_written;

}  // namespace iocache_test::race_hooks

namespace {

using namespace iocache_test::race_hooks;
using iocache_test::real;

constexpr size_t tile_bytes = 65'536;

// The thread that waits for rings is the cache process.
thread_local bool is_cache_process = false;

std::atomic<uint32_t> news{0};
std::atomic<int64_t> rings{0};
std::atomic<int64_t> waits{0};
std::atomic<int64_t> stops{0};

std::atomic<int> locks_until_stop{0};  // 0: no stop
std::atomic<int> locks_when_idle{0};
std::atomic<bool> stops_at_pick_up{false};
std::atomic<bool> stops_at_transfer{false};
std::atomic<int64_t> ring_that_releases{0};
std::atomic<bool> stopped{false};
std::atomic<bool> released{false};

void stop_here()
{
    stopped = true;
    tell();
    await([] {
        return released.load(std::memory_order_acquire) ||
               rings.load(std::memory_order_acquire) >= ring_that_releases.load(std::memory_order_relaxed);
    });
    stopped = false;
    released = false;
    ++stops;
}

// Cache process only: counts down to its stop.
bool is_last(std::atomic<int>& count)
{
    const int left = count.load(std::memory_order_relaxed);
    if (left > 0) count.store(left - 1, std::memory_order_relaxed);
    return left == 1;
}

uint64_t word_at(const void* data, size_t offset)
{
    uint64_t word = 0;
    std::memcpy(&word, static_cast<const uint8_t*>(data) + offset, sizeof word);
    return word;
}

}  // namespace

void iocache_test::race_hooks::tell()
{
    news.fetch_add(1);
    news.notify_all();
}

uint32_t iocache_test::race_hooks::told()
{
    return news.load();
}

void iocache_test::race_hooks::wait_while_told(uint32_t times)
{
    news.wait(times);
}

void iocache_test::race_hooks::arm(place where, int nth)
{
    locks_until_stop = where == place::lock ? nth : 0;
    locks_when_idle = where == place::lock_when_idle ? nth : 0;
    stops_at_pick_up = where == place::pick_up;
    stops_at_transfer = where == place::transfer;
    ring_that_releases = rings + 2;
    stopped = false;
    released = false;
}

void iocache_test::race_hooks::go_on(int locks_until_next_stop)
{
    stopped = false;
    locks_until_stop = locks_until_next_stop;
    released.store(true, std::memory_order_release);
    tell();
}

bool iocache_test::race_hooks::is_stopped()
{
    return stopped.load(std::memory_order_acquire);
}

bool iocache_test::race_hooks::is_idle()
{
    return waits.load(std::memory_order_acquire) == rings.load(std::memory_order_acquire) + 1;
}

int64_t iocache_test::race_hooks::stops_made()
{
    return stops.load(std::memory_order_relaxed);
}

// Visible, so that the library finds these before the system's own.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the system's own names are reserved ones.
extern "C" {

IOCACHE_API size_t fwrite(const void* data, size_t size, size_t count, FILE* stream)
{
    static auto* const forward = real<decltype(fwrite)>("fwrite");
    const bool is_tile = is_cache_process && size * count == tile_bytes;
    if (is_tile && stops_at_transfer.exchange(false)) stop_here();
    const size_t result = forward(data, size, count, stream);
    if (is_tile && on_tile_written) on_tile_written(word_at(data, 0), word_at(data, tile_bytes - sizeof(uint64_t)));
    return result;
}

int32_t usvsema(cv_semaphore* semaphore)
{
    static auto* const forward = real<decltype(usvsema)>("usvsema");
    rings.fetch_add(1, std::memory_order_release);
    tell();
    return forward(semaphore);
}

int32_t uspsema(cv_semaphore* semaphore)
{
    static auto* const forward = real<decltype(uspsema)>("uspsema");
    is_cache_process = true;
    waits.fetch_add(1, std::memory_order_release);
    tell();
    const int32_t result = forward(semaphore);
    if (stops_at_pick_up.exchange(false)) stop_here();
    return result;
}

void _lock(cv_lock* lock)
{
    static auto* const forward = real<decltype(_lock)>("_lock");
    if (is_cache_process && lock == cv_tile_access_lock && is_last(locks_until_stop)) stop_here();
    forward(lock);
}

int32_t barrier(cv_barrier* meeting, int32_t parties)
{
    static auto* const forward = real<decltype(barrier)>("barrier");
    if (is_cache_process) locks_until_stop = locks_when_idle.exchange(0);
    return forward(meeting, parties);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
