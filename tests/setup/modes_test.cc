// When requests get a process of their own.
#include <cstdlib>
#include <ostream>
#include <string>

#include "tests/setup/own_host.h"
#include "tests/setup/process_facts.h"
#include "tests/support/library.h"

using namespace iocache_test;

namespace {

struct mode_choice {
    const char* name;
    int32_t workers;
    const char* wish;  // null: the environment does not ask
    mode expected;
};

std::ostream& operator<<(std::ostream& out, const mode_choice& choice)
{
    return out << choice.name;
}

std::string choice_name(const ::testing::TestParamInfo<mode_choice>& choice)
{
    return choice.param.name;
}

class chosen_mode : public ::testing::TestWithParam<mode_choice> {
protected:
    chosen_mode()
    {
        prepare(GetParam().expected);
        the_host() = own_host{};
        the_host().workers = GetParam().workers;
        unsetenv("CV_CACHE_PROCESS");
        if (GetParam().wish != nullptr) setenv("CV_CACHE_PROCESS", GetParam().wish, 1);
    }
};

INSTANTIATE_TEST_SUITE_P(, chosen_mode,
                         ::testing::Values(mode_choice{"one_worker", 1, nullptr, mode::in_line},
                                           mode_choice{"no_worker", 0, nullptr, mode::in_line},
                                           mode_choice{"two_workers", 2, nullptr, mode::process},
                                           mode_choice{"eight_workers", 8, nullptr, mode::process},
                                           mode_choice{"one_worker_with_a_wish", 1, "1", mode::process},
                                           mode_choice{"one_worker_with_an_empty_wish", 1, "", mode::process},
                                           mode_choice{"one_worker_with_a_wish_of_zero", 1, "0", mode::process},
                                           mode_choice{"two_workers_with_a_wish", 2, "1", mode::process}),
                         choice_name);

TEST_P(chosen_mode, sets_the_three_flags)
{
    canvas_init();
    const int32_t expected = GetParam().expected == mode::in_line ? 1 : 0;
    EXPECT_EQ(cv_access_process, expected);
    EXPECT_EQ(cv_prefetch_allowed, expected);
    EXPECT_EQ(cv_prewrite_allowed, expected);
    cv_kill_tile_access();
}

TEST_P(chosen_mode, has_a_cache_process_or_none)
{
    const int64_t threads = running_threads();
    EXPECT_EQ(canvas_init_tile_access(), 0);
    EXPECT_EQ(running_threads() - threads, GetParam().expected == mode::in_line ? 0 : 1);
    cv_master_exit_quit();
    EXPECT_EQ(running_threads(), threads);
}

}  // namespace
