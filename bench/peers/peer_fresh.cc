// W8 and W10: every sample in a process of its own.
#include "bench/peers/peer_bench.h"
#include "bench/support/child.h"
#include "bench/support/fail.h"

namespace iocache_bench {

void peer_bench::make_picture_in_child()
{
    in_child([this] {
        start_out_of_core();
        make_picture();
        return std::vector<series>{};
    });
}

// What a fresh process needs to have started the peer, opened the picture and read a pixel.
void peer_bench::start_and_read()
{
    make_picture_in_child();
    series found{"library", "ms", false, {}};
    for (int i = 0; i < wanted_.starts_a_run * wanted_.runs; ++i) {
        const std::vector<series> one = in_child([&] {
            uint8_t five_bytes[bands] = {};
            const stopwatch time;
            start_out_of_core();
            candidate_.open(path_, false);
            candidate_.get_pixel(0, 0, five_bytes);
            const double milliseconds = time.seconds() * 1e3;
            if (sum_of(five_bytes) != expected_at({0, 0})) fail("a wrong pixel");
            return std::vector<series>{{"library", "ms", false, {milliseconds}}};
        });
        found.samples.push_back(one.at(0).samples.at(0));
    }
    found_.add({found});
    found_.pixels_are_right = true;
}

void peer_bench::measure_peak_memory()
{
    if (candidate_.keeps_pictures()) make_picture_in_child();
    series found{"library", "MiB", false, {}};
    for (int run = 0; run < wanted_.runs; ++run) {
        const std::vector<series> one = in_child([&] {
            start_out_of_core();
            if (!candidate_.keeps_pictures()) make_picture();
            candidate_.open(path_, false);
            time_rows(wanted_.side);
            if (!buffer_is(0, wanted_.side - 1, wanted_.side)) fail("a wrong row");
            return std::vector<series>{{"library", "MiB", false, {highest_resident_memory()}}};
        });
        found.samples.push_back(one.at(0).samples.at(0));
    }
    found_.add({found});
    found_.pixels_are_right = true;
}

}  // namespace iocache_bench
