#include "tests/reliability/power/power_promises.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace {

using namespace iocache_test;

constexpr size_t tile_count = power_tile_count;
constexpr size_t tiles_across_field = 0x02C;
constexpr size_t tiles_down_field = 0x02E;
constexpr size_t table_offset_field = 0x348;
constexpr size_t tiles_offset_field = 0x34C;
constexpr size_t tile_bytes_field = 0x360;
constexpr size_t magic_field = 0x36C;
constexpr int32_t magic_number = 414'141;

size_t number_at(const bytes& file, size_t field)
{
    return static_cast<size_t>(int32_at(file, field));
}

// Where a tile that has a slot lies.
size_t place_of(const bytes& file, size_t tile)
{
    const size_t slot = number_at(file, number_at(file, table_offset_field) + 4 * tile);
    return number_at(file, tiles_offset_field) + slot * number_at(file, tile_bytes_field);
}

void put(expected_tiles& expected, const stored_tiles& tiles)
{
    for (size_t tile = 0; tile < tile_count; ++tile) {
        if (!tiles[tile].empty()) expected[tile].push_back(tiles[tile]);
    }
}

bool has_sector(const tile_versions& versions, const bytes& tile, size_t at)
{
    return std::ranges::any_of(
        versions, [&](const bytes& version) { return std::memcmp(&tile[at], &version[at], sector_bytes) == 0; });
}

}  // namespace

bool iocache_test::is_canvas(const bytes& file)
{
    return file.size() >= magic_field + sizeof(int32_t) && int32_at(file, magic_field) == magic_number;
}

stored_tiles iocache_test::tiles_in(const bytes& file)
{
    if (!is_canvas(file)) return {};
    stored_tiles tiles;
    try {
        const auto grid = static_cast<size_t>(int16_at(file, tiles_across_field) * int16_at(file, tiles_down_field));
        for (size_t tile = 0; tile < std::min(tile_count, grid); ++tile) {
            if (int32_at(file, number_at(file, table_offset_field) + 4 * tile) < 0) continue;
            const size_t at = place_of(file, tile);
            const size_t end = at + number_at(file, tile_bytes_field);
            if (end > file.size()) continue;
            tiles[tile].assign(file.begin() + static_cast<std::ptrdiff_t>(at),
                               file.begin() + static_cast<std::ptrdiff_t>(end));
        }
    } catch (const std::out_of_range&) {
        return {};
    }
    return tiles;
}

bool iocache_test::is_made_of(const bytes& tile, const tile_versions& versions)
{
    if (std::ranges::find(versions, tile) != versions.end()) return true;
    if (versions.size() < 2 || tile.size() != versions.front().size()) return false;
    for (size_t at = 0; at < tile.size(); at += sector_bytes) {
        if (!has_sector(versions, tile, at)) return false;
    }
    return true;
}

promises::promises(const power_workload& workload, const call_log& log)
    : what_(workload.what),
      keeps_original_(workload.keeps_original),
      name_(workload.names.front()),
      log_(log)
{
    const disk end = log.whole_at(log.calls().size());
    if (const bytes* const file = end.find(name_)) final_tiles_ = tiles_in(*file);
    if (const bytes* const file = log.before().find(name_)) original_ = *file;
    add_close(0, name_);
    for (size_t call = 0; call < log.calls().size(); ++call) {
        if (log.calls()[call].what == recorder::action::closed) add_close(call + 1, log.calls()[call].path);
    }
}

void promises::add_close(size_t from, const std::string& path)
{
    const disk now = log_.whole_at(from);
    const auto found = now.names.find(path);
    if (found == now.names.end()) return;
    const bytes& contents = now.files[found->second];
    closes_.push_back({from, found->second, contents, tiles_in(contents)});
}

size_t promises::closes_before(size_t cut) const
{
    return static_cast<size_t>(std::ranges::count_if(closes_, [cut](const close& one) { return one.from <= cut; }));
}

expected_tiles promises::at(size_t cut) const
{
    expected_tiles expected;
    if (what_ == promise::complete_or_original) {
        put(expected, final_tiles_);
        return expected;
    }
    const size_t closes = closes_before(cut);
    if (closes == 0) return expected;
    const close& last = closes_[closes - 1];
    put(expected, last.tiles);
    add_rewrites(last, cut, expected);
    return expected;
}

void promises::add_rewrites(const close& one, size_t cut, expected_tiles& expected) const
{
    for (size_t tile = 0; tile < tile_count; ++tile) {
        if (expected[tile].empty()) continue;
        const size_t at = place_of(one.contents, tile);
        for (size_t call = one.from; call < cut; ++call) {
            const recorded_call& written = log_.calls()[call];
            const bool is_of_tile = written.what == recorder::action::write && written.file == one.file &&
                                    written.offset == at && written.data.size() == one.tiles[tile].size();
            if (is_of_tile) expected[tile].push_back(written.data);
        }
    }
}

bool promises::holds_for(const disk& now) const
{
    if (what_ != promise::complete_or_original) return true;
    const bool is_there =
        std::ranges::any_of(now.names, [&](const auto& name) { return now.files[name.second] == original_; });
    if (keeps_original_ && !is_there) return false;
    const bytes* const file = now.find(name_);
    if (file == nullptr) return is_there;
    return *file == original_ || tiles_in(*file) == final_tiles_;
}
