// From findings to steps.
#include "tools/repair/repair_plan.h"

#include <algorithm>

#include <fmt/format.h>

#include "iocache/canvas/file_layout.h"
#include "tools/reader/small_images.h"
#include "tools/reader/sound_header.h"
#include "tools/verify/checks.h"

namespace iocache::tools {

namespace {

bool found(const std::vector<finding>& findings, std::string_view id)
{
    return std::ranges::any_of(findings, [&](const finding& one) { return one.id == id; });
}

class planner {
public:
    planner(const canvas_file& file, repair_plan& plan)
        : file_(file),
          plan_(plan),
          map_(plan.header),
          begun_(map_.slots_begun(file.bytes())),
          whole_(map_.whole_slots(file.bytes())),
          counted_(plan.header.tiles_written)
    {
        plan.entries = read_slot_table(file, map_).entries;
    }

    void plan(table_trust trust)
    {
        count_slots();
        if (trust == table_trust::none) {
            std::ranges::fill(plan_.entries, canvas::never_written);
            plan_.steps.emplace_back("look for the tile of every slot, whatever the tile table says");
        }
        settle_entries();
        place_slots();
        settle_rest();
    }

private:
    const canvas_file& file_;
    repair_plan& plan_;
    file_map map_;
    std::int64_t begun_;
    std::int64_t whole_;
    std::int64_t counted_;
    std::int64_t slots_ = 0;                         // of the repaired file
    std::vector<bool> in_question_;                  // tiles
    std::vector<std::vector<std::int64_t>> claims_;  // the tiles that named each slot more than once

    template <class... Values> void step(fmt::format_string<Values...> text, Values&&... values)
    {
        plan_.steps.push_back(fmt::format(text, std::forward<Values>(values)...));
    }
    template <class... Values> void loss(fmt::format_string<Values...> text, Values&&... values)
    {
        plan_.losses.push_back(fmt::format(text, std::forward<Values>(values)...));
    }

    [[nodiscard]] bool is_empty(std::int64_t slot) const
    {
        return std::ranges::all_of(read_slot(file_, map_, slot), [](std::uint8_t byte) { return byte == 0; });
    }

    // The file was closed, and every slot that it counts is there and is some tile's: nothing behind them was ever a tile.
    [[nodiscard]] bool all_is_counted() const
    {
        if (plan_.header.dirty != 0 || counted_ < 0 || counted_ > whole_) return false;
        std::vector<bool> is_named(static_cast<std::size_t>(counted_));
        for (const std::int32_t slot : plan_.entries) {
            if (slot == canvas::never_written) continue;
            if (slot < 0 || slot >= counted_ || is_named[static_cast<std::size_t>(slot)]) return false;
            is_named[static_cast<std::size_t>(slot)] = true;
        }
        return std::ranges::find(is_named, false) == is_named.end();
    }

    // A slot is handed out before it is filled: one that is not counted and holds something was counted once.
    void count_slots()
    {
        slots_ = counted_ >= 0 ? std::min(counted_, begun_) : begun_;
        std::int64_t filled = all_is_counted() ? slots_ : begun_;
        while (filled > slots_ && is_empty(filled - 1)) --filled;
        slots_ = filled;
        if (slots_ != counted_) step("count {} slots instead of {}", slots_, counted_);
        const std::int64_t end = map_.slot_offset(slots_);
        if (file_.bytes() > end) step("cut {} bytes that no tile ever used off the end", file_.bytes() - end);
        if (file_.bytes() < end) {
            step("fill the last slot up with {} bytes of zeros", end - file_.bytes());
            loss("{} bytes at the end of slot {}", end - file_.bytes(), slots_ - 1);
        }
        plan_.header.tiles_written = static_cast<std::int32_t>(slots_);
    }

    void settle_entries()
    {
        in_question_.assign(plan_.entries.size(), false);
        std::int64_t cut = 0;
        std::int64_t lost = 0;
        std::int64_t wild = 0;
        for (std::size_t tile = 0; tile < plan_.entries.size(); ++tile) {
            const std::int64_t slot = plan_.entries[tile];
            if (slot >= canvas::never_written && slot < slots_) continue;
            plan_.entries[tile] = canvas::never_written;
            if (slot >= 0 && slot < counted_) {
                ++lost;
                in_question_[tile] = true;
            } else if (slot >= 0 && slot <= std::max({begun_, counted_, slots_})) {
                ++cut;  // announced, and never filled: there is nothing to look for
            } else {
                ++wild;
                in_question_[tile] = true;
            }
        }
        if (cut > 0) step("take back {} tile(s) that were announced and never saved", cut);
        if (lost > 0) {
            step("take {} tile(s) behind the end of the file as never written", lost);
            loss("{} tile(s) that lay behind the end of the file", lost);
        }
        if (wild > 0) step("look for the slots of {} tile(s) whose entries make no sense", wild);
        settle_doubles();
    }

    void settle_doubles()
    {
        claims_.assign(static_cast<std::size_t>(slots_), {});
        for (std::size_t tile = 0; tile < plan_.entries.size(); ++tile) {
            const std::int32_t slot = plan_.entries[tile];
            if (slot >= 0) claims_[static_cast<std::size_t>(slot)].push_back(static_cast<std::int64_t>(tile));
        }
        std::size_t doubled = 0;
        for (std::vector<std::int64_t>& tiles : claims_) {
            if (tiles.size() < 2) {
                tiles.clear();
                continue;
            }
            doubled += tiles.size();
            for (const std::int64_t tile : tiles) {
                plan_.entries[static_cast<std::size_t>(tile)] = canvas::never_written;
                in_question_[static_cast<std::size_t>(tile)] = true;
            }
        }
        if (doubled > 0) step("find out which of {} tiles that share slots each slot belongs to", doubled);
    }

    // Slots without a tile may belong to any tile without a slot.
    void place_slots()
    {
        std::vector<bool> has_tile(static_cast<std::size_t>(slots_));
        for (const std::int32_t slot : plan_.entries) {
            if (slot >= 0) has_tile[static_cast<std::size_t>(slot)] = true;
        }
        std::vector<std::int64_t> slots;
        for (std::int64_t slot = 0; slot < slots_; ++slot) {
            if (!has_tile[static_cast<std::size_t>(slot)]) slots.push_back(slot);
        }
        std::vector<std::int64_t> tiles;
        for (std::size_t tile = 0; tile < plan_.entries.size(); ++tile) {
            if (plan_.entries[tile] == canvas::never_written) tiles.push_back(static_cast<std::int64_t>(tile));
        }
        if (slots.empty()) return;
        matching result = match_slots(file_, map_, slots, tiles);
        for (const matched_slot& match : result.matches) {
            plan_.entries[static_cast<std::size_t>(match.tile)] = static_cast<std::int32_t>(match.slot);
        }
        give_doubles_to_someone(result);
        tell(result, static_cast<std::int64_t>(slots.size()));
        plan_.unclear = std::move(result.unclear);
    }

    // A slot that two tiles named and that fits neither: the first that is still without one keeps it.
    void give_doubles_to_someone(matching& result)
    {
        const auto give = [&](std::int64_t slot, bool is_unclear) {
            for (const std::int64_t tile : claims_[static_cast<std::size_t>(slot)]) {
                std::int32_t& entry = plan_.entries[static_cast<std::size_t>(tile)];
                if (entry != canvas::never_written) continue;
                entry = static_cast<std::int32_t>(slot);
                if (is_unclear) result.unclear.push_back({tile, slot, {}});
                return true;
            }
            return false;
        };
        for (const std::int64_t slot : result.empty) give(slot, false);
        std::erase_if(result.unplaced, [&](std::int64_t slot) {
            if (!give(slot, true)) return false;
            std::erase_if(result.unclear, [&](const unclear_match& match) {
                return match.tile == no_tile && match.candidates.front() == slot;
            });
            return true;
        });
    }

    void tell(const matching& result, std::int64_t slots)
    {
        step("find the tiles of {} slot(s) from the reduced image: {} found, {} of them unclear", slots,
             result.matches.size(),
             std::ranges::count_if(result.unclear, [](const unclear_match& match) { return match.tile != no_tile; }));
        if (!result.unplaced.empty()) {
            loss("{} slot(s) with pixels that fit no tile; they stay in the file", result.unplaced.size());
        }
        std::int64_t without = 0;
        for (std::size_t tile = 0; tile < plan_.entries.size(); ++tile) {
            without += in_question_[tile] && plan_.entries[tile] == canvas::never_written ? 1 : 0;
        }
        if (without > 0) step("take {} tile(s) for which no slot is left as never written", without);
    }

    void settle_rest()
    {
        const std::vector<finding>& findings = plan_.findings;
        for (const finding& one : findings) {
            if (one.id.starts_with("header-")) step("mend the header: {}", one.what);
        }
        if (found(findings, "region-cut-off")) {
            step("make the regions that were cut off again, empty");
            loss("what the regions held that were cut off");
        }
        if (found(findings, "margin")) step("empty the pixels outside of the image");
        if (plan_.steps.empty() && !has_damage(findings)) return;
        step("make the reduced image and the icon again from the tiles");
        if (plan_.header.dirty != 0) step("mark the file as closed");
        plan_.header.dirty = 0;
    }
};

}  // namespace

repair_plan plan_repair(const canvas_file& file, table_trust trust)
{
    repair_plan plan;
    plan.findings = verify(file, depth::full);
    const sound_header sound = make_sound(file);
    plan.header = sound.header;
    plan.is_possible = sound.state == header_state::usable && !found(plan.findings, "unreadable");
    if (!plan.is_possible || (!has_damage(plan.findings) && trust == table_trust::where_it_makes_sense)) return plan;
    planner(file, plan).plan(trust);
    return plan;
}

}  // namespace iocache::tools
