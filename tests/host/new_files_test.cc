// Names for new files: in the right folder, never twice, and null when there can be none.
#include "host/iocache_host.h"

#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

#include <unistd.h>

namespace {

constexpr int32_t mask = 0;
constexpr int32_t picture = 1;

std::string folder_of(const char* name)
{
    return std::filesystem::path{name}.parent_path().string();
}

class new_file : public testing::Test {
protected:
    new_file()
    {
        unsetenv("IOCACHE_NEW_FILE_FOLDER");
        setenv("IOCACHE_CONFIG", "/dev/null", 1);
        setenv("TMPDIR", folder.path().c_str(), 1);
    }

    temporary_folder folder;
};

TEST_F(new_file, has_a_name_that_no_file_has_and_none_had_before)
{
    std::set<std::string> names;
    constexpr int times = 1000;
    for (int i = 0; i < times; ++i) {
        const char* const name = canvas_create_new_filename(i % 2 == 0 ? mask : picture);
        ASSERT_NE(name, nullptr);
        EXPECT_EQ(access(name, F_OK), -1);
        EXPECT_TRUE(names.insert(name).second) << name;
    }
}

TEST_F(new_file, lies_in_the_folder_for_temporary_files)
{
    EXPECT_EQ(folder_of(canvas_create_new_filename(picture)), folder.path());
    unsetenv("TMPDIR");
    EXPECT_EQ(folder_of(canvas_create_new_filename(picture)), "/tmp");
}

TEST_F(new_file, lies_in_the_configured_folder)
{
    const temporary_folder configured;
    ASSERT_EQ(iocache_host_set_option("new_file_folder", configured.path().c_str()), 0);
    EXPECT_EQ(folder_of(canvas_create_new_filename(mask)), configured.path());
}

TEST_F(new_file, has_no_name_in_a_folder_that_is_not_there)
{
    ASSERT_EQ(iocache_host_set_option("new_file_folder", (folder.path() + "/missing").c_str()), 0);
    EXPECT_EQ(canvas_create_new_filename(picture), nullptr);
}

}  // namespace
