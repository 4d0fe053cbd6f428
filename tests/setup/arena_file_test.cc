// The arena file: made for everybody, open while the library runs, gone afterwards.
#include <cerrno>
#include <string>

#include "tests/setup/process_facts.h"
#include "tests/support/library.h"

using namespace iocache_test;

namespace {

class arena_file : public library_test {};

INSTANTIATE_TEST_SUITE_P(, arena_file, both_modes(), mode_name);

TEST_P(arena_file, has_a_unique_name_among_the_temporary_files)
{
    start();
    EXPECT_TRUE(is_unique_name(cv_tile_sema_file, "/tmp/sematile")) << cv_tile_sema_file;
    EXPECT_TRUE(exists(cv_tile_sema_file));
}

TEST_P(arena_file, is_open_for_reading_and_writing_but_not_for_programs_started_later)
{
    start();
    struct stat by_name = {};
    struct stat by_descriptor = {};
    ASSERT_EQ(stat(cv_tile_sema_file, &by_name), 0);
    ASSERT_EQ(fstat(cv_tile_access_fdes_sema, &by_descriptor), 0);
    EXPECT_EQ(by_name.st_ino, by_descriptor.st_ino);
    EXPECT_EQ(by_name.st_dev, by_descriptor.st_dev);
    EXPECT_EQ(fcntl(cv_tile_access_fdes_sema, F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_EQ(fcntl(cv_tile_access_fdes_sema, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST_P(arena_file, is_there_for_everybody_whatever_the_hosts_mask)
{
    const other_file_mask strict(0077);
    start();
    struct stat facts = {};
    ASSERT_EQ(stat(cv_tile_sema_file, &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777, 0666U);
}

TEST_P(arena_file, leaves_the_hosts_mask_as_it_was)
{
    const other_file_mask host_mask(0027);
    start();
    EXPECT_EQ(file_mask(), 0027U);
    stop();
    EXPECT_EQ(file_mask(), 0027U);
}

TEST_P(arena_file, goes_with_the_library)
{
    start();
    const std::string name = cv_tile_sema_file;
    const int descriptor = cv_tile_access_fdes_sema;
    stop();
    EXPECT_FALSE(exists(name));
    EXPECT_FALSE(is_open(descriptor));
}

TEST_P(arena_file, has_another_name_at_every_start)
{
    start();
    const std::string first = cv_tile_sema_file;
    start();
    EXPECT_NE(first, cv_tile_sema_file);
}

// The real thing: no descriptor is left for the file while the library starts.
class arena_file_without_descriptor : public library_test {
protected:
    // The host reads its file when the first item is asked for; without a descriptor it would complain about that.
    static void have_configuration_read()
    {
        const char* text = nullptr;
        int32_t number = 0;
        config_get(0, &text, &number);
    }
    void start_without_descriptors()
    {
        prepare(GetParam());
        have_configuration_read();
        const lower_limit none(RLIMIT_NOFILE, 0);
        cv_master_init();
    }
};

INSTANTIATE_TEST_SUITE_P(, arena_file_without_descriptor, both_modes(), mode_name);

TEST_P(arena_file_without_descriptor, is_reported_and_kills)
{
    const other_file_mask mask(file_mask());
    ::testing::internal::CaptureStdout();
    start_without_descriptors();
    const std::string printed = ::testing::internal::GetCapturedStdout();

    const std::string text =
        std::string("Init tile access : cannot open ") + cv_tile_sema_file + " ( " + std::to_string(EMFILE) + " )\n";
    EXPECT_EQ(cv_errno, 999001);
    EXPECT_EQ(host().messages(), std::vector<std::string>{text});
    EXPECT_EQ(printed, text);  // no second newline
    EXPECT_EQ(error_m, text);
    EXPECT_EQ(host().kills(), 1);
    EXPECT_EQ(cv_tile_access_switch, 1);
    EXPECT_FALSE(exists(cv_tile_sema_file));
    cv_master_exit();
}

TEST_P(arena_file_without_descriptor, keeps_the_mask_that_was_set_for_it)
{
    const other_file_mask mask(0022);
    start_without_descriptors();
    EXPECT_EQ(file_mask(), 0111U);  // put back after a successful open only
    cv_master_exit();
}

TEST_P(arena_file_without_descriptor, makes_no_object_and_no_process)
{
    const other_file_mask mask(file_mask());
    prepare(GetParam());
    ASSERT_EQ(cv_init_driver(), 0);
    const int64_t threads = running_threads();
    {
        const lower_limit none(RLIMIT_NOFILE, 0);
        EXPECT_EQ(canvas_init_tile_access(), -256);
    }
    EXPECT_EQ(cv_tile_access_fdes_sema, -1);
    EXPECT_EQ(cv_tile_access_sema, nullptr);
    EXPECT_EQ(cv_tile_access_lock, nullptr);
    EXPECT_EQ(cv_tile_access_barrier, nullptr);
    EXPECT_EQ(running_threads(), threads);
    MP_free_lock(cnt_lock);
    MP_exit();
}

TEST_P(arena_file_without_descriptor, is_made_by_the_next_start)
{
    const other_file_mask mask(file_mask());
    start_without_descriptors();
    cv_master_exit();
    start();
    EXPECT_TRUE(exists(cv_tile_sema_file));
    const int32_t canvas = new_picture("picture", 300, 300);
    std::vector<uint8_t> colour(1200, 9);
    std::vector<uint8_t> alpha(300, 9);
    EXPECT_EQ(cv_storeline(canvas, colour.data(), alpha.data(), 0, 0, 299), 0);
}

}  // namespace
