// One peer, its picture, and the workloads done with them.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "bench/peers/peer.h"
#include "bench/support/measure.h"
#include "bench/support/report.h"

namespace iocache_bench {

struct peer_options {
    std::string workload;
    std::string json;
    std::filesystem::path scratch;
    int runs = 5;
    int32_t side = 16'384;
    int32_t region = 4096;
    int64_t cached_mib = 2048;
    int64_t out_of_core_mib = 256;
    int32_t random_pixels = 100'000;  // fewer than the library's: what counts is the time of one
    int32_t missed_pixels = 5000;
    int starts_a_run = 5;

    // Sizes to try the program with.
    void make_small();
};

class peer_bench {
public:
    peer_bench(peer& candidate, const peer_options& wanted, report& found);

    // Does the workload that is wanted; results and whether the pixels were right go into the report.
    void run();

private:
    struct place {
        int32_t x, y;
    };

    peer& candidate_;
    const peer_options& wanted_;
    report& found_;
    pattern pixels_;
    peer_rows rows_;
    std::filesystem::path path_;
    std::vector<uint8_t> buffer_;

    // In memory: peer_cached.cc.
    void read_rows();
    void write_rows();
    void read_columns();
    void read_random_pixels();
    // Out of core: peer_out_of_core.cc.
    void read_all_rows();
    void write_all_rows();
    void read_missed_pixels();
    void make_reduced_image();
    // In fresh processes: peer_fresh.cc.
    void start_and_read();
    void measure_peak_memory();

    void make_picture();
    void make_picture_in_child();
    void start_out_of_core();
    void get_row(int32_t y, int32_t count);
    double time_rows(int32_t count);
    // Byte `band` of the i-th pixel of a row or of the buffer.
    [[nodiscard]] int64_t byte_place(int64_t i, int64_t band) const;
    // Whether `count` pixels of the buffer, from the `first` on, are those of row y from x on.
    [[nodiscard]] bool buffer_is(int32_t x, int32_t y, int32_t count, int32_t turn = 0, int64_t first = 0) const;
    [[nodiscard]] bool rows_are_right(int32_t count, int32_t turn = 0);
    [[nodiscard]] uint32_t expected_at(const place& at) const;
    [[nodiscard]] bool is_sampled(const std::vector<uint8_t>& image) const;
    [[nodiscard]] bool is_sampled_at(const std::vector<uint8_t>& image, int32_t inside) const;
    [[nodiscard]] static uint32_t sum_of(const uint8_t* five_bytes);
    static unit rate(int32_t side);
};

}  // namespace iocache_bench
