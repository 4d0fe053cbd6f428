// A disk that is really full: a small file system in memory, and a program of the user's that makes room on it.
#include <filesystem>
#include <optional>

#include "tests/cache/cache_test.h"
#include "tests/support/small_disk.h"

namespace {

using namespace iocache_test;

constexpr size_t mebibyte = 1'048'576;
constexpr int disk_mebibytes = 5;

class full_disk : public cache_test {
protected:
    void SetUp() override
    {
        std::filesystem::create_directory(path("disk"));
        try {
            disk.emplace(path("disk"), disk_mebibytes);
        } catch (const no_small_disk& problem) {
            GTEST_SKIP() << problem.what();
        }
        start_with_zones(2);
        write_whole_file(disk->file("ballast"), bytes(3 * mebibyte, 1));
        picture = canvas_new(disk->file("picture").c_str(), 1, 0, 0, 2559, 255, 0, 0);
        ASSERT_GE(picture, 0) << host().last_message();
        ASSERT_EQ(cv_mark_canvas_save(picture), 0);
    }
    void TearDown() override
    {
        stop();
        iocache_host_set_option("disk_full_program", nullptr);
    }
    void make_room_with(const std::string& program)
    {
        ASSERT_EQ(iocache_host_set_option("disk_full_program", program.c_str()), 0);
    }
    static uint8_t value_of(int32_t column) { return static_cast<uint8_t>(0x10 + column); }

    std::optional<small_disk> disk;
    int32_t picture = -1;
};

TEST_P(full_disk, requests_go_on_once_the_user_has_made_room)
{
    make_room_with("/bin/rm " + disk->file("ballast"));
    for (int32_t column = 0; column < 10; ++column) write_tile(picture, column, 0, value_of(column));
    EXPECT_FALSE(std::filesystem::exists(disk->file("ballast"))) << "the disk was never full";
    EXPECT_EQ(cv_disk_full, 0);
    for (int32_t column = 0; column < 10; ++column)
        EXPECT_EQ(shown(picture, column), tile_of(picture, value_of(column))) << column;
    ASSERT_EQ(canvas_close(picture), 0);
    const canvas_file stored(disk->file("picture"));
    EXPECT_EQ(stored.dirty(), 0);
    for (int32_t column = 0; column < 10; ++column)
        EXPECT_EQ(stored.tile(column, 0), bytes(327'680, value_of(column))) << column;
}

TEST_P(full_disk, flushing_goes_on_once_the_user_has_made_room)
{
    start({.cache_bytes = 16 * picture_tile_bytes});
    cv_prewrite_allowed = 1;
    picture = canvas_old(disk->file("picture").c_str());
    ASSERT_GE(picture, 0) << host().last_message();
    make_room_with("/bin/rm " + disk->file("ballast"));
    for (int32_t column = 0; column < 10; ++column) write_tile(picture, column, 0, value_of(column));
    EXPECT_TRUE(std::filesystem::exists(disk->file("ballast")));
    EXPECT_EQ(cv_flush_tiles(picture), 0);
    EXPECT_FALSE(std::filesystem::exists(disk->file("ballast")));
    const canvas_file stored(disk->file("picture"));
    for (int32_t column = 0; column < 10; ++column)
        EXPECT_EQ(stored.tile(column, 0), bytes(327'680, value_of(column))) << column;
}

TEST_P(full_disk, request_fails_when_the_user_makes_none)
{
    make_room_with("/bin/false");
    int32_t column = 0;
    while (column < 10 && request_tile(picture, column, 0, true) == 0) {
        std::memset(parg.req[0].buffer, value_of(column), 327'680);
        let_go(parg.req[0].tile);
        ++column;
    }
    ASSERT_LT(column, 10);
    EXPECT_EQ(cv_disk_full, 1);
    EXPECT_EQ(parg.req[0].tile, nullptr);
    EXPECT_EQ(request_tile(picture, column, 0, true), -255) << "until there is room";

    make_room_with("/bin/rm " + disk->file("ballast"));
    for (int32_t i = 0; i < column; ++i)
        EXPECT_EQ(shown(picture, i), tile_of(picture, value_of(i))) << "nothing that was stored is lost: " << i;
}

TEST_P(full_disk, file_cut_off_by_it_opens_again)
{
    make_room_with("/bin/false");
    bytes colour(4 * 2560, 0x5C);
    const bytes alpha(2560, 0xFF);
    int32_t result = 0;
    for (int32_t y = 0; y < 256 && result == 0; ++y)
        result = cv_storeline(picture, colour.data(), alpha.data(), y, 0, 2559);
    EXPECT_EQ(result, -255);
    EXPECT_EQ(canvas_close(picture), 0);
    EXPECT_EQ(canvas_file(disk->file("picture")).dirty(), 1) << "not everything reached the file";
    std::filesystem::remove(disk->file("ballast"));
    std::atomic_ref(cv_disk_full).store(0);
    EXPECT_GE(canvas_old(disk->file("picture").c_str()), 0) << host().last_message();
}

INSTANTIATE_TEST_SUITE_P(, full_disk, both_modes(), mode_name);

}  // namespace
