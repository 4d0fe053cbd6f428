// A tile that cannot be read: the request fails, the host is stopped, and the cache process ends.
#include <cstdarg>
#include <cstdio>

#include <unistd.h>

#include "tests/cache/cache_test.h"

namespace {

using namespace iocache_test;

std::string console;

int write_down(const char* format, ...)
{
    char text[512];
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    console += text;
    return length;
}

class unreadable_tile : public cache_test {
protected:
    // Tile (0, 0) can be read, tile (1, 0) lies behind the file's end.
    void SetUp() override
    {
        start_with_zones(4);
        mask = new_mask("mask", 600, 256);
        write_tile(mask, 0, 0, 1);
        write_tile(mask, 1, 0, 2);
        ASSERT_EQ(cv_flush_tiles(mask), 0);
        const canvas_file stored = file("mask");
        ASSERT_EQ(stored.slot(1, 0), 1);
        ASSERT_EQ(truncate(path("mask").c_str(), int32_at(stored.contents(), 0x34C) + mask_tile_bytes + 5), 0);
        console.clear();
        cv_printf = write_down;
    }
    // Asks and returns what went to standard output meanwhile.
    std::string ask_for_it(int32_t code)
    {
        testing::internal::CaptureStdout();
        EXPECT_EQ(ask(code), -255);
        return testing::internal::GetCapturedStdout();
    }
    int32_t mask = -1;
};

TEST_P(unreadable_tile, fails_the_request_and_stops_the_host)
{
    fill_slot(0, mask, first_pixel_of(1));
    const std::string output = ask_for_it(opcode::one_slot);
    EXPECT_EQ(console, "Cannot read tile\n");
    EXPECT_EQ(output, "read failed on canvas 0 mask\n");
    EXPECT_EQ(parg.opcode, -255);
    EXPECT_EQ(host().kills(), 1);
    EXPECT_EQ(parg.req[0].tile, nullptr);
    EXPECT_EQ(parg.req[0].pixel, nullptr);
}

TEST_P(unreadable_tile, of_a_single_slot_is_told_on_standard_output)
{
    fill_slot(2, mask, first_pixel_of(1));
    const std::string output = ask_for_it(opcode::third_slot_only);
    EXPECT_EQ(console, "");
    EXPECT_EQ(output, "read failed on canvas 0 mask\nCannot read tile\n");
    EXPECT_EQ(parg.opcode, -255);
    EXPECT_EQ(host().kills(), 1);
}

TEST_P(unreadable_tile, leaves_no_slot_of_its_request_locked)
{
    fill_slot(0, mask, first_pixel_of(0));
    fill_slot(1, mask, first_pixel_of(1));
    fill_slot(2, mask, first_pixel_of(2));
    ask_for_it(opcode::three_slots);
    ASSERT_NE(cached(mask, 0), nullptr);
    EXPECT_EQ(cached(mask, 0)->locked, 0);
    EXPECT_EQ(cached(mask, 2), nullptr);
    for (const cv_tile_request& request : parg.req) EXPECT_EQ(request.tile, nullptr);
}

TEST_P(unreadable_tile, fails_a_pixels_value)
{
    fill_slot(0, mask, first_pixel_of(1));
    ask_for_it(opcode::mask_pixel);
    EXPECT_EQ(parg.opcode, opcode::mask_pixel);
}

TEST_P(unreadable_tile, fails_a_line_that_comes_to_it)
{
    bytes line(600, 0xEE);
    testing::internal::CaptureStdout();
    EXPECT_EQ(cv_getline(mask, line.data(), nullptr, 0, 0, 599), -255);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(bytes(line.begin(), line.begin() + 256), bytes(256, 1)) << "pixels before it are transferred";
    EXPECT_EQ(bytes(line.begin() + 256, line.end()), bytes(344, 0xEE)) << "nothing comes from a stale pointer";
    ASSERT_NE(cached(mask, 0), nullptr);
    EXPECT_EQ(cached(mask, 0)->locked, 0);
}

TEST_P(unreadable_tile, ends_the_cache_process_so_that_every_later_post_fails)
{
    fill_slot(0, mask, first_pixel_of(1));
    ask_for_it(opcode::one_slot);
    const int32_t expected = GetParam() == mode::process ? -255 : 0;
    fill_slot(0, mask, first_pixel_of(2));
    EXPECT_EQ(ask(opcode::one_slot), expected);
    if (expected == 0) let_go(parg.req[0].tile);
    fill_slot(0, mask, first_pixel_of(0));
    EXPECT_EQ(ask(opcode::first_slot_only), expected);
    if (expected == 0) let_go(parg.req[0].tile);
    for (const int32_t code : {opcode::meet, opcode::flush_all, opcode::flush, opcode::write_back, opcode::drop,
                               opcode::open_stream, opcode::close_stream, opcode::pre_write}) {
        parg.req[0].canvas = mask;
        EXPECT_EQ(ask(code), expected) << code;
    }
    EXPECT_EQ(cv_start_prewrite(), expected);
    EXPECT_EQ(cv_flush_tiles(mask), expected);
    EXPECT_EQ(canvas_flush_all(), 0) << "its result is not passed on";
    start_all_processes();
    EXPECT_EQ(host().kills(), 1);
}

TEST_P(unreadable_tile, canvas_closes_all_the_same)
{
    fill_slot(0, mask, first_pixel_of(1));
    ask_for_it(opcode::one_slot);
    EXPECT_EQ(canvas_close(mask), 0);
    EXPECT_EQ(canvastable[mask], nullptr);
    for (const cv_tile* tile = first_tile; tile != nullptr; tile = tile->next) EXPECT_EQ(tile->canvas, nullptr);
}

TEST_P(unreadable_tile, in_a_cache_without_a_zone_is_every_tile)
{
    ASSERT_EQ(canvas_close(mask), 0);
    start_with_zones(0);
    cv_printf = write_down;
    mask = new_mask("another", 600, 256);
    fill_slot(0, mask, first_pixel_of(0));
    EXPECT_EQ(ask_for_it(opcode::one_slot), "");
    EXPECT_EQ(console, "Cannot read tile\n");
    EXPECT_EQ(host().kills(), 1);
}

INSTANTIATE_TEST_SUITE_P(, unreadable_tile, both_modes(), mode_name);

}  // namespace
