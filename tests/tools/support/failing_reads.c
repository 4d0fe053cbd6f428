/* A disk with bad sectors: positioned reads that reach the offset IOCACHE_TEST_BAD_SECTORS of any file fail with EIO. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdlib.h>
#include <unistd.h>

typedef ssize_t (*pread_function)(int, void*, size_t, off_t);

__attribute__((visibility("default"))) ssize_t pread(int descriptor, void* target, size_t bytes, off_t offset)
{
    static pread_function real;
    if (!real) *(void**)&real = dlsym(RTLD_NEXT, "pread");
    const char* const bad = getenv("IOCACHE_TEST_BAD_SECTORS");
    if (bad && offset + (off_t)bytes > (off_t)strtoll(bad, NULL, 10)) {
        errno = EIO;
        return -1;
    }
    return real(descriptor, target, bytes, offset);
}

__attribute__((visibility("default"))) ssize_t pread64(int descriptor, void* target, size_t bytes, off_t offset)
{
    return pread(descriptor, target, bytes, offset);
}
