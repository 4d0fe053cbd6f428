// A run that is killed, by a real SIGKILL at every call that changes a file: under the name lies the old file or the
// complete canvas, the original is never lost, and the next run ends what this one began.
#include <csignal>

#include "tests/tools/support/old_files.h"

namespace tool_tests {

namespace {

using strings = std::vector<std::string>;

class convert_old_killed_test : public old_file_test {
protected:
    void SetUp() override
    {
        if (under_sanitizer()) GTEST_SKIP() << "sanitizers cannot be loaded after other libraries";
    }

    // Killed at this call, counted from 1; not at all when it is 0.
    outcome convert_until(int call, const strings& options)
    {
        strings environment{"/usr/bin/env", std::string("LD_PRELOAD=") + IOCACHE_DEADLY_CALLS,
                            "IOCACHE_TEST_DIE_AT=" + std::to_string(call)};
        if (!has_links) environment.emplace_back("IOCACHE_TEST_NO_LINKS=1");
        return run(strings{"/usr/bin/setsid"} + environment + strings{tool(), "convert-old", path("old")} + options);
    }

    // Whatever is there now, a complete original is among it, and nothing half made has its name.
    void expect_no_loss(const std::vector<std::uint8_t>& original, const old_pixels& pixels)
    {
        if (!std::filesystem::exists(path("old"))) {
            ++seen_none;
            EXPECT_TRUE(read_bytes(path("old.orig")) == original);
            return;
        }
        if (read_bytes(path("old")) == original) return;
        ++seen_new;
        EXPECT_TRUE(read_bytes(path("old.orig")) == original);
        expect_canvas("old", pixels, 0);
    }
    void kill_everywhere(const std::vector<std::uint8_t>& original, const old_pixels& pixels, const strings& mode)
    {
        SCOPED_TRACE(mode.back());
        int call = 0;
        for (;;) {
            SCOPED_TRACE(++call);
            clear();
            write_bytes(path("old"), original);
            const outcome killed = convert_until(call, mode);
            if (killed.exit_code == 0) break;  // it needed fewer calls
            ASSERT_EQ(killed.signal, SIGKILL) << killed.err;
            expect_no_loss(original, pixels);
            const outcome next = convert_until(0, mode);
            EXPECT_EQ(next.exit_code, 0) << next.err;
            EXPECT_EQ(std::count(next.out.begin(), next.out.end(), '\n'), 1) << next.out;
            EXPECT_TRUE(read_bytes(path("old.orig")) == original);
            EXPECT_EQ(files(), (strings{"old", "old.orig"}));
            expect_canvas("old", pixels, 0);
        }
        EXPECT_GT(call, 20);
        EXPECT_GT(seen_new, 0);
        EXPECT_EQ(seen_none > 0, !has_links);
    }

    bool has_links = true;
    int seen_new = 0;
    int seen_none = 0;
};

TEST_F(convert_old_killed_test, picture_in_blocks)
{
    const old_pixels pixels = pattern_pixels(300, 270, true);
    const std::vector<std::uint8_t> original = block_file(pixels, {.flag = '0'});
    kill_everywhere(original, pixels, process_mode());
    kill_everywhere(original, pixels, in_line_mode());
}

TEST_F(convert_old_killed_test, mask_of_version_1)
{
    const canvas_pixels canvas = make_version_1("old", 1100, 300);
    kill_everywhere(read_bytes(path("old")), {canvas.width, canvas.height, false, canvas.colour}, process_mode());
}

TEST_F(convert_old_killed_test, where_a_file_cannot_have_two_names)
{
    has_links = false;
    const old_pixels pixels = pattern_pixels(70, 70, false);
    kill_everywhere(block_file(pixels), pixels, in_line_mode());
}

TEST_F(convert_old_killed_test, names_that_a_killed_run_left_are_not_converted_by_themselves)
{
    const old_pixels pixels = pattern_pixels(300, 270, true);
    const std::vector<std::uint8_t> original = block_file(pixels);
    write_bytes(path("old"), original);
    std::filesystem::create_hard_link(path("old"), path("old.orig"));
    std::filesystem::create_directory(path("old.converting"));
    write_bytes(path("old.converting/copy"), {1, 2, 3});
    const outcome result = convert({"old", "old.converting", "old.orig"});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(files(), (strings{"old", "old.orig"}));
    EXPECT_TRUE(read_bytes(path("old.orig")) == original);
    expect_canvas("old", pixels, 0);
}

TEST_F(convert_old_killed_test, run_that_was_killed_between_two_renames_is_completed)
{
    const old_pixels pixels = pattern_pixels(300, 270, true);
    const std::vector<std::uint8_t> original = block_file(pixels);
    write_bytes(path("old"), original);
    expect_converted("old");
    // As it is left where a file cannot have two names.
    std::filesystem::create_directory(path("old.converting"));
    std::filesystem::rename(path("old"), path("old.converting/copy"));
    EXPECT_EQ(convert({"old"}, {"--dry-run"}).out,
              path("old") + ": would be completed: picture, 300 x 270; the original is " + path("old.orig") + "\n");
    // Whatever of it is named, it is that one file.
    EXPECT_EQ(convert({"old.converting", "old.orig", "old"}).out,
              path("old") + ": completed: picture, 300 x 270; the original is " + path("old.orig") + "\n");
    EXPECT_EQ(files(), (strings{"old", "old.orig"}));
    EXPECT_TRUE(read_bytes(path("old.orig")) == original);
    expect_canvas("old", pixels, 0);
}

}  // namespace

}  // namespace tool_tests
