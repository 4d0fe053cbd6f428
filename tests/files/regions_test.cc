// The regions of a canvas's file and their places in memory, each way.
#include "tests/files/files_test.h"

namespace {

using namespace iocache_test;

// Both large enough to have a reduced image.
constexpr shape large_picture{.x_max = 1999, .y_max = 499};
constexpr shape large_mask{.kind = 0, .x_max = 1999, .y_max = 1029};

class regions : public files_test {
protected:
    void SetUp() override
    {
        start();
        forget_reports();
    }

    void put(const std::string& name, int32_t offset, const bytes& block)
    {
        bytes file = read_whole_file(path(name));
        std::copy(block.begin(), block.end(), file.begin() + offset);
        write_whole_file(path(name), file);
    }
    bytes stored(const std::string& name, int32_t offset, int32_t count) const
    {
        return part_of(read_whole_file(path(name)), static_cast<size_t>(offset), static_cast<size_t>(count));
    }
    static bytes memory(const void* start, int32_t count)
    {
        const auto* const first = static_cast<const uint8_t*>(start);
        return {first, first + count};
    }
};

TEST_P(regions, header_is_read_with_its_numbers_turned)
{
    cv_canvas& canvas = settled("picture", small_picture);
    bytes file = read_whole_file(path("picture"));
    put_big_endian(file, 0x000, 2, 0xFFFE);              // x_min
    put_big_endian(file, 0x338, 4, 0x01020304);          // x_offset
    put_big_endian(file, 0x330, 8, 0x4004000000000000);  // scale
    put_big_endian(file, 0x388, 4, 0xC1480000);          // x_resolution
    file[0x636] = 'N';                                   // tqcms_procname
    write_whole_file(path("picture"), file);

    EXPECT_EQ(cv_read_header(canvas.index), 0);
    EXPECT_EQ(canvas.header->x_min, -2);
    EXPECT_EQ(canvas.header->x_offset, 0x01020304);
    EXPECT_EQ(canvas.header->scale, 2.5);
    EXPECT_EQ(canvas.header->x_resolution, -12.5F);
    EXPECT_EQ(canvas.header->tqcms_procname[0], 'N');
    EXPECT_EQ(canvas.header->magic, 414'141);
    EXPECT_EQ(canvas.fp, nullptr);
    expect_no_report();
}

TEST_P(regions, header_is_written_most_significant_byte_first_by_either_stream)
{
    cv_canvas& canvas = settled("picture", small_picture);
    const bytes before = read_whole_file(path("picture"));
    for (const auto write : {cv_write_header, cv_write_header2}) {
        canvas.header->x_min = -2;
        canvas.header->tiles_written = 0x01020304;
        canvas.header->tone_low = 2.5;
        canvas.header->y_resolution = -12.5F;
        EXPECT_EQ(write(canvas.index), 0);
        bytes expected = before;
        put_big_endian(expected, 0x000, 2, 0xFFFE);
        put_big_endian(expected, 0x364, 4, 0x01020304);
        put_big_endian(expected, 0x5F8, 8, 0x4004000000000000);
        put_big_endian(expected, 0x38C, 4, 0xC1480000);
        EXPECT_EQ(read_whole_file(path("picture")), expected);
        EXPECT_EQ(canvas.header->x_min, -2) << "memory keeps the machine's order";
        write_whole_file(path("picture"), before);
    }
}

TEST_P(regions, each_header_write_uses_its_own_stream)
{
    cv_canvas& canvas = settled("picture", small_picture);
    ASSERT_EQ(canvas_close_file(canvas.index), 0);
    EXPECT_EQ(cv_write_header(canvas.index), 0);
    EXPECT_EQ(canvas.fp, nullptr);
    EXPECT_EQ(canvas.fp2, nullptr);
    EXPECT_EQ(cv_write_header2(canvas.index), 0);
    EXPECT_EQ(canvas.fp, nullptr);
    EXPECT_NE(canvas.fp2, nullptr);
}

TEST_P(regions, header_in_memory_stays_when_it_cannot_be_read)
{
    cv_canvas& canvas = settled("picture", small_picture);
    std::filesystem::resize_file(path("picture"), 4095);
    canvas.header->x_min = 77;
    EXPECT_EQ(cv_read_header(canvas.index), -255);
    expect_report(999203, {"read failed on 0 picture\n"});
    EXPECT_EQ(canvas.header->x_min, 77);
}

TEST_P(regions, icon_goes_both_ways_as_it_is)
{
    for (const shape& kind : {small_picture, small_mask}) {
        const std::string name = kind.kind == 1 ? "picture" : "mask";
        cv_canvas& canvas = settled(name, kind);
        const int32_t count = canvas.header->icon_bytes;
        ASSERT_EQ(count, kind.kind == 1 ? 40'448 : 10'240);
        const bytes icon = pattern(static_cast<size_t>(count));
        put(name, 4096, icon);
        EXPECT_EQ(cv_read_icon(canvas.index), 0);
        EXPECT_EQ(memory(canvas.icon, count), icon);

        const bytes other = pattern(static_cast<size_t>(count), 2);
        std::ranges::copy(other, canvas.icon);
        EXPECT_EQ(cv_write_icon(canvas.index), 0);
        EXPECT_EQ(canvas_file(path(name)).icon(), other);
        EXPECT_EQ(canvas.fp, nullptr);
    }
}

TEST_P(regions, reduced_image_of_a_picture_goes_through_its_visualisation_buffer)
{
    cv_canvas& canvas = settled("picture", large_picture);
    const int32_t count = canvas.header->subsampled_bytes;
    ASSERT_EQ(count, (1024 * 256 * 5 + 511) / 512 * 512);
    const bytes image = pattern(static_cast<size_t>(count));
    put("picture", canvas.header->subsampled_offset, image);
    EXPECT_EQ(cv_read_subsampled(canvas.index), 0);
    EXPECT_EQ(memory(cv_visu_pic, count), image);

    const bytes other = pattern(static_cast<size_t>(count), 2);
    std::ranges::copy(other, cv_visu_pic);
    EXPECT_EQ(cv_write_subsampled(canvas.index), 0);
    EXPECT_EQ(canvas_file(path("picture")).reduced_image(), other);
    expect_no_report();
}

TEST_P(regions, reduced_image_of_a_mask_goes_through_its_visualisation_buffer)
{
    cv_canvas& canvas = settled("mask", large_mask);
    const int32_t count = canvas.header->subsampled_bytes;
    ASSERT_EQ(count, (1024 * 527 + 511) / 512 * 512);
    const bytes image = pattern(static_cast<size_t>(count));
    put("mask", canvas.header->subsampled_offset, image);
    EXPECT_EQ(cv_read_subsampled(canvas.index), 0);
    EXPECT_EQ(memory(cv_visu_mask, count), image);

    const bytes other = pattern(static_cast<size_t>(count), 2);
    std::ranges::copy(other, cv_visu_mask);
    EXPECT_EQ(cv_write_subsampled(canvas.index), 0);
    EXPECT_EQ(canvas_file(path("mask")).reduced_image(), other);
}

TEST_P(regions, reduced_image_is_read_into_a_given_buffer)
{
    cv_canvas& canvas = settled("picture", large_picture);
    const bytes image = pattern(static_cast<size_t>(canvas.header->subsampled_bytes));
    put("picture", canvas.header->subsampled_offset, image);
    bytes found(image.size());
    EXPECT_EQ(cv_read_subsampled_buffer(&canvas, found.data()), 0);
    EXPECT_EQ(found, image);
}

TEST_P(regions, reduced_image_is_written_from_the_shared_buffer)
{
    for (const shape& kind : {large_picture, large_mask}) {
        const std::string name = kind.kind == 1 ? "picture" : "mask";
        cv_canvas& canvas = settled(name, kind);
        const bytes image = pattern(static_cast<size_t>(canvas.header->subsampled_bytes), 3);
        std::ranges::copy(image, Rbuf);
        EXPECT_EQ(cv_write_subsampled_Rbuf(canvas.index), 0);
        EXPECT_EQ(canvas_file(path(name)).reduced_image(), image);
    }
}

TEST_P(regions, canvas_without_a_reduced_image_writes_none)
{
    cv_canvas& canvas = settled("picture", small_picture);
    const bytes before = read_whole_file(path("picture"));
    EXPECT_EQ(cv_write_subsampled(canvas.index), -255);
    EXPECT_EQ(cv_write_subsampled_Rbuf(canvas.index), -255);
    EXPECT_EQ(read_whole_file(path("picture")), before);
    expect_no_report();
}

TEST_P(regions, reduced_image_said_to_be_larger_than_its_buffer_is_not_transferred)
{
    cv_canvas& canvas = settled("mask", large_mask);
    const bytes before = read_whole_file(path("mask"));
    canvas.header->subsampled_bytes = static_cast<int32_t>(sizeof cv_visu_mask) + 512;
    EXPECT_EQ(cv_read_subsampled(canvas.index), -255);
    expect_report(999203, {"read failed on 0 mask\n"});
    forget_reports();
    EXPECT_EQ(cv_write_subsampled(canvas.index), -255);
    expect_report(999208, {"write failed on 0 mask\n"});
    forget_reports();
    EXPECT_EQ(cv_write_subsampled_Rbuf(canvas.index), -255);
    expect_report(999208, {"write failed on 0 mask\n"});
    EXPECT_EQ(read_whole_file(path("mask")), before);
}

TEST_P(regions, tile_table_is_read_with_its_numbers_turned)
{
    cv_canvas& canvas = settled("picture", large_picture);
    ASSERT_EQ(canvas.header->tile_table_bytes, 512);
    bytes table(512, 0xFF);
    for (size_t i = 0; i < 128; ++i) put_big_endian(table, 4 * i, 4, 0x01020300 + i);
    put("picture", canvas.header->tile_table_offset, table);
    EXPECT_EQ(cv_read_tile_table(canvas.index), 0);
    for (int32_t i = 0; i < 128; ++i) EXPECT_EQ(canvas.tile_table[i], 0x01020300 + i);
}

TEST_P(regions, tile_table_is_written_most_significant_byte_first_by_either_stream)
{
    cv_canvas& canvas = settled("picture", large_picture);
    int32_t first = 0x01020300;
    for (const auto write : {cv_write_tile_table, cv_write_tile_table2}) {
        first += 1000;
        bytes expected(512);
        for (int32_t i = 0; i < 128; ++i) {
            canvas.tile_table[i] = first + i;
            put_big_endian(expected, 4 * static_cast<size_t>(i), 4, static_cast<uint64_t>(first + i));
        }
        EXPECT_EQ(write(canvas.index), 0);
        EXPECT_EQ(stored("picture", canvas.header->tile_table_offset, 512), expected);
        EXPECT_EQ(canvas.tile_table[5], first + 5) << "memory keeps the machine's order";
    }
}

TEST_P(regions, each_tile_table_write_uses_its_own_stream)
{
    cv_canvas& canvas = settled("picture", small_picture);
    ASSERT_EQ(canvas_close_file(canvas.index), 0);
    EXPECT_EQ(cv_write_tile_table(canvas.index), 0);
    EXPECT_EQ(canvas.fp, nullptr);
    EXPECT_EQ(canvas.fp2, nullptr);
    EXPECT_EQ(cv_write_tile_table2(canvas.index), 0);
    EXPECT_NE(canvas.fp2, nullptr);
}

TEST_P(regions, tile_goes_both_ways_at_its_position_by_the_kept_open_stream)
{
    cv_canvas& canvas = settled("picture", small_picture);
    const size_t end = read_whole_file(path("picture")).size();
    bytes buffer = pattern(327'680);
    cv_tile tile = {};
    tile.canvas = &canvas;
    tile.buffer = buffer.data();
    tile.size = 327'680;
    tile.file_pos = static_cast<int64_t>(end) + 1000;
    EXPECT_EQ(cv_write_tile(&tile), 0);
    EXPECT_EQ(stored("picture", static_cast<int32_t>(end) + 1000, 327'680), pattern(327'680));
    buffer.assign(buffer.size(), 0);
    EXPECT_EQ(cv_read_tile(&tile), 0);
    EXPECT_EQ(buffer, pattern(327'680));
    EXPECT_EQ(canvas.fp, nullptr);
    EXPECT_NE(canvas.fp2, nullptr);
}

TEST_P(regions, failing_wrappers_report_as_their_family_does)
{
    cv_canvas& canvas = settled("picture", large_picture);
    ASSERT_EQ(canvas_close_file(canvas.index), 0);
    std::filesystem::remove(path("picture"));
    for (const auto read : {cv_read_header, cv_read_icon, cv_read_subsampled, cv_read_tile_table}) {
        forget_reports();
        EXPECT_EQ(read(canvas.index), -255);
        expect_report(999201, {"cannot open the file\n"});
    }
    for (const auto write :
         {cv_write_header, cv_write_icon, cv_write_subsampled, cv_write_subsampled_Rbuf, cv_write_tile_table}) {
        forget_reports();
        EXPECT_EQ(write(canvas.index), -255);
        expect_report(999206, {"cannot open the file"});
    }
    forget_reports();
    for (const auto write : {cv_write_header2, cv_write_tile_table2})
        EXPECT_EQ(printed_by([&] { EXPECT_EQ(write(canvas.index), -255); }), "cannot open the file");
    expect_no_report();
}

TEST_P(regions, empty_slot_has_none)
{
    for (const auto transfer :
         {cv_read_header, cv_write_header, cv_write_header2, cv_read_icon, cv_write_icon, cv_read_subsampled,
          cv_write_subsampled, cv_write_subsampled_Rbuf, cv_read_tile_table, cv_write_tile_table, cv_write_tile_table2})
        for (const int32_t number : {0, 49, 50, -1}) EXPECT_EQ(transfer(number), -255);
    expect_no_report();
}

INSTANTIATE_TEST_SUITE_P(, regions, in_line_mode(), mode_name);

}  // namespace
