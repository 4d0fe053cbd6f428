// Whole blocks first: most are the same.
#include "tools/canvas/pixel_differences.h"

#include <algorithm>

#include <fmt/format.h>

namespace iocache::tools {

namespace {

std::string pixel_text(const canvas_block& block, std::size_t pixel)
{
    const std::size_t bytes = block.colour.size() / block.place.pixels();
    std::string text =
        fmt::format("{}", fmt::join(block.colour.begin() + static_cast<std::ptrdiff_t>(pixel * bytes),
                                    block.colour.begin() + static_cast<std::ptrdiff_t>((pixel + 1) * bytes), " "));
    if (!block.alpha.empty()) text += fmt::format(" alpha {}", block.alpha[pixel]);
    return text;
}

}  // namespace

void pixel_differences::compare(const canvas_block& one, const canvas_block& other)
{
    if (one.colour == other.colour && one.alpha == other.alpha) return;
    const std::size_t bytes = one.colour.size() / one.place.pixels();
    for (std::size_t pixel = 0; pixel < one.place.pixels(); ++pixel) {
        const auto* const colour = &one.colour[pixel * bytes];
        const bool same = std::equal(colour, colour + bytes, &other.colour[pixel * bytes]) &&
                          (other.alpha.empty() || one.alpha[pixel] == other.alpha[pixel]);
        if (!same) add(one, other, pixel);
    }
}

void pixel_differences::add(const canvas_block& one, const canvas_block& other, std::size_t pixel)
{
    const auto width = static_cast<std::size_t>(one.place.width);
    const std::int64_t x = one.place.x + static_cast<std::int64_t>(pixel % width);
    const std::int64_t y = one.place.y + static_cast<std::int64_t>(pixel / width);
    for (const rectangle& exception : exceptions_) {
        if (exception.contains(x, y)) return;
    }
    if (note_) note_(x, y);
    ++count_;
    if (count_ > 1 && (y > first_y_ || (y == first_y_ && x > first_x_))) return;
    first_x_ = x;
    first_y_ = y;
    first_text_ = fmt::format("({}, {}): {} has {}, {} {}", x, y, one_name_, pixel_text(one, pixel), other_name_,
                              pixel_text(other, pixel));
}

}  // namespace iocache::tools
