// No memory for what the other program would overwrite: that is fatal, and nothing is run.
#include <cstdlib>

#include "tests/cache/cache_test.h"
#include "tests/support/real_function.h"

namespace {

constexpr int64_t stowed_bytes = 4'194'304;

bool refuse_memory = false;
int programs = 0;
int refusals = 0;

}  // namespace

extern "C" void* platform_allocate(int64_t wanted)
{
    if (refuse_memory && wanted == stowed_bytes) {
        ++refusals;
        return nullptr;
    }
    static auto* const forward = iocache_test::real<decltype(platform_allocate)>("platform_allocate");
    return forward(wanted);
}

extern "C" int32_t start_another_program(const char* /*name*/)
{
    ++programs;
    return 0;
}

namespace {

using namespace iocache_test;

TEST(stow_buffer, without_memory_for_it_the_host_is_stopped)
{
    const running_library library(mode::in_line);
    std::atomic_ref(cv_disk_full).store(1);
    refuse_memory = true;
    testing::internal::CaptureStdout();
    EXPECT_EQ(canvas_disk_full(), -255);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Malloc problem for stow_buffer");
    EXPECT_EQ(host().kills(), 1);
    EXPECT_EQ(programs, 0);
    EXPECT_EQ(refusals, 1);
    EXPECT_EQ(cv_disk_full, 1);

    refuse_memory = false;
    EXPECT_EQ(canvas_disk_full(), 0);
    refuse_memory = true;
    std::atomic_ref(cv_disk_full).store(1);
    EXPECT_EQ(canvas_disk_full(), 0) << "once made it is kept";
    EXPECT_EQ(programs, 2);
    refuse_memory = false;
}

}  // namespace
