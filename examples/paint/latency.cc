#include "latency.h"

#include <algorithm>

namespace {

double milliseconds(paint::latency_recorder::clock::duration taken)
{
    return std::chrono::duration<double, std::milli>(taken).count();
}

}  // namespace

void paint::latency_recorder::add(clock::duration taken)
{
    if (times_.size() < most_) {
        times_.push_back(taken);
        return;
    }
    times_[next_] = taken;
    next_ = (next_ + 1) % most_;
}

double paint::latency_recorder::median_milliseconds() const
{
    if (times_.empty()) return 0.0;
    std::vector<clock::duration> sorted = times_;
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::nth_element(sorted.begin(), middle, sorted.end());
    return milliseconds(*middle);
}

double paint::latency_recorder::worst_milliseconds() const
{
    return times_.empty() ? 0.0 : milliseconds(*std::ranges::max_element(times_));
}
