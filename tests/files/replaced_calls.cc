#include "tests/files/replaced_calls.h"

#include <cerrno>
#include <cstdio>

#include <sys/file.h>
#include <unistd.h>

#include "iocache/platform/platform.h"
#include "tests/support/real_function.h"

namespace iocache_test::replaced_calls {

std::function<bool(int64_t bytes)> on_allocate;
std::function<int32_t(const char* path, int64_t& block_size, int64_t& free_blocks)> on_statfs;
std::function<int(int descriptor)> on_synchronise;
std::function<int(int descriptor, int operation)> on_lock;
std::function<int(int descriptor)> on_synchronise_all;
std::function<bool(const char* mode)> on_open;
std::function<bool(off_t offset)> on_seek;

void reset::clear()
{
    on_allocate = nullptr;
    on_statfs = nullptr;
    on_synchronise = nullptr;
    on_lock = nullptr;
    on_open = nullptr;
    on_synchronise_all = nullptr;
    on_seek = nullptr;
}

}  // namespace iocache_test::replaced_calls

namespace {

using iocache_test::real;

namespace replaced_calls = iocache_test::replaced_calls;

}  // namespace

// Visible, so that the library finds these before the system's own.
extern "C" {

void* platform_allocate(int64_t bytes)
{
    static auto* const forward = real<decltype(platform_allocate)>("platform_allocate");
    if (replaced_calls::on_allocate && replaced_calls::on_allocate(bytes)) return nullptr;
    return forward(bytes);
}

int32_t platform_statfs(const char* path, int64_t* block_size, int64_t* free_blocks)
{
    static auto* const forward = real<decltype(platform_statfs)>("platform_statfs");
    return replaced_calls::on_statfs ? replaced_calls::on_statfs(path, *block_size, *free_blocks)
                                     : forward(path, block_size, free_blocks);
}

IOCACHE_API int fdatasync(int descriptor)
{
    static auto* const forward = real<decltype(fdatasync)>("fdatasync");
    const int answer = replaced_calls::on_synchronise ? replaced_calls::on_synchronise(descriptor) : 0;
    return answer != 0 ? answer : forward(descriptor);
}

IOCACHE_API FILE* fopen(const char* path, const char* mode)
{
    static auto* const forward = real<decltype(fopen)>("fopen");
    return replaced_calls::on_open && replaced_calls::on_open(mode) ? nullptr : forward(path, mode);
}

IOCACHE_API int flock(int descriptor, int operation) noexcept
{
    static auto* const forward = real<decltype(flock)>("flock");
    return replaced_calls::on_lock ? replaced_calls::on_lock(descriptor, operation) : forward(descriptor, operation);
}

IOCACHE_API int fsync(int descriptor)
{
    static auto* const forward = real<decltype(fsync)>("fsync");
    const int answer = replaced_calls::on_synchronise_all ? replaced_calls::on_synchronise_all(descriptor) : 0;
    return answer != 0 ? answer : forward(descriptor);
}

IOCACHE_API off_t lseek(int descriptor, off_t offset, int whence) noexcept
{
    static auto* const forward = real<decltype(lseek)>("lseek");
    if (replaced_calls::on_seek && replaced_calls::on_seek(offset)) {
        errno = EINVAL;
        return -1;
    }
    return forward(descriptor, offset, whence);
}

}  // extern "C"
