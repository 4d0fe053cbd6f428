// Which block a search finds. A search alone marks nothing.
#include <random>

#include "tests/zones/zone_map.h"

using namespace iocache_test;

namespace {

TEST(zone_search, partly_used_zone_wins_over_a_free_one)
{
    draw_zones("...{xx.x.}");
    EXPECT_EQ(found(mask_bytes), "3/2");
    EXPECT_EQ(found(picture_bytes), "0/0");
}

TEST(zone_search, partly_used_zone_wins_over_a_free_one_behind_it)
{
    draw_zones("P{x....}.");
    EXPECT_EQ(found(mask_bytes), "1/1");
    EXPECT_EQ(found(picture_bytes), "2/0");
}

TEST(zone_search, lowest_partly_used_zone_wins)
{
    draw_zones("{xxxxx}.{xxxx.}{x....}");
    EXPECT_EQ(found(mask_bytes), "2/4");
}

TEST(zone_search, lowest_free_zone_wins_when_none_is_partly_used)
{
    draw_zones("P{xxxxx}..");
    EXPECT_EQ(found(mask_bytes), "2/0");
    EXPECT_EQ(found(picture_bytes), "2/0");
}

TEST(zone_search, lowest_free_block_of_a_zone_wins)
{
    draw_zones("{x.x.x}");
    EXPECT_EQ(found(mask_bytes), "0/1");
    draw_zones("{.xxxx}");
    EXPECT_EQ(found(mask_bytes), "0/0");
}

TEST(zone_search, zones_of_the_other_kind_are_passed_over)
{
    draw_zones("{x....}{x....}P");
    EXPECT_EQ(found(picture_bytes), "none");
    draw_zones("PPP");
    EXPECT_EQ(found(mask_bytes), "none");
}

TEST(zone_search, full_region_has_no_place)
{
    draw_zones("P{xxxxx}P");
    EXPECT_EQ(found(mask_bytes), "none");
    EXPECT_EQ(found(picture_bytes), "none");
}

TEST(zone_search, failed_search_leaves_no_zone_and_the_address_as_it_was)
{
    draw_zones(".");
    ASSERT_EQ(found(picture_bytes), "0/0");
    draw_zones("P");
    uint8_t marker = 0;
    cv_alloc_curr_adress = &marker;
    cv_alloc_curr_index = 4;
    EXPECT_EQ(found(mask_bytes), "none");
    EXPECT_EQ(cv_alloc_curr_nr, -1);
    EXPECT_EQ(cv_alloc_curr_index, 0);
    EXPECT_EQ(cv_alloc_curr_adress, &marker);
}

TEST(zone_search, marks_nothing_and_finds_the_same_place_again)
{
    draw_zones("P{x....}.");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(found(mask_bytes), "1/1");
        EXPECT_EQ(found(picture_bytes), "2/0");
    }
    EXPECT_EQ(drawn_zones(), "P{x....}.");
}

TEST(zone_search, derives_kind_and_full_word_from_the_size)
{
    draw_zones("..");
    found(mask_bytes);
    EXPECT_EQ(cv_alloc_curr_code, mask_kind);
    EXPECT_EQ(cv_alloc_curr_and, 31);
    found(picture_bytes);
    EXPECT_EQ(cv_alloc_curr_code, picture_kind);
    EXPECT_EQ(cv_alloc_curr_and, 1);
}

TEST(zone_search, unknown_size_searches_with_the_kind_of_the_last_known_one)
{
    draw_zones(".{x....}");
    ASSERT_EQ(found(mask_bytes), "1/1");
    cv_alloc_curr_size = 1000;
    EXPECT_EQ(cv_alloc_search_place(), 0);
    EXPECT_EQ(cv_alloc_curr_nr, 1);
    EXPECT_EQ(cv_alloc_curr_index, 1);
    EXPECT_EQ(cv_alloc_curr_adress, cv_alloc_adress + picture_bytes + 1000);
}

TEST(zone_search, what_a_host_writes_into_the_books_counts)
{
    draw_zones("..");
    cv_alloc_code[0] = picture_kind;
    cv_alloc_bits[0] = 1;
    EXPECT_EQ(found(picture_bytes), "1/0");
    cv_alloc_zones = 1;
    EXPECT_EQ(found(picture_bytes), "none");
}

// All five blocks used, and a bit beyond them: not the word of a full zone, yet without a free block.
constexpr uint32_t corrupted_mask_word = 0x3F;

TEST(corrupted_zone, search_goes_on_behind_the_zone_that_the_kind_names)
{
    draw_zones("{xxxxx}{x....}{x....}{x....}{x....}{x....}{xx...}.");
    cv_alloc_bits[0] = corrupted_mask_word;
    EXPECT_EQ(found(mask_bytes), "6/2");  // zones 1 to 5 are never looked at
}

TEST(corrupted_zone, stays_the_remembered_one_instead_of_a_free_zone)
{
    draw_zones("..{xxxxx}......");
    cv_alloc_bits[2] = corrupted_mask_word;
    EXPECT_EQ(found(mask_bytes), "2/0");
    EXPECT_EQ(cv_alloc_curr_nr, 2);
}

TEST(corrupted_zone, loses_to_a_partly_used_zone_behind_it)
{
    draw_zones("..{xxxxx}......{xxx..}");
    cv_alloc_bits[2] = corrupted_mask_word;
    EXPECT_EQ(found(mask_bytes), "9/3");
}

TEST(corrupted_zone, further_on_than_its_kind_is_followed_by_the_next_zone)
{
    draw_zones(".......{xxxxx}{x....}");
    cv_alloc_bits[7] = corrupted_mask_word;
    EXPECT_EQ(found(mask_bytes), "8/1");
}

TEST(corrupted_zone, at_the_very_end_ends_the_search)
{
    draw_zones("......{xxxxx}");
    cv_alloc_bits[6] = corrupted_mask_word;
    EXPECT_EQ(found(mask_bytes), "6/0");
}

TEST(corrupted_zone, of_a_picture_sends_the_search_on_behind_zone_one)
{
    draw_zones("P...");
    cv_alloc_bits[0] = 3;
    EXPECT_EQ(found(picture_bytes), "0/0");  // the corrupted zone stays remembered
    draw_zones("PPP.");
    cv_alloc_bits[0] = 3;
    cv_alloc_bits[1] = 0;  // never looked at: the scan goes on from zone 2
    cv_alloc_bits[2] = 0;
    EXPECT_EQ(found(picture_bytes), "2/0");
}

// Many zones are looked at together; what is found must be what a look at one after the other finds.
std::string found_one_by_one(int32_t kind)
{
    const uint32_t full = kind == picture_kind ? 1 : 31;
    int32_t free_zone = -1;
    for (int32_t zone = 0; zone < cv_alloc_zones; ++zone) {
        if (cv_alloc_code[zone] == kind && cv_alloc_bits[zone] != full) {
            uint32_t index = 0;
            while ((cv_alloc_bits[zone] >> index & 1U) != 0) ++index;
            return std::to_string(zone) + "/" + std::to_string(index);
        }
        if (cv_alloc_code[zone] == 0 && free_zone < 0) free_zone = zone;
    }
    return free_zone < 0 ? "none" : std::to_string(free_zone) + "/0";
}

TEST(zone_search, in_hundreds_of_zones_finds_what_a_look_at_each_finds)
{
    constexpr int32_t zones = 331;
    ASSERT_EQ(cv_alloc_init(int64_t{zones} * picture_bytes), 0);
    std::mt19937 random(11);
    const auto below = [&](int32_t end) { return std::uniform_int_distribution<int32_t>(0, end - 1)(random); };
    for (int round = 0; round < 3000; ++round) {
        const bool has_pictures = below(4) != 0;
        for (int32_t zone = 0; zone < zones; ++zone) {
            const bool is_picture = has_pictures && below(3) != 0;
            cv_alloc_code[zone] = is_picture ? picture_kind : mask_kind;
            cv_alloc_bits[zone] = is_picture ? 1 : 31;
        }
        for (int32_t open = below(4); open > 0; --open) {
            const int32_t zone = below(zones);
            const bool is_free = below(2) != 0;
            cv_alloc_code[zone] = is_free ? 0 : mask_kind;
            cv_alloc_bits[zone] = is_free ? 0 : static_cast<uint32_t>(1 + below(30));
        }
        ASSERT_EQ(found(mask_bytes), found_one_by_one(mask_kind)) << drawn_zones();
        ASSERT_EQ(found(picture_bytes), found_one_by_one(picture_kind)) << drawn_zones();
    }
}

TEST(zone_search, far_up_in_a_full_region_sees_what_a_host_has_written)
{
    constexpr int32_t zones = 300;
    draw_zones(std::string(zones, 'P'));
    EXPECT_EQ(found(picture_bytes), "none");
    cv_alloc_bits[201] = 0;
    EXPECT_EQ(found(picture_bytes), "201/0");
    EXPECT_EQ(found(mask_bytes), "none");
    cv_alloc_code[77] = 0;
    EXPECT_EQ(found(mask_bytes), "77/0");
}

}  // namespace
