// Clearing the margins of edge tiles: everything outside the image becomes zero, everything inside stays, tiles that
// do not exist stay away.
#include <atomic>
#include <cstring>

#include "tests/reduced/reduced_test.h"

using namespace iocache_test;

namespace {

constexpr uint8_t fill = 0xEE;

int32_t tile_count(const painting& image)
{
    return image.tiles_across() * image.tiles_down();
}

// Fills a whole tile, its margins included, through the request block.
void fill_tile(int32_t canvas, const rectangle& part)
{
    parg.opcode = 1;
    parg.req[0] = {};
    parg.req[0].canvas = canvas;
    parg.req[0].x = parg.req[0].x_end = part.left;
    parg.req[0].y = parg.req[0].y_end = part.top;
    parg.req[0].write = 1;
    ASSERT_EQ(cv_tile_access(), 0);
    std::memset(parg.req[0].buffer, fill, static_cast<size_t>(canvastable[canvas]->tile_bytes));
    std::atomic_ref(parg.req[0].tile->locked).store(0, std::memory_order_release);
}

// A filled tile whose margins are cleared.
bytes cleared_tile(const painting& image, int32_t tile)
{
    const rectangle part = image.part_in_tile(tile);
    const int32_t grid_left = tile % image.tiles_across() * 256 - image.x_offset;
    const int32_t grid_top = tile / image.tiles_across() * 256 - image.y_offset;
    bytes expected(256 * 256 * (image.is_picture() ? 5 : 1), 0);
    for (int32_t y = 0; y < 256; ++y) {
        for (int32_t x = 0; x < 256; ++x) {
            if (!part.holds(grid_left + x, grid_top + y)) continue;
            const auto place = static_cast<size_t>(y * 256 + x);
            std::memset(expected.data() + place * image.pixel_bytes(), fill, image.pixel_bytes());
            if (image.is_picture()) expected[256 * 256 * 4 + place] = fill;
        }
    }
    return expected;
}

bool is_edge(const painting& image, int32_t tile)
{
    const rectangle part = image.part_in_tile(tile);
    return part.right - part.left < 255 || part.bottom - part.top < 255;
}

class clearing_of : public painting_test {
protected:
    // Every second tile that holds a part of the image exists.
    bool should_exist(int32_t tile) const { return tile % 3 != 1 && !shape().part_in_tile(tile).is_empty(); }
};

TEST_P(clearing_of, the_sides_leaves_the_image_and_clears_the_rest)
{
    start();
    const painting& image = shape();
    for (const int32_t workers : worker_counts) {
        SCOPED_TRACE(workers);
        set_workers(workers);
        const std::string file = path("canvas" + std::to_string(workers));
        const int32_t canvas = image.create(file);
        for (int32_t tile = 0; tile < tile_count(image); ++tile) {
            if (should_exist(tile)) fill_tile(canvas, image.part_in_tile(tile));
        }
        cv_clear_side(canvas);
        EXPECT_EQ(locked_tiles(), 0);
        ASSERT_EQ(canvas_close(canvas), 0);

        const canvas_file stored(file);
        for (int32_t tile = 0; tile < tile_count(image); ++tile) {
            const int32_t column = tile % image.tiles_across();
            const int32_t row = tile / image.tiles_across();
            ASSERT_EQ(stored.slot(column, row) >= 0, should_exist(tile)) << "tile " << tile;
            if (!should_exist(tile)) continue;
            ASSERT_TRUE(same_bytes(stored.tile(column, row), cleared_tile(image, tile))) << "tile " << tile;
        }
    }
}

TEST_P(clearing_of, the_sides_marks_the_tiles_it_visits_as_changed)
{
    start();
    const painting& image = shape();
    const int32_t canvas = image.create(path("canvas"));
    cv_canvas& record = *canvastable[canvas];
    for (int32_t tile = 0; tile < tile_count(image); ++tile) {
        if (should_exist(tile)) fill_tile(canvas, image.part_in_tile(tile));
    }
    std::memset(record.tile_flags, 0, static_cast<size_t>(tile_count(image)));
    cv_set_dirtybits_mask(&record, 1);
    cv_clear_side(canvas);
    for (int32_t tile = 0; tile < tile_count(image); ++tile)
        EXPECT_EQ(record.tile_flags[tile], should_exist(tile) && is_edge(image, tile) ? 3 : 0) << "tile " << tile;
}

INSTANTIATE_TEST_SUITE_P(
    , clearing_of,
    ::testing::Combine(both_modes(),
                       ::testing::Values(sized(1, 700, 300), sized(0, 700, 300), sized(1, 512, 256), sized(0, 1, 1),
                                         sized(0, 256, 900), sized(1, 255, 257), shifted(1, {0, 0, 599, 399}, 30, 40),
                                         shifted(0, {0, 0, 599, 399}, 255, 1), shifted(0, {0, 0, 481, 471}, 30, 40),
                                         shifted(1, {0, 0, 299, 299}, 300, 600), shifted(0, {0, 0, 299, 299}, 256, 512),
                                         shifted(1, {-40, -30, 500, 300}, 100, 90),
                                         shifted(0, {-256, -512, 300, 200}, 256, 512))),
    mode_and_painting_name);

class clearing : public reduced_test {};

TEST_P(clearing, of_a_whole_number_of_tiles_changes_nothing)
{
    start();
    const painting image = sized(1, 512, 256);
    const int32_t canvas = image.create(path("canvas"));
    for (const int32_t tile : {0, 1}) fill_tile(canvas, image.part_in_tile(tile));
    ASSERT_EQ(cv_flush_tiles_keep(canvas), 0);
    cv_clear_side(canvas);
    for (const cv_tile* tile = first_tile; tile != nullptr; tile = tile->next) EXPECT_EQ(tile->dirty, 0);
}

TEST_P(clearing, of_a_height_of_300_clears_the_last_212_lines)
{
    start();
    const painting image = sized(0, 256, 300);
    const int32_t canvas = image.create(path("canvas"));
    for (const int32_t tile : {0, 1}) fill_tile(canvas, image.part_in_tile(tile));
    cv_clear_side(canvas);
    ASSERT_EQ(canvas_close(canvas), 0);
    const canvas_file stored(path("canvas"));
    EXPECT_TRUE(same_bytes(stored.tile(0, 0), bytes(65536, fill)));
    bytes second(65536, 0);
    std::fill_n(second.begin(), (256 - 212) * 256, fill);
    EXPECT_TRUE(same_bytes(stored.tile(0, 1), second));
}

TEST_P(clearing, of_an_empty_canvas_makes_no_tile)
{
    start();
    const int32_t canvas = shifted(1, {0, 0, 700, 500}, 10, 20).create(path("canvas"));
    cv_clear_side(canvas);
    EXPECT_EQ(cv_test_if_canvas_empty(canvas), 0);
    EXPECT_EQ(first_tile, nullptr);
    EXPECT_EQ(canvastable[canvas]->tiles_fetched, 0);
}

TEST_P(clearing, of_an_empty_slot_does_nothing)
{
    start();
    for (const int32_t none : {-1, 0, 49, 50}) cv_clear_side(none);
    EXPECT_EQ(first_tile, nullptr);
}

TEST_P(clearing, follows_the_view_at_creation_and_not_the_current_one)
{
    start();
    const painting image = sized(0, 300, 200);
    const int32_t canvas = image.create(path("canvas"));
    for (const int32_t tile : {0, 1}) fill_tile(canvas, image.part_in_tile(tile));
    cv_geometry& view = canvastable[canvas]->geom;
    view.x_max = view.y_max = 20;
    view.x_offset = view.y_offset = 100;
    cv_clear_side(canvas);
    ASSERT_EQ(canvas_close(canvas), 0);
    const canvas_file stored(path("canvas"));
    for (const int32_t tile : {0, 1}) EXPECT_TRUE(same_bytes(stored.tile(tile, 0), cleared_tile(image, tile)));
}

INSTANTIATE_TEST_SUITE_P(, clearing, both_modes(), mode_name);

}  // namespace
