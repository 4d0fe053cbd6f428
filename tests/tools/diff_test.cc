// diff finds every difference between two canvas files, and only reads them.
#include <nlohmann/json.hpp>

#include "tests/tools/support/damaged_canvas.h"
#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

using nlohmann::json;
namespace field = header_field;

class diff_test : public import_test {
protected:
    void SetUp() override
    {
        write_png(path("photo.png"), make_image(1301, 577, model::rgb, true));
        import("photo.png", process_mode());
        sound_ = read_bytes(path("canvas"));
        write_bytes(path("other"), sound_);
    }

    json diff(int exit_code, const std::vector<std::string>& options = {})
    {
        const outcome result =
            iocache(std::vector<std::string>{"diff", "--json", path("canvas"), path("other")} + options);
        EXPECT_EQ(result.exit_code, exit_code) << result.err;
        return json::parse(result.out);
    }
    // Changes one byte of the other file.
    void change(std::size_t at)
    {
        std::vector<std::uint8_t> bytes = read_bytes(path("other"));
        bytes.at(at) ^= 0x10;
        write_bytes(path("other"), bytes);
    }
    [[nodiscard]] std::size_t pixel_place(std::size_t x, std::size_t y) const
    {
        const damaged_canvas canvas(path("other"));
        const std::int32_t slot = canvas.entry(y / 256 * 6 + x / 256);
        return canvas.slot_place(slot) + (y % 256 * 256 + x % 256) * 4;
    }

    std::vector<std::uint8_t> sound_;
};

TEST_F(diff_test, a_copy_is_the_same)
{
    const json report = diff(0);
    EXPECT_EQ(report["same"], true);
    EXPECT_EQ(report["pixels"]["compared"], 1301 * 577);
    EXPECT_EQ(report["pixels"]["different"], 0);
    EXPECT_TRUE(report["header"].empty());
    EXPECT_TRUE(report["regions"].empty());
    EXPECT_EQ(iocache({"diff", path("canvas"), path("other")}).out, "pixels: same, 750677\nsame\n");
}

TEST_F(diff_test, pixels_are_counted_and_the_first_is_told)
{
    change(pixel_place(1300, 2));
    change(pixel_place(7, 3) + 3);
    change(pixel_place(700, 576));
    const json report = diff(1);
    EXPECT_EQ(report["pixels"]["different"], 3);
    EXPECT_EQ(report["pixels"]["first"]["x"], 1300);
    EXPECT_EQ(report["pixels"]["first"]["y"], 2);
    EXPECT_NE(
        iocache({"diff", path("canvas"), path("other")}).out.find("pixels: 3 of 750677 differ; the first at (1300, 2)"),
        std::string::npos);
}

TEST_F(diff_test, alpha_counts_and_margins_do_not)
{
    const damaged_canvas canvas(path("other"));
    change(canvas.slot_place(canvas.entry(0)) + 262144 + 256 * 10 + 10);
    EXPECT_EQ(diff(1)["pixels"]["different"], 1);
    write_bytes(path("other"), sound_);
    change(canvas.slot_place(canvas.entry(5)) + 21 * 4);
    EXPECT_EQ(diff(0)["pixels"]["different"], 0);
}

TEST_F(diff_test, header_and_regions_are_compared)
{
    damaged_canvas other(path("other"));
    other.put32(field::version, 16);
    other.bytes[0x636] = 'x';
    other.bytes[4096] ^= 1;
    other.bytes[static_cast<std::size_t>(other.number(0x680)) + 6143] = 9;
    write_bytes(path("other"), other.bytes);
    const json report = diff(1);
    EXPECT_EQ(report["pixels"]["different"], 0);
    ASSERT_EQ(report["header"].size(), 2U);
    EXPECT_EQ(report["header"][0]["field"], "version_filetype");
    EXPECT_EQ(report["header"][0]["values"], (std::vector<std::string>{"32", "16"}));
    EXPECT_EQ(report["header"][1]["field"], "tqcms_procname");
    EXPECT_EQ(report["regions"], (std::vector<std::string>{"icon", "ink colours"}));
    EXPECT_EQ(diff(0, {"--pixels"})["same"], true);
}

TEST_F(diff_test, canvases_of_other_sizes_are_compared_where_they_meet)
{
    write_png(path("photo.png"), make_image(900, 800, model::rgb, true));
    iocache({"import", path("photo.png"), path("other"), "--force"});
    const json report = diff(1, {"--pixels"});
    EXPECT_EQ(report["pixels"]["compared"], 900 * 577);
    EXPECT_EQ(report["same"], false);
}

TEST_F(diff_test, the_grid_may_lie_elsewhere)
{
    // The same pixels in a grid that begins 100 columns before the image: every column of tiles moves.
    const canvas_pixels pixels = read_canvas(path("canvas"));
    damaged_canvas other(path("other"));
    other.put32(field::x_offset, 100);
    for (std::size_t y = 0; y < 577; ++y) {
        for (std::size_t x = 0; x < 1301; ++x) {
            const std::size_t tile = y / 256 * 6 + (x + 100) / 256;
            const std::size_t line = y % 256 * 256 + (x + 100) % 256;
            const std::size_t slot = other.slot_place(other.entry(tile));
            std::copy_n(&pixels.colour[(y * 1301 + x) * 4], 4, &other.bytes[slot + line * 4]);
            other.bytes[slot + 262144 + line] = pixels.alpha[y * 1301 + x];
        }
    }
    write_bytes(path("other"), other.bytes);
    EXPECT_EQ(diff(0, {"--pixels"})["pixels"]["different"], 0);
    EXPECT_EQ(diff(1)["header"][0]["field"], "x_offset");
}

TEST_F(diff_test, a_mask_and_a_picture_have_no_pixels_to_compare)
{
    iocache({"import", path("photo.png"), path("other"), "--force", "--mask"});
    const json report = diff(1);
    EXPECT_EQ(report["pixels"]["comparable"], false);
    EXPECT_EQ(report["same"], false);
}

TEST_F(diff_test, the_heat_map_shows_where)
{
    change(pixel_place(1290, 570));
    const outcome result = iocache({"diff", path("canvas"), path("other"), "--heat-map", path("heat.png")});
    EXPECT_EQ(result.exit_code, 1);
    // Two image pixels a side for one of the map; all black but for one.
    outcome imported = iocache({"import", path("heat.png"), path("heat"), "--mask"});
    EXPECT_EQ(imported.exit_code, 0) << imported.err;
    const canvas_pixels heat = read_canvas(path("heat"));
    EXPECT_EQ(heat.width, 651);
    EXPECT_EQ(heat.height, 289);
    for (std::size_t at = 0; at < heat.colour.size(); ++at) {
        const bool is_changed = at == 285U * 651 + 645;
        ASSERT_EQ(heat.colour[at] != 0, is_changed) << at;
    }
    EXPECT_EQ(iocache({"diff", path("canvas"), path("other"), "--heat-map", path("canvas")}).exit_code, 2);
    const std::vector<std::uint8_t> letter{'D', 'e', 'a', 'r', ' ', 'A', 'd', 'a', ','};
    write_bytes(path("letter"), letter);
    EXPECT_EQ(iocache({"diff", path("canvas"), path("other"), "--heat-map", path("letter")}).exit_code, 2);
    EXPECT_EQ(read_bytes(path("letter")), letter) << "an older image is replaced, and nothing else";
}

TEST_F(diff_test, files_that_cannot_be_read_are_told_in_json_too)
{
    const outcome result = iocache({"diff", "--json", path("canvas"), path("missing\xFF")});
    EXPECT_EQ(result.exit_code, 3);
    const json report = json::parse(result.out);
    EXPECT_EQ(report["files"][0], path("canvas"));
    EXPECT_EQ(report["exit_code"], 3);
    EXPECT_NE(report["error"].get<std::string>().find("cannot open"), std::string::npos);
    EXPECT_NE(result.err.find("cannot open"), std::string::npos);
}

TEST_F(diff_test, texts_of_the_header_do_not_steer_the_terminal)
{
    damaged_canvas other(path("other"));
    other.bytes[0x636] = 0x1B;
    write_bytes(path("other"), other.bytes);
    const std::string text = iocache({"diff", path("canvas"), path("other")}).out;
    EXPECT_NE(text.find("against \\x1b"), std::string::npos) << text;
}

TEST_F(diff_test, damaged_files_are_refused)
{
    write_bytes(path("other"), damaged_canvas(path("other")).put32(field::tiles_written, 77).bytes);
    EXPECT_EQ(iocache({"diff", path("canvas"), path("other")}).exit_code, 4);
    EXPECT_EQ(iocache({"diff", path("canvas"), path("photo.png")}).exit_code, 4);
    EXPECT_EQ(iocache({"diff", path("canvas"), path("missing")}).exit_code, 3);
}

}  // namespace

}  // namespace tool_tests
