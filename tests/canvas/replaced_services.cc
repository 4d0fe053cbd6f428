#include "tests/canvas/replaced_services.h"

#include "iocache/platform/platform.h"
#include "tests/support/real_function.h"

namespace iocache_test::services {

thread_local int failing_allocation = 0;
thread_local std::vector<int64_t> allocations;
std::optional<std::time_t> clock;

namespace {

thread_local bool is_counting = false;

}  // namespace

void start_counting(int failing)
{
    allocations.clear();
    allocations.reserve(64);
    failing_allocation = failing;
    is_counting = true;
}

void stop_counting()
{
    is_counting = false;
    failing_allocation = 0;
}

}  // namespace iocache_test::services

namespace services = iocache_test::services;
using iocache_test::real;

extern "C" {

void* platform_allocate(int64_t bytes)
{
    static auto* const forward = real<decltype(platform_allocate)>("platform_allocate");
    if (services::is_counting) {
        services::allocations.push_back(bytes);
        if (static_cast<int>(services::allocations.size()) == services::failing_allocation) return nullptr;
    }
    return forward(bytes);
}

[[gnu::visibility("default")]] std::time_t time(std::time_t* result) noexcept
{
    static auto* const forward = real<std::time_t(std::time_t*)>("time");
    const std::time_t now = services::clock ? *services::clock : forward(nullptr);
    if (result != nullptr) *result = now;
    return now;
}

}  // extern "C"
