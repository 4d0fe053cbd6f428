// What every global holds once the library has started.
#include <cstdio>

#include "iocache/platform/platform.h"
#include "tests/support/library.h"

using namespace iocache_test;

namespace {

class defaults : public library_test {};

INSTANTIATE_TEST_SUITE_P(, defaults, both_modes(), mode_name);

TEST_P(defaults, library_reports_to_its_host)
{
    start();
    EXPECT_EQ(cv_wrt_err, &wrt_err);
    EXPECT_EQ(cv_printf, &std::printf);
    EXPECT_EQ(cv_killer, &killer);
}

TEST_P(defaults, no_canvas_is_open)
{
    start();
    for (const cv_canvas* const record : canvastable) EXPECT_EQ(record, nullptr);
    EXPECT_EQ(current_mask, 0);
    EXPECT_EQ(current_canvas, 0);
    EXPECT_EQ(current_cp, nullptr);
    EXPECT_EQ(current_mp, nullptr);
}

TEST_P(defaults, no_canvas_is_current_before_the_master_start_chooses_one)
{
    prepare(GetParam());
    ASSERT_EQ(cv_init_driver(), 0);
    current_canvas = current_mask = 7;
    canvas_init();
    EXPECT_EQ(current_mask, -1);
    EXPECT_EQ(current_canvas, -1);
    cv_master_exit();
}

TEST_P(defaults, no_tile_is_in_memory)
{
    start();
    EXPECT_EQ(first_tile, nullptr);
    EXPECT_EQ(last_tile, nullptr);
    EXPECT_EQ(total_size_tiles, 0);
    EXPECT_EQ(cv_disk_full, 0);
    EXPECT_EQ(cv_clear_tile, 1);
}

TEST_P(defaults, sizes_are_the_standard_ones)
{
    start();
    EXPECT_EQ(cv_tilesize_hor, 256);
    EXPECT_EQ(cv_tilesize_vert, 256);
    EXPECT_EQ(cv_max_resolution, 1'073'741'824);
    EXPECT_EQ(cv_iconsize_hor, 100);
    EXPECT_EQ(cv_iconsize_vert, 100);
    EXPECT_EQ(cv_max_lres_hor, 1024);
    EXPECT_EQ(cv_max_lres_vert, 1024);
    EXPECT_EQ(tile_offset_alfa, 262'144);
    EXPECT_EQ(cv_xsubtbl, nullptr);
    EXPECT_EQ(cv_ysubtbl, nullptr);
}

TEST_P(defaults, mode_says_who_serves_and_whether_idle_time_is_used)
{
    start();
    const int32_t expected = GetParam() == mode::in_line ? 1 : 0;
    EXPECT_EQ(cv_access_process, expected);
    EXPECT_EQ(cv_prefetch_allowed, expected);
    EXPECT_EQ(cv_prewrite_allowed, expected);
}

TEST_P(defaults, tile_access_is_ready)
{
    start();
    EXPECT_EQ(cv_tile_access_switch, 1);
    EXPECT_EQ(cv_tile_access_exit_flag, 0);
    EXPECT_NE(cv_tile_access_handle, nullptr);
    ASSERT_NE(cv_tile_access_sema, nullptr);
    EXPECT_EQ(ustestsema(cv_tile_access_sema), 0);
    EXPECT_NE(cv_tile_access_barrier, nullptr);
    EXPECT_NE(cv_tile_access_lock, nullptr);
    EXPECT_NE(cv_tile_access_ask_lock, nullptr);
    EXPECT_NE(cv_tile_access_cut_lock, nullptr);
    EXPECT_NE(cv_tile_access_lock, cv_tile_access_ask_lock);
    EXPECT_NE(cv_tile_access_lock, cv_tile_access_cut_lock);
    EXPECT_NE(cv_tile_access_ask_lock, cv_tile_access_cut_lock);
}

TEST_P(defaults, log_is_off)
{
    start();
    EXPECT_EQ(tq_log, 0);
    EXPECT_EQ(tq_logs, 0);
}

TEST_P(defaults, host_buffer_is_the_shared_one)
{
    uint8_t other = 0;
    Rbuf = &other;
    start();
    EXPECT_EQ(Rbuf, bufR);
}

TEST_P(defaults, start_tells_nothing_and_kills_nobody)
{
    start();
    stop();
    EXPECT_TRUE(host().messages().empty()) << host().last_message();
    EXPECT_EQ(host().kills(), 0);
}

}  // namespace
