// Closing a canvas, and all of them: what stays of the file, of the record and of the tiles.
#include <cstring>

#include "tests/files/files_test.h"

namespace {

using namespace iocache_test;

messages told_to_other;
void tell_other(const char* text)
{
    told_to_other.emplace_back(text);
}

class closing : public files_test {
protected:
    void SetUp() override
    {
        start();
        forget_reports();
    }
    void TearDown() override { unsetenv("CV_NO_CLOSE_SYNC"); }

    static int64_t owned_tiles()
    {
        int64_t count = 0;
        for (const cv_tile* tile = first_tile; tile != nullptr; tile = tile->next) count += tile->canvas != nullptr;
        return count;
    }
};

TEST_P(closing, saved_canvas_keeps_its_file_with_its_pixels_and_clean)
{
    cv_canvas& canvas = open_new("mask", small_mask);
    ASSERT_EQ(store(canvas, 3, 0x47), 0);
    forget_reports();
    EXPECT_EQ(canvas_close(canvas.index), 0);
    const canvas_file file(path("mask"));
    EXPECT_EQ(file.dirty(), 0);
    EXPECT_EQ(file.tiles_written(), 1);
    EXPECT_EQ(file.pixel(99, 3), bytes{0x47});
    EXPECT_EQ(file.pixel(99, 4), bytes{0});
    expect_no_report();
}

TEST_P(closing, dirty_mark_is_on_disk_until_the_close)
{
    cv_canvas& canvas = open_new("mask", small_mask);
    ASSERT_EQ(store(canvas, 3, 0x47), 0);
    ASSERT_EQ(cv_flush_tiles_keep(canvas.index), 0);
    EXPECT_EQ(canvas_file(path("mask")).dirty(), 1);
    EXPECT_EQ(canvas_close(canvas.index), 0);
    EXPECT_EQ(canvas_file(path("mask")).dirty(), 0);
}

TEST_P(closing, saved_canvas_stores_its_whole_header)
{
    cv_canvas& canvas = open_new("mask", small_mask);
    std::memcpy(canvas.header->tqcms_procname, "changed", 8);
    EXPECT_EQ(canvas_close(canvas.index), 0);
    EXPECT_EQ(text_at(read_whole_file(path("mask")), 0x636, 64), "changed");
}

TEST_P(closing, unsaved_canvas_deletes_its_file_and_writes_no_tile)
{
    cv_canvas& canvas = open_new("mask", small_mask);
    cv_mark_canvas_nosave(canvas.index);
    std::filesystem::create_hard_link(path("mask"), path("witness"));
    cv_prewrite_allowed = 1;
    ASSERT_EQ(store(canvas, 3, 0x47), 0);
    forget_reports();
    EXPECT_EQ(canvas_close(canvas.index), 0);
    EXPECT_FALSE(exists(path("mask")));
    EXPECT_EQ(canvas_file(path("witness")).tiles_written(), 0);
    expect_no_report();
}

TEST_P(closing, canvas_is_unsaved_until_it_is_marked)
{
    const int32_t canvas = create("mask", small_mask);
    ASSERT_GE(canvas, 0);
    EXPECT_EQ(canvas_close(canvas), 0);
    EXPECT_FALSE(exists(path("mask")));
}

TEST_P(closing, unsaved_canvas_meets_workers_and_cache_process_once_more)
{
    const int32_t canvas = create("mask", small_mask);
    ASSERT_GE(canvas, 0);
    ASSERT_EQ(canvas_close(canvas), 0);
    EXPECT_EQ(parg.opcode, 99);
}

TEST_P(closing, canvas_opened_again_is_saved)
{
    const int32_t canvas = canvas_old(closed_file("mask", small_mask).c_str());
    ASSERT_GE(canvas, 0);
    EXPECT_EQ(canvas_close(canvas), 0);
    EXPECT_TRUE(exists(path("mask")));
}

TEST_P(closing, slot_is_free_for_the_next_canvas)
{
    open_new("first", small_mask);
    open_new("second", small_mask);
    ASSERT_EQ(canvas_close(0), 0);
    EXPECT_EQ(canvastable[0], nullptr);
    EXPECT_NE(canvastable[1], nullptr);
    EXPECT_EQ(open_new("third", small_mask).index, 0);
}

TEST_P(closing, no_tile_in_memory_belongs_to_it_afterwards)
{
    for (const bool is_saved : {false, true}) {
        cv_canvas& canvas = open_new("picture", small_picture);
        if (!is_saved) cv_mark_canvas_nosave(canvas.index);
        ASSERT_EQ(store(canvas, 3, 0x47), 0);
        ASSERT_EQ(owned_tiles(), 1);
        ASSERT_EQ(canvas_close(canvas.index), 0);
        EXPECT_EQ(owned_tiles(), 0);
        EXPECT_NE(first_tile, nullptr) << "its memory waits for the next tile";
        for (const cv_tile* tile = first_tile; tile != nullptr; tile = tile->next) EXPECT_EQ(tile->dirty, 0);
    }
}

TEST_P(closing, nothing_is_held_for_a_closed_canvas)
{
    setenv("CV_NO_CLOSE_SYNC", "", 1);  // a hundred closes need not wait for the disk
    for (const bool is_saved : {true, false}) {
        expect_nothing_held([&] {
            const int32_t canvas = create("mask", small_mask);
            if (is_saved) cv_mark_canvas_save(canvas);
            ASSERT_EQ(store(*canvastable[canvas], 3, 0x47), 0);
            ASSERT_EQ(canvas_close(canvas), 0);
            std::filesystem::remove(path("mask"));
            canvas_flush_all();  // the tile it left behind, which memory is kept for otherwise
        });
    }
}

TEST_P(closing, current_canvas_is_no_longer_named)
{
    cv_canvas& picture = open_new("picture", small_picture);
    cv_canvas& mask = open_new("mask", small_mask);
    current_cp = &picture;
    current_mp = &mask;
    ASSERT_EQ(canvas_close(picture.index), 0);
    EXPECT_EQ(current_cp, nullptr);
    EXPECT_EQ(current_mp, &mask);
}

TEST_P(closing, empty_slot_is_refused_without_a_word)
{
    for (const int32_t number : {0, 49, 50, -1}) EXPECT_EQ(canvas_close(number), -255);
    expect_no_report();
}

TEST_P(closing, busy_canvas_is_refused_without_a_word)
{
    cv_canvas& canvas = open_new("mask", small_mask);
    ASSERT_EQ(store(canvas, 3, 0x47), 0);
    forget_reports();
    canvas.busy = 1;
    EXPECT_EQ(printed_by([&] {
                  tq_logs = 1;
                  EXPECT_EQ(canvas_close(canvas.index), -255);
                  tq_logs = 0;
              }),
              "");
    expect_no_report();
    EXPECT_TRUE(is_all(line(canvas, 3), 0x47)) << "still usable";
    canvas.busy = 2;
    EXPECT_EQ(canvas_close(canvas.index), 0) << "only 1 stands for busy";
}

TEST_P(closing, canvas_with_open_zooms_is_refused_and_stays_usable)
{
    cv_canvas& canvas = open_new("mask", small_mask);
    cv_canvas& linked = open_new("linked", small_mask);
    canvas.link_a = &linked;
    linked.link_b = &canvas;
    linked.geom.level = 1;
    write_whole_file(linked.subs_window_name, bytes(1));
    ASSERT_EQ(store(canvas, 3, 0x47), 0);
    forget_reports();
    canvas.open_zooms = 1;
    EXPECT_EQ(printed_by([&] {
                  tq_logs = 1;
                  EXPECT_EQ(canvas_close(canvas.index), -255);
                  tq_logs = 0;
              }),
              "")
        << "it is not closing";
    EXPECT_EQ(host().messages(), messages{"Cannot close canvas : Open zoom canvasses"});
    EXPECT_EQ(cv_errno, 0);
    EXPECT_EQ(canvas.link_a, &linked);
    EXPECT_EQ(linked.geom.level, 1);
    EXPECT_TRUE(exists(linked.subs_window_name));
    EXPECT_TRUE(is_all(line(canvas, 3), 0x47));
    canvas.open_zooms = 0;
    EXPECT_EQ(canvas_close(canvas.index), 0);
}

TEST_P(closing, open_zooms_are_told_by_the_hosts_own_function)
{
    cv_canvas& canvas = open_new("mask", small_mask);
    forget_reports();
    told_to_other.clear();
    const auto kept = std::exchange(cv_wrt_err, tell_other);
    canvas.open_zooms = 1;
    EXPECT_EQ(canvas_close(canvas.index), -255);
    canvas.open_zooms = 0;
    cv_wrt_err = kept;
    EXPECT_EQ(told_to_other, messages{}) << "not by the one that may be replaced, as hosts expect";
    EXPECT_EQ(host().messages(), messages{"Cannot close canvas : Open zoom canvasses"});
}

TEST_P(closing, log_names_the_file_one_level_in)
{
    cv_canvas& canvas = open_new("100%s%n", small_mask);
    const std::string printed = printed_by([&] {
        tq_logs = 1;
        EXPECT_EQ(canvas_close(canvas.index), 0);
        tq_logs = 0;
    });
    EXPECT_EQ(printed, "  Closing canvas " + path("100%s%n") + "\n");
}

TEST_P(closing, canvas_whose_file_has_gone_closes)
{
    cv_canvas& canvas = open_new("mask", small_mask);
    std::filesystem::remove(path("mask"));
    forget_reports();
    EXPECT_EQ(canvas_close(canvas.index), 0);
    EXPECT_FALSE(exists(path("mask")));
    EXPECT_EQ(canvastable[0], nullptr);
    expect_no_report();
}

TEST_P(closing, header_that_cannot_be_written_does_not_fail_the_close)
{
    cv_canvas& canvas = open_new("mask", small_mask);
    ASSERT_EQ(canvas_close_file(canvas.index), 0);
    printed_by([&] {
        const descriptor_limit none(0);
        EXPECT_EQ(canvas_close(canvas.index), 0);
    });
    EXPECT_EQ(canvastable[0], nullptr);
    expect_report(999206, {"cannot open the file"});
}

TEST_P(closing, of_all_closes_each_and_answers_for_the_last_slot)
{
    for (int32_t slot = 0; slot < 50; ++slot)
        ASSERT_EQ(open_new("mask" + std::to_string(slot), small_mask).index, slot);
    for (int32_t slot = 0; slot < 49; ++slot) {
        if (slot == 3) continue;
        ASSERT_EQ(canvas_close(slot), 0);
    }
    EXPECT_EQ(canvas_close_all(), 0) << "slots 3 and 49 were open";
    EXPECT_EQ(used_slots(), 0);
}

TEST_P(closing, of_all_fails_with_an_empty_last_slot_although_each_close_succeeded)
{
    open_new("first", small_mask);
    open_new("second", small_mask);
    EXPECT_EQ(canvas_close_all(), -255);
    EXPECT_EQ(used_slots(), 0);
}

TEST_P(closing, of_all_goes_on_past_a_canvas_that_is_refused)
{
    cv_canvas& refused = open_new("first", small_mask);
    open_new("second", small_mask);
    refused.busy = 1;
    canvas_close_all();
    EXPECT_EQ(canvastable[0], &refused);
    EXPECT_EQ(canvastable[1], nullptr);
    refused.busy = 0;
}

INSTANTIATE_TEST_SUITE_P(, closing, both_modes(), mode_name);

}  // namespace
