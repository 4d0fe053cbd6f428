// An advisory lock on an open file: it tells programs that ask for one that the file is in use, and stops nobody.
//
// It belongs to the open file description of the stream that it was taken with, so that no other descriptor of the
// process can lose it. While that stream is closed for a time, a descriptor in its place keeps the lock. A forked child
// inherits both and lets them go without giving up its parent's lock; when the parent gives the lock up it is gone for
// the child too.
#ifndef IOCACHE_PLATFORM_FILE_LOCK_H
#define IOCACHE_PLATFORM_FILE_LOCK_H

#include <cstdint>

namespace iocache::platform {

enum class lock_kind { shared, exclusive };
// Taken, held by someone else, or not known to the file system.
enum class lock_answer { taken, contended, unknown };

inline constexpr int closed_stream = -1;  // in place of a descriptor

// Not for two threads at once.
class file_lock {
public:
    file_lock() = default;
    ~file_lock() { release(closed_stream); }
    file_lock(const file_lock&) = delete;
    file_lock& operator=(const file_lock&) = delete;

    // The descriptor's file, without waiting. What was held before is to be released first.
    lock_answer take(int descriptor, lock_kind kind);
    // The descriptor that it was taken with is about to be closed, and the lock shall last.
    void keep_without(int descriptor);
    // With the descriptor that it was taken with.
    void release(int descriptor);

private:
    bool is_held_ = false;
    int kept_by_ = closed_stream;
    std::int32_t taken_in_ = 0;  // fork generation
};

}  // namespace iocache::platform

#endif
