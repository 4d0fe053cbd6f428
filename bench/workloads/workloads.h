// The workloads, one function each. Every one starts the library, measures it and its physical limit in turn, checks
// the pixels that came out, and ends the library.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/support/library.h"
#include "bench/support/report.h"

namespace iocache_bench {

// How much of everything. Small sizes are for trying the programs, not for figures.
struct sizes {
    int32_t side = 16'384;          // of the picture
    int32_t region = 4096;          // side of what is in memory in W1 to W4
    int64_t cached_mib = 2048;      // cache of W1 to W4 and W11
    int64_t out_of_core_mib = 256;  // cache of the others
    int32_t random_pixels = 2'000'000;
    int32_t missed_pixels = 5000;
    int32_t starts_a_run = 21;
    int32_t stroke_side = 20'000;
    int32_t stamps = 1000;
    int32_t photograph_side = 10'000;

    static sizes small();
};

struct options {
    mode how = mode::in_line;
    int runs = 5;
    int64_t cache_mib = 0;          // 0: what the workload has
    std::filesystem::path scratch;  // where the files go
    std::filesystem::path self;     // this program, to start anew
    std::filesystem::path tool;     // the iocache command, for W12
    sizes amounts;

    [[nodiscard]] library_settings library(int64_t usual_mib) const
    {
        return {how, cache_mib > 0 ? cache_mib : usual_mib};
    }
};

void read_cached_rows(const options& wanted, report& found);     // W1
void write_cached_rows(const options& wanted, report& found);    // W2
void read_cached_columns(const options& wanted, report& found);  // W3
void read_random_pixels(const options& wanted, report& found);   // W4
void read_all_rows(const options& wanted, report& found);        // W5
void write_all_rows(const options& wanted, report& found);       // W6
void read_missed_pixels(const options& wanted, report& found);   // W7
void start_and_read(const options& wanted, report& found);       // W8
void make_reduced_image(const options& wanted, report& found);   // W9
void measure_peak_memory(const options& wanted, report& found);  // W10
void paint_stroke(const options& wanted, report& found);         // W11

// What this program does when it is started by itself: one start of W8 or W10, told on standard output.
inline constexpr const char* child_option = "--child";
int run_child(const std::vector<std::string>& arguments);

}  // namespace iocache_bench
