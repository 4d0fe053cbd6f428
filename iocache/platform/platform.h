// What the library asks of the operating system: semaphores, locks and barriers that live in an arena, a process
// that shares the caller's memory and files, the size of the machine's memory, free disk space, and raw memory.
// The public header declares the types only; these functions are for the library, not for a host.
//
// Every function is a weak symbol with C linkage, and the library reaches it through the dynamic linker: a program
// that defines one of the same name (without "weak") puts its own in its place. That is how tests see each failure.
//
// Threads: everything may be called from any thread unless said otherwise. Null objects are harmless: nothing is
// waited for or guarded then, and a null barrier counts as broken.
//
// Forked children: only the forking thread lives on in a child, so what waits for another thread would wait for ever.
// There every barrier made before the fork is broken, every lock made before it is free, and no thread is known that
// could be joined. Objects made in the child itself work as usual.
#ifndef IOCACHE_PLATFORM_PLATFORM_H
#define IOCACHE_PLATFORM_PLATFORM_H

#include <iocache/iocache.h>

/** Goes in front of each definition of a function below, never in front of a test's own one. */
#define IOCACHE_REPLACEABLE __attribute__((weak))

/** The number of parties that a barrier can hold. */
inline constexpr int32_t most_barrier_parties = 127;
/** What barrier() answers when it is broken. */
inline constexpr int32_t barrier_is_broken = -255;

inline constexpr int32_t inventory_class_memory = 3;
inline constexpr int32_t inventory_type_main_memory = 1;

/** One entry of the hardware inventory. */
struct cv_inventory {
    int32_t inv_class;  // inventory_class_...
    int32_t inv_type;   // inventory_type_...
    int64_t inv_state;  // for the main memory: bytes that this process may use
};

extern "C" {

// Arenas. All objects live in the process's own memory, so that an arena owns nothing and is never freed.

/** The arena that belongs to this file, which must be readable and writable. Null with errno on failure. */
IOCACHE_API cv_arena* usinit(const char* file);

// Semaphores.

/** A semaphore with this count, or null. */
IOCACHE_API cv_semaphore* usnewsema(cv_arena* arena, int32_t count);
/** Takes one from the count, waiting for one as long as there is none. Returns 0. */
IOCACHE_API int32_t uspsema(cv_semaphore* semaphore);
/** Adds one to the count and wakes a waiter if there is any. Returns 0. */
IOCACHE_API int32_t usvsema(cv_semaphore* semaphore);
/** The count at this moment. */
IOCACHE_API int32_t ustestsema(cv_semaphore* semaphore);
/** Frees a semaphore that nobody uses any more. */
IOCACHE_API void usfreesema(cv_semaphore* semaphore, cv_arena* arena);

// Locks. Not recursive; whoever locks unlocks.

/** A free lock, or null. */
IOCACHE_API cv_lock* _nlock(cv_arena* arena);
/** Takes the lock, waiting as long as another thread has it. */
IOCACHE_API void _lock(cv_lock* lock);
/** Gives the lock back. */
IOCACHE_API void _ulock(cv_lock* lock);
/** Frees a lock that nobody uses any more. */
IOCACHE_API void _freelock(cv_lock* lock, cv_arena* arena);

// Barriers. Reusable at once: a party may come back for the next meeting before the others have left the last one.

/** A barrier, or null. */
IOCACHE_API cv_barrier* new_barrier(cv_arena* arena);
/** Waits until this many parties have come, the caller among them. 0 when they have met, -255 when the barrier is
 *  broken before that. Parties whose meeting was complete get 0 even if the barrier breaks before they wake up. */
IOCACHE_API int32_t barrier(cv_barrier* barrier, int32_t parties);
/** Breaks the barrier for good: everyone who waits and everyone who comes later gets -255. */
IOCACHE_API void platform_break_barrier(cv_barrier* barrier);
/** 1 when the barrier is broken, or was made before this process was forked, else 0. */
IOCACHE_API int32_t platform_barrier_broken(cv_barrier* barrier);
/** Frees a barrier that nobody uses any more. */
IOCACHE_API void free_barrier(cv_barrier* barrier);

// Processes that share the caller's memory and open files: threads.

/** Runs entry(argument) in a thread of its own, with every signal blocked. Returns its id, above 0, or -1 with errno.
 *  A thread always shares everything, whatever share_flags asks for. */
IOCACHE_API int32_t sproc(void (*entry)(void*), uint32_t share_flags, void* argument);
/** Waits until a thread that sproc started has ended. Does nothing for an id that it did not give out, that was joined
 *  before or that belongs to the process this one was forked from; called by the thread itself, lets go of it. */
IOCACHE_API void platform_join(int32_t id);

// Hardware inventory. Each thread walks its own.

/** Starts a walk from the first record. Returns 0. */
IOCACHE_API int32_t setinvent(void);
/** The next record, valid until the thread's next call, or null after the last one. */
IOCACHE_API cv_inventory* getinvent(void);
/** Ends the walk. */
IOCACHE_API void endinvent(void);

// Memory and disks.

/** Maps this many zeroed bytes, none of them reserved before it is touched. Null on failure and for less than 0 bytes;
 *  0 bytes give one page. */
IOCACHE_API void* platform_map_region(int64_t bytes);
/** Gives back a whole region, mapped with the same number of bytes. */
IOCACHE_API void platform_unmap_region(void* region, int64_t bytes);
/** Zeroed memory, released with free(). Null on failure and for less than 0 bytes; 0 bytes give a valid address. */
IOCACHE_API void* platform_allocate(int64_t bytes);
/** Block size in bytes and number of free blocks of the file system that holds path. 0, or -1 with errno and both
 *  results as they were. */
IOCACHE_API int32_t platform_statfs(const char* path, int64_t* block_size, int64_t* free_blocks);

}  // extern "C"

namespace iocache::platform {

// Has the system put memory behind these bytes now instead of when they are first touched. They keep what they hold.
// Only a hint, harmless where nothing is mapped; the bytes start at a page.
void ask_for_memory(void* start, int64_t bytes);

}  // namespace iocache::platform

#endif
