// The tile table against the slots, and both against the length of the file.
#include <algorithm>

#include <fmt/format.h>

#include "iocache/canvas/file_layout.h"
#include "tools/verify/checks.h"

namespace iocache::tools {

namespace {

std::string place_of(const file_map& map, std::int64_t tile)
{
    return fmt::format("column {}, row {}", tile % map.across, tile / map.across);
}

// Entries of one sort: how many, and the first of them.
struct entries_found {
    std::int64_t count = 0;
    std::int64_t first = -1;
    bool stop_opening = false;  // one of them is among those that opening looks at

    void add(std::int64_t tile, std::int64_t slots)
    {
        if (count++ == 0) first = tile;
        stop_opening = stop_opening || tile < slots;
    }
};

class table_checker {
public:
    table_checker(const canvas_file& file, const sound_header& sound, const slot_table& table,
                  std::vector<finding>& findings)
        : map_(sound.header),
          bytes_(file.bytes()),
          counted_(sound.header.tiles_written),
          begun_(map_.slots_begun(bytes_)),
          whole_(map_.whole_slots(bytes_)),
          uses_(table.uses(begun_)),
          table_(table),
          findings_(findings)
    {}

    void check()
    {
        sort_entries();
        check_length();
        check_entries();
        check_slots();
    }

private:
    file_map map_;
    std::int64_t bytes_;
    std::int64_t counted_;  // slots, as the header says
    std::int64_t begun_;    // slots of which the file holds a part
    std::int64_t whole_;
    std::vector<std::int32_t> uses_;
    const slot_table& table_;
    std::vector<finding>& findings_;
    entries_found announced_;  // in the file or just behind it, but not counted
    entries_found wild_;
    entries_found lost_;  // counted, but cut off
    entries_found doubled_;

    void add(const char* id, std::int64_t count, std::string what, std::string meaning)
    {
        findings_.push_back({weight::damage, id, std::move(what), std::move(meaning), count});
    }

    void sort_entries()
    {
        const std::int64_t half_announced_to = std::max(begun_, counted_ + 1);
        for (std::size_t tile = 0; tile < table_.entries.size(); ++tile) {
            const std::int64_t slot = table_.entries[tile];
            const auto number = static_cast<std::int64_t>(tile);
            if (slot == canvas::never_written) continue;
            if (slot < 0 || slot >= half_announced_to) {
                wild_.add(number, slot < 0 ? 0 : counted_);  // opening looks for slots that are too large only
            } else if (slot >= counted_) {
                announced_.add(number, counted_);
            } else if (slot >= whole_) {
                lost_.add(number, 0);
            }
            if (slot >= 0 && slot < begun_ && uses_[static_cast<std::size_t>(slot)] > 1) doubled_.add(number, 0);
        }
    }

    void check_length()
    {
        if (counted_ < 0) {
            add("slot-count", 1, fmt::format("the header counts {} slots", counted_),
                "The number is damaged. The canvas does not open.");
            return;
        }
        const std::int64_t wanted = map_.slot_offset(counted_);
        if (bytes_ < wanted) {
            add("too-short", wanted - bytes_,
                fmt::format("the file has {} bytes, and {} slots need {}", bytes_, counted_, wanted),
                "The canvas does not open. Either the end of the file was cut off, or the count of slots is damaged.");
        } else if (bytes_ > wanted) {
            add("tail", bytes_ - wanted, fmt::format("{} bytes lie behind the last slot counted", bytes_ - wanted),
                "A program ended while it made room for another tile, or the count of slots is damaged. The canvas "
                "opens; nothing that was counted is missing.");
        }
    }

    void check_entries()
    {
        const auto opening = [](const entries_found& found) {
            return found.stop_opening ? "The canvas does not open. "
                                      : "The canvas opens and takes it as never written. ";
        };
        if (announced_.count > 0) {
            add("half-announced", announced_.count,
                fmt::format("{} tile(s) name a slot that the header does not count; the first at {}", announced_.count,
                            place_of(map_, announced_.first)),
                std::string(opening(announced_)) +
                    "A program ended between two steps of saving a new tile: what it was about to save did not get "
                    "there. Everything saved before is untouched.");
        }
        if (wild_.count > 0) {
            add("wild-entry", wild_.count,
                fmt::format("{} tile(s) name slots that do not exist; the first at {}", wild_.count,
                            place_of(map_, wild_.first)),
                std::string(opening(wild_)) + "The tile table was damaged; which slots are theirs has to be found out "
                                              "from the reduced image.");
        }
        if (lost_.count > 0) {
            add("lost-tile", lost_.count,
                fmt::format("{} tile(s) lie behind the end of the file, or across it; the first at {}", lost_.count,
                            place_of(map_, lost_.first)),
                "Their pixels were cut off with the end of the file. The reduced image may still show them.");
        }
        if (doubled_.count > 0) {
            add("double", doubled_.count,
                fmt::format("{} tiles share slots with others; the first at {}", doubled_.count,
                            place_of(map_, doubled_.first)),
                "At most one of the tiles of each slot is right, the others show its pixels in the wrong place. "
                "Painting on one changes the other.");
        }
    }

    void check_slots()
    {
        const std::int64_t end = std::min(counted_, begun_);
        const std::int64_t orphans = std::count(uses_.begin(), uses_.begin() + std::max<std::int64_t>(end, 0), 0);
        if (orphans == 0) return;
        add("orphan", orphans, fmt::format("{} slot(s) belong to no tile", orphans),
            "Pixels that were saved once are still in the file but are shown nowhere. If tiles are missing from the "
            "image, these are they; otherwise they only take room.");
    }
};

}  // namespace

void check_table(const canvas_file& file, const sound_header& sound, const slot_table& table,
                 std::vector<finding>& findings)
{
    table_checker(file, sound, table, findings).check();
}

}  // namespace iocache::tools
