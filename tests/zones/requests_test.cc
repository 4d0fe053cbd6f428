// Tiles of requests share the zones as the rules say, whichever side serves them.
#include "tests/support/library.h"
#include "tests/zones/zone_map.h"

using namespace iocache_test;

namespace {

class zones_of_requests : public library_test {
protected:
    // Fetches one tile and keeps it locked.
    cv_tile* lock_tile(int32_t canvas, int32_t column)
    {
        parg.opcode = 1;
        parg.req[0] = {};
        parg.req[0].canvas = canvas;
        parg.req[0].x = parg.req[0].x_end = column * 256;
        EXPECT_EQ(cv_tile_access(), 0);
        return parg.req[0].tile;
    }
    // Without reading ahead: every block that is out was asked for. In in-line mode it is off anyway.
    void start_with_zones(int32_t zones)
    {
        start({.cache_bytes = int64_t{zones} * picture_bytes});
        cv_prefetch_allowed = 1;
        cv_prewrite_allowed = 1;
    }
};

INSTANTIATE_TEST_SUITE_P(, zones_of_requests, both_modes(), mode_name);

TEST_P(zones_of_requests, five_masks_share_one_zone_beside_pictures)
{
    start_with_zones(4);
    const int32_t mask = new_mask("mask", 6 * 256, 10);
    const int32_t picture = new_picture("picture", 6 * 256, 10);
    EXPECT_EQ(lock_tile(mask, 0)->buffer, block_at(0, 0));
    EXPECT_EQ(lock_tile(picture, 0)->buffer, block_at(1, 0));
    EXPECT_EQ(lock_tile(picture, 1)->buffer, block_at(2, 0));
    for (int32_t column = 1; column < 5; ++column) EXPECT_EQ(lock_tile(mask, column)->buffer, block_at(0, column));
    EXPECT_EQ(lock_tile(mask, 5)->buffer, block_at(3, 0));
    EXPECT_EQ(drawn_zones(), "{xxxxx}PP{x....}");
}

TEST_P(zones_of_requests, masks_give_way_until_a_picture_has_a_whole_zone)
{
    start_with_zones(1);
    const int32_t mask = new_mask("mask", 6 * 256, 10);
    const int32_t picture = new_picture("picture", 256, 10);
    for (int32_t column = 0; column < 5; ++column) lock_tile(mask, column)->locked = 0;
    ASSERT_EQ(drawn_zones(), "{xxxxx}");
    EXPECT_EQ(lock_tile(picture, 0)->buffer, block_at(0, 0));
    EXPECT_EQ(drawn_zones(), "P");
}

TEST_P(zones_of_requests, oldest_mask_gives_way_to_the_next_mask)
{
    start_with_zones(1);
    const int32_t mask = new_mask("mask", 7 * 256, 10);
    for (int32_t column = 0; column < 5; ++column) lock_tile(mask, column)->locked = 0;
    EXPECT_EQ(lock_tile(mask, 5)->buffer, block_at(0, 0));
    EXPECT_EQ(lock_tile(mask, 6)->buffer, block_at(0, 1));
    EXPECT_EQ(drawn_zones(), "{xxxxx}");
}

}  // namespace
