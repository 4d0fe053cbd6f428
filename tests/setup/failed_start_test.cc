// Every step of making the tile access fails once: code, texts, what was released before the host's killer ran.
#include <cstdarg>
#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <unistd.h>

#include "tests/setup/failing_platform.h"
#include "tests/setup/process_facts.h"
#include "tests/support/library.h"

using namespace iocache_test;
using ::testing::UnorderedElementsAreArray;

namespace {

constexpr int some_error = 28;

struct failing_step {
    const char* name;
    mode in;
    const char* object;
    int32_t error;
    const char* call;                   // as the message names it
    std::vector<std::string> released;  // beside the descriptor
};

std::ostream& operator<<(std::ostream& out, const failing_step& step)
{
    return out << step.name << " " << step.in;
}

std::string step_name(const ::testing::TestParamInfo<failing_step>& step)
{
    return std::string(step.param.name) + (step.param.in == mode::in_line ? "_in_line" : "_process");
}

std::vector<failing_step> failing_steps()
{
    std::vector<failing_step> steps;
    for (const mode in : {mode::in_line, mode::process}) {
        const std::string s = "freed semaphore";
        const std::string one = "freed lock 1";
        const std::string two = "freed lock 2";
        const std::string three = "freed lock 3";
        steps.push_back({"arena", in, "arena", 999002, "usinit", {}});
        steps.push_back({"semaphore", in, "semaphore", 999003, "usnewsema", {}});
        steps.push_back({"first_lock", in, "lock 1", 999004, "usnewlock", {s}});
        steps.push_back({"ask_lock", in, "lock 2", 999005, "usnewlock", {one, s}});
        steps.push_back({"cut_lock", in, "lock 3", 999006, "usnewlock", {one, two, s}});
        steps.push_back({"barrier", in, "barrier", 999007, "new_barrier", {one, two, three, s}});
        if (in == mode::process)
            steps.push_back({"process", in, "process", 999008, "sproc", {"freed barrier", one, two, three, s}});
    }
    return steps;
}

std::string printed;

int print_into_text(const char* format, ...)
{
    char text[300];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    printed += text;
    return 0;
}

class failed_start : public ::testing::TestWithParam<failing_step> {
protected:
    failed_start()
    {
        prepare(GetParam().in);
        the_platform().clear();
        the_platform().locks_made = 0;
        the_platform().failing = GetParam().object;
        the_platform().error = some_error;
        printed.clear();
        iocache_host_on_killer([] {
            host().add_kill();
            the_platform().add(is_open(the_platform().arena_descriptor) ? "killed with the arena open" : "killed");
        });
    }
    ~failed_start() override { the_platform().failing.clear(); }

    std::string expected_text() const
    {
        return std::string("Init tile access : ") + GetParam().call + " failed ( " + std::to_string(some_error) + " )";
    }
};

INSTANTIATE_TEST_SUITE_P(, failed_start, ::testing::ValuesIn(failing_steps()), step_name);

TEST_P(failed_start, of_the_tile_access_is_reported_released_and_kills)
{
    ASSERT_EQ(cv_init_driver(), 0);
    cv_wrt_err = wrt_err;
    cv_killer = killer;
    cv_printf = print_into_text;
    const int64_t threads = running_threads();

    EXPECT_EQ(canvas_init_tile_access(), -256);
    EXPECT_EQ(cv_errno, GetParam().error);
    EXPECT_EQ(host().messages(), std::vector<std::string>{expected_text()});
    EXPECT_EQ(error_m, expected_text());
    EXPECT_EQ(printed, expected_text() + "\n");
    EXPECT_EQ(host().kills(), 1);

    std::vector<std::string> events = the_platform().events();
    std::erase_if(events, [](const std::string& event) { return event.starts_with("made"); });
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.back(), "killed");
    events.pop_back();
    EXPECT_THAT(events, UnorderedElementsAreArray(GetParam().released));
    EXPECT_EQ(running_threads(), threads);

    EXPECT_TRUE(exists(cv_tile_sema_file));  // stays, as hosts expect
    unlink(cv_tile_sema_file);
    MP_free_lock(cnt_lock);
    MP_exit();
}

TEST_P(failed_start, puts_the_hosts_mask_back)
{
    const other_file_mask mask(0027);
    cv_master_init();
    EXPECT_EQ(file_mask(), 0027U);
    cv_master_exit();
}

TEST_P(failed_start, lets_the_host_go_on_and_leave_in_order)
{
    const int64_t descriptors = open_descriptors();
    cv_master_init();
    EXPECT_EQ(cv_errno, GetParam().error);
    EXPECT_EQ(cv_tile_access_switch, 1);  // whatever happened
    const std::string arena_file = cv_tile_sema_file;
    the_platform().clear();
    cv_master_exit();
    EXPECT_TRUE(the_platform().events().empty());  // nothing is freed twice
    EXPECT_FALSE(exists(arena_file));
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_EQ(host().kills(), 1);
}

TEST_P(failed_start, lets_the_host_go_on_and_leave_in_a_hurry)
{
    cv_master_init();
    const std::string arena_file = cv_tile_sema_file;
    the_platform().clear();
    cv_master_exit_quit();
    EXPECT_TRUE(the_platform().events().empty());
    EXPECT_FALSE(exists(arena_file));
}

// Nobody waits for a cache process that is not there; in the other mode the caller needs none.
TEST_P(failed_start, leaves_nobody_waiting_for_a_cache_process)
{
    const int32_t expected = GetParam().in == mode::process ? -255 : 0;
    const temporary_folder folder;
    cv_master_init();
    const int32_t canvas = canvas_new((folder.path() + "/mask").c_str(), 0, 0, 0, 99, 99, 0, 0);
    const std::vector<uint8_t> line(100);
    EXPECT_EQ(cv_storeline(canvas, line.data(), nullptr, 0, 0, 99), expected);
    EXPECT_EQ(cv_start_prewrite(), expected);
    cv_master_exit();
    EXPECT_EQ(host().kills(), 1);
}

TEST_P(failed_start, may_be_followed_by_a_good_one)
{
    cv_master_init();
    cv_master_exit();
    the_platform().failing.clear();
    const temporary_folder folder;
    const running_library library(GetParam().in);
    const int32_t canvas = canvas_new((folder.path() + "/mask").c_str(), 0, 0, 0, 99, 99, 0, 0);
    const std::vector<uint8_t> line(100, 3);
    EXPECT_EQ(cv_storeline(canvas, line.data(), nullptr, 0, 0, 99), 0);
    EXPECT_TRUE(host().messages().empty()) << host().last_message();
}

}  // namespace
