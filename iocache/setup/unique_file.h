// Files with a name of their own: made exclusively and without following links, so that nobody can plant one.
#pragma once

#include <span>

#include <sys/types.h>

namespace iocache::setup {

// Puts letters in place of the last six characters before the NUL of `path` until a file of that name can be made;
// opens it for reading and writing. Returns its descriptor (close-on-exec), or -1 with errno.
int create_unique_file(std::span<char> path, mode_t mode);

}  // namespace iocache::setup
