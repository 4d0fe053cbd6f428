// Advisory locks by flock, which go with an open file description and not with the process.
#include "iocache/platform/file_lock.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "iocache/platform/forks.h"

namespace iocache::platform {

lock_answer file_lock::take(int descriptor, lock_kind kind)
{
    const int operation = kind == lock_kind::shared ? LOCK_SH : LOCK_EX;
    is_held_ = flock(descriptor, operation | LOCK_NB) == 0;
    if (!is_held_) return errno == EWOULDBLOCK ? lock_answer::contended : lock_answer::unknown;
    taken_in_ = fork_generation();
    return lock_answer::taken;
}

// Without a descriptor to spare the lock ends with the stream.
void file_lock::keep_without(int descriptor)
{
    if (!is_held_ || kept_by_ != closed_stream) return;
    kept_by_ = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    is_held_ = kept_by_ != closed_stream;
}

// In so many words, because a forked child may still have the description open.
void file_lock::release(int descriptor)
{
    const int holder = kept_by_ != closed_stream ? kept_by_ : descriptor;
    if (is_held_ && holder != closed_stream && taken_in_ == fork_generation()) flock(holder, LOCK_UN);
    if (kept_by_ != closed_stream) close(kept_by_);
    kept_by_ = closed_stream;
    is_held_ = false;
}

}  // namespace iocache::platform
