// What a line of the log looks like, and what stands at its beginning and its end.
#include <ctime>
#include <string>
#include <vector>

#include "tests/setup/logged_run.h"

using namespace iocache_test;

namespace {

constexpr int32_t product_name = 22;
constexpr int32_t product_release = 23;

class log_lines : public logged_test {
protected:
    ~log_lines() override
    {
        iocache_host_set_text(product_name, nullptr);
        iocache_host_set_text(product_release, nullptr);
    }
};

INSTANTIATE_TEST_SUITE_P(, log_lines, both_modes(), mode_name);

TEST_P(log_lines, are_indented_by_two_blanks_a_level)
{
    start_logging(output::both);
    const std::string printed = printed_by([] {
        cv_log_string(0, "none");
        cv_log_string(1, "one");
        cv_log_string(2, "x");
        cv_log_string(5, "five");
    });
    EXPECT_EQ(printed, "none\n  one\n    x\n          five\n");
    EXPECT_TRUE(log_text().ends_with(printed)) << log_text();
}

TEST_P(log_lines, of_a_tool_name_object_and_tool)
{
    start_logging(output::both);
    const std::string printed = printed_by([] { cv_log_tool("Brush", "Picture1", "Airbrush"); });
    EXPECT_EQ(printed, "Brush OBJECT : Picture1 TOOL : Airbrush\n");
    EXPECT_TRUE(log_text().ends_with(printed)) << log_text();
}

TEST_P(log_lines, of_a_tool_with_empty_texts_have_the_labels_alone)
{
    start_logging(output::screen);
    EXPECT_EQ(printed_by([] { cv_log_tool("", "", ""); }), " OBJECT :  TOOL : \n");
}

TEST_P(log_lines, of_a_tool_are_cut_where_the_buffer_ends)
{
    start_logging(output::screen);
    const std::string name(300, 'n');
    EXPECT_EQ(printed_by([&] { cv_log_tool(name.c_str(), "object", "tool"); }), std::string(199, 'n').append(1, '\n'));
    const std::string fits(199 - std::string(" OBJECT : object TOOL : tool").size(), 'n');
    EXPECT_EQ(printed_by([&] { cv_log_tool(fits.c_str(), "object", "tool"); }),
              fits + " OBJECT : object TOOL : tool\n");
}

TEST_P(log_lines, take_percent_signs_as_text)
{
    start_logging(output::both);
    const std::string printed = printed_by([] {
        cv_log_string(0, "100%s %n");
        cv_log_tool("%d", "%s", "%n");
    });
    EXPECT_EQ(printed, "100%s %n\n%d OBJECT : %s TOOL : %n\n");
    EXPECT_TRUE(log_text().ends_with(printed));
}

TEST_P(log_lines, begin_with_the_time_and_who_runs)
{
    iocache_host_set_text(product_name, "Painter");
    iocache_host_set_text(product_release, "4.2 of May");
    const std::time_t before = std::time(nullptr);
    start_logging(output::file);
    const std::time_t after = std::time(nullptr);

    const std::vector<std::string> lines = lines_of(log_text());
    ASSERT_EQ(lines.size(), 6U) << log_text();
    ASSERT_TRUE(lines[0].starts_with("Tessera started  : ")) << lines[0];
    const std::time_t logged = time_in(lines[0].substr(19));
    EXPECT_GE(logged, before);
    EXPECT_LE(logged, after);
    EXPECT_EQ(lines[1], " ");  // the time's text has a newline of its own
    EXPECT_EQ(lines[2], "Host product     : Painter ");
    EXPECT_EQ(lines[3], "Host release     : 4.2 of May ");
    EXPECT_EQ(lines[4], "Library release  : " LIBRARY_RELEASE " ");
    EXPECT_EQ(lines[5].substr(0, 19), "Library compiled : ");
    EXPECT_GT(lines[5].size(), 20U);
    EXPECT_EQ(lines[5].back(), ' ');
}

TEST_P(log_lines, have_empty_values_for_what_the_host_does_not_say)
{
    start_logging(output::file);
    const std::vector<std::string> lines = lines_of(log_text());
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[2], "Host product     :  ");
    EXPECT_EQ(lines[3], "Host release     :  ");
}

TEST_P(log_lines, end_with_an_empty_line_and_the_time)
{
    start_logging(output::file);
    const size_t beginning = lines_of(log_text()).size();
    const std::time_t before = std::time(nullptr);
    cv_kill_tile_access();
    const std::time_t after = std::time(nullptr);

    const std::vector<std::string> lines = lines_of(log_text());
    ASSERT_EQ(lines.size(), beginning + 3) << log_text();
    EXPECT_EQ(lines[beginning], "");
    ASSERT_TRUE(lines[beginning + 1].starts_with("Tessera ended    : ")) << lines[beginning + 1];
    const std::time_t logged = time_in(lines[beginning + 1].substr(19));
    EXPECT_GE(logged, before);
    EXPECT_LE(logged, after);
    EXPECT_EQ(lines[beginning + 2], " ");
}

TEST_P(log_lines, name_every_canvas_that_closes)
{
    start_logging(output::both);
    const int32_t first = new_picture("first", 100, 100);
    new_mask("second", 100, 100);
    const std::string printed = printed_by([&] { canvas_close(first); });
    EXPECT_EQ(printed, "  Closing canvas " + path("first") + "\n");
    const std::string at_exit = printed_by([] { cv_kill_tile_access(); });
    EXPECT_TRUE(at_exit.starts_with("  Closing canvas " + path("second") + "\n\nTessera ended    : ")) << at_exit;
    EXPECT_TRUE(log_text().ends_with(printed + at_exit));
}

}  // namespace
