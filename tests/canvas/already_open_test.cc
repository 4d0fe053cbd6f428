// Which open canvas, if any, a path means.
#include <unistd.h>

#include "tests/canvas/canvas_test.h"

using namespace iocache_test;

namespace {

class already_open : public canvas_test {
protected:
    void SetUp() override { start(); }
    int32_t found(const std::string& name) const { return canvas_if_already_open(path(name).c_str()); }
};
INSTANTIATE_TEST_SUITE_P(, already_open, both_modes(), mode_name);

TEST_P(already_open, is_found_by_the_path_it_was_made_with)
{
    create("a", small_mask);
    create("b", small_mask);
    EXPECT_EQ(found("a"), 0);
    EXPECT_EQ(found("b"), 1);
}

TEST_P(already_open, is_not_a_path_without_file)
{
    create("a", small_mask);
    EXPECT_EQ(found("missing"), -1);
    EXPECT_EQ(canvas_if_already_open(""), -1);
}

TEST_P(already_open, is_not_a_file_that_no_canvas_has)
{
    create("a", small_mask);
    write_whole_file(path("other"), bytes(10));
    EXPECT_EQ(found("other"), -1);
}

TEST_P(already_open, is_found_through_a_symbolic_link)
{
    create("a", small_mask);
    ASSERT_EQ(symlink(path("a").c_str(), path("link").c_str()), 0);
    EXPECT_EQ(found("link"), 0);
}

TEST_P(already_open, is_found_through_a_hard_link)
{
    create("a", small_mask);
    ASSERT_EQ(link(path("a").c_str(), path("link").c_str()), 0);
    EXPECT_EQ(found("link"), 0);
}

TEST_P(already_open, is_found_through_a_relative_path)
{
    create("a", small_mask);
    const std::string before = std::filesystem::current_path();
    std::filesystem::current_path(path(""));
    const int32_t plain = canvas_if_already_open("a");
    const int32_t dotted = canvas_if_already_open("./a");
    std::filesystem::current_path(before);
    EXPECT_EQ(plain, 0);
    EXPECT_EQ(dotted, 0);
}

// A path that leads nowhere is tested first, so that even the canvas's own name is not found.
TEST_P(already_open, is_no_longer_found_when_its_file_was_deleted)
{
    create("a", small_mask);
    unlink(path("a").c_str());
    EXPECT_EQ(found("a"), -1);
}

TEST_P(already_open, is_another_canvas_when_the_deleted_file_was_made_anew)
{
    const int32_t first = create("a", small_mask);
    unlink(path("a").c_str());
    const int32_t second = create("a", small_mask);
    EXPECT_NE(first, second);
    EXPECT_EQ(found("a"), first);  // the lowest slot whose name leads to this file
}

TEST_P(already_open, is_the_lowest_of_several_matches)
{
    const int32_t first = create("a", small_mask);
    const int32_t second = create("b", small_mask);
    unlink(path("b").c_str());
    ASSERT_EQ(link(path("a").c_str(), path("b").c_str()), 0);
    EXPECT_EQ(found("b"), first);
    EXPECT_LT(first, second);
}

// A canvas whose own file is gone does not stand for any other file.
TEST_P(already_open, passes_over_a_canvas_whose_file_is_gone)
{
    create("gone", small_mask);
    create("a", small_mask);
    unlink(path("gone").c_str());
    EXPECT_EQ(found("a"), 1);
}

TEST_P(already_open, ends_with_the_close)
{
    cv_mark_canvas_save(create("a", small_mask));
    EXPECT_EQ(found("a"), 0);
    canvas_close(0);
    EXPECT_EQ(found("a"), -1);
}

}  // namespace
