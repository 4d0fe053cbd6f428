// Finding, taking and giving back blocks. All steps work on one current block, named by globals, so that the tile
// loader can search, evict and commit in separate steps.

#include <span>

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
    cv_alloc_fill_in_current();
    cv_alloc_curr_nr = none;
    cv_alloc_curr_index = 0;
    const std::span codes(cv_alloc_code, static_cast<size_t>(cv_alloc_zones));
    const std::span bits(cv_alloc_bits, static_cast<size_t>(cv_alloc_zones));

    for (int32_t zone = 0; zone < cv_alloc_zones;) {
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
                // stays the remembered one, as meant; it never goes back.
                cv_alloc_curr_nr = zone;
                if (next < cv_alloc_curr_code + 1) next = cv_alloc_curr_code + 1;
            }
        } else if (codes[at] == free_kind && cv_alloc_curr_nr < 0) {
            cv_alloc_curr_nr = zone;
        }
        zone = next;
    }

    if (cv_alloc_curr_nr < 0) return -255;
    make_current(cv_alloc_curr_nr, 0);
    return 0;
}

uint8_t* cv_alloc_malloc(void)
{
    cv_alloc_code[cv_alloc_curr_nr] = static_cast<uint8_t>(cv_alloc_curr_code);
    cv_alloc_bits[cv_alloc_curr_nr] |= 1U << static_cast<uint32_t>(cv_alloc_curr_index);
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
}
