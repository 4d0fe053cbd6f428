// Medians and percentiles, and the order of the runs.
#include "bench/support/measure.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace iocache_bench {

double percentile(std::vector<double> values, double part)
{
    if (values.empty()) return 0;
    std::ranges::sort(values);
    const double place = part * static_cast<double>(values.size() - 1);
    const auto below = static_cast<std::size_t>(std::floor(place));
    const std::size_t above = std::min(below + 1, values.size() - 1);
    return values[below] + (values[above] - values[below]) * (place - std::floor(place));
}

double median(std::vector<double> values)
{
    return percentile(std::move(values), 0.5);
}

unit unit::gigabytes_a_second(double bytes)
{
    return {"GB/s", true, [bytes](double seconds) { return bytes / seconds / 1e9; }};
}

unit unit::nanoseconds_each(double count)
{
    return {"ns", false, [count](double seconds) { return seconds / count * 1e9; }};
}

unit unit::milliseconds()
{
    return {"ms", false, [](double seconds) { return seconds * 1e3; }};
}

unit unit::seconds()
{
    return {"s", false, [](double seconds) { return seconds; }};
}

std::vector<series> measure_in_turn(const std::vector<contender>& contenders, int runs, const unit& terms)
{
    std::vector<series> results;
    results.reserve(contenders.size());
    for (const contender& each : contenders) results.push_back({each.name, terms.name, terms.more_is_better, {}});
    for (int run = 0; run <= runs; ++run) {
        for (std::size_t i = 0; i < contenders.size(); ++i) {
            const double seconds = contenders[i].run();
            if (run > 0) results[i].samples.push_back(terms.of_seconds(seconds));
        }
    }
    return results;
}

}  // namespace iocache_bench
