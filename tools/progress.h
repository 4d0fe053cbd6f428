// A bar that shows how far a command has come: on a terminal only, on standard error, wiped away at
// the end.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace iocache::tools {

class progress {
public:
    progress(std::string what, std::int64_t total);
    progress(const progress&) = delete;
    progress& operator=(const progress&) = delete;
    ~progress();

    void advance(std::int64_t amount);

private:
    using clock = std::chrono::steady_clock;
    std::string what_;
    std::int64_t total_;
    std::int64_t done_ = 0;
    bool shown_;
    clock::time_point next_drawing_ = clock::now();

    void draw() const;
};

}  // namespace iocache::tools
