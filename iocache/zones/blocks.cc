// Finding, taking and giving back blocks. All steps work on one current block, named by globals, so that the tile
// loader can search, evict and commit in separate steps.

#include <span>

#include "iocache/platform/wide_loads.h"
#include "iocache/zones/watched_memory.h"
#include "iocache/zones/zones.h"

int32_t cv_alloc_curr_size = 0;
int32_t cv_alloc_curr_code = 0;
int32_t cv_alloc_curr_and = 0;
int32_t cv_alloc_curr_nr = 0;
int32_t cv_alloc_curr_index = 0;
uint8_t* cv_alloc_curr_adress = nullptr;

namespace {

using namespace iocache::zones;

constexpr int32_t picture_zone_full = 0x01;
constexpr int32_t mask_zone_full = 0x1F;
constexpr int32_t none = -1;

// The lowest clear bit among the first `blocks` of an occupancy word, or -1.
int32_t first_free_block(uint32_t occupancy, int32_t blocks)
{
    for (int32_t index = 0; index < blocks; ++index, occupancy >>= 1) {
        if ((occupancy & 1U) == 0) return index;
    }
    return none;
}

// Zones looked at together: enough for the compiler to use wide loads.
constexpr int32_t zones_per_stride = 64;

// No zone of a stride can take anything, whatever their kinds: the usual case in a full cache, and the quickest to see.
[[gnu::always_inline]] inline bool all_are_full(const uint8_t* codes, const uint32_t* bits)
{
    const auto full = static_cast<uint32_t>(cv_alloc_curr_and);
    uint32_t differing = 0;
    for (int32_t zone = 0; zone < zones_per_stride; ++zone) differing |= bits[zone] ^ full;
    uint8_t some_free = 0;
    for (int32_t zone = 0; zone < zones_per_stride; ++zone) some_free |= static_cast<uint8_t>(codes[zone] == free_kind);
    return differing == 0 && some_free == 0;
}

// True when the search can pass a whole stride of zones over: those of the wanted kind are full, and none is free, which
// no longer matters once a free one is remembered. The books are read each time: what a host has written into them
// counts.
[[gnu::always_inline]] inline bool is_exhausted(const uint8_t* codes, const uint32_t* bits)
{
    if (all_are_full(codes, bits)) return true;
    const bool free_serves = cv_alloc_curr_nr < 0;
    for (int32_t zone = 0; zone < zones_per_stride; ++zone) {
        if (codes[zone] == free_kind && free_serves) return false;
        if (codes[zone] == cv_alloc_curr_code && bits[zone] != static_cast<uint32_t>(cv_alloc_curr_and)) return false;
    }
    return true;
}

[[gnu::always_inline]] inline int32_t pass_exhausted(int32_t zone)
{
    while (zone + zones_per_stride <= cv_alloc_zones && is_exhausted(cv_alloc_code + zone, cv_alloc_bits + zone)) {
        zone += zones_per_stride;
    }
    return zone;
}

// The first zone from `zone` on at which the search has something to decide, or the first of the last few.
int32_t skip_exhausted(int32_t zone)
{
    return iocache::platform::with_wide_loads([=]() __attribute__((always_inline)) { return pass_exhausted(zone); });
}

}  // namespace

void iocache::zones::make_current(int32_t zone, int32_t index)
{
    cv_alloc_curr_nr = zone;
    cv_alloc_curr_index = index;
    cv_alloc_curr_adress = cv_alloc_adress + int64_t{zone} * zone_bytes + int64_t{index} * cv_alloc_curr_size;
}

int32_t cv_alloc_fill_in_current(void)
{
    switch (cv_alloc_curr_size) {
        case mask_block_bytes:
            cv_alloc_curr_code = mask_kind;
            cv_alloc_curr_and = mask_zone_full;
            return 0;
        case picture_block_bytes:
            cv_alloc_curr_code = picture_kind;
            cv_alloc_curr_and = picture_zone_full;
            return 0;
        default:
            return -255;
    }
}

// A partly used zone of the wanted kind wins over any free zone, wherever that lies: this packs mask tiles.
int32_t cv_alloc_search_place(void)
{
    follow_all_books();
    cv_alloc_fill_in_current();
    cv_alloc_curr_nr = none;
    cv_alloc_curr_index = 0;
    const std::span codes(cv_alloc_code, static_cast<size_t>(cv_alloc_zones));
    const std::span bits(cv_alloc_bits, static_cast<size_t>(cv_alloc_zones));

    for (int32_t zone = skip_exhausted(0); zone < cv_alloc_zones;) {
        const auto at = static_cast<size_t>(zone);
        int32_t next = zone + 1;
        if (codes[at] == cv_alloc_curr_code) {
            if (bits[at] != static_cast<uint32_t>(cv_alloc_curr_and)) {
                const int32_t index = first_free_block(bits[at], cv_alloc_curr_code);
                if (index != none) {
                    make_current(zone, index);
                    return 0;
                }
                // Only a corrupted word gets here. The scan goes on behind zone cv_alloc_curr_code and the zone
                // stays the remembered one, as hosts expect; it never goes back.
                cv_alloc_curr_nr = zone;
                if (next < cv_alloc_curr_code + 1) next = cv_alloc_curr_code + 1;
            }
        } else if (codes[at] == free_kind && cv_alloc_curr_nr < 0) {
            cv_alloc_curr_nr = zone;
        }
        zone = next % zones_per_stride == 0 ? skip_exhausted(next) : next;
    }

    if (cv_alloc_curr_nr < 0) return -255;
    make_current(cv_alloc_curr_nr, 0);
    return 0;
}

uint8_t* cv_alloc_malloc(void)
{
    cv_alloc_code[cv_alloc_curr_nr] = static_cast<uint8_t>(cv_alloc_curr_code);
    cv_alloc_bits[cv_alloc_curr_nr] |= 1U << static_cast<uint32_t>(cv_alloc_curr_index);
    follow_books(cv_alloc_curr_nr);
    return cv_alloc_curr_adress;
}

// Leaves cv_alloc_curr_adress and cv_alloc_curr_and alone: the caller derives them from the size it wants next.
void cv_alloc_free(void* address)
{
    const int64_t offset = static_cast<uint8_t*>(address) - cv_alloc_adress;
    cv_alloc_curr_nr = static_cast<int32_t>(offset / zone_bytes);
    cv_alloc_curr_code = cv_alloc_code[cv_alloc_curr_nr];
    if (cv_alloc_curr_code == picture_kind) cv_alloc_curr_size = picture_block_bytes;
    if (cv_alloc_curr_code == mask_kind) cv_alloc_curr_size = mask_block_bytes;
    if (cv_alloc_curr_size == 0) return;  // a free zone, before any size was known: nothing to give back

    const int64_t within_zone = offset - int64_t{cv_alloc_curr_nr} * zone_bytes;
    cv_alloc_curr_index = static_cast<int32_t>(within_zone / cv_alloc_curr_size);
    cv_alloc_bits[cv_alloc_curr_nr] &= ~(1U << static_cast<uint32_t>(cv_alloc_curr_index));
    if (cv_alloc_bits[cv_alloc_curr_nr] == 0) cv_alloc_code[cv_alloc_curr_nr] = free_kind;
    follow_books(cv_alloc_curr_nr);
}
