// Time and what is made of it: runs of several contenders in turn, medians and percentiles.
//
// A contender is one way to do a workload: this library, or its physical limit. They alternate, so that whatever else
// happens on the machine meets all of them alike; the first round of each is a warm-up and does not count.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace iocache_bench {

class stopwatch {
public:
    [[nodiscard]] double seconds() const { return std::chrono::duration<double>(clock::now() - start_).count(); }

private:
    using clock = std::chrono::steady_clock;
    clock::time_point start_ = clock::now();
};

// The compiler may assume nothing about memory across this.
inline void keep_memory()
{
    asm volatile("" : : : "memory");
}

// Of values in any order. part: 0.5 the median, 0.99 the 99th percentile. Of none: 0.
double percentile(std::vector<double> values, double part);
double median(std::vector<double> values);

// What the seconds of one run are turned into.
struct unit {
    std::string name;
    bool more_is_better = false;
    std::function<double(double seconds)> of_seconds;

    static unit gigabytes_a_second(double bytes);
    static unit nanoseconds_each(double count);
    static unit milliseconds();
    static unit seconds();
};

// Samples of one contender, one a run, in the unit's terms.
struct series {
    std::string name;
    std::string unit_name;
    bool more_is_better = false;
    std::vector<double> samples;
};

struct contender {
    std::string name;
    std::function<double()> run;  // does the workload once and tells its seconds; what else it does is not counted
};

// A disk's speed moves far more from run to run than a memory's: so many times as many runs where it counts.
inline constexpr int runs_of_a_disk = 3;

std::vector<series> measure_in_turn(const std::vector<contender>& contenders, int runs, const unit& terms);

}  // namespace iocache_bench
