// W1 and W2: the rows of a region that is in memory, a call a row. The limit copies between the same buffers and the
// same tiles, 1024 and 256 bytes at a time, with nothing around it.
#include <cstring>

#include <iocache/iocache.h>

#include "bench/support/fail.h"
#include "bench/support/picture.h"
#include "bench/workloads/workloads.h"

namespace iocache_bench {

namespace {

// Tells of each tile row of the region: where it is in the tile and where in the line.
template <class Copy> void each_tile_row(const std::vector<uint8_t*>& tiles, int32_t region, Copy copy)
{
    const int32_t across = region / tile_side;
    for (int32_t y = 0; y < region; ++y) {
        uint8_t* const* const tiles_of_row = &tiles[tile_index(0, y / tile_side, across)];
        const int64_t row = y % tile_side;
        for (int32_t column = 0; column < across; ++column) {
            uint8_t* const tile = tiles_of_row[column];
            copy(y, int64_t{column} * tile_side, tile + row * tile_side * pattern::colour_bytes,
                 tile + alpha_plane + row * tile_side);
        }
    }
}

std::vector<uint8_t*> tiles_of(const open_picture& picture, int32_t region)
{
    std::vector<uint8_t*> tiles;
    for (int32_t y = 0; y < region; y += tile_side) {
        for (int32_t x = 0; x < region; x += tile_side) tiles.push_back(picture.tile_in_memory(x, y));
    }
    return tiles;
}

double get_rows(const open_picture& picture, line& pixels, int32_t region)
{
    const stopwatch time;
    for (int32_t y = 0; y < region; ++y) {
        cv_getline(picture.number(), pixels.colour.data(), pixels.alpha.data(), y, 0, region - 1);
        keep_memory();
    }
    return time.seconds();
}

double copy_rows_out(const std::vector<uint8_t*>& tiles, line& pixels, int32_t region)
{
    const tile_row_bytes bytes = bytes_of_tile_row();
    const stopwatch time;
    each_tile_row(tiles, region, [&](int32_t, int64_t x, const uint8_t* colour, const uint8_t* alpha) {
        std::memcpy(pixels.colour.data() + x * pattern::colour_bytes, colour, bytes.colour);
        std::memcpy(pixels.alpha.data() + x, alpha, bytes.alpha);
        keep_memory();
    });
    return time.seconds();
}

double put_rows(const open_picture& picture, const pattern& pixels, int32_t turn, int32_t region)
{
    const stopwatch time;
    for (int32_t y = 0; y < region; ++y) {
        cv_storeline(picture.number(), pixels.colour_row(y, turn), pixels.alpha_row(y, turn), y, 0, region - 1);
        keep_memory();
    }
    return time.seconds();
}

double copy_rows_in(const std::vector<uint8_t*>& tiles, const pattern& pixels, int32_t turn, int32_t region)
{
    const tile_row_bytes bytes = bytes_of_tile_row();
    const stopwatch time;
    each_tile_row(tiles, region, [&](int32_t y, int64_t x, uint8_t* colour, uint8_t* alpha) {
        std::memcpy(colour, pixels.colour_row(y, turn) + x * pattern::colour_bytes, bytes.colour);
        std::memcpy(alpha, pixels.alpha_row(y, turn) + x, bytes.alpha);
        keep_memory();
    });
    return time.seconds();
}

double region_bytes(int32_t region)
{
    return static_cast<double>(picture_pixel_bytes * region * region);
}

}  // namespace

void read_cached_rows(const options& wanted, report& found)
{
    const int32_t region = wanted.amounts.region;
    const pattern pixels(wanted.amounts.side);
    const running_library library(wanted.library(wanted.amounts.cached_mib));
    const picture_place place{wanted.scratch, wanted.amounts.side};
    make_picture(place, pixels);
    const open_picture picture(picture_path(place));
    found.pixels_are_right = picture.has_pattern(pixels, region);  // and is in memory from here on
    const std::vector<uint8_t*> tiles = tiles_of(picture, region);
    line buffer(region);
    found.add(measure_in_turn({{"library", [&] { return get_rows(picture, buffer, region); }},
                               {"limit", [&] { return copy_rows_out(tiles, buffer, region); }}},
                              wanted.runs, unit::gigabytes_a_second(region_bytes(region))));
    get_rows(picture, buffer, region);
    found.pixels_are_right =
        found.pixels_are_right && pixels.has(0, region - 1, region, buffer.colour.data(), buffer.alpha.data());
}

// Every run stores other pixels; the picture has its own again at the end.
void write_cached_rows(const options& wanted, report& found)
{
    const int32_t region = wanted.amounts.region;
    const pattern pixels(wanted.amounts.side);
    const running_library library(wanted.library(wanted.amounts.cached_mib));
    const picture_place place{wanted.scratch, wanted.amounts.side};
    make_picture(place, pixels);
    const open_picture picture(picture_path(place));
    found.pixels_are_right = picture.has_pattern(pixels, region);
    const std::vector<uint8_t*> tiles = tiles_of(picture, region);
    int32_t turn = 0;
    found.add(measure_in_turn({{"library", [&] { return put_rows(picture, pixels, ++turn, region); }},
                               {"limit", [&] { return copy_rows_in(tiles, pixels, ++turn, region); }}},
                              wanted.runs, unit::gigabytes_a_second(region_bytes(region))));
    put_rows(picture, pixels, ++turn, region);
    found.pixels_are_right = found.pixels_are_right && picture.has_pattern(pixels, region, turn);
    put_rows(picture, pixels, 0, region);
    if (cv_flush_tiles(picture.number()) != 0) fail("cannot write the picture back");
}

}  // namespace iocache_bench
