// The hardware inventory has one record: the memory that this process may use.
#include "iocache/platform/control_group.h"
#include "iocache/platform/platform.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

TEST(inventory, has_one_record_for_the_main_memory)
{
    EXPECT_EQ(setinvent(), 0);
    const cv_inventory* const record = getinvent();
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->inv_class, 3);
    EXPECT_EQ(record->inv_type, 1);
    EXPECT_GT(record->inv_state, 0);
    EXPECT_EQ(getinvent(), nullptr);
    endinvent();
}

TEST(inventory, tells_no_more_than_the_machine_and_the_control_group_have)
{
    const int64_t machine = int64_t{sysconf(_SC_PHYS_PAGES)} * sysconf(_SC_PAGESIZE);
    const int64_t group = iocache::platform::control_group_memory_limit("/proc/self", "/sys/fs/cgroup");
    setinvent();
    const cv_inventory* const record = getinvent();
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->inv_state, machine < group ? machine : group);
    endinvent();
}

TEST(inventory, starts_again_with_each_walk)
{
    setinvent();
    EXPECT_NE(getinvent(), nullptr);
    setinvent();
    EXPECT_NE(getinvent(), nullptr);
    endinvent();
    EXPECT_EQ(getinvent(), nullptr);
}

}  // namespace
