// libjpeg and libpng are C: their error callbacks must not return, and nothing may be thrown through
// them. This is the one place that jumps out of them, and the one that catches the jump.
//
// A jump skips destructors, so the frames it crosses must own nothing: `call` is a lambda that uses
// variables of the function around it and has none of its own that need a destructor.
#pragma once

#include <csetjmp>

namespace iocache::tools {

// Runs call(). False when it ended by a jump to `target`, which is valid only meanwhile.
template <class Call> [[nodiscard]] bool returns_normally(std::jmp_buf& target, const Call& call)
{
    if (setjmp(target) != 0) return false;  // NOLINT(cert-err52-cpp): exceptions cannot pass through C
    call();
    return true;
}

// Ends the call that returns_normally(target, ...) runs.
[[noreturn]] inline void jump_to(std::jmp_buf& target)
{
    std::longjmp(target, 1);  // NOLINT(cert-err52-cpp): as above
}

}  // namespace iocache::tools
