// A process that is killed while it converts, at every call that changes a file: under the old name lies the old file,
// every byte of it, or the complete new canvas; and the next process that opens it gets all of its pixels.

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>

#include "tests/convert/convert_test.h"
#include "tests/support/block_writer.h"
#include "tests/support/deadly_calls.h"

namespace iocache_test {
namespace {

// Runs body in a child with a process group of its own; returns the status of waitpid.
int run_child(const std::function<void()>& body)
{
    const pid_t child = fork();
    if (child == 0) {
        setpgid(0, 0);
        body();
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

bool was_killed(int status)
{
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

// An old file: what it is made of, and whether a canvas file is all that it should become.
struct old_one {
    bytes contents;
    std::function<bool(const canvas_file&)> is_all_of;
};

class killed_conversion : public convert_test {
protected:
    void kill_at_every_call(const old_one& old)
    {
        const std::string name = write("old", old.contents);
        int old_files = 0;
        int new_files_seen = 0;
        for (int last = 1;; ++last) {
            SCOPED_TRACE("killed at call " + std::to_string(last));
            write_whole_file(name, old.contents);
            const int status = open_and_close(name, last);
            if (status == 0) break;  // it needed fewer calls
            ASSERT_TRUE(was_killed(status));
            const bytes left = read_whole_file(name);
            if (left == old.contents) {
                ++old_files;
            } else {
                ++new_files_seen;
                EXPECT_EQ(int32_at(left, version_at), 32);
                EXPECT_TRUE(old.is_all_of(canvas_file(name)));
            }
            ASSERT_EQ(open_and_close(name, 0), 0);
            const canvas_file after(name);
            EXPECT_EQ(after.magic(), 414141);
            EXPECT_EQ(after.dirty(), 0);
            EXPECT_TRUE(old.is_all_of(after));
        }
        EXPECT_GT(old_files, 20);
        EXPECT_GT(new_files_seen, 0);
    }

    // In a child that runs a library of its own. Not killed when `last_call` is 0.
    int open_and_close(const std::string& name, int last_call)
    {
        return run_child([&] {
            running_library library(GetParam());
            cv_max_lres_hor = cv_max_lres_vert = 128;  // small, so that a small canvas has a reduced image
            die_at(last_call);
            const int32_t canvas = canvas_old(name.c_str());
            EXPECT_GE(canvas, 0) << host().last_message();
            EXPECT_EQ(canvas_close(canvas), 0);
            die_at(0);
        });
    }

    // What a tile must hold: the image's pixels, and nothing around them and in the alpha plane.
    static bytes tile_of(const old_image& image, int32_t column, int32_t row)
    {
        bytes tile(size_t{65'536} * (image.is_picture() ? 5 : 1), 0);
        for (int32_t y = row * 256; y < std::min(image.height, row * 256 + 256); ++y) {
            for (int32_t x = column * 256; x < std::min(image.width, column * 256 + 256); ++x) {
                const auto place = static_cast<size_t>(y % 256 * 256 + x % 256) * image.pixel_bytes();
                const std::array<uint8_t, 4> pixel = pattern(x, y);
                std::copy_n(pixel.begin(), image.pixel_bytes(), tile.begin() + static_cast<std::ptrdiff_t>(place));
            }
        }
        return tile;
    }

    static old_one block_file(const old_image& image)
    {
        std::vector<bytes> tiles;
        for (int32_t row = 0; row * 256 < image.height; ++row) {
            for (int32_t column = 0; column * 256 < image.width; ++column) tiles.push_back(tile_of(image, column, row));
        }
        const auto is_all_of = [image, tiles](const canvas_file& file) {
            if (file.is_picture() != image.is_picture()) return false;
            if (file.x_max() != image.width - 1 || file.y_max() != image.height - 1) return false;
            for (size_t tile = 0; tile < tiles.size(); ++tile) {
                const auto number = static_cast<int32_t>(tile);
                if (file.tile(number % file.tiles_across(), number / file.tiles_across()) != tiles[tile]) return false;
            }
            return true;
        };
        return {old_file(image), is_all_of};
    }

    old_one version1_mask(int32_t width, int32_t height)
    {
        EXPECT_EQ(run_child([&] {
                      running_library library(GetParam());
                      cv_max_lres_hor = cv_max_lres_vert = 128;
                      const int32_t canvas = new_mask("old", width, height);
                      for (int32_t y = 0; y < height; y += 2) {
                          bytes line;
                          for (int32_t x = 0; x < width / 2; ++x) line.push_back(pattern(x, y)[0]);
                          EXPECT_EQ(cv_storeline(canvas, line.data(), nullptr, y, 0, width / 2 - 1), 0);
                      }
                      EXPECT_EQ(canvas_close(canvas), 0);
                  }),
                  0);
        bytes contents = read_whole_file(path("old"));
        put_big_endian(contents, version_at, 4, 1);
        write_whole_file(path("old"), contents);
        const auto before = std::make_shared<canvas_file>(path("old"));
        const auto is_all_of = [before](const canvas_file& file) {
            for (int32_t row = 0; row < before->tiles_down(); ++row) {
                for (int32_t column = 0; column < before->tiles_across(); ++column) {
                    if (file.tile(column, row) != before->tile(column, row)) return false;
                }
            }
            return !file.is_picture() && file.x_max() == before->x_max() && file.y_max() == before->y_max();
        };
        return {contents, is_all_of};
    }

private:
    static constexpr size_t version_at = 0x370;
};

TEST_P(killed_conversion, of_a_block_picture)
{
    kill_at_every_call(
        block_file({.width = 300, .height = 270, .flag = '0', .palette = bytes(6), .palette_entries = 2}));
}

TEST_P(killed_conversion, of_a_block_mask)
{
    kill_at_every_call(block_file({.width = 515, .height = 100, .type = 0}));
}

TEST_P(killed_conversion, of_a_version_1_mask)
{
    kill_at_every_call(version1_mask(1100, 300));
}

INSTANTIATE_TEST_SUITE_P(, killed_conversion, both_modes(), mode_name);

}  // namespace
}  // namespace iocache_test
