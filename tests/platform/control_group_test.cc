// The memory limit of a control group, read from files that a test has written.
#include "iocache/platform/control_group.h"

#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

using iocache::platform::control_group_memory_limit;
using iocache::platform::no_memory_limit;

// A process folder with its two files, and folders in the place of the mounts.
class control_group : public testing::Test {
protected:
    void group_is(const std::string& lines) { folder.write("self/cgroup", lines); }
    void version_2_is_mounted(const std::string& root)
    {
        folder.write("self/mountinfo", "22 1 8:1 / / rw,relatime - ext4 /dev/sda1 rw\n"
                                       "30 23 0:26 " +
                                           root + " " + folder.path() +
                                           "/mount rw,nosuid shared:4 - cgroup2 cgroup2 rw,nsdelegate\n");
    }
    void version_1_is_mounted(const std::string& root, const std::string& controllers)
    {
        folder.write("self/mountinfo", "31 23 0:27 " + root + " " + folder.path() +
                                           "/mount rw,nosuid - cgroup cgroup rw," + controllers + "\n");
    }
    void limit_is(const std::string& file, const std::string& text) { folder.write("mount/" + file, text); }
    [[nodiscard]] int64_t limit() const
    {
        return control_group_memory_limit(folder.path() + "/self", folder.path() + "/usual");
    }

    temporary_folder folder;
};

TEST_F(control_group, has_no_limit_when_nothing_can_be_read)
{
    EXPECT_EQ(limit(), no_memory_limit);
}

TEST_F(control_group, of_version_2_has_its_own_limit)
{
    group_is("0::/app\n");
    version_2_is_mounted("/");
    limit_is("app/memory.max", "1048576\n");
    EXPECT_EQ(limit(), 1048576);
}

TEST_F(control_group, is_bound_by_the_smallest_limit_above_it)
{
    group_is("0::/slice/app/worker\n");
    version_2_is_mounted("/");
    limit_is("slice/memory.max", "3000000\n");
    limit_is("slice/app/memory.max", "9000000\n");
    limit_is("slice/app/worker/memory.max", "max\n");
    EXPECT_EQ(limit(), 3000000);
}

TEST_F(control_group, has_no_limit_when_all_say_max)
{
    group_is("0::/slice/app\n");
    version_2_is_mounted("/");
    limit_is("slice/memory.max", "max\n");
    limit_is("slice/app/memory.max", "max\n");
    EXPECT_EQ(limit(), no_memory_limit);
}

TEST_F(control_group, may_be_the_mounted_one_itself)
{
    group_is("0::/\n");
    version_2_is_mounted("/");
    limit_is("memory.max", "5000000\n");
    EXPECT_EQ(limit(), 5000000);
}

TEST_F(control_group, is_found_below_the_mounted_one)
{
    group_is("0::/container/app\n");
    version_2_is_mounted("/container");
    limit_is("memory.max", "6000000\n");
    limit_is("app/memory.max", "4000000\n");
    EXPECT_EQ(limit(), 4000000);
}

TEST_F(control_group, outside_the_mounted_one_counts_as_that_one)
{
    group_is("0::/../elsewhere\n");
    version_2_is_mounted("/");
    limit_is("memory.max", "7000000\n");
    EXPECT_EQ(limit(), 7000000);
}

TEST_F(control_group, of_version_1_has_the_limit_of_the_memory_hierarchy)
{
    group_is("5:cpu,cpuacct:/other\n4:memory:/app\n0::/\n");
    version_1_is_mounted("/", "memory");
    limit_is("app/memory.limit_in_bytes", "2000000\n");
    EXPECT_EQ(limit(), 2000000);
}

TEST_F(control_group, of_version_1_is_not_looked_for_in_other_hierarchies)
{
    group_is("5:cpu,cpuacct:/app\n4:memory:/app\n");
    version_1_is_mounted("/", "cpu,cpuacct");
    limit_is("app/memory.limit_in_bytes", "2000000\n");
    EXPECT_EQ(limit(), no_memory_limit);
}

TEST_F(control_group, of_version_2_is_found_at_the_usual_place_without_a_mount_table)
{
    group_is("0::/slice/app\n");
    folder.write("usual/slice/memory.max", "3000000\n");
    folder.write("usual/slice/app/memory.max", "max\n");
    EXPECT_EQ(limit(), 3000000);
}

TEST_F(control_group, of_version_1_is_found_at_the_usual_place_without_a_mount_table)
{
    group_is("4:memory:/app\n0::/\n");
    folder.write("usual/memory/memory.limit_in_bytes", "9000000\n");
    folder.write("usual/memory/app/memory.limit_in_bytes", "2000000\n");
    EXPECT_EQ(limit(), 2000000);
}

TEST_F(control_group, at_the_usual_place_may_be_the_topmost)
{
    group_is("0::/\n");
    folder.write("usual/memory.max", "5000000\n");
    EXPECT_EQ(limit(), 5000000);
}

TEST_F(control_group, that_is_not_at_the_usual_place_is_found_in_the_mount_table)
{
    group_is("0::/container/app\n");
    version_2_is_mounted("/container");
    folder.write("usual/memory.max", "1000000\n");
    limit_is("app/memory.max", "4000000\n");
    EXPECT_EQ(limit(), 4000000);
}

TEST_F(control_group, outside_what_is_mounted_is_not_looked_for_at_the_usual_place)
{
    group_is("0::/../elsewhere\n");
    folder.write("elsewhere/memory.max", "1000000\n");
    folder.write("usual/memory.max", "2000000\n");
    version_2_is_mounted("/");
    limit_is("memory.max", "7000000\n");
    EXPECT_EQ(limit(), 7000000);
}

TEST_F(control_group, of_version_1_leaves_no_limit_to_version_2)
{
    group_is("0::/app\n4:memory:/app\n");
    folder.write("usual/app/memory.max", "1000000\n");
    folder.write("usual/memory/app/memory.limit_in_bytes", "2000000\n");
    EXPECT_EQ(limit(), 2000000);
}

TEST_F(control_group, name_may_hold_colons_and_its_mount_blanks)
{
    std::filesystem::create_directories(folder.path() + "/a mount");
    group_is("0::/a:b\n");
    folder.write("self/mountinfo", "30 23 0:26 / " + folder.path() + "/a\\040mount rw - cgroup2 cgroup2 rw\n");
    folder.write("a mount/a:b/memory.max", "8000000\n");
    EXPECT_EQ(limit(), 8000000);
}

TEST_F(control_group, with_garbled_files_has_no_limit)
{
    group_is("garbage\n::\n0:\n0::/app\n");
    folder.write("self/mountinfo", "garbage\n- - - -\n1 2 3 4 5 6 - cgroup2\n");
    EXPECT_EQ(limit(), no_memory_limit);
    version_2_is_mounted("/");
    limit_is("app/memory.max", "ninety\n");
    limit_is("memory.max", "99999999999999999999999999\n");
    EXPECT_EQ(limit(), no_memory_limit);
}

TEST_F(control_group, is_found_past_lines_of_the_mount_table_that_are_cut_short)
{
    group_is("no colon at all\n1:one colon only\n0::/app\n");
    const std::string mount_folder = folder.path() + "/mount";
    folder.write("self/mountinfo", "30 - cgroup2 cgroup2 rw\n"
                                   "30 23 0:26 / " +
                                       folder.path() +
                                       "/short rw - cgroup2 \n"
                                       "30 23 0:26 / " +
                                       folder.path() +
                                       "/other rw - tmpfs - cgroup2 rw\n"
                                       "30 23 0:26 / " +
                                       mount_folder + " rw - cgroup2 cgroup2 rw\n");
    folder.write("short/app/memory.max", "1\n");
    folder.write("other/app/memory.max", "2\n");
    limit_is("app/memory.max", "1048576\n");
    EXPECT_EQ(limit(), 1048576);
}

TEST_F(control_group, mount_may_have_backslashes_that_mean_themselves)
{
    group_is("0::/app\n");
    folder.write("self/mountinfo", "30 23 0:26 / " + folder.path() + "/a\\9\\040b\\ rw - cgroup2 cgroup2 rw\n");
    folder.write("a\\9 b\\/app/memory.max", "1048576\n");
    EXPECT_EQ(limit(), 1048576);
}

TEST_F(control_group, limit_of_nothing_is_none)
{
    group_is("0::/app\n");
    version_2_is_mounted("/");
    limit_is("app/memory.max", "0\n");
    EXPECT_EQ(limit(), no_memory_limit);
}

}  // namespace
