#include "brush.h"

#include <algorithm>
#include <cmath>

#include "screen_colour.h"

namespace {

using namespace paint;

constexpr double pixel_centre = 0.5;
constexpr double narrowest_edge = 1.0;  // pixels: even a hard brush has no stairs

// Full inside, then down to nothing at the radius on an S-shaped curve.
class falloff {
public:
    explicit falloff(const brush& with)
        : radius_(with.radius),
          inner_(std::clamp(with.hardness * with.radius, 0.0, std::max(0.0, with.radius - narrowest_edge))),
          height_(std::clamp(with.opacity, 0.0, 1.0) * full)
    {}
    [[nodiscard]] uint8_t at(double distance) const
    {
        if (distance >= radius_) return 0;
        if (distance <= inner_) return static_cast<uint8_t>(std::lround(height_));
        const double t = (distance - inner_) / (radius_ - inner_);
        return static_cast<uint8_t>(std::lround(height_ * (1.0 - t * t * (3.0 - 2.0 * t))));
    }

private:
    double radius_, inner_, height_;
};

// `share` parts of the first, the rest of the second, of `whole` parts.
uint8_t mixed(uint32_t first, uint32_t second, uint32_t share, uint32_t whole)
{
    return static_cast<uint8_t>((first * share + second * (whole - share) + whole / 2) / whole);
}

}  // namespace

paint::area paint::stamp_area(const brush& with, double x, double y)
{
    const auto first = [&](double centre) { return static_cast<int32_t>(std::floor(centre - with.radius)); };
    const auto last = [&](double centre) { return static_cast<int32_t>(std::ceil(centre + with.radius)) - 1; };
    return {first(x), first(y), last(x), last(y)};
}

void paint::cover_row(const brush& with, double x, double y, int32_t row, int32_t x_first, std::span<uint8_t> coverage)
{
    const falloff edge(with);
    const double dy = row + pixel_centre - y;
    double dx = x_first + pixel_centre - x;
    for (uint8_t& covered : coverage) {
        covered = edge.at(std::sqrt(dx * dx + dy * dy));
        dx += 1.0;
    }
}

void paint::blend_picture(std::span<const uint8_t> coverage, const ink& what, std::span<uint8_t> colour,
                          std::span<uint8_t> alpha)
{
    for (size_t i = 0; i < coverage.size(); ++i) {
        if (coverage[i] == 0) continue;
        const uint32_t seen_below = product(alpha[i], full - uint32_t{coverage[i]});
        const uint32_t together = coverage[i] + seen_below;
        for (size_t k = 0; k < colour_bytes; ++k) {
            uint8_t& part = colour[i * colour_bytes + k];
            part = mixed(what.inks[k], part, coverage[i], together);
        }
        alpha[i] = static_cast<uint8_t>(together);
    }
}

void paint::blend_mask(std::span<const uint8_t> coverage, const ink& what, std::span<uint8_t> mask)
{
    for (size_t i = 0; i < coverage.size(); ++i) mask[i] = mixed(what.mask_value, mask[i], coverage[i], full);
}
