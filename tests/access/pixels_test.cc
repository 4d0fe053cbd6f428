// Single pixels: straight out of memory, and by a request when they are not there.
#include <atomic>
#include <random>
#include <thread>

#include <unistd.h>

#include "tests/support/library.h"
#include "tests/support/painting.h"

using namespace iocache_test;

namespace {

constexpr uint32_t untouched = 0x5A5A5A5A;

class pixels : public library_test {
protected:
    // A canvas whose tiles are all in its file and none in memory.
    int32_t stored_canvas(const painting& image, const std::string& name = "canvas")
    {
        const int32_t canvas = image.create(path(name));
        image.store(canvas);
        EXPECT_EQ(cv_flush_tiles(canvas), 0);
        return canvas;
    }
    static painting mask(int32_t width, int32_t height)
    {
        return {.kind = 0, .x_max = width - 1, .y_max = height - 1, .painted = {{0, 0, width - 1, height - 1}}};
    }
    static painting picture(int32_t width, int32_t height)
    {
        painting image = mask(width, height);
        image.kind = 1;
        return image;
    }
};

TEST_P(pixels, of_a_mask_read_as_a_cutout_tell_whether_they_were_in_memory)
{
    start();
    const int32_t canvas = new_mask("canvas", 300, 200);
    const uint8_t value = 0x7F;
    ASSERT_EQ(cv_storeline(canvas, &value, nullptr, 10, 20, 20), 0);
    ASSERT_EQ(cv_flush_tiles(canvas), 0);
    uint32_t alpha = untouched;
    EXPECT_EQ(cv_ask_value_cutout(canvastable[canvas], 20, 10, &alpha), 0x7FU);
    EXPECT_EQ(cv_ask_value_cutout(canvastable[canvas], 20, 10, &alpha), 0x7F000000U);
    EXPECT_EQ(alpha, untouched);
}

TEST_P(pixels, of_a_mask_come_in_the_low_bits_either_way)
{
    start();
    const painting image = mask(300, 200);
    const int32_t canvas = stored_canvas(image);
    uint32_t alpha = untouched;
    const uint32_t expected = image.colour(299, 199)[0];
    EXPECT_EQ(cv_ask_value_pixel(canvastable[canvas], 299, 199, &alpha), expected);
    EXPECT_NE(canvastable[canvas]->tile_cache[1], nullptr);
    EXPECT_EQ(locked_tiles(), 0);
    parg.opcode = 77;  // a second look makes no request
    EXPECT_EQ(cv_ask_value_pixel(canvastable[canvas], 299, 199, &alpha), expected);
    EXPECT_EQ(parg.opcode, 77);
    EXPECT_EQ(alpha, untouched);
}

TEST_P(pixels, of_a_mask_need_no_place_for_an_alpha)
{
    start();
    const painting image = mask(300, 200);
    const int32_t canvas = stored_canvas(image);
    const uint32_t expected = image.colour(299, 199)[0];
    EXPECT_EQ(cv_ask_value_pixel(canvastable[canvas], 299, 199, nullptr), expected);
    EXPECT_EQ(cv_ask_value_pixel(canvastable[canvas], 299, 199, nullptr), expected);
    EXPECT_EQ(cv_ask_value_cutout(canvastable[canvas], 299, 199, nullptr), expected << 24U);
}

TEST_P(pixels, of_a_picture_are_a_word_and_an_alpha_byte_either_way)
{
    start();
    const painting image = picture(300, 200);
    const int32_t canvas = stored_canvas(image);
    for (const bool in_memory : {false, true}) {
        SCOPED_TRACE(in_memory);
        uint32_t alpha = untouched;
        EXPECT_EQ(cv_ask_value_pixel(canvastable[canvas], 299, 199, &alpha), image.colour_word(299, 199));
        EXPECT_EQ(alpha, image.alpha(299, 199));
    }
    ASSERT_EQ(cv_flush_tiles(canvas), 0);
    for (const bool in_memory : {false, true}) {
        SCOPED_TRACE(in_memory);
        uint32_t alpha = untouched;
        EXPECT_EQ(cv_ask_value_cutout(canvastable[canvas], 0, 0, &alpha), image.colour_word(0, 0));
        EXPECT_EQ(alpha, image.alpha(0, 0));
    }
}

TEST_P(pixels, everywhere_are_the_right_ones)
{
    start({2 * picture_tile_bytes, 2});
    for (const int32_t kind : {0, 1}) {
        painting image{
            .kind = kind, .x_min = -70, .y_min = -30, .x_max = 500, .y_max = 400, .x_offset = 300, .y_offset = 31};
        image.painted = {image.bounds()};
        const int32_t canvas = stored_canvas(image, kind == 0 ? "mask" : "picture");
        for (int32_t y = image.y_min; y <= image.y_max; y += 13) {
            for (int32_t x = image.x_min; x <= image.x_max; x += 11) {
                uint32_t alpha = untouched;
                const uint32_t value = cv_ask_value_pixel(canvastable[canvas], x, y, &alpha);
                ASSERT_EQ(value, kind == 0 ? image.colour(x, y)[0] : image.colour_word(x, y)) << x << "," << y;
                ASSERT_EQ(alpha, kind == 0 ? untouched : image.alpha(x, y));
            }
        }
        EXPECT_EQ(locked_tiles(), 0);
    }
}

TEST_P(pixels, that_were_changed_a_moment_ago_are_seen)
{
    start();
    const int32_t canvas = new_picture("canvas", 300, 200);
    for (uint32_t value = 1; value < 50; ++value) {
        const auto alpha_stored = static_cast<uint8_t>(value * 3);
        ASSERT_EQ(cv_storeline(canvas, &value, &alpha_stored, 7, 8, 8), 0);
        uint32_t alpha = untouched;
        ASSERT_EQ(cv_ask_value_pixel(canvastable[canvas], 8, 7, &alpha), value);
        ASSERT_EQ(alpha, alpha_stored);
    }
}

TEST_P(pixels, of_a_tile_that_was_never_written_are_zero)
{
    start();
    const int32_t canvas = new_picture("canvas", 300, 200);
    uint32_t alpha = untouched;
    EXPECT_EQ(cv_ask_value_pixel(canvastable[canvas], 8, 7, &alpha), 0U);
    EXPECT_EQ(alpha, 0U);
}

TEST_P(pixels, have_their_alpha_at_the_fixed_offset_whatever_the_tiles_size)
{
    prepare(GetParam());
    const tile_shape configured(512, 128);
    cv_master_init();
    cv_alloc_init(4 * picture_tile_bytes);
    EXPECT_EQ(tile_offset_alfa, 262'144);
    painting image = picture(600, 200);
    image.tile_width = 512;
    image.tile_height = 128;
    const int32_t canvas = stored_canvas(image);
    for (const bool in_memory : {false, true}) {
        SCOPED_TRACE(in_memory);
        uint32_t alpha = untouched;
        EXPECT_EQ(cv_ask_value_pixel(canvastable[canvas], 511, 127, &alpha), image.colour_word(511, 127));
        EXPECT_EQ(alpha, image.alpha(511, 127));
    }
    EXPECT_EQ(canvastable[canvas]->tile_cache[0]->buffer[262'144 + 127 * 512 + 511], image.alpha(511, 127));
    cv_master_exit();
}

TEST_P(pixels, outside_the_grid_are_zero_and_leave_alpha)
{
    start();
    const int32_t canvas = stored_canvas(picture(256, 256));
    for (const int32_t far : {-1, 256, 100'000, INT32_MAX, INT32_MIN}) {
        SCOPED_TRACE(far);
        uint32_t alpha = untouched;
        EXPECT_EQ(cv_ask_value_pixel(canvastable[canvas], far, 0, &alpha), 0U);
        EXPECT_EQ(cv_ask_value_pixel(canvastable[canvas], 0, far, &alpha), 0U);
        EXPECT_EQ(cv_ask_value_cutout(canvastable[canvas], far, far, &alpha), 0U);
        EXPECT_EQ(alpha, untouched);
    }
    EXPECT_EQ(canvastable[canvas]->tile_cache[0], nullptr);
}

TEST_P(pixels, whose_tile_cannot_be_read_are_zero_and_leave_alpha)
{
    start();
    const int32_t canvas = stored_canvas(picture(256, 256));
    ASSERT_EQ(truncate(path("canvas").c_str(), 300'000), 0);
    uint32_t alpha = untouched;
    EXPECT_EQ(cv_ask_value_pixel(canvastable[canvas], 3, 3, &alpha), 0U);
    EXPECT_EQ(alpha, untouched);
    EXPECT_EQ(host().kills(), 1);
    EXPECT_EQ(cv_ask_value_pixel(canvastable[canvas], 3, 3, &alpha), 0U);  // and the lock is free again
    EXPECT_EQ(alpha, untouched);
}

// Threads that look pixels up while each other's requests take the tiles away.
TEST_P(pixels, are_right_for_many_threads_at_once)
{
    start({2 * picture_tile_bytes, 2});
    const painting picture_image = picture(600, 600);
    const painting mask_image = mask(900, 600);
    cv_canvas* const picture_record = canvastable[stored_canvas(picture_image, "picture")];
    cv_canvas* const mask_record = canvastable[stored_canvas(mask_image, "mask")];
    std::atomic<int> wrong{0};
    const auto look = [&](unsigned seed) {
        std::mt19937 random(seed);
        for (int i = 0; i < 1500; ++i) {
            const auto x = static_cast<int32_t>(random() % 600);
            const auto y = static_cast<int32_t>(random() % 600);
            uint32_t alpha = untouched;
            if (i % 2 == 0) {
                const uint32_t value = cv_ask_value_pixel(picture_record, x, y, &alpha);
                if (value != picture_image.colour_word(x, y) || alpha != picture_image.alpha(x, y)) ++wrong;
            } else {
                const uint32_t expected = mask_image.colour(x, y)[0];
                const uint32_t value = cv_ask_value_cutout(mask_record, x, y, &alpha);
                if ((value != expected && value != expected << 24U) || alpha != untouched) ++wrong;
            }
        }
    };
    std::vector<std::thread> threads;
    for (unsigned seed = 0; seed < 4; ++seed) threads.emplace_back(look, seed);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(locked_tiles(), 0);
}

INSTANTIATE_TEST_SUITE_P(, pixels, both_modes(), mode_name);

}  // namespace
