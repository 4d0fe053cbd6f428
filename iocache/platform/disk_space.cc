// How much room a file system has.
#include "iocache/platform/platform.h"

#include <cerrno>

#include <sys/vfs.h>

IOCACHE_REPLACEABLE int32_t platform_statfs(const char* path, int64_t* block_size, int64_t* free_blocks)
{
    if (!path) {
        errno = EINVAL;
        return -1;
    }
    struct statfs answer = {};
    if (statfs(path, &answer) != 0) return -1;
    *block_size = static_cast<int64_t>(answer.f_bsize);
    *free_blocks = static_cast<int64_t>(answer.f_bfree);
    return 0;
}
