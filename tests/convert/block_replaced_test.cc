// Steps of the conversion that fail only when the machine does: memory that is not there, a block that cannot be read.

#include <algorithm>
#include <vector>

#include "tests/convert/convert_test.h"
#include "tests/files/replaced_calls.h"
#include "tests/support/block_writer.h"
#include "tests/support/real_function.h"

namespace {

// How many reads of this size succeed before one fails; none fails while it is negative.
int reads_until_failure = -1;
size_t failing_bytes = 0;
// The same for writes.
int writes_until_failure = -1;
size_t failing_written_bytes = 0;

}  // namespace

// Visible, so that the library finds it before the system's own.
extern "C" IOCACHE_API size_t fread(void* target, size_t size, size_t count, FILE* stream)
{
    static auto* const forward = iocache_test::real<decltype(fread)>("fread");
    if (reads_until_failure >= 0 && size * count == failing_bytes && reads_until_failure-- == 0) return 0;
    return forward(target, size, count, stream);
}

extern "C" IOCACHE_API size_t fwrite(const void* data, size_t size, size_t count, FILE* stream)
{
    static auto* const forward = iocache_test::real<decltype(fwrite)>("fwrite");
    const bool is_counted = writes_until_failure >= 0 && size * count == failing_written_bytes;
    if (is_counted && writes_until_failure-- == 0) return 0;
    return forward(data, size, count, stream);
}

namespace iocache_test {
namespace {

class block_replaced : public convert_test {
protected:
    void TearDown() override
    {
        reads_until_failure = -1;
        writes_until_failure = -1;
        convert_test::TearDown();
    }

    void expect_failure(const old_image& image, int32_t error, const std::string& message)
    {
        const bytes contents = old_file(image);
        const std::string name = write("old", contents);
        host().clear();
        EXPECT_EQ(cv_convert_old_file(name.c_str()), -255);
        EXPECT_EQ(cv_errno, error);
        EXPECT_EQ(host().last_message(), message);
        EXPECT_EQ(read_whole_file(name), contents);
        EXPECT_TRUE(no_new_file_is_left());
    }

    // The allocation of this size that comes after `earlier` others of that size fails.
    void expect_failure_without_memory(const old_image& image, int64_t wanted, int earlier, int32_t error,
                                       const std::string& message)
    {
        int left = earlier;
        replaced_calls::on_allocate = [&](int64_t asked) { return asked == wanted && left-- == 0; };
        expect_failure(image, error, message);
        replaced_calls::on_allocate = nullptr;
    }

    replaced_calls::reset at_the_end;
};

TEST_P(block_replaced, no_memory_for_the_header)
{
    start();
    expect_failure_without_memory({}, 4096, 0, 999134, "convert old file : malloc problem");
}

TEST_P(block_replaced, no_memory_for_a_block)
{
    start();
    expect_failure_without_memory({.type = 0}, 4096, 1, 999137, "convert old file : malloc problem");
    expect_failure_without_memory({.type = 3}, 16384, 0, 999138, "convert old file : malloc problem");
}

TEST_P(block_replaced, no_memory_for_the_palette)
{
    start();
    expect_failure_without_memory({.flag = '0', .palette = bytes(9), .palette_entries = 3}, 12, 0, 999140,
                                  "malloc problem");
    EXPECT_EQ(cv_palet_ptr, nullptr);
}

TEST_P(block_replaced, block_that_cannot_be_read_takes_the_new_canvas_along_and_leaves_the_tables_to_the_current_one)
{
    start();
    const int32_t current = new_mask("current", 3000, 1500);
    current_canvas = current;
    canvas_make_tables(current);
    const std::vector<int16_t> columns(cv_xvirttbl, cv_xvirttbl + 1024);
    for (const int32_t type : {0, 3}) {
        failing_bytes = type == 3 ? 16384 : 4096;
        for (const int earlier : {0, 1, 5}) {
            reads_until_failure = earlier;
            expect_failure({.width = 130, .height = 100, .type = type}, 999145, "convert old file : read problem");
            EXPECT_EQ(reads_until_failure, -1);
            EXPECT_TRUE(std::equal(columns.begin(), columns.end(), cv_xvirttbl));
            EXPECT_EQ(std::count(std::begin(canvastable), std::end(canvastable), nullptr), 49);
        }
    }
    EXPECT_EQ(canvas_close(current), 0);
}

// A tile whose slot could not be announced counts as written and is not: the old file is the only one that has it.
TEST_P(block_replaced, tile_that_did_not_reach_the_new_file_leaves_the_old_one)
{
    start({2 * picture_tile_bytes, 2});  // tiles leave memory while the others are still being filled
    const bytes contents = old_file({.width = 600, .height = 300});
    failing_written_bytes = 512;  // the tile table
    constexpr int tiles = 6;
    for (int announced_before = 0; announced_before < tiles; ++announced_before) {
        const std::string name = write("old", contents);
        writes_until_failure = 1 + announced_before;  // the first is that of the creation
        EXPECT_EQ(cv_convert_old_file(name.c_str()), -255);
        EXPECT_EQ(writes_until_failure, -1);
        EXPECT_EQ(read_whole_file(name), contents);
        EXPECT_TRUE(no_new_file_is_left());
        // The cache process ends when a tile cannot be had.
        start({2 * picture_tile_bytes, 2});
    }
}

INSTANTIATE_TEST_SUITE_P(, block_replaced, both_modes(), mode_name);

}  // namespace
}  // namespace iocache_test
