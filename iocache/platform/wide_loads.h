// Loads of 32 bytes for walks over long tables. The library at large does not ask for a processor that has them, so such
// a walk is compiled twice, and the processor found at start says which one runs.
#ifndef IOCACHE_PLATFORM_WIDE_LOADS_H
#define IOCACHE_PLATFORM_WIDE_LOADS_H

namespace iocache::platform {

#if defined(__x86_64__)
inline const bool has_wide_loads = __builtin_cpu_supports("avx2") != 0;

template <class Walk> [[gnu::target("avx2")]] auto run_with_wide_loads(const Walk& walk)
{
    return walk();
}
#else
inline constexpr bool has_wide_loads = false;

template <class Walk> auto run_with_wide_loads(const Walk& walk)
{
    return walk();
}
#endif

// Runs walk() with wide loads if the processor has them. For the compiler to use them, walk and all that it calls must
// be always inlined.
template <class Walk> inline auto with_wide_loads(const Walk& walk)
{
    return has_wide_loads ? run_with_wide_loads(walk) : walk();
}

}  // namespace iocache::platform

#endif
