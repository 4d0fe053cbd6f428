// The arena objects' lifetime, shared by start-up and shutdown.
#pragma once

namespace iocache::setup {

enum class locks_to_free { all, all_but_cut_lock };

// Frees what exists of barrier, locks and semaphore, newest first, and closes the arena's descriptor.
void free_arena_objects(locks_to_free which);

}  // namespace iocache::setup
