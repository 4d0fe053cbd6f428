// Random numbers that are the same in every run.
#pragma once

#include <cstdint>
#include <random>

namespace iocache_bench {

inline std::mt19937 repeatable_random(uint32_t from = 20'260'407)
{
    return std::mt19937(from);
}

}  // namespace iocache_bench
