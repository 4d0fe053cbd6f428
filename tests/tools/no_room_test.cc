// A disk that is full, or a file that may not grow, is told by code 5, and nothing half made is left.
#include <fstream>
#include <memory>

#include "tests/support/small_disk.h"
#include "tests/tools/support/damaged_canvas.h"
#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

using iocache_test::small_disk;

class no_room_test : public import_test {
protected:
    void SetUp() override
    {
        write_png(path("photo.png"), make_image(1301, 977, model::rgb, true));
        import("photo.png", process_mode());
    }
    // A canvas that differs in every byte of its first tile.
    void make_other()
    {
        damaged_canvas other(path("canvas"));
        for (std::size_t at = 0; at < static_cast<std::size_t>(other.number(header_field::tile_bytes)); ++at) {
            other.bytes[other.slot_place(0) + at] ^= static_cast<std::uint8_t>(at * at % 255 + 1);
        }
        write_bytes(path("other"), other.bytes);
    }
};

class full_disk_test : public no_room_test {
protected:
    void SetUp() override
    {
        no_room_test::SetUp();
        std::filesystem::create_directory(path("disk"));
        try {
            disk_ = std::make_unique<small_disk>(path("disk"), 1);
        } catch (const iocache_test::no_small_disk& problem) {
            GTEST_SKIP() << problem.what();
        }
        // So that the beginning of a file still fits.
        std::ofstream rest(disk_->file("rest"));
        rest << std::string((std::size_t{1} << 20) - 3 * small_disk::page_bytes, 'x');
    }

    void expect_no_room(const outcome& result)
    {
        EXPECT_EQ(result.exit_code, 5) << result.err;
        EXPECT_NE(result.err.find(disk_->file("")), std::string::npos) << result.err;
        const auto left = std::filesystem::directory_iterator(path("disk"));
        EXPECT_EQ(std::distance(left, std::filesystem::directory_iterator()), 1);
    }

    std::unique_ptr<small_disk> disk_;
};

TEST_F(full_disk_test, images_are_taken_back)
{
    expect_no_room(iocache({"export", path("canvas"), disk_->file("out.png")}));
    expect_no_room(iocache({"export", path("canvas"), disk_->file("out.tif")}));
    expect_no_room(iocache({"export", path("canvas"), disk_->file("out.tif"), "--compress", "lzw"}));
    expect_no_room(iocache({"preview", path("canvas"), disk_->file("out.png")}));
    expect_no_room(iocache({"separations", path("canvas"), disk_->file("plates")}));
    expect_no_room(iocache({"import", path("photo.png"), disk_->file("new"), "--cache", "20M"}));
}

TEST_F(full_disk_test, differences_are_told_without_their_map)
{
    make_other();
    disk_->fill_up_to(0);
    const outcome result =
        iocache({"diff", path("canvas"), path("other"), "--pixels", "--heat-map", disk_->file("heat.png")});
    EXPECT_EQ(result.exit_code, 5) << result.err;
    EXPECT_NE(result.out.find("pixels: "), std::string::npos) << result.out;
    EXPECT_TRUE(result.out.ends_with("different\n")) << result.out;
    EXPECT_FALSE(std::filesystem::exists(disk_->file("heat.png")));
}

TEST_F(no_room_test, files_that_may_not_grow_are_taken_back)
{
    const std::vector<std::string> before = files();
    const std::vector<std::string> limited{"/bin/bash", "-c", "ulimit -f 100; exec \"$@\"", "bash", tool()};
    const std::vector<std::vector<std::string>> commands{
        {"export", path("canvas"), path("new.png")},
        {"export", path("canvas"), path("new.tif")},
        {"separations", path("canvas"), path("plates")},
        {"preview", path("canvas"), path("new.png"), "--level", "0"},
        std::vector<std::string>{"import", path("photo.png"), path("new")} + process_mode(),
        std::vector<std::string>{"import", path("photo.png"), path("new")} + in_line_mode(),
    };
    for (const std::vector<std::string>& command : commands) {
        SCOPED_TRACE(command[0] + " " + command[2]);
        const outcome result = run(limited + command);
        EXPECT_EQ(result.exit_code, 5) << result.signal << result.err;
        EXPECT_TRUE(result.err.starts_with("iocache: ")) << result.err;
        EXPECT_EQ(files(), before);
    }
}

}  // namespace

}  // namespace tool_tests
