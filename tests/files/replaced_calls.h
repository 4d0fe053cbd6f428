// Calls of the library that a test of this program answers itself; without a test's own answer each goes on to the real
// one. A scope of replaced_calls::reset ends with that.
//
// Threads: set them only while the cache process waits for a request.
#ifndef IOCACHE_TESTS_FILES_REPLACED_CALLS_H
#define IOCACHE_TESTS_FILES_REPLACED_CALLS_H

#include <cstdint>
#include <functional>

#include <sys/types.h>

namespace iocache_test::replaced_calls {

// True refuses the memory.
extern std::function<bool(int64_t bytes)> on_allocate;
extern std::function<int32_t(const char* path, int64_t& block_size, int64_t& free_blocks)> on_statfs;
// Before a file's bytes are synchronised; the answer counts when it is not 0.
extern std::function<int(int descriptor)> on_synchronise;
// The same before all of a file, or a folder's names are.
extern std::function<int(int descriptor)> on_synchronise_all;
// In place of locking a file, when set; below 0 with errno.
extern std::function<int(int descriptor, int operation)> on_lock;
// True refuses to open the file; with errno.
extern std::function<bool(const char* mode)> on_open;
// True refuses to seek there.
extern std::function<bool(off_t offset)> on_seek;

struct reset {
    reset() { clear(); }
    ~reset() { clear(); }
    reset(const reset&) = delete;
    reset& operator=(const reset&) = delete;
    static void clear();
};

}  // namespace iocache_test::replaced_calls

#endif
