// The hardware inventory. It has one record, the main memory: what the machine has, or what the system lets this
// process use of it if that is less.
#include "iocache/platform/control_group.h"
#include "iocache/platform/platform.h"

#include <algorithm>
#include <new>

#include <unistd.h>

namespace {

thread_local bool at_start = false;
thread_local cv_inventory record;

int64_t physical_memory_bytes()
{
    const int64_t pages = sysconf(_SC_PHYS_PAGES);
    const int64_t page_bytes = sysconf(_SC_PAGESIZE);
    return pages > 0 && page_bytes > 0 ? pages * page_bytes : 0;
}

// Too little memory even to ask for the limit counts as no limit.
int64_t memory_limit_bytes()
{
    try {
        return iocache::platform::control_group_memory_limit("/proc/self", "/sys/fs/cgroup");
    } catch (const std::bad_alloc&) {
        return iocache::platform::no_memory_limit;
    }
}

}  // namespace

IOCACHE_REPLACEABLE int32_t setinvent(void)
{
    at_start = true;
    return 0;
}

IOCACHE_REPLACEABLE cv_inventory* getinvent(void)
{
    if (!at_start) return nullptr;
    at_start = false;
    const int64_t bytes = std::min(physical_memory_bytes(), memory_limit_bytes());
    record = {inventory_class_memory, inventory_type_main_memory, bytes};
    return &record;
}

IOCACHE_REPLACEABLE void endinvent(void)
{
    at_start = false;
}
