// Configuration items: by number and by name, from the program, the environment and a file, in this order.
#include "host/iocache_host.h"

#include "tests/support/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int32_t product_name = 22;
constexpr int32_t workers = 29;
constexpr int32_t tile_width = 47;
constexpr int32_t tile_height = 48;

std::vector<std::string> messages;

// Nothing but what a test sets up: no variables, no file of the user who runs the tests.
class configuration : public testing::Test {
protected:
    configuration()
    {
        for (const char* const name :
             {"IOCACHE_CONFIG", "IOCACHE_ITEM_47", "IOCACHE_TILE_WIDTH", "IOCACHE_ITEM_22", "IOCACHE_WORKERS"}) {
            unsetenv(name);
        }
        setenv("HOME", folder.path().c_str(), 1);
        setenv("XDG_CONFIG_HOME", (folder.path() + "/xdg").c_str(), 1);
        messages.clear();
        iocache_host_on_message([](const char* text) { messages.emplace_back(text); });
    }

    static std::optional<int32_t> number(int32_t item)
    {
        int32_t value = 0;
        return config_get(item, nullptr, &value) == 0 ? std::optional{value} : std::nullopt;
    }
    static std::optional<std::string> text(int32_t item)
    {
        const char* value = nullptr;
        return config_get(item, &value, nullptr) == 0 ? std::optional<std::string>{value} : std::nullopt;
    }
    void file_holds(const std::string& lines) { folder.write("xdg/iocache/config", lines); }

    temporary_folder folder;
};

TEST_F(configuration, is_empty_at_first)
{
    const char* value = "as before";
    int32_t also = 5;
    EXPECT_EQ(config_get(tile_width, &value, &also), -1);
    EXPECT_STREQ(value, "as before");
    EXPECT_EQ(also, 5);
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(configuration, comes_from_the_users_file)
{
    file_holds("# a comment\n\n  tile_width =  128 \nitem.48=64\nproduct_name = Painter of things\nitem.1234 = -7\n");
    EXPECT_EQ(number(tile_width), 128);
    EXPECT_EQ(number(tile_height), 64);
    EXPECT_EQ(text(product_name), "Painter of things");
    EXPECT_EQ(number(1234), -7);
    EXPECT_EQ(text(1234), "-7");
    EXPECT_THAT(messages, IsEmpty());
}

TEST_F(configuration, file_is_below_home_without_a_folder_for_configuration)
{
    unsetenv("XDG_CONFIG_HOME");
    folder.write(".config/iocache/config", "tile_width = 32\n");
    EXPECT_EQ(number(tile_width), 32);
}

TEST_F(configuration, file_may_be_named_by_the_environment)
{
    file_holds("tile_width = 128\n");
    setenv("IOCACHE_CONFIG", folder.write("mine", "tile_width = 512\n").c_str(), 1);
    EXPECT_EQ(number(tile_width), 512);
}

TEST_F(configuration, file_that_the_environment_names_should_be_there)
{
    setenv("IOCACHE_CONFIG", (folder.path() + "/missing").c_str(), 1);
    EXPECT_EQ(number(tile_width), std::nullopt);
    EXPECT_EQ(number(tile_width), std::nullopt);
    EXPECT_THAT(messages, ElementsAre(HasSubstr("cannot read " + folder.path() + "/missing")));
}

TEST_F(configuration, environment_goes_before_the_file)
{
    file_holds("tile_width = 128\ntile_height = 128\n");
    setenv("IOCACHE_TILE_WIDTH", "64", 1);
    EXPECT_EQ(number(tile_width), 64);
    setenv("IOCACHE_ITEM_47", "32", 1);
    EXPECT_EQ(number(tile_width), 32);
    EXPECT_EQ(number(tile_height), 128);
}

TEST_F(configuration, program_goes_before_everything)
{
    file_holds("tile_width = 128\n");
    setenv("IOCACHE_ITEM_47", "32", 1);
    iocache_host_set_number(tile_width, 16);
    EXPECT_EQ(number(tile_width), 16);
    EXPECT_EQ(text(tile_width), "16");
    iocache_host_set_text(tile_width, nullptr);
    EXPECT_EQ(number(tile_width), 32);
}

TEST_F(configuration, program_may_use_names)
{
    EXPECT_EQ(iocache_host_set_option("tile_width", "48"), 0);
    EXPECT_EQ(number(tile_width), 48);
    EXPECT_EQ(iocache_host_set_option("tile_width", nullptr), 0);
    EXPECT_EQ(number(tile_width), std::nullopt);
    EXPECT_EQ(iocache_host_set_option("tile_widht", "48"), -1);
    EXPECT_EQ(iocache_host_set_option(nullptr, "48"), -1);
}

TEST_F(configuration, of_a_number_must_be_a_number)
{
    for (const char* const wrong : {"many", "", "12 pixels", "1e3", "99999999999", "0x10"}) {
        iocache_host_set_text(tile_width, wrong);
        EXPECT_EQ(number(tile_width), std::nullopt) << wrong;
    }
    iocache_host_set_text(workers, "-3");
    EXPECT_EQ(number(workers), -3);
    // A text may be anything.
    iocache_host_set_text(product_name, "12 monkeys");
    EXPECT_EQ(number(product_name), 0);
}

TEST_F(configuration, lines_that_are_not_understood_are_reported_and_skipped)
{
    file_holds("tile_width\nsize = 3\nitem.x = 4\nitem.047 = 96\n= 5\ntile_height = 80\n");
    EXPECT_EQ(number(tile_width), 96);
    EXPECT_EQ(number(tile_height), 80);
    EXPECT_THAT(messages, ElementsAre(HasSubstr("line 1 : no '='"), HasSubstr("line 2 : no such option"),
                                      HasSubstr("line 3 : no such option"), HasSubstr("line 5 : no such option")));
}

TEST_F(configuration, last_of_two_lines_counts)
{
    file_holds("tile_width = 32\nitem.47 = 64\ntile_width = 96\n");
    EXPECT_EQ(number(tile_width), 96);
}

TEST_F(configuration, file_may_be_read_by_the_program)
{
    file_holds("tile_width = 32\ntile_height = 32\n");
    EXPECT_EQ(number(tile_width), 32);
    EXPECT_EQ(iocache_host_read_configuration(folder.write("other", "tile_width = 64\n").c_str()), 0);
    EXPECT_EQ(number(tile_width), 64);
    EXPECT_EQ(number(tile_height), std::nullopt);
    EXPECT_EQ(iocache_host_read_configuration((folder.path() + "/missing").c_str()), -1);
    EXPECT_EQ(iocache_host_read_configuration(folder.path().c_str()), -1);
    EXPECT_EQ(iocache_host_read_configuration(nullptr), -1);
    EXPECT_EQ(number(tile_width), 64);
}

std::string file_to_read;

TEST_F(configuration, file_that_the_program_reads_when_it_is_told_of_a_bad_line_is_not_taken_back)
{
    file_holds("nonsense\ntile_width = 32\n");
    file_to_read = folder.write("other", "tile_width = 64\n");
    iocache_host_on_message([](const char*) { EXPECT_EQ(iocache_host_read_configuration(file_to_read.c_str()), 0); });
    EXPECT_EQ(number(tile_width), 64);
    EXPECT_EQ(number(tile_width), 64);
}

TEST_F(configuration, text_stays_where_it_is_until_the_item_changes)
{
    iocache_host_set_text(product_name, "Painter");
    const char* first = nullptr;
    const char* second = nullptr;
    ASSERT_EQ(config_get(product_name, &first, nullptr), 0);
    iocache_host_set_text(tile_width, "64");
    ASSERT_EQ(config_get(product_name, &second, nullptr), 0);
    EXPECT_EQ(first, second);
    EXPECT_STREQ(first, "Painter");
}

}  // namespace
