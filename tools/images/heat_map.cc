// One picture pixel for a square of image pixels.
#include "tools/images/heat_map.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "tools/images/image_sink.h"

namespace iocache::tools {

namespace {

constexpr std::int32_t most_cells = 1024;  // in one direction
constexpr double ramps = 3.0;              // red, then green, then blue
constexpr double full = 255.0;
constexpr double least = 0.15;  // a single pixel can be seen

std::array<std::uint8_t, 3> heat(double share)
{
    std::array<std::uint8_t, 3> rgb{};
    if (share <= 0.0) return rgb;
    const double warmth = least + (1.0 - least) * std::sqrt(share);
    for (std::size_t i = 0; i < rgb.size(); ++i) {
        rgb[i] = static_cast<std::uint8_t>(std::clamp(warmth * ramps - static_cast<double>(i), 0.0, 1.0) * full);
    }
    return rgb;
}

}  // namespace

heat_map::heat_map(const rectangle& place)
    : place_(place),
      cell_side_((std::max(place.width, place.height) + most_cells - 1) / most_cells),
      width_((place.width + cell_side_ - 1) / cell_side_),
      height_((place.height + cell_side_ - 1) / cell_side_),
      counts_(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_))
{}

void heat_map::add(std::int64_t x, std::int64_t y)
{
    const std::int64_t column = (x - place_.x) / cell_side_;
    const std::int64_t row = (y - place_.y) / cell_side_;
    ++counts_[static_cast<std::size_t>(row * width_ + column)];
}

double heat_map::share(std::int32_t column, std::int32_t row) const
{
    const std::int32_t wide = std::min(cell_side_, place_.width - column * cell_side_);
    const std::int32_t high = std::min(cell_side_, place_.height - row * cell_side_);
    const std::uint32_t count =
        counts_[static_cast<std::size_t>(row) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(column)];
    return static_cast<double>(count) / (static_cast<double>(wide) * high);
}

void heat_map::write(const std::string& path) const
{
    sink_description image;
    image.width = width_;
    image.height = height_;
    image.model = colour_model::rgb;
    png_sink sink(path, image);
    std::vector<std::uint8_t> line;
    for (std::int32_t row = 0; row < height_; ++row) {
        line.clear();
        for (std::int32_t column = 0; column < width_; ++column) {
            const auto rgb = heat(share(column, row));
            line.insert(line.end(), rgb.begin(), rgb.end());
        }
        sink.write_rows(line);
    }
    sink.finish();
}

}  // namespace iocache::tools
