// A region beyond 4 GiB. None of it is reserved before it is touched, so that any machine can run this.
#include <algorithm>

#include "tests/zones/zone_map.h"

using namespace iocache_test;

namespace {

constexpr int64_t five_gibibytes = int64_t{5} << 30;
constexpr int32_t zone_count = 16'384;  // exactly

void fill_all_but(int32_t zone)
{
    std::fill_n(cv_alloc_code, zone_count, static_cast<uint8_t>(picture_kind));
    std::fill_n(cv_alloc_bits, zone_count, 1U);
    cv_alloc_code[zone] = 0;
    cv_alloc_bits[zone] = 0;
}

TEST(large_region, has_all_its_zones)
{
    ASSERT_EQ(cv_alloc_init(five_gibibytes), 0);
    EXPECT_EQ(cv_alloc_zones, zone_count);
    EXPECT_EQ(found(mask_bytes), "0/0");
}

TEST(large_region, hands_out_and_takes_back_its_last_picture_block)
{
    ASSERT_EQ(cv_alloc_init(five_gibibytes), 0);
    fill_all_but(zone_count - 1);
    uint8_t* const block = taken(picture_bytes);
    ASSERT_EQ(block - cv_alloc_adress, five_gibibytes - picture_bytes);
    block[0] = 1;
    block[picture_bytes - 1] = 2;
    EXPECT_EQ(found(picture_bytes), "none");
    cv_alloc_free(block);
    EXPECT_EQ(cv_alloc_curr_nr, zone_count - 1);
    EXPECT_EQ(found(picture_bytes), "16383/0");
}

TEST(large_region, tells_mask_blocks_apart_across_two_and_four_gibibytes)
{
    ASSERT_EQ(cv_alloc_init(five_gibibytes), 0);
    for (const int32_t zone : {6'553, 6'554, 13'107, 13'108}) {  // on both sides of 2 GiB and 4 GiB
        fill_all_but(zone);
        for (int32_t index = 0; index < 5; ++index) ASSERT_EQ(taken(mask_bytes), block_at(zone, index));
        for (const int32_t index : {3, 0, 4, 1, 2}) {
            cv_alloc_free(block_at(zone, index));
            EXPECT_EQ(cv_alloc_curr_nr, zone);
            EXPECT_EQ(cv_alloc_curr_index, index);
        }
        EXPECT_EQ(cv_alloc_code[zone], 0);
    }
}

}  // namespace
