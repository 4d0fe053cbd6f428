// Taking the current block, giving blocks back, and what a free leaves for a caller that wants the block at once.
#include "tests/zones/zone_map.h"

using namespace iocache_test;

namespace {

TEST(taken_block, gives_a_free_zone_its_kind)
{
    draw_zones("..");
    EXPECT_EQ(taken(mask_bytes), block_at(0, 0));
    EXPECT_EQ(drawn_zones(), "{x....}.");
    EXPECT_EQ(taken(picture_bytes), block_at(1, 0));
    EXPECT_EQ(drawn_zones(), "{x....}P");
}

TEST(taken_block, is_marked_beside_its_neighbours)
{
    draw_zones("{x.x.x}");
    EXPECT_EQ(taken(mask_bytes), block_at(0, 1));
    EXPECT_EQ(drawn_zones(), "{xxx.x}");
    EXPECT_EQ(taken(mask_bytes), block_at(0, 3));
    EXPECT_EQ(drawn_zones(), "{xxxxx}");
}

TEST(taken_block, is_the_current_one_without_any_check)
{
    draw_zones("...");
    cv_alloc_curr_size = mask_bytes;
    ASSERT_EQ(cv_alloc_fill_in_current(), 0);
    cv_alloc_curr_nr = 1;
    cv_alloc_curr_index = 3;
    cv_alloc_curr_adress = block_at(1, 3);
    EXPECT_EQ(cv_alloc_malloc(), block_at(1, 3));
    EXPECT_EQ(drawn_zones(), ".{...x.}.");
}

TEST(freed_block, is_described_by_the_current_block)
{
    draw_zones("P.{xxxxx}");
    ASSERT_EQ(found(picture_bytes), "1/0");
    uint8_t* const address_before = cv_alloc_curr_adress;
    cv_alloc_free(block_at(2, 4));
    EXPECT_EQ(cv_alloc_curr_nr, 2);
    EXPECT_EQ(cv_alloc_curr_index, 4);
    EXPECT_EQ(cv_alloc_curr_code, 5);
    EXPECT_EQ(cv_alloc_curr_size, 65'536);
    EXPECT_EQ(cv_alloc_curr_adress, address_before);
    EXPECT_EQ(cv_alloc_curr_and, 1);  // still the picture's
    EXPECT_EQ(drawn_zones(), "P.{xxxx.}");
}

TEST(freed_block, of_a_picture_is_described_with_the_picture_size)
{
    draw_zones("{x....}.P");
    ASSERT_EQ(found(mask_bytes), "0/1");
    uint8_t* const address_before = cv_alloc_curr_adress;
    cv_alloc_free(block_at(2, 0));
    EXPECT_EQ(cv_alloc_curr_nr, 2);
    EXPECT_EQ(cv_alloc_curr_index, 0);
    EXPECT_EQ(cv_alloc_curr_code, 1);  // the kind before the free
    EXPECT_EQ(cv_alloc_curr_size, 327'680);
    EXPECT_EQ(cv_alloc_curr_adress, address_before);
    EXPECT_EQ(cv_alloc_curr_and, 31);
    EXPECT_EQ(drawn_zones(), "{x....}..");
}

TEST(freed_block, the_only_one_of_a_mask_zone_makes_the_zone_free_for_a_picture)
{
    draw_zones("{..x..}");
    ASSERT_EQ(found(picture_bytes), "none");
    cv_alloc_free(block_at(0, 2));
    EXPECT_EQ(drawn_zones(), ".");
    EXPECT_EQ(cv_alloc_curr_code, 5);
    EXPECT_EQ(taken(picture_bytes), block_at(0, 0));
    EXPECT_EQ(drawn_zones(), "P");
}

TEST(freed_block, of_a_picture_makes_the_zone_free_for_masks)
{
    draw_zones("P");
    ASSERT_EQ(found(mask_bytes), "none");
    cv_alloc_free(block_at(0, 0));
    EXPECT_EQ(taken(mask_bytes), block_at(0, 0));
    EXPECT_EQ(drawn_zones(), "{x....}");
}

TEST(freed_block, is_found_first_when_it_is_the_lowest)
{
    draw_zones("{xxxxx}{xx...}");
    cv_alloc_free(block_at(0, 3));
    EXPECT_EQ(found(mask_bytes), "0/3");
}

TEST(freed_block, every_index_is_told_from_its_address_alone)
{
    for (int32_t index = 0; index < 5; ++index) {
        draw_zones("P{xxxxx}{xxxxx}");
        cv_alloc_free(block_at(2, index));
        EXPECT_EQ(cv_alloc_curr_nr, 2);
        EXPECT_EQ(cv_alloc_curr_index, index);
        EXPECT_EQ(cv_alloc_bits[2], 31U & ~(1U << index));
        EXPECT_EQ(cv_alloc_bits[1], 31U);
    }
}

TEST(freed_block, of_a_zone_without_kind_keeps_the_size)
{
    draw_zones("..");
    cv_alloc_curr_size = mask_bytes;
    cv_alloc_free(block_at(1, 3));
    EXPECT_EQ(cv_alloc_curr_size, mask_bytes);
    EXPECT_EQ(cv_alloc_curr_code, 0);
    EXPECT_EQ(cv_alloc_curr_nr, 1);
    EXPECT_EQ(cv_alloc_curr_index, 3);
    EXPECT_EQ(drawn_zones(), "..");
}

// As the tile loader does when a victim has gone.
uint8_t* reuse(int32_t bytes)
{
    cv_alloc_curr_size = bytes;
    EXPECT_EQ(cv_alloc_fill_in_current(), 0);
    if (cv_alloc_code[cv_alloc_curr_nr] == 0) cv_alloc_curr_index = 0;
    cv_alloc_curr_adress =
        cv_alloc_adress + int64_t{cv_alloc_curr_nr} * picture_bytes + int64_t{cv_alloc_curr_index} * bytes;
    return cv_alloc_malloc();
}

TEST(reused_block, of_the_same_kind_is_taken_where_it_was)
{
    draw_zones("{xxxxx}{xxxxx}");
    cv_alloc_free(block_at(1, 3));
    EXPECT_EQ(reuse(mask_bytes), block_at(1, 3));
    EXPECT_EQ(drawn_zones(), "{xxxxx}{xxxxx}");
}

TEST(reused_block, of_a_zone_that_became_free_is_taken_from_its_start)
{
    draw_zones("P{...x.}");
    cv_alloc_free(block_at(1, 3));
    EXPECT_EQ(reuse(picture_bytes), block_at(1, 0));
    EXPECT_EQ(drawn_zones(), "PP");
    cv_alloc_free(block_at(0, 0));
    EXPECT_EQ(reuse(mask_bytes), block_at(0, 0));
    EXPECT_EQ(drawn_zones(), "{x....}P");
}

}  // namespace
