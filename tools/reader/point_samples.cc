// Both are made by adding up, not by multiplying: sums of the same order round the same way.
#include "tools/reader/point_samples.h"

#include <algorithm>

namespace iocache::tools {

std::vector<std::int32_t> sampled_coordinates(std::int32_t first, std::int32_t length, double scale,
                                              std::int64_t places)
{
    std::vector<std::int32_t> coordinates;
    double threshold = 0.0;
    for (std::int32_t offset = 0; offset < length; ++offset) {
        if (static_cast<std::int64_t>(coordinates.size()) == places) break;
        if (threshold > static_cast<double>(offset)) continue;
        coordinates.push_back(first + offset);
        threshold += scale;
    }
    return coordinates;
}

sampled_axes::sampled_axes(const file_map& map)
    : columns(sampled_coordinates(map.bounds.x, map.bounds.width, map.scale, map.reduced_width)),
      rows(sampled_coordinates(map.bounds.y, map.bounds.height, map.scale, map.reduced_height))
{}

place_range places_within(std::span<const std::int32_t> sampled, std::int64_t first, std::int64_t end)
{
    const auto from = std::ranges::lower_bound(sampled, first);
    const auto to = std::ranges::lower_bound(sampled, end);
    return {static_cast<std::size_t>(from - sampled.begin()), static_cast<std::size_t>(to - sampled.begin())};
}

icon_axes::icon_axes(const file_map& map)
{
    constexpr double rounding_guard = 0.01;
    if (map.icon_width < 1 || map.icon_height < 1) return;
    // The same step serves columns and rows.
    const double step = map.reduced_height < map.reduced_width
                            ? static_cast<double>(map.reduced_width) / static_cast<double>(map.icon_width)
                            : static_cast<double>(map.reduced_height) / static_cast<double>(map.icon_height);
    double sum = 0.0;
    for (std::int64_t i = 0; i < std::max(map.icon_width, map.icon_height); ++i) {
        const auto source = static_cast<std::int32_t>(sum + rounding_guard);
        sum += step;
        if (i < map.icon_width && source < map.reduced_width) columns.push_back(source);
        if (i < map.icon_height && source < map.reduced_height) rows.push_back(source);
    }
}

}  // namespace iocache::tools
