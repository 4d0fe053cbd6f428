// The list of all such mutexes, made while the library is loaded.
#include "iocache/platform/inherited_mutex.h"

#include <new>

namespace iocache::platform {

namespace {

constinit inherited_mutex* newest = nullptr;

}  // namespace

inherited_mutex::inherited_mutex() : older_(newest)
{
    newest = this;
}

void free_every_inherited_mutex()
{
    for (inherited_mutex* each = newest; each != nullptr; each = each->older_) new (&each->mutex_) std::mutex;
}

}  // namespace iocache::platform
