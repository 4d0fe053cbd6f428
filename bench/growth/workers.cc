// One worker and two, with the cache process: hits, misses, and what workers share, bringing a tile into the reduced
// image and copying memory.
#include "bench/growth/growth.h"
#include "bench/support/fail.h"
#include "bench/support/library.h"
#include "bench/support/picture.h"
#include "bench/support/raw_file.h"

namespace iocache_bench {

namespace {

constexpr int64_t cache_mib = 4;  // 12 tiles
constexpr int64_t hits_a_round = 100'000;
constexpr int64_t misses_a_round = 200;
constexpr int64_t updates_a_round = 2000;
constexpr int32_t copied_rows = 4096;
constexpr int32_t copied_row_bytes = 4096;

void make_current(const open_picture& picture)
{
    current_canvas = picture.number();
    current_cp = &picture.record();
    canvas_make_tables(picture.number());
    const cv_geometry& view = picture.record().geom;
    cv_visu_alfa = cv_visu_pic + int64_t{pattern::colour_bytes} * view.lres_width * view.lres_height;
}

std::vector<series> measure_at(const growth_options& wanted, int32_t workers)
{
    library_settings settings{mode::process, cache_mib};
    settings.workers = workers;
    const running_library library(settings);
    const picture_place place{wanted.scratch, wanted.side};
    const open_picture picture(picture_path(place));
    make_current(picture);
    const int32_t across = picture.side() / tile_side;
    const page_memory from(int64_t{copied_rows} * copied_row_bytes);
    const page_memory to(int64_t{copied_rows} * copied_row_bytes);
    const auto visit = [&](int64_t tile) {
        visit_tile(picture.number(), static_cast<int32_t>(tile % across) * tile_side,
                   static_cast<int32_t>(tile / across) * tile_side);
    };
    visit(0);
    return {time_each("hit", "ns", wanted.rounds, hits_a_round, [&](int64_t) { visit(0); }),
            time_each("bring a tile into the reduced image", "us", wanted.rounds, updates_a_round,
                      [&](int64_t) { cv_update_virt_subsampled_ptile(picture.number(), 0); }),
            time_each("copy 16 MiB with MP_memcpy", "us", wanted.rounds, wanted.quick ? 1 : 20,
                      [&](int64_t) { MP_memcpy(to.data(), from.data(), copied_row_bytes, copied_rows); }),
            time_each("miss", "us", wanted.rounds, misses_a_round,
                      [&](int64_t i) { visit(i % (int64_t{across} * across)); })};
}

}  // namespace

growth grow_workers(const growth_options& wanted)
{
    growth found{"workers", "workers", {}, {}};
    found.remarks.emplace_back(
        "Bringing one tile into the reduced image is so little work that starting a second worker and meeting it again "
        "takes longer than what it saves; the host decides how many there are.");
    for (const int32_t workers : {1, 2})
        found.points.push_back({static_cast<double>(workers), in_child([&] { return measure_at(wanted, workers); })});
    return found;
}

}  // namespace iocache_bench
