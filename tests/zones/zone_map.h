// Zones drawn as text, so that a test reads like a picture of its memory: '.' is a free zone, 'P' one with a picture
// tile, "{x.xx.}" one that holds mask blocks 0, 2 and 3.
#ifndef IOCACHE_TESTS_ZONES_ZONE_MAP_H
#define IOCACHE_TESTS_ZONES_ZONE_MAP_H

#include <cstdint>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include <iocache/iocache.h>

namespace iocache_test {

inline constexpr int32_t picture_bytes = 327'680;
inline constexpr int32_t mask_bytes = 65'536;
inline constexpr int32_t picture_kind = 1;
inline constexpr int32_t mask_kind = 5;

// All zones, as the two books have them; '?' where they disagree about a zone.
inline std::string drawn_zones()
{
    std::string drawn;
    for (int32_t zone = 0; zone < cv_alloc_zones; ++zone) {
        const int32_t kind = cv_alloc_code[zone];
        const uint32_t bits = cv_alloc_bits[zone];
        if (kind == 0 && bits == 0) {
            drawn += '.';
        } else if (kind == picture_kind && bits == 1) {
            drawn += 'P';
        } else if (kind == mask_kind && bits >= 1 && bits <= 31) {
            drawn += '{';
            for (uint32_t block = 0; block < 5; ++block) drawn += (bits >> block & 1U) != 0 ? 'x' : '.';
            drawn += '}';
        } else {
            drawn += '?';
        }
    }
    return drawn;
}

// A region whose zones are as drawn.
inline void draw_zones(std::string_view drawing)
{
    int32_t zones = 0;
    for (size_t at = 0; at < drawing.size(); at += drawing[at] == '{' ? 7 : 1) ++zones;
    ASSERT_EQ(cv_alloc_init(int64_t{zones} * picture_bytes), 0);
    int32_t zone = 0;
    for (size_t at = 0; at < drawing.size(); ++zone) {
        if (drawing[at] == '{') {
            cv_alloc_code[zone] = mask_kind;
            for (uint32_t block = 0; block < 5; ++block)
                if (drawing.at(at + 1 + block) == 'x') cv_alloc_bits[zone] |= 1U << block;
            at += 7;
        } else {
            cv_alloc_code[zone] = drawing[at] == 'P' ? picture_kind : 0;
            cv_alloc_bits[zone] = drawing[at] == 'P' ? 1 : 0;
            ++at;
        }
    }
    ASSERT_EQ(drawn_zones(), drawing);
}

// Where a search ended: "zone/index", or "none".
inline std::string found(int32_t bytes)
{
    cv_alloc_curr_size = bytes;
    const int32_t result = cv_alloc_search_place();
    if (result == -255) return "none";
    if (result != 0) return "result " + std::to_string(result);
    const int64_t offset = int64_t{cv_alloc_curr_nr} * picture_bytes + int64_t{cv_alloc_curr_index} * bytes;
    if (cv_alloc_curr_adress - cv_alloc_adress != offset) return "wrong address";
    return std::to_string(cv_alloc_curr_nr) + "/" + std::to_string(cv_alloc_curr_index);
}

// A block, or null when there is no room.
inline uint8_t* taken(int32_t bytes)
{
    cv_alloc_curr_size = bytes;
    return cv_alloc_search_place() == 0 ? cv_alloc_malloc() : nullptr;
}

inline uint8_t* block_at(int32_t zone, int32_t index)
{
    return cv_alloc_adress + int64_t{zone} * picture_bytes + int64_t{index} * mask_bytes;
}

}  // namespace iocache_test

#endif
