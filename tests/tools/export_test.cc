// What goes in comes out: TIFF with every byte, PNG as the colours look.
#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

class export_test : public import_test {
protected:
    void SetUp() override
    {
        source_ = make_image(701, 533, model::rgb, true);
        write_png(path("photo.png"), source_);
        wanted_ = expected(source_);
        import("photo.png", process_mode());
    }

    outcome export_to(const std::string& name, const std::vector<std::string>& options)
    {
        outcome result = iocache(std::vector<std::string>{"export", path("canvas"), path(name)} + options);
        EXPECT_EQ(result.exit_code, 0) << result.err;
        EXPECT_EQ(result.err, "");
        return result;
    }

    // Colour and alpha side by side, of a part.
    static std::vector<std::uint16_t> samples(const std::vector<std::uint8_t>& colour,
                                              const std::vector<std::uint8_t>& alpha, std::size_t colour_bytes,
                                              std::size_t image_width, std::size_t x, std::size_t y, std::size_t width,
                                              std::size_t height)
    {
        std::vector<std::uint16_t> all;
        for (std::size_t row = y; row < y + height; ++row) {
            for (std::size_t column = x; column < x + width; ++column) {
                const std::size_t pixel = row * image_width + column;
                for (std::size_t s = 0; s < colour_bytes; ++s) all.push_back(colour[pixel * colour_bytes + s]);
                if (!alpha.empty()) all.push_back(alpha[pixel]);
            }
        }
        return all;
    }

    image source_;
    cmyk_pixels wanted_;
};

TEST_F(export_test, tiff_holds_every_byte_under_every_compression)
{
    for (const auto& mode : {process_mode(), in_line_mode()}) {
        for (const char* const compression : {"none", "lzw", "deflate"}) {
            export_to("out.tif", mode + std::vector<std::string>{"--compress", compression, "--force"});
            const tiff_content content = read_tiff(path("out.tif"));
            EXPECT_EQ(content.photometric, PHOTOMETRIC_SEPARATED);
            EXPECT_EQ(content.inkset, INKSET_CMYK);
            EXPECT_EQ(content.alpha_kind, EXTRASAMPLE_UNASSALPHA);
            EXPECT_EQ(content.profile, read_bytes(cmyk_profile()));
            ASSERT_EQ(content.pixels.width, 701);
            ASSERT_EQ(content.pixels.height, 533);
            EXPECT_TRUE(content.pixels.samples == samples(wanted_.colour, wanted_.alpha, 4, 701, 0, 0, 701, 533));
        }
    }
}

TEST_F(export_test, importing_what_was_exported_gives_the_same_canvas)
{
    export_to("out.tif", process_mode());
    expect_picture("out.tif", source_, wanted_);
}

TEST_F(export_test, png_shows_the_colours_in_srgb)
{
    const std::vector<std::uint8_t> proof = expected_proof(wanted_.colour);
    for (const auto& mode : {process_mode(), in_line_mode()}) {
        export_to("out.png", mode + std::vector<std::string>{"--force"});
        const image content = read_png(path("out.png"));
        EXPECT_EQ(content.colours, model::rgb);
        EXPECT_TRUE(content.alpha);
        ASSERT_EQ(content.width, 701);
        EXPECT_TRUE(content.samples == samples(proof, wanted_.alpha, 3, 701, 0, 0, 701, 533));
    }
}

TEST_F(export_test, a_region_is_cut_out)
{
    export_to("out.tif", {"--region", "250,200,300,290"});
    EXPECT_TRUE(read_tiff(path("out.tif")).pixels.samples ==
                samples(wanted_.colour, wanted_.alpha, 4, 701, 250, 200, 300, 290));
    export_to("out.png", {"--region", "700,532,1,1"});
    EXPECT_TRUE(read_png(path("out.png")).samples ==
                samples(expected_proof(wanted_.colour), wanted_.alpha, 3, 701, 700, 532, 1, 1));
}

TEST_F(export_test, masks_are_grey)
{
    import("photo.png", {"--mask"});
    const std::vector<std::uint8_t> grey = expected_mask(source_);
    export_to("out.tif", process_mode());
    const tiff_content content = read_tiff(path("out.tif"));
    EXPECT_EQ(content.photometric, PHOTOMETRIC_MINISBLACK);
    EXPECT_FALSE(content.pixels.alpha);
    EXPECT_TRUE(content.pixels.samples == samples(grey, {}, 1, 701, 0, 0, 701, 533));
    export_to("out.png", process_mode());
    EXPECT_TRUE(read_png(path("out.png")).samples == samples(grey, {}, 1, 701, 0, 0, 701, 533));
}

TEST_F(export_test, the_canvas_stays_as_it_was)
{
    const std::vector<std::uint8_t> before = read_bytes(path("canvas"));
    export_to("out.tif", process_mode());
    export_to("out.png", in_line_mode());
    EXPECT_TRUE(read_bytes(path("canvas")) == before);
}

TEST_F(export_test, an_existing_image_is_replaced_only_when_asked)
{
    write_bytes(path("out.png"), {1, 2, 3});
    const outcome refused = iocache({"export", path("canvas"), path("out.png")});
    EXPECT_EQ(refused.exit_code, 3);
    EXPECT_EQ(read_bytes(path("out.png")), (std::vector<std::uint8_t>{1, 2, 3}));
    export_to("out.png", {"--force"});
    EXPECT_EQ(read_png(path("out.png")).width, 701);
    EXPECT_EQ(files(), (std::vector<std::string>{"canvas", "out.png", "photo.png"}));
}

TEST_F(export_test, what_the_cache_did_is_told_on_request)
{
    const outcome result = export_to("out.tif", process_mode() + std::vector<std::string>{"--stats"});
    for (const char* const part : {"cache          20.0 MiB, with a cache process", "9 in the grid, 9 in the file",
                                   "transfers", "peak memory", "elapsed"}) {
        EXPECT_NE(result.out.find(part), std::string::npos) << part << "\n" << result.out;
    }
    EXPECT_EQ(export_to("other.tif", process_mode()).out, "");
}

}  // namespace

}  // namespace tool_tests
