// Opening a file: the record it gets, and what of the header counts.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "tests/canvas/edited_file.h"

using namespace iocache_test;

namespace {

// What the library printed.
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

struct views {
    explicit views(const cv_canvas& record)
        : all{record.geom, record.geom_orig, record.geom_full, record.geom_window, record.geom_window2}
    {}
    bool operator==(const views& other) const { return std::memcmp(all, other.all, sizeof all) == 0; }
    cv_geometry all[5];
};

class open_canvas : public open_test {
protected:
    const cv_canvas& opened()
    {
        const int32_t canvas = open();
        EXPECT_EQ(canvas, 0) << host().last_message();
        return *canvastable[0];
    }
};
INSTANTIATE_TEST_SUITE_P(, open_canvas, both_modes(), mode_name);

TEST_P(open_canvas, has_the_views_it_was_made_with)
{
    for (const shape& s : {shape{1, -300, -20, 999, 99, 300, 20}, shape{0, 0, 0, 1024, 10, 3, 4},
                           shape{0, -32'768, -32'768, -32'700, -32'000, 0, 0}}) {
        const views made(open_new("c", s));
        ASSERT_EQ(canvas_close(0), 0);
        const cv_canvas& record = opened();
        EXPECT_TRUE(views(record) == made);
        EXPECT_EQ(record.geom.x_min, s.x_min);
        EXPECT_EQ(record.geom.y_max, s.y_max);
        EXPECT_EQ(record.geom.y_offset, s.y_offset);
        canvas_close(0);
        std::filesystem::remove(path("c"));
    }
}

TEST_P(open_canvas, of_a_picture_has_its_format)
{
    closed_file("c", {1, 0, 0, 599, 299, 0, 0});
    const cv_canvas& record = opened();
    EXPECT_EQ(record.kind, 1);
    EXPECT_EQ(record.bytes_per_pixel, 4);
    EXPECT_EQ(record.pixel_shift, 2);
    EXPECT_EQ(record.tile_width, 256);
    EXPECT_EQ(record.tile_height, 256);
    EXPECT_EQ(record.tile_shift_x, 8);
    EXPECT_EQ(record.tile_shift_y, 8);
    EXPECT_EQ(record.tiles_across, 3);
    EXPECT_EQ(record.tiles_down, 2);
    EXPECT_EQ(record.tile_line_bytes, 1024);
    EXPECT_EQ(record.tile_bytes, 327'680);
}

TEST_P(open_canvas, of_a_mask_has_its_format)
{
    closed_file("c", {0, 0, 0, 599, 299, 0, 0});
    const cv_canvas& record = opened();
    EXPECT_EQ(record.kind, 0);
    EXPECT_EQ(record.bytes_per_pixel, 1);
    EXPECT_EQ(record.pixel_shift, 0);
    EXPECT_EQ(record.tile_line_bytes, 256);
    EXPECT_EQ(record.tile_bytes, 65'536);
}

TEST_P(open_canvas, is_kept_and_otherwise_like_a_new_one)
{
    file_with_tiles({1, 0, 0, 599, 299, 0, 0}, 2);
    const cv_canvas& record = opened();
    EXPECT_EQ(record.index, 0);
    EXPECT_EQ(record.file_name, path("c"));
    EXPECT_STREQ(record.base_name, "c");
    EXPECT_EQ(record.subs_window_name, path("c") + "s");
    EXPECT_EQ(record.fp, nullptr);
    EXPECT_NE(record.fp2, nullptr);
    EXPECT_EQ(record.busy, 0);
    EXPECT_EQ(record.save, 1);
    EXPECT_EQ(record.window_flag, 0);
    EXPECT_EQ(record.window_mode, 0);
    EXPECT_EQ(record.link_a, nullptr);
    EXPECT_EQ(record.link_b, nullptr);
    EXPECT_EQ(record.zoom_child, nullptr);
    EXPECT_EQ(record.reserved1, 0);
    EXPECT_EQ(record.open_zooms, 0);
    EXPECT_EQ(record.is_zoom, nullptr);
    EXPECT_EQ(record.reserved2, 0);
    EXPECT_EQ(record.reserved3, 0);
    EXPECT_EQ(record.reserved4, 0);
    EXPECT_EQ(record.reserved5, 0);
    EXPECT_EQ(record.dirty_mode, 3);
    EXPECT_EQ(record.dirty_mask, 1);
    EXPECT_EQ(record.tiles_fetched, 0);
    EXPECT_EQ(record.tiles_spare, 0);
    for (size_t tile = 0; tile < 6; ++tile) {
        EXPECT_EQ(record.tile_cache[tile], nullptr);
        EXPECT_EQ(record.tile_flags[tile], 0);
    }
}

TEST_P(open_canvas, has_the_files_icon_and_tile_table)
{
    edited_file file(file_with_tiles({0, 0, 0, 599, 299, 0, 0}, 2));
    const bytes& contents = file.fill(4096, 10'240, 0x5A).contents();
    file.save();
    const cv_canvas& record = opened();
    EXPECT_EQ(std::memcmp(record.icon, contents.data() + 4096, 10'240), 0);
    const auto table = static_cast<size_t>(file.number(field::tile_table_offset));
    for (size_t tile = 0; tile < 6; ++tile) EXPECT_EQ(record.tile_table[tile], int32_at(contents, table + 4 * tile));
    EXPECT_EQ(std::ranges::count(record.tile_table, record.tile_table + 6, -1), 4);
    EXPECT_EQ(record.header->tiles_written, 2);
    EXPECT_EQ(record.header->scale, 1.0);
    EXPECT_STREQ(record.header->color_model, "cmyk");
}

TEST_P(open_canvas, does_not_write_to_the_file)
{
    file_with_tiles({1, 0, 0, 599, 299, 0, 0}, 2);
    const bytes before = read_whole_file(path("c"));
    const int32_t canvas = open();
    ASSERT_EQ(canvas, 0);
    EXPECT_TRUE(read_whole_file(path("c")) == before);
    EXPECT_EQ(host().messages(), messages{});
}

TEST_P(open_canvas, is_the_same_through_each_entry)
{
    closed_file("c", small_picture);
    const std::string name = path("c");
    const views plain(opened());
    canvas_close(0);
    ASSERT_EQ(canvas_old_io(name.c_str()), 0);
    EXPECT_TRUE(views(*canvastable[0]) == plain);
    canvas_close(0);
    for (const int32_t flag : {0, 1, 77}) {
        ASSERT_EQ(canvas_old_both(name.c_str(), flag), 0);
        EXPECT_TRUE(views(*canvastable[0]) == plain);
        canvas_close(0);
    }
    for (auto* entry : {canvas_old, canvas_old_io}) {
        EXPECT_EQ(entry(path("missing").c_str()), -255);
        EXPECT_EQ(cv_errno, 999120);
    }
}

TEST_P(open_canvas, that_is_open_already_returns_its_number_and_reads_nothing)
{
    create("other", small_mask);
    create("c", small_mask);
    write_whole_file(path("c"), {'x'});
    EXPECT_EQ(open(), 1);
    EXPECT_EQ(used_slots(), 2);
    EXPECT_EQ(host().messages(), messages{});
}

TEST_P(open_canvas, takes_any_image_kind_but_zero_for_a_picture)
{
    for (const int32_t kind : {1, -1, 512}) {
        edited_file file(closed_file("c", small_picture));
        file.put16(field::image_kind, kind).save();
        EXPECT_EQ(opened().kind, 1);
        canvas_close(0);
        std::filesystem::remove(path("c"));
    }
}

// Recomputed, whatever the header says.
TEST_P(open_canvas, does_not_use_what_the_header_derives)
{
    const views made(open_new("c", {0, 0, 0, 2047, 99, 0, 0}));
    canvas_close(0);
    edited_file file(path("c"));
    for (const size_t derived : {field::tiles_across, field::tiles_down, field::has_subsampled})
        file.put16(derived, 999);
    for (const size_t derived : {field::tile_bytes, field::scale, field::width, field::height})
        file.put32(derived, 0x7654321);
    file.save();
    const cv_canvas& record = opened();
    EXPECT_TRUE(views(record) == made);
    EXPECT_EQ(record.tiles_across, 8);
    EXPECT_EQ(record.tiles_down, 1);
    EXPECT_EQ(record.tile_bytes, 65'536);
}

TEST_P(open_canvas, of_exactly_the_largest_pixel_count_succeeds)
{
    closed_file("c", {0, 0, 0, 99, 9, 0, 0});
    cv_max_resolution = 1000;
    EXPECT_EQ(open(), 0);
}

// Its tile bytes stay those of the configured tile: only lines that fit them are served.
TEST_P(open_canvas, of_another_tile_height_serves_the_lines_its_tiles_hold)
{
    edited_file file(file_with_tiles({0, 0, 0, 255, 511, 0, 0}));
    file.put16(field::tile_height, 512).save();
    const cv_canvas& record = opened();
    EXPECT_EQ(record.tile_height, 512);
    EXPECT_EQ(record.tile_shift_y, 9);
    EXPECT_EQ(record.tiles_down, 1);
    EXPECT_EQ(record.tile_bytes, 65'536);
    bytes line(256, 0xEE);
    EXPECT_EQ(cv_getline(0, line.data(), nullptr, 0, 0, 255), 0);
    EXPECT_TRUE(is_all(line, 7));
    EXPECT_EQ(cv_getline(0, line.data(), nullptr, 255, 0, 255), 0);
    EXPECT_TRUE(is_all(line, 0));
    std::ranges::fill(line, uint8_t{0xEE});
    for (const int32_t y : {256, 511}) {
        EXPECT_EQ(cv_getline(0, line.data(), nullptr, y, 0, 255), -255);
        EXPECT_EQ(cv_storeline(0, line.data(), nullptr, y, 0, 255), -255);
    }
    EXPECT_TRUE(is_all(line, 0xEE));
}

TEST_P(open_canvas, of_a_lower_tile_serves_what_it_served)
{
    edited_file file(closed_file("c", {1, 0, 0, 99, 255, 0, 0}));
    file.put16(field::tile_height, 128).save();
    cv_printf = write_down;
    EXPECT_EQ(opened().tiles_down, 2);
    EXPECT_EQ(store(*canvastable[0], 200, 9), 0);
    EXPECT_TRUE(is_all(line(*canvastable[0], 200), 9));
}

TEST_P(open_canvas, takes_a_slot_that_does_not_exist_for_a_tile_never_written)
{
    edited_file file(file_with_tiles({0, 0, 0, 1023, 255, 0, 0}, 2));
    const int32_t first = file.number(static_cast<size_t>(file.number(field::tile_table_offset)));
    file.put_slot(1, -2).put_slot(2, 2).put_slot(3, INT32_MAX).save();  // two slots exist, and two entries are checked
    console.clear();
    cv_printf = write_down;
    const cv_canvas& record = opened();
    EXPECT_EQ(record.tile_table[0], first);
    for (const size_t tile : {1U, 2U, 3U}) EXPECT_EQ(record.tile_table[tile], -1);
    EXPECT_EQ(console, "Canvas 0 c : tile 1 has no valid slot and is taken as never written\n"
                       "Canvas 0 c : tile 2 has no valid slot and is taken as never written\n"
                       "Canvas 0 c : tile 3 has no valid slot and is taken as never written\n");
    bytes pixels(1024, 0xEE);
    EXPECT_EQ(cv_getline(0, pixels.data(), nullptr, 0, 0, 1023), 0);
    EXPECT_TRUE(is_all({pixels.begin(), pixels.begin() + 256}, 7));
    EXPECT_TRUE(is_all({pixels.begin() + 256, pixels.end()}, 0));
    EXPECT_EQ(file.contents(), read_whole_file(path("c"))) << "in memory alone";
}

TEST_P(open_canvas, forgets_an_append_that_was_cut_off_in_the_file_too_once_it_is_closed)
{
    edited_file file(file_with_tiles({0, 0, 0, 1023, 255, 0, 0}, 2));
    file.put_slot(3, 2).save();  // the next slot, named and not counted
    cv_printf = write_down;
    opened();
    ASSERT_EQ(canvas_close(0), 0);
    const canvas_file closed(path("c"));
    EXPECT_EQ(closed.slot(0, 0), 0);
    EXPECT_EQ(closed.slot(1, 0), 1);
    EXPECT_EQ(closed.slot(3, 0), -1);
    EXPECT_EQ(closed.dirty(), 0);
}

TEST_P(open_canvas, leaves_a_damaged_table_to_whoever_repairs_it)
{
    edited_file file(file_with_tiles({0, 0, 0, 1023, 255, 0, 0}, 2));
    file.put_slot(2, INT32_MAX).put_slot(3, 2).save();
    cv_printf = write_down;
    opened();
    ASSERT_EQ(canvas_close(0), 0);
    EXPECT_EQ(canvas_file(path("c")).slot(2, 0), INT32_MAX);
    EXPECT_EQ(canvas_file(path("c")).slot(3, 0), 2);
}

TEST_P(open_canvas, of_a_clean_file_keeps_its_icon)
{
    edited_file file(file_with_tiles({0, 0, 0, 255, 255, 0, 0}));
    file.fill(4096, 10'000, 0xAB).save();
    EXPECT_TRUE(std::ranges::all_of(opened().icon, opened().icon + 10'000, [](uint8_t b) { return b == 0xAB; }));
}

TEST_P(open_canvas, of_a_file_that_was_not_closed_is_repaired)
{
    for (const int32_t dirty : {1, 2}) {
        edited_file file(file_with_tiles({0, 0, 0, 255, 255, 0, 0}));
        file.fill(4096, 10'000, 0xAB).put32(field::dirty, dirty).save();
        const cv_canvas& record = opened();
        const bool is_rebuilt = record.icon[9999] == 0 && record.icon[0] == 7;
        EXPECT_EQ(is_rebuilt, dirty == 1);
        canvas_close(0);
        EXPECT_EQ(canvas_file(path("c")).dirty(), 0);
        std::filesystem::remove(path("c"));
    }
}

TEST_P(open_canvas, of_another_version_is_taken_as_it_is)
{
    for (const int32_t version : {16, 32, 0, 2, -1}) {
        edited_file file(closed_file("c", small_mask));
        file.put32(field::version, version).save();
        EXPECT_EQ(opened().header->version_filetype, version);
        canvas_close(0);
        std::filesystem::remove(path("c"));
    }
}

TEST_P(open_canvas, of_a_version_one_picture_is_taken_as_it_is)
{
    edited_file file(closed_file("c", small_picture));
    file.put32(field::version, 1).save();
    EXPECT_EQ(opened().header->version_filetype, 1);
    EXPECT_EQ(used_slots(), 1);
}

}  // namespace
