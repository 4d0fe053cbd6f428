// Renaming the file of an open canvas, and deleting the files of one.
#include <atomic>
#include <cerrno>

#include "tests/files/files_test.h"

namespace {

using namespace iocache_test;

std::vector<std::string> fatal_steps;
void note_error(const char* /*text*/)
{
    fatal_steps.push_back("told, code " + std::to_string(cv_errno));
}
int note_console(const char* /*format*/, ...)
{
    fatal_steps.emplace_back("printed");
    return 0;
}
void note_end()
{
    fatal_steps.emplace_back("ended");
}

class renaming : public files_test {
protected:
    void SetUp() override
    {
        start();
        cv_prewrite_allowed = 1;  // nothing is written before the rename asks for it
        std::filesystem::create_directory(path("folder"));
        canvas = &settled("mask", small_mask);
        ASSERT_EQ(store(*canvas, 3, 0x47), 0);
        forget_reports();
    }
    int32_t rename(const std::string& to) const { return canvas_rename_file(canvas->index, to.c_str()); }
    void expect_usable_under(const std::string& name) const
    {
        EXPECT_EQ(canvas->file_name, name);
        EXPECT_TRUE(is_all(line(*canvas, 3), 0x47));
        ASSERT_EQ(store(*canvas, 4, 0x48), 0);
        ASSERT_EQ(canvas_close(canvas->index), 0);
        EXPECT_EQ(canvas_file(name).pixel(0, 3), bytes{0x47});
        EXPECT_EQ(canvas_file(name).pixel(0, 4), bytes{0x48});
        EXPECT_EQ(canvas_file(name).dirty(), 0);
    }

    cv_canvas* canvas = nullptr;
};

TEST_P(renaming, canvas_lives_on_under_its_new_name)
{
    EXPECT_EQ(rename(path("folder/new")), 0);
    EXPECT_FALSE(exists(path("mask")));
    EXPECT_EQ(canvas->file_name, path("folder/new"));
    EXPECT_STREQ(canvas->base_name, "new");
    EXPECT_EQ(canvas->base_name, canvas->file_name + path("folder/").size());
    EXPECT_NE(canvas->fp, nullptr);
    EXPECT_NE(canvas->fp2, nullptr);
    expect_no_report();
    expect_usable_under(path("folder/new"));
}

TEST_P(renaming, changed_tiles_are_written_and_stay_in_memory)
{
    ASSERT_NE(canvas->tile_cache[0], nullptr);
    ASSERT_EQ(canvas->tile_cache[0]->dirty, 1);
    EXPECT_EQ(rename(path("new")), 0);
    ASSERT_NE(canvas->tile_cache[0], nullptr);
    EXPECT_EQ(canvas->tile_cache[0]->dirty, 0);
    EXPECT_EQ(canvas_file(path("new")).pixel(0, 3), bytes{0x47});
    EXPECT_EQ(canvas_file(path("new")).dirty(), 1) << "it is still open";
}

// What has no room where the file lies may have room where it goes.
TEST_P(renaming, changed_tiles_that_cannot_be_written_go_to_the_new_place)
{
    cv_disk_full_return(1);  // the host gives up
    printed_by([&] {
        const file_size_limit full(read_whole_file(path("mask")).size());
        EXPECT_EQ(rename(path("folder/new")), 0);
    });
    cv_disk_full_return(0);
    std::atomic_ref(cv_disk_full).store(0);
    EXPECT_EQ(canvas->tile_cache[0]->dirty, 1);
    EXPECT_FALSE(exists(path("mask")));
    expect_usable_under(path("folder/new"));
}

TEST_P(renaming, name_of_the_window_file_stays)
{
    EXPECT_EQ(rename(path("new")), 0);
    EXPECT_EQ(canvas->subs_window_name, path("masks"));
}

TEST_P(renaming, path_of_the_caller_is_copied)
{
    std::string to = path("new");
    EXPECT_EQ(canvas_rename_file(canvas->index, to.c_str()), 0);
    EXPECT_NE(canvas->file_name, to.c_str());
    to.assign(to.size(), 'x');
    EXPECT_EQ(canvas->file_name, path("new"));
}

TEST_P(renaming, file_last_written_keeps_a_valid_name)
{
    ASSERT_EQ(cv_flush_tiles_keep(canvas->index), 0);
    ASSERT_STREQ(cv_name_file, path("mask").c_str());
    EXPECT_EQ(rename(path("new")), 0);
    EXPECT_STREQ(cv_name_file, path("mask").c_str());
}

TEST_P(renaming, canvas_is_found_by_its_new_name)
{
    EXPECT_EQ(rename(path("new")), 0);
    EXPECT_EQ(canvas_if_already_open(path("new").c_str()), canvas->index);
    EXPECT_EQ(canvas_if_already_open(path("mask").c_str()), -1);
}

TEST_P(renaming, empty_slot_is_refused_and_no_file_touched)
{
    for (const int32_t number : {1, 49, 50, -1}) EXPECT_EQ(canvas_rename_file(number, path("new").c_str()), -255);
    EXPECT_FALSE(exists(path("new")));
    EXPECT_TRUE(exists(path("mask")));
    expect_no_report();
}

TEST_P(renaming, move_that_the_system_refuses_leaves_the_canvas_as_it_was)
{
    FILE* const kept_open = canvas->fp2;
    EXPECT_EQ(rename(path("folder")), -255);
    expect_no_report();
    EXPECT_EQ(canvas->fp2, kept_open);
    expect_usable_under(path("mask"));
}

TEST_P(renaming, move_to_a_folder_that_is_not_there_leaves_the_canvas_as_it_was)
{
    EXPECT_EQ(rename(path("none/new")), -255);
    expect_report(999212, {"cannot open " + path("none/new")});
    expect_usable_under(path("mask"));
}

TEST_P(renaming, file_that_cannot_be_opened_again_is_fatal)
{
    ASSERT_EQ(canvas->fp, nullptr);
    int32_t result = 0;
    const std::string printed = printed_by([&] {
        const descriptor_limit none(0);  // but the one that the kept-open stream gives back
        result = rename(path("new"));
    });
    EXPECT_EQ(result, -256);
    expect_report(999224, {"rename file : cannot reopen new file"});
    EXPECT_EQ(printed, "rename file : cannot reopen new file\n");
    EXPECT_EQ(host().kills(), 1);
    EXPECT_EQ(canvas->file_name, path("new"));
    EXPECT_EQ(canvas->fp, nullptr);
    EXPECT_EQ(canvas->fp2, nullptr);
    expect_usable_under(path("new"));
}

TEST_P(renaming, host_is_told_first_then_its_console_and_then_it_is_ended)
{
    fatal_steps.clear();
    const auto kept_error = std::exchange(cv_wrt_err, note_error);
    const auto kept_console = std::exchange(cv_printf, note_console);
    const auto kept_killer = std::exchange(cv_killer, note_end);
    {
        const descriptor_limit none(0);
        EXPECT_EQ(rename(path("new")), -256);
    }
    cv_wrt_err = kept_error;
    cv_printf = kept_console;
    cv_killer = kept_killer;
    EXPECT_EQ(fatal_steps, (std::vector<std::string>{"told, code 999224", "printed", "ended"}));
}

TEST_P(renaming, file_of_an_open_canvas_is_deleted)
{
    EXPECT_EQ(canvas_unlink_file(canvas->index), 0);
    EXPECT_FALSE(exists(path("mask")));
    EXPECT_EQ(canvas_unlink_file(canvas->index), -1) << "what unlink answers";
    EXPECT_EQ(errno, ENOENT);
    expect_no_report();
}

TEST_P(renaming, window_file_of_an_open_canvas_is_deleted)
{
    write_whole_file(path("masks"), bytes(1));
    EXPECT_EQ(canvas_unlink_subs_window(canvas->index), 0);
    EXPECT_FALSE(exists(path("masks")));
    EXPECT_TRUE(exists(path("mask")));
    EXPECT_EQ(canvas_unlink_subs_window(canvas->index), -1);
    expect_no_report();
}

TEST_P(renaming, nothing_is_deleted_for_an_empty_slot)
{
    for (const int32_t number : {1, 49, 50, -1}) {
        EXPECT_EQ(canvas_unlink_file(number), -255);
        EXPECT_EQ(canvas_unlink_subs_window(number), -255);
    }
}

INSTANTIATE_TEST_SUITE_P(, renaming, both_modes(), mode_name);

}  // namespace
