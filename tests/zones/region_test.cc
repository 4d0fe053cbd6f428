// How a budget becomes zones, and what a size stands for.
#include <algorithm>
#include <array>
#include <cstring>
#include <set>

#include "tests/zones/zone_map.h"

using namespace iocache_test;

namespace {

TEST(zone_region, budget_below_one_zone_has_no_zone_and_is_no_failure)
{
    for (const int64_t bytes : {0, 1, picture_bytes - 1}) {
        EXPECT_EQ(cv_alloc_init(bytes), 0);
        EXPECT_EQ(cv_alloc_zones, 0);
        EXPECT_EQ(cv_alloc_zones_initial, 0);
        EXPECT_EQ(found(picture_bytes), "none");
        EXPECT_EQ(found(mask_bytes), "none");
        EXPECT_EQ(cv_alloc_curr_nr, -1);
    }
}

TEST(zone_region, budget_of_exactly_one_zone_holds_one_picture_tile_or_five_masks)
{
    ASSERT_EQ(cv_alloc_init(picture_bytes), 0);
    EXPECT_EQ(cv_alloc_zones, 1);
    uint8_t* const picture = taken(picture_bytes);
    EXPECT_EQ(picture, cv_alloc_adress);
    EXPECT_EQ(taken(picture_bytes), nullptr);
    EXPECT_EQ(taken(mask_bytes), nullptr);
    cv_alloc_free(picture);

    for (int32_t index = 0; index < 5; ++index) EXPECT_EQ(taken(mask_bytes), block_at(0, index));
    EXPECT_EQ(taken(mask_bytes), nullptr);
    EXPECT_EQ(taken(picture_bytes), nullptr);
    EXPECT_EQ(drawn_zones(), "{xxxxx}");
}

TEST(zone_region, a_million_bytes_are_three_zones_and_a_rest_that_nobody_gets)
{
    ASSERT_EQ(cv_alloc_init(1'000'000), 0);
    EXPECT_EQ(cv_alloc_zones, 3);
    EXPECT_EQ(cv_alloc_zones_initial, 3);

    std::set<int64_t> offsets;
    while (const uint8_t* const block = taken(mask_bytes)) offsets.insert(block - cv_alloc_adress);
    EXPECT_EQ(offsets.size(), 15U);
    EXPECT_EQ(*offsets.begin(), 0);
    EXPECT_EQ(*offsets.rbegin() + mask_bytes, 3 * picture_bytes);
    EXPECT_EQ(drawn_zones(), "{xxxxx}{xxxxx}{xxxxx}");
}

TEST(zone_region, every_zone_is_free_after_the_start_also_after_an_earlier_one)
{
    draw_zones("P{x.xx.}.{xxxxx}");
    ASSERT_EQ(cv_alloc_init(6 * picture_bytes), 0);
    EXPECT_EQ(cv_alloc_zones, 6);
    EXPECT_EQ(cv_alloc_zones_initial, 6);
    EXPECT_EQ(drawn_zones(), "......");
}

TEST(zone_region, blocks_of_a_full_region_are_memory_of_their_own)
{
    draw_zones("...");
    const std::array blocks{taken(picture_bytes), taken(mask_bytes), taken(picture_bytes), taken(mask_bytes)};
    const std::array sizes{picture_bytes, mask_bytes, picture_bytes, mask_bytes};
    for (size_t i = 0; i < blocks.size(); ++i) {
        ASSERT_NE(blocks[i], nullptr);
        std::memset(blocks[i], static_cast<int>(i + 1), static_cast<size_t>(sizes[i]));
    }
    for (size_t i = 0; i < blocks.size(); ++i) {
        const auto is_own = [i](uint8_t byte) { return byte == i + 1; };
        EXPECT_TRUE(std::all_of(blocks[i], blocks[i] + sizes[i], is_own)) << i;
    }
    EXPECT_EQ(drawn_zones(), "P{xx...}P");
}

TEST(kind_of_a_size, mask_tiles_come_five_to_a_zone)
{
    cv_alloc_curr_size = mask_bytes;
    EXPECT_EQ(cv_alloc_fill_in_current(), 0);
    EXPECT_EQ(cv_alloc_curr_code, 5);
    EXPECT_EQ(cv_alloc_curr_and, 31);
}

TEST(kind_of_a_size, a_picture_tile_has_a_zone_of_its_own)
{
    cv_alloc_curr_size = picture_bytes;
    EXPECT_EQ(cv_alloc_fill_in_current(), 0);
    EXPECT_EQ(cv_alloc_curr_code, 1);
    EXPECT_EQ(cv_alloc_curr_and, 1);
}

TEST(kind_of_a_size, any_other_size_is_refused_and_changes_nothing)
{
    for (const int32_t known : {mask_bytes, picture_bytes}) {
        cv_alloc_curr_size = known;
        ASSERT_EQ(cv_alloc_fill_in_current(), 0);
        const int32_t code = cv_alloc_curr_code;
        const int32_t full = cv_alloc_curr_and;
        for (const int32_t size : {0, -1, 1, mask_bytes - 1, mask_bytes + 1, picture_bytes - 1, picture_bytes + 1}) {
            cv_alloc_curr_size = size;
            EXPECT_EQ(cv_alloc_fill_in_current(), -255) << size;
            EXPECT_EQ(cv_alloc_curr_code, code) << size;
            EXPECT_EQ(cv_alloc_curr_and, full) << size;
            EXPECT_EQ(cv_alloc_curr_size, size);
        }
    }
}

}  // namespace
