// Makes the long line once and compares with it.
#include "bench/support/pattern.h"

#include <cstring>
#include <random>

namespace iocache_bench {

namespace {

constexpr uint32_t seed = 20'260'407;

void fill_randomly(std::vector<uint8_t>& bytes, uint32_t from)
{
    std::mt19937 random(from);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
}

}  // namespace

pattern::pattern(int32_t width)
    : width_(width),
      colour_(static_cast<size_t>(colour_bytes) * static_cast<size_t>(width + starts * start_step)),
      alpha_(static_cast<size_t>(width + starts * start_step))
{
    fill_randomly(colour_, seed);
    fill_randomly(alpha_, seed + 1);
}

uint32_t pattern::colour(int32_t x, int32_t y) const
{
    uint32_t value = 0;
    std::memcpy(&value, colour_row(y) + int64_t{colour_bytes} * x, sizeof value);
    return value;
}

bool pattern::has(int32_t x_first, int32_t y, int32_t pixels, const uint8_t* colour, const uint8_t* alpha,
                  int32_t turn) const
{
    const auto count = static_cast<size_t>(pixels);
    return std::memcmp(colour_row(y, turn) + int64_t{colour_bytes} * x_first, colour, count * colour_bytes) == 0 &&
           std::memcmp(alpha_row(y, turn) + x_first, alpha, count) == 0;
}

}  // namespace iocache_bench
