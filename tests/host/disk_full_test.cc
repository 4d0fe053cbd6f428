// The program that makes room on a full disk: run and waited for, or its absence answered.
#include "host/iocache_host.h"

#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <sys/stat.h>

namespace {

std::string last_message;

std::string contents_of(const std::string& path)
{
    std::ifstream file{path};
    return {std::istreambuf_iterator<char>{file}, {}};
}

class disk_full : public testing::Test {
protected:
    disk_full()
    {
        setenv("IOCACHE_CONFIG", "/dev/null", 1);
        unsetenv("IOCACHE_DISK_FULL_PROGRAM");
        iocache_host_on_message([](const char* text) { last_message = text; });
    }
    // A shell script, and the command that runs it.
    std::string script(const std::string& lines) const
    {
        std::string path = folder.write("make_room", "#!/bin/sh\n" + lines);
        chmod(path.c_str(), S_IRWXU);
        return path;
    }

    temporary_folder folder;
};

TEST_F(disk_full, without_a_program_is_for_the_library_to_give_up)
{
    EXPECT_EQ(start_another_program(""), -1);
    EXPECT_EQ(start_another_program(nullptr), -1);
    iocache_host_set_option("disk_full_program", "   ");
    EXPECT_EQ(start_another_program(""), -1);
}

TEST_F(disk_full, runs_the_program_and_waits_for_it)
{
    const std::string trace = folder.path() + "/trace";
    iocache_host_set_option("disk_full_program", script("sleep 0.2; echo done > " + trace + "\n").c_str());
    EXPECT_EQ(start_another_program(""), 0);
    EXPECT_EQ(contents_of(trace), "done\n");
}

TEST_F(disk_full, program_may_come_from_the_environment)
{
    const std::string trace = folder.path() + "/trace";
    setenv("IOCACHE_DISK_FULL_PROGRAM", script("echo here > " + trace + "\n").c_str(), 1);
    EXPECT_EQ(start_another_program(""), 0);
    EXPECT_EQ(contents_of(trace), "here\n");
}

TEST_F(disk_full, program_gets_its_arguments_without_a_shell)
{
    const std::string trace = folder.path() + "/trace";
    const std::string command = script("for word; do echo \"[$word]\"; done > " + trace + "\n");
    iocache_host_set_option("disk_full_program", (command + "  one $HOME; touch '" + folder.path() + "/x").c_str());
    EXPECT_EQ(start_another_program(""), 0);
    EXPECT_EQ(contents_of(trace), "[one]\n[$HOME;]\n[touch]\n['" + folder.path() + "/x]\n");
    EXPECT_FALSE(std::filesystem::exists(folder.path() + "/x"));
}

TEST_F(disk_full, program_that_fails_makes_the_library_give_up)
{
    iocache_host_set_option("disk_full_program", script("exit 3\n").c_str());
    EXPECT_EQ(start_another_program(""), -1);
    iocache_host_set_option("disk_full_program", script("kill -9 $$\n").c_str());
    EXPECT_EQ(start_another_program(""), -1);
}

TEST_F(disk_full, program_that_cannot_be_run_is_reported)
{
    const std::string missing = folder.path() + "/missing";
    iocache_host_set_option("disk_full_program", missing.c_str());
    EXPECT_EQ(start_another_program(""), -1);
    EXPECT_EQ(last_message, "Other program : cannot run " + missing + " : No such file or directory");
}

TEST_F(disk_full, program_may_be_named_by_the_caller)
{
    const std::string trace = folder.path() + "/trace";
    EXPECT_EQ(start_another_program(script("echo named > " + trace + "\n").c_str()), 0);
    EXPECT_EQ(contents_of(trace), "named\n");
}

}  // namespace
