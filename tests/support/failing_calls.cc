#include "tests/support/failing_calls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "iocache/platform/platform.h"
#include "tests/support/real_function.h"

namespace {

using namespace iocache_test::failing_calls;
using iocache_test::real;

// Interrupted calls are repeated; nothing is interrupted for ever.
constexpr int most_interruptions = 200;

std::atomic<bool> is_armed{false};
std::atomic<int> calls{0};
std::atomic<int> failures{0};
fault now;  // set while nothing is armed

enum class sort { transfer, other };

// Counts a call. True when it has to fail, with errno set.
bool fails(sort what)
{
    if (!is_armed || (now.is_short && what != sort::transfer)) return false;
    const int number = ++calls;
    const bool is_meant = number == now.call || (now.is_sticky && now.call != 0 && number > now.call);
    if (!is_meant) return false;
    if (++failures > most_interruptions && now.error == EINTR) return false;
    errno = now.error;
    return true;
}

bool is_terminal(FILE* stream)
{
    return stream == stdout || stream == stderr;
}

}  // namespace

void iocache_test::failing_calls::arm(const fault& one)
{
    now = one;
    calls = 0;
    failures = 0;
    is_armed = true;
}

int iocache_test::failing_calls::disarm()
{
    is_armed = false;
    return calls;
}

bool iocache_test::failing_calls::has_failed()
{
    return failures > 0;
}

// Visible, so that the library finds these before the system's own.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the system's own names are reserved ones.
extern "C" {

IOCACHE_API FILE* fopen(const char* path, const char* mode)
{
    static auto* const forward = real<decltype(fopen)>("fopen");
    return fails(sort::other) ? nullptr : forward(path, mode);
}

IOCACHE_API int fclose(FILE* stream)
{
    static auto* const forward = real<decltype(fclose)>("fclose");
    const bool failing = fails(sort::other);
    const int error = errno;
    const int result = forward(stream);
    if (!failing) return result;
    errno = error;
    return EOF;
}

IOCACHE_API size_t fread(void* data, size_t size, size_t count, FILE* stream)
{
    static auto* const forward = real<decltype(fread)>("fread");
    if (!fails(sort::transfer)) return forward(data, size, count, stream);
    const int error = errno;
    if (now.is_short) forward(data, 1, size * count / 2, stream);
    errno = error;
    return 0;
}

IOCACHE_API size_t fwrite(const void* data, size_t size, size_t count, FILE* stream)
{
    static auto* const forward = real<decltype(fwrite)>("fwrite");
    if (is_terminal(stream) || !fails(sort::transfer)) return forward(data, size, count, stream);
    const int error = errno;
    if (now.is_short) forward(data, 1, size * count / 2, stream);
    errno = error;
    return 0;
}

IOCACHE_API int fflush(FILE* stream)
{
    static auto* const forward = real<decltype(fflush)>("fflush");
    if (stream == nullptr || is_terminal(stream) || !fails(sort::other)) return forward(stream);
    return EOF;
}

IOCACHE_API int fseeko(FILE* stream, off_t offset, int whence)
{
    static auto* const forward = real<decltype(fseeko)>("fseeko");
    return fails(sort::other) ? -1 : forward(stream, offset, whence);
}

IOCACHE_API int ftruncate(int file, off_t bytes) noexcept
{
    static auto* const forward = real<decltype(ftruncate)>("ftruncate");
    return fails(sort::other) ? -1 : forward(file, bytes);
}

IOCACHE_API ssize_t pwrite(int file, const void* data, size_t bytes, off_t offset)
{
    static auto* const forward = real<decltype(pwrite)>("pwrite");
    if (!fails(sort::transfer)) return forward(file, data, bytes, offset);
    return now.is_short ? forward(file, data, bytes / 2, offset) : -1;
}

IOCACHE_API int fallocate(int file, int mode, off_t offset, off_t bytes)
{
    static auto* const forward = real<decltype(fallocate)>("fallocate");
    return fails(sort::other) ? -1 : forward(file, mode, offset, bytes);
}

IOCACHE_API int fdatasync(int file)
{
    static auto* const forward = real<decltype(fdatasync)>("fdatasync");
    return fails(sort::other) ? -1 : forward(file);
}

IOCACHE_API int fsync(int file)
{
    static auto* const forward = real<decltype(fsync)>("fsync");
    return fails(sort::other) ? -1 : forward(file);
}

IOCACHE_API int rename(const char* from, const char* to) noexcept
{
    static auto* const forward = real<decltype(rename)>("rename");
    return fails(sort::other) ? -1 : forward(from, to);
}

IOCACHE_API int unlink(const char* path) noexcept
{
    static auto* const forward = real<decltype(unlink)>("unlink");
    return fails(sort::other) ? -1 : forward(path);
}

IOCACHE_API int stat(const char* path, struct stat* result) noexcept
{
    static auto* const forward = real<int(const char*, struct stat*)>("stat");
    return fails(sort::other) ? -1 : forward(path, result);
}

IOCACHE_API int fstat(int file, struct stat* result) noexcept
{
    static auto* const forward = real<int(int, struct stat*)>("fstat");
    return fails(sort::other) ? -1 : forward(file, result);
}

IOCACHE_API int statx(int folder, const char* path, int flags, unsigned wanted, struct statx* result) noexcept
{
    static auto* const forward = real<decltype(statx)>("statx");
    return fails(sort::other) ? -1 : forward(folder, path, flags, wanted, result);
}

IOCACHE_API int access(const char* path, int how) noexcept
{
    static auto* const forward = real<decltype(access)>("access");
    return fails(sort::other) ? -1 : forward(path, how);
}

IOCACHE_API ssize_t read(int file, void* data, size_t bytes)
{
    static auto* const forward = real<decltype(read)>("read");
    if (!fails(sort::transfer)) return forward(file, data, bytes);
    return now.is_short && bytes > 1 ? forward(file, data, bytes / 2) : -1;
}

IOCACHE_API off_t lseek(int file, off_t offset, int whence) noexcept
{
    static auto* const forward = real<decltype(lseek)>("lseek");
    return fails(sort::other) ? -1 : forward(file, offset, whence);
}

void* platform_allocate(int64_t bytes)
{
    static auto* const forward = real<decltype(platform_allocate)>("platform_allocate");
    return fails(sort::other) ? nullptr : forward(bytes);
}

void* platform_map_region(int64_t bytes)
{
    static auto* const forward = real<decltype(platform_map_region)>("platform_map_region");
    return fails(sort::other) ? nullptr : forward(bytes);
}

int32_t platform_statfs(const char* path, int64_t* block_size, int64_t* free_blocks)
{
    static auto* const forward = real<decltype(platform_statfs)>("platform_statfs");
    return fails(sort::other) ? -1 : forward(path, block_size, free_blocks);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
