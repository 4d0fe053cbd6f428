// Bringing tiles into memory: cv_get_tile while the cache process waits for a request.
#include <unistd.h>

#include "tests/cache/cache_test.h"

namespace {

using namespace iocache_test;

class fetch : public cache_test {};

TEST_P(fetch, tile_never_written_comes_cleared_and_as_the_newest)
{
    start_with_zones(4);
    const int32_t mask = new_mask("mask", 1000, 700);
    read_tile(mask, 0);
    settle();
    cv_tile* const tile = cv_get_tile(&record_of(mask), 3, 2);
    ASSERT_NE(tile, nullptr);
    EXPECT_EQ(tile->id, mask);
    EXPECT_EQ(tile->canvas, &record_of(mask));
    EXPECT_EQ(tile->x, 3);
    EXPECT_EQ(tile->y, 2);
    EXPECT_EQ(tile->size, 65'536);
    EXPECT_EQ(tile->file_pos, 0);
    EXPECT_EQ(tile->locked, 0);
    EXPECT_EQ(tile->dirty, 0);
    EXPECT_EQ(bytes(tile->buffer, tile->buffer + tile->size), bytes(65'536, 0));
    EXPECT_EQ(cached(mask, 3, 2), tile);
    EXPECT_EQ(lru_order(), "0:0,0 0:3,2");
    EXPECT_EQ(record_of(mask).tiles_fetched, 2);
}

TEST_P(fetch, buffer_of_a_reused_block_is_cleared)
{
    start_with_zones(1);
    const int32_t picture = new_picture("picture", 600, 256);
    write_tile(picture, 0, 0, 0xAB);
    EXPECT_EQ(shown(picture, 1), tile_of(picture, 0));
}

TEST_P(fetch, without_clearing_the_block_keeps_what_it_held)
{
    start_with_zones(1);
    const int32_t picture = new_picture("picture", 600, 256);
    write_tile(picture, 0, 0, 0xAB);
    settle();
    cv_clear_tile = 0;
    const cv_tile* const tile = cv_get_tile(&record_of(picture), 1, 0);
    ASSERT_NE(tile, nullptr);
    EXPECT_EQ(bytes(tile->buffer, tile->buffer + tile->size), tile_of(picture, 0xAB));
    cv_clear_tile = 1;
}

TEST_P(fetch, written_tile_is_read_from_its_slot)
{
    start_with_zones(4);
    const int32_t picture = new_picture("picture", 600, 600);
    write_tile(picture, 1, 0, 1);
    write_tile(picture, 0, 1, 2);
    ASSERT_EQ(cv_flush_tiles(picture), 0);
    const cv_tile* const tile = cv_get_tile(&record_of(picture), 0, 1);
    ASSERT_NE(tile, nullptr);
    const canvas_file stored = file("picture");
    EXPECT_EQ(tile->file_pos, int32_at(stored.contents(), 0x34C) + int64_t{stored.slot(0, 1)} * 327'680);
    EXPECT_EQ(bytes(tile->buffer, tile->buffer + tile->size), tile_of(picture, 2));
    EXPECT_EQ(tile->dirty, 0);
}

TEST_P(fetch, tile_in_memory_only_moves_to_the_newest_end)
{
    start_with_zones(4);
    const int32_t mask = new_mask("mask", 1000, 256);
    ASSERT_EQ(request_tile(mask, 0, 0, true), 0);  // locked and dirty from now on
    cv_tile* const tile = parg.req[0].tile;
    read_tile(mask, 1);
    settle();
    EXPECT_EQ(cv_get_tile(&record_of(mask), 0, 0), tile);
    EXPECT_EQ(lru_order(), "0:1,0 0:0,0");
    EXPECT_EQ(tile->locked, 1);
    EXPECT_EQ(tile->dirty, 1);
    EXPECT_EQ(record_of(mask).tiles_fetched, 2);
    let_go(tile);
}

TEST_P(fetch, tile_outside_the_grid_is_refused)
{
    start_with_zones(4);
    const int32_t mask = new_mask("mask", 600, 600);
    for (const auto& [column, row] : {std::pair{-1, 0}, {0, -1}, {3, 0}, {0, 3}})
        EXPECT_EQ(cv_get_tile(&record_of(mask), column, row), nullptr) << column << ',' << row;
    EXPECT_EQ(tiles_in_memory(), 0);
    EXPECT_EQ(record_of(mask).tiles_fetched, 0);
}

TEST_P(fetch, tile_that_cannot_be_read_leaves_nothing_behind)
{
    start_with_zones(4);
    const int32_t mask = new_mask("mask", 600, 600);
    write_tile(mask, 0, 0, 1);
    write_tile(mask, 1, 0, 2);
    ASSERT_EQ(cv_flush_tiles(mask), 0);
    read_tile(mask, 0);
    settle();
    const int32_t counted = record_of(mask).tiles_fetched;
    const canvas_file stored = file("mask");
    const auto start = int32_at(stored.contents(), 0x34C) + stored.slot(1, 0) * mask_tile_bytes;
    ASSERT_EQ(truncate(path("mask").c_str(), start + 100), 0);

    const int blocks = cv_alloc_bits[0] == 0 ? 0 : std::popcount(cv_alloc_bits[0]);
    EXPECT_EQ(cv_get_tile(&record_of(mask), 1, 0), nullptr);
    EXPECT_EQ(cached(mask, 1), nullptr);
    EXPECT_EQ(std::popcount(cv_alloc_bits[0]), blocks);
    EXPECT_EQ(record_of(mask).tiles_fetched, counted);
}

TEST_P(fetch, without_a_zone_and_with_an_empty_list_there_is_no_tile)
{
    start_with_zones(0);
    const int32_t mask = new_mask("mask", 600, 600);
    EXPECT_EQ(cv_get_tile(&record_of(mask), 0, 0), nullptr);
    EXPECT_EQ(host().messages(), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(, fetch, both_modes(), mode_name);

}  // namespace
