// What only a platform can show that answers as the test wants: no memory, disks of any size, a refused seek.
#include "tests/files/replaced_calls.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "tests/files/files_test.h"

namespace {

using namespace iocache_test;

class platform_says : public files_test {
protected:
    void SetUp() override
    {
        start();
        forget_reports();
    }
    static void free_space(int64_t block_size, int64_t free_blocks)
    {
        replaced_calls::on_statfs = [=](const char*, int64_t& size, int64_t& blocks) {
            size = block_size;
            blocks = free_blocks;
            return 0;
        };
    }
    static void no_memory_for(int64_t wanted)
    {
        replaced_calls::on_allocate = [=](int64_t bytes) { return bytes == wanted; };
    }

private:
    replaced_calls::reset calls_;
};

// The moment has passed when the library tries to make the file instead.
TEST_P(platform_says, file_that_cannot_be_opened_for_a_moment_is_not_emptied)
{
    cv_canvas& canvas = settled("mask", small_mask);
    ASSERT_EQ(canvas_close_file(canvas.index), 0);
    const bytes before = read_whole_file(path("mask"));
    for (const int error : {EMFILE, ENFILE, ENOMEM, EINTR, EACCES, EIO}) {
        int failures = 1;
        replaced_calls::on_open = [&](const char* /*mode*/) {
            errno = error;
            return failures-- > 0;
        };
        EXPECT_EQ(canvas_open_file(canvas.index), -255) << strerror(error);
        EXPECT_EQ(read_whole_file(path("mask")), before) << strerror(error);
        replaced_calls::on_open = nullptr;
    }
    EXPECT_EQ(canvas_open_file(canvas.index), -30);
}

TEST_P(platform_says, free_bytes_are_blocks_times_their_size)
{
    free_space(4096, 1000);
    EXPECT_EQ(cv_get_disk_free("/"), 4'096'000U);
    free_space(4096, (int64_t{1} << 20) - 1);
    EXPECT_EQ(cv_get_disk_free("/"), 4'294'963'200U);
}

TEST_P(platform_says, free_bytes_wrap_at_4_gib)
{
    free_space(4096, int64_t{1} << 20);
    EXPECT_EQ(cv_get_disk_free("/"), 0U);
    free_space(4096, (int64_t{1} << 20) + 3);
    EXPECT_EQ(cv_get_disk_free("/"), 12'288U);
    free_space(4096, (int64_t{1} << 33) + 5);
    EXPECT_EQ(cv_get_disk_free("/"), 20'480U);
}

TEST_P(platform_says, free_blocks_come_with_their_size)
{
    free_space(512, 123'456);
    int32_t block_size = 0;
    EXPECT_EQ(cv_get_disk_free_blocks("/", &block_size), 123'456);
    EXPECT_EQ(block_size, 512);
}

TEST_P(platform_says, disk_is_that_of_the_path)
{
    std::string asked;
    replaced_calls::on_statfs = [&](const char* path, int64_t&, int64_t&) {
        asked = path;
        return -1;
    };
    EXPECT_EQ(cv_get_disk_free("/one"), 0U);
    EXPECT_EQ(asked, "/one");
    int32_t block_size = 77;
    EXPECT_EQ(cv_get_disk_free_blocks("/other", &block_size), 0);
    EXPECT_EQ(asked, "/other");
    EXPECT_EQ(block_size, 77);
}

TEST_P(platform_says, image_header_without_memory_is_told_and_its_file_closed)
{
    write_whole_file(path("image"), bytes(2000));
    const int image = open(path("image").c_str(), O_RDONLY | O_CLOEXEC);
    no_memory_for(1024);
    EXPECT_EQ(skip_header(image), -1);
    expect_report(999214, {"malloc problem"});
    EXPECT_LT(fcntl(image, F_GETFD), 0) << "closed";
}

TEST_P(platform_says, pixels_that_cannot_be_sought_leave_the_file_open)
{
    write_whole_file(path("image"), bytes(2000));
    const int image = open(path("image").c_str(), O_RDONLY | O_CLOEXEC);
    replaced_calls::on_seek = [](off_t offset) { return offset == 812; };
    EXPECT_EQ(skip_header(image), -1);
    expect_no_report();
    EXPECT_GE(fcntl(image, F_GETFD), 0);
    close(image);
}

TEST_P(platform_says, tile_table_without_memory_is_not_written)
{
    cv_canvas& canvas = settled("picture", small_picture);
    const bytes before = read_whole_file(path("picture"));
    canvas.tile_table[0] = 5;
    no_memory_for(canvas.header->tile_table_bytes);
    EXPECT_EQ(cv_write_tile_table(canvas.index), -255);
    EXPECT_EQ(cv_write_tile_table2(canvas.index), -255);
    EXPECT_EQ(read_whole_file(path("picture")), before);
    canvas.tile_table[0] = -1;
}

TEST_P(platform_says, moved_canvas_without_memory_for_its_name_is_fatal)
{
    cv_canvas& canvas = settled("mask", small_mask);
    const std::string to = path("moved");
    no_memory_for(static_cast<int64_t>(to.size()) + 1);
    printed_by([&] { EXPECT_EQ(canvas_rename_file(canvas.index, to.c_str()), -256); });
    replaced_calls::reset::clear();
    expect_report(999224, {"rename file : cannot reopen new file"});
    EXPECT_EQ(host().kills(), 1);
    EXPECT_TRUE(exists(to));
    EXPECT_EQ(canvas.file_name, path("mask")) << "still a valid text";
}

TEST_P(platform_says, file_that_moves_to_another_disk_is_kept_until_its_copy_is_safe)
{
    // A folder that is not there counts as another disk; a name without a folder lies in the current one.
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(path(""));
    write_whole_file("from", bytes(2000, 7));
    bool was_there = false;
    int answer = -1;
    replaced_calls::on_synchronise_all = [&](int) {
        was_there = exists("from") && read_whole_file("to") == bytes(2000, 7);
        errno = EIO;
        return answer;
    };
    EXPECT_EQ(cv_rename_file(0, "from", "to"), -255);
    EXPECT_TRUE(exists("from")) << "its copy may not outlive the next power cut";
    answer = 0;
    EXPECT_EQ(cv_rename_file(0, "from", "to"), 0);
    EXPECT_TRUE(was_there);
    EXPECT_FALSE(exists("from"));
    std::filesystem::current_path(before);
}

INSTANTIATE_TEST_SUITE_P(, platform_says, in_line_mode(), mode_name);

// Closing: the tiles are on the disk before the header calls them complete.
class synchronised_close : public files_test {
protected:
    void SetUp() override
    {
        start();
        canvas = &open_new("mask", small_mask);
        ASSERT_EQ(store(*canvas, 3, 0x47), 0);
        forget_reports();
        replaced_calls::on_synchronise = [this](int) {
            const canvas_file now(path("mask"));
            seen.push_back(now.dirty());
            EXPECT_EQ(now.pixel(0, 3), bytes{0x47}) << "every tile is written by then";
            return answer;
        };
    }
    void TearDown() override { unsetenv("CV_NO_CLOSE_SYNC"); }

    cv_canvas* canvas = nullptr;
    std::vector<int32_t> seen;  // the dirty field in the file, at each synchronisation
    int answer = 0;

private:
    replaced_calls::reset calls_;
};

TEST_P(synchronised_close, happens_between_the_tiles_and_the_clean_header)
{
    EXPECT_EQ(canvas_close(canvas->index), 0);
    EXPECT_EQ(seen, std::vector<int32_t>{1});
    EXPECT_EQ(canvas_file(path("mask")).dirty(), 0);
}

TEST_P(synchronised_close, makes_a_new_name_safe_too)
{
    std::vector<ino_t> folders;
    replaced_calls::on_synchronise_all = [&](int descriptor) {
        struct stat now = {};
        fstat(descriptor, &now);
        if (S_ISDIR(now.st_mode)) folders.push_back(now.st_ino);
        return 0;
    };
    const ino_t folder = facts_of(path(".")).st_ino;
    EXPECT_EQ(canvas_close(canvas->index), 0);
    EXPECT_EQ(folders, std::vector<ino_t>{folder});
    EXPECT_EQ(canvas_close(canvas_old(path("mask").c_str())), 0);
    EXPECT_EQ(folders.size(), 1U) << "a name that is not new is safe";
    const int32_t again = canvas_old(path("mask").c_str());
    EXPECT_EQ(canvas_rename_file(again, path("renamed").c_str()), 0);
    replaced_calls::on_synchronise = nullptr;
    EXPECT_EQ(canvas_close(again), 0);
    EXPECT_EQ(folders, (std::vector<ino_t>{folder, folder}));
}

TEST_P(synchronised_close, can_be_switched_off_by_the_host)
{
    setenv("CV_NO_CLOSE_SYNC", "", 1);
    replaced_calls::on_synchronise_all = replaced_calls::on_synchronise;
    EXPECT_EQ(canvas_close(canvas->index), 0);
    EXPECT_EQ(seen, std::vector<int32_t>{});
    EXPECT_EQ(canvas_file(path("mask")).dirty(), 0);
    EXPECT_EQ(canvas_file(path("mask")).pixel(0, 3), bytes{0x47});
}

TEST_P(synchronised_close, does_not_happen_for_an_unsaved_canvas)
{
    cv_mark_canvas_nosave(canvas->index);
    EXPECT_EQ(canvas_close(canvas->index), 0);
    EXPECT_EQ(seen, std::vector<int32_t>{});
}

TEST_P(synchronised_close, that_fails_is_not_reported)
{
    answer = -1;
    EXPECT_EQ(canvas_close(canvas->index), 0);
    EXPECT_EQ(seen.size(), 1U);
    EXPECT_EQ(canvastable[0], nullptr);
    expect_no_report();
}

INSTANTIATE_TEST_SUITE_P(, synchronised_close, both_modes(), mode_name);

}  // namespace
