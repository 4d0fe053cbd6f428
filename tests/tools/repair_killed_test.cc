// repair and compact that are killed, by a real SIGKILL at every call that changes a file: under the name lies the file
// as it was or the new one, whole, and of a damaged file nothing is ever lost.
#include <csignal>
#include <functional>

#include "tests/tools/support/damaged_canvas.h"
#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

using strings = std::vector<std::string>;
namespace field = header_field;

class repair_killed_test : public import_test, public ::testing::WithParamInterface<bool> {
protected:
    void SetUp() override
    {
        if (under_sanitizer()) GTEST_SKIP() << "sanitizers cannot be loaded after other libraries";
        write_png(path("photo.png"), make_image(700, 300, model::rgb, true));
        import("photo.png", {});
        sound_ = read_bytes(path("canvas"));
    }

    // Killed at this call, counted from 1.
    outcome run_until(int call, const std::string& command)
    {
        const std::string library = IOCACHE_DEADLY_CALLS;
        strings environment{"/usr/bin/env", "LD_PRELOAD=" + library, "IOCACHE_TEST_DIE_AT=" + std::to_string(call)};
        if (!GetParam()) environment.emplace_back("IOCACHE_TEST_NO_LINKS=1");
        return run(strings{"/usr/bin/setsid"} + environment + strings{tool(), command, path("canvas")});
    }

    // Some file of the folder holds this.
    bool is_somewhere(const std::vector<std::uint8_t>& content) const
    {
        for (const std::string& name : files()) {
            if (read_bytes(path(name)) == content) return true;
        }
        return false;
    }
    void forget_leavings()
    {
        for (const std::string& name : files()) {
            if (name.starts_with("canvas")) std::filesystem::remove(path(name));
        }
    }

    void kill_everywhere(const std::string& command, const std::vector<std::uint8_t>& before, bool keeps_old)
    {
        int old_files = 0;
        int new_files = 0;
        for (int call = 1;; ++call) {
            SCOPED_TRACE(call);
            forget_leavings();
            write_bytes(path("canvas"), before);
            const outcome killed = run_until(call, command);
            if (killed.exit_code == 0) break;  // it needed fewer calls
            ASSERT_EQ(killed.signal, SIGKILL) << killed.err;
            const std::vector<std::uint8_t> now = read_bytes(path("canvas"));
            EXPECT_TRUE(now == before || now == sound_);
            ++(now == before ? old_files : new_files);
            EXPECT_TRUE(!keeps_old || is_somewhere(before));
        }
        EXPECT_TRUE(read_bytes(path("canvas")) == sound_);
        EXPECT_GE(old_files, 2);
        EXPECT_GT(new_files, 0);
    }

    std::vector<std::uint8_t> sound_;
};

TEST_P(repair_killed_test, a_repair_leaves_the_damaged_file_or_the_repaired_one)
{
    damaged_canvas canvas(path("canvas"));
    canvas.fill(canvas.entry_place(0), 512, 0xFF).put32(field::width, 3);
    kill_everywhere("repair", canvas.bytes, true);
}

TEST_P(repair_killed_test, a_compaction_leaves_the_file_or_the_compact_one)
{
    damaged_canvas canvas(path("canvas"));
    canvas.put32(field::tiles_written, canvas.slots() + 1);
    canvas.bytes.resize(canvas.slot_place(canvas.slots()), 0x77);
    kill_everywhere("compact", canvas.bytes, false);
}

std::string links_name(const ::testing::TestParamInfo<bool>& tested)
{
    return tested.param ? "with_links" : "without_links";
}

INSTANTIATE_TEST_SUITE_P(, repair_killed_test, ::testing::Bool(), links_name);

}  // namespace

}  // namespace tool_tests
