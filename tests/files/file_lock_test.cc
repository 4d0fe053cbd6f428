// The advisory lock of an open canvas: who else has the file is told in the log, and nobody is refused.
#include <cerrno>
#include <csignal>
#include <functional>
#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/canvas/canvas_test.h"
#include "tests/files/replaced_calls.h"
#include "tests/files/unprivileged.h"
#include "tests/setup/logged_run.h"
#include "tests/support/block_writer.h"

namespace {

using namespace iocache_test;

constexpr int32_t close_stream_opcode = 51;

// A descriptor of the file's own, as another program would have it.
class other_program {
public:
    explicit other_program(const std::string& file, int operation = LOCK_UN)
        : descriptor_(open(file.c_str(), O_RDWR | O_CLOEXEC))
    {
        EXPECT_EQ(flock(descriptor_, operation), 0);
    }
    ~other_program() { close(descriptor_); }
    other_program(const other_program&) = delete;
    other_program& operator=(const other_program&) = delete;

    bool can_lock(int operation) const
    {
        if (flock(descriptor_, operation | LOCK_NB) != 0) return false;
        flock(descriptor_, LOCK_UN);
        return true;
    }
    bool finds_it_free() const { return can_lock(LOCK_EX); }

private:
    int descriptor_;
};

// A process that does something, says so, and lives on until the end of the scope.
class second_process {
public:
    explicit second_process(const std::function<void()>& action)
    {
        int said[2];
        EXPECT_EQ(pipe2(said, O_CLOEXEC), 0);
        std::fflush(nullptr);
        child_ = fork();
        if (child_ == 0) {
            action();
            const char done = ::testing::Test::HasFailure() ? 1 : 0;
            static_cast<void>(write(said[1], &done, 1));
            for (;;) pause();
        }
        char done = 1;
        EXPECT_EQ(read(said[0], &done, 1), 1);
        EXPECT_EQ(done, 0) << "see the failures above";
        close(said[0]);
        close(said[1]);
    }
    ~second_process()
    {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    second_process(const second_process&) = delete;
    second_process& operator=(const second_process&) = delete;

private:
    pid_t child_;
};

class file_lock : public logged_test {
protected:
    // Each test's file is there before the library starts.
    void SetUp() override
    {
        start();
        const int32_t mask = new_mask("mask", 300, 100);
        draw(mask, 0x31);
        ASSERT_EQ(canvas_close(mask), 0);
        stop();
        cv_errno = 0;
    }
    static void draw(int32_t canvas, uint8_t value)
    {
        const bytes pixels(300, value);
        EXPECT_EQ(cv_storeline(canvas, pixels.data(), nullptr, 5, 0, 299), 0);
    }
    static bytes drawn(int32_t canvas)
    {
        bytes pixels(300);
        EXPECT_EQ(cv_getline(canvas, pixels.data(), nullptr, 5, 0, 299), 0);
        return pixels;
    }
    // What the cache does when the canvas has no tile in memory any more.
    static int32_t close_stream(int32_t canvas)
    {
        parg.req[0].canvas = canvas;
        parg.opcode = close_stream_opcode;
        return cv_tile_access();
    }
    int32_t opened() const
    {
        const int32_t canvas = canvas_old(path("mask").c_str());
        EXPECT_GE(canvas, 0) << host().last_message();
        cv_mark_canvas_save(canvas);
        return canvas;
    }
    // Lines of the log that say that this file is in use elsewhere.
    int64_t lines_about(const std::string& name) const
    {
        const std::vector<std::string> lines = lines_of(log_text());
        return std::ranges::count(lines, "  File is in use elsewhere, opened all the same " + path(name));
    }
    static bool holds_any(const std::string& text) { return text.find("in use elsewhere") != std::string::npos; }

private:
    replaced_calls::reset calls_;
};

TEST_P(file_lock, second_process_that_opens_the_same_file_is_logged_and_served)
{
    const second_process first([this] {
        start();
        EXPECT_GE(opened(), 0);
    });
    start_logging(output::file);
    const int32_t canvas = opened();
    EXPECT_EQ(lines_about("mask"), 1);
    EXPECT_EQ(host().messages(), messages{}) << "the host is told nothing";
    EXPECT_EQ(cv_errno, 0);
    EXPECT_EQ(drawn(canvas), bytes(300, 0x31));
    draw(canvas, 0x32);
    EXPECT_EQ(drawn(canvas), bytes(300, 0x32));
    EXPECT_EQ(canvas_close(canvas), 0);
    EXPECT_EQ(lines_about("mask"), 1);
}

TEST_P(file_lock, process_that_was_killed_leaves_no_lock)
{
    {
        const second_process first([this] {
            start();
            EXPECT_GE(opened(), 0);
        });
        EXPECT_FALSE(other_program(path("mask")).finds_it_free());
    }
    start_logging(output::file);
    opened();
    EXPECT_EQ(lines_about("mask"), 0);
}

// Nothing that one process does with its canvases gets into its own way.
TEST_P(file_lock, process_alone_finds_no_file_in_use)
{
    start_logging(output::file);
    std::vector<int32_t> canvases = {opened(), new_picture("picture", 300, 100)};
    for (int round = 0; round < 3; ++round) {
        draw(canvases[0], 0x40);
        EXPECT_EQ(cv_flush_tiles(canvases[0]), 0);
        EXPECT_EQ(close_stream(canvases[0]), 0);
        EXPECT_EQ(drawn(canvases[0]), bytes(300, 0x40));
        EXPECT_EQ(opened(), canvases[0]) << "open already";
        EXPECT_EQ(canvas_rename_file(canvases[0], path("moved").c_str()), 0);
        EXPECT_EQ(canvas_rename_file(canvases[0], path("mask").c_str()), 0);
        EXPECT_EQ(canvas_close_file(canvases[0]), 0);
        EXPECT_EQ(canvas_open_file(canvases[0]), -30);
        EXPECT_EQ(canvas_open_file(canvases[1]), -30) << "opened twice";
        EXPECT_EQ(canvas_close(canvases[0]), 0);
        canvases[0] = opened();
    }
    EXPECT_FALSE(holds_any(log_text())) << log_text();
}

TEST_P(file_lock, conversions_find_no_file_in_use)
{
    write_whole_file(path("old"), old_file({}, iocache_test::pattern));
    start_logging(output::file);
    EXPECT_GE(canvas_old(path("old").c_str()), 0) << host().last_message();

    const int32_t mask = opened();
    canvastable[mask]->header->version_filetype = 1;
    EXPECT_EQ(cv_write_header(mask), 0);
    EXPECT_EQ(canvas_close(mask), 0);
    EXPECT_EQ(drawn(opened()), bytes(300, 0x31));
    EXPECT_FALSE(holds_any(log_text())) << log_text();
}

TEST_P(file_lock, is_held_from_opening_to_closing_whatever_becomes_of_the_streams)
{
    start();
    const other_program other(path("mask"));
    ASSERT_TRUE(other.finds_it_free());
    const int32_t canvas = opened();
    EXPECT_FALSE(other.can_lock(LOCK_SH)) << "exclusive: the file can be written";
    EXPECT_EQ(drawn(canvas), bytes(300, 0x31));
    EXPECT_EQ(cv_flush_tiles(canvas), 0);
    EXPECT_EQ(close_stream(canvas), 0);
    EXPECT_EQ(canvastable[canvas]->fp2, nullptr);
    EXPECT_FALSE(other.can_lock(LOCK_SH)) << "with both streams closed";
    {
        const other_program passing(path("mask"));
    }  // closing another descriptor loses no lock
    EXPECT_FALSE(other.can_lock(LOCK_SH)) << "with a descriptor of the file closed";
    EXPECT_EQ(drawn(canvas), bytes(300, 0x31));
    EXPECT_NE(canvastable[canvas]->fp2, nullptr);
    EXPECT_FALSE(other.can_lock(LOCK_SH)) << "with a stream opened again";
    EXPECT_EQ(canvas_close(canvas), 0);
    EXPECT_TRUE(other.finds_it_free());
}

TEST_P(file_lock, of_a_new_canvas_goes_with_it)
{
    start();
    const int32_t canvas = new_mask("fresh", 100, 100);
    const other_program other(path("fresh"));
    EXPECT_FALSE(other.can_lock(LOCK_SH));
    EXPECT_EQ(canvas_close(canvas), 0);
    EXPECT_TRUE(other.finds_it_free());
}

TEST_P(file_lock, of_a_file_that_is_refused_goes_at_once)
{
    bytes damaged = read_whole_file(path("mask"));
    damaged.resize(damaged.size() - 1000);
    write_whole_file(path("mask"), damaged);
    start();
    EXPECT_LT(canvas_old(path("mask").c_str()), 0);
    EXPECT_TRUE(other_program(path("mask")).finds_it_free());
}

TEST_P(file_lock, of_a_file_that_can_only_be_read_is_shared)
{
    std::filesystem::permissions(path(""), std::filesystem::perms::all);
    std::filesystem::permissions(path("mask"), std::filesystem::perms{0444});
    const other_program other(path("mask"));
    run_unprivileged([&] {
        start();
        opened();
        EXPECT_TRUE(other.can_lock(LOCK_SH)) << "readers do not contend";
        EXPECT_FALSE(other.can_lock(LOCK_EX)) << "a writer does";
        stop();
    });
}

// The parent's locks are its own, whatever its children do with what they inherit.
TEST_P(file_lock, forked_child_neither_loses_nor_keeps_it)
{
    start();
    const int32_t canvas = opened();
    const other_program other(path("mask"));
    {
        const second_process child([&] { EXPECT_EQ(canvas_close_file(canvas), 0); });
        EXPECT_FALSE(other.can_lock(LOCK_SH)) << "the child has closed its own";
    }
    EXPECT_FALSE(other.can_lock(LOCK_SH)) << "the child has ended";
    const second_process child([] {});
    EXPECT_EQ(canvas_close(canvas), 0);
    EXPECT_TRUE(other.finds_it_free()) << "though a child still has the descriptors";
}

TEST_P(file_lock, programs_that_the_host_starts_do_not_inherit_it)
{
    start();
    const size_t before = open_descriptors();
    ASSERT_EQ(close_stream(opened()), 0);  // the lock is kept by a descriptor of its own
    size_t seen = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code ignored;
        if (std::filesystem::read_symlink(entry.path(), ignored) != path("mask")) continue;
        ++seen;
        EXPECT_NE(fcntl(std::stoi(entry.path().filename().string()), F_GETFD) & FD_CLOEXEC, 0);
    }
    EXPECT_EQ(seen, open_descriptors() - before);
    EXPECT_GE(seen, 1U);
}

TEST_P(file_lock, file_system_that_knows_none_is_used_without)
{
    for (const int error : {ENOLCK, EOPNOTSUPP, ENOSYS, EINVAL, EIO}) {
        replaced_calls::on_lock = [error](int, int) { return errno = error, -1; };
        start_logging(output::screen);
        const std::string printed = printed_by([&] {
            const int32_t canvas = opened();
            EXPECT_EQ(drawn(canvas), bytes(300, 0x31));
            EXPECT_EQ(canvas_close(canvas), 0);
        });
        EXPECT_EQ(printed, "  Closing canvas " + path("mask") + "\n") << strerror(error);
        EXPECT_EQ(host().messages(), messages{});
        stop_logging();
    }
}

TEST_P(file_lock, needs_no_more_descriptors_than_the_streams)
{
    start();
    const int32_t canvas = opened();
    ASSERT_EQ(canvas_close_file(canvas), 0);
    const size_t before = open_descriptors();
    {
        const descriptor_limit only_two(2);
        EXPECT_EQ(canvas_open_file(canvas), -30);
        EXPECT_EQ(close_stream(canvas), 0);
        EXPECT_EQ(drawn(canvas), bytes(300, 0x31));
    }
    EXPECT_EQ(open_descriptors(), before + 2);
    EXPECT_EQ(canvas_close_file(canvas), 0);
    EXPECT_EQ(open_descriptors(), before);
}

TEST_P(file_lock, run_that_was_left_quickly_leaves_none_to_the_next)
{
    start_logging(output::file);
    static cv_canvas* left_record;  // the library never frees it; known here, it is no lost memory
    left_record = canvastable[opened()];
    cv_mark_canvas_save(left_record->index);
    cv_master_exit_quit();
    EXPECT_TRUE(other_program(path("mask")).finds_it_free());
    ASSERT_TRUE(std::filesystem::remove(log_folder() + "/" + log_files().at(0)));
    prepare(GetParam());
    setenv("TQ_IMG0", log_folder().c_str(), 1);
    setenv("TQ_CRE_LOG", "", 1);
    printed_by([] { cv_master_init(); });
    opened();
    EXPECT_EQ(lines_about("mask"), 0);
}

INSTANTIATE_TEST_SUITE_P(, file_lock, both_modes(), mode_name);

}  // namespace
