// libjpeg and libpng report failures by longjmp. This is the one place that catches it.
//
// A jump skips destructors, so the frames it crosses must own nothing: `call` is a lambda that uses
// variables of the function around it and has none of its own that need a destructor.
#pragma once

#include <csetjmp>

namespace iocache::tools {

// Runs call(). False when it ended by a jump to `target`, which is valid only meanwhile.
template <class Call> [[nodiscard]] bool returns_normally(std::jmp_buf& target, const Call& call)
{
    if (setjmp(target) != 0) return false;
    call();
    return true;
}

}  // namespace iocache::tools
