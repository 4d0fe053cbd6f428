// W3: the columns of a region that is in memory, a call a column. The limit is the same strided copy of both planes,
// out of the same tiles.
#include <cstring>

#include <iocache/iocache.h>

#include "bench/support/picture.h"
#include "bench/workloads/workloads.h"

namespace iocache_bench {

namespace {

double get_columns(const open_picture& picture, line& pixels, int32_t region)
{
    const stopwatch time;
    for (int32_t x = 0; x < region; ++x) {
        cv_getcolumn(picture.number(), pixels.colour.data(), pixels.alpha.data(), x, 0, region - 1);
        keep_memory();
    }
    return time.seconds();
}

void copy_tile_column(const uint8_t* tile, int32_t x, uint8_t* colour_target, uint8_t* alpha_target)
{
    const uint8_t* colour = tile + int64_t{pattern::colour_bytes} * x;
    const uint8_t* alpha = tile + alpha_plane + x;
    for (int32_t i = 0; i < tile_side; ++i) {
        std::memcpy(colour_target + int64_t{pattern::colour_bytes} * i, colour, pattern::colour_bytes);
        alpha_target[i] = *alpha;
        colour += int64_t{tile_side} * pattern::colour_bytes;
        alpha += tile_side;
    }
}

double copy_columns(const std::vector<const uint8_t*>& tiles, line& pixels, int32_t region)
{
    const int32_t across = region / tile_side;
    const stopwatch time;
    for (int32_t x = 0; x < region; ++x) {
        for (int32_t row = 0; row < across; ++row) {
            copy_tile_column(tiles[tile_index(x / tile_side, row, across)], x % tile_side,
                             pixels.colour.data() + int64_t{row} * tile_side * pattern::colour_bytes,
                             pixels.alpha.data() + int64_t{row} * tile_side);
            keep_memory();
        }
    }
    return time.seconds();
}

bool is_column(const line& pixels, const pattern& expected, int32_t x, int32_t region)
{
    for (int32_t y = 0; y < region; ++y) {
        if (!expected.has(x, y, 1, pixels.colour.data() + int64_t{pattern::colour_bytes} * y, pixels.alpha.data() + y))
            return false;
    }
    return true;
}

bool columns_are_right(const open_picture& picture, line& pixels, const pattern& expected, int32_t region)
{
    for (int32_t x = 0; x < region; ++x) {
        cv_getcolumn(picture.number(), pixels.colour.data(), pixels.alpha.data(), x, 0, region - 1);
        if (!is_column(pixels, expected, x, region)) return false;
    }
    return true;
}

}  // namespace

void read_cached_columns(const options& wanted, report& found)
{
    const int32_t region = wanted.amounts.region;
    const pattern pixels(wanted.amounts.side);
    const running_library library(wanted.library(wanted.amounts.cached_mib));
    const picture_place place{wanted.scratch, wanted.amounts.side};
    make_picture(place, pixels);
    const open_picture picture(picture_path(place));
    line buffer(region);
    found.pixels_are_right = columns_are_right(picture, buffer, pixels, region);
    std::vector<const uint8_t*> tiles;
    for (int32_t y = 0; y < region; y += tile_side) {
        for (int32_t x = 0; x < region; x += tile_side) tiles.push_back(picture.tile_in_memory(x, y));
    }
    const auto bytes = static_cast<double>(picture_pixel_bytes * region * region);
    found.add(measure_in_turn({{"library", [&] { return get_columns(picture, buffer, region); }},
                               {"limit", [&] { return copy_columns(tiles, buffer, region); }}},
                              wanted.runs, unit::gigabytes_a_second(bytes)));
}

}  // namespace iocache_bench
