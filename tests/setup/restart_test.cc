// One program may start and stop the library again and again.
#include <string>
#include <vector>

#include "tests/setup/left_records.h"
#include "tests/setup/process_facts.h"
#include "tests/support/file_reader.h"
#include "tests/support/library.h"

using namespace iocache_test;

namespace {

std::vector<uint8_t> line_of(uint8_t value)
{
    return std::vector<uint8_t>(4 * 600, value);
}

void store_row(int32_t canvas, int32_t y, uint8_t value)
{
    EXPECT_EQ(cv_storeline(canvas, line_of(value).data(), line_of(value).data(), y, 0, 599), 0);
}

TEST(restart, reads_what_an_earlier_run_stored_whatever_the_modes)
{
    const temporary_folder folder;
    const std::string path = folder.path() + "/picture";
    {
        const running_library library(mode::process);
        const int32_t canvas = canvas_new(path.c_str(), 1, 0, 0, 599, 599, 0, 0);
        ASSERT_GE(canvas, 0);
        cv_mark_canvas_save(canvas);
        store_row(canvas, 0, 100);
    }
    uint8_t value = 100;
    for (const mode next : {mode::in_line, mode::process, mode::process, mode::in_line, mode::in_line, mode::process}) {
        const running_library library(next, {.cache_bytes = 2 * picture_tile_bytes});
        const int32_t canvas = canvas_old(path.c_str());
        ASSERT_GE(canvas, 0) << host().last_message();
        std::vector<uint8_t> colour(4 * 600);
        std::vector<uint8_t> alpha(600);
        ASSERT_EQ(cv_getline(canvas, colour.data(), alpha.data(), 0, 0, 599), 0);
        EXPECT_EQ(colour, line_of(value));
        store_row(canvas, 0, ++value);
        cv_mark_canvas_save(canvas);
    }
    EXPECT_EQ(canvas_file(path).pixel(599, 0), bytes(5, value));
}

TEST(restart, uses_up_no_threads_and_no_descriptors)
{
    const temporary_folder folder;
    int64_t threads = 0;
    int64_t descriptors = 0;
    for (int run = 0; run < 10; ++run) {
        {
            const running_library library(run % 2 == 0 ? mode::process : mode::in_line);
            const std::string path = folder.path() + "/" + std::to_string(run);
            const int32_t canvas = canvas_new(path.c_str(), 1, 0, 0, 599, 599, 0, 0);
            ASSERT_GE(canvas, 0);
            store_row(canvas, 300, 1);
        }
        if (run == 0) threads = running_threads();
        if (run == 0) descriptors = open_descriptors();
    }
    EXPECT_EQ(running_threads(), threads);
    EXPECT_EQ(open_descriptors(), descriptors);
}

class restarted : public library_test {};

INSTANTIATE_TEST_SUITE_P(, restarted, both_modes(), mode_name);

TEST_P(restarted, library_has_its_defaults_again)
{
    start();
    cv_clear_tile = 0;
    cv_tilesize_hor = cv_tilesize_vert = 17;
    cv_iconsize_hor = cv_iconsize_vert = 17;
    cv_max_lres_hor = cv_max_lres_vert = 17;
    cv_max_resolution = 17;
    tile_offset_alfa = 17;
    current_canvas = current_mask = 17;
    stop();
    start();
    EXPECT_EQ(cv_clear_tile, 1);
    EXPECT_EQ(cv_tile_access_exit_flag, 0);
    EXPECT_EQ(cv_tilesize_hor, 256);
    EXPECT_EQ(cv_tilesize_vert, 256);
    EXPECT_EQ(cv_iconsize_hor, 100);
    EXPECT_EQ(cv_iconsize_vert, 100);
    EXPECT_EQ(cv_max_lres_hor, 1024);
    EXPECT_EQ(cv_max_lres_vert, 1024);
    EXPECT_EQ(cv_max_resolution, 1'073'741'824);
    EXPECT_EQ(tile_offset_alfa, 262'144);
    EXPECT_EQ(current_canvas, 0);
    EXPECT_EQ(current_mask, 0);
}

TEST_P(restarted, library_forgets_canvases_and_tiles_of_a_run_that_ended_in_a_hurry)
{
    prepare(GetParam());
    cv_master_init();
    store_row(new_picture("lost", 600, 600), 0, 1);
    cv_master_exit_quit();
    keep_left_records();
    ASSERT_NE(first_tile, nullptr);
    start();
    EXPECT_EQ(first_tile, nullptr);
    EXPECT_EQ(last_tile, nullptr);
    for (const cv_canvas* const record : canvastable) EXPECT_EQ(record, nullptr);
    store_row(new_picture("kept", 600, 600), 0, 2);
}

}  // namespace
