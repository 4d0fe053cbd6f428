// Where pixels lie in a file: slots in the order of the first writes, each tile line after line, a picture's alpha
// plane behind its colours, bytes in the order the host gave them.
#include "tests/canvas/edited_file.h"

using namespace iocache_test;

namespace {

class tiles_in_file : public open_test {
protected:
    static void put_pixel(const cv_canvas& canvas, int32_t x, int32_t y, bytes colour, uint8_t alpha = 0)
    {
        EXPECT_EQ(cv_storeline(canvas.index, colour.data(), canvas.kind == 1 ? &alpha : nullptr, y, x, x), 0);
    }
    void write_out(const cv_canvas& canvas)
    {
        EXPECT_EQ(cv_flush_tiles_keep(canvas.index), 0);
        file_ = read_whole_file(path("c"));
    }
    size_t at(size_t place) const { return static_cast<size_t>(int32_at(file_, place)); }
    // Byte of a slot.
    uint8_t in_slot(size_t slot, size_t byte) const
    {
        return file_.at(at(field::tiles_offset) + slot * at(field::tile_bytes) + byte);
    }
    int32_t entry(size_t tile) const { return int32_at(file_, at(field::tile_table_offset) + 4 * tile); }
    int64_t bytes_set_in_slots() const
    {
        const auto begin = file_.begin() + static_cast<std::ptrdiff_t>(at(field::tiles_offset));
        return std::count_if(begin, file_.end(), [](uint8_t byte) { return byte != 0; });
    }

    bytes file_;
};
INSTANTIATE_TEST_SUITE_P(, tiles_in_file, both_modes(), mode_name);

TEST_P(tiles_in_file, of_a_mask_hold_a_byte_a_pixel_line_after_line)
{
    const cv_canvas& canvas = open_new("c", {0, 0, 0, 599, 299, 0, 0});
    put_pixel(canvas, 259, 5, {0x9C});
    write_out(canvas);
    EXPECT_EQ(entry(1), 0);
    EXPECT_EQ(in_slot(0, 5 * 256 + 3), 0x9C);
    EXPECT_EQ(bytes_set_in_slots(), 1);
    EXPECT_EQ(file_.size(), at(field::tiles_offset) + 65'536);
}

TEST_P(tiles_in_file, of_a_picture_hold_four_bytes_a_pixel_and_the_alpha_plane_behind)
{
    const cv_canvas& canvas = open_new("c", {1, 0, 0, 599, 299, 0, 0});
    put_pixel(canvas, 259, 261, {0x11, 0x22, 0x33, 0x44}, 0x55);
    write_out(canvas);
    EXPECT_EQ(entry(4), 0);  // second column, second row of three columns
    const size_t pixel = 5 * 256 + 3;
    EXPECT_EQ(in_slot(0, 4 * pixel), 0x11);
    EXPECT_EQ(in_slot(0, 4 * pixel + 1), 0x22);
    EXPECT_EQ(in_slot(0, 4 * pixel + 2), 0x33);
    EXPECT_EQ(in_slot(0, 4 * pixel + 3), 0x44);
    EXPECT_EQ(in_slot(0, 262'144 + pixel), 0x55);
    EXPECT_EQ(bytes_set_in_slots(), 5);
    EXPECT_EQ(file_.size(), at(field::tiles_offset) + 327'680);
}

TEST_P(tiles_in_file, begin_before_an_image_with_offsets)
{
    const cv_canvas& canvas = open_new("c", {0, -10, -20, 599, 299, 10, 276});
    put_pixel(canvas, -10, -20, {0x61});  // grid point (0, 256)
    write_out(canvas);
    EXPECT_EQ(entry(3), 0);
    EXPECT_EQ(in_slot(0, 0), 0x61);
    EXPECT_EQ(bytes_set_in_slots(), 1);
}

TEST_P(tiles_in_file, get_slots_in_the_order_of_their_first_write)
{
    const cv_canvas& canvas = open_new("c", {0, 0, 0, 599, 299, 0, 0});
    EXPECT_EQ(int32_at(read_whole_file(path("c")), field::tiles_written), 0);
    put_pixel(canvas, 599, 299, {1});
    write_out(canvas);
    EXPECT_EQ(entry(5), 0);
    put_pixel(canvas, 0, 0, {2});
    write_out(canvas);
    put_pixel(canvas, 0, 299, {3});
    write_out(canvas);
    EXPECT_EQ(entry(5), 0);
    EXPECT_EQ(entry(0), 1);
    EXPECT_EQ(entry(3), 2);
    for (const size_t never : {1U, 2U, 4U}) EXPECT_EQ(entry(never), -1);
    EXPECT_EQ(int32_at(file_, field::tiles_written), 3);
    EXPECT_EQ(file_.size(), at(field::tiles_offset) + 3 * 65'536U);
}

TEST_P(tiles_in_file, are_written_again_in_place)
{
    const cv_canvas& canvas = open_new("c", {0, 0, 0, 599, 299, 0, 0});
    put_pixel(canvas, 300, 0, {1});
    write_out(canvas);
    put_pixel(canvas, 0, 0, {2});
    write_out(canvas);
    put_pixel(canvas, 300, 0, {3});
    write_out(canvas);
    EXPECT_EQ(int32_at(file_, field::tiles_written), 2);
    EXPECT_EQ(in_slot(0, 44), 3);
    EXPECT_EQ(in_slot(1, 0), 2);
    EXPECT_EQ(file_.size(), at(field::tiles_offset) + 2 * 65'536U);
}

TEST_P(tiles_in_file, that_were_never_written_read_as_nothing_and_take_no_room)
{
    const cv_canvas& canvas = open_new("c", {1, 0, 0, 599, 299, 0, 0});
    EXPECT_TRUE(is_all(line(canvas, 0), 0));
    EXPECT_TRUE(is_all(line(canvas, 299), 0));
    EXPECT_EQ(canvas_close(0), 0);
    file_ = read_whole_file(path("c"));
    EXPECT_EQ(file_.size(), at(field::tiles_offset));
    EXPECT_EQ(int32_at(file_, field::tiles_written), 0);
}

TEST_P(tiles_in_file, make_it_dirty_until_it_is_closed)
{
    const cv_canvas& made = open_new("c", {0, 0, 0, 599, 299, 0, 0});
    EXPECT_EQ(canvas_file(path("c")).dirty(), 0);
    put_pixel(made, 0, 0, {1});
    write_out(made);
    EXPECT_EQ(int32_at(file_, field::dirty), 1);
    EXPECT_EQ(canvas_close(0), 0);
    EXPECT_EQ(canvas_file(path("c")).dirty(), 0);

    ASSERT_EQ(open(), 0);
    put_pixel(*canvastable[0], 0, 0, {2});  // a slot it has already
    write_out(*canvastable[0]);
    EXPECT_EQ(int32_at(file_, field::dirty), 1);
    EXPECT_EQ(canvas_close(0), 0);
    EXPECT_EQ(canvas_file(path("c")).dirty(), 0);
}

}  // namespace
