// W5, W6, W7 and W9: a picture that is larger than the peer's cache.
#include <algorithm>
#include <numeric>
#include <random>

#include "bench/peers/peer_bench.h"
#include "bench/support/random.h"
#include "bench/support/raw_file.h"

namespace iocache_bench {

namespace {

constexpr double tail = 0.99;
constexpr int32_t reduced_side = 1024;

}  // namespace

void peer_bench::read_all_rows()
{
    found_.pixels_are_right = rows_are_right(wanted_.side);
    const auto warm = [&] { return time_rows(wanted_.side); };
    const auto cold = [&] {
        candidate_.close();
        raw_file(candidate_.file_of(path_), raw_file::purpose::read).forget_pages();
        candidate_.open(path_, false);
        return time_rows(wanted_.side);
    };
    found_.add(measure_in_turn({{"library", warm}}, wanted_.runs, rate(wanted_.side)));
    found_.add(measure_in_turn({{"library, cold", cold}}, wanted_.runs * runs_of_a_disk, rate(wanted_.side)));
}

void peer_bench::write_all_rows()
{
    const auto path = wanted_.scratch / ("written-" + candidate_.name() + candidate_.extension());
    std::filesystem::create_directories(wanted_.scratch);
    const auto write = [&](bool synchronise) {
        std::filesystem::remove(path);
        const stopwatch time;
        candidate_.write(path, wanted_.side, rows_);
        if (synchronise) raw_file(candidate_.file_of(path), raw_file::purpose::read).synchronise();
        return time.seconds();
    };
    found_.add(measure_in_turn({{"library", [&] { return write(false); }}}, wanted_.runs, rate(wanted_.side)));
    found_.add(measure_in_turn({{"library, with the final sync", [&] { return write(true); }}}, wanted_.runs,
                               rate(wanted_.side)));
    candidate_.open(path, false);
    found_.pixels_are_right = rows_are_right(wanted_.side);
    candidate_.close();
    std::filesystem::remove(path);
}

// A pixel in every tile, the tiles in a shuffled order, over and over.
void peer_bench::read_missed_pixels()
{
    found_.pixels_are_right = rows_are_right(wanted_.side);
    const int32_t across = wanted_.side / tile_side;
    std::vector<int32_t> tiles(static_cast<size_t>(across) * static_cast<size_t>(across));
    std::iota(tiles.begin(), tiles.end(), 0);
    std::mt19937 random = repeatable_random();
    std::ranges::shuffle(tiles, random);
    std::uniform_int_distribution<int32_t> inside(0, tile_side - 1);
    series medians{"library", "us", false, {}};
    series tails{"library p99", "us", false, {}};
    size_t next = 0;
    for (int run = 0; run <= wanted_.runs; ++run) {
        std::vector<double> times;
        for (int32_t i = 0; i < wanted_.missed_pixels; ++i) {
            const int32_t tile = tiles[next++ % tiles.size()];
            const place at{tile % across * tile_side + inside(random), tile / across * tile_side + inside(random)};
            uint8_t five_bytes[bands] = {};
            const stopwatch time;
            candidate_.get_pixel(at.x, at.y, five_bytes);
            times.push_back(time.seconds() * 1e6);
            if (sum_of(five_bytes) != expected_at(at)) found_.pixels_are_right = false;
        }
        if (run == 0) continue;
        medians.samples.push_back(median(times));
        tails.samples.push_back(percentile(times, tail));
    }
    found_.add({medians, tails});
}

void peer_bench::make_reduced_image()
{
    std::vector<uint8_t> image(static_cast<size_t>(picture_pixel_bytes * reduced_side * reduced_side));
    const auto reduce = [&] {
        const stopwatch time;
        candidate_.get_reduced(reduced_side, image.data());
        return time.seconds();
    };
    found_.add(measure_in_turn({{"library", reduce}}, wanted_.runs, unit::seconds()));
    found_.pixels_are_right = is_sampled(image);
}

bool peer_bench::is_sampled_at(const std::vector<uint8_t>& image, int32_t inside) const
{
    const int32_t factor = wanted_.side / reduced_side;
    const uint8_t* pixel = image.data();
    for (int32_t y = 0; y < reduced_side; ++y) {
        for (int32_t x = 0; x < reduced_side; ++x, pixel += picture_pixel_bytes) {
            if (sum_of(pixel) != expected_at({x * factor + inside, y * factor + inside})) return false;
        }
    }
    return true;
}

// Whether every pixel of the reduced image is one of the pixels that it stands for, all at the same place.
bool peer_bench::is_sampled(const std::vector<uint8_t>& image) const
{
    for (int32_t inside = 0; inside < wanted_.side / reduced_side; ++inside) {
        if (is_sampled_at(image, inside)) return true;
    }
    return false;
}

}  // namespace iocache_bench
