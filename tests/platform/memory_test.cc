// Memory from the system, the arena's file, and free disk space.
#include "iocache/platform/platform.h"

#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <span>

#include <unistd.h>

namespace {

constexpr int64_t gibibyte = int64_t{1} << 30;

// Address space that ThreadSanitizer and AddressSanitizer leave to a program, and more than a small machine has.
constexpr int64_t large_region = 64 * gibibyte;

TEST(region, is_page_aligned_zeroed_and_writable)
{
    constexpr int64_t bytes = 3 * 1024 * 1024 + 5;
    void* const region = platform_map_region(bytes);
    ASSERT_NE(region, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(region) % static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE)), 0U);
    const std::span<uint8_t> all{static_cast<uint8_t*>(region), static_cast<std::size_t>(bytes)};
    EXPECT_TRUE(std::all_of(all.begin(), all.end(), [](uint8_t byte) { return byte == 0; }));
    std::fill(all.begin(), all.end(), uint8_t{0xAB});
    EXPECT_EQ(all.back(), 0xAB);
    platform_unmap_region(region, bytes);
}

TEST(region, may_be_larger_than_what_is_ever_touched)
{
    void* const region = platform_map_region(large_region);
    ASSERT_NE(region, nullptr);
    static_cast<uint8_t*>(region)[large_region - 1] = 1;
    platform_unmap_region(region, large_region);
}

TEST(region, of_no_bytes_is_one_page)
{
    void* const region = platform_map_region(0);
    ASSERT_NE(region, nullptr);
    static_cast<uint8_t*>(region)[sysconf(_SC_PAGESIZE) - 1] = 1;
    platform_unmap_region(region, 0);
}

TEST(region, is_null_when_it_cannot_be)
{
    EXPECT_EQ(platform_map_region(-1), nullptr);
    EXPECT_EQ(platform_map_region(std::numeric_limits<int64_t>::min()), nullptr);
    EXPECT_EQ(platform_map_region(std::numeric_limits<int64_t>::max()), nullptr);
    platform_unmap_region(nullptr, 1);
}

TEST(region, keeps_its_bytes_when_its_memory_is_asked_for)
{
    constexpr int64_t bytes = 3 * 1024 * 1024;
    void* const region = platform_map_region(bytes);
    ASSERT_NE(region, nullptr);
    const std::span<uint8_t> all{static_cast<uint8_t*>(region), static_cast<std::size_t>(bytes)};
    all.front() = 1;
    iocache::platform::ask_for_memory(region, bytes);
    EXPECT_EQ(all.front(), 1);
    EXPECT_TRUE(std::all_of(all.begin() + 1, all.end(), [](uint8_t byte) { return byte == 0; }));
    platform_unmap_region(region, bytes);
    iocache::platform::ask_for_memory(region, bytes);  // as when the region went meanwhile
}

TEST(allocation, is_zeroed_and_freed_with_free)
{
    constexpr std::size_t bytes = 100000;
    const std::unique_ptr<void, decltype(&std::free)> block{platform_allocate(bytes), std::free};
    ASSERT_NE(block, nullptr);
    const std::span<const uint8_t> all{static_cast<const uint8_t*>(block.get()), bytes};
    EXPECT_TRUE(std::all_of(all.begin(), all.end(), [](uint8_t byte) { return byte == 0; }));
}

TEST(allocation, of_no_bytes_has_an_address)
{
    const std::unique_ptr<void, decltype(&std::free)> block{platform_allocate(0), std::free};
    EXPECT_NE(block, nullptr);
}

TEST(allocation, of_less_than_nothing_is_null)
{
    EXPECT_EQ(platform_allocate(-1), nullptr);
}

TEST(arena, belongs_to_a_file_that_can_be_used)
{
    const temporary_folder folder;
    const std::string file = folder.write("arena", "");
    EXPECT_NE(usinit(file.c_str()), nullptr);
}

TEST(arena, is_null_with_errno_without_such_a_file)
{
    const temporary_folder folder;
    errno = 0;
    EXPECT_EQ(usinit((folder.path() + "/missing").c_str()), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(usinit(nullptr), nullptr);
    EXPECT_EQ(errno, EINVAL);
}

TEST(disk_space, is_told_in_blocks)
{
    const temporary_folder folder;
    int64_t block_size = 0;
    int64_t free_blocks = -1;
    ASSERT_EQ(platform_statfs(folder.path().c_str(), &block_size, &free_blocks), 0);
    EXPECT_GT(block_size, 0);
    EXPECT_GE(free_blocks, 0);
}

TEST(disk_space, of_a_missing_path_leaves_the_results_alone)
{
    int64_t block_size = 7;
    int64_t free_blocks = 8;
    errno = 0;
    EXPECT_EQ(platform_statfs("/no/such/path", &block_size, &free_blocks), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(platform_statfs(nullptr, &block_size, &free_blocks), -1);
    EXPECT_EQ(block_size, 7);
    EXPECT_EQ(free_blocks, 8);
}

}  // namespace
