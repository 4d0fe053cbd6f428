// The pixels of the photograph.
#include "bench/imports/photograph.h"

#include <algorithm>
#include <cmath>

namespace iocache_bench {

namespace {

constexpr uint32_t grain_depth = 12;

// A small random number from a place, always the same.
uint32_t grain(uint32_t x, uint32_t y)
{
    uint32_t value = x * 374'761'393U + y * 668'265'263U;
    value = (value ^ (value >> 13U)) * 1'274'126'177U;
    return (value ^ (value >> 16U)) % grain_depth;
}

uint8_t shade(double part, uint32_t noise)
{
    const double value = 20 + 200 * part + noise;
    return static_cast<uint8_t>(std::clamp(value, 0.0, 255.0));
}

}  // namespace

void photograph_row(int32_t y, int32_t side, uint8_t* pixels)
{
    const double down = static_cast<double>(y) / side;
    for (int32_t x = 0; x < side; ++x) {
        const double across = static_cast<double>(x) / side;
        const uint32_t noise = grain(static_cast<uint32_t>(x), static_cast<uint32_t>(y));
        *pixels++ = shade(0.5 + 0.5 * std::sin(9 * across + 4 * down), noise);
        *pixels++ = shade(down, noise);
        *pixels++ = shade(across * (1 - down), noise);
    }
}

}  // namespace iocache_bench
