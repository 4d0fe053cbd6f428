// Full pixels for the screen: squares of 256 x 256 samples of the canvas, every pixel of it or every second, fourth ...
// one. A square is filled line by line, so that a frame can stop in the middle of one. No window is needed here.
#ifndef IOCACHE_EXAMPLES_PAINT_DETAIL_H
#define IOCACHE_EXAMPLES_PAINT_DETAIL_H

#include <compare>
#include <cstdint>
#include <vector>

#include "area.h"
#include "document.h"

namespace paint {

inline constexpr int32_t detail_side = 256;

// The coarsest samples still as fine as the screen at this zoom: every 2^level-th pixel.
int32_t detail_level(double zoom);

// A square of one level, counted from the upper left corner of the canvas.
struct detail_place {
    int32_t level = 0, column = 0, row = 0;

    auto operator<=>(const detail_place&) const = default;  // NOLINT(modernize-use-nullptr): a false alarm
    [[nodiscard]] int32_t step() const { return 1 << level; }
    // The canvas pixels it stands for; may reach beyond the canvas.
    [[nodiscard]] area canvas_pixels(const area& canvas) const;
};

// The squares of a level that these canvas pixels lie in, as columns and rows.
area detail_squares(int32_t level, const area& pixels, const area& canvas);

class detail {
public:
    explicit detail(detail_place place);

    [[nodiscard]] const detail_place& place() const { return place_; }
    [[nodiscard]] const std::vector<uint8_t>& rgba() const { return rgba_; }
    // Lines that have still to be sampled.
    [[nodiscard]] bool is_complete() const { return next_line_ > last_line_; }

    // Samples the next line. False when the canvas could not be read; the line counts as done then.
    bool sample_next_line(const document& from);
    // These canvas pixels have changed.
    void make_stale(const area& pixels, const area& canvas);

private:
    detail_place place_;
    int32_t next_line_ = 0;
    int32_t last_line_ = detail_side - 1;
    std::vector<uint8_t> rgba_;
    pixel_line line_;
};

}  // namespace paint

#endif
