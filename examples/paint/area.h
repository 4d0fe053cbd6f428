// Rectangles of pixels, inclusive at both ends as the library counts.
#ifndef IOCACHE_EXAMPLES_PAINT_AREA_H
#define IOCACHE_EXAMPLES_PAINT_AREA_H

#include <algorithm>
#include <cstdint>

namespace paint {

struct area {
    int32_t left = 0, top = 0, right = -1, bottom = -1;  // empty unless it is said otherwise

    [[nodiscard]] bool is_empty() const { return right < left || bottom < top; }
    [[nodiscard]] int32_t width() const { return right - left + 1; }
    [[nodiscard]] int32_t height() const { return bottom - top + 1; }
    [[nodiscard]] area common_with(const area& other) const
    {
        return {std::max(left, other.left), std::max(top, other.top), std::min(right, other.right),
                std::min(bottom, other.bottom)};
    }
    // The smallest rectangle that holds both.
    [[nodiscard]] area joined_with(const area& other) const
    {
        if (is_empty()) return other;
        if (other.is_empty()) return *this;
        return {std::min(left, other.left), std::min(top, other.top), std::max(right, other.right),
                std::max(bottom, other.bottom)};
    }
    bool operator==(const area&) const = default;
};

}  // namespace paint

#endif
