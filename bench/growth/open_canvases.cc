// More and more open canvases: hits and misses that go round all of them. The tiles are divided among the canvases, so
// that the same bytes are read whatever their number.
#include "bench/growth/growth.h"
#include "bench/support/fail.h"
#include "bench/support/library.h"
#include "bench/support/picture.h"

namespace iocache_bench {

namespace {

constexpr int32_t all_tiles = 800;
constexpr int32_t few_tiles = 48;  // when only trying
constexpr int32_t tiles_down = 8;
constexpr int32_t height = tiles_down * tile_side;
constexpr int64_t roomy_mib = 512;  // all tiles of 50 canvases
constexpr int64_t tight_mib = 4;    // 12 tiles: never the one that is wanted
constexpr int64_t hits_a_round = 100'000;
constexpr int64_t misses_a_round = 200;
constexpr int64_t hot_tiles = 48;

// Canvases of 8 rows of tiles, and as many columns as their share takes.
struct equal_canvases {
    std::vector<int32_t> numbers;
    int32_t across;
};

equal_canvases make_canvases(const std::filesystem::path& folder, int32_t count, int32_t tiles)
{
    const int32_t across = tiles / count / tiles_down;
    const pattern pixels(across * tile_side);
    equal_canvases canvases{{}, across};
    for (int32_t i = 0; i < count; ++i) {
        const auto path = folder / ("open-" + std::to_string(i) + ".canvas");
        std::filesystem::remove(path);
        const int32_t canvas = canvas_new(path.c_str(), 1, 0, 0, pixels.width() - 1, height - 1, 0, 0);
        if (canvas < 0) fail("cannot create " + path.string());
        store_rows(canvas, pixels, height);
        cv_flush_tiles(canvas);
        canvases.numbers.push_back(canvas);
    }
    return canvases;  // unsaved: closing them takes the files away
}

// The i-th access: another canvas each time, and another tile when all canvases had their turn.
void visit_in_turn(const equal_canvases& canvases, int64_t i)
{
    const auto count = static_cast<int64_t>(canvases.numbers.size());
    const auto tile = static_cast<int32_t>(i / count % (int64_t{canvases.across} * tiles_down));
    visit_tile(canvases.numbers[static_cast<size_t>(i % count)], tile % canvases.across * tile_side,
               tile / canvases.across * tile_side);
}

series hits(const growth_options& wanted, int32_t count)
{
    const running_library library({mode::in_line, roomy_mib});
    const equal_canvases canvases = make_canvases(wanted.scratch, count, wanted.quick ? few_tiles : all_tiles);
    const auto step = [&](int64_t i) { visit_in_turn(canvases, i % hot_tiles); };
    for (int64_t i = 0; i < hot_tiles; ++i) step(i);
    return time_each("hit", "ns", wanted.rounds, hits_a_round, step);
}

series misses(const growth_options& wanted, int32_t count)
{
    const running_library library({mode::in_line, tight_mib});
    const equal_canvases canvases = make_canvases(wanted.scratch, count, wanted.quick ? few_tiles : all_tiles);
    return time_each("miss", "us", wanted.rounds, misses_a_round, [&](int64_t i) { visit_in_turn(canvases, i); });
}

}  // namespace

growth grow_open_canvases(const growth_options& wanted)
{
    growth found{"open-canvases", "open canvases", {}, {}};
    found.remarks.emplace_back(
        "Accesses go round all canvases; 800 tiles are divided among them. A canvas that loses its "
        "last tile closes its stream and opens it again with the next miss.");
    const std::vector<int32_t> sizes =
        wanted.quick ? std::vector<int32_t>{1, 3} : std::vector<int32_t>{1, 2, 5, 10, 20, 50};
    for (const int32_t count : sizes) {
        point at{static_cast<double>(count), in_child([&] { return std::vector{hits(wanted, count)}; })};
        for (series& each : in_child([&] { return std::vector{misses(wanted, count)}; }))
            at.found.push_back(std::move(each));
        found.points.push_back(std::move(at));
    }
    return found;
}

}  // namespace iocache_bench
