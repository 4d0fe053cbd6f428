// The memory of the tile cache: one region cut into zones, each one picture tile or five mask tiles.
//
// Whose: everything here belongs to the side that serves requests (the cache process, or the caller in in-line
// mode). Nothing takes a lock. The exported arrays cv_alloc_code and cv_alloc_bits are the whole truth: a host may
// read them, and what it writes into them counts at the next search.
//
// Invariants, between any two calls:
//   (1) a zone's kind is 0 exactly when its occupancy is 0;
//   (2) the occupancy of a kind-1 zone is 1, that of a kind-5 zone lies in 1..31;
//   (3) a block's address is region + zone * zone_bytes + index * block bytes, and says everything about it.
#pragma once

#include <cstdint>

#include <iocache/iocache.h>

namespace iocache::zones {

inline constexpr int32_t picture_block_bytes = 327'680;  // 256 x 256 pixels of 4 colour bytes and 1 alpha byte
inline constexpr int32_t mask_block_bytes = 65'536;      // 256 x 256 pixels of 1 byte
inline constexpr int32_t zone_bytes = picture_block_bytes;

// A kind is also the number of blocks in a zone of that kind.
inline constexpr int32_t free_kind = 0;
inline constexpr int32_t picture_kind = 1;
inline constexpr int32_t mask_kind = 5;

// The only tile sizes for which memory can be had.
constexpr bool serves(int32_t block_bytes)
{
    return block_bytes == picture_block_bytes || block_bytes == mask_block_bytes;
}

// Has the system put memory behind the zone that the first tile gets. Changes no byte, so that nobody need wait for it.
void prepare_first_zone();

// Points the current block at block `index` of zone `zone`, for the size and kind now current.
void make_current(int32_t zone, int32_t index);

}  // namespace iocache::zones
