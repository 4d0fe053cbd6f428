// How long the last pointer events took, from their arrival to the updated reduced image.
#ifndef IOCACHE_EXAMPLES_PAINT_LATENCY_H
#define IOCACHE_EXAMPLES_PAINT_LATENCY_H

#include <chrono>
#include <cstddef>
#include <vector>

namespace paint {

class latency_recorder {
public:
    using clock = std::chrono::steady_clock;

    // Keeps the newest `most` times.
    explicit latency_recorder(size_t most) : most_(most) {}

    void add(clock::duration taken);
    void add_since(clock::time_point start) { add(clock::now() - start); }

    [[nodiscard]] size_t count() const { return times_.size(); }
    // Of the kept times; 0 without any.
    [[nodiscard]] double median_milliseconds() const;
    [[nodiscard]] double worst_milliseconds() const;

private:
    size_t most_;
    size_t next_ = 0;  // where the oldest time stands once all places are taken
    std::vector<clock::duration> times_;
};

}  // namespace paint

#endif
