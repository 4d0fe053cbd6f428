// Slots of the same content are one: it does not matter which of them a tile gets.
#include "tools/repair/slot_matching.h"

#include <algorithm>
#include <map>
#include <string_view>

#include "tools/interrupt.h"
#include "tools/progress.h"
#include "tools/reader/small_images.h"
#include "tools/repair/evidence.h"

namespace iocache::tools {

namespace {

constexpr std::size_t most_shown = 8;   // candidates reported for one tile
constexpr double least_likeness = 0.5;  // below it, two images have nothing to do with each other
constexpr double sure_likeness = 0.8;   // from here on, unless another is nearly as good
constexpr double nearly_as_good = 0.9;

// Slots that hold the same, and the tiles whose evidence they fit.
struct content {
    std::vector<std::int64_t> slots;   // not given out yet
    std::vector<std::int64_t> whole;   // tiles that fit in colour and alpha
    std::vector<std::int64_t> colour;  // in colour
    std::vector<std::int64_t> blank;   // of which there is no evidence, or that they are empty
};

struct likely {
    double likeness;
    std::size_t content;
    std::int64_t tile;
};

class matcher {
public:
    matcher(const canvas_file& file, const file_map& map, const std::vector<std::int64_t>& tiles)
        : file_(file),
          map_(map),
          evidence_(gather_evidence(file, map)),
          tiles_(tiles),
          is_free_(static_cast<std::size_t>(map.tiles()))
    {
        for (const std::int64_t tile : tiles) is_free_[static_cast<std::size_t>(tile)] = true;
    }

    matching run(const std::vector<std::int64_t>& slots)
    {
        read_contents(slots);
        give_out([](const content& one) -> const std::vector<std::int64_t>& { return one.whole; });
        give_out([](const content& one) -> const std::vector<std::int64_t>& { return one.colour; });
        give_out_likely();
        give_out([](const content& one) -> const std::vector<std::int64_t>& { return one.blank; });
        give_out_in_order();
        for (const content& one : contents_) {
            for (const std::int64_t slot : one.slots) result_.unplaced.push_back(slot);
        }
        std::ranges::sort(result_.unplaced);
        for (const std::int64_t slot : result_.unplaced) result_.unclear.push_back({no_tile, no_slot, {slot}});
        return std::move(result_);
    }

private:
    const canvas_file& file_;
    const file_map& map_;
    std::vector<tile_evidence> evidence_;
    const std::vector<std::int64_t>& tiles_;
    std::vector<bool> is_free_;
    std::vector<content> contents_;
    matching result_;

    [[nodiscard]] const tile_evidence& of(std::int64_t tile) const { return evidence_[static_cast<std::size_t>(tile)]; }
    [[nodiscard]] bool is_free(std::int64_t tile) const { return is_free_[static_cast<std::size_t>(tile)]; }

    void read_contents(const std::vector<std::int64_t>& slots)
    {
        std::map<std::size_t, std::size_t> known;  // by hash
        progress bar("match", static_cast<std::int64_t>(slots.size()));
        for (const std::int64_t slot : slots) {
            check_interrupt();
            const std::vector<std::uint8_t> bytes = read_slot(file_, map_, slot);
            bar.advance(1);
            if (std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; })) {
                result_.empty.push_back(slot);
                continue;
            }
            const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
            const auto [place, is_new] = known.try_emplace(std::hash<std::string_view>{}(text), contents_.size());
            if (is_new) contents_.push_back(fitting_tiles(bytes));
            contents_[place->second].slots.push_back(slot);
        }
    }

    [[nodiscard]] content fitting_tiles(const std::vector<std::uint8_t>& bytes) const
    {
        content one;
        for (const std::int64_t tile : tiles_) {
            const tile_evidence& evidence = of(tile);
            if (!evidence.fits_colour(map_, bytes)) continue;
            // Narrow tiles at the edge may have no sampled pixel at all; their margins still tell something.
            if (evidence.places.empty() && margin_pixels(map_, tile, bytes) > 0) continue;
            if (evidence.is_blank) {
                one.blank.push_back(tile);
            } else {
                one.colour.push_back(tile);
                // Of a tile at the edge the pixels outside of the image are empty.
                if (evidence.fits_alpha(map_, bytes) && margin_pixels(map_, tile, bytes) == 0)
                    one.whole.push_back(tile);
            }
        }
        return one;
    }

    void give(content& one, std::int64_t tile)
    {
        result_.matches.push_back({one.slots.front(), tile});
        one.slots.erase(one.slots.begin());
        is_free_[static_cast<std::size_t>(tile)] = false;
    }

    // Free tiles that could take the content.
    [[nodiscard]] std::vector<std::int64_t> choice(const std::vector<std::int64_t>& fitting) const
    {
        std::vector<std::int64_t> free;
        std::ranges::copy_if(fitting, std::back_inserter(free), [this](std::int64_t tile) { return is_free(tile); });
        return free;
    }

    // Gives out what is certain as long as there is something, then the rest in order.
    template <class Fitting> void give_out(const Fitting& fitting)
    {
        while (give_certain(fitting)) {}
        const std::vector<std::vector<std::size_t>> takers = takers_of(fitting);
        for (content& one : contents_) {
            for (const std::int64_t tile : fitting(one)) {
                if (one.slots.empty()) break;
                if (!is_free(tile)) continue;
                note_unclear(tile, one.slots.front(), takers[static_cast<std::size_t>(tile)]);
                give(one, tile);
            }
        }
    }

    // Which contents could go to each tile.
    template <class Fitting> [[nodiscard]] std::vector<std::vector<std::size_t>> takers_of(const Fitting& fitting) const
    {
        std::vector<std::vector<std::size_t>> takers(is_free_.size());
        for (std::size_t i = 0; i < contents_.size(); ++i) {
            if (contents_[i].slots.empty()) continue;
            for (const std::int64_t tile : fitting(contents_[i])) {
                if (is_free(tile)) takers[static_cast<std::size_t>(tile)].push_back(i);
            }
        }
        return takers;
    }

    // Content that fits as many tiles as it has slots, tiles that no other content fits.
    template <class Fitting> bool give_certain(const Fitting& fitting)
    {
        const std::vector<std::vector<std::size_t>> takers = takers_of(fitting);
        bool gave = false;
        for (content& one : contents_) {
            const std::vector<std::int64_t> tiles = choice(fitting(one));
            if (one.slots.empty() || tiles.size() != one.slots.size()) continue;
            const bool alone = std::ranges::all_of(
                tiles, [&](std::int64_t tile) { return takers[static_cast<std::size_t>(tile)].size() == 1; });
            if (!alone) continue;
            for (const std::int64_t tile : tiles) give(one, tile);
            gave = true;
        }
        return gave;
    }

    void note_unclear(std::int64_t tile, std::int64_t chosen, const std::vector<std::size_t>& takers)
    {
        unclear_match match{tile, chosen, {}};
        for (const std::size_t taker : takers) {
            for (const std::int64_t slot : contents_[taker].slots) {
                if (slot != chosen && match.candidates.size() < most_shown) match.candidates.push_back(slot);
            }
        }
        result_.unclear.push_back(std::move(match));
    }

    // The best pairs of what is left. Reads the slots again: few are left as a rule.
    void give_out_likely()
    {
        std::vector<likely> pairs;
        for (std::size_t i = 0; i < contents_.size(); ++i) {
            if (contents_[i].slots.empty()) continue;
            check_interrupt();
            const std::vector<std::uint8_t> bytes = read_slot(file_, map_, contents_[i].slots.front());
            for (const std::int64_t tile : tiles_) {
                if (!is_free(tile) || of(tile).is_blank) continue;
                const double likeness = of(tile).likeness(map_, bytes);
                if (likeness >= least_likeness) pairs.push_back({likeness, i, tile});
            }
        }
        std::ranges::stable_sort(pairs, [](const likely& a, const likely& b) { return a.likeness > b.likeness; });
        for (const likely& best : pairs) {
            content& one = contents_[best.content];
            if (one.slots.empty() || !is_free(best.tile)) continue;
            std::vector<std::size_t> rivals;
            bool is_rivalled = best.likeness < sure_likeness;
            for (const likely& other : pairs) {
                if (other.likeness < best.likeness * nearly_as_good) break;
                if ((other.tile == best.tile) == (other.content == best.content)) continue;
                is_rivalled = true;
                if (other.tile == best.tile) rivals.push_back(other.content);
            }
            if (is_rivalled) note_unclear(best.tile, one.slots.front(), rivals);
            give(one, best.tile);
        }
    }

    // Without any evidence there is the order only, and only when every tile gets a slot.
    void give_out_in_order()
    {
        const bool blind = std::ranges::all_of(tiles_, [this](std::int64_t tile) { return of(tile).is_blank; });
        std::vector<std::pair<std::int64_t, std::size_t>> left;  // slot, content
        for (std::size_t i = 0; i < contents_.size(); ++i) {
            for (const std::int64_t slot : contents_[i].slots) left.emplace_back(slot, i);
        }
        const std::vector<std::int64_t> free = choice(tiles_);
        if (!blind || left.size() != free.size()) return;
        std::ranges::sort(left);
        for (std::size_t i = 0; i < left.size(); ++i) {
            content& one = contents_[left[i].second];
            result_.unclear.push_back({free[i], left[i].first, {}});
            give(one, free[i]);
        }
    }
};

}  // namespace

matching match_slots(const canvas_file& file, const file_map& map, const std::vector<std::int64_t>& slots,
                     const std::vector<std::int64_t>& tiles)
{
    if (slots.empty()) return {};
    return matcher(file, map, tiles).run(slots);
}

}  // namespace iocache::tools
