// Which part of the region may be touched, told to AddressSanitizer: only the blocks that the books say are handed out.
// So an overrun from one tile into the next block is found as one out of a heap block would be. In every other build
// nothing here exists but its names.
//
// The books are the truth here too. A block follows them when it is taken or given back, and what a host has written
// into them is followed at the next search.
#pragma once

#include <cstdint>

#include "iocache/zones/zones.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define __SANITIZE_ADDRESS__ 1  // as the other compiler says it
#endif
#endif

#if defined(__SANITIZE_ADDRESS__)
#include <vector>

#include <sanitizer/asan_interface.h>
#endif

namespace iocache::zones {

#if defined(__SANITIZE_ADDRESS__)

// What the books said of a zone when they were followed last.
struct followed_zone {
    uint8_t kind = free_kind;
    uint32_t occupancy = 0;
    bool operator==(const followed_zone&) const = default;
};

// The zones are forbidden from the first on, some at a time and ahead of their use: telling it of a region as large as
// the machine's memory would take an eighth of that memory.
struct watched_region {
    std::vector<followed_zone> zones;
    int32_t forbidden_zones = 0;
    int64_t region_bytes = 0;
};
inline constexpr int32_t zones_ahead = 64;

inline watched_region& watched()
{
    static watched_region region;
    return region;
}

inline const uint8_t* zone_begin(int32_t zone)
{
    return cv_alloc_adress + int64_t{zone} * zone_bytes;
}

inline void forbid(const uint8_t* first, const uint8_t* end)
{
    __asan_poison_memory_region(first, static_cast<size_t>(end - first));
}

inline void allow(const uint8_t* first, const uint8_t* end)
{
    __asan_unpoison_memory_region(first, static_cast<size_t>(end - first));
}

inline void forbid_ahead_of(int32_t zone)
{
    watched_region& region = watched();
    if (zone + 1 < region.forbidden_zones) return;
    const auto zones = static_cast<int32_t>(region.zones.size());
    const int32_t up_to = zones - zone > zones_ahead ? zone + zones_ahead : zones;
    forbid(zone_begin(region.forbidden_zones), zone_begin(up_to));
    region.forbidden_zones = up_to;
}

// Block by block, and never a block in use for a moment: a client may be reading it.
inline void follow_books(int32_t zone)
{
    const followed_zone now{cv_alloc_code[zone], cv_alloc_bits[zone]};
    followed_zone& before = watched().zones[static_cast<size_t>(zone)];
    if (now == before) return;
    before = now;
    forbid_ahead_of(zone);
    const int32_t blocks = now.kind == mask_kind ? mask_kind : picture_kind;
    const int64_t bytes = zone_bytes / blocks;
    const uint8_t* block = zone_begin(zone);
    for (int32_t index = 0; index < blocks; ++index, block += bytes) {
        const bool is_taken = now.kind != free_kind && (now.occupancy >> static_cast<uint32_t>(index) & 1U) != 0;
        (is_taken ? allow : forbid)(block, block + bytes);
    }
}

inline void follow_all_books()
{
    for (int32_t zone = 0; zone < cv_alloc_zones; ++zone) follow_books(zone);
}

// A new region: nothing of it is handed out.
inline void begin_watching(int64_t region_bytes)
{
    watched() = {std::vector<followed_zone>(static_cast<size_t>(cv_alloc_zones)), 0, region_bytes};
    forbid(zone_begin(cv_alloc_zones), cv_alloc_adress + region_bytes);  // what no zone covers
    forbid_ahead_of(0);
}

// The region goes; whatever lies there next may be touched.
inline void end_watching()
{
    const watched_region& region = watched();
    if (cv_alloc_adress == nullptr) return;
    allow(cv_alloc_adress, zone_begin(region.forbidden_zones));
    allow(zone_begin(static_cast<int32_t>(region.zones.size())), cv_alloc_adress + region.region_bytes);
    watched() = {};
}

#else

inline void follow_books(int32_t /*zone*/) {}
inline void follow_all_books() {}
inline void begin_watching(int64_t /*region_bytes*/) {}
inline void end_watching() {}

#endif

}  // namespace iocache::zones
