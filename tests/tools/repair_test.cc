// repair makes broken files whole without touching the broken one, loses nothing that is there, and says what it lost.
#include <functional>

#include <nlohmann/json.hpp>

#include <sys/stat.h>

#include "tests/tools/support/damaged_canvas.h"
#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

namespace field = header_field;

class repair_test : public import_test {
protected:
    void SetUp() override { take(make_image(1301, 977, model::rgb, true), {}); }

    void take(const image& source, const std::vector<std::string>& options)
    {
        write_png(path("photo.png"), source);
        import("photo.png", options);
        sound_ = read_bytes(path("canvas"));
        pixels_ = read_canvas(path("canvas"));
    }

    using change = std::function<void(damaged_canvas&)>;
    void break_canvas(const change& break_it)
    {
        write_bytes(path("canvas"), sound_);
        damaged_canvas canvas(path("canvas"));
        break_it(canvas);
        write_bytes(path("canvas"), canvas.bytes);
        broken_ = canvas.bytes;
        for (const std::string& name : files()) {
            if (name.starts_with("canvas.")) std::filesystem::remove(path(name));
        }
    }

    outcome repair(const std::vector<std::string>& options = {})
    {
        return iocache(std::vector<std::string>{"repair", path("canvas")} + options);
    }

    // The file is whole, the broken one is kept, and nothing else lies around.
    outcome expect_repaired(int exit_code, const std::vector<std::string>& options = {})
    {
        EXPECT_EQ(iocache({"verify", "--full", path("canvas")}).exit_code, 1);
        outcome result = repair(options);
        EXPECT_EQ(result.exit_code, exit_code) << result.out << result.err;
        EXPECT_TRUE(read_bytes(path("canvas.damaged")) == broken_);
        const outcome check = iocache({"verify", "--full", path("canvas")});
        EXPECT_EQ(check.exit_code, 0) << check.out;
        return result;
    }
    void expect_all_pixels_back(const change& break_it)
    {
        break_canvas(break_it);
        expect_repaired(0);
        const canvas_pixels now = read_canvas(path("canvas"));
        EXPECT_EQ(first_difference(now.colour, pixels_.colour), "");
        EXPECT_EQ(first_difference(now.alpha, pixels_.alpha), "");
        EXPECT_EQ(files(), (std::vector<std::string>{"canvas", "canvas.damaged", "photo.png"}));
    }

    std::vector<std::uint8_t> sound_;
    std::vector<std::uint8_t> broken_;
    canvas_pixels pixels_;
};

TEST_F(repair_test, a_clean_canvas_is_left_alone)
{
    const outcome result = repair();
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_NE(result.out.find("nothing to repair"), std::string::npos);
    EXPECT_TRUE(read_bytes(path("canvas")) == sound_);
    EXPECT_EQ(files(), (std::vector<std::string>{"canvas", "photo.png"}));
}

TEST_F(repair_test, a_dry_run_tells_the_plan_and_writes_nothing)
{
    break_canvas([](damaged_canvas& canvas) { canvas.put_entry(3, canvas.slots()).put32(field::width, 3); });
    const outcome result = repair({"--dry-run"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_NE(result.out.find("plan: mend the header"), std::string::npos) << result.out;
    EXPECT_TRUE(read_bytes(path("canvas")) == broken_);
    EXPECT_EQ(files(), (std::vector<std::string>{"canvas", "photo.png"}));
}

TEST_F(repair_test, header_numbers_that_follow_from_others_are_made_again)
{
    struct number {
        std::size_t at;
        int bytes;
        std::int64_t value;
    };
    const number numbers[] = {
        {field::x_max, 2, -1},          {field::orig_x_max, 2, 7},         {field::width, 4, 1},
        {field::image_kind, 2, 0},      {field::has_subsampled, 2, 0},     {field::icon_width, 2, 32767},
        {field::tile_width, 2, 0},      {field::tiles_across, 2, -7},      {field::x_offset, 4, 0x7FFFFFFF},
        {field::icon_offset, 4, 0},     {field::subsampled_offset, 4, -1}, {field::tile_table_offset, 4, 8192},
        {field::tiles_offset, 4, -512}, {field::icon_bytes, 4, 512},       {field::subsampled_bytes, 4, 0},
        {field::tile_bytes, 4, 65536},  {field::tqcms_bytes, 4, 0},        {field::scale, 4, 0x7FF00000},
        {field::tiles_written, 4, -1},  {field::tiles_written, 4, 0},      {field::tiles_written, 4, 0x7FFFFFFF},
        {field::dirty, 4, 1},
    };
    for (const number& one : numbers) {
        SCOPED_TRACE(one.at);
        expect_all_pixels_back([&](damaged_canvas& canvas) {
            one.bytes == 2 ? canvas.put16(one.at, static_cast<std::int32_t>(one.value))
                           : canvas.put32(one.at, one.value);
        });
        EXPECT_TRUE(read_bytes(path("canvas")) == sound_);
    }
}

TEST_F(repair_test, several_broken_numbers_at_once_are_made_again)
{
    expect_all_pixels_back([](damaged_canvas& canvas) {
        canvas.put32(field::icon_offset, 7).put32(field::tile_table_offset, 9).put32(field::tiles_offset, 11);
        canvas.put32(field::icon_bytes, 0).put32(field::tile_bytes, 0).put32(field::subsampled_bytes, 3);
        canvas.put16(field::tiles_across, 0).put32(field::header_bytes, 0).put32(field::width, 0);
    });
    EXPECT_TRUE(read_bytes(path("canvas")) == sound_);
}

// Bounds, kind, sizes of tile and icon: all in the first sector, and all follow from others behind it.
TEST_F(repair_test, first_sector_that_a_disk_has_lost_is_made_again)
{
    constexpr std::size_t sector = 512;
    expect_all_pixels_back([](damaged_canvas& canvas) { canvas.fill(0, sector, 0); });
    import("photo.png", {"--mask"});
    sound_ = read_bytes(path("canvas"));
    pixels_ = read_canvas(path("canvas"));
    expect_all_pixels_back([](damaged_canvas& canvas) { canvas.fill(0, sector, 0); });
}

// With an offset of the grid nothing tells where the image begins.
TEST_F(repair_test, bounds_that_nothing_tells_are_not_made_up)
{
    break_canvas([](damaged_canvas& canvas) { canvas.fill(0, 512, 0).put32(field::x_offset, 20); });
    const outcome result = repair();
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_NE(result.out.find("cannot be repaired; nothing was changed"), std::string::npos) << result.out;
    EXPECT_TRUE(read_bytes(path("canvas")) == broken_);
}

TEST_F(repair_test, what_hangs_behind_the_last_tile_is_cut_off)
{
    for (const std::size_t more : {1U, 1000U, 327'680U, 400'000U}) {
        expect_all_pixels_back([&](damaged_canvas& canvas) { canvas.bytes.resize(canvas.bytes.size() + more, 'x'); });
        EXPECT_TRUE(read_bytes(path("canvas")) == sound_);
        EXPECT_EQ(repair().exit_code, 0) << "and there is nothing left to repair";
    }
}

TEST_F(repair_test, sheet_takes_no_other_files_place)
{
    break_canvas([](damaged_canvas& canvas) { canvas.put32(field::width, 3); });
    for (const char* const name : {"canvas", "photo.txt"}) {
        if (name == std::string("photo.txt")) write_bytes(path(name), {1, 2, 3, 4, 5, 6, 7, 8, 9});
        const std::vector<std::uint8_t> before = read_bytes(path(name));
        EXPECT_EQ(repair({"--sheet", path(name)}).exit_code, 2) << name;
        EXPECT_TRUE(read_bytes(path(name)) == before) << name;
        EXPECT_TRUE(read_bytes(path("canvas")) == broken_);
    }
}

TEST_F(repair_test, stale_images_and_margins_are_mended)
{
    expect_all_pixels_back([](damaged_canvas& canvas) {
        canvas.bytes[static_cast<std::size_t>(canvas.number(field::subsampled_offset)) + 99] ^= 0xFF;
        canvas.bytes[4096 + 10] ^= 0xFF;
        canvas.bytes[canvas.slot_place(canvas.entry(5)) + 21 * 4] = 1;
    });
    EXPECT_TRUE(read_bytes(path("canvas")) == sound_);
}

TEST_F(repair_test, half_announced_slots_are_cut)
{
    // As a killed program leaves them: the room is made and the table written, the header is not.
    break_canvas([](damaged_canvas& canvas) {
        canvas.put_entry(23, -1).put32(field::tiles_written, 23).cut_at_slot(23, 327680);
        canvas.fill(canvas.slot_place(23), 327680, 0).put_entry(3, 23).put_entry(23, 3).put32(field::dirty, 1);
        canvas.put_entry(3, 23);
    });
    const outcome result = expect_repaired(0);
    EXPECT_NE(result.out.find("take back 1 tile(s) that were announced and never saved"), std::string::npos);
    const damaged_canvas now(path("canvas"));
    EXPECT_EQ(now.entry(3), -1);
    EXPECT_EQ(now.slots(), 23);
    EXPECT_EQ(now.bytes.size(), now.slot_place(23));
    EXPECT_EQ(now.number(field::dirty), 0);
}

TEST_F(repair_test, room_that_was_never_announced_is_cut)
{
    expect_all_pixels_back([](damaged_canvas& canvas) { canvas.bytes.resize(canvas.bytes.size() + 327680 + 77); });
    EXPECT_TRUE(read_bytes(path("canvas")) == sound_);
}

TEST_F(repair_test, doubles_are_resolved_by_what_the_slots_show)
{
    // Tile 7 names tile 2's slot, and its own is lost; then a whole row does.
    expect_all_pixels_back([](damaged_canvas& canvas) { canvas.put_entry(7, canvas.entry(2)); });
    expect_all_pixels_back([](damaged_canvas& canvas) {
        for (std::size_t tile = 6; tile < 12; ++tile) canvas.put_entry(tile, canvas.entry(0));
    });
}

TEST_F(repair_test, a_lost_table_is_found_again_from_the_reduced_image)
{
    for (const auto garbage : {std::uint8_t{0xFF}, std::uint8_t{0}, std::uint8_t{0x5A}}) {
        expect_all_pixels_back([&](damaged_canvas& canvas) { canvas.fill(canvas.entry_place(0), 512, garbage); });
    }
    expect_all_pixels_back([](damaged_canvas& canvas) {
        canvas.fill(canvas.entry_place(0), 512, 0x5A).put32(field::tiles_written, 0).put32(field::dirty, 1);
    });
}

TEST_F(repair_test, a_lost_table_of_a_mask_is_found_again)
{
    take(make_image(1301, 977, model::grey), {"--mask"});
    expect_all_pixels_back([](damaged_canvas& canvas) { canvas.fill(canvas.entry_place(0), 512, 0x01); });
}

TEST_F(repair_test, a_lost_table_of_a_small_canvas_is_found_again_from_the_icon)
{
    take(make_image(700, 600, model::rgb), {});
    expect_all_pixels_back([](damaged_canvas& canvas) { canvas.fill(canvas.entry_place(0), 512, 0xFF); });
}

TEST_F(repair_test, a_shuffled_table_is_found_again_when_asked_to)
{
    break_canvas([](damaged_canvas& canvas) {
        for (std::size_t tile = 0; tile < 24; ++tile) canvas.put_entry(tile, static_cast<std::int32_t>(23 - tile));
    });
    expect_repaired(0, {"--rebuild-table"});
    const canvas_pixels now = read_canvas(path("canvas"));
    EXPECT_EQ(first_difference(now.colour, pixels_.colour), "");
    EXPECT_EQ(first_difference(now.alpha, pixels_.alpha), "");
}

TEST_F(repair_test, a_lost_table_is_found_again_when_the_reduced_image_is_a_little_behind)
{
    break_canvas([](damaged_canvas& canvas) {
        canvas.fill(canvas.entry_place(0), 512, 0xFF);
        const auto reduced = static_cast<std::size_t>(canvas.number(field::subsampled_offset));
        for (std::size_t i = 0; i < 1024 * 769 * 4; i += 41) canvas.bytes[reduced + i] ^= 0x10;
    });
    expect_repaired(0);
    const canvas_pixels now = read_canvas(path("canvas"));
    EXPECT_EQ(first_difference(now.colour, pixels_.colour), "");
    EXPECT_EQ(first_difference(now.alpha, pixels_.alpha), "");
}

// Tiles that look the same where the reduced image looks, and are not.
TEST_F(repair_test, what_stays_ambiguous_is_reported_and_shown)
{
    image flat = make_image(1301, 977, model::cmyk);
    std::ranges::fill(flat.samples, std::uint16_t{90});
    write_tiff(path("photo.tif"), flat);
    import("photo.tif", {});
    sound_ = read_bytes(path("canvas"));
    break_canvas([](damaged_canvas& canvas) {
        // Between two sampled columns: the reduced image leaves out every fifth column or so.
        for (const std::size_t tile : {0U, 1U, 6U, 7U})
            canvas.bytes[canvas.slot_place(canvas.entry(tile)) + 4 * 5] = static_cast<std::uint8_t>(tile + 1);
        canvas.fill(canvas.entry_place(0), 512, 0xFF);
    });
    const std::string sheet = path("doubts.png");
    const outcome result = expect_repaired(1, {"--sheet", sheet});
    EXPECT_NE(result.out.find("unclear: tile 0 gets slot 0; it may be "), std::string::npos) << result.out;
    const std::vector<std::uint8_t> png = read_bytes(sheet);
    ASSERT_GT(png.size(), 100U);
    EXPECT_EQ(std::string(png.begin() + 1, png.begin() + 4), "PNG");
    // Every slot is somewhere.
    const damaged_canvas now(path("canvas"));
    std::vector<std::int32_t> slots;
    for (std::size_t tile = 0; tile < 24; ++tile) slots.push_back(now.entry(tile));
    std::ranges::sort(slots);
    for (std::int32_t slot = 0; slot < 24; ++slot) EXPECT_EQ(slots[static_cast<std::size_t>(slot)], slot);
}

TEST_F(repair_test, a_file_that_was_cut_off_keeps_what_is_left)
{
    break_canvas([](damaged_canvas& canvas) { canvas.cut_at_slot(20, 100'000); });
    const outcome result = expect_repaired(1);
    EXPECT_NE(result.out.find("lost: 3 tile(s) that lay behind the end of the file"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("lost: 227680 bytes at the end of slot 20"), std::string::npos) << result.out;
    const damaged_canvas now(path("canvas"));
    EXPECT_EQ(now.slots(), 21);
    for (std::size_t slot = 0; slot < 20; ++slot) EXPECT_EQ(now.entry(slot), static_cast<std::int32_t>(slot));
    EXPECT_TRUE(std::equal(now.bytes.begin() + static_cast<std::ptrdiff_t>(now.slot_place(0)),
                           now.bytes.begin() + static_cast<std::ptrdiff_t>(now.slot_place(20) + 100'000),
                           sound_.begin() + static_cast<std::ptrdiff_t>(now.slot_place(0))));
}

TEST_F(repair_test, a_file_that_ends_before_its_tiles_becomes_an_empty_canvas)
{
    for (const std::size_t end : {4096U, 100'000U, 4'000'000U}) {
        break_canvas([&](damaged_canvas& canvas) { canvas.bytes.resize(end); });
        expect_repaired(1);
        EXPECT_EQ(damaged_canvas(path("canvas")).slots(), 0);
    }
}

TEST_F(repair_test, a_header_without_a_size_is_not_repaired)
{
    break_canvas([](damaged_canvas& canvas) {
        canvas.put16(field::x_max, -5).put16(field::orig_x_max, 3).put32(field::width, 77);
    });
    const outcome result = repair();
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_NE(result.out.find("cannot be repaired"), std::string::npos);
    EXPECT_TRUE(read_bytes(path("canvas")) == broken_);
    EXPECT_EQ(files(), (std::vector<std::string>{"canvas", "photo.png"}));
}

TEST_F(repair_test, older_damaged_files_are_never_replaced)
{
    for (const char* const kept : {"canvas.damaged", "canvas.damaged-2", "canvas.damaged-3"}) {
        write_bytes(path("canvas"), sound_);
        damaged_canvas canvas(path("canvas"));
        canvas.put32(field::width, static_cast<std::int32_t>(std::string(kept).size()));
        write_bytes(path("canvas"), canvas.bytes);
        EXPECT_EQ(repair().exit_code, 0);
        EXPECT_TRUE(read_bytes(path(kept)) == canvas.bytes);
    }
}

TEST_F(repair_test, rights_are_kept_and_links_followed)
{
    break_canvas([](damaged_canvas& canvas) { canvas.put32(field::width, 1); });
    ::chmod(path("canvas").c_str(), 0640);
    std::filesystem::create_symlink("canvas", path("link"));
    EXPECT_EQ(iocache({"repair", path("link")}).exit_code, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(path("link")));
    struct stat now {};
    ::stat(path("canvas").c_str(), &now);
    EXPECT_EQ(now.st_mode & 0777, 0640U);
    EXPECT_TRUE(read_bytes(path("canvas")) == sound_);
}

TEST_F(repair_test, a_full_disk_leaves_the_broken_file_as_it_is)
{
    break_canvas([](damaged_canvas& canvas) { canvas.put32(field::width, 1); });
    const outcome result =
        run({"/bin/bash", "-c", "ulimit -f 2000; trap '' XFSZ; exec \"$0\" repair \"$1\"", tool(), path("canvas")});
    EXPECT_EQ(result.exit_code, 5) << result.err;
    EXPECT_TRUE(read_bytes(path("canvas")) == broken_);
    EXPECT_EQ(files(), (std::vector<std::string>{"canvas", "photo.png"}));
}

}  // namespace

}  // namespace tool_tests
