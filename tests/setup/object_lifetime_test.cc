// The order in which the tile access is made, and the order in which it is taken down.
#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/setup/failing_platform.h"
#include "tests/support/library.h"

using namespace iocache_test;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAreArray;

namespace {

using names = std::vector<std::string>;

class object_lifetime : public ::testing::TestWithParam<mode> {
protected:
    object_lifetime()
    {
        prepare(GetParam());
        the_platform().clear();
        the_platform().locks_made = 0;
        the_platform().entry = nullptr;
    }
    bool has_process() const { return GetParam() == mode::process; }

    // The process has ended before anything it uses is freed; barrier first, locks in any order, semaphore last.
    void expect_taken_down(const names& locks)
    {
        names events = the_platform().events();
        if (has_process()) {
            ASSERT_FALSE(events.empty());
            EXPECT_EQ(events.front(), "ended process");
            events.erase(events.begin());
        }
        ASSERT_EQ(events.size(), locks.size() + 2);
        EXPECT_EQ(events.front(), "freed barrier");
        EXPECT_EQ(events.back(), "freed semaphore");
        EXPECT_THAT(names(events.begin() + 1, events.end() - 1), UnorderedElementsAreArray(locks));
    }
};

INSTANTIATE_TEST_SUITE_P(, object_lifetime, both_modes(), mode_name);

TEST_P(object_lifetime, begins_with_the_arena_and_ends_with_the_process)
{
    cv_master_init();
    names expected{"made arena", "made semaphore", "made lock 1", "made lock 2", "made lock 3", "made barrier"};
    if (has_process()) expected.emplace_back("made process");
    EXPECT_EQ(the_platform().events(), expected);
    EXPECT_EQ(the_platform().objects[cv_tile_access_lock], "lock 1");
    EXPECT_EQ(the_platform().objects[cv_tile_access_ask_lock], "lock 2");
    EXPECT_EQ(the_platform().objects[cv_tile_access_cut_lock], "lock 3");
    EXPECT_EQ(the_platform().objects[cv_tile_access_sema], "semaphore");
    EXPECT_EQ(the_platform().objects[cv_tile_access_barrier], "barrier");
    EXPECT_EQ(the_platform().objects[cv_tile_access_handle], "arena");
    cv_master_exit();
}

TEST_P(object_lifetime, has_a_process_that_shares_everything)
{
    cv_master_init();
    if (has_process()) {
        EXPECT_EQ(the_platform().entry, &cv_tile_access_read);
        EXPECT_EQ(the_platform().share_flags, 0xffffffU);
        EXPECT_EQ(the_platform().argument, nullptr);
    } else {
        EXPECT_EQ(the_platform().entry, nullptr);
    }
    cv_master_exit();
}

TEST_P(object_lifetime, ends_orderly_with_everything_freed)
{
    cv_master_init();
    the_platform().clear();
    cv_master_exit();
    expect_taken_down({"freed lock 1", "freed lock 2", "freed lock 3"});
}

TEST_P(object_lifetime, ends_in_a_hurry_with_the_cut_lock_left)
{
    cv_master_init();
    the_platform().clear();
    cv_master_exit_quit();
    expect_taken_down({"freed lock 1", "freed lock 2"});
}

TEST_P(object_lifetime, second_orderly_end_frees_nothing_again)
{
    cv_master_init();
    cv_kill_tile_access();
    the_platform().clear();
    cv_kill_tile_access();
    EXPECT_TRUE(the_platform().events().empty());
    MP_free_lock(cnt_lock);
    MP_exit();
}

}  // namespace
