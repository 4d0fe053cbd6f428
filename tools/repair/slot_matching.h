// Finds out which tile a slot holds when the tile table does not say so, by comparing its pixels with the small images.
//
// First come slots all of whose sampled pixels fit, then those that fit but for the alpha, then those that fit best.
// What fits in several ways is given out in the order of slots and tiles, which is that in which most programs write,
// and is reported as unclear.
#pragma once

#include <cstdint>
#include <vector>

#include "tools/reader/canvas_file.h"
#include "tools/reader/file_map.h"

namespace iocache::tools {

inline constexpr std::int64_t no_tile = -1;
inline constexpr std::int64_t no_slot = -1;

struct matched_slot {
    std::int64_t slot;
    std::int64_t tile;
};

// A tile that could hold several slots, or a slot that could belong to several tiles.
struct unclear_match {
    std::int64_t tile = no_tile;           // no_tile: the slot was not placed
    std::int64_t chosen = no_slot;         // the slot given to it
    std::vector<std::int64_t> candidates;  // other slots it may be; not all, when there are many
};

struct matching {
    std::vector<matched_slot> matches;
    std::vector<unclear_match> unclear;
    std::vector<std::int64_t> unplaced;  // slots with content for which no tile was found
    std::vector<std::int64_t> empty;     // slots of nothing but zeros, which need no tile
};

// Both lists in rising order.
[[nodiscard]] matching match_slots(const canvas_file& file, const file_map& map, const std::vector<std::int64_t>& slots,
                                   const std::vector<std::int64_t>& tiles);

}  // namespace iocache::tools
