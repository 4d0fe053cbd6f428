#include "detail.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "screen_colour.h"

namespace {

using namespace paint;

constexpr size_t row_bytes = detail_side * rgba_bytes;
constexpr int32_t coarsest_level = 8;

void sample_pixel(const pixel_line& line, size_t pixel, bool is_picture, std::span<uint8_t, rgba_bytes> rgba)
{
    if (is_picture) {
        const std::span colours(line.colour);
        picture_to_rgba(colours.subspan(pixel * colour_bytes).first<colour_bytes>(), line.alpha[pixel], rgba);
    } else {
        mask_to_rgba(line.colour[pixel], rgba);
    }
}

}  // namespace

int32_t paint::detail_level(double zoom)
{
    return std::clamp(static_cast<int32_t>(std::floor(-std::log2(zoom))), 0, coarsest_level);
}

paint::area paint::detail_place::canvas_pixels(const area& canvas) const
{
    const int32_t length = detail_side * step();
    const int32_t left = canvas.left + column * length;
    const int32_t top = canvas.top + row * length;
    return {left, top, left + length - 1, top + length - 1};
}

paint::area paint::detail_squares(int32_t level, const area& pixels, const area& canvas)
{
    const area part = pixels.common_with(canvas);
    if (part.is_empty()) return {};
    const int32_t length = detail_side << level;
    return {(part.left - canvas.left) / length, (part.top - canvas.top) / length, (part.right - canvas.left) / length,
            (part.bottom - canvas.top) / length};
}

paint::detail::detail(detail_place place) : place_(place), rgba_(row_bytes * detail_side) {}

bool paint::detail::sample_next_line(const document& from)
{
    const int32_t line = next_line_++;
    const area canvas = from.bounds();
    const area pixels = place_.canvas_pixels(canvas);
    const int32_t y = pixels.top + line * place_.step();
    if (y > canvas.bottom) return true;
    const int32_t x_last = std::min(pixels.right, canvas.right);
    if (!from.read_line(y, pixels.left, x_last, line_)) return false;

    auto target = std::span(rgba_).subspan(static_cast<size_t>(line) * row_bytes);
    for (int32_t x = pixels.left; x <= x_last; x += place_.step(), target = target.subspan(rgba_bytes))
        sample_pixel(line_, static_cast<size_t>(x - pixels.left), from.is_picture(), target.first<rgba_bytes>());
    return true;
}

void paint::detail::make_stale(const area& pixels, const area& canvas)
{
    const area own = place_.canvas_pixels(canvas);
    const area part = pixels.common_with(own);
    if (part.is_empty()) return;
    const int32_t first = (part.top - own.top) / place_.step();
    const int32_t last = (part.bottom - own.top) / place_.step();
    last_line_ = is_complete() ? last : std::max(last_line_, last);
    next_line_ = std::min(next_line_, first);
}
