// The client's own look into the cache: cv_find_tile_in_cache and cv_find_pixel_in_cache.
#include "tests/cache/cache_test.h"

namespace {

using namespace iocache_test;

class lookup : public cache_test {
protected:
    void SetUp() override { start_with_zones(8); }

    cv_tile_request find(int32_t canvas, const pixel_range& pixels, bool write = false)
    {
        cv_tile_request request = {};
        request.canvas = canvas;
        request.x = pixels.x;
        request.y = pixels.y;
        request.x_end = pixels.x_end;
        request.y_end = pixels.y_end;
        request.write = write ? 1 : 0;
        result = cv_find_tile_in_cache(&request);
        return request;
    }
    // The run in x (and, mirrored, in y) of a hit that starts at this place of the tile.
    void expect_run(int32_t place, int32_t distance, int32_t run)
    {
        const int32_t mask = canvas_if_already_open(path("mask").c_str());
        const int32_t start = 2 * tile_side + place;
        const cv_tile_request across = find(mask, {start, 0, start + distance, 0});
        ASSERT_EQ(result, 0);
        EXPECT_EQ(across.run_x, run);
        EXPECT_EQ(across.run_y, 1);
        const cv_tile_request down = find(mask, {0, start, 0, start + distance});
        ASSERT_EQ(result, 0);
        EXPECT_EQ(down.run_y, run);
        EXPECT_EQ(down.run_x, 1);
    }

    int32_t result = 0;
};

TEST_P(lookup, tile_that_is_not_in_memory_is_a_miss)
{
    const int32_t mask = new_mask("mask", 600, 600);
    cv_tile stale = {};
    cv_tile_request request = {};
    request.canvas = mask;
    request.tile = &stale;
    EXPECT_EQ(cv_find_tile_in_cache(&request), -255);
    EXPECT_EQ(request.tile, nullptr);
    EXPECT_EQ(tiles_in_memory(), 0);
}

TEST_P(lookup, hit_in_a_picture_fills_every_result)
{
    // Tile grid shifted by (300, 20): pixel (-37, 250) is grid pixel (263, 270), tile (1, 1), place (7, 14).
    const int32_t picture = canvas_new(path("picture").c_str(), 1, -300, -20, 400, 400, 300, 20);
    ASSERT_GE(picture, 0) << host().last_message();
    fill_slot(0, picture, {-37, 250, -37, 250});
    ASSERT_EQ(ask(opcode::one_slot), 0);
    let_go(parg.req[0].tile);

    const cv_tile_request hit = find(picture, {-37, 250, 3, 300});
    ASSERT_EQ(result, 0);
    cv_tile* const tile = record_of(picture).tile_cache[1 * record_of(picture).tiles_across + 1];
    ASSERT_NE(tile, nullptr);
    EXPECT_EQ(hit.tile, tile);
    EXPECT_EQ(hit.buffer, tile->buffer);
    EXPECT_EQ(hit.line_bytes, 1024);
    EXPECT_EQ(hit.pixel - hit.buffer, 14 * 1024 + 7 * 4);
    EXPECT_EQ(hit.alfa_buffer - hit.buffer, 262'144);
    EXPECT_EQ(hit.alfa_line_bytes, 256);
    EXPECT_EQ(hit.alfa_pixel - hit.alfa_buffer, 14 * 256 + 7);
    EXPECT_EQ(hit.run_x, 41);
    EXPECT_EQ(hit.run_y, 51);
    EXPECT_EQ(tile->locked, 1);
}

TEST_P(lookup, hit_in_a_mask_has_no_alpha)
{
    const int32_t mask = new_mask("mask", 600, 600);
    read_tile(mask, 1, 2);
    const cv_tile_request hit = find(mask, {256 + 9, 512 + 3, 600, 600});
    ASSERT_EQ(result, 0);
    EXPECT_EQ(hit.line_bytes, 256);
    EXPECT_EQ(hit.pixel - hit.buffer, 3 * 256 + 9);
    EXPECT_EQ(hit.alfa_buffer, nullptr);
    EXPECT_EQ(hit.alfa_pixel, nullptr);
    EXPECT_EQ(hit.alfa_line_bytes, 0);
}

TEST_P(lookup, runs_end_at_the_tile_or_at_the_request)
{
    const int32_t mask = new_mask("mask", 1024, 1024);
    read_tile(mask, 2, 0);
    read_tile(mask, 0, 2);
    expect_run(10, 0, 1);
    expect_run(10, 5, 6);
    expect_run(10, 245, 246);  // to the tile's last pixel
    expect_run(10, 246, 246);  // one further
    expect_run(10, 100'000, 246);
    expect_run(255, 100, 1);
    expect_run(10, -1, -2);  // leftwards both ends count too
    expect_run(10, -10, -11);
    expect_run(10, -100, -11);  // to the tile's first pixel
    expect_run(0, -100, -1);
    expect_run(255, -255, -256);
}

TEST_P(lookup, hit_becomes_the_newest_and_locked)
{
    const int32_t mask = new_mask("mask", 1024, 256);
    for (int32_t column = 0; column < 3; ++column) read_tile(mask, column);
    settle();
    EXPECT_EQ(lru_order(), "0:0,0 0:1,0 0:2,0");
    find(mask, first_pixel_of(1));
    EXPECT_EQ(lru_order(), "0:0,0 0:2,0 0:1,0");
    EXPECT_EQ(cached(mask, 1)->locked, 1);
    EXPECT_EQ(cached(mask, 0)->locked, 0);
    find(mask, first_pixel_of(1));
    EXPECT_EQ(lru_order(), "0:0,0 0:2,0 0:1,0");
}

TEST_P(lookup, write_hit_marks_the_tile_dirty_and_adds_the_mask_of_dirty_bits)
{
    const int32_t mask = new_mask("mask", 1024, 1024);
    cv_canvas& record = record_of(mask);
    read_tile(mask, 1, 2);
    const int32_t index = 2 * 4 + 1;
    settle();
    record.dirty_mask = 0x24;
    record.tile_flags[index] = 0x41;

    find(mask, first_pixel_of(1, 2), false);
    EXPECT_EQ(cached(mask, 1, 2)->dirty, 0);
    EXPECT_EQ(record.tile_flags[index], 0x41);

    find(mask, first_pixel_of(1, 2), true);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(cached(mask, 1, 2)->dirty, 1);
    EXPECT_EQ(record.tile_flags[index], 0x65);
    EXPECT_EQ(record.tile_flags[index - 1], record.tile_flags[index + 1]);
}

TEST_P(lookup, first_write_that_the_zoom_canvas_must_save_is_a_miss)
{
    const int32_t parent = new_mask("parent", 600, 600);
    const int32_t zoom = new_mask("zoom", 600, 600);
    read_tile(parent, 1, 1);
    settle();
    record_of(parent).zoom_child = &record_of(zoom);

    const cv_tile_request refused = find(parent, first_pixel_of(1, 1), true);
    EXPECT_EQ(result, -255);
    EXPECT_EQ(refused.tile, nullptr);
    EXPECT_EQ(cached(parent, 1, 1)->dirty, 0);
    EXPECT_EQ(cached(parent, 1, 1)->locked, 0);
    find(parent, first_pixel_of(1, 1), false);
    EXPECT_EQ(result, 0) << "a read needs no saving";
}

TEST_P(lookup, write_is_a_hit_once_the_zoom_canvas_has_the_tile_in_memory)
{
    const int32_t parent = new_mask("parent", 600, 600);
    const int32_t zoom = new_mask("zoom", 600, 600);
    read_tile(parent, 1, 1);
    read_tile(zoom, 1, 1);
    settle();
    record_of(parent).zoom_child = &record_of(zoom);
    find(parent, first_pixel_of(1, 1), true);
    EXPECT_EQ(result, 0);
}

TEST_P(lookup, write_is_a_hit_once_the_zoom_canvas_has_the_tile_in_its_file)
{
    const int32_t parent = new_mask("parent", 600, 600);
    const int32_t zoom = new_mask("zoom", 600, 600);
    read_tile(parent, 1, 1);
    write_tile(zoom, 1, 1, 7);
    ASSERT_EQ(cv_flush_tiles(zoom), 0);
    ASSERT_EQ(cached(zoom, 1, 1), nullptr);
    record_of(parent).zoom_child = &record_of(zoom);
    find(parent, first_pixel_of(1, 1), true);
    EXPECT_EQ(result, 0);
}

TEST_P(lookup, refuses_canvases_and_pixels_that_are_not_there)
{
    const int32_t mask = new_mask("mask", 600, 600);
    for (const int32_t number : {-1, 7, 50, 1000, INT32_MIN, INT32_MAX}) {
        find(number, {0, 0, 0, 0});
        EXPECT_EQ(result, -255) << number;
        cv_tile_request request = {};
        request.canvas = number;
        EXPECT_EQ(cv_find_pixel_in_cache(&request), -255) << number;
    }
    for (const auto& [x, y] : {std::pair{-1, 0}, {0, -1}, {768, 0}, {0, 768}, {INT32_MAX, 0}, {0, INT32_MIN}}) {
        find(mask, {x, y, x, y});
        EXPECT_EQ(result, -255) << x << ',' << y;
        cv_tile_request request = {};
        request.canvas = mask;
        request.x = x;
        request.y = y;
        EXPECT_EQ(cv_find_pixel_in_cache(&request), -255) << x << ',' << y;
    }
}

TEST_P(lookup, single_pixel_is_found_without_touching_the_order)
{
    const int32_t picture = new_picture("picture", 1024, 256);
    for (int32_t column = 0; column < 3; ++column) read_tile(picture, column);
    settle();
    cv_tile_request request = {};
    request.canvas = picture;
    request.x = 5;
    request.y = 6;
    request.write = 1;
    request.run_x = 1234;
    request.run_y = 5678;
    EXPECT_EQ(cv_find_pixel_in_cache(&request), 0);
    EXPECT_EQ(request.tile, cached(picture, 0));
    EXPECT_EQ(request.pixel - request.buffer, 6 * 1024 + 5 * 4);
    EXPECT_EQ(request.alfa_pixel - request.buffer, 262'144 + 6 * 256 + 5);
    EXPECT_EQ(request.run_x, 1234);
    EXPECT_EQ(request.run_y, 5678);
    EXPECT_EQ(request.tile->locked, 1);
    EXPECT_EQ(request.tile->dirty, 0) << "pixels are read only";
    EXPECT_EQ(lru_order(), "0:0,0 0:1,0 0:2,0");
}

TEST_P(lookup, single_pixel_of_a_tile_that_was_never_written)
{
    const int32_t mask = new_mask("mask", 600, 600);
    cv_tile_request request = {};
    request.canvas = mask;
    EXPECT_EQ(cv_find_pixel_in_cache(&request), -1);
    EXPECT_EQ(tiles_in_memory(), 0);
}

TEST_P(lookup, single_pixel_that_is_on_disk_only)
{
    const int32_t mask = new_mask("mask", 600, 600);
    write_tile(mask, 0, 0, 9);
    ASSERT_EQ(cv_flush_tiles(mask), 0);
    cv_tile stale = {};
    cv_tile_request request = {};
    request.canvas = mask;
    request.tile = &stale;
    EXPECT_EQ(cv_find_pixel_in_cache(&request), -255);
    EXPECT_EQ(request.tile, nullptr);
}

INSTANTIATE_TEST_SUITE_P(, lookup, both_modes(), mode_name);

}  // namespace
