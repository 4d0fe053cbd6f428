// W4 and W7: single pixels at random places. Those of W4 are in memory, and the limit reads the same pixels of the same
// tiles as arrays. Those of W7 lie each in a tile that is not in memory: the tiles are visited in a shuffled order, over
// and over, so that every one is gone from the cache when it comes round again. Their limit is a pread of the tile.
#include <algorithm>
#include <cstring>
#include <numeric>
#include <random>

#include <iocache/iocache.h>

#include "bench/support/picture.h"
#include "bench/support/random.h"
#include "bench/support/raw_file.h"
#include "bench/workloads/workloads.h"

namespace iocache_bench {

namespace {

constexpr double tail = 0.99;

struct place {
    int32_t x, y;
};

std::vector<place> random_places(int32_t count, int32_t side)
{
    std::mt19937 random = repeatable_random();
    std::uniform_int_distribution<int32_t> coordinate(0, side - 1);
    std::vector<place> places(static_cast<size_t>(count));
    for (place& each : places) each = {coordinate(random), coordinate(random)};
    return places;
}

// Pixels each in another tile of the picture, until all tiles had their turn.
std::vector<place> place_in_every_tile(int32_t side)
{
    const int32_t across = side / tile_side;
    std::vector<int32_t> tiles(static_cast<size_t>(across) * static_cast<size_t>(across));
    std::iota(tiles.begin(), tiles.end(), 0);
    std::mt19937 random = repeatable_random();
    std::ranges::shuffle(tiles, random);
    std::uniform_int_distribution<int32_t> inside(0, tile_side - 1);
    std::vector<place> places;
    places.reserve(tiles.size());
    for (const int32_t tile : tiles)
        places.push_back({tile % across * tile_side + inside(random), tile / across * tile_side + inside(random)});
    return places;
}

uint32_t expected_sum(const pattern& pixels, const std::vector<place>& places)
{
    uint32_t sum = 0;
    for (const place& each : places) sum += pixels.colour(each.x, each.y) + pixels.alpha(each.x, each.y);
    return sum;
}

uint32_t value_in(const uint8_t* tile, const place& where)
{
    const int64_t pixel = int64_t{where.y % tile_side} * tile_side + where.x % tile_side;
    uint32_t value = 0;
    std::memcpy(&value, tile + pattern::colour_bytes * pixel, sizeof value);
    return value + tile[alpha_plane + pixel];
}

uint32_t ask(cv_canvas& record, const place& where)
{
    uint32_t alpha = 0;
    const uint32_t value = cv_ask_value_pixel(&record, where.x, where.y, &alpha);
    return value + alpha;
}

// Latencies of single steps, run by run.
struct latencies {
    series medians;
    series tails;
    size_t visited = 0;

    explicit latencies(const std::string& of) : medians{of, "us", false, {}}, tails{of + " p99", "us", false, {}} {}
};

// Times each of `count` steps; step(i) does the i-th. The first round is a warm-up.
template <class Step> void time_steps(latencies& into, int32_t count, bool counts, Step step)
{
    constexpr double microseconds = 1e6;
    std::vector<double> times(static_cast<size_t>(count));
    for (int32_t i = 0; i < count; ++i) {
        const stopwatch time;
        step(i);
        times[static_cast<size_t>(i)] = time.seconds() * microseconds;
    }
    if (!counts) return;
    into.medians.samples.push_back(median(times));
    into.tails.samples.push_back(percentile(times, tail));
}

}  // namespace

void read_random_pixels(const options& wanted, report& found)
{
    const int32_t region = wanted.amounts.region;
    const pattern pixels(wanted.amounts.side);
    const running_library library(wanted.library(wanted.amounts.cached_mib));
    const picture_place where{wanted.scratch, wanted.amounts.side};
    make_picture(where, pixels);
    const open_picture picture(picture_path(where));
    found.pixels_are_right = picture.has_pattern(pixels, region);
    const std::vector<place> places = random_places(wanted.amounts.random_pixels, region);
    const int32_t across = region / tile_side;
    std::vector<const uint8_t*> tiles;
    for (int32_t y = 0; y < region; y += tile_side) {
        for (int32_t x = 0; x < region; x += tile_side) tiles.push_back(picture.tile_in_memory(x, y));
    }
    const uint32_t expected = expected_sum(pixels, places);
    const auto timed = [&](auto value_at) {
        uint32_t sum = 0;
        const stopwatch time;
        for (const place& each : places) sum += value_at(each);
        const double seconds = time.seconds();
        found.pixels_are_right = found.pixels_are_right && sum == expected;
        return seconds;
    };
    cv_canvas& record = picture.record();
    const auto from_array = [&](const place& each) {
        return value_in(tiles[tile_index(each.x / tile_side, each.y / tile_side, across)], each);
    };
    found.add(measure_in_turn({{"library", [&] { return timed([&](const place& each) { return ask(record, each); }); }},
                               {"limit", [&] { return timed(from_array); }}},
                              wanted.runs, unit::nanoseconds_each(static_cast<double>(places.size()))));
}

void read_missed_pixels(const options& wanted, report& found)
{
    const pattern pixels(wanted.amounts.side);
    const library_settings settings = wanted.library(wanted.amounts.out_of_core_mib);
    const running_library library(settings);
    const picture_place where{wanted.scratch, wanted.amounts.side};
    make_picture(where, pixels);
    const open_picture picture(picture_path(where));
    const raw_file file(picture_path(where), raw_file::purpose::read);
    const std::vector<place> places = place_in_every_tile(wanted.amounts.side);
    const int64_t buffers = settings.cache_mib * 1024 * 1024 / tile_bytes;
    const page_memory ring(buffers * tile_bytes);
    latencies of_library("library");
    latencies of_limit("limit");
    latencies of_ring("limit, as many buffers as the cache");
    int64_t next_buffer = 0;
    const auto right = [&](const place& at, uint32_t value) {
        if (value != pixels.colour(at.x, at.y) + pixels.alpha(at.x, at.y)) found.pixels_are_right = false;
    };
    const auto pread_into = [&](int64_t buffer, const place& at) {
        const std::span<uint8_t> tile = ring.part(buffer * tile_bytes, tile_bytes);
        file.read(tile, picture.tile_offset(at.x, at.y));
        right(at, value_in(tile.data(), at));
    };
    const auto next_place = [&](latencies& whose) -> const place& { return places[whose.visited++ % places.size()]; };
    found.pixels_are_right = picture.has_pattern(pixels, wanted.amounts.side);  // and the file is in the page cache
    for (int run = 0; run <= wanted.runs; ++run) {
        const int32_t count = wanted.amounts.missed_pixels;
        time_steps(of_library, count, run > 0, [&](int32_t) {
            const place& at = next_place(of_library);
            right(at, ask(picture.record(), at));
        });
        time_steps(of_limit, count, run > 0, [&](int32_t) { pread_into(0, next_place(of_limit)); });
        time_steps(of_ring, count, run > 0, [&](int32_t) { pread_into(next_buffer++ % buffers, next_place(of_ring)); });
    }
    for (const latencies& each : {of_library, of_limit, of_ring}) found.add({each.medians, each.tails});
}

}  // namespace iocache_bench
