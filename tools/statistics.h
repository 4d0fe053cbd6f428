// What a command cost and what the cache did meanwhile, for --stats.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "tools/canvas/open_canvas.h"
#include "tools/canvas/session.h"

namespace iocache::tools {

class statistics {
public:
    // The clock runs from here.
    explicit statistics(bool wanted) : wanted_(wanted) {}

    // Notes the state of the cache; call it while the canvas is open and everything is done.
    void note_cache(const open_canvas& canvas, const session& running);
    // Prints all of it to standard output, if it is wanted.
    void print() const;

private:
    using clock = std::chrono::steady_clock;
    bool wanted_;
    clock::time_point start_ = clock::now();
    std::string cache_;  // lines about the cache
};

}  // namespace iocache::tools
