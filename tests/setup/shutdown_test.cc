// The orderly way out: everything is closed and written back, nothing of the library stays.
#include <cstdio>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/setup/left_records.h"
#include "tests/setup/process_facts.h"
#include "tests/support/file_reader.h"
#include "tests/support/library.h"

using namespace iocache_test;

namespace {

class orderly_exit : public library_test {
protected:
    void store_line(int32_t canvas, uint8_t value)
    {
        const std::vector<uint8_t> colour(4 * 300, value);
        const std::vector<uint8_t> alpha(300, static_cast<uint8_t>(value + 1));
        EXPECT_EQ(cv_storeline(canvas, colour.data(), alpha.data(), 5, 0, 299), 0);
    }
};

INSTANTIATE_TEST_SUITE_P(, orderly_exit, both_modes(), mode_name);

TEST_P(orderly_exit, writes_back_and_closes_every_saved_canvas)
{
    start();
    for (const char* name : {"one", "two", "three"}) store_line(new_picture(name, 300, 300), 40);
    stop();
    for (const cv_canvas* const record : canvastable) EXPECT_EQ(record, nullptr);
    for (const char* name : {"one", "two", "three"}) {
        const canvas_file file(path(name));
        EXPECT_EQ(file.dirty(), 0);
        EXPECT_EQ(file.pixel(0, 5), (bytes{40, 40, 40, 40, 41}));
        EXPECT_EQ(file.pixel(299, 5), (bytes{40, 40, 40, 40, 41}));
        EXPECT_EQ(file.pixel(299, 6), (bytes{0, 0, 0, 0, 0}));
    }
}

TEST_P(orderly_exit, deletes_the_file_of_a_canvas_that_was_not_marked_for_saving)
{
    start();
    const int32_t canvas = canvas_new(path("scratch").c_str(), 1, 0, 0, 299, 299, 0, 0);
    ASSERT_GE(canvas, 0);
    store_line(canvas, 3);
    ASSERT_TRUE(exists(path("scratch")));
    stop();
    EXPECT_FALSE(exists(path("scratch")));
}

TEST_P(orderly_exit, is_not_refused_for_open_zoom_canvases)
{
    start();
    const int32_t parent = new_picture("parent", 300, 300);
    const int32_t zoom = new_picture("zoom", 300, 300);
    store_line(parent, 7);
    canvastable[parent]->zoom_child = canvastable[zoom];
    canvastable[parent]->open_zooms = 1;
    canvastable[zoom]->is_zoom = canvastable[parent];
    stop();
    EXPECT_EQ(canvastable[parent], nullptr);
    EXPECT_EQ(canvastable[zoom], nullptr);
    EXPECT_TRUE(host().messages().empty()) << host().last_message();
    EXPECT_EQ(canvas_file(path("parent")).pixel(0, 5).at(0), 7);
    EXPECT_EQ(canvas_file(path("parent")).dirty(), 0);
    EXPECT_EQ(canvas_file(path("zoom")).dirty(), 0);
}

// Closing one of two linked canvases takes the other's window file along, in this state; the exit cuts the links
// first, and on its own account the other keeps the file.
TEST_P(orderly_exit, cuts_links_before_it_closes)
{
    start();
    const int32_t first = new_picture("first", 300, 300);
    const int32_t second = new_picture("second", 300, 300);
    canvastable[first]->link_a = canvastable[second];
    canvastable[second]->link_b = canvastable[first];
    canvastable[second]->geom.level = 3;
    canvastable[second]->window_mode = 1;
    const std::string window_file = canvastable[second]->subs_window_name;
    write_whole_file(window_file, {1});
    stop();
    EXPECT_EQ(canvastable[first], nullptr);
    EXPECT_EQ(canvastable[second], nullptr);
    EXPECT_TRUE(exists(window_file));
}

TEST_P(orderly_exit, leaves_a_busy_canvas_open)
{
    start();
    const int32_t busy = new_picture("busy", 300, 300);
    const int32_t idle = new_picture("idle", 300, 300);
    canvastable[busy]->busy = 1;
    cv_kill_tile_access();
    EXPECT_NE(canvastable[busy], nullptr);
    EXPECT_EQ(canvastable[idle], nullptr);
    stop();
    keep_left_records();
}

TEST_P(orderly_exit, raises_the_exit_flag_for_a_cache_process_only)
{
    start();
    stop();
    EXPECT_EQ(cv_tile_access_exit_flag, GetParam() == mode::process ? 1 : 0);
}

TEST_P(orderly_exit, ends_every_thread_and_closes_every_descriptor)
{
    prepare(GetParam());
    const int64_t threads = running_threads();
    const int64_t descriptors = open_descriptors();
    start();
    store_line(new_picture("picture", 300, 300), 1);
    stop();
    EXPECT_EQ(running_threads(), threads);
    EXPECT_EQ(open_descriptors(), descriptors);
}

TEST_P(orderly_exit, leaves_no_object_behind)
{
    start();
    stop();
    EXPECT_EQ(cv_tile_access_sema, nullptr);
    EXPECT_EQ(cv_tile_access_barrier, nullptr);
    EXPECT_EQ(cv_tile_access_lock, nullptr);
    EXPECT_EQ(cv_tile_access_ask_lock, nullptr);
    EXPECT_EQ(cv_tile_access_cut_lock, nullptr);
}

TEST_P(orderly_exit, keeps_the_switch_so_that_a_second_one_runs_again)
{
    start();
    EXPECT_EQ(cv_tile_access_switch, 1);
    cv_kill_tile_access();
    EXPECT_EQ(cv_tile_access_switch, 1);
    tq_logs = 1;
    ::testing::internal::CaptureStdout();
    cv_kill_tile_access();
    EXPECT_THAT(::testing::internal::GetCapturedStdout(), ::testing::HasSubstr("Tessera ended    : "));
    tq_logs = 0;
    stop();
    EXPECT_TRUE(host().messages().empty());
    EXPECT_EQ(host().kills(), 0);
}

TEST_P(orderly_exit, works_while_the_cache_process_is_still_busy)
{
    start({.cache_bytes = 100 * picture_tile_bytes});
    const int32_t canvas = new_picture("wide", 4096, 300);
    std::vector<uint8_t> colour(4 * 4096, 5);
    std::vector<uint8_t> alpha(4096, 6);
    for (int32_t y = 0; y < 300; y += 256) ASSERT_EQ(cv_storeline(canvas, colour.data(), alpha.data(), y, 0, 4095), 0);
    EXPECT_EQ(cv_start_prewrite(), 0);
    stop();
    const canvas_file file(path("wide"));
    EXPECT_EQ(file.dirty(), 0);
    EXPECT_EQ(file.tiles_written(), 32);
    for (int32_t x = 0; x < 4096; x += 256) EXPECT_EQ(file.pixel(x, 256), (bytes{5, 5, 5, 5, 6}));
}

TEST(exit_before_the_start, does_nothing)
{
    host().clear();
    iocache_host_on_message([](const char* text) { host().add_message(text); });
    temporary_folder folder;
    const std::string bystander = folder.write("bystander", "stays");
    std::snprintf(cv_tile_sema_file, sizeof cv_tile_sema_file, "%s", bystander.c_str());
    cv_tile_access_switch = 0;
    tq_logs = 1;
    ::testing::internal::CaptureStdout();
    cv_kill_tile_access();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    tq_logs = 0;
    EXPECT_TRUE(exists(bystander));
    EXPECT_TRUE(host().messages().empty());
}

}  // namespace
