// A new file, byte by byte, and the places of the tiles that come to it later.
#include <ctime>

#include <sched.h>
#include <unistd.h>

#include "tests/canvas/expected_file.h"

using namespace iocache_test;

namespace {

// Month, day, hh:mm and year of this moment.
std::string date_now()
{
    const std::time_t now = std::time(nullptr);
    char text[32] = "";
    std::strftime(text, sizeof text, "%b %d %H:%M %Y", std::localtime(&now));
    std::string date = text;
    if (date[4] == '0') date.erase(4, 1);
    return date;
}

std::string machine_name()
{
    char name[32] = "";
    gethostname(name, sizeof name);
    return {name, strnlen(name, sizeof name)};
}

// Where they first differ.
std::string difference(const bytes& found, const bytes& expected)
{
    if (found.size() != expected.size()) {
        std::string text = "size ";
        return text.append(std::to_string(found.size())).append(" instead of ") + std::to_string(expected.size());
    }
    const auto place = std::ranges::mismatch(found, expected);
    if (place.in1 == found.end()) return "none";
    std::string text = "byte ";
    text.append(std::to_string(place.in1 - found.begin())).append(" is ").append(std::to_string(*place.in1));
    return text.append(" instead of ") + std::to_string(*place.in2);
}

class new_file : public canvas_test {
protected:
    void SetUp() override
    {
        start();
        setenv("USER", "somebody", 1);
    }
    void TearDown() override { std::ranges::fill(HeaderPart, '\0'); }
    // Creates the file and compares all of it. A minute may pass between the two looks at the clock.
    void expect_as_described(const shape& s, surroundings around = {})
    {
        cv_tilesize_hor = around.tile_width;
        cv_tilesize_vert = around.tile_height;
        cv_iconsize_hor = around.icon_width;
        cv_iconsize_vert = around.icon_height;
        cv_max_lres_hor = around.frame_width;
        cv_max_lres_vert = around.frame_height;
        around.header_part = {HeaderPart, strnlen(HeaderPart, sizeof HeaderPart)};
        around.host_name = machine_name();
        if (around.user.empty()) around.user = "somebody";
        std::fill_n(Rbuf, 2'000'000, uint8_t{0x77});  // nothing of it may come into the file
        std::ranges::fill(ink_color_def, uint8_t{0x77});
        std::ranges::fill(tqcms_proc, uint8_t{0x77});

        around.date = date_now();
        const int32_t canvas = create("new", s);
        ASSERT_GE(canvas, 0) << host().last_message();
        const bytes found = read_whole_file(path("new"));
        const std::string first = difference(found, expected_file(s, around).contents());
        around.date = date_now();
        const std::string second = difference(found, expected_file(s, around).contents());
        EXPECT_TRUE(first == "none" || second == "none") << first << ", " << second;
        EXPECT_EQ(host().messages(), messages{});
        canvas_close(canvas);
    }
    bytes header_of_new_file(const shape& s = small_mask)
    {
        EXPECT_GE(create("new", s), 0);
        bytes file = read_whole_file(path("new"));
        file.resize(4096);
        return file;
    }
};
INSTANTIATE_TEST_SUITE_P(, new_file, both_modes(), mode_name);

TEST_P(new_file, of_a_small_picture_is_as_described)
{
    expect_as_described(small_picture);
}

TEST_P(new_file, of_a_small_mask_is_as_described)
{
    expect_as_described(small_mask);
}

TEST_P(new_file, with_negative_bounds_and_offsets_is_as_described)
{
    expect_as_described({1, -700, -30, 299, 99, 700, 30});
    expect_as_described({0, -32'768, -3, -32'000, 32, 5, 1000});
}

TEST_P(new_file, of_one_pixel_is_as_described)
{
    expect_as_described({1, 0, 0, 0, 0, 0, 0});
    expect_as_described({0, 77, 88, 77, 88, 0, 0});
}

// The reduced image is empty whatever the shared buffer held, its alpha plane too.
TEST_P(new_file, of_an_image_beyond_the_frame_has_an_empty_reduced_image)
{
    expect_as_described({1, 0, 0, 1024, 99, 0, 0});
    expect_as_described({0, 0, 0, 299, 4999, 0, 0});
}

TEST_P(new_file, of_an_image_that_fills_the_frame_has_no_reduced_image)
{
    expect_as_described({0, 0, 0, 1023, 1023, 0, 0});
    expect_as_described({1, -1, -1, 1022, 1022, 1, 1});
}

TEST_P(new_file, follows_configured_tiles_icon_and_frame)
{
    const surroundings around{.tile_width = 128,
                              .tile_height = 64,
                              .icon_width = 33,
                              .icon_height = 7,
                              .frame_width = 200,
                              .frame_height = 100};
    expect_as_described({1, 0, 0, 499, 399, 0, 0}, around);
    expect_as_described({0, 0, 0, 499, 399, 127, 63}, around);
}

TEST_P(new_file, with_more_than_a_block_of_table_entries_is_as_described)
{
    expect_as_described({0, 0, 0, 255 * 256, 256, 0, 0});
}

TEST_P(new_file, of_a_full_frame_picture_has_its_known_offsets)
{
    EXPECT_EQ(create("p", {1, 0, 0, 1023, 1023, 0, 0}), 0);
    const bytes file = read_whole_file(path("p"));
    EXPECT_EQ(int32_at(file, 0x354), 40'448);   // icon
    EXPECT_EQ(int32_at(file, 0x680), 44'544);   // ink
    EXPECT_EQ(int32_at(file, 0x678), 50'688);   // colour processing
    EXPECT_EQ(int32_at(file, 0x344), 204'288);  // reduced image
    EXPECT_EQ(int32_at(file, 0x358), 0);
    EXPECT_EQ(int32_at(file, 0x348), 204'288);  // tile table
    EXPECT_EQ(int32_at(file, 0x35C), 512);
    EXPECT_EQ(int32_at(file, 0x34C), 204'800);  // tiles
    EXPECT_EQ(int32_at(file, 0x360), 327'680);
    EXPECT_EQ(file.size(), 204'800U);
}

TEST_P(new_file, of_a_mask_has_no_room_for_the_opaque_blocks)
{
    const bytes header = header_of_new_file();
    for (const size_t field : {0x680U, 0x678U, 0x344U}) EXPECT_EQ(int32_at(header, field), 4096 + 10'240);
    EXPECT_EQ(int32_at(header, 0x684), 0);
    EXPECT_EQ(int32_at(header, 0x67C), 0);
}

// The format has 16 bits for a bound and the writer makes no check, as hosts expect.
TEST_P(new_file, keeps_sixteen_bits_of_a_bound)
{
    const bytes header = header_of_new_file({0, 40'000, -40'000, 40'009, -39'991, 0, 0});
    EXPECT_EQ(int16_at(header, 0x000), 40'000 - 65'536);
    EXPECT_EQ(int16_at(header, 0x002), 40'009 - 65'536);
    EXPECT_EQ(int16_at(header, 0x004), -40'000 + 65'536);
    EXPECT_EQ(int16_at(header, 0x006), -39'991 + 65'536);
    EXPECT_EQ(int32_at(header, 0x374), 10);
}

TEST_P(new_file, carries_the_hosts_text_to_its_last_byte)
{
    std::ranges::fill(HeaderPart, 'h');
    EXPECT_EQ(text_at(header_of_new_file(), 0x1A4, 64), std::string(64, 'h'));
}

TEST_P(new_file, has_no_user_when_none_is_known)
{
    unsetenv("USER");
    const bytes header = header_of_new_file();
    EXPECT_EQ(bytes(header.begin() + 0x238, header.begin() + 0x258), bytes(32));
    EXPECT_EQ(bytes(header.begin() + 0x204, header.begin() + 0x224), bytes(32));
}

TEST_P(new_file, has_a_user_up_to_the_fields_end)
{
    for (const size_t length : {31U, 32U, 33U, 51U, 52U, 500U, 8'000U}) {
        const std::string user(length, 'u');
        setenv("USER", user.c_str(), 1);
        const std::string before = date_now();
        const int32_t canvas = create("new", small_mask);
        ASSERT_GE(canvas, 0);
        const bytes file = read_whole_file(path("new"));
        const std::string field = user.substr(0, 32);
        EXPECT_EQ(text_at(file, 0x238, 32), field);
        EXPECT_EQ(text_at(file, 0x204, 32), field);
        const std::string date = text_at(file, 0x258, 20);  // written last, over what ran into it
        EXPECT_TRUE(date == before || date == date_now()) << date;
        EXPECT_EQ(text_at(file, 0x224, 20), date);
        EXPECT_EQ(text_at(file, 0x26C, 32), "vexaaspect");
        canvas_close(canvas);
    }
}

TEST_P(new_file, cuts_a_long_name_of_the_machine)
{
    const std::string name(40, 'n');
    if (unshare(CLONE_NEWUTS) != 0 || sethostname(name.c_str(), name.size()) != 0)
        GTEST_SKIP() << "the machine's name cannot be changed for this process alone";
    const bytes header = header_of_new_file();
    EXPECT_EQ(text_at(header, 0x1E4, 32), name.substr(0, 32));
    EXPECT_EQ(text_at(header, 0x204, 32), "somebody");
}

TEST_P(new_file, gets_no_header_for_an_unknown_kind)
{
    cv_canvas& record = *canvastable[create("new", small_mask)];
    for (const int32_t kind : {2, -1}) {
        record.kind = kind;
        EXPECT_EQ(cv_create_header(&record), -255);
    }
    record.kind = 1;
    EXPECT_EQ(cv_create_header(&record), 0);
    EXPECT_EQ(record.header->image_kind, 3);
    record.kind = 0;
    EXPECT_EQ(cv_create_header(&record), 0);
    EXPECT_EQ(record.header->image_kind, 0);
}

}  // namespace
