// W5: all rows of a picture that does not fit the cache, in order. The limit reads a row of tiles with one pread a tile
// and copies its rows out, always into the same buffers, which so stay in the processor's caches; with a second thread,
// the next row of tiles is read meanwhile. A cache that gives up its oldest tiles goes round all of its memory: the same
// reads into as many buffers show what that costs. For the cold runs the file's pages are dropped from the page cache
// before each.
#include "bench/workloads/all_rows.h"

#include <cstring>
#include <future>

#include "bench/support/raw_file.h"
#include "bench/workloads/workloads.h"

namespace iocache_bench {

namespace {

// What the limit reads and where its rows go.
struct bare_picture {
    const raw_file& file;
    std::vector<int64_t> tile_offsets;  // row by row
    int32_t across;
    line pixels;

    bare_picture(const raw_file& from, const open_picture& picture)
        : file(from),
          across(picture.side() / tile_side),
          pixels(picture.side())
    {
        for (int32_t y = 0; y < picture.side(); y += tile_side) {
            for (int32_t x = 0; x < picture.side(); x += tile_side) tile_offsets.push_back(picture.tile_offset(x, y));
        }
    }

    [[nodiscard]] int64_t row_bytes() const { return across * tile_bytes; }
    [[nodiscard]] int32_t tile_rows() const { return static_cast<int32_t>(tile_offsets.size()) / across; }

    void read_tile_row(int32_t row, uint8_t* into) const
    {
        for (int32_t column = 0; column < across; ++column) {
            const std::span tile(into + column * tile_bytes, static_cast<size_t>(tile_bytes));
            file.read(tile, tile_offsets[tile_index(column, row, across)]);
        }
    }

    void copy_rows_out(const uint8_t* tiles)
    {
        const tile_row_bytes bytes = bytes_of_tile_row();
        for (int32_t y = 0; y < tile_side; ++y) {
            for (int32_t column = 0; column < across; ++column) {
                const uint8_t* const tile = tiles + column * tile_bytes;
                std::memcpy(pixels.colour.data() + static_cast<size_t>(column) * bytes.colour,
                            tile + static_cast<size_t>(y) * bytes.colour, bytes.colour);
                std::memcpy(pixels.alpha.data() + int64_t{column} * tile_side,
                            tile + alpha_plane + int64_t{y} * tile_side, bytes.alpha);
            }
            keep_memory();
        }
    }
};

double read_with_one_thread(bare_picture& bare, uint8_t* tiles)
{
    const stopwatch time;
    for (int32_t row = 0; row < bare.tile_rows(); ++row) {
        bare.read_tile_row(row, tiles);
        bare.copy_rows_out(tiles);
    }
    return time.seconds();
}

// Row after row of tiles into the next buffers of a ring.
double read_into_ring(bare_picture& bare, const page_memory& ring, int64_t tile_rows_in_ring, int64_t& next)
{
    const stopwatch time;
    for (int32_t row = 0; row < bare.tile_rows(); ++row) {
        uint8_t* const tiles = ring.data() + next++ % tile_rows_in_ring * bare.row_bytes();
        bare.read_tile_row(row, tiles);
        bare.copy_rows_out(tiles);
    }
    return time.seconds();
}

double read_with_two_threads(bare_picture& bare, uint8_t* tiles)
{
    const stopwatch time;
    const auto half = [&](int32_t row) { return tiles + row % 2 * bare.row_bytes(); };
    bare.read_tile_row(0, half(0));
    for (int32_t row = 0; row < bare.tile_rows(); ++row) {
        std::future<void> next;
        if (row + 1 < bare.tile_rows())
            next = std::async(std::launch::async, [&bare, row, half] { bare.read_tile_row(row + 1, half(row + 1)); });
        bare.copy_rows_out(half(row));
        if (next.valid()) next.get();
    }
    return time.seconds();
}

}  // namespace

double get_all_rows(const open_picture& picture, line& pixels)
{
    const int32_t side = picture.side();
    const stopwatch time;
    for (int32_t y = 0; y < side; ++y) {
        cv_getline(picture.number(), pixels.colour.data(), pixels.alpha.data(), y, 0, side - 1);
        keep_memory();
    }
    return time.seconds();
}

void read_all_rows(const options& wanted, report& found)
{
    const int32_t side = wanted.amounts.side;
    const pattern pixels(side);
    const library_settings settings = wanted.library(wanted.amounts.out_of_core_mib);
    const running_library library(settings);
    const picture_place place{wanted.scratch, side};
    make_picture(place, pixels);
    const open_picture picture(picture_path(place));
    found.pixels_are_right = picture.has_pattern(pixels, side);
    const raw_file file(picture_path(place), raw_file::purpose::read);
    bare_picture bare(file, picture);
    const page_memory tiles(2 * bare.row_bytes());
    const int64_t tile_rows_in_ring = settings.cache_mib * 1024 * 1024 / bare.row_bytes();
    const page_memory ring(tile_rows_in_ring * bare.row_bytes(), page_memory::pages::huge);
    int64_t next_in_ring = 0;
    line buffer(side);
    const auto by_library = [&] { return get_all_rows(picture, buffer); };
    const auto one_thread = [&] { return read_with_one_thread(bare, tiles.data()); };
    const auto two_threads = [&] { return read_with_two_threads(bare, tiles.data()); };
    const auto one_thread_ring = [&] { return read_into_ring(bare, ring, tile_rows_in_ring, next_in_ring); };
    const auto cold = [&](auto read) {
        cv_flush_tiles(picture.number());
        file.forget_pages();
        return read();
    };
    const unit terms = unit::gigabytes_a_second(static_cast<double>(picture_pixel_bytes) * side * side);
    found.add(measure_in_turn({{"library", by_library},
                               {"limit", one_thread},
                               {"limit, two threads", two_threads},
                               {"limit, as many buffers as the cache", one_thread_ring}},
                              wanted.runs, terms));
    found.add(measure_in_turn({{"library, cold", [&] { return cold(by_library); }},
                               {"limit, cold", [&] { return cold(one_thread); }},
                               {"limit, two threads, cold", [&] { return cold(two_threads); }}},
                              wanted.runs * runs_of_a_disk, terms));
    found.pixels_are_right = found.pixels_are_right &&
                             pixels.has(0, side - 1, side, buffer.colour.data(), buffer.alpha.data()) &&
                             pixels.has(0, side - 1, side, bare.pixels.colour.data(), bare.pixels.alpha.data());
}

}  // namespace iocache_bench
