// A real photograph, when the machine has it: 6028 x 3391 pixels through a cache of 20 MiB, and back.
#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

constexpr const char* photograph = "/usr/share/backgrounds/Kleiber_by_Lukas_Baubkus.jpg";

class photograph_test : public import_test {
protected:
    void SetUp() override
    {
        if (!std::filesystem::exists(photograph)) GTEST_SKIP() << "lomiri-wallpapers-20.04 is not installed";
    }
};

TEST_F(photograph_test, every_byte_comes_through_in_both_modes)
{
    std::filesystem::create_symlink(photograph, path("photo.jpg"));
    const image decoded = read_jpeg(photograph);
    const cmyk_pixels wanted = expected(decoded);
    for (const auto& mode : {process_mode(), in_line_mode()}) {
        SCOPED_TRACE(mode.back());
        const canvas_pixels canvas = import("photo.jpg", mode);
        ASSERT_EQ(canvas.width, 6028);
        ASSERT_EQ(canvas.height, 3391);
        EXPECT_EQ(canvas.tiles_written, 24 * 14);
        EXPECT_EQ(first_difference(canvas.colour, wanted.colour), "");
        EXPECT_EQ(first_difference(canvas.alpha, wanted.alpha), "");

        const outcome exported =
            iocache(std::vector<std::string>{"export", path("canvas"), path("out.tif"), "--force"} + mode);
        ASSERT_EQ(exported.exit_code, 0) << exported.err;
        const tiff_content content = read_tiff(path("out.tif"));
        ASSERT_EQ(content.pixels.pixels(), decoded.pixels());
        for (std::size_t i = 0; i < decoded.pixels(); ++i) {
            for (std::size_t s = 0; s < 4; ++s) ASSERT_EQ(content.pixels.samples[i * 5 + s], wanted.colour[i * 4 + s]);
            ASSERT_EQ(content.pixels.samples[i * 5 + 4], 255);
        }
        for (const char* const name : {"photo.jpg", "out.tif"}) {
            const outcome same = iocache(std::vector<std::string>{"compare", path("canvas"), path(name)} + mode);
            EXPECT_EQ(same.exit_code, 0) << same.out << same.err;
        }
    }
}

}  // namespace

}  // namespace tool_tests
