// What cannot be converted is left exactly as it was.

#include "tests/convert/block_writer.h"
#include "tests/convert/convert_test.h"

namespace iocache_test {
namespace {

class block_failure : public convert_test {
protected:
    // The conversion of this file fails with this code and message, and changes nothing.
    void expect_refusal(const bytes& contents, int32_t error, const std::string& message)
    {
        const std::string name = write("old", contents);
        host().clear();
        EXPECT_EQ(cv_convert_old_file(name.c_str()), -255);
        EXPECT_EQ(cv_errno, error);
        EXPECT_EQ(host().last_message(), message);
        EXPECT_EQ(read_whole_file(name), contents);
        EXPECT_TRUE(!std::filesystem::exists(new_files()) || no_new_file_is_left());
        for (const cv_canvas* const record : canvastable) EXPECT_EQ(record, nullptr);
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

TEST_P(block_failure, image_longer_than_the_file)
{
    start();
    bytes file = old_file({});
    file.pop_back();
    expect_refusal(file, 999136, "convert old file : read error");
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

TEST_P(block_failure, host_without_a_new_name)
{
    start();
    std::filesystem::remove(new_files());
    expect_refusal(old_file({}), 999146, "maximum number of default canvasses is reached");
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
