// W1 to W4: a region that fits the peer's cache.
#include <random>

#include "bench/peers/peer_bench.h"
#include "bench/support/random.h"

namespace iocache_bench {

void peer_bench::read_rows()
{
    found_.pixels_are_right = rows_are_right(wanted_.region);
    found_.add(
        measure_in_turn({{"library", [&] { return time_rows(wanted_.region); }}}, wanted_.runs, rate(wanted_.region)));
}

void peer_bench::write_rows()
{
    found_.pixels_are_right = rows_are_right(wanted_.region);
    int32_t turn = 0;
    const auto store = [&](int32_t with_turn) {
        const stopwatch time;
        for (int32_t y = 0; y < wanted_.region; ++y) {
            candidate_.put_row(0, y, wanted_.region, rows_.row(y, with_turn), rows_.plane_bytes());
            keep_memory();
        }
        return time.seconds();
    };
    found_.add(measure_in_turn({{"library", [&] { return store(++turn); }}}, wanted_.runs, rate(wanted_.region)));
    found_.pixels_are_right = found_.pixels_are_right && rows_are_right(wanted_.region, turn);
    store(0);  // the picture has its own pixels again
}

void peer_bench::read_columns()
{
    const auto get = [&](int32_t x) {
        candidate_.get_column(x, 0, wanted_.region, buffer_.data(), rows_.plane_bytes());
    };
    found_.pixels_are_right = true;
    for (int32_t x = 0; x < wanted_.region; x += wanted_.region / 16) {
        get(x);
        for (int32_t y = 0; y < wanted_.region; ++y) {
            if (!buffer_is(x, y, 1, 0, y)) found_.pixels_are_right = false;
        }
    }
    const auto columns = [&] {
        const stopwatch time;
        for (int32_t x = 0; x < wanted_.region; ++x) {
            get(x);
            keep_memory();
        }
        return time.seconds();
    };
    found_.add(measure_in_turn({{"library", columns}}, wanted_.runs, rate(wanted_.region)));
}

void peer_bench::read_random_pixels()
{
    found_.pixels_are_right = rows_are_right(wanted_.region);
    std::mt19937 random = repeatable_random();
    std::uniform_int_distribution<int32_t> coordinate(0, wanted_.region - 1);
    std::vector<place> places(static_cast<size_t>(wanted_.random_pixels));
    uint32_t expected = 0;
    for (place& each : places) {
        each = {coordinate(random), coordinate(random)};
        expected += expected_at(each);
    }
    const auto ask = [&] {
        uint8_t five_bytes[bands] = {};
        uint32_t sum = 0;
        const stopwatch time;
        for (const place& each : places) {
            candidate_.get_pixel(each.x, each.y, five_bytes);
            sum += sum_of(five_bytes);
        }
        const double seconds = time.seconds();
        found_.pixels_are_right = found_.pixels_are_right && sum == expected;
        return seconds;
    };
    found_.add(
        measure_in_turn({{"library", ask}}, wanted_.runs, unit::nanoseconds_each(static_cast<double>(places.size()))));
}

}  // namespace iocache_bench
