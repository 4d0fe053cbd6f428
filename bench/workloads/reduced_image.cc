// W9: the whole reduced image made from the tiles in the file, and stored. The limit reads every tile with one pread
// into one buffer, which the processor keeps in its own cache, or goes round as many buffers as the library's cache has,
// and takes the same samples; what it finds is compared with what the library made.
#include <algorithm>
#include <cstring>

#include <iocache/iocache.h>

#include "bench/support/fail.h"
#include "bench/support/picture.h"
#include "bench/support/raw_file.h"
#include "bench/workloads/workloads.h"

namespace iocache_bench {

namespace {

// The sampled columns (or rows) of the picture, ascending.
std::vector<int32_t> sampled(const int16_t* table, int32_t count)
{
    constexpr int sampled_bits = 15;
    std::vector<int32_t> places;
    for (int32_t i = 0; i < count; ++i) {
        if ((table[i] & sampled_bits) != 0) places.push_back(i);
    }
    return places;
}

struct samples {
    std::vector<int32_t> columns;
    std::vector<int32_t> rows;
    std::vector<uint8_t> colour;
    std::vector<uint8_t> alpha;
};

// Those of places that lie in the tile column (or row): first and one past last.
std::pair<size_t, size_t> part_in(const std::vector<int32_t>& places, int32_t tile)
{
    const auto first = std::ranges::lower_bound(places, tile * tile_side);
    const auto last = std::ranges::lower_bound(places, (tile + 1) * tile_side);
    return {static_cast<size_t>(first - places.begin()), static_cast<size_t>(last - places.begin())};
}

void take_samples(const uint8_t* tile, std::pair<size_t, size_t> columns, std::pair<size_t, size_t> rows, samples& into)
{
    for (size_t row = rows.first; row < rows.second; ++row) {
        const int64_t line_start = int64_t{into.rows[row] % tile_side} * tile_side;
        size_t target = row * into.columns.size() + columns.first;
        for (size_t column = columns.first; column < columns.second; ++column, ++target) {
            const int64_t pixel = line_start + into.columns[column] % tile_side;
            std::memcpy(&into.colour[target * pattern::colour_bytes], tile + pixel * pattern::colour_bytes,
                        pattern::colour_bytes);
            into.alpha[target] = tile[alpha_plane + pixel];
        }
    }
}

double sample_bare(const raw_file& file, const open_picture& picture, const page_memory& ring, int64_t buffers,
                   samples& into)
{
    const int32_t across = picture.side() / tile_side;
    const stopwatch time;
    int64_t buffer = 0;
    for (int32_t row = 0; row < across; ++row) {
        const auto rows = part_in(into.rows, row);
        for (int32_t column = 0; column < across; ++column) {
            const std::span<uint8_t> tile = ring.part(buffer * tile_bytes, tile_bytes);
            buffer = (buffer + 1) % buffers;
            file.read(tile, picture.tile_offset(column * tile_side, row * tile_side));
            take_samples(tile.data(), part_in(into.columns, column), rows, into);
        }
    }
    return time.seconds();
}

double resample()
{
    const stopwatch time;
    if (cv_resample_picture() != 0) fail("cannot make the reduced image");
    return time.seconds();
}

void make_current(const open_picture& picture)
{
    current_canvas = picture.number();
    current_cp = &picture.record();
    canvas_make_tables(picture.number());
    const cv_geometry& view = picture.record().geom;
    cv_visu_alfa = cv_visu_pic + int64_t{pattern::colour_bytes} * view.lres_width * view.lres_height;
}

bool is_sampled_pattern(const samples& taken, const pattern& expected)
{
    for (size_t row = 0, i = 0; row < taken.rows.size(); ++row) {
        for (size_t column = 0; column < taken.columns.size(); ++column, ++i) {
            if (!expected.has(taken.columns[column], taken.rows[row], 1, &taken.colour[i * pattern::colour_bytes],
                              &taken.alpha[i]))
                return false;
        }
    }
    return true;
}

}  // namespace

void make_reduced_image(const options& wanted, report& found)
{
    const int32_t side = wanted.amounts.side;
    const pattern pixels(side);
    const library_settings settings = wanted.library(wanted.amounts.out_of_core_mib);
    const running_library library(settings);
    const picture_place place{wanted.scratch, side};
    make_picture(place, pixels);
    const open_picture picture(picture_path(place));
    make_current(picture);
    const raw_file file(picture_path(place), raw_file::purpose::read);
    const int64_t buffers = settings.cache_mib * 1024 * 1024 / tile_bytes;
    const page_memory ring(buffers * tile_bytes);
    samples taken{sampled(cv_xsubtbl, side), sampled(cv_ysubtbl, side), {}, {}};
    taken.colour.resize(taken.columns.size() * taken.rows.size() * pattern::colour_bytes);
    taken.alpha.resize(taken.columns.size() * taken.rows.size());
    const auto by_hand = [&](int64_t count) {
        return [&, count] { return sample_bare(file, picture, ring, count, taken); };
    };
    found.add(measure_in_turn(
        {{"library", resample}, {"limit", by_hand(1)}, {"limit, as many buffers as the cache", by_hand(buffers)}},
        wanted.runs, unit::seconds()));
    found.pixels_are_right = is_sampled_pattern(taken, pixels) &&
                             std::memcmp(cv_visu_pic, taken.colour.data(), taken.colour.size()) == 0 &&
                             std::memcmp(cv_visu_alfa, taken.alpha.data(), taken.alpha.size()) == 0;
}

}  // namespace iocache_bench
