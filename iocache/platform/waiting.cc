// Counts the processors that spinning could make use of.
#include "iocache/platform/waiting.h"

#include <sched.h>

namespace iocache::platform {
namespace {

bool runs_on_several_processors()
{
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    // More processors than the set can hold make the call fail, and are certainly more than one.
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) return true;
    return CPU_COUNT(&allowed) > 1;
}

}  // namespace

bool spinning_helps()
{
    static const bool helps = runs_on_several_processors();
    return helps;
}

}  // namespace iocache::platform
