// A mutex that a forked child finds free: whoever held it in the parent is missing in the child.
//
// Only for objects that live as long as the process, because the list of them has no way out. What the mutex guards may
// be in the middle of a change in the child.
#pragma once

#include <mutex>

namespace iocache::platform {

class inherited_mutex {
public:
    inherited_mutex();
    inherited_mutex(const inherited_mutex&) = delete;
    inherited_mutex& operator=(const inherited_mutex&) = delete;

    void lock() { mutex_.lock(); }
    void unlock() { mutex_.unlock(); }

private:
    std::mutex mutex_;
    inherited_mutex* older_;

    friend void free_every_inherited_mutex();
};

// In a forked child, while it has one thread.
void free_every_inherited_mutex();

}  // namespace iocache::platform
