// Memory runs out while the region or one of its books is made.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "iocache/platform/platform.h"
#include "tests/support/library.h"
#include "tests/support/real_function.h"
#include "tests/zones/zone_map.h"

using namespace iocache_test;

namespace {

constexpr int never = -1;

bool region_fails = false;
int books_until_failure = never;  // the first book made is 0
int regions_given_back = 0;       // since the last failure

}  // namespace

extern "C" void* platform_map_region(int64_t bytes)
{
    return region_fails ? nullptr : real<decltype(platform_map_region)>("platform_map_region")(bytes);
}

extern "C" void platform_unmap_region(void* region, int64_t bytes)
{
    ++regions_given_back;
    real<decltype(platform_unmap_region)>("platform_unmap_region")(region, bytes);
}

extern "C" void* platform_allocate(int64_t bytes)
{
    if (books_until_failure != never && books_until_failure-- == 0) {
        regions_given_back = 0;
        return nullptr;
    }
    return real<decltype(platform_allocate)>("platform_allocate")(bytes);
}

namespace {

std::vector<std::string> events;

int print_event(const char* format, ...)
{
    char text[200];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    events.push_back(std::string("printed ") + text);
    return 0;
}

// The library's ways to the host lead into the list of events.
void listen()
{
    events.clear();
    cv_errno = 0;
    cv_wrt_err = [](const char* text) { events.push_back(std::string("told ") + text); };
    cv_printf = print_event;
    cv_killer = [] { events.push_back("killed with " + std::to_string(cv_errno)); };
}

// Memory that is there again after each test.
class exhausted_memory : public ::testing::Test {
protected:
    ~exhausted_memory() override
    {
        region_fails = false;
        books_until_failure = never;
        regions_given_back = 0;
    }
};

void expect_failed_start(int64_t bytes)
{
    listen();
    EXPECT_EQ(cv_alloc_init(bytes), -256);
    EXPECT_EQ(cv_errno, 999012);
    EXPECT_EQ(events,
              (std::vector<std::string>{"told malloc_problem", "printed malloc_problem", "killed with 999012"}));
    EXPECT_EQ(found(picture_bytes), "none");
    EXPECT_EQ(found(mask_bytes), "none");
}

TEST_F(exhausted_memory, for_the_region_is_told_and_kills)
{
    region_fails = true;
    expect_failed_start(3 * picture_bytes);
    EXPECT_EQ(cv_alloc_adress, nullptr);
}

TEST_F(exhausted_memory, for_the_kinds_is_told_and_keeps_what_was_allocated)
{
    books_until_failure = 0;
    expect_failed_start(3 * picture_bytes);
    EXPECT_NE(cv_alloc_adress, nullptr);
    EXPECT_EQ(cv_alloc_code, nullptr);
    EXPECT_NE(cv_alloc_bits, nullptr);
    EXPECT_EQ(regions_given_back, 0);
}

TEST_F(exhausted_memory, for_the_occupancies_is_told_and_keeps_what_was_allocated)
{
    books_until_failure = 1;
    expect_failed_start(3 * picture_bytes);
    EXPECT_NE(cv_alloc_adress, nullptr);
    EXPECT_NE(cv_alloc_code, nullptr);
    EXPECT_EQ(cv_alloc_bits, nullptr);
    EXPECT_EQ(regions_given_back, 0);
}

TEST_F(exhausted_memory, is_what_a_negative_or_boundless_budget_meets)
{
    expect_failed_start(-1);
    expect_failed_start(int64_t{1} << 62);
}

TEST_F(exhausted_memory, may_be_over_at_the_next_start)
{
    books_until_failure = 1;
    expect_failed_start(3 * picture_bytes);
    listen();
    EXPECT_EQ(cv_alloc_init(2 * picture_bytes), 0);
    EXPECT_TRUE(events.empty());
    EXPECT_EQ(drawn_zones(), "..");
}

class start_without_memory : public library_test {};

INSTANTIATE_TEST_SUITE_P(, start_without_memory, both_modes(), mode_name);

// A killer that returns: the start goes on, and every request for a tile fails instead of crashing.
TEST_P(start_without_memory, goes_on_and_refuses_tiles)
{
    prepare(GetParam());
    region_fails = true;
    cv_master_init();
    region_fails = false;
    EXPECT_EQ(host().messages(), std::vector<std::string>{"malloc_problem"});
    EXPECT_EQ(host().kills(), 1);
    EXPECT_EQ(cv_tile_access_switch, 1);
    EXPECT_NE(cv_tile_access_sema, nullptr);

    const int32_t canvas = new_picture("picture", 100, 100);
    std::vector<uint8_t> colour(400);
    std::vector<uint8_t> alpha(100);
    EXPECT_EQ(cv_storeline(canvas, colour.data(), alpha.data(), 0, 0, 99), -255);
    EXPECT_EQ(host().kills(), 2);
    EXPECT_EQ(cv_getline(canvas, colour.data(), alpha.data(), 0, 0, 99), -255);
    cv_master_exit();
}

}  // namespace
