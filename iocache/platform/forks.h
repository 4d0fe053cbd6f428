// What happens to this folder's objects when the process forks. For the files of this folder.
#ifndef IOCACHE_PLATFORM_FORKS_H
#define IOCACHE_PLATFORM_FORKS_H

#include <cstdint>

namespace iocache::platform {

// How many forks lie between this process and the one that loaded the library. An object remembers it when it is made
// and so knows later whether it was inherited.
std::int32_t fork_generation();

// lock.cc: keep the list of locks in one piece while the process forks, and free all of them in the child.
void hold_lock_list();
void release_lock_list();
void free_every_lock();

// process.cc: forget every thread; the child has none of them.
void forget_every_thread();

}  // namespace iocache::platform

#endif
