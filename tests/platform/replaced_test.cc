// A program's own service stands in for the platform's, also where the library calls it.
#include "iocache/platform/platform.h"

#include <gtest/gtest.h>

namespace {

int calls = 0;

}  // namespace

extern "C" int32_t platform_statfs(const char* /*path*/, int64_t* block_size, int64_t* free_blocks)
{
    ++calls;
    *block_size = 1024;
    *free_blocks = 77;
    return 0;
}

namespace {

TEST(replaced_service, is_the_one_that_the_library_calls)
{
    int32_t block_size = 0;
    EXPECT_EQ(cv_get_disk_free_blocks("/", &block_size), 77);
    EXPECT_EQ(block_size, 1024);
    EXPECT_EQ(calls, 1);
}

}  // namespace
