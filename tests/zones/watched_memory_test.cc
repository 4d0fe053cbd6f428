// Under AddressSanitizer the region's memory may be touched in handed-out blocks only: an overrun inside it is found.
#include <array>
#include <cstring>

#include "tests/support/library.h"
#include "tests/zones/zone_map.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define __SANITIZE_ADDRESS__ 1
#endif
#endif

namespace {

using namespace iocache_test;

constexpr const char* found = "use-after-poison";

uint8_t* taken(int32_t bytes)
{
    cv_alloc_curr_size = bytes;
    return cv_alloc_search_place() == 0 ? cv_alloc_malloc() : nullptr;
}

// The compiler must not find out what becomes of it.
void touch(volatile uint8_t* place)
{
    *place = 1;
}

class watched_memory : public ::testing::Test {
protected:
    void SetUp() override
    {
#if !defined(__SANITIZE_ADDRESS__)
        GTEST_SKIP() << "nothing watches memory in this build";
#endif
        GTEST_FLAG_SET(death_test_style, "threadsafe");
    }
};

TEST_F(watched_memory, of_a_block_ends_where_the_block_ends)
{
    draw_zones("...");
    uint8_t* const picture = taken(picture_bytes);
    touch(picture);
    touch(picture + picture_bytes - 1);
    EXPECT_DEATH(touch(picture + picture_bytes), found);

    uint8_t* const mask = taken(mask_bytes);
    touch(mask);
    touch(mask + mask_bytes - 1);
    EXPECT_DEATH(touch(mask + mask_bytes), found) << "the next block of the zone";
    touch(taken(mask_bytes));
    touch(mask + mask_bytes);
    EXPECT_DEATH(touch(mask + int64_t{2} * mask_bytes), found);
}

TEST_F(watched_memory, of_a_block_that_was_given_back_is_out_of_bounds)
{
    draw_zones("..");
    std::array<uint8_t*, 5> masks = {};
    for (uint8_t*& mask : masks) touch(mask = taken(mask_bytes));
    cv_alloc_free(masks[2]);
    EXPECT_DEATH(touch(masks[2]), found);
    for (const size_t other : {0U, 1U, 3U, 4U}) touch(masks[other] + mask_bytes - 1);
    for (const size_t other : {0U, 1U, 3U, 4U}) cv_alloc_free(masks[other]);
    EXPECT_DEATH(touch(masks[0]), found);
    uint8_t* const picture = taken(picture_bytes);
    EXPECT_EQ(picture, masks[0]);
    touch(picture + picture_bytes - 1);
}

// A host that keeps zones for itself, or gives some back, writes the books; they count from the next search on.
TEST_F(watched_memory, follows_what_a_host_writes_into_the_books)
{
    draw_zones("..{x....}");
    cv_alloc_code[1] = picture_kind;
    cv_alloc_bits[1] = 1;
    EXPECT_EQ(taken(picture_bytes), cv_alloc_adress);
    touch(cv_alloc_adress + picture_bytes);
    touch(cv_alloc_adress + int64_t{2} * picture_bytes);
    EXPECT_DEATH(touch(cv_alloc_adress + int64_t{2} * picture_bytes + mask_bytes), found);
    cv_alloc_code[0] = 0;
    cv_alloc_bits[0] = 0;
    EXPECT_EQ(taken(mask_bytes), cv_alloc_adress + int64_t{2} * picture_bytes + mask_bytes);
    EXPECT_DEATH(touch(cv_alloc_adress), found);
}

TEST_F(watched_memory, behind_the_last_whole_zone_is_never_touched)
{
    ASSERT_EQ(cv_alloc_init(picture_bytes + 1000), 0);
    EXPECT_NE(taken(picture_bytes), nullptr);
    EXPECT_DEATH(touch(cv_alloc_adress + picture_bytes), found);
    ASSERT_EQ(cv_alloc_init(int64_t{2} * picture_bytes), 0) << "a second start begins anew";
    EXPECT_DEATH(touch(cv_alloc_adress), found);
}

// The books of a large region are followed as far as its zones come into use.
TEST_F(watched_memory, of_many_zones_is_watched_around_each_that_is_taken)
{
    constexpr int32_t zones = 1000;
    ASSERT_EQ(cv_alloc_init(int64_t{zones} * picture_bytes), 0);
    for (int32_t zone = 0; zone < 200; ++zone) ASSERT_NE(taken(picture_bytes), nullptr);
    EXPECT_DEATH(touch(cv_alloc_adress + int64_t{200} * picture_bytes), found);
    cv_alloc_code[700] = picture_kind;
    cv_alloc_bits[700] = 1;
    ASSERT_NE(taken(picture_bytes), nullptr);
    touch(cv_alloc_adress + int64_t{700} * picture_bytes);
    EXPECT_DEATH(touch(cv_alloc_adress + int64_t{701} * picture_bytes), found);
    EXPECT_DEATH(touch(cv_alloc_adress + int64_t{699} * picture_bytes), found);
}

TEST_F(watched_memory, catches_a_client_that_draws_beyond_its_tile)
{
    const temporary_folder folder;
    const running_library library(mode::in_line);
    const int32_t mask = canvas_new((folder.path() + "/mask").c_str(), 0, 0, 0, 599, 255, 0, 0);
    cv_tile_request& request = parg.req[0];
    request = {};
    request.canvas = mask;
    request.write = 1;
    parg.opcode = 1;
    ASSERT_EQ(cv_tile_access(), 0);
    std::memset(request.buffer, 1, mask_bytes);
    EXPECT_DEATH(std::memset(request.buffer, 1, mask_bytes + 1), found);
    std::atomic_ref(request.tile->locked).store(0, std::memory_order_release);
}

}  // namespace
