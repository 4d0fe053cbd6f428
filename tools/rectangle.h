// A rectangle of pixels: its top left pixel and its size. Used for places in images and in canvases.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace iocache::tools {

struct rectangle {
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;

    // The column after the last one, the row after the last one.
    [[nodiscard]] std::int64_t right() const { return std::int64_t{x} + width; }
    [[nodiscard]] std::int64_t bottom() const { return std::int64_t{y} + height; }
    [[nodiscard]] std::size_t pixels() const
    {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }
    [[nodiscard]] bool contains(std::int64_t column, std::int64_t row) const
    {
        return column >= x && column < right() && row >= y && row < bottom();
    }
    [[nodiscard]] bool contains(const rectangle& other) const
    {
        return other.x >= x && other.y >= y && other.right() <= right() && other.bottom() <= bottom();
    }
    bool operator==(const rectangle&) const = default;
};

// Reads "X,Y,W,H". Throws std::invalid_argument unless it is four numbers and the size is positive.
[[nodiscard]] rectangle parse_rectangle(const std::string& text);

}  // namespace iocache::tools
