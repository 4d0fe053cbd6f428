// Opcodes 50 and 51: a canvas's kept-open stream.
#include <unistd.h>

#include "tests/cache/cache_test.h"

namespace {

using namespace iocache_test;

class stream_request : public cache_test {
protected:
    void SetUp() override
    {
        start_with_zones(4);
        mask = new_mask("mask", 600, 600);
    }
    int32_t ask_for(int32_t code)
    {
        parg.req[0].canvas = mask;
        return ask(code);
    }
    int32_t mask = -1;
};

TEST_P(stream_request, closes_the_stream)
{
    write_tile(mask, 0, 0, 5);
    ASSERT_EQ(cv_flush_tiles_keep(mask), 0);
    ASSERT_NE(record_of(mask).fp2, nullptr);
    EXPECT_EQ(ask_for(opcode::close_stream), 0);
    EXPECT_EQ(record_of(mask).fp2, nullptr);
    EXPECT_EQ(ask_for(opcode::close_stream), 0) << "when there is none to close";
    EXPECT_EQ(parg.opcode, opcode::close_stream);
}

TEST_P(stream_request, opens_the_stream_for_reading_and_writing)
{
    ASSERT_EQ(ask_for(opcode::close_stream), 0);
    EXPECT_EQ(ask_for(opcode::open_stream), 0);
    EXPECT_EQ(parg.opcode, opcode::open_stream);
    ASSERT_NE(record_of(mask).fp2, nullptr);
    write_tile(mask, 0, 0, 5);
    ASSERT_EQ(cv_flush_tiles(mask), 0);
    EXPECT_EQ(shown(mask, 0), tile_of(mask, 5));
}

TEST_P(stream_request, file_that_cannot_be_opened_shows_in_the_opcode_alone)
{
    ASSERT_EQ(ask_for(opcode::close_stream), 0);
    ASSERT_EQ(rename(path("mask").c_str(), path("elsewhere").c_str()), 0);
    cv_errno = 0;
    EXPECT_EQ(ask_for(opcode::open_stream), 0);
    EXPECT_EQ(parg.opcode, -255);
    EXPECT_EQ(record_of(mask).fp2, nullptr);
    EXPECT_EQ(cv_errno, 0);
    EXPECT_EQ(host().messages(), std::vector<std::string>{});
    ASSERT_EQ(rename(path("elsewhere").c_str(), path("mask").c_str()), 0);
    settle();
}

INSTANTIATE_TEST_SUITE_P(, stream_request, both_modes(), mode_name);

}  // namespace
