// The pixels of every benchmark: random bytes that cost nothing to make.
//
// Row y is a stretch of one long random line, begun at a place that depends on y. So neighbouring pixels and rows
// differ, a row is at hand without work, and whoever reads pixel (x, y) anywhere can tell whether it is the right one.
#pragma once

#include <cstdint>
#include <vector>

namespace iocache_bench {

class pattern {
public:
    static constexpr int32_t colour_bytes = 4;

    explicit pattern(int32_t width);

    // `width` pixels of a row; rows after `turn` (see W2) stand for another picture.
    [[nodiscard]] const uint8_t* colour_row(int32_t y, int32_t turn = 0) const
    {
        return colour_.data() + colour_bytes * start_of(y + turn);
    }
    [[nodiscard]] const uint8_t* alpha_row(int32_t y, int32_t turn = 0) const
    {
        return alpha_.data() + start_of(y + turn);
    }
    [[nodiscard]] uint32_t colour(int32_t x, int32_t y) const;
    [[nodiscard]] uint8_t alpha(int32_t x, int32_t y) const { return alpha_row(y)[x]; }

    // Whether these are pixels x_first .. x_first + pixels - 1 of row y.
    [[nodiscard]] bool has(int32_t x_first, int32_t y, int32_t pixels, const uint8_t* colour, const uint8_t* alpha,
                           int32_t turn = 0) const;

    [[nodiscard]] int32_t width() const { return width_; }

    // Where a row begins in the long line, pixels; below line_pixels() - width().
    static int64_t start_of(int32_t y) { return int64_t{start_step} * ((int64_t{stride_of_rows} * y) & (starts - 1)); }
    [[nodiscard]] int64_t line_pixels() const { return static_cast<int64_t>(alpha_.size()); }

private:
    // Rows begin at multiples of 64 bytes, as rows that an application allocates do.
    static constexpr int32_t starts = 256;
    static constexpr int32_t start_step = 64;
    static constexpr int32_t stride_of_rows = 37;  // odd, so that all starts are used

    int32_t width_;
    std::vector<uint8_t> colour_;
    std::vector<uint8_t> alpha_;
};

}  // namespace iocache_bench
