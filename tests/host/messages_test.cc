// Messages go to standard error, a fatal error ends the program; a program may see to both itself.
#include "host/iocache_host.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string last_message;
int kills = 0;

TEST(message, is_one_line_on_standard_error)
{
    testing::internal::CaptureStderr();
    wrt_err("Create canvas : malloc problem");
    wrt_err("with a newline of its own\n");
    wrt_err("100 % plain");
    wrt_err(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "iocache: Create canvas : malloc problem\n"
                                                      "iocache: with a newline of its own\n"
                                                      "iocache: 100 % plain\n");
}

TEST(message, goes_to_the_programs_own_function)
{
    iocache_host_on_message([](const char* text) { last_message = text; });
    testing::internal::CaptureStderr();
    wrt_err("first");
    iocache_host_on_message(nullptr);
    wrt_err("second");
    EXPECT_EQ(last_message, "first");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "iocache: second\n");
}

TEST(killer_death_test, ends_the_program_with_its_own_code)
{
    EXPECT_EXIT(killer(), testing::ExitedWithCode(IOCACHE_HOST_KILLED), "iocache: a fatal error ends the program\n");
}

TEST(killer, may_be_the_programs_own_function)
{
    iocache_host_on_killer([] { ++kills; });
    killer();
    killer();
    iocache_host_on_killer(nullptr);
    EXPECT_EQ(kills, 2);
}

}  // namespace
