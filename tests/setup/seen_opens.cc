#include "tests/setup/seen_opens.h"

#include <cerrno>
#include <cstdarg>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <iocache/iocache.h>

std::function<int(const std::string& path, int flags)> iocache_test::on_open;

namespace {

int open_unless_it_fails(const char* path, int flags, mode_t mode)
{
    if (iocache_test::on_open) {
        const int error = iocache_test::on_open(path, flags);
        if (error != 0) {
            errno = error;
            return -1;
        }
    }
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

}  // namespace

// The library calls these, so they must be seen from outside.
extern "C" IOCACHE_HOST int open(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return open_unless_it_fails(path, flags, mode);
}

extern "C" IOCACHE_HOST int open64(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return open_unless_it_fails(path, flags, mode);
}
