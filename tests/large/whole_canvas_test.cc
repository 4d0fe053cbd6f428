// A picture of 30,000 x 30,000 pixels, every one of them written: 4.6 GB. Not a part of the test suite;
// scripts/check-large-canvas runs it in the folder that IOCACHE_LARGE_FOLDER names.

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/large/large_line.h"
#include "tests/support/library.h"

namespace iocache_test {
namespace {

class whole_large_canvas : public library_test {};

TEST_P(whole_large_canvas, keeps_every_byte)
{
    const char* const folder = std::getenv("IOCACHE_LARGE_FOLDER");
    ASSERT_NE(folder, nullptr) << "a folder with 5 GB of room";
    const std::string file = std::string(folder) + "/whole.canvas";
    std::filesystem::remove(file);
    start({.cache_bytes = 256 * picture_tile_bytes});
    int32_t canvas = canvas_new(file.c_str(), 1, 0, 0, large_side - 1, large_side - 1, 0, 0);
    ASSERT_GE(canvas, 0) << host().last_message();
    ASSERT_EQ(cv_mark_canvas_save(canvas), 0);
    large_line pixels;
    for (int32_t y = 0; y < large_side; ++y) {
        fill(pixels, y);
        ASSERT_EQ(cv_storeline(canvas, pixels.colour.data(), pixels.alpha.data(), y, 0, large_side - 1), 0)
            << "row " << y;
    }
    ASSERT_EQ(canvas_close(canvas), 0);
    canvas = canvas_old(file.c_str());
    ASSERT_GE(canvas, 0) << host().last_message();
    large_line found;
    for (int32_t y = 0; y < large_side; ++y) {
        fill(pixels, y);
        ASSERT_EQ(cv_getline(canvas, found.colour.data(), found.alpha.data(), y, 0, large_side - 1), 0) << "row " << y;
        ASSERT_TRUE(found == pixels) << "row " << y;
    }
    stop();
    std::filesystem::remove(file);
}

INSTANTIATE_TEST_SUITE_P(, whole_large_canvas, both_modes(), mode_name);

}  // namespace
}  // namespace iocache_test
