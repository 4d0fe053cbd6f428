// Finding the pixels of an older image behind its header and icon.
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "tests/files/files_test.h"

namespace {

using namespace iocache_test;

class skipping : public files_test {
protected:
    void SetUp() override
    {
        start();
        forget_reports();
    }
    // An image whose header names an icon of this size, and whose pixels have the given mark.
    int open_image(uint64_t icon_width, uint64_t icon_height, char mark, size_t count = 2000)
    {
        bytes image(2000, 0xEE);
        put_big_endian(image, 36, 2, icon_width);
        put_big_endian(image, 38, 2, icon_height);
        image[684] = static_cast<uint8_t>(mark);
        image.resize(count);
        write_whole_file(path("image"), image);
        return open(path("image").c_str(), O_RDONLY | O_CLOEXEC);
    }
    static bool is_open(int descriptor) { return fcntl(descriptor, F_GETFD) >= 0; }
    // Where the descriptor stands; closes it.
    static off_t position(int descriptor)
    {
        const off_t result = lseek(descriptor, 0, SEEK_CUR);
        close(descriptor);
        return result;
    }
};

TEST_P(skipping, icon_of_four_byte_pixels_is_skipped)
{
    const int image = open_image(100, 100, '1');
    EXPECT_EQ(skip_header(image), 0);
    EXPECT_EQ(position(image), 40'812);
    expect_no_report();
}

TEST_P(skipping, any_other_mark_stands_for_three_byte_pixels)
{
    for (const char mark : {'0', '2', 'C', '\0', '\1'}) {
        const int image = open_image(100, 100, mark);
        EXPECT_EQ(skip_header(image), 0);
        EXPECT_EQ(position(image), 30'812) << int{mark};
    }
}

TEST_P(skipping, width_and_height_are_told_apart_from_their_neighbours)
{
    const int image = open_image(0x0102, 0x0003, '1');
    EXPECT_EQ(skip_header(image), 0);
    EXPECT_EQ(position(image), 812 + 258 * 3 * 4);
}

TEST_P(skipping, image_without_an_icon_begins_behind_its_header)
{
    const int image = open_image(0, 100, '1');
    EXPECT_EQ(skip_header(image), 0);
    EXPECT_EQ(position(image), 812);
}

TEST_P(skipping, largest_icon_lies_beyond_4_gib)
{
    const int image = open_image(65'535, 65'535, '1');
    EXPECT_EQ(skip_header(image), 0);
    EXPECT_EQ(position(image), 17'179'345'712);
}

TEST_P(skipping, position_before_the_call_does_not_matter)
{
    const int image = open_image(100, 100, '1');
    ASSERT_EQ(lseek(image, 1234, SEEK_SET), 1234);
    EXPECT_EQ(skip_header(image), 0);
    EXPECT_EQ(position(image), 40'812);
}

TEST_P(skipping, short_image_is_accepted)
{
    const int image = open_image(10, 20, '1', 700);
    EXPECT_EQ(skip_header(image), 0);
    EXPECT_EQ(position(image), 812 + 10 * 20 * 4);
}

TEST_P(skipping, empty_image_has_no_icon)
{
    const int image = open_image(10, 20, '1', 0);
    EXPECT_EQ(skip_header(image), 0);
    EXPECT_EQ(position(image), 812);
}

TEST_P(skipping, image_that_cannot_be_read_is_told_and_closed)
{
    close(open_image(100, 100, '1'));
    const int image = open(path("image").c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(skip_header(image), -1);
    expect_report(999215, {"skip_header : Error while reading image header of font"});
    EXPECT_FALSE(is_open(image));
}

TEST_P(skipping, image_that_is_a_pipe_is_told_and_closed)
{
    int ends[2] = {};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    EXPECT_EQ(skip_header(ends[0]), -1);
    expect_report(999215, {"skip_header : Error while reading image header of font"});
    EXPECT_FALSE(is_open(ends[0]));
    close(ends[1]);
}

TEST_P(skipping, nothing_is_held_afterwards)
{
    expect_nothing_held([&] {
        const int image = open_image(100, 100, '1');
        skip_header(image);
        close(image);
    });
}

INSTANTIATE_TEST_SUITE_P(, skipping, in_line_mode(), mode_name);

}  // namespace
