// Series as JSON and back.
#pragma once

#include <nlohmann/json.hpp>

#include "bench/support/measure.h"

namespace iocache_bench {

nlohmann::ordered_json as_json(const series& each);
series series_of(const nlohmann::ordered_json& text);

}  // namespace iocache_bench
