#include "tests/reliability/power/power_judge.h"

#include <algorithm>
#include <cstdio>

#include "tests/canvas/canvas_test.h"
#include "tests/reliability/shown_tile.h"
#include "tools/failure.h"
#include "tools/repair/repair_plan.h"
#include "tools/repair/repaired_copy.h"
#include "tools/verify/checks.h"

namespace {

using namespace iocache_test;
namespace tools = iocache::tools;

constexpr size_t tile_count = power_tile_count;

template <class Content> int64_t wrong_tiles(const expected_tiles& expected, Content content_of)
{
    int64_t wrong = 0;
    for (size_t tile = 0; tile < tile_count; ++tile) {
        if (!expected[tile].empty() && !is_made_of(content_of(tile), expected[tile])) ++wrong;
    }
    return wrong;
}

// It may find what it likes; it must come to an end, and change nothing.
void read(const std::string& name)
{
    try {
        static_cast<void>(tools::verify(tools::canvas_file(name), tools::depth::full));
    } catch (const tools::failure&) {
        return;  // not even a header
    }
}

bool repair(const std::string& name)
{
    try {
        const tools::canvas_file file(name);
        const tools::repair_plan plan = tools::plan_repair(file, tools::table_trust::where_it_makes_sense);
        if (!plan.is_possible || !plan.is_needed()) return false;
        tools::replacement_file copy(name);
        tools::write_repaired(file, plan, copy);
        copy.take_place();
        return true;
    } catch (const tools::failure&) {
        return false;
    }
}

}  // namespace

void power_figures::add(const power_figures& other)
{
    states += other.states;
    no_file += other.no_file;
    opened += other.opened;
    repaired += other.repaired;
    refused += other.refused;
    tiles_checked += other.tiles_checked;
    tiles_wrong += other.tiles_wrong;
    left_behind += other.left_behind;
    tried += other.tried;
}

void iocache_test::put_on_disk(const disk& now, const power_places& where)
{
    for (const std::string& folder : {where.main, where.other}) {
        for (const auto& old : std::filesystem::directory_iterator(folder)) std::filesystem::remove_all(old.path());
    }
    for (const std::string& folder : now.folders) std::filesystem::create_directory(folder);
    for (const auto& [name, file] : now.names) {
        if (now.folders.contains(name.substr(0, name.rfind('/')))) write_whole_file(name, now.files[file]);
    }
}

bool power_judge::finding::is_better_than(const finding& other) const
{
    return how != view::none && (other.how == view::none || wrong < other.wrong);
}

power_judge::power_judge(const power_workload& workload, const power_places& where, const promises& promised,
                         power_figures& all)
    : workload_(workload),
      where_(where),
      promised_(promised),
      all_(all)
{}

void power_judge::look_at(const disk& now, const power_state& state)
{
    const expected_tiles expected = promised_.at(state.cut);
    const int64_t promised = std::ranges::count_if(expected, [](const tile_versions& one) { return !one.empty(); });
    ++all_.states;
    all_.tiles_checked += promised;
    const bool is_kept = promised_.holds_for(now);
    const finding best = find_best(now, expected);
    if (best.how == view::opened) ++all_.opened;
    if (best.how == view::repaired) ++all_.repaired;
    if (best.how == view::none) ++(best.is_there ? all_.refused : all_.no_file);
    if (used_slots() != 0 || host().kills() != 0) ++all_.left_behind;

    // A conversion may have taken the old name away while the original has another one.
    const bool may_be_gone = workload_.what == promise::complete_or_original;
    if (!is_kept) return complain(state, "neither the file as it was nor the finished one", promised);
    if (best.how == view::none && best.is_there && promised > 0) return complain(state, "does not open", promised);
    if (!best.is_there && promised > 0 && !may_be_gone) return complain(state, "gone", promised);
    if (best.is_misread) return complain(state, "was taken for an old file", 1);
    if (best.wrong > 0) complain(state, "older tiles are wrong", best.wrong);
}

power_judge::finding power_judge::find_best(const disk& now, const expected_tiles& expected) const
{
    finding best;
    for (const std::string& name : workload_.names) {
        if (now.find(name) == nullptr) continue;
        put_on_disk(now, where_);
        finding one = open(name, expected);
        // The rest of a canvas is not what a conversion should be made of.
        one.is_misread =
            workload_.what == promise::closed_tiles && one.how != view::none && !is_canvas(*now.find(name));
        if (!best.is_there || one.is_better_than(best)) best = one;
    }
    return best;
}

power_judge::finding power_judge::open(const std::string& name, const expected_tiles& expected)
{
    read(name);
    finding found{true, view::opened, 0};
    host().clear();
    int32_t canvas = canvas_old(name.c_str());
    if (canvas < 0) {
        found.how = view::repaired;
        canvas = repair(name) ? canvas_old(name.c_str()) : -1;
    }
    if (canvas < 0) return {true, view::none, 0};
    found.wrong = wrong_tiles(expected, [canvas](size_t tile) { return shown_tile(canvas, tile); });
    canvas_close(canvas);
    const stored_tiles stored = tiles_in(read_whole_file(name));
    const int64_t wrong_in_file = wrong_tiles(expected, [&](size_t tile) { return stored[tile]; });
    found.wrong = std::max(found.wrong, wrong_in_file);
    return found;
}

void power_judge::complain(const power_state& state, const char* what, int64_t tiles)
{
    constexpr int64_t most_told = 20;
    all_.tiles_wrong += std::max<int64_t>(tiles, 1);
    if (all_.tiles_wrong > most_told) return;
    std::printf("%s: %s: %s\n", workload_.name.c_str(), state.text().c_str(), what);
    std::fflush(stdout);
}
