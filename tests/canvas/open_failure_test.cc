// What cannot be opened, step by step: code, messages, the file as it was, and nothing left behind.
#include "tests/canvas/edited_file.h"

using namespace iocache_test;

namespace {

const std::string wrong_size = "File is corrupted : size is not correct";
const std::string wrong_table = "File is corrupted : tile table is not correct";

class open_failure : public open_test {};
INSTANTIATE_TEST_SUITE_P(, open_failure, both_modes(), mode_name);

TEST_P(open_failure, without_a_file)
{
    for (const char* name : {"missing", "no/such/folder"}) {
        host().clear();
        EXPECT_EQ(open(name), -255);
        expect_report(999120, {"File not readable"});
        EXPECT_EQ(used_slots(), 0);
        EXPECT_FALSE(exists(path(name)));
    }
}

TEST_P(open_failure, with_every_slot_taken)
{
    closed_file("c", small_mask);
    for (int32_t slot = 0; slot < 50; ++slot) ASSERT_EQ(create(numbered("m", slot), small_mask), slot);
    expect_refused(-1, 999121, {"Create canvas : No more canvasses available !"});
    EXPECT_EQ(open("m49"), 49) << "an open one needs no slot";
    EXPECT_EQ(open("missing"), -255) << "the file is looked at first";
    EXPECT_EQ(canvas_close(17), 0);
    EXPECT_EQ(open(), 17);
}

TEST_P(open_failure, without_a_descriptor)
{
    closed_file("c", small_mask);
    const bytes before = read_whole_file(path("c"));
    for (const size_t more : {0U, 1U}) {
        host().clear();
        const size_t descriptors = open_descriptors();
        {
            const descriptor_limit limit(more);
            EXPECT_EQ(open(), -7);
        }
        expect_report(999124, {"Create canvas : cannot open the file"});
        EXPECT_EQ(open_descriptors(), descriptors);
        EXPECT_EQ(used_slots(), 0);
    }
    EXPECT_EQ(read_whole_file(path("c")), before);
}

TEST_P(open_failure, after_a_request_that_failed)
{
    closed_file("c", small_mask);
    parg.opcode = -255;
    expect_refused(-7, 999124, {"Create canvas : cannot open the file"});
    parg.opcode = 0;
    EXPECT_EQ(open(), 0);
}

TEST_P(open_failure, of_a_folder)
{
    std::filesystem::create_directory(path("c"));
    EXPECT_EQ(open(), -7);
    expect_report(999124, {"Create canvas : cannot open the file"});
    EXPECT_TRUE(std::filesystem::is_directory(path("c")));
    EXPECT_EQ(used_slots(), 0);
}

TEST_P(open_failure, of_a_file_shorter_than_a_header)
{
    for (const size_t size : {0U, 1U, 4095U}) {
        write_whole_file(path("c"), bytes(size, 1));
        expect_refused(-8, 999125, {"read failed on 0 c\n", "Create canvas : cannot read header"});
    }
}

TEST_P(open_failure, of_a_file_that_ends_in_its_icon)
{
    edited_file file(closed_file("c", small_mask));
    for (const size_t size : {4096U, 4096U + 10'239U}) {
        file.cut_to(size).save();
        expect_refused(-10, 999127, {"read failed on 0 c\n", "Create canvas : cannot read icon"});
    }
}

TEST_P(open_failure, of_a_file_that_ends_in_its_tile_table)
{
    edited_file file(closed_file("c", small_picture));
    const auto table = static_cast<size_t>(file.number(field::tile_table_offset));
    file.cut_to(table + 511).save();
    expect_refused(-15, 999129, {"read failed on 0 c\n", "Create canvas : cannot read tile table"});
    file.cut_to(table).save();
    expect_refused(-15, 999129, {"read failed on 0 c\n", "Create canvas : cannot read tile table"});
}

TEST_P(open_failure, of_more_pixels_than_are_allowed)
{
    closed_file("c", {0, 0, 0, 99, 9, 0, 0});
    cv_max_resolution = 999;
    expect_refused(-16, 999130, {"Create canvas : resolution to big for this configuration"});
}

TEST_P(open_failure, of_more_pixels_than_thirty_two_bits_count)
{
    edited_file file(closed_file("c", small_mask));
    for (const size_t lower : {field::x_min, field::y_min}) file.put16(lower, -32'768);
    for (const size_t upper : {field::x_max, field::y_max}) file.put16(upper, 32'767);
    file.save();
    expect_refused(-16, 999130, {"Create canvas : resolution to big for this configuration"});
}

TEST_P(open_failure, of_another_tile_width)
{
    for (const shape& s : {small_picture, small_mask}) {
        edited_file file(closed_file("c", s));
        for (const int32_t width : {128, 255, 512, 0, -256}) {
            file.put16(field::tile_width, width).save();
            expect_refused(-96, 999930, {"Create canvas : tilesize not equal to standard for cmyk"});
        }
        std::filesystem::remove(path("c"));
    }
    closed_file("c", small_mask);
    cv_tilesize_hor = 128;
    expect_refused(-96, 999930, {"Create canvas : tilesize not equal to standard for cmyk"});
}

TEST_P(open_failure, of_a_file_without_its_last_byte)
{
    edited_file file(file_with_tiles({1, 0, 0, 599, 99, 0, 0}, 2));
    ASSERT_EQ(file.number(field::tiles_written), 2);
    file.cut_to(file.contents().size() - 1).save();
    expect_refused(-80, 999400, {wrong_size});
}

TEST_P(open_failure, of_a_header_that_counts_one_tile_too_many)
{
    edited_file file(file_with_tiles({1, 0, 0, 599, 99, 0, 0}, 1));
    file.put32(field::tiles_written, 2).save();
    expect_refused(-80, 999400, {wrong_size});
}

TEST_P(open_failure, of_a_slot_behind_the_last_one)
{
    edited_file file(file_with_tiles({0, 0, 0, 1023, 99, 0, 0}, 2));
    for (const size_t tile : {0U, 1U}) {
        const bytes whole = file.contents();
        file.put_slot(tile, 2).save();
        expect_refused(-80, 999400, {wrong_table});
        write_whole_file(path("c"), whole);
        file = edited_file(path("c"));
    }
    file.put_slot(0, INT32_MAX).save();
    expect_refused(-80, 999400, {wrong_table});
}

// The transformation needs a second canvas.
TEST_P(open_failure, of_a_version_one_mask_that_cannot_be_transformed)
{
    edited_file file(file_with_tiles({0, 0, 0, 599, 99, 0, 0}, 2));
    file.put32(field::version, 1).save();
    for (int32_t slot = 0; slot < 49; ++slot) ASSERT_EQ(create(numbered("m", slot), small_mask), slot);
    expect_refused(
        -255, 999133,
        {"Create canvas : No more canvasses available !", "Error in transformation of version_filetype = 1"});
    EXPECT_EQ(canvastable[49], nullptr);
    EXPECT_EQ(cv_tilesize_hor, 256);
    EXPECT_EQ(cv_iconsize_vert, 100);
}

}  // namespace
