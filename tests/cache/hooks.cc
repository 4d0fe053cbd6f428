#include "tests/cache/hooks.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <thread>

#include <fcntl.h>

#include "iocache/platform/platform.h"
#include "tests/support/real_function.h"

namespace iocache_test::hooks {

std::function<bool(int64_t position, size_t bytes)> on_write;
std::function<int(int64_t offset, int64_t bytes)> on_blocks;
std::function<int(int64_t offset, size_t bytes)> on_placed_write;
std::function<int32_t(const char* name)> on_program;
std::function<int32_t(const char* path, int64_t& block_size, int64_t& free_blocks)> on_statfs;
std::atomic<int> rings;
std::atomic<int> waits;
std::atomic<bool> gate_closed;
std::atomic<int> quiet_looks = -1;
std::atomic<int> pause_at_lock;
std::atomic<int> pause_at_idle_lock;
std::atomic<int> pause_behind_lock;
std::atomic<bool> paused;
std::atomic<bool> go_on;

void reset::clear()
{
    on_write = nullptr;
    on_blocks = nullptr;
    on_placed_write = nullptr;
    on_program = nullptr;
    on_statfs = nullptr;
    rings = 0;
    waits = 0;
    gate_closed = false;
    quiet_looks = -1;
    pause_at_lock = 0;
    pause_at_idle_lock = 0;
    pause_behind_lock = 0;
    paused = false;
    go_on = false;
}

}  // namespace iocache_test::hooks

namespace {

using iocache_test::real;

namespace hooks = iocache_test::hooks;

// The thread that waits for rings is the cache process.
thread_local bool is_cache_process = false;

// No test pauses longer than this, so that one that went wrong ends.
void wait_until(const std::atomic<bool>& flag, bool value)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (flag != value && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::microseconds(50));
}

void pause_at_last(std::atomic<int>& steps)
{
    if (!is_cache_process || steps <= 0 || --steps != 0) return;
    hooks::paused = true;
    wait_until(hooks::go_on, true);
}

}  // namespace

extern "C" {

size_t fwrite(const void* data, size_t size, size_t count, FILE* stream)
{
    static auto* const forward = real<decltype(fwrite)>("fwrite");
    if (hooks::on_write && hooks::on_write(ftello(stream), size * count)) {
        errno = EIO;
        return 0;
    }
    return forward(data, size, count, stream);
}

IOCACHE_API int fallocate(int file, int mode, off_t offset, off_t bytes)
{
    static auto* const forward = real<decltype(fallocate)>("fallocate");
    const int error = hooks::on_blocks ? hooks::on_blocks(offset, bytes) : 0;
    if (error == 0) return forward(file, mode, offset, bytes);
    errno = error;
    return -1;
}

IOCACHE_API ssize_t pwrite(int file, const void* data, size_t bytes, off_t offset)
{
    static auto* const forward = real<decltype(pwrite)>("pwrite");
    const int error = hooks::on_placed_write ? hooks::on_placed_write(offset, bytes) : 0;
    if (error == 0) return forward(file, data, bytes, offset);
    errno = error;
    return -1;
}

int32_t usvsema(cv_semaphore* semaphore)
{
    static auto* const forward = real<decltype(usvsema)>("usvsema");
    ++hooks::rings;
    return forward(semaphore);
}

int32_t uspsema(cv_semaphore* semaphore)
{
    static auto* const forward = real<decltype(uspsema)>("uspsema");
    is_cache_process = true;
    ++hooks::waits;
    const int32_t result = forward(semaphore);
    wait_until(hooks::gate_closed, false);
    return result;
}

int32_t ustestsema(cv_semaphore* semaphore)
{
    static auto* const forward = real<decltype(ustestsema)>("ustestsema");
    const int left = hooks::quiet_looks;
    if (left < 0) return forward(semaphore);
    if (left > 0) --hooks::quiet_looks;
    return left > 0 ? 0 : 1;
}

void _lock(cv_lock* lock)
{
    static auto* const forward = real<decltype(_lock)>("_lock");
    // Not inside another lock, which a client may need meanwhile.
    if (lock == cv_tile_access_lock) pause_at_last(hooks::pause_at_lock);
    forward(lock);
}

void _ulock(cv_lock* lock)
{
    static auto* const forward = real<decltype(_ulock)>("_ulock");
    forward(lock);
    if (lock == cv_tile_access_lock) pause_at_last(hooks::pause_behind_lock);
}

int32_t barrier(cv_barrier* meeting, int32_t parties)
{
    static auto* const forward = real<decltype(barrier)>("barrier");
    if (is_cache_process && hooks::pause_at_idle_lock > 0) hooks::pause_at_lock = hooks::pause_at_idle_lock.exchange(0);
    return forward(meeting, parties);
}

int32_t platform_statfs(const char* path, int64_t* block_size, int64_t* free_blocks)
{
    static auto* const forward = real<decltype(platform_statfs)>("platform_statfs");
    return hooks::on_statfs ? hooks::on_statfs(path, *block_size, *free_blocks)
                            : forward(path, block_size, free_blocks);
}

int32_t start_another_program(const char* name)
{
    return hooks::on_program ? hooks::on_program(name) : -1;
}

}  // extern "C"
