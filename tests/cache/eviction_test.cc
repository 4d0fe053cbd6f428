// Making room: which tiles go, and what becomes of them.
#include "tests/cache/cache_test.h"
#include "tests/support/file_size_limit.h"

namespace {

using namespace iocache_test;

class eviction : public cache_test {};

TEST_P(eviction, oldest_tile_goes_first)
{
    start_with_zones(3);
    const int32_t picture = new_picture("picture", 2000, 256);
    for (int32_t column = 0; column < 3; ++column) read_tile(picture, column);
    read_tile(picture, 0);  // now 1 is the oldest
    read_tile(picture, 3);
    settle();
    EXPECT_EQ(lru_order(), "0:2,0 0:0,0 0:3,0");
    EXPECT_EQ(cached(picture, 1), nullptr);
    EXPECT_EQ(record_of(picture).tiles_fetched, 3);
}

TEST_P(eviction, locked_tiles_are_passed_over)
{
    start_with_zones(3);
    const int32_t picture = new_picture("picture", 2000, 256);
    ASSERT_EQ(request_tile(picture, 0), 0);
    cv_tile* const held = parg.req[0].tile;
    read_tile(picture, 1);
    read_tile(picture, 2);
    read_tile(picture, 3);
    read_tile(picture, 4);
    settle();
    EXPECT_EQ(lru_order(), "0:0,0 0:3,0 0:4,0");
    EXPECT_EQ(host().messages(), std::vector<std::string>{});
    let_go(held);
}

TEST_P(eviction, a_picture_tile_takes_as_many_mask_tiles_as_share_a_zone)
{
    start_with_zones(1);
    const int32_t mask = new_mask("mask", 2000, 256);
    const int32_t picture = new_picture("picture", 600, 256);
    for (int32_t column = 0; column < 5; ++column) write_tile(mask, column, 0, static_cast<uint8_t>(column + 1));
    EXPECT_EQ(shown(picture, 1), tile_of(picture, 0));
    settle();
    EXPECT_EQ(lru_order(), "1:1,0");
    for (int32_t column = 0; column < 5; ++column)
        EXPECT_EQ(file("mask").tile(column, 0), tile_of(mask, static_cast<uint8_t>(column + 1))) << column;
}

TEST_P(eviction, first_block_that_serves_ends_the_search)
{
    start_with_zones(2);
    const int32_t mask = new_mask("mask", 4000, 256);
    const int32_t picture = new_picture("picture", 600, 256);
    for (int32_t column = 0; column < 5; ++column) read_tile(mask, column);
    read_tile(picture, 0);
    read_tile(mask, 5);  // takes the place of mask tile 0 only
    settle();
    EXPECT_EQ(lru_order(), "0:1,0 0:2,0 0:3,0 0:4,0 1:0,0 0:5,0");
}

TEST_P(eviction, block_of_the_wrong_kind_does_not_end_the_search)
{
    start_with_zones(2);
    const int32_t mask = new_mask("mask", 4000, 256);
    const int32_t picture = new_picture("picture", 600, 256);
    read_tile(mask, 0);
    read_tile(mask, 1);
    read_tile(picture, 0);
    read_tile(mask, 2);
    read_tile(picture, 1);  // mask tiles 0 and 1 free no zone, the picture tile does
    settle();
    EXPECT_EQ(lru_order(), "0:2,0 1:1,0");
}

TEST_P(eviction, emptied_zone_serves_the_other_kind)
{
    start_with_zones(1);
    const int32_t mask = new_mask("mask", 600, 256);
    const int32_t picture = new_picture("picture", 600, 256);
    read_tile(mask, 0);
    read_tile(mask, 1);
    read_tile(picture, 0);
    read_tile(mask, 0);
    settle();
    EXPECT_EQ(lru_order(), "0:0,0");
    EXPECT_EQ(cv_alloc_code[0], 5);
    EXPECT_EQ(cv_alloc_bits[0], 1U);
    EXPECT_EQ(cached(mask, 0)->buffer, cv_alloc_adress);
}

TEST_P(eviction, dirty_victim_is_written_and_clean_one_is_not)
{
    start_with_zones(1);
    const int32_t picture = new_picture("picture", 1000, 256);
    write_tile(picture, 0, 0, 0x5A);
    read_tile(picture, 1);
    read_tile(picture, 2);
    settle();
    const canvas_file stored = file("picture");
    EXPECT_EQ(stored.tile(0, 0), tile_of(picture, 0x5A));
    EXPECT_EQ(stored.slot(1, 0), -1);
    EXPECT_EQ(stored.tiles_written(), 1);
}

TEST_P(eviction, detached_tile_goes_without_touching_a_canvas)
{
    start_with_zones(2);
    const int32_t picture = new_picture("picture", 1000, 256);
    read_tile(picture, 0);
    read_tile(picture, 1);
    ASSERT_EQ(cv_flush_tiles(picture), 0);
    ASSERT_EQ(lru_order(), "-:0,0 -:1,0");
    const int32_t counted = record_of(picture).tiles_fetched;
    read_tile(picture, 2);
    settle();
    EXPECT_EQ(lru_order(), "-:1,0 0:2,0");
    EXPECT_EQ(record_of(picture).tiles_fetched, counted + 1);
}

// A canvas that loses its only tile to another one; canvas 0 is neither the current picture nor the current mask
// unless a test says so.
class last_tile_of_a_canvas : public cache_test {
protected:
    void lose_the_last_tile(int32_t picture_now, int32_t mask_now)
    {
        start_with_zones(1);
        mine = new_picture("mine", 600, 256);
        other = new_picture("other", 600, 256);
        current_canvas = picture_now;
        current_mask = mask_now;
        write_tile(mine, 0, 0, 1);
        read_tile(other, 0);
        settle();
    }
    int32_t mine = -1;
    int32_t other = -1;
};

TEST_P(last_tile_of_a_canvas, completes_its_file_and_closes_its_stream)
{
    lose_the_last_tile(1, 1);
    EXPECT_EQ(record_of(mine).tiles_fetched, 0);
    EXPECT_EQ(record_of(mine).header->dirty, 0);
    EXPECT_EQ(file("mine").dirty(), 0);
    EXPECT_EQ(file("mine").tile(0, 0), tile_of(mine, 1));
    EXPECT_EQ(record_of(mine).fp2, nullptr);
    EXPECT_EQ(shown(mine, 0), tile_of(mine, 1)) << "the stream opens again";
}

TEST_P(last_tile_of_a_canvas, leaves_the_current_picture_dirty)
{
    lose_the_last_tile(0, 1);
    EXPECT_EQ(file("mine").dirty(), 1);
    EXPECT_EQ(record_of(mine).fp2, nullptr);
}

TEST_P(last_tile_of_a_canvas, leaves_the_current_mask_dirty)
{
    lose_the_last_tile(1, 0);
    EXPECT_EQ(file("mine").dirty(), 1);
    EXPECT_EQ(record_of(mine).fp2, nullptr);
}

INSTANTIATE_TEST_SUITE_P(, last_tile_of_a_canvas, both_modes(), mode_name);

class all_locked : public cache_test {
protected:
    static constexpr const char* message = "All tiles are locked. EXIT as soon as possible";
};

TEST_P(all_locked, oldest_tile_is_taken_and_the_user_told)
{
    start_with_zones(2);
    const int32_t picture = new_picture("picture", 1000, 256);
    ASSERT_EQ(request_tile(picture, 0, 0, true), 0);
    std::memset(parg.req[0].buffer, 0x33, 327'680);
    ASSERT_EQ(request_tile(picture, 1), 0);
    cv_tile* const held = parg.req[0].tile;
    ASSERT_EQ(request_tile(picture, 2), 0);
    let_go(parg.req[0].tile);
    settle();
    EXPECT_EQ(host().messages(), std::vector<std::string>{message});
    EXPECT_EQ(cv_errno, 999010);
    EXPECT_EQ(lru_order(), "0:1,0 0:2,0");
    EXPECT_EQ(held->locked, 1) << "only the oldest is unlocked";
    EXPECT_EQ(file("picture").tile(0, 0), tile_of(picture, 0x33)) << "its changes are not lost";
    let_go(held);
}

TEST_P(all_locked, user_is_told_once_a_pass)
{
    start_with_zones(1);
    const int32_t mask = new_mask("mask", 1000, 256);
    const int32_t picture = new_picture("picture", 600, 256);
    for (int32_t column = 0; column < 3; ++column) ASSERT_EQ(request_tile(mask, column), 0);
    ASSERT_EQ(request_tile(picture, 0), 0);
    let_go(parg.req[0].tile);
    settle();
    EXPECT_EQ(host().messages(), std::vector<std::string>(3, message)) << "one pass for each mask tile in the zone";
    EXPECT_EQ(lru_order(), "1:0,0");
}

INSTANTIATE_TEST_SUITE_P(, all_locked, both_modes(), mode_name);

// A victim whose write fails, because the file may not grow.
class victim_that_cannot_be_written : public cache_test {
protected:
    void meet_it()
    {
        start_with_zones(1);
        cv_disk_full_return(1);
        picture = new_picture("picture", 1000, 256);
        write_tile(picture, 0, 0, 0x77);
        {
            const file_size_limit limit(file("picture").contents().size() + 1000);
            EXPECT_EQ(request_tile(picture, 1), -255);
        }
        settle_while_full();
    }
    static void settle_while_full()
    {
        parg.opcode = opcode::meet;
        cv_tile_access();  // -255: the disk is full
    }
    void TearDown() override
    {
        cv_disk_full_return(0);
        std::atomic_ref(cv_disk_full).store(0);
    }
    int32_t picture = -1;
};

TEST_P(victim_that_cannot_be_written, stays_on_the_list_unhooked)
{
    meet_it();
    EXPECT_EQ(cv_disk_full, 1);
    EXPECT_EQ(lru_order(), "0:0,0");
    EXPECT_EQ(cached(picture, 0), nullptr);
    EXPECT_EQ(first_tile->dirty, 1);
    EXPECT_EQ(record_of(picture).tiles_fetched, 1);
    EXPECT_EQ(parg.req[0].tile, nullptr);
}

TEST_P(victim_that_cannot_be_written, stays_where_it_is_when_it_fails_again)
{
    meet_it();
    std::atomic_ref(cv_disk_full).store(0);
    const int32_t other = new_mask("other", 256, 256);
    EXPECT_EQ(cv_flush_tiles_keep(other), 0) << "which has nothing to write";
    {
        const file_size_limit limit(file("picture").contents().size() - 1000);
        EXPECT_EQ(request_tile(picture, 1), -255);
    }
    settle_while_full();
    EXPECT_EQ(lru_order(), "0:0,0");
    EXPECT_EQ(cached(picture, 0), nullptr);
    std::atomic_ref(cv_disk_full).store(0);
    EXPECT_EQ(shown(picture, 0), tile_of(picture, 0x77));
}

TEST_P(victim_that_cannot_be_written, is_found_again_by_the_next_request_for_it)
{
    meet_it();
    std::atomic_ref(cv_disk_full).store(0);
    {
        const file_size_limit limit(file("picture").contents().size() - 1000);  // it still cannot be written
        EXPECT_EQ(shown(picture, 0), tile_of(picture, 0x77));
    }
    settle();
    EXPECT_EQ(cv_disk_full, 0);
    EXPECT_NE(cached(picture, 0), nullptr);
    EXPECT_EQ(lru_order(), "0:0,0");
    read_tile(picture, 1);
    EXPECT_EQ(shown(picture, 0), tile_of(picture, 0x77));
    EXPECT_EQ(file("picture").tile(0, 0), tile_of(picture, 0x77));
}

TEST_P(victim_that_cannot_be_written, goes_when_there_is_room_again)
{
    meet_it();
    std::atomic_ref(cv_disk_full).store(0);
    EXPECT_EQ(shown(picture, 1), tile_of(picture, 0));
    settle();
    EXPECT_EQ(lru_order(), "0:1,0");
    EXPECT_EQ(file("picture").tile(0, 0), tile_of(picture, 0x77));
    EXPECT_EQ(record_of(picture).tiles_fetched, 1);
}

TEST_P(victim_that_cannot_be_written, reaches_the_file_at_close)
{
    meet_it();
    std::atomic_ref(cv_disk_full).store(0);
    ASSERT_EQ(canvas_close(picture), 0);
    EXPECT_EQ(file("picture").tile(0, 0), bytes(327'680, 0x77));
    EXPECT_EQ(file("picture").dirty(), 0);
}

TEST_P(victim_that_cannot_be_written, stops_only_fetches_that_need_its_room)
{
    start_with_zones(2);
    const int32_t mask = new_mask("mask", 2000, 256);
    read_tile(mask, 0);
    settle();
    std::atomic_ref(cv_disk_full).store(1);
    EXPECT_NE(cv_get_tile(&record_of(mask), 0, 0), nullptr) << "in memory";
    for (int32_t column = 1; column < 5; ++column)
        EXPECT_NE(cv_get_tile(&record_of(mask), column, 0), nullptr) << "room in the zone";
    EXPECT_NE(cv_get_tile(&record_of(mask), 5, 0), nullptr) << "a free zone";
    const int32_t picture_too = new_picture("picture", 256, 256);
    EXPECT_EQ(cv_get_tile(&record_of(picture_too), 0, 0), nullptr) << "something would have to go";
    EXPECT_EQ(tiles_in_memory(), 6);
}

INSTANTIATE_TEST_SUITE_P(, victim_that_cannot_be_written, both_modes(), mode_name);
INSTANTIATE_TEST_SUITE_P(, eviction, both_modes(), mode_name);

}  // namespace
