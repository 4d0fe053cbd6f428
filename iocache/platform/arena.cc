// The arena: a name for the place where semaphores, locks and barriers live.
#include "iocache/platform/platform.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

struct cv_arena {};

namespace {

// Threads share all memory, so that one arena without contents serves everybody.
cv_arena the_arena;

}  // namespace

IOCACHE_REPLACEABLE cv_arena* usinit(const char* file)
{
    if (!file) {
        errno = EINVAL;
        return nullptr;
    }
    const int descriptor = open(file, O_RDWR | O_CLOEXEC);
    if (descriptor < 0) return nullptr;
    close(descriptor);
    return &the_arena;
}
