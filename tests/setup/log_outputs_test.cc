// Where the log goes, and that its failures are nobody's.
#include <csignal>
#include <string>

#include "tests/setup/logged_run.h"
#include "tests/setup/process_facts.h"

using namespace iocache_test;

namespace {

class log_outputs : public logged_test {};

INSTANTIATE_TEST_SUITE_P(, log_outputs, both_modes(), mode_name);

TEST_P(log_outputs, stay_untouched_when_nobody_asks)
{
    const std::string at_start = start_logging(output::none);
    const std::string between = printed_by([] {
        cv_log_string(0, "unheard");
        cv_log_tool("a", "b", "c");
    });
    EXPECT_EQ(at_start + between + stop_logging(), "");
    EXPECT_TRUE(log_files().empty());
}

TEST_P(log_outputs, may_be_the_screen_alone)
{
    EXPECT_TRUE(start_logging(output::screen).starts_with("Tessera started  : "));
    EXPECT_EQ(tq_logs, 1);
    EXPECT_EQ(tq_log, 0);
    EXPECT_TRUE(log_files().empty());
}

TEST_P(log_outputs, may_be_a_file_alone)
{
    EXPECT_EQ(start_logging(output::file), "");
    EXPECT_EQ(tq_logs, 0);
    EXPECT_EQ(tq_log, 1);
    EXPECT_EQ(printed_by([] { cv_log_string(0, "text"); }), "");
    EXPECT_TRUE(log_text().ends_with("text\n"));
    EXPECT_EQ(stop_logging(), "");
}

TEST_P(log_outputs, may_be_both_with_the_same_lines)
{
    std::string printed = start_logging(output::both);
    printed += printed_by([] { cv_log_string(3, "text"); });
    EXPECT_EQ(log_text(), printed);
    printed += stop_logging();
    EXPECT_EQ(log_text(), printed);
}

TEST_P(log_outputs, are_asked_for_by_any_value)
{
    prepare(GetParam());
    setenv("TQ_IMG0", log_folder().c_str(), 1);
    setenv("TQ_CRE_LOGS", "0", 1);
    setenv("TQ_CRE_LOG", "no", 1);
    EXPECT_NE(start_as_it_is(), "");
    EXPECT_EQ(log_files().size(), 1U);
}

TEST_P(log_outputs, file_has_a_name_that_was_free)
{
    start_logging(output::file);
    ASSERT_EQ(log_files().size(), 1U);
    EXPECT_TRUE(is_unique_name(log_files()[0], "LOG.")) << log_files()[0];
}

TEST_P(log_outputs, file_follows_the_hosts_mask)
{
    const other_file_mask strict(0027);
    start_logging(output::file);
    struct stat facts = {};
    ASSERT_EQ(stat((log_folder() + "/" + log_files().at(0)).c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777, 0640U);
}

TEST_P(log_outputs, file_is_another_one_at_every_start)
{
    start_logging(output::file);
    stop_logging();
    const std::string first = log_files().at(0);
    const std::string text = log_text();
    start_logging(output::file);
    stop_logging();
    ASSERT_EQ(log_files().size(), 2U);
    const bytes kept = read_whole_file(log_folder() + "/" + first);
    EXPECT_EQ(std::string(kept.begin(), kept.end()), text);  // nobody touched the old one
}

// Without waiting for the end: a process that is killed leaves a complete log.
TEST_P(log_outputs, file_is_complete_after_every_line)
{
    start_logging(output::file);
    for (int line = 0; line < 5; ++line) {
        const std::string text = "line " + std::to_string(line);
        cv_log_string(0, text.c_str());
        EXPECT_TRUE(log_text().ends_with(text + "\n"));
    }
}

TEST_P(log_outputs, file_is_closed_at_the_end)
{
    prepare(GetParam());
    const int64_t descriptors = open_descriptors();
    start_logging(output::file);
    const int file = fileno(log_fp);
    EXPECT_TRUE(is_open(file));
    stop_logging();
    EXPECT_FALSE(is_open(file));
    EXPECT_EQ(open_descriptors(), descriptors);
}

TEST_P(log_outputs, file_that_cannot_be_made_is_done_without)
{
    prepare(GetParam());
    setenv("TQ_CRE_LOG", "1", 1);
    setenv("TQ_IMG0", (log_folder() + "/missing").c_str(), 1);
    EXPECT_EQ(start_as_it_is(), "");
    EXPECT_EQ(tq_log, 0);
    cv_log_string(0, "unheard");
    EXPECT_EQ(stop_logging(), "");
    EXPECT_TRUE(host().messages().empty()) << host().last_message();
    EXPECT_EQ(host().kills(), 0);
}

TEST_P(log_outputs, file_without_a_folder_is_done_without)
{
    prepare(GetParam());
    setenv("TQ_CRE_LOG", "1", 1);
    EXPECT_EQ(start_as_it_is(), "");
    EXPECT_EQ(tq_log, 0);
    EXPECT_TRUE(host().messages().empty()) << host().last_message();
}

TEST_P(log_outputs, screen_still_hears_when_the_file_cannot_be_made)
{
    prepare(GetParam());
    setenv("TQ_CRE_LOG", "1", 1);
    setenv("TQ_CRE_LOGS", "1", 1);
    EXPECT_TRUE(start_as_it_is().starts_with("Tessera started  : "));
    EXPECT_EQ(tq_log, 0);
}

TEST_P(log_outputs, folder_without_a_wish_for_a_file_is_not_used)
{
    prepare(GetParam());
    setenv("TQ_IMG0", log_folder().c_str(), 1);
    start_as_it_is();
    EXPECT_TRUE(log_files().empty());
    EXPECT_EQ(tq_log, 0);
}

TEST_P(log_outputs, file_that_cannot_grow_is_nobodys_failure)
{
    start_logging(output::file);
    const std::string before = log_text();
    auto* const handler_before = std::signal(SIGXFSZ, SIG_IGN);
    {
        const lower_limit no_growth(RLIMIT_FSIZE, before.size());
        cv_log_string(0, "lost");
        cv_log_tool("lost", "too", "now");
    }
    std::signal(SIGXFSZ, handler_before);
    EXPECT_EQ(log_text(), before);
    EXPECT_TRUE(host().messages().empty()) << host().last_message();
    EXPECT_EQ(host().kills(), 0);
    EXPECT_EQ(tq_log, 1);
}

}  // namespace
