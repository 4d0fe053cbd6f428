// A picture of 30,000 x 30,000 pixels whose sparse file passes 2 GiB and 4 GiB: every byte comes back.

#include <filesystem>
#include <fstream>
#include <vector>

#include "tests/large/large_line.h"
#include "tests/support/file_reader.h"
#include "tests/support/library.h"

namespace iocache_test {
namespace {

constexpr int32_t tile_side = 256;
constexpr size_t tiles_written_at = 0x364;
constexpr int64_t gibibyte = int64_t{1} << 30;

class large_canvas : public library_test {};

// Patches a closed file so that its next slots lie at the given number: as if that many tiles had been written before.
void pretend_slots(const std::string& path, int32_t slots)
{
    bytes number(4);
    put_big_endian(number, 0, 4, static_cast<uint32_t>(slots));
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(tiles_written_at);
    file.write(reinterpret_cast<const char*>(number.data()), 4);
    bytes header(4096);
    file.seekg(0);
    file.read(reinterpret_cast<char*>(header.data()), 4096);
    ASSERT_TRUE(file.good());
    file.close();
    std::filesystem::resize_file(path, static_cast<uintmax_t>(int32_at(header, 0x34C)) +
                                           static_cast<uintmax_t>(slots) * picture_tile_bytes);
}

TEST_P(large_canvas, slots_across_2_and_4_gib_keep_their_bytes)
{
    start({.cache_bytes = 3 * picture_tile_bytes});
    int32_t canvas = new_picture("large.canvas", large_side, large_side);
    const std::string file = path("large.canvas");
    ASSERT_EQ(canvas_close(canvas), 0);

    // A row of tiles is 118 slots of 320 KiB, 38 MB: two rows around each border, so that slots lie on both sides.
    constexpr int64_t slot_row = (large_side + tile_side - 1) / tile_side;
    std::vector<int32_t> rows_written;
    int32_t next_tile_row = 0;
    for (const int64_t border : {2 * gibibyte, 4 * gibibyte}) {
        pretend_slots(file, static_cast<int32_t>(border / picture_tile_bytes - slot_row / 2));
        canvas = canvas_old(file.c_str());
        ASSERT_GE(canvas, 0) << host().last_message();
        large_line pixels;
        const int32_t y = next_tile_row++ * tile_side + 17;
        fill(pixels, y);
        ASSERT_EQ(cv_storeline(canvas, pixels.colour.data(), pixels.alpha.data(), y, 0, large_side - 1), 0);
        rows_written.push_back(y);
        ASSERT_EQ(canvas_close(canvas), 0);
    }
    ASSERT_GT(std::filesystem::file_size(file), static_cast<uintmax_t>(4 * gibibyte));

    canvas = canvas_old(file.c_str());
    ASSERT_GE(canvas, 0) << host().last_message();
    for (const int32_t y : rows_written) {
        large_line expected;
        large_line found;
        fill(expected, y);
        ASSERT_EQ(cv_getline(canvas, found.colour.data(), found.alpha.data(), y, 0, large_side - 1), 0);
        EXPECT_TRUE(found == expected) << "row " << y;
    }
    large_line untouched;
    large_line found;
    ASSERT_EQ(cv_getline(canvas, found.colour.data(), found.alpha.data(), large_side - 1, 0, large_side - 1), 0);
    EXPECT_TRUE(found == untouched);
}

INSTANTIATE_TEST_SUITE_P(, large_canvas, both_modes(), mode_name);

}  // namespace
}  // namespace iocache_test
