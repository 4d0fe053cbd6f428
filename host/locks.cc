// The locks of the workers. They guard a few instructions, mostly the claim of the next row.
#include "host/iocache_host.h"
#include "iocache/platform/short_lock.h"

#include <new>

namespace {

using iocache::platform::short_lock;

short_lock* as_lock(void* lock)
{
    return static_cast<short_lock*>(lock);
}

}  // namespace

void MP_def_lock(void** lock)
{
    *lock = new (std::nothrow) short_lock;
}

void MP_free_lock(void* lock)
{
    delete as_lock(lock);
}

void MP_set_lock(void* lock)
{
    if (lock) as_lock(lock)->lock();
}

void MP_unset_lock(void* lock)
{
    if (lock) as_lock(lock)->unlock();
}
