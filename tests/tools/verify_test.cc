// verify finds every sort of damage, says what it means, and never writes.
#include <functional>

#include <nlohmann/json.hpp>

#include <sys/stat.h>

#include "tests/tools/support/damaged_canvas.h"
#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

using nlohmann::json;
namespace field = header_field;

std::vector<std::string> ids_of(const json& report)
{
    std::vector<std::string> ids;
    for (const json& finding : report["findings"]) ids.push_back(finding["id"]);
    return ids;
}

bool holds(const std::vector<std::string>& ids, const std::string& id)
{
    return std::ranges::find(ids, id) != ids.end();
}

// 1301 x 977 pixels: 6 x 4 tiles, a reduced image, margins at the right and at the bottom.
class verify_test : public import_test {
protected:
    void SetUp() override
    {
        write_png(path("photo.png"), make_image(1301, 977, model::rgb));
        import("photo.png", process_mode());
        sound_ = read_bytes(path("canvas"));
    }

    json verify(int exit_code, const std::vector<std::string>& options = {"--full"})
    {
        const outcome result = iocache(std::vector<std::string>{"verify", "--json", path("canvas")} + options);
        EXPECT_EQ(result.exit_code, exit_code) << result.err << result.out;
        return json::parse(result.out)[0];
    }

    using change = std::function<void(damaged_canvas&)>;
    json verify_changed(const change& break_it, int exit_code, const std::vector<std::string>& options = {"--full"})
    {
        write_bytes(path("canvas"), sound_);
        damaged_canvas canvas(path("canvas"));
        break_it(canvas);
        write_bytes(path("canvas"), canvas.bytes);
        return verify(exit_code, options);
    }
    // Exactly this finding is damage, and it is explained.
    void expect_only(const std::string& id, const change& break_it,
                     const std::vector<std::string>& options = {"--full"})
    {
        SCOPED_TRACE(id);
        const json report = verify_changed(break_it, 1, options);
        EXPECT_EQ(ids_of(report), std::vector<std::string>{id}) << report.dump(1);
        EXPECT_EQ(report["damaged"], true);
        for (const json& finding : report["findings"]) {
            EXPECT_EQ(finding["severity"], "damage");
            EXPECT_GT(finding["what"].get<std::string>().size(), 10U);
            EXPECT_GT(finding["meaning"].get<std::string>().size(), 20U);
        }
    }
    void expect_among(const std::string& id, const change& break_it)
    {
        SCOPED_TRACE(id);
        const json report = verify_changed(break_it, 1);
        EXPECT_TRUE(holds(ids_of(report), id)) << report.dump(1);
    }

    std::vector<std::uint8_t> sound_;
};

TEST_F(verify_test, an_imported_canvas_is_clean)
{
    for (const char* const depth : {"--quick", "--full"}) {
        const json report = verify(0, {depth});
        EXPECT_EQ(report["damaged"], false);
        EXPECT_TRUE(report["findings"].empty());
    }
    const outcome text = iocache({"verify", path("canvas")});
    EXPECT_EQ(text.exit_code, 0);
    EXPECT_EQ(text.out, path("canvas") + ": clean\n");
}

TEST_F(verify_test, every_number_that_follows_from_others_is_checked)
{
    struct number {
        const char* id;
        std::size_t at;
        int bytes;
        std::int64_t value;
    };
    const number numbers[] = {
        {"header-x_max", field::x_max, 2, 1299},
        {"header-orig_x_max", field::orig_x_max, 2, 7},
        {"header-width", field::width, 4, 1},
        {"header-height", field::height, 4, -5},
        {"header-image_kind", field::image_kind, 2, 0},
        {"header-reserved_022", field::kind_mark, 2, 0},
        {"header-has_subsampled", field::has_subsampled, 2, 0},
        {"header-icon_width", field::icon_width, 2, 32767},
        {"header-tile_width", field::tile_width, 2, 128},
        {"header-tile_height", field::tile_height, 2, -1},
        {"header-tiles_across", field::tiles_across, 2, 7},
        {"header-x_offset", field::x_offset, 4, 0x7FFFFFFF},
        {"header-icon_offset", field::icon_offset, 4, 0},
        {"header-subsampled_offset", field::subsampled_offset, 4, 4096},
        {"header-tile_table_offset", field::tile_table_offset, 4, 8192},
        {"header-tiles_offset", field::tiles_offset, 4, -512},
        {"header-header_bytes", field::header_bytes, 4, 0},
        {"header-icon_bytes", field::icon_bytes, 4, 512},
        {"header-subsampled_bytes", field::subsampled_bytes, 4, 0},
        {"header-tile_table_bytes", field::tile_table_bytes, 4, -1},
        {"header-tile_bytes", field::tile_bytes, 4, 0x7FFFFFFF},
        {"header-tqcms_bytes", field::tqcms_bytes, 4, 0},
        {"header-ink_bytes", field::ink_bytes, 4, 6143},
        {"header-scale", field::scale, 4, 0},
    };
    for (const number& one : numbers) {
        expect_only(one.id, [&](damaged_canvas& canvas) {
            one.bytes == 2 ? canvas.put16(one.at, static_cast<std::int32_t>(one.value))
                           : canvas.put32(one.at, one.value);
        });
    }
}

TEST_F(verify_test, a_header_without_a_size_or_a_grid_is_told)
{
    expect_only("no-bounds", [](damaged_canvas& canvas) {
        canvas.put16(field::x_max, -5).put16(field::orig_x_max, 3).put32(field::width, 77);
    });
    expect_only("no-grid", [](damaged_canvas& canvas) {
        canvas.put32(field::x_offset, 0x7FFFFFF0).put16(field::tiles_across, 9);
    });
}

TEST_F(verify_test, the_length_of_the_file_is_checked)
{
    expect_only("tail", [](damaged_canvas& canvas) { canvas.bytes.resize(canvas.bytes.size() + 327680); }, {"--quick"});
    expect_only("too-short", [](damaged_canvas& canvas) { canvas.put32(field::tiles_written, 0x7FFFFFFF); },
                {"--quick"});
    expect_among("slot-count", [](damaged_canvas& canvas) { canvas.put32(field::tiles_written, -1); });
    expect_among("lost-tile", [](damaged_canvas& canvas) { canvas.cut_at_slot(20, 1000); });
    expect_among("too-short", [](damaged_canvas& canvas) { canvas.cut_at_slot(20, 1000); });
    expect_among("region-cut-off", [](damaged_canvas& canvas) { canvas.bytes.resize(100'000); });
}

TEST_F(verify_test, the_whole_table_is_checked)
{
    expect_among("half-announced", [](damaged_canvas& canvas) { canvas.put_entry(3, canvas.slots()); });
    expect_among("wild-entry", [](damaged_canvas& canvas) { canvas.put_entry(23, canvas.slots() + 1000); });
    expect_among("wild-entry", [](damaged_canvas& canvas) { canvas.put_entry(5, -2); });
    expect_among("double", [](damaged_canvas& canvas) { canvas.put_entry(23, canvas.entry(0)); });
    expect_among("orphan", [](damaged_canvas& canvas) { canvas.put_entry(11, -1); });
}

TEST_F(verify_test, what_opening_makes_of_an_entry_is_told)
{
    // Opening looks at as many entries as there are slots: here at all of them, or at the first only.
    const auto meaning = [](const json& report, const std::string& id) {
        for (const json& finding : report["findings"]) {
            if (finding["id"] == id) return finding["meaning"].get<std::string>();
        }
        return std::string("not found");
    };
    const auto announce = [](damaged_canvas& canvas) { canvas.put_entry(3, canvas.slots()); };
    EXPECT_NE(meaning(verify_changed(announce, 1), "half-announced").find("does not open"), std::string::npos);
    const auto announce_late = [](damaged_canvas& canvas) {
        for (std::size_t tile = 1; tile < 24; ++tile) canvas.put_entry(tile, -1);
        canvas.put32(field::tiles_written, 1).cut_at_slot(1).put_entry(7, 1);
    };
    EXPECT_NE(meaning(verify_changed(announce_late, 1), "half-announced").find("opens and takes it as never written"),
              std::string::npos);
}

TEST_F(verify_test, reduced_image_icon_and_margins_are_checked_against_the_tiles)
{
    const auto reduced = [](const damaged_canvas& canvas) {
        return static_cast<std::size_t>(canvas.number(field::subsampled_offset));
    };
    expect_only("reduced-stale", [&](damaged_canvas& canvas) { canvas.bytes[reduced(canvas) + 1003] ^= 1; });
    expect_only("reduced-stale",
                [&](damaged_canvas& canvas) { canvas.bytes[reduced(canvas) + 1024 * 769 * 4 + 5] ^= 1; });
    expect_only("icon-stale", [](damaged_canvas& canvas) { canvas.bytes[4096 + 400 * 5 + 2] ^= 0x80; });
    // The last column of tiles has 21 pixels of the image.
    expect_only("margin",
                [](damaged_canvas& canvas) { canvas.bytes[canvas.slot_place(canvas.entry(5)) + 21 * 4] = 1; });
    expect_only("margin", [](damaged_canvas& canvas) {
        canvas.bytes[canvas.slot_place(canvas.entry(5)) + 262144 + 256 * 255 + 255] = 1;
    });
    // Not looked for without --full.
    EXPECT_TRUE(
        verify_changed([&](damaged_canvas& canvas) { canvas.bytes[reduced(canvas) + 1003] ^= 1; }, 0, {})["findings"]
            .empty());
}

TEST_F(verify_test, images_that_were_never_made_are_no_damage)
{
    const json report = verify_changed(
        [](damaged_canvas& canvas) {
            canvas.fill_region(field::subsampled_offset, field::subsampled_bytes, 0);
            canvas.fill_region(field::icon_offset, field::icon_bytes, 0);
        },
        0);
    EXPECT_EQ(ids_of(report), (std::vector<std::string>{"reduced-empty", "icon-empty"}));
    for (const json& finding : report["findings"]) EXPECT_EQ(finding["severity"], "notice");
}

TEST_F(verify_test, a_canvas_that_was_not_closed_is_told)
{
    expect_only("not-closed", [](damaged_canvas& canvas) { canvas.put32(field::dirty, 1); }, {"--quick"});
}

TEST_F(verify_test, tiles_of_another_size_are_no_damage)
{
    const auto make_lower = [](damaged_canvas& canvas) {
        canvas.put16(field::tile_width, 128).put32(field::tile_bytes, 128 * 256 * 5).put16(field::tiles_across, 11);
        canvas.put32(field::tiles_written, 0).cut_at_slot(0);
        for (std::size_t tile = 0; tile < 44; ++tile) canvas.put_entry(tile, -1);
        canvas.fill_region(field::subsampled_offset, field::subsampled_bytes, 0);
        canvas.fill_region(field::icon_offset, field::icon_bytes, 0);
    };
    EXPECT_EQ(ids_of(verify_changed(make_lower, 0)), std::vector<std::string>{"unusual-tiles"});
}

TEST_F(verify_test, what_is_no_canvas_is_refused_and_does_not_hide_the_others)
{
    write_bytes(path("text"), {'h', 'e', 'l', 'l', 'o'});
    const outcome result = iocache({"verify", "--json", path("text"), path("canvas"), path("missing")});
    EXPECT_EQ(result.exit_code, 4);
    const json all = json::parse(result.out);
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(all[0]["file"], path("text"));
    EXPECT_EQ(all[0]["error"], path("text") + ": not a canvas");
    EXPECT_EQ(all[0]["exit_code"], 4);
    EXPECT_EQ(all[1]["damaged"], false);
    EXPECT_EQ(all[2]["exit_code"], 3);
    EXPECT_NE(result.err.find("not a canvas"), std::string::npos);
    EXPECT_EQ(iocache({"verify", path("text")}).exit_code, 4);
    EXPECT_EQ(iocache({"verify", path("missing")}).exit_code, 3);
    EXPECT_EQ(iocache({"verify"}).exit_code, 2);
    EXPECT_EQ(iocache({"verify", "--quick", "--full", path("canvas")}).exit_code, 2);
    damaged_canvas(path("canvas"));
    verify_changed([](damaged_canvas& canvas) { canvas.put32(field::dirty, 1); }, 1, {"--quick"});
}

TEST_F(verify_test, a_mask_of_the_older_version_is_not_looked_at)
{
    import("photo.png", {"--mask"});
    damaged_canvas canvas(path("canvas"));
    write_bytes(path("canvas"), canvas.put32(field::version, 1).bytes);
    EXPECT_EQ(iocache({"verify", path("canvas")}).exit_code, 4);
}

TEST_F(verify_test, a_mask_is_checked_as_a_mask)
{
    import("photo.png", {"--mask"});
    sound_ = read_bytes(path("canvas"));
    EXPECT_TRUE(verify(0)["findings"].empty());
    expect_only("header-image_kind", [](damaged_canvas& canvas) { canvas.put16(field::image_kind, 3); });
    expect_only("margin", [](damaged_canvas& canvas) { canvas.bytes[canvas.slot_place(canvas.entry(5)) + 21] = 1; });
    expect_only("reduced-stale", [](damaged_canvas& canvas) {
        canvas.bytes[static_cast<std::size_t>(canvas.number(field::subsampled_offset)) + 5] ^= 1;
    });
}

TEST_F(verify_test, nothing_of_the_file_changes_whatever_is_found)
{
    for (const bool is_damaged : {false, true}) {
        if (is_damaged) verify_changed([](damaged_canvas& canvas) { canvas.put_entry(3, 77); }, 1);
        const std::vector<std::uint8_t> before = read_bytes(path("canvas"));
        struct stat old {};
        ::stat(path("canvas").c_str(), &old);
        ::chmod(path("canvas").c_str(), 0444);
        ::chmod(folder().c_str(), 0555);
        struct stat now {};
        ::stat(path("canvas").c_str(), &now);
        const timespec changed = now.st_ctim;
        iocache({"verify", "--full", path("canvas")});
        ::stat(path("canvas").c_str(), &now);
        ::chmod(folder().c_str(), 0755);
        ::chmod(path("canvas").c_str(), 0644);
        EXPECT_EQ(now.st_mtim.tv_sec, old.st_mtim.tv_sec);
        EXPECT_EQ(now.st_mtim.tv_nsec, old.st_mtim.tv_nsec);
        EXPECT_EQ(now.st_ctim.tv_nsec, changed.tv_nsec);
        EXPECT_EQ(now.st_atim.tv_nsec, old.st_atim.tv_nsec);
        EXPECT_TRUE(read_bytes(path("canvas")) == before);
    }
}

TEST_F(verify_test, tiles_that_the_disk_does_not_give_are_told_and_not_repaired)
{
    if (under_sanitizer()) GTEST_SKIP() << "sanitizers cannot be loaded after other libraries";
    const damaged_canvas canvas(path("canvas"));
    const std::string from = "IOCACHE_TEST_BAD_SECTORS=" + std::to_string(canvas.slot_place(20));
    const std::vector<std::string> with_bad_disk{"/usr/bin/env", "LD_PRELOAD=" FAILING_READS, from, tool()};
    const outcome found = run(with_bad_disk + std::vector<std::string>{"verify", "--full", path("canvas")});
    EXPECT_EQ(found.exit_code, 1) << found.err;
    EXPECT_NE(found.out.find("damage unreadable: 4 tile(s) cannot be read"), std::string::npos) << found.out;
    EXPECT_NE(found.out.find("Input/output error"), std::string::npos) << found.out;
    const outcome repaired = run(with_bad_disk + std::vector<std::string>{"repair", path("canvas")});
    EXPECT_EQ(repaired.exit_code, 1);
    EXPECT_NE(repaired.out.find("cannot be repaired"), std::string::npos) << repaired.out;
    EXPECT_TRUE(read_bytes(path("canvas")) == sound_);
}

TEST_F(verify_test, a_read_only_mount_is_enough)
{
    // In a name space of its own the folder is mounted on itself, read-only.
    const std::string mount = "mount --bind \"$1\" \"$1\" && mount -o remount,ro,bind \"$1\"";
    const auto in_own_space = [&](const std::string& command) {
        return run({"/usr/bin/unshare", "-m", "/bin/sh", "-c", mount + " && " + command, "sh", folder().string(),
                    tool(), path("canvas")});
    };
    if (in_own_space("! touch \"$1/probe\" 2> /dev/null").exit_code != 0) GTEST_SKIP() << "may not mount";
    const outcome result = in_own_space("\"$2\" verify --full \"$3\"");
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_EQ(result.out, path("canvas") + ": clean\n");
}

TEST_F(verify_test, any_header_and_table_is_survived)
{
    std::uint32_t noise = 7;
    for (int round = 0; round < 100; ++round) {
        std::vector<std::uint8_t> bytes = sound_;
        const auto table = static_cast<std::size_t>(damaged_canvas(path("canvas")).number(field::tile_table_offset));
        for (int byte = 0; byte < 6; ++byte) {
            noise = noise * 1664525U + 1013904223U;
            const std::size_t at = byte % 2 == 0 ? (noise >> 8) % 0x690 : table + (noise >> 8) % 96;
            if (at >= field::magic && at < field::magic + 8) continue;
            bytes[at] = static_cast<std::uint8_t>(noise >> 24);
        }
        write_bytes(path("broken"), bytes);
        for (const char* const command : {"verify", "repair"}) {
            const bool repairs = command == std::string("repair");
            const outcome result = iocache({command, repairs ? "--dry-run" : "--full", path("broken")});
            ASSERT_TRUE(result.exit_code == 0 || result.exit_code == 1)
                << round << " " << result.exit_code << " " << result.signal << result.err;
        }
    }
}

}  // namespace

}  // namespace tool_tests
