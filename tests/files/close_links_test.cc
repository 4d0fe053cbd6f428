// What closing a canvas does to those it is tied to: linked ones, its zoom canvas, and the canvas it is a zoom of.
#include <cstring>

#include "tests/files/files_test.h"

namespace {

using namespace iocache_test;

class ties : public files_test {
protected:
    void SetUp() override
    {
        start();
        closing = &open_new("closing", small_mask);
        other = &open_new("other", small_mask);
        third = &open_new("third", small_mask);
        for (const cv_canvas* canvas : {closing, other, third}) write_whole_file(canvas->subs_window_name, bytes(1));
        forget_reports();
    }
    void link_a_to(cv_canvas& linked) const
    {
        closing->link_a = &linked;
        linked.link_b = closing;
    }
    void link_b_to(cv_canvas& linked) const
    {
        closing->link_b = &linked;
        linked.link_a = closing;
    }
    static bool has_window_file(const std::string& canvas) { return exists(canvas + "s"); }
    static bool has_full_view(const cv_canvas& canvas)
    {
        return std::memcmp(&canvas.geom, &canvas.geom_orig, sizeof canvas.geom) == 0;
    }

    cv_canvas* closing = nullptr;
    cv_canvas* other = nullptr;
    cv_canvas* third = nullptr;
};

TEST_P(ties, both_linked_canvases_get_their_full_view_back_and_lose_the_link)
{
    link_a_to(*other);
    link_b_to(*third);
    other->geom = other->geom_window;
    third->geom = third->geom_window2;
    ASSERT_FALSE(has_full_view(*other));
    EXPECT_EQ(canvas_close(closing->index), 0);
    for (const cv_canvas* linked : {other, third}) {
        EXPECT_TRUE(has_full_view(*linked));
        EXPECT_EQ(linked->link_a, nullptr);
        EXPECT_EQ(linked->link_b, nullptr);
    }
    expect_no_report();
}

TEST_P(ties, linked_canvas_keeps_its_own_other_link)
{
    link_a_to(*other);
    other->link_a = third;
    third->link_b = other;
    EXPECT_EQ(canvas_close(closing->index), 0);
    EXPECT_EQ(other->link_a, third);
    EXPECT_EQ(other->link_b, nullptr);
    EXPECT_EQ(third->link_b, other);
}

TEST_P(ties, linked_canvas_stays_open_and_usable)
{
    link_a_to(*other);
    ASSERT_EQ(store(*other, 3, 0x47), 0);
    EXPECT_EQ(canvas_close(closing->index), 0);
    EXPECT_TRUE(is_all(line(*other, 3), 0x47));
    EXPECT_EQ(canvas_close(other->index), 0);
}

struct view {
    int32_t level, flag, window_mode;
    bool linked_file_goes, own_file_goes;
};
std::ostream& operator<<(std::ostream& out, const view& v)
{
    return out << "level " << v.level << " flag " << v.flag << " mode " << v.window_mode;
}
constexpr view views[] = {
    {0, 0, 0, false, false}, {0, 1, 1, false, false}, {1, 0, 0, true, true},   {1, 1, 2, true, true},
    {2, 0, 0, false, false}, {2, 1, 0, true, true},   {2, 2, 1, false, false}, {2, 0, 1, false, false},
    {3, 0, 0, false, false}, {3, 1, 0, false, false}, {3, 0, 1, true, false},  {3, 1, 1, true, false},
    {3, 0, 2, false, false}, {3, 1, 2, true, false},  {3, 1, 3, false, false},
};

TEST_P(ties, window_file_of_a_linked_canvas_goes_in_these_views)
{
    for (const bool by_a : {true, false}) {
        for (const view& v : views) {
            cv_canvas& leaving = open_new("leaving", small_mask);
            closing = &leaving;
            by_a ? link_a_to(*other) : link_b_to(*other);
            write_whole_file(path("others"), bytes(1));
            other->geom.level = v.level;
            other->window_flag = v.flag;
            other->window_mode = v.window_mode;
            EXPECT_EQ(canvas_close(leaving.index), 0);
            std::filesystem::remove(path("leaving"));
            EXPECT_EQ(exists(path("others")), !v.linked_file_goes) << v;
        }
    }
}

TEST_P(ties, window_file_of_the_canvas_itself_goes_in_fewer_views)
{
    for (const view& v : views) {
        cv_canvas& leaving = open_new("leaving", small_mask);
        write_whole_file(path("leavings"), bytes(1));
        leaving.geom.level = v.level;
        leaving.window_flag = v.flag;
        leaving.window_mode = v.window_mode;
        EXPECT_EQ(canvas_close(leaving.index), 0);
        std::filesystem::remove(path("leaving"));
        EXPECT_EQ(exists(path("leavings")), !v.own_file_goes) << v;
    }
}

TEST_P(ties, window_files_of_others_stay)
{
    closing->geom.level = 1;
    EXPECT_EQ(canvas_close(closing->index), 0);
    EXPECT_FALSE(exists(path("closings")));
    EXPECT_TRUE(exists(path("others")));
    EXPECT_TRUE(exists(path("thirds")));
}

TEST_P(ties, zoom_canvas_is_closed_with_the_canvas_it_was_made_from)
{
    closing->zoom_child = other;
    ASSERT_EQ(store(*other, 3, 0x47), 0);
    const int32_t zoom = other->index;
    const std::string printed = printed_by([&] {
        tq_logs = 1;
        EXPECT_EQ(canvas_close(closing->index), 0);
        tq_logs = 0;
    });
    EXPECT_EQ(printed, "  Closing canvas " + path("closing") + "\n  Closing canvas " + path("other") + "\n");
    EXPECT_EQ(canvastable[zoom], nullptr);
    EXPECT_EQ(used_slots(), 1);
    EXPECT_EQ(canvas_file(path("other")).pixel(0, 3), bytes{0x47}) << "each as its own mark says";
}

TEST_P(ties, zoom_canvas_that_cannot_be_closed_is_left_without_a_parent)
{
    closing->zoom_child = other;
    other->is_zoom = closing;
    other->busy = 1;
    EXPECT_EQ(canvas_close(closing->index), 0);
    EXPECT_EQ(other->is_zoom, nullptr) << "its record is gone";
    other->busy = 0;
    EXPECT_EQ(canvas_close(other->index), 0);
}

TEST_P(ties, closing_a_zoom_canvas_frees_its_parent_to_close)
{
    closing->is_zoom = other;
    other->zoom_child = closing;
    other->open_zooms = 2;
    EXPECT_EQ(canvas_close(closing->index), 0);
    EXPECT_EQ(other->open_zooms, 1);
    EXPECT_EQ(other->zoom_child, nullptr);
    EXPECT_EQ(canvas_close(other->index), -255) << "one is still open";
    other->open_zooms = 0;
    EXPECT_EQ(canvas_close(other->index), 0);
}

TEST_P(ties, canvas_that_is_no_zoom_changes_no_count)
{
    other->open_zooms = 2;
    EXPECT_EQ(canvas_close(closing->index), 0);
    EXPECT_EQ(other->open_zooms, 2);
    other->open_zooms = 0;
}

INSTANTIATE_TEST_SUITE_P(, ties, both_modes(), mode_name);

}  // namespace
