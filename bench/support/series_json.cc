// The median is written for readers; back comes what it was made of.
#include "bench/support/series_json.h"

#include <algorithm>

namespace iocache_bench {

nlohmann::ordered_json as_json(const series& each)
{
    const auto [least, most] = std::ranges::minmax(each.samples);
    return {{"name", each.name},
            {"unit", each.unit_name},
            {"more_is_better", each.more_is_better},
            {"median", median(each.samples)},
            {"least", least},
            {"most", most},
            {"samples", each.samples}};
}

series series_of(const nlohmann::ordered_json& text)
{
    return {text.at("name"), text.at("unit"), text.at("more_is_better"), text.at("samples")};
}

}  // namespace iocache_bench
