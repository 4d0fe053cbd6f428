// The quick way out: the cache process ends and the arena goes, and that is all.
#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/setup/left_records.h"
#include "tests/setup/process_facts.h"
#include "tests/support/file_reader.h"
#include "tests/support/library.h"

using namespace iocache_test;

namespace {

class quick_exit : public library_test {
protected:
    ~quick_exit() override { keep_left_records(); }
    // Not through start(): its end would be the orderly one.
    void start_for_a_quick_exit()
    {
        prepare(GetParam());
        cv_master_init();
        cv_prewrite_allowed = 1;  // so that a changed tile is in memory only
    }
    int32_t changed_picture(const std::string& name)
    {
        const int32_t canvas = new_picture(name, 300, 300);
        const std::vector<uint8_t> colour(4 * 300, 9);
        const std::vector<uint8_t> alpha(300, 9);
        EXPECT_EQ(cv_storeline(canvas, colour.data(), alpha.data(), 0, 0, 299), 0);
        return canvas;
    }
};

INSTANTIATE_TEST_SUITE_P(, quick_exit, both_modes(), mode_name);

TEST_P(quick_exit, closes_no_canvas_and_writes_nothing_back)
{
    start_for_a_quick_exit();
    const int32_t canvas = changed_picture("picture");
    const bytes before = read_whole_file(path("picture"));
    cv_master_exit_quit();
    EXPECT_NE(canvastable[canvas], nullptr);
    EXPECT_EQ(read_whole_file(path("picture")), before);
    EXPECT_EQ(canvas_file(path("picture")).slot(0, 0), -1);
}

TEST_P(quick_exit, keeps_the_file_of_a_canvas_that_was_not_marked_for_saving)
{
    start_for_a_quick_exit();
    ASSERT_GE(canvas_new(path("scratch").c_str(), 0, 0, 0, 99, 99, 0, 0), 0);
    cv_master_exit_quit();
    EXPECT_TRUE(exists(path("scratch")));
}

TEST_P(quick_exit, removes_the_arena_file_and_closes_it)
{
    start_for_a_quick_exit();
    const std::string name = cv_tile_sema_file;
    const int descriptor = cv_tile_access_fdes_sema;
    cv_master_exit_quit();
    EXPECT_FALSE(exists(name));
    EXPECT_FALSE(is_open(descriptor));
}

std::atomic<bool> host_has_left{false};
void leave_in_a_hurry()
{
    cv_master_exit_quit();
    host_has_left = true;
}

// A tile that cannot be read stops the host, in the cache process. A host that leaves there must not take away what its
// own thread still waits in.
TEST_P(quick_exit, may_be_taken_in_the_cache_process)
{
    if (GetParam() == mode::in_line) GTEST_SKIP() << "there is no cache process";
    start_for_a_quick_exit();
    const std::string arena = cv_tile_sema_file;
    const int32_t canvas = changed_picture("picture");
    ASSERT_EQ(cv_flush_tiles(canvas), 0);
    std::filesystem::resize_file(path("picture"), static_cast<uintmax_t>(canvastable[canvas]->header->tiles_offset));
    const auto kept = std::exchange(cv_killer, leave_in_a_hurry);
    testing::internal::CaptureStdout();
    std::vector<uint8_t> colour(4);
    std::vector<uint8_t> alpha(1);
    EXPECT_EQ(cv_getline(canvas, colour.data(), alpha.data(), 0, 0, 0), -255);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!host_has_left && std::chrono::steady_clock::now() < end) std::this_thread::yield();
    testing::internal::GetCapturedStdout();
    cv_killer = kept;
    EXPECT_TRUE(host_has_left);
    EXPECT_FALSE(exists(arena));
    EXPECT_NE(cv_tile_access_barrier, nullptr) << "the thread that asked may still be on its way out";
}

TEST_P(quick_exit, does_not_ask_the_switch)
{
    start_for_a_quick_exit();
    const std::string name = cv_tile_sema_file;
    cv_tile_access_switch = 0;
    cv_master_exit_quit();
    EXPECT_FALSE(exists(name));
}

TEST_P(quick_exit, leaves_the_cut_lock_and_no_other_object)
{
    start_for_a_quick_exit();
    cv_master_exit_quit();
    EXPECT_NE(cv_tile_access_cut_lock, nullptr);
    EXPECT_EQ(cv_tile_access_ask_lock, nullptr);
    EXPECT_EQ(cv_tile_access_lock, nullptr);
    EXPECT_EQ(cv_tile_access_sema, nullptr);
    EXPECT_EQ(cv_tile_access_barrier, nullptr);
}

TEST_P(quick_exit, ends_every_thread)
{
    const int64_t threads = running_threads();
    start_for_a_quick_exit();
    cv_master_exit_quit();
    EXPECT_EQ(running_threads(), threads);
    EXPECT_EQ(cv_tile_access_exit_flag, GetParam() == mode::process ? 1 : 0);
}

TEST_P(quick_exit, logs_nothing)
{
    start_for_a_quick_exit();
    changed_picture("picture");
    tq_logs = 1;
    ::testing::internal::CaptureStdout();
    cv_master_exit_quit();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    tq_logs = 0;
}

TEST_P(quick_exit, may_be_followed_by_another_start)
{
    start_for_a_quick_exit();
    cv_master_exit_quit();
    start();
    const int32_t canvas = changed_picture("picture");
    EXPECT_EQ(canvas_close(canvas), 0);
    EXPECT_EQ(canvas_file(path("picture")).pixel(299, 0), (bytes{9, 9, 9, 9, 9}));
}

}  // namespace
