// Canvases whose pixels do not begin at (0, 0) and whose tiles do not begin with the image: verify finds nothing wrong
// with them, and repair finds their tiles again.
#include <filesystem>

#include "tests/support/killed_process.h"
#include "tests/support/library.h"
#include "tests/support/painting.h"
#include "tests/tools/support/damaged_canvas.h"
#include "tests/tools/support/process.h"

namespace tool_tests {

namespace {

using namespace iocache_test;

struct grid_case {
    int32_t kind, x_min, y_min, x_max, y_max, x_offset, y_offset;
};
// Offsets within the first tile and beyond it, one side long, a last column and row alone in their tiles.
const grid_case cases[] = {
    {1, -20, -30, 1279, 599, 20, 30},    {0, -20, -30, 1279, 599, 120, 300}, {1, 0, 0, 299, 1199, 700, 5},
    {0, -256, 0, 1280, 767, 256, 257},   {1, -100, -1, 399, 298, 155, 255},  {0, 0, -32, 1024, 1023, 0, 32},
    {1, -1500, -100, -1, -1, 1500, 100},
};

class shifted_grid : public tool_test {
protected:
    void make(const grid_case& grid)
    {
        std::filesystem::remove(path("canvas"));
        const int status = killing::run_child([&] {
            const running_library library(mode::in_line);
            painting image;
            image.kind = grid.kind;
            image.x_min = grid.x_min;
            image.y_min = grid.y_min;
            image.x_max = grid.x_max;
            image.y_max = grid.y_max;
            image.x_offset = grid.x_offset;
            image.y_offset = grid.y_offset;
            image.painted = {image.bounds()};
            const int32_t canvas = image.create(path("canvas"));
            image.store(canvas);
            if (canvas_close(canvas) != 0) _exit(1);
        });
        ASSERT_EQ(status, 0);
        ASSERT_EQ(iocache({"refresh", path("canvas")}).exit_code, 0);
    }
};

TEST_F(shifted_grid, is_verified_down_to_the_last_pixel)
{
    for (const grid_case& grid : cases) {
        SCOPED_TRACE(grid.x_min);
        make(grid);
        const outcome clean = iocache({"verify", "--full", path("canvas")});
        EXPECT_EQ(clean.exit_code, 0);
        EXPECT_EQ(clean.out, path("canvas") + ": clean\n");
    }
}

TEST_F(shifted_grid, has_its_lost_table_found_again)
{
    for (const grid_case& grid : cases) {
        SCOPED_TRACE(grid.x_min);
        make(grid);
        std::filesystem::copy_file(path("canvas"), path("sound"), std::filesystem::copy_options::overwrite_existing);
        damaged_canvas canvas(path("canvas"));
        canvas.fill_region(header_field::tile_table_offset, header_field::tile_table_bytes, 0xFF);
        write_bytes(path("canvas"), canvas.bytes);
        const outcome repaired = iocache({"repair", path("canvas")});
        // A last column of tiles without a single sampled pixel is given out in order, and told.
        const bool is_sure = grid.x_max != 1024;
        EXPECT_EQ(repaired.exit_code, is_sure ? 0 : 1) << repaired.out;
        EXPECT_EQ(repaired.out.find("unclear: tile") == std::string::npos, is_sure) << repaired.out;
        const outcome compared = iocache({"diff", "--pixels", path("canvas"), path("sound")});
        EXPECT_EQ(compared.exit_code, 0) << compared.out;
    }
}

}  // namespace

}  // namespace tool_tests
