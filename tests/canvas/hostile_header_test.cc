// Headers that lie. What would corrupt memory is refused before anything is allocated or indexed by it; the rest
// opens, and what it cannot serve is refused when it is asked for.
#include <random>

#include "tests/canvas/edited_file.h"

using namespace iocache_test;

namespace {

int say_nothing(const char* /*format*/, ...)
{
    return 0;
}

class hostile_header : public open_test {
protected:
    void SetUp() override
    {
        start();
        cv_printf = say_nothing;
    }
    edited_file victim(const shape& s = {0, 0, 0, 599, 99, 0, 0}) { return edited_file(file_with_tiles(s)); }
    void expect_wrong_size() { expect_refused(-80, 999400, {"File is corrupted : size is not correct"}); }
    void expect_wrong_size_with16(size_t place, int32_t value)
    {
        const ::testing::ScopedTrace where(__FILE__, __LINE__, numbered("value ", value));
        victim().put16(place, value).save();
        expect_wrong_size();
        std::filesystem::remove(path("c"));
    }
    void expect_wrong_size_with32(size_t place, int32_t value)
    {
        const ::testing::ScopedTrace where(__FILE__, __LINE__, numbered("value ", value));
        victim().put32(place, value).save();
        expect_wrong_size();
        std::filesystem::remove(path("c"));
    }
};
INSTANTIATE_TEST_SUITE_P(, hostile_header, both_modes(), mode_name);

TEST_P(hostile_header, with_a_negative_size_or_count_is_refused)
{
    for (const size_t place : {field::icon_bytes, field::subsampled_bytes, field::tile_table_bytes,
                               field::tiles_written, field::tiles_offset}) {
        expect_wrong_size_with32(place, -1);
        expect_wrong_size_with32(place, INT32_MIN);
    }
}

TEST_P(hostile_header, with_bounds_in_reverse_is_refused)
{
    expect_wrong_size_with16(field::x_max, -1);
    expect_wrong_size_with16(field::y_max, -32'768);
    expect_wrong_size_with16(field::x_min, 600);
    expect_wrong_size_with16(field::y_min, 32'767);
}

TEST_P(hostile_header, with_an_icon_beyond_its_region_is_refused)
{
    for (const size_t place : {field::icon_width, field::icon_height}) {
        expect_wrong_size_with16(place, -1);
        expect_wrong_size_with16(place, 103);  // 103 x 100 bytes are more than 10,240
        expect_wrong_size_with16(place, 32'767);
    }
    expect_wrong_size_with32(field::icon_bytes, 9'999);
    expect_wrong_size_with16(field::image_kind, 3);  // four bytes a pixel
}

TEST_P(hostile_header, with_a_tile_of_no_height_is_refused)
{
    expect_wrong_size_with16(field::tile_height, 0);
    expect_wrong_size_with16(field::tile_height, -256);
}

TEST_P(hostile_header, with_more_tiles_than_table_entries_is_refused)
{
    expect_wrong_size_with16(field::y_max, 32'767);  // 128 entries are all the table has
    expect_wrong_size_with16(field::tile_height, 1);
    expect_wrong_size_with32(field::tiles_written, 129);
    expect_wrong_size_with32(field::tiles_written, INT32_MAX);
    expect_wrong_size_with32(field::tile_table_bytes, 11);  // three tiles need 12
}

TEST_P(hostile_header, with_offsets_that_leave_no_grid_is_refused)
{
    for (const size_t place : {field::x_offset, field::y_offset}) {
        expect_wrong_size_with32(place, INT32_MAX);
        expect_wrong_size_with32(place, INT32_MIN);
        expect_wrong_size_with32(place, -10'000);
        expect_wrong_size_with32(place, 128 * 256);
    }
}

TEST_P(hostile_header, with_tiles_beyond_the_end_of_the_file_is_refused)
{
    expect_wrong_size_with32(field::tiles_offset, INT32_MAX);
    expect_wrong_size_with32(field::tiles_written, 128);
}

// 65,536 slots of 65,536 bytes are 0 bytes in 32 bits.
TEST_P(hostile_header, with_slots_that_wrap_thirty_two_bits_is_refused)
{
    edited_file file = victim();
    constexpr int32_t slots = 65'536;
    const auto table = static_cast<size_t>(file.number(field::tile_table_offset));
    file.cut_to(table).cut_to(table + 4U * slots);
    file.put32(field::tile_table_bytes, 4 * slots).put32(field::tiles_written, slots).save();
    expect_wrong_size();
}

TEST_P(hostile_header, with_a_region_that_begins_before_the_file_is_refused)
{
    edited_file file = victim();
    file.put32(field::icon_offset, -1).save();
    expect_refused(-10, 999127, {"seek failed on 0 c\n", "Create canvas : cannot read icon"});
    file.put32(field::icon_offset, 4096).put32(field::tile_table_offset, INT32_MIN).save();
    expect_refused(-15, 999129, {"seek failed on 0 c\n", "Create canvas : cannot read tile table"});
}

TEST_P(hostile_header, with_a_region_of_no_size_is_refused)
{
    edited_file file = victim();
    file.put32(field::tile_table_bytes, 0).save();
    expect_refused(-15, 999129, {"read failed on 0 c\n", "Create canvas : cannot read tile table"});
    file.put16(field::icon_width, 0).put32(field::icon_bytes, 0).save();
    expect_refused(-10, 999127, {"read failed on 0 c\n", "Create canvas : cannot read icon"});
}

TEST_P(hostile_header, with_a_region_beyond_the_end_of_the_file_is_refused)
{
    constexpr int32_t far_too_long = 100'000'000;
    edited_file file = victim();
    file.put32(field::icon_bytes, far_too_long).save();
    expect_refused(-10, 999127, {"read failed on 0 c\n", "Create canvas : cannot read icon"});
    file.put32(field::icon_bytes, 10'240).put32(field::tile_table_bytes, far_too_long).save();
    expect_refused(-15, 999129, {"read failed on 0 c\n", "Create canvas : cannot read tile table"});
}

TEST_P(hostile_header, with_a_table_of_broken_entries_opens)
{
    victim().put32(field::tile_table_bytes, 15).save();
    ASSERT_EQ(open(), 0);
    cv_canvas& canvas = *canvastable[0];
    EXPECT_EQ(store(canvas, 50, 6), 0);
    EXPECT_EQ(canvas_close(0), 0);
    ASSERT_EQ(open(), 0);
    EXPECT_TRUE(is_all(line(*canvastable[0], 50), 6));
}

// Neither the library's buffer nor the host's is that long.
TEST_P(hostile_header, with_an_endless_reduced_image_opens_without_it)
{
    for (const shape& s : {shape{1, 0, 0, 1999, 99, 0, 0}, shape{0, 0, 0, 1999, 99, 0, 0}}) {
        victim(s).put32(field::subsampled_bytes, INT32_MAX).save();
        ASSERT_EQ(open(), 0);
        EXPECT_EQ(cv_read_subsampled(0), -255);
        EXPECT_EQ(cv_errno, 999203);
        EXPECT_EQ(cv_write_subsampled(0), -255);
        EXPECT_EQ(cv_write_subsampled_Rbuf(0), -255);
        EXPECT_EQ(cv_errno, 999208);
        EXPECT_EQ(canvas_close(0), 0);
        std::filesystem::remove(path("c"));
    }
}

TEST_P(hostile_header, whose_bounds_did_not_fit_its_fields_has_others_or_is_refused)
{
    closed_file("c", {0, 40'000, 0, 40'009, 9, 0, 0});
    ASSERT_EQ(open(), 0);
    EXPECT_EQ(canvastable[0]->geom.x_min, 40'000 - 65'536);
    EXPECT_EQ(canvastable[0]->geom.width, 10);
    canvas_close(0);
    std::filesystem::remove(path("c"));
    closed_file("c", {0, 0, 0, 40'000, 9, 0, 0});
    expect_wrong_size();
}

// Seeded, with the numbers that matter at each place.
class header_roulette {
public:
    void change(edited_file& file)
    {
        for (int32_t entries = one_of(0, 3); entries > 0; --entries)
            file.put_slot(static_cast<size_t>(one_of(0, 7)), any_value());
        for (int32_t changes = one_of(1, 4); changes > 0; --changes) {
            const auto& [place, size] = places[static_cast<size_t>(one_of(0, std::ssize(places) - 1))];
            size == 2 ? file.put16(place, any_value()) : file.put32(place, any_value());
        }
        file.put32(field::dirty, one_of(0, 1));
    }
    int32_t one_of(int64_t least, int64_t most)
    {
        return static_cast<int32_t>(least + static_cast<int64_t>(engine_() % static_cast<uint64_t>(most - least + 1)));
    }

private:
    struct number {
        size_t place;
        size_t size;
    };
    static constexpr number places[] = {{field::x_min, 2},
                                        {field::x_max, 2},
                                        {field::y_min, 2},
                                        {field::y_max, 2},
                                        {field::image_kind, 2},
                                        {field::icon_width, 2},
                                        {field::icon_height, 2},
                                        {field::tile_height, 2},
                                        {field::tile_height, 2},
                                        {field::tiles_across, 2},
                                        {field::scale, 4},
                                        {field::x_offset, 4},
                                        {field::y_offset, 4},
                                        {field::icon_offset, 4},
                                        {field::subsampled_offset, 4},
                                        {field::tile_table_offset, 4},
                                        {field::tiles_offset, 4},
                                        {field::icon_bytes, 4},
                                        {field::subsampled_bytes, 4},
                                        {field::tile_table_bytes, 4},
                                        {field::tile_bytes, 4},
                                        {field::tiles_written, 4}};
    static constexpr int32_t values[] = {INT32_MIN, -32'768, -256, -1,     0,      1,      2,        3,   64,
                                         100,       255,     256,  257,    300,    511,    512,      513, 1024,
                                         1500,      4096,    8192, 32'767, 65'535, 65'536, INT32_MAX};

    int32_t any_value() { return values[static_cast<size_t>(one_of(0, std::ssize(values) - 1))]; }

    std::mt19937 engine_{20'261};
};

// Whatever opens can be read, written and closed; whatever does not leaves nothing.
TEST_P(hostile_header, of_any_kind_neither_stops_the_host_nor_leaves_anything)
{
    setenv("CV_NO_CLOSE_SYNC", "1", 1);
    header_roulette roulette;
    int opened = 0;
    const size_t descriptors = open_descriptors();
    std::vector<bytes> originals;
    for (const shape& s : {shape{1, -20, 0, 599, 300, 20, 0}, shape{0, 0, 0, 1499, 99, 0, 0}}) {
        originals.push_back(read_whole_file(file_with_tiles(s, 2)));
        std::filesystem::remove(path("c"));
    }
    for (int round = 0; round < 200; ++round) {
        write_whole_file(path("c"), originals[static_cast<size_t>(round) % 2]);
        edited_file file(path("c"));
        roulette.change(file);
        file.save();
        const int32_t canvas = open();
        if (canvas >= 0) {
            ++opened;
            cv_canvas& record = *canvastable[canvas];
            const auto pixels = static_cast<size_t>(record.geom_orig.width);
            bytes colour(4 * pixels, 3);
            bytes alpha(pixels, 3);
            for (int visit = 0; visit < 3; ++visit) {
                const int32_t y = roulette.one_of(record.geom_orig.y_min, record.geom_orig.y_max);
                cv_getline(canvas, colour.data(), alpha.data(), y, record.geom_orig.x_min, record.geom_orig.x_max);
                cv_storeline(canvas, colour.data(), alpha.data(), y, record.geom_orig.x_min, record.geom_orig.x_max);
            }
            cv_read_subsampled(canvas);
            cv_write_subsampled(canvas);
            if (roulette.one_of(0, 1) == 0) cv_mark_canvas_nosave(canvas);
            EXPECT_EQ(canvas_close(canvas), 0);
        }
        ASSERT_EQ(used_slots(), 0) << "round " << round;
        ASSERT_EQ(open_descriptors(), descriptors) << "round " << round;
        ASSERT_EQ(host().kills(), 0) << "round " << round;
        host().clear();
    }
    unsetenv("CV_NO_CLOSE_SYNC");
    EXPECT_GT(opened, 20);
    EXPECT_LT(opened, 180);
}

}  // namespace
