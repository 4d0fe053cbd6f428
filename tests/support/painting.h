// What a canvas should hold, known without the library: a pattern that no two neighbours share inside some rectangles,
// nothing elsewhere. And buffers that show when something was written beside them.
#ifndef IOCACHE_TESTS_SUPPORT_PAINTING_H
#define IOCACHE_TESTS_SUPPORT_PAINTING_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <iocache/iocache.h>

#include "host/iocache_host.h"
#include "tests/support/file_reader.h"

namespace iocache_test {

struct rectangle {
    int32_t left, top, right, bottom;  // inclusive

    bool holds(int32_t x, int32_t y) const { return x >= left && x <= right && y >= top && y <= bottom; }
    bool is_empty() const { return right < left || bottom < top; }
    bool meets(const rectangle& other) const
    {
        return left <= other.right && other.left <= right && top <= other.bottom && other.top <= bottom;
    }
};

// Shift and floor of the format: tile places of grid coordinates, negative ones too.
inline int32_t floor_div(int64_t value, int32_t by)
{
    const int64_t quotient = value / by;
    return static_cast<int32_t>(value % by < 0 ? quotient - 1 : quotient);
}

struct painting {
    int32_t kind = 1;  // 0 mask, 1 picture
    int32_t x_min = 0, y_min = 0, x_max = 0, y_max = 0;
    int32_t x_offset = 0, y_offset = 0;
    std::vector<rectangle> painted = {};
    int32_t tile_width = 256, tile_height = 256;

    bool is_picture() const { return kind == 1; }
    int32_t width() const { return x_max - x_min + 1; }
    int32_t height() const { return y_max - y_min + 1; }
    size_t pixel_bytes() const { return is_picture() ? 4 : 1; }
    int32_t tiles_across() const { return floor_div(int64_t{x_max} - x_min + x_offset, tile_width) + 1; }
    int32_t tiles_down() const { return floor_div(int64_t{y_max} - y_min + y_offset, tile_height) + 1; }
    rectangle bounds() const { return {x_min, y_min, x_max, y_max}; }

    // The image's part of a tile; empty for a tile outside the image.
    rectangle part_in_tile(int32_t tile) const
    {
        const int32_t left = tile % tiles_across() * tile_width - x_offset;
        const int32_t top = tile / tiles_across() * tile_height - y_offset;
        return {std::max(left, x_min), std::max(top, y_min), std::min(left + tile_width - 1, x_max),
                std::min(top + tile_height - 1, y_max)};
    }

    bool is_painted(int32_t x, int32_t y) const
    {
        for (const rectangle& r : painted) {
            if (r.holds(x, y)) return true;
        }
        return false;
    }
    // Colour bytes of a pixel; a mask has the first one only.
    std::array<uint8_t, 4> colour(int32_t x, int32_t y) const
    {
        if (!is_painted(x, y)) return {};
        const uint32_t mixed = pattern(x, y);
        return {static_cast<uint8_t>(mixed | 1U), static_cast<uint8_t>(mixed >> 8U), static_cast<uint8_t>(mixed >> 16U),
                static_cast<uint8_t>(mixed >> 24U)};
    }
    uint8_t alpha(int32_t x, int32_t y) const
    {
        return is_painted(x, y) ? static_cast<uint8_t>((pattern(y, x) >> 12U) | 1U) : uint8_t{0};
    }
    uint32_t colour_word(int32_t x, int32_t y) const
    {
        uint32_t word = 0;
        const auto parts = colour(x, y);
        std::memcpy(&word, parts.data(), sizeof word);
        return word;
    }

    // Pixels of one line, or of one column, as a host's flat buffers hold them.
    bytes colour_line(int32_t y, int32_t first, int32_t last) const
    {
        return run(first, last, [=, this](int32_t x) { return colour(x, y); });
    }
    bytes alpha_line(int32_t y, int32_t first, int32_t last) const
    {
        bytes line;
        for (int32_t x = first; x <= last; ++x) line.push_back(alpha(x, y));
        return line;
    }
    bytes colour_column(int32_t x, int32_t first, int32_t last) const
    {
        return run(first, last, [=, this](int32_t y) { return colour(x, y); });
    }
    bytes alpha_column(int32_t x, int32_t first, int32_t last) const
    {
        bytes column;
        for (int32_t y = first; y <= last; ++y) column.push_back(alpha(x, y));
        return column;
    }

    // A new canvas of this shape, kept at close, without a pixel.
    int32_t create(const std::string& path) const
    {
        const int32_t canvas = canvas_new(path.c_str(), kind, x_min, y_min, x_max, y_max, x_offset, y_offset);
        EXPECT_GE(canvas, 0);
        EXPECT_EQ(cv_mark_canvas_save(canvas), 0);
        return canvas;
    }
    // The rectangles, line by line from top to bottom.
    void store(int32_t canvas) const
    {
        for (const rectangle& r : painted) {
            for (int32_t y = r.top; y <= r.bottom; ++y) {
                ASSERT_EQ(cv_storeline(canvas, colour_line(y, r.left, r.right).data(),
                                       alpha_line(y, r.left, r.right).data(), y, r.left, r.right),
                          0);
            }
        }
    }

    // Whole when it is small; else its corners, its middle and a thin line across.
    painting with_pattern() const
    {
        painting result = *this;
        if (int64_t{width()} * height() <= 1'200'000 && width() <= 2000) {
            result.painted = {bounds()};
            return result;
        }
        constexpr int32_t side = 270;
        const int32_t across = std::min(side, width()) - 1;
        const int32_t down = std::min(side, height()) - 1;
        const int32_t x_middle = x_min + (width() - across) / 2;
        const int32_t y_middle = y_min + (height() - down) / 2;
        for (const int32_t x : {x_min, x_middle, x_max - across}) {
            for (const int32_t y : {y_min, y_middle, y_max - down})
                result.painted.push_back({x, y, x + across, y + down});
        }
        return result;
    }

private:
    static uint32_t pattern(int32_t x, int32_t y)
    {
        uint32_t mixed = static_cast<uint32_t>(x) * 0x9E3779B1U + static_cast<uint32_t>(y) * 0x85EBCA77U + 12345U;
        mixed ^= mixed >> 15U;
        mixed *= 0x2C1B3C6DU;
        return mixed ^ (mixed >> 13U);
    }
    template <class Colour> bytes run(int32_t first, int32_t last, Colour colour_at) const
    {
        bytes result;
        result.reserve(static_cast<size_t>(std::max(last - first + 1, 0)) * pixel_bytes());
        for (int32_t i = first; i <= last; ++i) {
            const auto parts = colour_at(i);
            result.insert(result.end(), parts.begin(), parts.begin() + static_cast<std::ptrdiff_t>(pixel_bytes()));
        }
        return result;
    }
};

inline std::ostream& operator<<(std::ostream& out, const painting& p)
{
    return out << (p.is_picture() ? "picture " : "mask ") << p.width() << " x " << p.height() << " from " << p.x_min
               << "," << p.y_min << " offset " << p.x_offset << "," << p.y_offset;
}

// A buffer between guard bytes, filled with one value.
class guarded_buffer {
public:
    explicit guarded_buffer(size_t size, uint8_t fill = 0xA5) : memory_(size + 2 * guard_bytes, fill), size_(size)
    {
        std::fill_n(memory_.begin(), guard_bytes, guard);
        std::fill_n(memory_.rbegin(), guard_bytes, guard);
    }

    uint8_t* data() { return memory_.data() + guard_bytes; }
    size_t size() const { return size_; }
    bytes contents() const
    {
        const auto start = memory_.begin() + static_cast<std::ptrdiff_t>(guard_bytes);
        return {start, start + static_cast<std::ptrdiff_t>(size_)};
    }
    bool guards_are_intact() const
    {
        const auto is_guard = [](uint8_t byte) { return byte == guard; };
        const auto edge = static_cast<std::ptrdiff_t>(guard_bytes);
        return std::all_of(memory_.begin(), memory_.begin() + edge, is_guard) &&
               std::all_of(memory_.end() - edge, memory_.end(), is_guard);
    }

private:
    static constexpr size_t guard_bytes = 8192;
    static constexpr uint8_t guard = 0x5C;

    bytes memory_;
    size_t size_;
};

// Equal, or where they first differ: two images in a failure message would be of no use.
inline ::testing::AssertionResult same_bytes(const bytes& found, const bytes& expected)
{
    if (found.size() != expected.size())
        return ::testing::AssertionFailure() << found.size() << " bytes instead of " << expected.size();
    const auto [f, e] = std::mismatch(found.begin(), found.end(), expected.begin());
    if (f == found.end()) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "byte " << f - found.begin() << " is " << int{*f} << " instead of "
                                         << int{*e};
}

// Tiles of another shape, configured before the library starts and for as long as this lives.
class tile_shape {
public:
    tile_shape(int32_t width, int32_t height)
    {
        iocache_host_set_number(width_item, width);
        iocache_host_set_number(height_item, height);
    }
    ~tile_shape()
    {
        iocache_host_set_text(width_item, nullptr);
        iocache_host_set_text(height_item, nullptr);
    }
    tile_shape(const tile_shape&) = delete;
    tile_shape& operator=(const tile_shape&) = delete;

private:
    static constexpr int32_t width_item = 47;
    static constexpr int32_t height_item = 48;
};

// The library's own visualisation buffers as a whole.
inline bytes own_picture_buffer()
{
    return {cv_visu_pic, cv_visu_pic + sizeof cv_visu_pic};
}
inline bytes own_mask_buffer()
{
    return {cv_visu_mask, cv_visu_mask + sizeof cv_visu_mask};
}
inline void fill_own_buffers(uint8_t value)
{
    std::memset(cv_visu_pic, value, sizeof cv_visu_pic);
    std::memset(cv_visu_mask, value, sizeof cv_visu_mask);
}

// Tiles in memory that a client has not given back; the library must be idle.
inline int locked_tiles()
{
    int count = 0;
    for (const cv_tile* tile = first_tile; tile != nullptr; tile = tile->next) count += tile->locked != 0 ? 1 : 0;
    return count;
}

}  // namespace iocache_test

#endif
