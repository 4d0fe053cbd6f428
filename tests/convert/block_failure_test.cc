// What cannot be converted is left exactly as it was.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/convert/convert_test.h"
#include "tests/support/block_writer.h"

namespace iocache_test {
namespace {

class block_failure : public convert_test {
protected:
    // The conversion of this file fails with this code and message, and changes nothing.
    void expect_refusal(const bytes& contents, int32_t error, const std::string& message)
    {
        const std::string name = convert_test::write("old", contents);
        host().clear();
        EXPECT_EQ(cv_convert_old_file(name.c_str()), -255);
        EXPECT_EQ(cv_errno, error);
        EXPECT_EQ(host().last_message(), message);
        EXPECT_EQ(read_whole_file(name), contents);
        EXPECT_TRUE(!std::filesystem::exists(new_files()) || no_new_file_is_left());
        for (const cv_canvas* const record : canvastable) EXPECT_EQ(record, nullptr);
    }
    // So does that of a pipe which holds the header of this image.
    void expect_refusal_of_pipe(const old_image& image, int32_t error, const std::string& message)
    {
        const std::string name = path("pipe");
        ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
        const int pipe = open(name.c_str(), O_RDWR | O_CLOEXEC);
        const bytes header = old_header(image);
        ASSERT_EQ(::write(pipe, header.data(), header.size()), static_cast<ssize_t>(header.size()));
        host().clear();
        EXPECT_EQ(cv_convert_old_file(name.c_str()), -255);
        EXPECT_EQ(cv_errno, error);
        EXPECT_EQ(host().last_message(), message);
        EXPECT_TRUE(no_new_file_is_left());
        EXPECT_TRUE(std::filesystem::is_fifo(name));
        close(pipe);
        std::filesystem::remove(name);
    }
    static size_t open_files()
    {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return static_cast<size_t>(std::distance(begin(all), end(all)));
    }
};

TEST_P(block_failure, file_that_is_not_there)
{
    start();
    EXPECT_EQ(cv_convert_old_file(path("nowhere").c_str()), -255);
    EXPECT_EQ(cv_errno, 999135);
    EXPECT_EQ(host().last_message(), "convert old file : open error");
}

TEST_P(block_failure, file_shorter_than_a_header)
{
    start();
    expect_refusal(bytes(811, 0), 999136, "convert old file : read error");
}

TEST_P(block_failure, blocks_that_are_cut_off_are_found_out_before_a_canvas_is_made)
{
    start();
    for (const int32_t type : {0, 3}) {
        const bytes whole = old_file({.type = type});
        for (const size_t missing : {size_t{1}, size_t{20'000}, whole.size() - 812}) {
            SCOPED_TRACE(missing);
            bytes file = whole;
            file.resize(whole.size() - std::min(missing, whole.size() - 812));
            expect_refusal(file, 999145, "convert old file : read problem");
        }
    }
}

TEST_P(block_failure, palette_that_is_cut_off_leaves_the_file_open)
{
    start();
    for (const char flag : {'1', '0'}) {
        const size_t entry_bytes = flag == '1' ? 4 : 3;
        bytes file = old_file({.flag = flag, .palette = bytes(5 * entry_bytes, 7), .palette_entries = 5});
        file.resize(812 + 5 * entry_bytes - 1);
        const size_t open_before = open_files();
        expect_refusal(file, flag == '1' ? 999141 : 999142, "read of old color palet failed");
        EXPECT_EQ(open_files(), open_before + 1);
        EXPECT_EQ(cv_palet_ptr, nullptr);
        EXPECT_EQ(cv_palet_num_bytes, 0);
    }
}

// A pipe can be read and written, but not searched.
TEST_P(block_failure, palette_that_cannot_be_searched_for_leaves_the_file_open)
{
    start();
    const size_t open_before = open_files();
    expect_refusal_of_pipe({.flag = '0', .palette = bytes(3, 7), .palette_entries = 1}, 999139,
                           "Seek failed on old file");
    EXPECT_EQ(open_files(), open_before + 1);
}

TEST_P(block_failure, blocks_that_cannot_be_searched_for)
{
    start();
    const size_t open_before = open_files();
    expect_refusal_of_pipe({.type = 0}, 999144, "convert old file : seek problem");
    expect_refusal_of_pipe({.flag = '1'}, 999144, "convert old file : seek problem");
    EXPECT_EQ(open_files(), open_before);
}

TEST_P(block_failure, device_that_never_ends_is_no_old_file)
{
    start();
    EXPECT_EQ(cv_convert_old_file("/dev/zero"), -255);
    EXPECT_EQ(cv_errno, 999145);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/zero"));
    EXPECT_TRUE(no_new_file_is_left());
}

TEST_P(block_failure, negative_numbers)
{
    start();
    for (const size_t field : {2U, 6U, 34U, 36U, 38U}) {
        SCOPED_TRACE(field);
        bytes file = old_file({});
        put_big_endian(file, field, 2, 0xFFFF);
        expect_refusal(file, 999136, "convert old file : read error");
    }
}

// As a power cut may leave a canvas that was never closed: some sectors of its header never reached the disk.
TEST_P(block_failure, canvas_without_the_end_of_its_header)
{
    start();
    const int32_t canvas = new_mask("canvas", 300, 300);
    for (int32_t y = 0; y < 300; ++y) cv_storeline(canvas, bytes(300, 9).data(), nullptr, y, 0, 299);
    EXPECT_EQ(canvas_close(canvas), 0);
    for (const size_t first_lost : {0U, 512U}) {
        SCOPED_TRACE(first_lost);
        bytes file = read_whole_file(path("canvas"));
        std::fill(file.begin() + static_cast<std::ptrdiff_t>(first_lost), file.begin() + 4096, uint8_t{0});
        expect_refusal(file, 999136, "convert old file : read error");
    }
}

TEST_P(block_failure, host_without_a_new_name)
{
    start();
    std::filesystem::remove(new_files());
    const size_t open_before = open_files();
    expect_refusal(old_file({}), 999146, "maximum number of default canvasses is reached");
    EXPECT_EQ(open_files(), open_before + 1);
}

TEST_P(block_failure, tiles_that_cannot_hold_whole_blocks)
{
    start();
    cv_tilesize_hor = 200;
    expect_refusal(old_file({}), 999143, "convert old file : cannot create canvas");
}

TEST_P(block_failure, table_of_canvases_that_is_full)
{
    start();
    for (int i = 0; i < 50; ++i) ASSERT_EQ(new_mask("mask" + std::to_string(i), 1, 1), i);
    const bytes contents = old_file({});
    const std::string name = write("old", contents);
    EXPECT_EQ(cv_convert_old_file(name.c_str()), -255);
    EXPECT_EQ(cv_errno, 999143);
    EXPECT_EQ(host().last_message(), "convert old file : cannot create canvas");
    EXPECT_EQ(read_whole_file(name), contents);
}

INSTANTIATE_TEST_SUITE_P(, block_failure, both_modes(), mode_name);

}  // namespace
}  // namespace iocache_test
