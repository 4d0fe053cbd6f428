#include "tests/reliability/power/power_states.h"

#include <algorithm>

namespace {

using namespace iocache_test;
using tear = power_state::tear;

constexpr size_t most_exhausted = 12;
constexpr size_t exhausted_end = 11;  // of the first and last steps where there are more
constexpr size_t random_subsets = 1000;
constexpr size_t sectors_a_page = 8;
constexpr size_t most_borders = 10;

// Whether a sector, or a page, of a torn write was kept.
bool chance_keeps(uint32_t seed, size_t number)
{
    const uint32_t mixed = (seed ^ static_cast<uint32_t>(number)) * 2'654'435'761U;
    return (mixed ^ mixed >> 15U) % 2 == 0;
}

sector_filter filter_of(const call_log& log, const power_state& state)
{
    const size_t first = log.calls()[log.steps()[state.torn].call].offset / sector_bytes;
    switch (state.how) {
        case tear::cut:
            return [=](size_t sector) { return sector < first + state.detail; };
        case tear::sectors:
            return [=](size_t sector) { return chance_keeps(state.detail, sector); };
        default:
            return [=](size_t sector) { return chance_keeps(state.detail, sector / sectors_a_page); };
    }
}

size_t sectors_of(const call_log& log, size_t step)
{
    const recorded_call& call = log.calls()[log.steps()[step].call];
    return (call.offset % sector_bytes + call.data.size() + sector_bytes - 1) / sector_bytes;
}

// Kept each with this chance.
std::vector<size_t> part_of(const std::vector<size_t>& steps, double chance, std::mt19937& random)
{
    std::vector<size_t> part;
    std::bernoulli_distribution is_kept(chance);
    std::ranges::copy_if(steps, std::back_inserter(part), [&](size_t) { return is_kept(random); });
    return part;
}

std::vector<size_t> any_part(const std::vector<size_t>& steps, std::mt19937& random)
{
    constexpr double chances[] = {0.1, 0.5, 0.9};
    return part_of(steps, chances[random() % std::size(chances)], random);
}

class state_list {
public:
    state_list(const call_log& log, size_t cut) : log_(log), cut_(cut), unsure_(log.unsure_at(cut)) {}

    void add_subsets(std::mt19937& random)
    {
        const size_t count = unsure_.size();
        if (count <= most_exhausted) return add_all_subsets(0, count, {});
        const auto middle = static_cast<std::ptrdiff_t>(exhausted_end);
        add_all_subsets(0, exhausted_end, {});
        add_all_subsets(0, exhausted_end, {unsure_.begin() + middle, unsure_.end()});
        add_all_subsets(count - exhausted_end, count, {});
        add_all_subsets(count - exhausted_end, count, {unsure_.begin(), unsure_.end() - middle});
        for (size_t i = 0; i < count; ++i) {
            add({unsure_[i]});
            std::vector<size_t> others = unsure_;
            others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
            add(others);
        }
        for (size_t i = 0; i < random_subsets; ++i) add(any_part(unsure_, random));
    }
    void add_torn(std::mt19937& random)
    {
        for (const size_t torn : unsure_) {
            if (log_.steps()[torn].what != step::sort::data || sectors_of(log_, torn) < 2) continue;
            for (const bool with_others : {true, false}) {
                add_borders(torn, with_others, random);
                add_tear(torn, with_others, tear::sectors, static_cast<uint32_t>(random()));
                add_tear(torn, with_others, tear::pages, static_cast<uint32_t>(random()));
            }
        }
    }
    std::vector<power_state> states;

private:
    const call_log& log_;
    size_t cut_;
    std::vector<size_t> unsure_;

    void add(std::vector<size_t> kept)
    {
        std::ranges::sort(kept);
        states.push_back({cut_, std::move(kept), never, tear::none, 0});
    }
    void add_all_subsets(size_t first, size_t end, const std::vector<size_t>& others)
    {
        for (uint32_t chosen = 0; chosen < uint32_t{1} << (end - first); ++chosen) {
            std::vector<size_t> kept = others;
            for (size_t i = first; i < end; ++i) {
                if ((chosen >> (i - first) & 1U) != 0) kept.push_back(unsure_[i]);
            }
            add(std::move(kept));
        }
    }
    // Without the others what made the file long enough is kept all the same.
    void add_tear(size_t torn, bool with_others, tear how, uint32_t detail)
    {
        std::vector<size_t> kept;
        for (const size_t one : unsure_) {
            if (with_others || one == torn || log_.steps()[one].what != step::sort::data) kept.push_back(one);
        }
        states.push_back({cut_, std::move(kept), torn, how, detail});
    }
    void add_borders(size_t torn, bool with_others, std::mt19937& random)
    {
        const auto sectors = static_cast<uint32_t>(sectors_of(log_, torn));
        std::set<uint32_t> borders{1, sectors - 1};
        for (uint32_t border = 1; border < sectors && sectors <= most_borders; ++border) borders.insert(border);
        while (borders.size() < std::min<size_t>(most_borders, sectors - 1))
            borders.insert(static_cast<uint32_t>(1 + random() % (sectors - 1)));
        for (const uint32_t border : borders) add_tear(torn, with_others, tear::cut, border);
    }
};

}  // namespace

std::string power_state::text() const
{
    std::string all = "power cut at call " + std::to_string(cut) + ", kept";
    for (const size_t one : kept) all += " " + std::to_string(one);
    if (torn != never) all += ", torn " + std::to_string(torn);
    return all;
}

disk iocache_test::disk_after(const call_log& log, const power_state& state)
{
    disk on = log.sure_at(state.cut);
    for (const size_t one : state.kept) log.apply(on, one, one == state.torn ? filter_of(log, state) : nullptr);
    on.settle();
    return on;
}

std::vector<power_state> iocache_test::all_states(const call_log& log, std::mt19937& random)
{
    std::vector<power_state> all;
    for (size_t cut = 0; cut <= log.calls().size(); ++cut)
        all.push_back({cut, log.unsure_at(cut), never, tear::none, 0});
    for (const size_t border : log.borders()) {
        state_list here(log, border);
        here.add_subsets(random);
        here.add_torn(random);
        all.insert(all.end(), here.states.begin(), here.states.end());
    }
    return all;
}

power_state iocache_test::any_state(const call_log& log, std::mt19937& random)
{
    power_state state;
    state.cut = random() % (log.calls().size() + 1);
    const std::vector<size_t> unsure = log.unsure_at(state.cut);
    state.kept = random() % 4 == 0 ? unsure : any_part(unsure, random);
    if (state.kept.empty() || random() % 3 == 0) return state;
    const size_t torn = state.kept[random() % state.kept.size()];
    if (log.steps()[torn].what != step::sort::data || sectors_of(log, torn) < 2) return state;
    state.torn = torn;
    state.how = static_cast<tear>(1 + random() % 3);
    state.detail =
        static_cast<uint32_t>(state.how == tear::cut ? 1 + random() % (sectors_of(log, torn) - 1) : random());
    return state;
}
