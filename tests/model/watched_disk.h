// The disk under the model: what is written back to it is noted, it may be full, and a process may die while writing.
#ifndef IOCACHE_TESTS_MODEL_WATCHED_DISK_H
#define IOCACHE_TESTS_MODEL_WATCHED_DISK_H

#include <cstddef>
#include <cstdint>

#include "tests/model/notes.h"

namespace iocache_test::watched_disk {

// From here on what the canvas writes back is noted; null: no longer.
void watch(int32_t canvas, file_note* note);

// The process is killed at the n-th tile from now that is written back, before its bytes go to the file or after.
void die_at_write(model_notes& notes, int32_t number, bool before);
[[noreturn]] void die(model_notes& notes);

// No file grows beyond this size until there is room again: either the host makes room when it is asked to, or it
// refuses, and requests fail meanwhile.
enum class host_will { make_room, refuse };
void fill(size_t most_bytes, host_will will);
void make_room();
bool is_full();
bool host_refuses();  // the disk is full, and requests may fail

}  // namespace iocache_test::watched_disk

#endif
