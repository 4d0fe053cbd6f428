// How many workers the host is asked for, and what becomes of them.
#include <cstdlib>
#include <string>

#include "tests/setup/own_host.h"
#include "tests/support/library.h"

using namespace iocache_test;

namespace {

constexpr int32_t worker_item = 29;

class workers : public ::testing::Test {
protected:
    workers()
    {
        the_host() = own_host{};
        host().clear();
        iocache_host_on_message([](const char* text) { host().add_message(text); });
        iocache_host_on_killer([] { host().add_kill(); });
        for (const char* name : {"TQ_NUMPROC", "CV_CACHE_PROCESS", "CV_NON_CACHE_MEM", "TQ_CRE_LOG", "TQ_CRE_LOGS"})
            unsetenv(name);
        setenv("CV_MIN_MAIN_MEM", "1", 1);
        setenv("CV_NON_CACHE_MEM", "100000000", 1);
        cnt_lock = nullptr;
        nr_procs = -7;
        for (int32_t& argument : proc_args) argument = -7;
    }
    // What the host is asked for with so many configured and this wish in the environment.
    static int32_t asked_with(int32_t configured, const char* wish)
    {
        the_host() = own_host{};
        the_host().numbers[worker_item] = configured;
        setenv("TQ_NUMPROC", wish, 1);
        EXPECT_EQ(cv_init_driver(), 0);
        EXPECT_EQ(the_host().events.at(0), "set workers " + std::to_string(nr_procs));
        return nr_procs;
    }
};

TEST_F(workers, are_as_many_as_configured)
{
    the_host().numbers[worker_item] = 5;
    EXPECT_EQ(cv_init_driver(), 0);
    EXPECT_EQ(nr_procs, 5);
    EXPECT_EQ(the_host().events, (std::vector<std::string>{"set workers 5", "start workers", "define lock"}));
}

TEST_F(workers, are_as_many_as_processors_without_configuration)
{
    the_host().processors = 6;
    EXPECT_EQ(cv_init_driver(), 0);
    EXPECT_EQ(nr_procs, 6);
    EXPECT_EQ(the_host().events.at(0), "set workers 6");
}

TEST_F(workers, are_lowered_by_the_environment)
{
    EXPECT_EQ(asked_with(4, "3"), 3);
    EXPECT_EQ(asked_with(4, " 2"), 2);
    EXPECT_EQ(asked_with(4, "1 and more"), 1);
    EXPECT_EQ(asked_with(4, "0"), 0);
    EXPECT_EQ(asked_with(4, "-3"), -3);
}

TEST_F(workers, are_lowered_by_the_environment_also_without_configuration)
{
    the_host().processors = 6;
    setenv("TQ_NUMPROC", "2", 1);
    EXPECT_EQ(cv_init_driver(), 0);
    EXPECT_EQ(nr_procs, 2);
}

TEST_F(workers, are_never_raised_by_the_environment)
{
    EXPECT_EQ(asked_with(4, "4"), 4);
    EXPECT_EQ(asked_with(4, "5"), 4);
    EXPECT_EQ(asked_with(4, "1000"), 4);
}

TEST_F(workers, stay_as_they_are_when_the_environment_has_no_number)
{
    EXPECT_EQ(asked_with(4, ""), 4);
    EXPECT_EQ(asked_with(4, "many"), 4);
    EXPECT_EQ(asked_with(4, "x2"), 4);
}

TEST_F(workers, are_those_that_the_host_grants)
{
    the_host().numbers[worker_item] = 5;
    the_host().granted = 2;
    EXPECT_EQ(cv_init_driver(), 0);
    EXPECT_EQ(nr_procs, 2);
}

TEST_F(workers, get_their_own_numbers_all_eight_of_them)
{
    the_host().numbers[worker_item] = 1;
    EXPECT_EQ(cv_init_driver(), 0);
    for (int32_t i = 0; i < 8; ++i) EXPECT_EQ(proc_args[i], i);
}

TEST_F(workers, share_the_lock_that_the_host_defines)
{
    EXPECT_EQ(cv_init_driver(), 0);
    EXPECT_EQ(the_host().lock_defined_at, &cnt_lock);
    EXPECT_NE(cnt_lock, nullptr);
}

TEST_F(workers, that_cannot_be_started_end_the_set_up_without_a_message)
{
    the_host().numbers[worker_item] = 2;
    the_host().init_result = -1;
    EXPECT_EQ(cv_init_driver(), -1);
    EXPECT_EQ(nr_procs, 2);
    EXPECT_EQ(the_host().events, (std::vector<std::string>{"set workers 2", "start workers"}));
    EXPECT_EQ(cnt_lock, nullptr);
    for (const int32_t argument : proc_args) EXPECT_EQ(argument, -7);
    EXPECT_TRUE(host().messages().empty());
    EXPECT_EQ(host().kills(), 0);
}

TEST_F(workers, another_result_than_minus_one_is_no_failure)
{
    the_host().init_result = 3;
    EXPECT_EQ(cv_init_driver(), 0);
    EXPECT_EQ(the_host().events.back(), "define lock");
}

TEST_F(workers, that_cannot_be_started_do_not_keep_the_library_from_starting)
{
    the_host().init_result = -1;
    cv_master_init();
    EXPECT_EQ(cv_tile_access_switch, 1);
    EXPECT_NE(cv_tile_access_sema, nullptr);
    cv_master_exit();
    EXPECT_EQ(the_host().events.back(), "end workers");
}

TEST_F(workers, end_after_tile_access_and_lock)
{
    cv_master_init();
    the_host().events.clear();
    cv_master_exit();
    EXPECT_EQ(the_host().events, (std::vector<std::string>{"free lock", "end workers"}));
    EXPECT_EQ(the_host().lock_freed, cnt_lock);
}

TEST_F(workers, end_after_tile_access_and_lock_also_in_a_hurry)
{
    cv_master_init();
    the_host().events.clear();
    cv_master_exit_quit();
    EXPECT_EQ(the_host().events, (std::vector<std::string>{"free lock", "end workers"}));
    EXPECT_EQ(the_host().lock_freed, cnt_lock);
}

TEST_F(workers, stay_when_only_the_tile_access_ends)
{
    cv_master_init();
    the_host().events.clear();
    cv_kill_tile_access();
    EXPECT_TRUE(the_host().events.empty());
}

}  // namespace
