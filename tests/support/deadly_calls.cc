#include "tests/support/deadly_calls.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <iocache/iocache.h>

#include "tests/support/real_function.h"

namespace {

using iocache_test::real;

std::atomic<int> last_call{0};  // 0: nothing is counted
std::atomic<int> calls{0};

// Before main, for a program that does not know.
const bool taken_from_environment = [] {
    if (const char* const number = std::getenv("IOCACHE_TEST_DIE_AT")) iocache_test::die_at(std::atoi(number));
    return true;
}();

bool is_last()
{
    const int last = last_call.load();
    return last != 0 && calls.fetch_add(1) + 1 == last;
}

// What the library keeps in the folder for temporary files would stay there for ever.
void remove_arena_file()
{
    static auto* const forward = real<decltype(unlink)>("unlink");
    if (const auto* const name = static_cast<const char*>(dlsym(RTLD_DEFAULT, "cv_tile_sema_file"))) forward(name);
}

[[noreturn]] void die()
{
    remove_arena_file();
    kill(0, SIGKILL);
    for (;;) pause();
}

void count()
{
    if (is_last()) die();
}

}  // namespace

void iocache_test::die_at(int call)
{
    calls = 0;
    last_call = call;
}

// Visible, so that everything finds these before the system's own. Each dies before it does anything; a transfer dies
// in the middle.
extern "C" {

IOCACHE_API size_t fwrite(const void* data, size_t size, size_t items, FILE* stream)
{
    static auto* const forward = real<decltype(fwrite)>("fwrite");
    if (stream != stdout && stream != stderr && is_last()) {
        forward(data, 1, size * items / 2, stream);
        die();
    }
    return forward(data, size, items, stream);
}

IOCACHE_API int rename(const char* from, const char* to) noexcept
{
    static auto* const forward = real<decltype(rename)>("rename");
    count();
    return forward(from, to);
}

IOCACHE_API int renameat2(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) noexcept
{
    static auto* const forward = real<decltype(renameat2)>("renameat2");
    count();
    return forward(from_folder, from, to_folder, to, flags);
}

IOCACHE_API int link(const char* from, const char* to) noexcept
{
    static auto* const forward = real<decltype(link)>("link");
    count();
    if (std::getenv("IOCACHE_TEST_NO_LINKS") == nullptr) return forward(from, to);
    errno = EPERM;
    return -1;
}

IOCACHE_API int unlink(const char* path) noexcept
{
    static auto* const forward = real<decltype(unlink)>("unlink");
    count();
    return forward(path);
}

IOCACHE_API int remove(const char* path) noexcept
{
    static auto* const forward = real<decltype(remove)>("remove");
    count();
    return forward(path);
}

IOCACHE_API int mkdir(const char* path, mode_t mode) noexcept
{
    static auto* const forward = real<decltype(mkdir)>("mkdir");
    count();
    return forward(path, mode);
}

IOCACHE_API int rmdir(const char* path) noexcept
{
    static auto* const forward = real<decltype(rmdir)>("rmdir");
    count();
    return forward(path);
}

IOCACHE_API int ftruncate(int file, off_t bytes) noexcept
{
    static auto* const forward = real<decltype(ftruncate)>("ftruncate");
    count();
    return forward(file, bytes);
}

IOCACHE_API ssize_t pwrite(int file, const void* data, size_t bytes, off_t offset)
{
    static auto* const forward = real<decltype(pwrite)>("pwrite");
    count();
    return forward(file, data, bytes, offset);
}

IOCACHE_API int fallocate(int file, int mode, off_t offset, off_t bytes)
{
    static auto* const forward = real<decltype(fallocate)>("fallocate");
    count();
    return forward(file, mode, offset, bytes);
}

IOCACHE_API int fsync(int file)
{
    static auto* const forward = real<decltype(fsync)>("fsync");
    count();
    return forward(file);
}

IOCACHE_API int fdatasync(int file)
{
    static auto* const forward = real<decltype(fdatasync)>("fdatasync");
    count();
    return forward(file);
}

IOCACHE_API ssize_t copy_file_range(int from, off64_t* from_at, int to, off64_t* to_at, size_t bytes, unsigned flags)
{
    static auto* const forward = real<decltype(copy_file_range)>("copy_file_range");
    if (is_last()) {
        forward(from, from_at, to, to_at, bytes / 2, flags);
        die();
    }
    return forward(from, from_at, to, to_at, bytes, flags);
}

}  // extern "C"
