// info says what is in the file, whatever that is, and changes nothing.
#include <cstdlib>

#include <nlohmann/json.hpp>

#include <sys/stat.h>

#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

using nlohmann::json;

class info_test : public import_test {
protected:
    void SetUp() override
    {
        write_png(path("photo.png"), make_image(1301, 277, model::rgb));
        import("photo.png", process_mode());
    }

    json info(const std::vector<std::string>& options = {}, int exit_code = 0)
    {
        const outcome result = iocache(std::vector<std::string>{"info", "--json", path("canvas")} + options);
        EXPECT_EQ(result.exit_code, exit_code) << result.err;
        return json::parse(result.out);
    }

    // Puts a 32-bit number into the canvas's header.
    void set_number(std::size_t at, std::uint32_t number)
    {
        std::vector<std::uint8_t> bytes = read_bytes(path("canvas"));
        for (std::size_t i = 0; i < 4; ++i) bytes.at(at + i) = static_cast<std::uint8_t>(number >> (24 - 8 * i));
        write_bytes(path("canvas"), bytes);
    }
};

TEST_F(info_test, header_regions_and_tiles_are_shown)
{
    const json all = info({"--tiles"});
    ASSERT_EQ(all.size(), 1U);
    const json& canvas = all[0];
    EXPECT_EQ(canvas["kind"], "picture");
    EXPECT_EQ(canvas["width"], 1301);
    EXPECT_EQ(canvas["height"], 277);
    EXPECT_EQ(canvas["dirty"], false);
    EXPECT_EQ(canvas["version"], 32);
    EXPECT_EQ(canvas["tiles"]["across"], 6);
    EXPECT_EQ(canvas["tiles"]["down"], 2);
    EXPECT_EQ(canvas["tiles"]["written"], 12);
    EXPECT_EQ(canvas["tiles"]["occupied"], 12);
    EXPECT_EQ(canvas["tiles"]["slots"].size(), 12U);
    EXPECT_EQ(canvas["reduced"]["present"], true);
    EXPECT_TRUE(canvas["problems"].empty());
    // 1301 x 277 has a reduced image of 1024 x 218 pixels of 5 bytes, rounded up to 512.
    const json& regions = canvas["regions"];
    ASSERT_EQ(regions.size(), 7U);
    EXPECT_EQ(regions[0]["bytes"], 4096);
    EXPECT_EQ(regions[1]["bytes"], 40448);
    EXPECT_EQ(regions[2]["bytes"], 6144);
    EXPECT_EQ(regions[3]["bytes"], 153600);
    EXPECT_EQ(regions[4]["bytes"], (1024LL * 218 * 5 + 511) / 512 * 512);
    EXPECT_EQ(regions[5]["bytes"], 512);
    EXPECT_EQ(regions[6]["bytes"], 12 * 327680);
    EXPECT_EQ(canvas["bytes"], regions[6]["offset"].get<std::int64_t>() + 12 * 327680);
}

TEST_F(info_test, text_shows_the_same)
{
    const outcome result = iocache({"info", "--tiles", path("canvas")});
    EXPECT_EQ(result.exit_code, 0);
    for (const char* const part : {"picture, 1301 x 277 pixels", "closed cleanly", "6 across, 2 down",
                                   "occupied tiles: 12", "tile table", "  ######\n  ######\n"}) {
        EXPECT_NE(result.out.find(part), std::string::npos) << part << "\n" << result.out;
    }
}

TEST_F(info_test, a_dirty_file_is_called_dirty_and_left_so)
{
    set_number(0x368, 1);
    ::chmod(path("canvas").c_str(), 0444);
    const std::vector<std::uint8_t> before = read_bytes(path("canvas"));
    EXPECT_EQ(info()[0]["dirty"], true);
    EXPECT_TRUE(read_bytes(path("canvas")) == before);
}

TEST_F(info_test, several_files_are_shown_and_a_bad_one_does_not_hide_the_others)
{
    write_bytes(path("text"), {'h', 'e', 'l', 'l', 'o'});
    const outcome result = iocache({"info", "--json", path("canvas"), path("text"), path("canvas")});
    EXPECT_EQ(result.exit_code, 4);
    const json all = json::parse(result.out);
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(all[0]["kind"], "picture");
    EXPECT_EQ(all[1]["file"], path("text"));
    EXPECT_EQ(all[1]["error"], path("text") + ": not a canvas");
    EXPECT_EQ(all[1]["exit_code"], 4);
    EXPECT_EQ(all[2]["kind"], "picture");
    EXPECT_NE(result.err.find("not a canvas"), std::string::npos);
}

TEST_F(info_test, files_of_any_name_are_reported)
{
    const std::string name = path("\xFF\"\n\\\x1B");
    std::filesystem::copy_file(path("canvas"), name);
    const outcome result = iocache({"info", "--json", name, name + "missing"});
    EXPECT_EQ(result.exit_code, 3);
    const json all = json::parse(result.out);
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0]["kind"], "picture");
    EXPECT_EQ(all[1]["exit_code"], 3);
    EXPECT_TRUE(all[1]["file"].get<std::string>().ends_with("missing"));
}

TEST_F(info_test, texts_of_the_header_do_not_steer_the_terminal)
{
    constexpr std::size_t machine_at = 0x1E4;
    constexpr std::size_t user_at = 0x238;
    constexpr std::size_t text_bytes = 32;
    const auto put = [&](std::size_t at, const std::string& text) {
        std::vector<std::uint8_t> bytes = read_bytes(path("canvas"));
        for (std::size_t i = 0; i < text_bytes; ++i) {
            bytes.at(at + i) = i < text.size() ? static_cast<std::uint8_t>(text[i]) : 0;
        }
        write_bytes(path("canvas"), bytes);
    };
    put(user_at, "J\xC3\xBCrg\x1B[2J\n\x7F\xC2\x9B");
    put(machine_at, "");
    const outcome result = iocache({"info", path("canvas")});
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_NE(result.out.find(" by J\xC3\xBCrg\\x1b[2J\\x0a\\x7f\\xc2\\x9b on unknown, "), std::string::npos)
        << result.out;
}

TEST_F(info_test, damage_is_named)
{
    const std::vector<std::uint8_t> sound = read_bytes(path("canvas"));
    struct damage {
        std::size_t at;
        std::uint32_t number;
    };
    const damage damages[] = {
        {0x364, 13},          // a slot more than the file holds
        {0x364, 0x7FFFFFFF},  // as many as 64 bits can only just multiply
        {0x364, 0xFFFFFFFF},  // fewer than none
        {0x348, 0x7FFFFF00},  // tile table beyond the end
        {0x35C, 0xFFFFFFFF},  // tile table of negative size
        {0x34C, 0x80000000},  // tiles before the beginning
        {0x338, 0x7FFFFFFF},  // an offset that makes the grid endless
        {0x028, 0x00000000},  // tiles of no size
        {0x000, 0x7FFF0000},  // bounds the wrong way round
        {0x360, 0x7FFFFFFF},  // tiles of 2 GiB
    };
    for (const damage& one : damages) {
        SCOPED_TRACE(one.at);
        write_bytes(path("canvas"), sound);
        set_number(one.at, one.number);
        const json all = info({}, 4);
        EXPECT_FALSE(all[0]["problems"].empty());
        EXPECT_EQ(iocache({"info", path("canvas")}).exit_code, 4);
    }
}

TEST_F(info_test, any_header_is_survived)
{
    const std::vector<std::uint8_t> sound = read_bytes(path("canvas"));
    std::uint32_t noise = 1;
    for (int round = 0; round < 100; ++round) {
        std::vector<std::uint8_t> bytes = sound;
        for (int change = 0; change < 6; ++change) {
            noise = noise * 1664525U + 1013904223U;
            const std::size_t at = (noise >> 8) % 0x690;
            if (at >= 0x36C && at < 0x370) continue;  // it shall still call itself a canvas
            bytes[at] = static_cast<std::uint8_t>(noise >> 24);
        }
        write_bytes(path("canvas"), bytes);
        const outcome result = iocache({"info", "--json", "--tiles", path("canvas")});
        ASSERT_TRUE(result.exit_code == 0 || result.exit_code == 4) << result.exit_code << " " << result.signal;
    }
}

}  // namespace

}  // namespace tool_tests
