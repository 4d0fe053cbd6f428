// A larger and larger tile grid in one canvas: hits, writing a tile back, and appending one, which rewrites the tile
// table (64 KiB for the largest grid) and the header.
#include <algorithm>
#include <atomic>

#include "bench/growth/growth.h"
#include "bench/support/fail.h"
#include "bench/support/library.h"
#include "bench/support/picture.h"
#include "bench/support/raw_file.h"

namespace iocache_bench {

namespace {

constexpr int64_t cache_mib = 64;
constexpr int64_t hits_a_round = 100'000;
constexpr int32_t most_tiles = 100;  // that are written
constexpr int32_t table_entry_bytes = 4;
constexpr int64_t header_bytes = 4096;

int32_t make_canvas(const std::filesystem::path& folder, int32_t across)
{
    const auto path = folder / "grid.canvas";
    std::filesystem::remove(path);
    const int32_t last = across * tile_side - 1;
    const int32_t canvas = canvas_new(path.c_str(), 1, 0, 0, last, last, 0, 0);
    if (canvas < 0) fail("cannot create " + path.string());
    return canvas;
}

// One tile made dirty and written; microseconds of the writing. The tile's slot is new when it never had one.
double write_tile(int32_t canvas, int32_t x, int32_t y)
{
    visit_tile(canvas, x, y, true);
    const stopwatch time;
    if (cv_write_dirty_tile(parg.req[0].tile) != 0) fail("cannot write a tile");
    return time.seconds() * 1e6;
}

struct write_costs {
    series append{"append a tile", "us", false, {}};
    series write_back{"write a tile back", "us", false, {}};
};

// Some tiles spread over the grid; canvases of few tiles are made again until there are enough samples.
write_costs written_tiles(const growth_options& wanted, int32_t across, int32_t& canvas)
{
    write_costs found;
    const int32_t tiles = std::min(across * across, most_tiles);
    const int32_t enough = wanted.quick ? 1 : 20;
    while (static_cast<int32_t>(found.append.samples.size()) < std::max(enough, tiles)) {
        if (!found.append.samples.empty()) {
            canvas_close(canvas);
            canvas = make_canvas(wanted.scratch, across);
        }
        for (int32_t i = 0; i < tiles; ++i) {
            const auto tile = static_cast<int32_t>(int64_t{i} * across * across / tiles);
            const int32_t x = tile % across * tile_side;
            const int32_t y = tile / across * tile_side;
            found.append.samples.push_back(write_tile(canvas, x, y));
            found.write_back.samples.push_back(write_tile(canvas, x, y));
        }
    }
    return found;
}

// The bytes of an append with bare writes: tile, table, header.
series bare_append(const growth_options& wanted, int32_t across)
{
    const auto path = wanted.scratch / "grid.bare";
    std::filesystem::remove(path);
    const int64_t table_bytes = int64_t{across} * across * table_entry_bytes;
    const page_memory bytes(tile_bytes + table_bytes + header_bytes);
    const raw_file file(path, raw_file::purpose::create);
    series found{"append: pwrite of tile, table and header", "us", false, {}};
    for (int64_t i = 0; i < most_tiles; ++i) {
        const stopwatch time;
        file.write(bytes.part(0, table_bytes), header_bytes);
        file.write(bytes.part(0, header_bytes), 0);
        file.write(bytes.part(0, tile_bytes), header_bytes + table_bytes + i * tile_bytes);
        found.samples.push_back(time.seconds() * 1e6);
    }
    std::filesystem::remove(path);
    return found;
}

std::vector<series> measure_at(const growth_options& wanted, int32_t across)
{
    const running_library library({mode::in_line, cache_mib});
    int32_t canvas = make_canvas(wanted.scratch, across);
    const int32_t hot = std::min(across, 8);  // in each direction
    const series hits = time_each("hit", "ns", wanted.rounds, hits_a_round, [&](int64_t i) {
        const auto tile = static_cast<int32_t>(i % (int64_t{hot} * hot));
        visit_tile(canvas, tile % hot * (across / hot) * tile_side, tile / hot * (across / hot) * tile_side);
    });
    const write_costs writes = written_tiles(wanted, across, canvas);
    return {hits, writes.write_back, writes.append, bare_append(wanted, across)};
}

}  // namespace

growth grow_grid(const growth_options& wanted)
{
    growth found{"grid", "tiles of the grid", {}, {}};
    found.remarks.emplace_back("An append rewrites the whole tile table: 4 bytes a tile of the grid, 64 KiB for the "
                               "largest. The bare writes beside it do the same.");
    const std::vector<int32_t> sizes =
        wanted.quick ? std::vector<int32_t>{1, 8} : std::vector<int32_t>{1, 4, 16, 32, 64, 128};
    for (const int32_t across : sizes) {
        found.points.push_back(
            {static_cast<double>(across) * across, in_child([&] { return measure_at(wanted, across); })});
    }
    return found;
}

}  // namespace iocache_bench
