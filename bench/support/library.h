// The library, running for a benchmark with a cache of exactly so many MiB, in one of its two modes.
#pragma once

#include <cstdint>
#include <string>

namespace iocache_bench {

enum class mode { in_line, process };

struct library_settings {
    mode how = mode::in_line;
    int64_t cache_mib = 256;
    int32_t workers = 0;  // 0: the mode's own, one in-line and one a processor else
};

class running_library {
public:
    explicit running_library(const library_settings& settings);
    ~running_library();
    running_library(const running_library&) = delete;
    running_library& operator=(const running_library&) = delete;
};

const char* name_of(mode how);

}  // namespace iocache_bench
