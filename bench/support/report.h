// What a benchmark found, as a table for a person and as JSON for the scripts.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "bench/support/measure.h"

namespace iocache_bench {

struct report {
    std::string workload;                                  // W1
    std::string program;                                   // who was measured: iocache, gegl, ...
    std::string mode;                                      // in-line, process; empty for peers
    std::vector<std::pair<std::string, double>> settings;  // cache_mib, side
    std::string remark;                                    // settings of a peer, in words
    std::vector<series> results;
    bool pixels_are_right = false;

    void add(std::vector<series> more);
};

// A line a series: name, median, least and most. To standard output.
void print_table(const report& found);
// Everything, samples included, into a file; "-" is standard output.
void write_json(const report& found, const std::string& path);

}  // namespace iocache_bench
