// How much memory the tiles get.
#include <cstdlib>
#include <string>
#include <vector>

#include <unistd.h>

#include "tests/setup/failing_platform.h"
#include "tests/support/library.h"

using namespace iocache_test;

namespace {

constexpr int64_t mebibyte = 1'048'576;
constexpr int32_t memory_item = 49;
constexpr int32_t unlike_memory = 7;

cv_inventory main_memory(int64_t bytes)
{
    return {3, 1, bytes};
}

class budget : public ::testing::Test {
protected:
    budget()
    {
        prepare(mode::in_line);
        unsetenv("CV_NON_CACHE_MEM");
        unsetenv("CV_MIN_MAIN_MEM");
        the_platform().clear();
    }
    ~budget() override
    {
        the_platform().inventory.reset();
        iocache_host_set_text(memory_item, nullptr);
        Zbuf = nullptr;
    }
    // The budget in MiB with this inventory; all of it became zones.
    static int64_t with(const std::vector<cv_inventory>& inventory)
    {
        the_platform().inventory = inventory;
        cv_master_init();
        cv_master_exit();
        EXPECT_EQ(max_size_tiles % mebibyte, 0);
        EXPECT_EQ(cv_alloc_zones, max_size_tiles / 327'680);
        return max_size_tiles / mebibyte;
    }
    static int64_t with_machine_of(int64_t mebibytes) { return with({main_memory(mebibytes * mebibyte)}); }
};

TEST_F(budget, of_256_mebibytes_is_225)
{
    EXPECT_EQ(with({main_memory(268'435'456)}), 225);
    EXPECT_EQ(total_main_memory, 257);
    EXPECT_EQ(decr_main_memory, 32);
    EXPECT_EQ(max_size_tiles, 235'929'600);
}

TEST_F(budget, counts_whole_mebibytes_and_one_more)
{
    with({main_memory(268'435'455)});
    EXPECT_EQ(total_main_memory, 256);
    with({main_memory(268'435'457)});
    EXPECT_EQ(total_main_memory, 257);
    with({main_memory(0)});
    EXPECT_EQ(total_main_memory, 1);
}

TEST_F(budget, asks_for_main_memory_only)
{
    EXPECT_EQ(
        with({{unlike_memory, 1, 900 * mebibyte}, main_memory(100 * mebibyte), {3, unlike_memory, 800 * mebibyte}}),
        100 + 1 - 32);
    EXPECT_EQ(total_main_memory, 101);
}

TEST_F(budget, takes_the_last_of_several_records)
{
    with({main_memory(500 * mebibyte), main_memory(100 * mebibyte), main_memory(200 * mebibyte)});
    EXPECT_EQ(total_main_memory, 201);
    with({main_memory(500 * mebibyte), main_memory(100 * mebibyte)});
    EXPECT_EQ(total_main_memory, 101);
}

TEST_F(budget, is_the_floor_without_a_record)
{
    EXPECT_EQ(with({}), 20);
    EXPECT_EQ(total_main_memory, 0);
    EXPECT_EQ(with({{unlike_memory, unlike_memory, 900 * mebibyte}}), 20);
    EXPECT_EQ(total_main_memory, 0);  // not that of an earlier start
}

TEST_F(budget, never_counts_more_than_the_machine_has)
{
    the_platform().inventory.reset();
    cv_master_init();
    const int64_t physical = int64_t{sysconf(_SC_PHYS_PAGES)} * sysconf(_SC_PAGESIZE);
    EXPECT_GE(total_main_memory, 1);
    EXPECT_LE(total_main_memory, physical / mebibyte + 1);
    cv_master_exit();
}

TEST_F(budget, walks_the_inventory_once_from_end_to_end)
{
    the_platform().inventory = {main_memory(mebibyte), {unlike_memory, 1, 1}};
    cv_master_init();
    std::vector<std::string> walk;
    for (const std::string& event : the_platform().events())
        if (event.ends_with("inventory")) walk.push_back(event);
    EXPECT_EQ(walk,
              (std::vector<std::string>{"opened inventory", "came to the end of the inventory", "closed inventory"}));
    cv_master_exit();
}

TEST_F(budget, grows_by_five_for_a_host_with_its_large_buffer)
{
    uint8_t buffer = 0;
    Zbuf = &buffer;
    EXPECT_EQ(with_machine_of(256), 230);
    EXPECT_EQ(total_main_memory, 262);
}

TEST_F(budget, leaves_the_host_what_it_is_configured_to_keep)
{
    iocache_host_set_number(memory_item, 100);
    EXPECT_EQ(with_machine_of(256), 157);
    EXPECT_EQ(decr_main_memory, 100);
}

TEST_F(budget, leaves_the_host_what_the_environment_says_instead)
{
    iocache_host_set_number(memory_item, 100);
    setenv("CV_NON_CACHE_MEM", "57", 1);
    EXPECT_EQ(with_machine_of(256), 200);
    EXPECT_EQ(decr_main_memory, 57);
}

TEST_F(budget, takes_text_without_a_number_as_zero)
{
    setenv("CV_NON_CACHE_MEM", "plenty", 1);
    EXPECT_EQ(with_machine_of(256), 257);
    EXPECT_EQ(decr_main_memory, 0);
}

TEST_F(budget, may_exceed_the_machine)
{
    setenv("CV_NON_CACHE_MEM", "-43", 1);
    EXPECT_EQ(with_machine_of(256), 300);
}

TEST_F(budget, that_would_be_negative_is_the_floor)
{
    setenv("CV_NON_CACHE_MEM", "1000", 1);
    EXPECT_EQ(with_machine_of(256), 20);
}

TEST_F(budget, never_falls_below_the_floor)
{
    EXPECT_EQ(with_machine_of(50), 20);  // 19 would be left
    EXPECT_EQ(with_machine_of(51), 20);  // 20
    EXPECT_EQ(with_machine_of(52), 21);
}

TEST_F(budget, has_the_floor_that_the_environment_gives)
{
    setenv("CV_MIN_MAIN_MEM", "40", 1);
    EXPECT_EQ(with_machine_of(70), 40);  // 39 would be left
    EXPECT_EQ(with_machine_of(72), 41);
    setenv("CV_MIN_MAIN_MEM", "2", 1);
    EXPECT_EQ(with_machine_of(34), 3);
    setenv("CV_NON_CACHE_MEM", "1000", 1);
    EXPECT_EQ(with_machine_of(256), 2);
}

TEST_F(budget, may_be_nothing)
{
    setenv("CV_NON_CACHE_MEM", "1000", 1);
    setenv("CV_MIN_MAIN_MEM", "none", 1);
    EXPECT_EQ(with_machine_of(256), 0);
    EXPECT_EQ(cv_alloc_zones, 0);
}

TEST_F(budget, of_a_large_machine_is_counted_in_64_bits)
{
    EXPECT_EQ(with_machine_of(6'143), 6'112);
    EXPECT_EQ(max_size_tiles, int64_t{6'112} * mebibyte);
}

TEST_F(budget, floor_may_exceed_two_gibibytes)
{
    setenv("CV_MIN_MAIN_MEM", "3000", 1);
    EXPECT_EQ(with_machine_of(256), 3'000);
}

}  // namespace
