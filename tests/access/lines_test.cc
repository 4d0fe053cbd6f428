// Lines and columns between flat buffers and the tiles.
#include <unistd.h>

#include <random>

#include "tests/support/library.h"
#include "tests/support/painting.h"

using namespace iocache_test;

namespace {

constexpr uint8_t fill = 0xA5;

painting whole(painting image)
{
    image.painted = {image.bounds()};
    return image;
}

class lines : public library_test {
protected:
    // Reads a line into guarded buffers and compares it with the painting.
    static void expect_line(int32_t canvas, const painting& image, int32_t y, int32_t first, int32_t last)
    {
        const auto pixels = static_cast<size_t>(last - first + 1);
        guarded_buffer colour(pixels * image.pixel_bytes());
        guarded_buffer alpha(pixels);
        ASSERT_EQ(cv_getline(canvas, colour.data(), alpha.data(), y, first, last), 0);
        EXPECT_TRUE(same_bytes(colour.contents(), image.colour_line(y, first, last)));
        EXPECT_TRUE(
            same_bytes(alpha.contents(), image.is_picture() ? image.alpha_line(y, first, last) : bytes(pixels, fill)));
        EXPECT_TRUE(colour.guards_are_intact() && alpha.guards_are_intact());
    }
    static void expect_column(int32_t canvas, const painting& image, int32_t x, int32_t first, int32_t last)
    {
        const auto pixels = static_cast<size_t>(last - first + 1);
        guarded_buffer colour(pixels * image.pixel_bytes());
        guarded_buffer alpha(pixels);
        ASSERT_EQ(cv_getcolumn(canvas, colour.data(), alpha.data(), x, first, last), 0);
        EXPECT_TRUE(same_bytes(colour.contents(), image.colour_column(x, first, last)));
        EXPECT_TRUE(same_bytes(alpha.contents(),
                               image.is_picture() ? image.alpha_column(x, first, last) : bytes(pixels, fill)));
        EXPECT_TRUE(colour.guards_are_intact() && alpha.guards_are_intact());
    }
    // Lines, columns and parts of them, in a cache that does not hold the canvas.
    void expect_everything(const painting& image, int32_t canvas)
    {
        for (int32_t y = image.y_min; y <= image.y_max; y += 37)
            expect_line(canvas, image, y, image.x_min, image.x_max);
        for (int32_t x = image.x_min; x <= image.x_max; x += 41)
            expect_column(canvas, image, x, image.y_min, image.y_max);
        std::mt19937 random(7);
        const auto between = [&](int32_t low, int32_t high) {
            return std::uniform_int_distribution<int32_t>(low, high)(random);
        };
        for (int i = 0; i < 200; ++i) {
            const int32_t left = between(image.x_min, image.x_max);
            const int32_t top = between(image.y_min, image.y_max);
            expect_line(canvas, image, top, left, between(left, image.x_max));
            expect_column(canvas, image, left, top, between(top, image.y_max));
        }
    }
    static std::vector<painting> shapes()
    {
        return {
            whole({.kind = 1, .x_max = 599, .y_max = 399}), whole({.kind = 0, .x_max = 999, .y_max = 699}),
            whole(
                {.kind = 1, .x_min = -30, .y_min = -20, .x_max = 500, .y_max = 300, .x_offset = 300, .y_offset = 255}),
            whole({.kind = 0, .x_min = -1, .y_min = -256, .x_max = 256, .y_max = 1, .x_offset = 1, .y_offset = 256}),
            whole({.kind = 1, .x_max = 0, .y_max = 0})};
    }
};

TEST_P(lines, stored_are_read_back_as_lines_and_as_columns)
{
    for (const painting& image : shapes()) {
        SCOPED_TRACE(image);
        start({3 * picture_tile_bytes, 2});
        const std::string file = path("canvas" + std::to_string(image.width()) + std::to_string(image.kind));
        const int32_t canvas = image.create(file);
        image.store(canvas);
        expect_everything(image, canvas);
        EXPECT_EQ(locked_tiles(), 0);
    }
}

TEST_P(lines, stored_as_columns_are_the_same)
{
    for (const painting& image : shapes()) {
        SCOPED_TRACE(image);
        start({3 * picture_tile_bytes, 2});
        const std::string file = path("canvas" + std::to_string(image.width()) + std::to_string(image.kind));
        const int32_t canvas = image.create(file);
        for (int32_t x = image.x_min; x <= image.x_max; ++x) {
            ASSERT_EQ(cv_storecolumn(canvas, image.colour_column(x, image.y_min, image.y_max).data(),
                                     image.alpha_column(x, image.y_min, image.y_max).data(), x, image.y_min,
                                     image.y_max),
                      0);
        }
        expect_everything(image, canvas);
        EXPECT_EQ(locked_tiles(), 0);
        ASSERT_EQ(canvas_close(canvas), 0);
        const canvas_file stored(file);
        for (int32_t y = image.y_min; y <= image.y_max; y += 53) {
            for (int32_t x = image.x_min; x <= image.x_max; x += 59)
                ASSERT_EQ(stored.pixel(x, y)[0], image.colour(x, y)[0]) << x << "," << y;
        }
    }
}

// More tiles than a line takes together, some of them not in memory: each is requested once, in order.
TEST_P(lines, across_many_tiles_touch_each_in_order_and_hold_none)
{
    start({64 * picture_tile_bytes, 2});
    cv_prefetch_allowed = 1;  // set, it keeps the cache from reading ahead
    painting wide = whole({.kind = 1, .x_max = 5200, .y_max = 3});
    painting tall = whole({.kind = 1, .x_max = 3, .y_max = 5200});
    const int32_t across = wide.create(path("wide"));
    const int32_t down = tall.create(path("tall"));
    wide.store(across);
    tall.store(down);
    for (const int32_t canvas : {across, down}) {
        SCOPED_TRACE(canvas == across ? "line" : "column");
        ASSERT_EQ(cv_flush_tiles(canvas), 0);
        const int32_t fetched = canvastable[canvas]->tiles_fetched;
        uint32_t alpha = 0;
        for (const int32_t tile : {3, 4, 17, 19})  // hits in the middle of misses
            cv_ask_value_pixel(canvastable[canvas], canvas == across ? tile * 256 : 0,
                               canvas == across ? 0 : tile * 256, &alpha);
        for (int again = 0; again < 2; ++again) {
            if (canvas == across) {
                expect_line(canvas, wide, 2, 5, 5190);
            } else {
                expect_column(canvas, tall, 2, 5, 5190);
            }
            const cv_tile* tile = last_tile;
            for (int32_t place = 20; place >= 0; --place, tile = tile->prev) {
                ASSERT_NE(tile, nullptr);
                EXPECT_EQ(tile->canvas, canvastable[canvas]);
                EXPECT_EQ(canvas == across ? tile->x : tile->y, place);
            }
            EXPECT_EQ(canvastable[canvas]->tiles_fetched, fetched + 21);
            EXPECT_EQ(locked_tiles(), 0);
        }
    }
}

TEST_P(lines, across_two_tiles_take_two_requests)
{
    start();
    const int32_t canvas = new_mask("canvas", 600, 100);
    bytes line(11);
    ASSERT_EQ(cv_getline(canvas, line.data(), nullptr, 3, 250, 260), 0);
    EXPECT_EQ(canvastable[canvas]->tiles_fetched, 2);
    const cv_tile_request& last = parg.req[0];  // the second one
    EXPECT_EQ(parg.opcode, 1);
    EXPECT_EQ(last.x, 256);
    EXPECT_EQ(last.x_end, 260);
    EXPECT_EQ(last.y, 3);
    EXPECT_EQ(last.y_end, 3);
    EXPECT_EQ(last.run_x, 5);
    EXPECT_EQ(last.write, 0);
    ASSERT_EQ(cv_storeline(canvas, line.data(), nullptr, 3, 250, 255), 0);
    EXPECT_EQ(last.run_x, 6);
    EXPECT_EQ(last.write, 1);
}

TEST_P(lines, columns_across_two_tiles_take_two_requests)
{
    start();
    const int32_t canvas = new_mask("canvas", 100, 600);
    bytes column(11);
    ASSERT_EQ(cv_storecolumn(canvas, column.data(), nullptr, 3, 250, 260), 0);
    EXPECT_EQ(canvastable[canvas]->tiles_fetched, 2);
    const cv_tile_request& last = parg.req[0];
    EXPECT_EQ(last.x, 3);
    EXPECT_EQ(last.x_end, 3);
    EXPECT_EQ(last.y, 256);
    EXPECT_EQ(last.y_end, 260);
    EXPECT_EQ(last.run_y, 5);
    EXPECT_EQ(last.write, 1);
}

TEST_P(lines, that_are_empty_make_no_request)
{
    start();
    const int32_t canvas = new_mask("canvas", 600, 100);
    for (const int32_t last : {9, 0, -5, INT32_MIN}) {
        EXPECT_EQ(cv_getline(canvas, nullptr, nullptr, 0, 10, last), 0);
        EXPECT_EQ(cv_storeline(canvas, nullptr, nullptr, 0, 10, last), 0);
        EXPECT_EQ(cv_getcolumn(canvas, nullptr, nullptr, 0, 10, last), 0);
        EXPECT_EQ(cv_storecolumn(canvas, nullptr, nullptr, 0, 10, last), 0);
    }
    EXPECT_EQ(canvastable[canvas]->tiles_fetched, 0);
    EXPECT_EQ(first_tile, nullptr);
}

TEST_P(lines, of_a_mask_need_no_alpha)
{
    start();
    const painting image = whole({.kind = 0, .x_max = 599, .y_max = 99});
    const int32_t canvas = image.create(path("canvas"));
    bytes line(600);
    for (int32_t y = 0; y < 100; ++y)
        ASSERT_EQ(cv_storeline(canvas, image.colour_line(y, 0, 599).data(), nullptr, y, 0, 599), 0);
    ASSERT_EQ(cv_getline(canvas, line.data(), nullptr, 40, 0, 599), 0);
    EXPECT_TRUE(same_bytes(line, image.colour_line(40, 0, 599)));
    bytes column(100);
    ASSERT_EQ(cv_getcolumn(canvas, column.data(), nullptr, 300, 0, 99), 0);
    EXPECT_TRUE(same_bytes(column, image.colour_column(300, 0, 99)));
    ASSERT_EQ(cv_storecolumn(canvas, column.data(), nullptr, 301, 0, 99), 0);
}

TEST_P(lines, that_only_read_leave_tiles_clean)
{
    start();
    const int32_t canvas = new_picture("canvas", 300, 300);
    bytes colour(4 * 300);
    bytes alpha(300);
    ASSERT_EQ(cv_getline(canvas, colour.data(), alpha.data(), 0, 0, 299), 0);
    ASSERT_EQ(cv_getcolumn(canvas, colour.data(), alpha.data(), 0, 0, 299), 0);
    for (const cv_tile* tile = first_tile; tile != nullptr; tile = tile->next) EXPECT_EQ(tile->dirty, 0);
    EXPECT_EQ(cv_test_if_canvas_empty(canvas), 0);
    ASSERT_EQ(canvas_close(canvas), 0);
    EXPECT_EQ(canvas_file(path("canvas")).tiles_written(), 0);
}

TEST_P(lines, of_an_empty_slot_fail)
{
    start();
    bytes buffer(100, fill);
    for (const int32_t none : {-1, 0, 49, 50, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(cv_getline(none, buffer.data(), buffer.data(), 0, 0, 9), -255);
        EXPECT_EQ(cv_storeline(none, buffer.data(), buffer.data(), 0, 0, 9), -255);
        EXPECT_EQ(cv_getcolumn(none, buffer.data(), buffer.data(), 0, 0, 9), -255);
        EXPECT_EQ(cv_storecolumn(none, buffer.data(), buffer.data(), 0, 0, 9), -255);
    }
    EXPECT_TRUE(same_bytes(buffer, bytes(100, fill)));
}

TEST_P(lines, that_leave_the_grid_fail_behind_what_lies_in_it)
{
    start();
    const painting image = whole({.kind = 0, .x_max = 255, .y_max = 255});
    const int32_t canvas = image.create(path("canvas"));
    image.store(canvas);
    guarded_buffer line(400, fill);
    bytes expected = image.colour_line(7, 200, 255);
    expected.resize(400, fill);
    EXPECT_EQ(cv_getline(canvas, line.data(), nullptr, 7, 200, 599), -255);
    EXPECT_TRUE(same_bytes(line.contents(), expected));
    EXPECT_EQ(cv_getline(canvas, line.data(), nullptr, -1, 0, 9), -255);
    EXPECT_EQ(cv_getline(canvas, line.data(), nullptr, 256, 0, 9), -255);
    EXPECT_EQ(cv_getline(canvas, line.data(), nullptr, 0, -1, 9), -255);
    EXPECT_EQ(cv_getline(canvas, line.data(), nullptr, 0, INT32_MAX, INT32_MAX), -255);
    EXPECT_EQ(cv_getline(canvas, line.data(), nullptr, INT32_MIN, 0, 9), -255);
    EXPECT_EQ(cv_getcolumn(canvas, line.data(), nullptr, 256, 0, 9), -255);
    EXPECT_EQ(cv_getcolumn(canvas, line.data(), nullptr, 0, -1, 9), -255);
    EXPECT_EQ(cv_storeline(canvas, line.data(), nullptr, 300, 0, 9), -255);
    EXPECT_EQ(cv_storecolumn(canvas, line.data(), nullptr, 0, 256, 256), -255);
    EXPECT_TRUE(same_bytes(line.contents(), expected));
    EXPECT_TRUE(line.guards_are_intact());
    EXPECT_EQ(locked_tiles(), 0);
    EXPECT_EQ(host().kills(), 0);
}

TEST_P(lines, whose_tile_cannot_be_read_fail_and_copy_nothing)
{
    start();
    const painting image = whole({.kind = 1, .x_max = 599, .y_max = 99});
    const int32_t canvas = image.create(path("canvas"));
    image.store(canvas);
    ASSERT_EQ(cv_flush_tiles(canvas), 0);
    // The last of the three tiles is gone.
    const canvas_file before(path("canvas"));
    ASSERT_EQ(truncate(path("canvas").c_str(), static_cast<off_t>(before.contents().size()) - picture_tile_bytes), 0);
    cv_prefetch_allowed = 1;
    guarded_buffer colour(4 * 600, fill);
    guarded_buffer alpha(600, fill);
    EXPECT_EQ(cv_getline(canvas, colour.data(), alpha.data(), 5, 0, 599), -255);
    EXPECT_EQ(host().kills(), 1);
    bytes expected = image.colour_line(5, 0, 511);
    expected.resize(4 * 600, fill);
    EXPECT_TRUE(same_bytes(colour.contents(), expected));
    EXPECT_EQ(locked_tiles(), 0);
    // Whatever comes later fails too, or works, but never copies from nowhere.
    EXPECT_EQ(cv_getline(canvas, colour.data(), alpha.data(), 5, 512, 599), -255);
    EXPECT_EQ(cv_storecolumn(canvas, colour.data(), alpha.data(), 520, 0, 99), -255);
    EXPECT_EQ(locked_tiles(), 0);
}

TEST_P(lines, follow_tiles_of_another_shape)
{
    prepare(GetParam());
    const tile_shape configured(512, 128);
    cv_master_init();
    cv_alloc_init(3 * picture_tile_bytes);
    ASSERT_EQ(cv_tilesize_hor, 512);
    painting image = whole({.kind = 1, .x_max = 1200, .y_max = 400, .x_offset = 30, .y_offset = 20});
    image.tile_width = 512;
    image.tile_height = 128;
    const int32_t canvas = image.create(path("canvas"));
    image.store(canvas);
    expect_everything(image, canvas);
    cv_master_exit();
    const canvas_file stored(path("canvas"));
    EXPECT_EQ(stored.tile_width(), 512);
    const auto colour = image.colour(1000, 300);
    EXPECT_TRUE(
        same_bytes(stored.pixel(1000, 300), {colour[0], colour[1], colour[2], colour[3], image.alpha(1000, 300)}));
}

INSTANTIATE_TEST_SUITE_P(, lines, both_modes(), mode_name);

}  // namespace
