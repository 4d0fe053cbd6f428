// What happens between requests: reading ahead and writing ahead, and how both give way.
#include "tests/cache/forced_test.h"
#include "tests/support/file_size_limit.h"

namespace {

using namespace iocache_test;

class idle_work : public forced_test {
protected:
    void SetUp() override
    {
        start_with_zones(16);
        mask = new_mask("mask", 8'000, 600);
        other = new_mask("other", 8'000, 600);
    }
    void hint(int entry, int32_t canvas, int32_t column, int32_t row, int32_t count)
    {
        settle();
        cv_pref[entry] = {&record_of(canvas), column, row, count};
    }
    void allow_prefetch()
    {
        settle();
        cv_prefetch_allowed = 0;
    }
    void allow_prewrite()
    {
        settle();
        cv_prewrite_allowed = 0;
    }
    int32_t mask = -1;
    int32_t other = -1;
};

TEST_P(idle_work, reading_ahead_takes_one_tile_of_each_hint_in_turn)
{
    hint(0, mask, 4, 1, 3);
    hint(1, other, 7, 0, 1);
    hint(2, mask, 20, 0, 2);
    EXPECT_EQ(cv_prefetch(), 0);
    EXPECT_EQ(lru_order(), "0:4,1 1:7,0 0:20,0 0:5,1 0:21,0 0:6,1");
    for (const cv_pref_entry& entry : cv_pref) EXPECT_EQ(entry.canvas, nullptr);
    for (const cv_tile* tile = first_tile; tile != nullptr; tile = tile->next) EXPECT_EQ(tile->locked, 0);
}

TEST_P(idle_work, without_a_hint_there_is_nothing_to_read_ahead)
{
    settle();
    EXPECT_EQ(cv_prefetch(), 0);
    EXPECT_EQ(tiles_in_memory(), 0);
}

TEST_P(idle_work, reading_ahead_yields_to_a_request_between_two_tiles)
{
    hint(0, mask, 4, 1, 5);
    hooks::quiet_looks = 2;
    const int32_t result = cv_prefetch();
    hooks::quiet_looks = -1;
    if (!in_process_mode()) {
        EXPECT_EQ(result, 0) << "nobody can be waiting";
        EXPECT_EQ(tiles_in_memory(), 5);
        return;
    }
    EXPECT_EQ(result, -255);
    EXPECT_EQ(lru_order(), "0:4,1 0:5,1");
    EXPECT_EQ(cv_pref[0].canvas, &record_of(mask));
    EXPECT_EQ(cv_pref[0].next_col, 6);
    EXPECT_EQ(cv_pref[0].count, 3);
}

TEST_P(idle_work, reading_ahead_stays_inside_the_grid)
{
    hint(0, mask, 30, 0, 10);
    EXPECT_EQ(cv_prefetch(), 0);
    EXPECT_EQ(lru_order(), "0:30,0 0:31,0");
}

TEST_P(idle_work, reading_ahead_ignores_tiles_that_cannot_be_had)
{
    start_with_zones(0);
    mask = new_mask("another", 8'000, 600);
    hint(0, mask, 4, 1, 3);
    EXPECT_EQ(cv_prefetch(), 0);
    EXPECT_EQ(tiles_in_memory(), 0);
    EXPECT_EQ(host().kills(), 0);
    EXPECT_EQ(host().messages(), std::vector<std::string>{});
}

TEST_P(idle_work, reading_ahead_takes_no_tile_away_from_a_client)
{
    start_with_zones(1);
    const int32_t picture = new_picture("picture", 2'000, 256);
    ASSERT_EQ(request_tile(picture, 0), 0);
    cv_tile* const held = parg.req[0].tile;
    hint(0, picture, 1, 0, 3);
    EXPECT_EQ(cv_prefetch(), 0);
    EXPECT_EQ(lru_order(), "0:0,0");
    EXPECT_EQ(held->locked, 1);
    EXPECT_EQ(host().messages(), std::vector<std::string>{});
    let_go(held);
}

TEST_P(idle_work, request_that_runs_on_is_followed_by_reading_ahead)
{
    allow_prefetch();
    fill_slot(0, mask, {256, 0, 256 + 1000, 0});
    ASSERT_EQ(ask(opcode::one_slot), 0);
    EXPECT_TRUE(wait_for([&] { return tiles_in_memory() == 4; }));
    let_go(parg.req[0].tile);
    settle();
    EXPECT_EQ(lru_order(), "0:1,0 0:2,0 0:3,0 0:4,0");
}

TEST_P(idle_work, reading_ahead_is_forbidden_by_a_flag_that_reads_backwards)
{
    fill_slot(0, mask, {256, 0, 256 + 1000, 0});
    ASSERT_EQ(ask(opcode::one_slot), 0);
    let_go(parg.req[0].tile);
    settle();
    EXPECT_EQ(tiles_in_memory(), 1);
}

TEST_P(idle_work, writing_ahead_goes_from_the_oldest_to_the_newest_and_passes_locked_tiles)
{
    for (const int32_t column : {3, 1, 2, 0}) write_tile(mask, column, 0, static_cast<uint8_t>(column + 1));
    ASSERT_EQ(request_tile(mask, 1), 0);  // now the newest, and held
    cv_tile* const held = parg.req[0].tile;
    settle();
    EXPECT_EQ(cv_prewrite(), 0);
    const canvas_file stored = file("mask");
    EXPECT_EQ(stored.slot(3, 0), 0);
    EXPECT_EQ(stored.slot(2, 0), 1);
    EXPECT_EQ(stored.slot(0, 0), 2);
    EXPECT_EQ(stored.slot(1, 0), -1);
    EXPECT_EQ(held->dirty, 1);
    EXPECT_EQ(cached(mask, 0)->dirty, 0);
    EXPECT_EQ(lru_order(), "0:3,0 0:2,0 0:0,0 0:1,0") << "the tiles stay where they are";
    let_go(held);
}

TEST_P(idle_work, writing_ahead_an_empty_cache_is_done_at_once)
{
    settle();
    EXPECT_EQ(cv_prewrite(), 0);
}

TEST_P(idle_work, writing_ahead_yields_to_a_request_in_process_mode_only)
{
    for (int32_t column = 0; column < 4; ++column) write_tile(mask, column, 0, 1);
    settle();
    hooks::quiet_looks = 2;
    const int32_t result = cv_prewrite();
    hooks::quiet_looks = -1;
    EXPECT_EQ(result, in_process_mode() ? -255 : 0);
    EXPECT_EQ(file("mask").tiles_written(), in_process_mode() ? 2 : 4);
}

TEST_P(idle_work, writing_ahead_ends_at_a_full_disk)
{
    for (int32_t column = 0; column < 4; ++column) write_tile(mask, column, 0, 1);
    settle();
    const auto tiles_start = static_cast<size_t>(int32_at(file("mask").contents(), 0x34C));
    {
        const file_size_limit limit(tiles_start + mask_tile_bytes);
        EXPECT_EQ(cv_prewrite(), -255);
    }
    EXPECT_EQ(cv_disk_full, 1);
    EXPECT_EQ(file("mask").tiles_written(), 2) << "the second has a slot and no bytes yet";
    EXPECT_EQ(cached(mask, 1)->dirty, 1);
    EXPECT_EQ(cached(mask, 2)->dirty, 1);
}

TEST_P(idle_work, tile_request_is_followed_by_writing_ahead)
{
    write_tile(mask, 1, 0, 0x11);
    allow_prewrite();
    read_tile(mask, 2);
    EXPECT_TRUE(wait_for([&] {
        _lock(cv_tile_access_lock);
        const int32_t dirty = cached(mask, 1)->dirty;
        _ulock(cv_tile_access_lock);
        return dirty == 0;
    }));
    settle();
    EXPECT_EQ(file("mask").tile(1, 0), tile_of(mask, 0x11));
}

TEST_P(idle_work, writing_ahead_is_forbidden_by_a_flag_that_reads_backwards)
{
    write_tile(mask, 1, 0, 0x11);
    read_tile(mask, 2);
    settle();
    EXPECT_EQ(cached(mask, 1)->dirty, 1);
}

TEST_P(idle_work, writing_ahead_can_be_asked_for_whatever_the_flag_says)
{
    write_tile(mask, 1, 0, 0x11);
    settle();
    const int rings = hooks::rings;
    const int waits = hooks::waits;
    EXPECT_EQ(cv_start_prewrite(), 0);
    if (in_process_mode()) {
        EXPECT_EQ(hooks::rings, rings + 1);
        EXPECT_TRUE(wait_for([&] { return hooks::waits > waits; })) << "served without being met";
    }
    settle();
    EXPECT_EQ(file("mask").tile(1, 0), tile_of(mask, 0x11));
}

TEST_P(idle_work, requests_other_than_for_tiles_are_not_followed_by_any)
{
    write_tile(mask, 1, 0, 0x11);
    hint(0, mask, 5, 0, 3);
    cv_prefetch_allowed = 0;
    cv_prewrite_allowed = 0;
    ASSERT_EQ(ask(opcode::meet), 0);
    ASSERT_EQ(cv_flush_tiles_keep(other), 0);
    settle();
    EXPECT_EQ(tiles_in_memory(), 1);
    EXPECT_EQ(cached(mask, 1)->dirty, 1);
}

INSTANTIATE_TEST_SUITE_P(, idle_work, both_modes(), mode_name);

}  // namespace
