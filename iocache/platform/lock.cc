// Locks of the arena. All living ones are on a list, so that a forked child can free those whose holders it does not
// have.
#include "iocache/platform/forks.h"
#include "iocache/platform/platform.h"
#include "iocache/platform/short_lock.h"

#include <mutex>
#include <new>

struct cv_lock {
    iocache::platform::short_lock state;
    cv_lock* next = nullptr;  // both under list_mutex
    cv_lock* prev = nullptr;
};

namespace {

std::mutex list_mutex;
cv_lock* first_lock;  // under list_mutex

}  // namespace

IOCACHE_REPLACEABLE cv_lock* _nlock(cv_arena* /*arena*/)
{
    auto* const lock = new (std::nothrow) cv_lock;
    if (!lock) return nullptr;
    const std::lock_guard guard{list_mutex};
    lock->next = first_lock;
    if (first_lock) first_lock->prev = lock;
    first_lock = lock;
    return lock;
}

IOCACHE_REPLACEABLE void _lock(cv_lock* lock)
{
    if (lock) lock->state.lock();
}

IOCACHE_REPLACEABLE void _ulock(cv_lock* lock)
{
    if (lock) lock->state.unlock();
}

IOCACHE_REPLACEABLE void _freelock(cv_lock* lock, cv_arena* /*arena*/)
{
    if (!lock) return;
    {
        const std::lock_guard guard{list_mutex};
        (lock->prev ? lock->prev->next : first_lock) = lock->next;
        if (lock->next) lock->next->prev = lock->prev;
    }
    delete lock;
}

namespace iocache::platform {

void hold_lock_list()
{
    list_mutex.lock();
}

void release_lock_list()
{
    list_mutex.unlock();
}

void free_every_lock()
{
    for (cv_lock* lock = first_lock; lock; lock = lock->next) lock->state.reset();
}

}  // namespace iocache::platform
