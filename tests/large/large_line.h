// One line of the large picture, and what each of its pixels holds.
#ifndef IOCACHE_TESTS_LARGE_LARGE_LINE_H
#define IOCACHE_TESTS_LARGE_LARGE_LINE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace iocache_test {

inline constexpr int32_t large_side = 30'000;

struct large_line {
    std::vector<uint8_t> colour = std::vector<uint8_t>(size_t{4} * large_side);
    std::vector<uint8_t> alpha = std::vector<uint8_t>(size_t{large_side});
    bool operator==(const large_line&) const = default;
};

// Different for every pixel of a neighbourhood and for every row.
inline void fill(large_line& pixels, int32_t y)
{
    for (int32_t x = 0; x < large_side; ++x) {
        const uint32_t word = static_cast<uint32_t>(y) * 2'654'435'761U + static_cast<uint32_t>(x) * 40'503U;
        std::memcpy(&pixels.colour[size_t{4} * static_cast<size_t>(x)], &word, sizeof word);
        pixels.alpha[static_cast<size_t>(x)] = static_cast<uint8_t>(word >> 13);
    }
}

}  // namespace iocache_test

#endif
