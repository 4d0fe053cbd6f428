// The end of a benchmark that cannot go on: one line on standard error, exit code 1.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace iocache_bench {

[[noreturn]] inline void fail(const std::string& why)
{
    std::fprintf(stderr, "benchmark: %s\n", why.c_str());
    std::exit(EXIT_FAILURE);
}

}  // namespace iocache_bench
