// Opcodes 31 and 32: the value of one pixel.
#include "tests/cache/cache_test.h"

namespace {

using namespace iocache_test;

class pixel_request : public cache_test {
protected:
    void SetUp() override
    {
        start_with_zones(4);
        mask = new_mask("mask", 600, 600);
        picture = new_picture("picture", 600, 600);
    }
    int32_t value(int32_t code, int32_t canvas, int32_t x, int32_t y)
    {
        fill_slot(0, canvas, {x, y, 17, 18}, true);
        return ask(code);
    }
    void store_values()
    {
        const uint8_t colour[] = {0x12, 0x34, 0x56, 0x78};
        const uint8_t alpha = 0xFF;
        ASSERT_EQ(cv_storeline(picture, colour, &alpha, 300, 500, 500), 0);
        const uint8_t one = 0xC3;
        ASSERT_EQ(cv_storeline(mask, &one, nullptr, 300, 500, 500), 0);
        std::memcpy(&picture_value, colour, sizeof picture_value);
    }
    int32_t mask = -1;
    int32_t picture = -1;
    int32_t picture_value = 0;
};

TEST_P(pixel_request, reads_what_is_in_memory)
{
    store_values();
    settle();
    const std::string order = lru_order();
    EXPECT_EQ(value(opcode::picture_pixel, picture, 500, 300), picture_value);
    EXPECT_EQ(parg.opcode, opcode::picture_pixel);
    EXPECT_EQ(value(opcode::mask_pixel, mask, 500, 300), 0xC3);
    EXPECT_EQ(parg.opcode, opcode::mask_pixel);
    EXPECT_EQ(value(opcode::mask_pixel, mask, 501, 300), 0);
    EXPECT_EQ(cached(picture, 1, 1)->locked, 0);
    EXPECT_EQ(cached(mask, 1, 1)->locked, 0);
    EXPECT_EQ(lru_order(), order);
}

TEST_P(pixel_request, fetches_what_is_on_disk_only)
{
    store_values();
    ASSERT_EQ(canvas_flush_all(), 0);
    EXPECT_EQ(value(opcode::picture_pixel, picture, 500, 300), picture_value);
    EXPECT_EQ(parg.opcode, opcode::picture_pixel);
    EXPECT_EQ(parg.req[0].x_end, 500);
    EXPECT_EQ(parg.req[0].y_end, 300);
    EXPECT_EQ(parg.req[0].write, 0);
    EXPECT_EQ(value(opcode::mask_pixel, mask, 500, 300), 0xC3);
    EXPECT_EQ(parg.opcode, opcode::mask_pixel);
    ASSERT_NE(cached(picture, 1, 1), nullptr);
    EXPECT_EQ(cached(picture, 1, 1)->locked, 0);
    EXPECT_EQ(cached(picture, 1, 1)->dirty, 0);
    EXPECT_EQ(cached(mask, 1, 1)->locked, 0);
}

TEST_P(pixel_request, tile_never_written_reads_as_0_and_is_not_fetched)
{
    EXPECT_EQ(value(opcode::picture_pixel, picture, 500, 300), 0);
    EXPECT_EQ(value(opcode::mask_pixel, mask, 500, 300), 0);
    EXPECT_EQ(tiles_in_memory(), 0);
    EXPECT_EQ(parg.opcode, opcode::mask_pixel);
}

TEST_P(pixel_request, what_is_not_there_is_refused)
{
    EXPECT_EQ(value(opcode::mask_pixel, mask, -1, 0), -255);
    EXPECT_EQ(value(opcode::picture_pixel, picture, 768, 0), -255);
    EXPECT_EQ(value(opcode::picture_pixel, 49, 0, 0), -255);
    EXPECT_EQ(value(opcode::picture_pixel, -1, 0, 0), -255);
}

INSTANTIATE_TEST_SUITE_P(, pixel_request, both_modes(), mode_name);

}  // namespace
