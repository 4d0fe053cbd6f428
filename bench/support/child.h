// A fresh process for what must not meet the traces of an earlier run, and what the kernel says of its memory.
#pragma once

#include <functional>
#include <vector>

#include "bench/support/measure.h"

namespace iocache_bench {

// Runs it in a forked process, which may start what it likes, and brings back what it found. The caller has not
// started the library, nor any threads.
std::vector<series> in_child(const std::function<std::vector<series>()>& measure);

// The highest resident memory of this process so far, MiB.
double highest_resident_memory();

}  // namespace iocache_bench
