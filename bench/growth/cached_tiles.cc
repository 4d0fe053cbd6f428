// More and more tiles in a cache that is full: hits, misses, evictions, and the search for a zone.
//
// Up to 24 GiB of cache are filled with tiles that were never written, of sparse canvases, with cv_clear_tile 0: the
// entries, tables and lists are all there, while the tiles' memory is only touched where a measurement reads pixels into
// it. So the machine need not have that much memory. The blocks that the measured misses will read into are touched
// beforehand, or the larger sizes would pay for the kernel's first pages.
#include <algorithm>
#include <cstring>
#include <numeric>
#include <random>

#include "bench/growth/growth.h"
#include "bench/support/fail.h"
#include "bench/support/library.h"
#include "bench/support/picture.h"
#include "bench/support/random.h"
#include "bench/support/raw_file.h"

namespace iocache_bench {

namespace {

constexpr int32_t largest_side = 32'768;  // the format's own limit
constexpr int32_t largest_across = largest_side / tile_side;
constexpr int32_t tiles_of_largest = largest_across * largest_across;
constexpr int64_t mebibyte = 1'048'576;
constexpr int64_t most_misses_a_round = 200;
constexpr int64_t hits_a_round = 100'000;
constexpr int64_t searches_a_round = 2000;
constexpr int32_t working_set = 64;

struct tile_place {
    int32_t canvas, x, y;
};

// Sparse canvases with so many tiles in all, none of them written.
std::vector<tile_place> sparse_tiles(const std::filesystem::path& folder, int32_t count)
{
    std::vector<tile_place> tiles;
    int32_t canvas = -1;
    for (int32_t i = 0; i < count; ++i) {
        if (i % tiles_of_largest == 0) {
            const auto path = folder / ("sparse-" + std::to_string(i / tiles_of_largest) + ".canvas");
            std::filesystem::remove(path);
            canvas = canvas_new(path.c_str(), 1, 0, 0, largest_side - 1, largest_side - 1, 0, 0);
            if (canvas < 0) fail("cannot create " + path.string());
        }
        const int32_t tile = i % tiles_of_largest;
        tiles.push_back({canvas, tile % largest_across * tile_side, tile / largest_across * tile_side});
    }
    return tiles;
}

void visit(const tile_place& at)
{
    visit_tile(at.canvas, at.x, at.y);
}

// The memory of the tiles that will be given up next.
void touch_oldest(int64_t count)
{
    for (cv_tile* tile = first_tile; tile != nullptr && count > 0; tile = tile->next, --count)
        std::memset(tile->buffer, 1, static_cast<size_t>(tile->size));
}

std::vector<tile_place> shuffled_tiles(const open_picture& picture)
{
    std::vector<tile_place> tiles;
    for (int32_t y = 0; y < picture.side(); y += tile_side) {
        for (int32_t x = 0; x < picture.side(); x += tile_side) tiles.push_back({picture.number(), x, y});
    }
    std::mt19937 random = repeatable_random();
    std::ranges::shuffle(tiles, random);
    return tiles;
}

std::vector<series> hits(const std::vector<tile_place>& cached, int rounds)
{
    const size_t few = std::min<size_t>(working_set, cached.size());
    std::vector<tile_place> shuffled = cached;
    std::mt19937 random = repeatable_random();
    std::ranges::shuffle(shuffled, random);
    const auto turn = [](const std::vector<tile_place>& tiles, size_t count) {
        return [&tiles, count](int64_t i) { visit(tiles[static_cast<size_t>(i) % count]); };
    };
    int64_t sum = 0;
    const auto look = [&](int64_t i) {
        const tile_place& at = shuffled[static_cast<size_t>(i) % shuffled.size()];
        const cv_canvas& canvas = *canvastable[at.canvas];
        const volatile cv_tile& tile =
            *canvas.tile_cache[tile_index(at.x / tile_side, at.y / tile_side, canvas.tiles_across)];
        sum += tile.size;  // volatile: read although nobody wants the sum
    };
    return {time_each("hit, 64 tiles in turn", "ns", rounds, hits_a_round, turn(cached, few)),
            time_each("hit, all tiles at random", "ns", rounds, hits_a_round, turn(shuffled, shuffled.size())),
            time_each("all tiles at random: only a look at each record", "ns", rounds, hits_a_round, look)};
}

// Tiles of the picture, each once, into a full cache; and bare reads into as many buffers.
std::vector<series> misses(const growth_options& wanted, const open_picture& picture, int64_t cached)
{
    const std::vector<tile_place> tiles = shuffled_tiles(picture);
    const int64_t a_round =
        std::clamp<int64_t>(static_cast<int64_t>(tiles.size()) / wanted.rounds, 1, most_misses_a_round);
    const int64_t buffers = std::min(cached, a_round * wanted.rounds);
    touch_oldest(buffers);
    const raw_file file(picture.record().file_name, raw_file::purpose::read);
    const page_memory memory(buffers * tile_bytes, page_memory::pages::huge);
    std::memset(memory.data(), 1, static_cast<size_t>(buffers * tile_bytes));
    series by_library =
        time_each("miss", "us", wanted.rounds, a_round, [&](int64_t i) { visit(tiles[static_cast<size_t>(i)]); });
    series bare = time_each("miss: pread of the tile", "us", wanted.rounds, a_round, [&](int64_t i) {
        const tile_place& at = tiles[static_cast<size_t>(i)];
        file.read(memory.part(i % buffers * tile_bytes, tile_bytes), picture.tile_offset(at.x, at.y));
    });
    return {by_library, bare};
}

// Tiles that were never written into a full cache: only entries, lists and zones move.
series evictions(const std::vector<tile_place>& never_cached, int rounds)
{
    const auto a_round = static_cast<int64_t>(never_cached.size()) / rounds;
    return time_each("eviction, nothing read or written", "ns", rounds, a_round,
                     [&](int64_t i) { visit(never_cached[static_cast<size_t>(i)]); });
}

series full_search(int rounds)
{
    return time_each("search for a zone in a full cache", "ns", rounds, searches_a_round, [](int64_t) {
        cv_alloc_curr_size = static_cast<int32_t>(tile_bytes);
        if (cv_alloc_search_place() == 0) fail("the cache is not full");
    });
}

std::vector<series> measure_at(const growth_options& wanted, int32_t tiles)
{
    const running_library library({mode::in_line, tiles * tile_bytes / mebibyte});
    const picture_place place{wanted.scratch, wanted.side};
    const open_picture picture(picture_path(place));
    const int32_t more = 100 * wanted.rounds;
    std::vector<tile_place> cached = sparse_tiles(wanted.scratch, cv_alloc_zones + more);
    const std::vector<tile_place> never_cached(cached.end() - more, cached.end());
    cached.resize(static_cast<size_t>(cv_alloc_zones));
    cv_clear_tile = 0;
    for (const tile_place& each : cached) visit(each);
    std::vector<series> found = hits(cached, wanted.rounds);
    found.push_back(full_search(wanted.rounds));
    found.push_back(evictions(never_cached, wanted.rounds));
    for (series& each : misses(wanted, picture, cv_alloc_zones)) found.push_back(std::move(each));
    return found;
}

}  // namespace

growth grow_cached_tiles(const growth_options& wanted)
{
    growth found{"cached-tiles", "tiles in memory", {}, {}};
    found.remarks.emplace_back(
        "The cache is full at every size. Its tiles were never written and their memory is not "
        "touched, so 75,008 of them (23 GiB) do not need a machine of that size. At random, the records of many "
        "tiles no longer fit the processor's caches; the bare look shows what that costs. A search reads the books "
        "of all zones each time, because a host may have written into them.");
    // Multiples of 16 tiles are whole MiB.
    const std::vector<int32_t> sizes =
        wanted.quick ? std::vector<int32_t>{64, 256} : std::vector<int32_t>{64, 256, 1024, 4096, 16'384, 75'008};
    for (const int32_t tiles : sizes)
        found.points.push_back({static_cast<double>(tiles), in_child([&] { return measure_at(wanted, tiles); })});
    return found;
}

}  // namespace iocache_bench
