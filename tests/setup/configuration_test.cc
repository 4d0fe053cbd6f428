// What the host's configuration changes: tile size, largest canvas, and the text that identifies the host.
#include <string>

#include "tests/support/library.h"

using namespace iocache_test;

namespace {

constexpr int32_t product_name = 22;
constexpr int32_t product_release = 23;
constexpr int32_t largest_side = 41;
constexpr int32_t tile_width = 47;
constexpr int32_t tile_height = 48;

// A start with configured items, which are gone again when the test ends.
class configured_start : public library_test {
protected:
    ~configured_start() override
    {
        for (const int32_t item : {product_name, product_release, largest_side, tile_width, tile_height})
            iocache_host_set_text(item, nullptr);
    }
    // The identification with these texts; null is an item that is not configured.
    std::string header_text(const char* name, const char* release)
    {
        iocache_host_set_text(product_name, name);
        iocache_host_set_text(product_release, release);
        start();
        return HeaderPart;
    }
    int32_t pixel_limit(int32_t k)
    {
        iocache_host_set_number(largest_side, k);
        start();
        return cv_max_resolution;
    }
};

INSTANTIATE_TEST_SUITE_P(, configured_start, ::testing::Values(mode::in_line), mode_name);

TEST_P(configured_start, tile_size_is_that_of_the_host)
{
    iocache_host_set_number(tile_width, 128);
    iocache_host_set_number(tile_height, 64);
    start();
    EXPECT_EQ(cv_tilesize_hor, 128);
    EXPECT_EQ(cv_tilesize_vert, 64);
    EXPECT_EQ(tile_offset_alfa, 262'144);  // does not follow
}

TEST_P(configured_start, tile_size_comes_back_when_it_is_configured_no_more)
{
    iocache_host_set_number(tile_width, 128);
    start();
    stop();
    iocache_host_set_text(tile_width, nullptr);
    start();
    EXPECT_EQ(cv_tilesize_hor, 256);
}

TEST_P(configured_start, pixel_limit_is_the_square_of_the_largest_side)
{
    EXPECT_EQ(pixel_limit(1), 1'048'576);
    EXPECT_EQ(pixel_limit(16), 268'435'456);
    EXPECT_EQ(pixel_limit(45), 2'123'366'400);
}

TEST_P(configured_start, pixel_limit_wraps_from_46_on)
{
    EXPECT_EQ(pixel_limit(46), static_cast<int32_t>(int64_t{46} * 1024 * 46 * 1024 - (int64_t{1} << 32)));
    EXPECT_LT(pixel_limit(46), 0);
    EXPECT_EQ(pixel_limit(64), 0);
    EXPECT_EQ(pixel_limit(65), static_cast<int32_t>(int64_t{65} * 1024 * 65 * 1024 - (int64_t{1} << 32)));
}

TEST_P(configured_start, header_text_names_product_and_release)
{
    EXPECT_EQ(header_text("Painter", "4.2"), "Painter 4.2");
}

TEST_P(configured_start, header_text_without_any_configuration_is_made_of_stand_ins)
{
    EXPECT_EQ(header_text(nullptr, nullptr), "??? -1.-1");
}

TEST_P(configured_start, header_text_without_release_says_so)
{
    EXPECT_EQ(header_text("Painter", nullptr), "Painter -1.-1");
}

TEST_P(configured_start, header_text_without_name_keeps_the_release)
{
    EXPECT_EQ(header_text(nullptr, "4.2"), "??? 4.2");
}

TEST_P(configured_start, product_name_of_49_characters_is_kept)
{
    const std::string name(49, 'n');
    EXPECT_EQ(header_text(name.c_str(), "4.2"), name + " 4.2");
}

TEST_P(configured_start, product_name_of_50_characters_is_replaced)
{
    EXPECT_EQ(header_text(std::string(50, 'n').c_str(), "4.2"), "??? 4.2");
}

TEST_P(configured_start, long_release_is_cut_to_what_the_header_holds)
{
    const std::string name(49, 'n');
    EXPECT_EQ(header_text(name.c_str(), std::string(100, 'r').c_str()), name + " " + std::string(13, 'r'));
}

TEST_P(configured_start, percent_signs_are_text)
{
    EXPECT_EQ(header_text("100%s", "%n%d"), "100%s %n%d");
}

TEST_P(configured_start, empty_name_is_a_name)
{
    EXPECT_EQ(header_text("", "4.2"), " 4.2");
}

}  // namespace
