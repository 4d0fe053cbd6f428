// Old files become canvases of the same name: every pixel, the reduced image, the icon, and the original kept.
#include <fstream>

#include <nlohmann/json.hpp>

#include <sys/stat.h>

#include "tests/tools/support/old_files.h"

namespace tool_tests {

namespace {

class convert_old_test : public old_file_test {
protected:
    nlohmann::json report()
    {
        std::ifstream file(path("report.json"));
        return nlohmann::json::parse(file);
    }
};

struct block_case {
    int width, height;
    bool picture;
    old_image layout;
};

// Within the frame and above it, sides that are no multiple of 64, both flags, palettes, icons of several sizes.
const block_case cases[] = {
    {300, 200, true, {.flag = '1'}},
    {129, 70, true, {.flag = '0', .palette = {1, 2, 3, 4, 5, 6}, .palette_entries = 2}},
    {64, 64, true, {.flag = '0', .icon_width = 0, .icon_height = 0}},
    {65, 257, true, {.flag = '1', .palette = iocache_test::bytes(1200, 9), .palette_entries = 300}},
    {1, 1, true, {.flag = '\0', .icon_width = 1, .icon_height = 300}},
    {1024, 1024, true, {.flag = '0'}},
    {1025, 700, true, {.flag = '1', .icon_width = 100, .icon_height = 75}},
    {701, 2309, true, {.flag = '0', .palette = {7, 8, 9}, .palette_entries = 1}},
    {100, 100, false, {.type = 0}},
    {40, 30, false, {.type = 2, .flag = '0', .icon_width = 77, .icon_height = 3}},
    {1537, 513, false, {.type = 1, .palette = iocache_test::bytes(12, 5), .palette_entries = 3}},
    {1, 1300, false, {.type = 0, .icon_width = 0}},
};

TEST_F(convert_old_test, block_files_of_all_sorts)
{
    for (const block_case& now : cases) {
        for (const auto& mode : {process_mode(), in_line_mode()}) {
            SCOPED_TRACE(std::to_string(now.width) + " x " + std::to_string(now.height) + " " + mode.back());
            const old_pixels pixels = pattern_pixels(now.width, now.height, now.picture);
            write_bytes(path("old"), block_file(pixels, now.layout));
            expect_converted("old", mode);
            expect_canvas("old", pixels, 0);
            clear();
        }
    }
}

TEST_F(convert_old_test, photograph)
{
    constexpr const char* photograph = "/usr/share/backgrounds/Kleiber_by_Lukas_Baubkus.jpg";
    if (!std::filesystem::exists(photograph)) GTEST_SKIP() << "lomiri-wallpapers-20.04 is not installed";
    const image decoded = read_jpeg(photograph);
    const old_pixels picture{decoded.width, decoded.height, true, expected(decoded).colour};
    write_bytes(path("old"), block_file(picture, {.flag = '0', .palette = {1, 2, 3}, .palette_entries = 1}));
    expect_converted("old", process_mode());
    expect_canvas("old", picture, 0);
    clear();
    const old_pixels mask{decoded.width, decoded.height, false, expected_mask(decoded)};
    write_bytes(path("old"), block_file(mask));
    expect_converted("old", in_line_mode());
    expect_canvas("old", mask, 0);
}

TEST_F(convert_old_test, masks_of_version_1)
{
    for (const auto& mode : {process_mode(), in_line_mode()}) {
        const canvas_pixels before = make_version_1("old", 1500, 700);
        expect_converted("old", mode);
        EXPECT_EQ(read_bytes(path("old"))[version_at + 3], 32);
        expect_canvas("old", {before.width, before.height, false, before.colour}, 0);
        clear();
    }
}

TEST_F(convert_old_test, canvases_count_as_done)
{
    const old_pixels pixels = pattern_pixels(100, 100, true);
    write_bytes(path("old"), block_file(pixels));
    expect_converted("old");
    const std::vector<std::uint8_t> canvas = read_bytes(path("old"));
    for (int times = 0; times < 2; ++times) {
        const outcome again = convert({"old"});
        EXPECT_EQ(again.exit_code, 0) << again.err;
        EXPECT_EQ(again.out,
                  path("old") + ": already a canvas: picture, 100 x 100; the original is " + path("old.orig") + "\n");
        EXPECT_TRUE(read_bytes(path("old")) == canvas);
    }
    // So does the original that was kept.
    const outcome kept = convert({"old", "old.orig"});
    EXPECT_EQ(kept.exit_code, 0) << kept.err;
    EXPECT_NE(kept.out.find(path("old.orig") + ": already converted: picture, 100 x 100; the canvas is " + path("old")),
              std::string::npos)
        << kept.out;
    EXPECT_EQ(files(), (std::vector<std::string>{"old", "old.orig"}));
    // So does a picture of version 1, which is opened as it is.
    set_version("old", 1);
    EXPECT_EQ(convert({"old"}).exit_code, 0);
    EXPECT_EQ(read_bytes(path("old"))[version_at + 3], 1);
    EXPECT_EQ(files(), (std::vector<std::string>{"old", "old.orig"}));
}

TEST_F(convert_old_test, dry_run_writes_nothing)
{
    const std::vector<std::uint8_t> block = block_file(pattern_pixels(300, 100, true));
    write_bytes(path("a"), block);
    make_version_1("b", 300, 100);
    write_bytes(path("c"), {1, 2, 3});
    const std::vector<std::uint8_t> version_1 = read_bytes(path("b"));
    const outcome result = convert({"a", "b", "c"}, {"--dry-run"});
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_EQ(result.out, path("a") + ": would be converted: picture, 300 x 100; the original is " + path("a.orig") +
                              "\n" + path("b") +
                              ": would be converted: mask of version 1, 300 x 100; the original is " + path("b.orig") +
                              "\n");
    EXPECT_EQ(result.err, "iocache: " + path("c") + ": not an old file: it is too short; it is left alone\n");
    EXPECT_TRUE(read_bytes(path("a")) == block);
    EXPECT_TRUE(read_bytes(path("b")) == version_1);
    EXPECT_EQ(files(), (std::vector<std::string>{"a", "b", "c"}));
}

TEST_F(convert_old_test, keep_leaves_the_original_under_its_name)
{
    const old_pixels pixels = pattern_pixels(300, 100, false);
    const std::vector<std::uint8_t> original = block_file(pixels);
    write_bytes(path("old"), original);
    for (const char* const status : {"converted", "already converted"}) {
        const outcome result = convert({"old"}, {"--keep"});
        EXPECT_EQ(result.exit_code, 0) << result.err;
        EXPECT_EQ(result.out,
                  path("old") + ": " + status + ": mask, 300 x 100; the canvas is " + path("old.canvas") + "\n");
        EXPECT_EQ(files(), (std::vector<std::string>{"old", "old.canvas"}));
        EXPECT_TRUE(read_bytes(path("old")) == original);
        expect_canvas("old.canvas", pixels, 0);
    }
    // Something else of that name stays.
    write_bytes(path("old.canvas"), {1});
    EXPECT_EQ(convert({"old"}, {"--keep"}).exit_code, 3);
    EXPECT_EQ(read_bytes(path("old.canvas")), std::vector<std::uint8_t>{1});
    EXPECT_EQ(files(), (std::vector<std::string>{"old", "old.canvas"}));
}

TEST_F(convert_old_test, several_files_at_a_time)
{
    std::vector<std::string> names;
    std::vector<old_pixels> pixels;
    for (int i = 0; i < 12; ++i) {
        names.push_back("old" + std::to_string(i));
        pixels.push_back(pattern_pixels(100 + 37 * i, 400 - 21 * i, i % 3 != 0));
        write_bytes(path(names.back()), block_file(pixels.back(), {.flag = i % 2 == 0 ? '1' : '0'}));
    }
    names.push_back("text");
    names.push_back("old3");  // named twice, converted once
    write_bytes(path("text"), std::vector<std::uint8_t>(5000, 'x'));
    const outcome result = convert(names, {"--jobs", "4", "--report", path("report.json")});
    EXPECT_EQ(result.exit_code, 4) << result.err;
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 12) << result.out;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        SCOPED_TRACE(names[i]);
        expect_canvas(names[i], pixels[i], 0);
    }
    const nlohmann::json all = report();
    ASSERT_EQ(all.size(), 13U);
    for (std::size_t i = 0; i < 12; ++i) {
        EXPECT_EQ(all[i]["file"], path(names[i]));
        EXPECT_EQ(all[i]["status"], "converted");
        EXPECT_EQ(all[i]["width"], pixels[i].width);
        EXPECT_EQ(all[i]["original"], path(names[i] + ".orig"));
    }
    EXPECT_EQ(all[12]["status"], "failed");
    EXPECT_EQ(all[12]["exit_code"], 4);
}

TEST_F(convert_old_test, report_holds_the_palette)
{
    iocache_test::bytes entries;
    for (int i = 0; i < 20'000; ++i) {
        for (const int byte : {i, i >> 8, 77}) entries.push_back(static_cast<std::uint8_t>(byte));
    }
    write_bytes(path("old"),
                block_file(pattern_pixels(70, 70, true), {.flag = '0', .palette = entries, .palette_entries = 20'000}));
    const outcome result = convert({"old"}, {"--report", path("report.json")});
    ASSERT_EQ(result.exit_code, 0) << result.err;
    EXPECT_NE(result.out.find("picture, 70 x 70, 20000 palette entries"), std::string::npos) << result.out;
    const nlohmann::json all = report();
    EXPECT_EQ(all[0]["format"], "block");
    const nlohmann::json& palette = all[0]["palette"];
    ASSERT_EQ(palette.size(), 20'000U);
    for (int i = 0; i < 20'000; ++i) {
        ASSERT_EQ(palette[static_cast<std::size_t>(i)], nlohmann::json({255, 77, i >> 8, i & 255}));
    }
}

TEST_F(convert_old_test, permissions_come_along)
{
    write_bytes(path("old"), block_file(pattern_pixels(70, 70, true)));
    for (const mode_t mode : {mode_t{0640}, mode_t{0444}}) {
        ::chmod(path("old").c_str(), mode);
        expect_converted("old");
        struct stat status {};
        ASSERT_EQ(::stat(path("old").c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, mode);
        std::filesystem::rename(path("old.orig"), path("old"));
    }
}

TEST_F(convert_old_test, command_line)
{
    write_bytes(path("old"), block_file(pattern_pixels(70, 70, true)));
    EXPECT_EQ(iocache({"convert-old"}).exit_code, 2);
    EXPECT_EQ(convert({"old"}, {"--jobs", "0"}).exit_code, 2);
    EXPECT_EQ(convert({"old"}, {"--report", path("old")}).exit_code, 2);
    write_bytes(path("letter"), {'D', 'e', 'a', 'r'});
    EXPECT_EQ(convert({"old"}, {"--report", path("letter")}).exit_code, 2);
    EXPECT_EQ(read_bytes(path("letter")), (std::vector<std::uint8_t>{'D', 'e', 'a', 'r'}));
    std::filesystem::remove(path("letter"));
    EXPECT_EQ(convert({"old"}, {"--report", path("nowhere/report.json")}).exit_code, 3);
    const outcome help = iocache({"convert-old", "--help"});
    EXPECT_EQ(help.exit_code, 0);
    for (const char* const word : {"--jobs", "--dry-run", "--keep", "NAME.canvas", "NAME.orig", "--report"}) {
        EXPECT_NE(help.out.find(word), std::string::npos) << word;
    }
    EXPECT_EQ(files(), std::vector<std::string>{"old"});
}

}  // namespace

}  // namespace tool_tests
