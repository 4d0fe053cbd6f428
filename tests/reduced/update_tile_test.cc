// One changed tile into a reduced image: every byte of it, with any number of workers, and not one byte beside it.
#include <cstring>
#include <set>

#include "tests/reduced/reduced_test.h"

using namespace iocache_test;

namespace {

constexpr uint8_t fill = 0xA5;

// Tiles worth an update: those with something painted, the corners, and some of nothing. Few enough for large images.
std::vector<int32_t> some_tiles(const painting& image)
{
    const int32_t across = image.tiles_across();
    const int32_t tiles = across * image.tiles_down();
    std::set<int32_t> chosen{0, across - 1, tiles - across, tiles - 1, tiles / 2, tiles / 3};
    for (int32_t tile = 0; tile < tiles; ++tile) {
        const rectangle part = image.part_in_tile(tile);
        for (const rectangle& r : image.painted) {
            if (!part.is_empty() && part.meets(r)) chosen.insert(tile);
        }
    }
    return {chosen.begin(), chosen.end()};
}

class update_tile : public painting_test {
protected:
    void update(int32_t canvas, int32_t tile, void* buffer)
    {
        if (shape().is_picture()) {
            cv_update_virt_subsampled_ptile_buffer(canvas, tile, buffer);
        } else {
            cv_update_virt_subsampled_mtile_buffer(canvas, tile, buffer);
        }
    }
};

TEST_P(update_tile, brings_exactly_its_sampled_pixels)
{
    start();
    const painting image = shape().with_pattern();
    const reduced_model model(image);
    const int32_t canvas = painted_canvas(image);
    const std::vector<int32_t> tiles = some_tiles(image);
    bytes expected(model.image_bytes(), fill);
    for (const int32_t tile : tiles) model.put(image.part_in_tile(tile), expected);

    for (const int32_t workers : worker_counts) {
        SCOPED_TRACE(workers);
        set_workers(workers);
        guarded_buffer buffer(model.image_bytes(), fill);
        for (const int32_t tile : tiles) update(canvas, tile, buffer.data());
        EXPECT_TRUE(same_bytes(buffer.contents(), expected));
        EXPECT_TRUE(buffer.guards_are_intact());
    }
    EXPECT_EQ(locked_tiles(), 0);
}

TEST_P(update_tile, of_the_current_canvas_goes_to_the_librarys_own_buffer)
{
    start();
    const painting image = shape().with_pattern();
    const reduced_model model(image);
    const int32_t canvas = painted_canvas(image);
    fill_own_buffers(fill);
    bytes picture = own_picture_buffer();
    bytes mask = own_mask_buffer();
    for (const int32_t tile : some_tiles(image)) {
        cv_update_virt_subsampled_tile(canvas, tile);
        model.put(image.part_in_tile(tile), image.is_picture() ? picture : mask);
    }
    EXPECT_TRUE(same_bytes(own_picture_buffer(), picture));
    EXPECT_TRUE(same_bytes(own_mask_buffer(), mask));
}

TEST_P(update_tile, goes_to_the_hosts_buffer)
{
    start();
    const painting image = shape().with_pattern();
    const reduced_model model(image);
    const int32_t canvas = painted_canvas(image);
    other_rbuf host_buffer(model.image_bytes(), fill);
    bytes expected(model.image_bytes(), fill);
    for (const int32_t tile : some_tiles(image)) {
        if (image.is_picture()) {
            cv_update_virt_subsampled_ptile_Rbuf(canvas, tile);
        } else {
            cv_update_virt_subsampled_mtile_Rbuf(canvas, tile);
        }
        model.put(image.part_in_tile(tile), expected);
    }
    EXPECT_TRUE(same_bytes(host_buffer.buffer().contents(), expected));
    EXPECT_TRUE(host_buffer.buffer().guards_are_intact());
}

INSTANTIATE_TEST_SUITE_P(, update_tile, every_shape(), mode_and_painting_name);
INSTANTIATE_TEST_SUITE_P(largest, update_tile,
                         ::testing::Combine(both_modes(),
                                            ::testing::Values(sized(1, 32000, 32000), sized(0, 32000, 32000))),
                         mode_and_painting_name);

// ---- one by one ----------------------------------------------------------------------------------------------------

class tile_update : public reduced_test {};

TEST_P(tile_update, leaves_the_request_block_as_it_was)
{
    start();
    const painting image = sized(1, 300, 200).with_pattern();
    const int32_t canvas = painted_canvas(image);
    std::memset(&parg, 0x3C, sizeof parg);
    const cv_request_block before = parg;
    guarded_buffer buffer(reduced_model(image).image_bytes());
    cv_update_virt_subsampled_ptile_buffer(canvas, 0, buffer.data());
    EXPECT_EQ(std::memcmp(&parg, &before, sizeof parg), 0);
    EXPECT_EQ(buffer.contents()[0], image.colour(0, 0)[0]);
}

TEST_P(tile_update, lets_each_worker_claim_one_row_behind_the_last)
{
    start();
    const painting image = sized(1, 3000, 200).with_pattern();
    const int32_t canvas = painted_canvas(image);
    guarded_buffer buffer(reduced_model(image).image_bytes());
    for (const int32_t workers : worker_counts) {
        SCOPED_TRACE(workers);
        set_workers(workers);
        cv_update_virt_subsampled_ptile_buffer(canvas, 1, buffer.data());
        EXPECT_EQ(MP_line, 200 + nr_procs);
    }
}

TEST_P(tile_update, changes_nothing_when_none_of_its_rows_is_sampled)
{
    start();
    const painting image = sized(0, 31999, 300).with_pattern();
    const int32_t canvas = painted_canvas(image);
    // The grid is cut so that the last tile row holds rows 256 to 299; rows 282 and on are sampled, 256 to 280 not.
    cv_geometry& view = canvastable[canvas]->geom;
    view.y_max = 280;
    ASSERT_FALSE(reduced_model(image).rows().is_sampled(256));
    ASSERT_TRUE(reduced_model(image).rows().between(256, 280).empty());
    const reduced_model model(image);
    guarded_buffer buffer(model.image_bytes());
    cv_update_virt_subsampled_mtile_buffer(canvas, image.tiles_across(), buffer.data());
    EXPECT_TRUE(same_bytes(buffer.contents(), bytes(model.image_bytes(), fill)));
}

TEST_P(tile_update, of_a_canvas_within_the_frame_is_an_exact_copy)
{
    start();
    const painting image = sized(0, 300, 200).with_pattern();
    const int32_t canvas = painted_canvas(image);
    bytes all(300 * 200);
    for (const int32_t tile : {0, 1}) cv_update_virt_subsampled_mtile_buffer(canvas, tile, all.data());
    for (int32_t y = 0; y < 200; ++y) {
        for (int32_t x = 0; x < 300; ++x)
            ASSERT_EQ(all[static_cast<size_t>(y * 300 + x)], image.colour(x, y)[0]) << x << "," << y;
    }
}

TEST_P(tile_update, follows_the_current_view)
{
    start();
    const painting image = sized(1, 1000, 600).with_pattern();
    const int32_t canvas = painted_canvas(image);
    cv_geometry& view = canvastable[canvas]->geom;
    view.x_min = 300, view.x_max = 520, view.width = 221;
    view.y_min = 100, view.y_max = 180, view.height = 81;
    view.lres_width = 221, view.lres_height = 81;
    canvas_make_tables(canvas);
    guarded_buffer buffer(221 * 81 * 5, fill);
    for (int32_t tile = 0; tile < 12; ++tile) cv_update_virt_subsampled_ptile_buffer(canvas, tile, buffer.data());
    EXPECT_TRUE(buffer.guards_are_intact());
    bytes expected;
    for (int32_t y = 100; y <= 180; ++y) {
        const bytes line = image.colour_line(y, 300, 520);
        expected.insert(expected.end(), line.begin(), line.end());
    }
    for (int32_t y = 100; y <= 180; ++y) {
        const bytes line = image.alpha_line(y, 300, 520);
        expected.insert(expected.end(), line.begin(), line.end());
    }
    EXPECT_TRUE(same_bytes(buffer.contents(), expected));
}

TEST_P(tile_update, outside_the_grid_the_view_or_the_table_of_canvases_changes_nothing)
{
    start();
    const painting image = sized(1, 1000, 600).with_pattern();
    const int32_t canvas = painted_canvas(image);
    canvastable[canvas]->geom.x_max = 255;  // tile 2 is outside this view
    guarded_buffer buffer(1000 * 600 * 5);
    for (const int32_t tile : {-1, 12, 100, INT32_MAX, INT32_MIN, 2})
        cv_update_virt_subsampled_ptile_buffer(canvas, tile, buffer.data());
    for (const int32_t none : {-1, canvas + 1, 50}) {
        cv_update_virt_subsampled_tile(none, 0);
        cv_update_virt_subsampled_ptile_buffer(none, 0, buffer.data());
        cv_update_virt_subsampled_mtile_buffer(none, 0, buffer.data());
    }
    EXPECT_TRUE(same_bytes(buffer.contents(), bytes(1000 * 600 * 5, fill)));
    EXPECT_TRUE(buffer.guards_are_intact());
}

TEST_P(tile_update, with_the_tables_of_a_smaller_canvas_changes_nothing)
{
    start();
    const painting image = sized(0, 1000, 600).with_pattern();
    const int32_t canvas = painted_canvas(image);
    const int32_t small = sized(0, 100, 60).create(path("small"));
    canvas_make_tables(small);
    guarded_buffer buffer(1000 * 600);
    for (int32_t tile = 0; tile < 12; ++tile) cv_update_virt_subsampled_mtile_buffer(canvas, tile, buffer.data());
    EXPECT_TRUE(same_bytes(buffer.contents(), bytes(1000 * 600, fill)));
}

TEST_P(tile_update, divides_the_whole_index_by_the_step)
{
    start();
    const painting image = sized(0, 60, 40).with_pattern();
    const int32_t canvas = painted_canvas(image);
    cv_geometry& view = canvastable[canvas]->geom;
    view.step = 2;
    view.frame_x = 0;
    view.frame_y = 0;
    view.lres_width = 120;
    view.lres_height = 80;
    canvas_make_tables(canvas);
    guarded_buffer buffer(120 * 80, fill);
    cv_update_virt_subsampled_mtile_buffer(canvas, 0, buffer.data());
    bytes expected(120 * 80, fill);
    for (int32_t y = 0; y < 40; ++y) {
        for (int32_t x = 0; x < 60; ++x) expected[static_cast<size_t>(2 * y * 120 / 2 + x)] = image.colour(x, y)[0];
    }
    EXPECT_TRUE(same_bytes(buffer.contents(), expected));
}

TEST_P(tile_update, of_an_image_larger_than_the_librarys_buffers_is_left_to_the_hosts)
{
    start();
    cv_max_lres_hor = cv_max_lres_vert = 2048;
    other_rbuf host_buffer(size_t{2048} * 2048 * 5);
    for (const int32_t kind : {0, 1}) {
        const painting image = sized(kind, 2000, 1900).with_pattern();
        const reduced_model model(image, {2048, 2048});
        const int32_t canvas = painted_canvas(image, kind == 0 ? "mask" : "picture");
        fill_own_buffers(fill);
        guarded_buffer buffer(model.image_bytes(), fill);
        bytes expected(model.image_bytes(), fill);
        for (int32_t tile = 0; tile < image.tiles_across() * image.tiles_down(); ++tile) {
            cv_update_virt_subsampled_tile(canvas, tile);
            if (kind == 1) cv_update_virt_subsampled_ptile_buffer(canvas, tile, buffer.data());
            if (kind == 0) cv_update_virt_subsampled_mtile_buffer(canvas, tile, buffer.data());
            model.put(image.part_in_tile(tile), expected);
        }
        EXPECT_TRUE(same_bytes(buffer.contents(), expected));
        EXPECT_TRUE(buffer.guards_are_intact());
        EXPECT_TRUE(same_bytes(own_picture_buffer(), bytes(sizeof cv_visu_pic, fill)));
        EXPECT_TRUE(same_bytes(own_mask_buffer(), bytes(sizeof cv_visu_mask, fill)));
    }
}

// Frame places above 4095 do not fit a table entry: what is shown then is nothing to rely on, but it stays in its
// buffer.
TEST_P(tile_update, in_a_frame_beyond_the_tables_reach_stays_inside_the_buffer)
{
    start();
    cv_max_lres_hor = cv_max_lres_vert = 6000;
    other_rbuf host_buffer(size_t{6000} * 6000);
    const painting image = sized(0, 5900, 300).with_pattern();
    const int32_t canvas = painted_canvas(image);
    guarded_buffer buffer(5900 * 300);
    for (int32_t tile = 0; tile < image.tiles_across() * image.tiles_down(); ++tile)
        cv_update_virt_subsampled_mtile_buffer(canvas, tile, buffer.data());
    EXPECT_TRUE(buffer.guards_are_intact());
}

// A frame that no power of two divides makes the running sum inexact: one column or row more than the image holds may
// be sampled.
TEST_P(tile_update, with_an_inexact_sum_stays_inside_the_buffer)
{
    start();
    int odd_sizes = 0;
    for (const int32_t frame : {3, 7, 49, 100, 107}) {
        cv_max_lres_hor = cv_max_lres_vert = frame;
        for (int32_t width = frame + 1; width < frame + 60; width += 3) {
            for (const int32_t height : {width, width / 2 + 1, width - 1}) {
                const painting image = sized(0, width, height).with_pattern();
                const reduced_model model(image, {frame, frame});
                const int32_t canvas = painted_canvas(image);
                if (model.rows().coordinates().size() != static_cast<size_t>(model.height())) ++odd_sizes;
                guarded_buffer buffer(model.image_bytes(), fill);
                cv_update_virt_subsampled_mtile_buffer(canvas, 0, buffer.data());
                bytes expected(model.image_bytes(), fill);
                model.put(image.bounds(), expected);
                EXPECT_TRUE(same_bytes(buffer.contents(), expected)) << image;
                EXPECT_TRUE(buffer.guards_are_intact()) << image;
                cv_mark_canvas_nosave(canvas);
                ASSERT_EQ(canvas_close(canvas), 0);
            }
        }
    }
    RecordProperty("sizes_with_other_counts", odd_sizes);
}

TEST_P(tile_update, that_cannot_read_its_tile_changes_nothing)
{
    start();
    const painting image = sized(0, 300, 200).with_pattern();
    const int32_t canvas = painted_canvas(image);
    ASSERT_EQ(cv_flush_tiles(canvas), 0);
    ASSERT_EQ(truncate(path("canvas").c_str(), 20'000), 0);
    guarded_buffer buffer(300 * 200, fill);
    cv_update_virt_subsampled_mtile_buffer(canvas, 0, buffer.data());
    EXPECT_EQ(host().kills(), 1);
    EXPECT_TRUE(same_bytes(buffer.contents(), bytes(300 * 200, fill)));
}

INSTANTIATE_TEST_SUITE_P(, tile_update, both_modes(), mode_name);

}  // namespace
