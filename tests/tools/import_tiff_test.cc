// TIFF files of every layout become the canvas they should.
#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

struct sort {
    const char* name;
    model colours;
    bool alpha;
    int bits;
    tiff_options options;
};

tiff_options strips(int rows, int compression = COMPRESSION_NONE)
{
    tiff_options options;
    options.rows_per_strip = rows;
    options.compression = compression;
    return options;
}

tiff_options tiles(int compression = COMPRESSION_NONE)
{
    tiff_options options = strips(1, compression);
    options.tiled = true;
    return options;
}

tiff_options separate(tiff_options options)
{
    options.separate = true;
    return options;
}

tiff_options in_mode(tiff_options options, const char* mode)
{
    options.mode = mode;
    return options;
}

constexpr int one_strip = 1000;

// Keeps the bytes of a sort out of the names of tests.
void PrintTo(const sort& chosen, std::ostream* out)
{
    *out << chosen.name;
}

const sort sorts[] = {
    {"rgb_strips", model::rgb, false, 8, strips(7)},
    {"rgb_one_strip", model::rgb, false, 8, strips(one_strip)},
    {"rgb_one_strip_lzw", model::rgb, false, 8, strips(one_strip, COMPRESSION_LZW)},
    {"rgb_deflate", model::rgb, false, 8, strips(16, COMPRESSION_ADOBE_DEFLATE)},
    {"rgb_packbits", model::rgb, false, 8, strips(16, COMPRESSION_PACKBITS)},
    {"rgb_tiles", model::rgb, false, 8, tiles()},
    {"rgb_tiles_lzw", model::rgb, false, 8, tiles(COMPRESSION_LZW)},
    {"rgb_planes", model::rgb, false, 8, separate(strips(7))},
    {"rgb_planes_one_strip_deflate", model::rgb, false, 8, separate(strips(one_strip, COMPRESSION_ADOBE_DEFLATE))},
    {"rgb_planes_tiles", model::rgb, false, 8, separate(tiles())},
    {"rgb_16", model::rgb, false, 16, strips(7)},
    {"rgb_16_big_endian", model::rgb, false, 16, in_mode(strips(7), "wb")},
    {"rgb_16_little_endian_lzw", model::rgb, false, 16, in_mode(strips(7, COMPRESSION_LZW), "wl")},
    {"rgb_16_big_endian_tiles", model::rgb, false, 16, in_mode(tiles(), "wb")},
    {"rgb_16_planes", model::rgb, false, 16, separate(strips(7))},
    {"rgb_alpha", model::rgb, true, 8, strips(7)},
    {"rgb_alpha_16", model::rgb, true, 16, strips(7)},
    {"rgb_alpha_planes_tiles_16", model::rgb, true, 16, separate(tiles())},
    {"rgb_big_tiff", model::rgb, false, 8, in_mode(strips(7), "w8")},
    {"grey", model::grey, false, 8, strips(7)},
    {"grey_16", model::grey, false, 16, strips(7)},
    {"grey_alpha", model::grey, true, 8, strips(7)},
    {"grey_alpha_tiles_16", model::grey, true, 16, tiles()},
    {"cmyk", model::cmyk, false, 8, strips(7)},
    {"cmyk_16", model::cmyk, false, 16, strips(7)},
    {"cmyk_16_big_endian_tiles", model::cmyk, false, 16, in_mode(tiles(COMPRESSION_LZW), "wb")},
    {"cmyk_tiles", model::cmyk, false, 8, tiles()},
    {"cmyk_planes", model::cmyk, false, 8, separate(strips(7))},
    {"cmyk_alpha", model::cmyk, true, 8, strips(7)},
    {"cmyk_alpha_16", model::cmyk, true, 16, strips(7)},
    {"cmyk_alpha_tiles", model::cmyk, true, 8, tiles(COMPRESSION_ADOBE_DEFLATE)},
    {"cmyk_alpha_planes_tiles", model::cmyk, true, 8, separate(tiles())},
};

class import_tiff : public import_test, public ::testing::WithParamInterface<sort> {};

TEST_P(import_tiff, gives_the_pixels_of_the_file)
{
    const sort& chosen = GetParam();
    const image source = make_image(301, 277, chosen.colours, chosen.alpha, chosen.bits);
    write_tiff(path("photo.tif"), source, chosen.options);
    expect_picture("photo.tif", source, expected(source));
}

INSTANTIATE_TEST_SUITE_P(every, import_tiff, ::testing::ValuesIn(sorts),
                         [](const auto& chosen) { return std::string(chosen.param.name); });

class import_tiff_detail : public import_test {};

TEST_F(import_tiff_detail, one_pixel_is_a_picture)
{
    const image source = make_image(1, 1, model::rgb);
    write_tiff(path("photo.tif"), source);
    expect_picture("photo.tif", source, expected(source));
}

TEST_F(import_tiff_detail, narrow_and_wide_images_are_whole)
{
    for (const auto& [width, height] :
         {std::pair{1, 700}, std::pair{3000, 3}, std::pair{256, 256}, std::pair{257, 513}}) {
        const image source = make_image(width, height, model::rgb, true);
        write_tiff(path("photo.tif"), source);
        expect_picture("photo.tif", source, expected(source));
    }
}

TEST_F(import_tiff_detail, white_is_zero_where_the_file_says_so)
{
    image source = make_image(90, 60, model::grey);
    tiff_options options;
    options.photometric = PHOTOMETRIC_MINISWHITE;
    write_tiff(path("photo.tif"), source, options);
    for (auto& sample : source.samples) sample = static_cast<std::uint16_t>(255 - sample);
    expect_picture("photo.tif", source, expected(source));
}

TEST_F(import_tiff_detail, full_ink_is_zero_where_the_file_says_so)
{
    image source = make_image(90, 60, model::cmyk);
    tiff_options options;
    options.inverted_dots = true;
    write_tiff(path("photo.tif"), source, options);
    for (auto& sample : source.samples) sample = static_cast<std::uint16_t>(255 - sample);
    expect_picture("photo.tif", source, expected(source));
}

TEST_F(import_tiff_detail, few_bits_a_sample_become_whole_greys)
{
    for (const int bits : {1, 2, 4}) {
        for (const bool tiled : {false, true}) {
            image source = make_image(131, 77, model::grey);
            const int most = (1 << bits) - 1;
            for (auto& sample : source.samples) sample = static_cast<std::uint16_t>(sample & most);
            write_packed_tiff(path("photo.tif"), source, bits, {}, tiled, PHOTOMETRIC_MINISBLACK);
            for (auto& sample : source.samples) sample = static_cast<std::uint16_t>(sample * 255 / most);
            expect_picture("photo.tif", source, expected(source));
        }
    }
}

TEST_F(import_tiff_detail, palettes_become_colours)
{
    for (const int bits : {1, 4, 8}) {
        for (const bool tiled : {false, true}) {
            image source = make_image(131, 77, model::grey);
            const int entries = 1 << bits;
            for (auto& sample : source.samples) sample = static_cast<std::uint16_t>(sample % entries);
            std::vector<std::uint16_t> palette(3 * static_cast<std::size_t>(entries));
            for (std::size_t i = 0; i < palette.size(); ++i) {
                palette[i] = static_cast<std::uint16_t>(i * 97 % 256 * 257);
            }
            write_packed_tiff(path("photo.tif"), source, bits, palette, tiled, PHOTOMETRIC_PALETTE);
            image colours{source.width, source.height, model::rgb, false, 8, {}};
            for (const auto sample : source.samples) {
                for (std::size_t c = 0; c < 3; ++c) {
                    colours.samples.push_back(palette[c * static_cast<std::size_t>(entries) + sample] / 257);
                }
            }
            expect_picture("photo.tif", source, expected(colours));
        }
    }
}

TEST_F(import_tiff_detail, a_sample_too_many_is_an_alpha_whether_the_file_says_so_or_not)
{
    const image source = make_image(90, 60, model::cmyk, true);
    tiff_options options;
    options.declare_alpha = false;
    write_tiff(path("photo.tif"), source, options);
    expect_picture("photo.tif", source, expected(source));

    options.declare_alpha = true;
    options.alpha_kind = EXTRASAMPLE_UNSPECIFIED;
    write_tiff(path("other.tif"), source, options);
    expect_picture("other.tif", source, expected(source));
}

TEST_F(import_tiff_detail, colours_multiplied_by_the_alpha_are_divided_again)
{
    for (const model colours : {model::rgb, model::cmyk}) {
        image straight = make_image(90, 60, colours, true);
        image multiplied = straight;
        const auto samples = static_cast<std::size_t>(straight.pixel_samples());
        for (std::size_t pixel = 0; pixel < straight.pixels(); ++pixel) {
            const std::size_t at = pixel * samples;
            // Alphas that divide 255 lose nothing, if the colours are multiples of what they divide by.
            const int part = std::vector<int>{1, 3, 5, 15}[pixel % 4];
            straight.samples[at + samples - 1] = multiplied.samples[at + samples - 1] =
                static_cast<std::uint16_t>(255 / part);
            for (std::size_t s = 0; s + 1 < samples; ++s) {
                multiplied.samples[at + s] = static_cast<std::uint16_t>(straight.samples[at + s] / part);
                straight.samples[at + s] = static_cast<std::uint16_t>(multiplied.samples[at + s] * part);
            }
        }
        tiff_options options;
        options.alpha_kind = EXTRASAMPLE_ASSOCALPHA;
        write_tiff(path("photo.tif"), multiplied, options);
        const canvas_pixels canvas = import("photo.tif", process_mode());
        const cmyk_pixels wanted = expected(straight);
        EXPECT_EQ(first_difference(canvas.alpha, wanted.alpha), "");
        // The division rounds in 16 bits: a step of one is all it may be off, before the conversion.
        ASSERT_EQ(canvas.colour.size(), wanted.colour.size());
        int worst = 0;
        for (std::size_t i = 0; i < wanted.colour.size(); ++i) {
            worst = std::max(worst, std::abs(canvas.colour[i] - wanted.colour[i]));
        }
        EXPECT_LE(worst, colours == model::cmyk ? 1 : 4);
    }
}

TEST_F(import_tiff_detail, pictures_stand_upright_whatever_the_orientation)
{
    const image source = make_image(301, 77, model::rgb, true);
    for (int orientation = 1; orientation <= 8; ++orientation) {
        SCOPED_TRACE(orientation);
        for (const bool tiled : {false, true}) {
            tiff_options options;
            options.orientation = orientation;
            options.tiled = tiled;
            write_tiff(path("photo.tif"), source, options);
            const image upright = turned(source, orientation);
            expect_picture("photo.tif", upright, expected(upright));
        }
    }
}

TEST_F(import_tiff_detail, a_turned_mask_is_upright_too)
{
    const image source = make_image(301, 77, model::grey);
    tiff_options options;
    options.orientation = 6;
    write_tiff(path("photo.tif"), source, options);
    const image upright = turned(source, 6);
    expect_mask("photo.tif", upright, expected_mask(upright));
}

TEST_F(import_tiff_detail, an_embedded_profile_decides_what_the_colours_are)
{
    const std::string adobe = profile_path("a98.icc");
    const image source = make_image(90, 60, model::rgb);
    tiff_options options;
    options.profile = adobe;
    write_tiff(path("photo.tif"), source, options);
    expect_picture("photo.tif", source, expected(source, adobe));
}

TEST_F(import_tiff_detail, a_profile_for_other_colours_says_nothing)
{
    const image source = make_image(90, 60, model::rgb);
    tiff_options options;
    options.profile = cmyk_profile();
    write_tiff(path("photo.tif"), source, options);
    expect_picture("photo.tif", source, expected(source));
}

TEST_F(import_tiff_detail, cmyk_of_another_profile_is_converted_and_of_the_same_is_not)
{
    const std::string other = profile_path("ps_cmyk.icc");
    const image source = make_image(90, 60, model::cmyk, true);
    tiff_options options;
    options.profile = other;
    write_tiff(path("other.tif"), source, options);
    expect_picture("other.tif", source, expected(source, other));
    // The same numbers are right when that profile is the canvas's own.
    expect_picture("other.tif", source, expected(source), {"--profile", other});

    options.profile = cmyk_profile();
    write_tiff(path("same.tif"), source, options);
    expect_picture("same.tif", source, expected(source));
}

TEST_F(import_tiff_detail, profile_and_intent_can_be_chosen)
{
    const std::string other = profile_path("ps_cmyk.icc");
    const image source = make_image(90, 60, model::rgb);
    write_tiff(path("photo.tif"), source);
    expect_picture("photo.tif", source, expected(source, {}, other), {"--profile", other});
    const std::pair<const char*, unsigned> intents[] = {
        {"perceptual", 0}, {"relative", 1}, {"saturation", 2}, {"absolute", 3}};
    for (const auto& [name, number] : intents) {
        expect_picture("photo.tif", source, expected(source, {}, cmyk_profile(), number), {"--intent", name});
    }
}

TEST_F(import_tiff_detail, masks_take_grey_as_it_stands_and_make_grey_of_colours)
{
    for (const model colours : {model::grey, model::rgb, model::cmyk}) {
        for (const int bits : {8, 16}) {
            const image source = make_image(301, 277, colours, true, bits);
            write_tiff(path("photo.tif"), source);
            expect_mask("photo.tif", source, expected_mask(source));
        }
    }
}

TEST_F(import_tiff_detail, images_behind_the_first_are_not_passed_over_in_silence)
{
    const image source = make_image(90, 60, model::rgb);
    write_tiff(path("photo.tif"), source);
    tiff_options behind;
    behind.mode = "a";
    write_tiff(path("photo.tif"), make_image(30, 20, model::grey), behind);
    const outcome result = iocache({"import", path("photo.tif"), path("canvas")});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.err,
              "iocache: " + path("photo.tif") + ": the file holds several images; only the first is taken\n");
    EXPECT_EQ(first_difference(read_canvas(path("canvas")).colour, expected(source).colour), "");
}

TEST_F(import_tiff_detail, jpeg_inside_tiff_is_decoded)
{
    // Smooth, so that two decoders of the same data agree.
    image source{128, 96, model::rgb, false, 8, {}};
    for (std::size_t i = 0; i < source.pixels(); ++i) source.samples.insert(source.samples.end(), {120, 60, 200});
    tiff_options options = strips(16, COMPRESSION_JPEG);
    write_tiff(path("photo.tif"), source, options);
    const canvas_pixels canvas = import("photo.tif", process_mode());
    const cmyk_pixels wanted = expected(source);
    ASSERT_EQ(canvas.colour.size(), wanted.colour.size());
    for (std::size_t i = 0; i < wanted.colour.size(); ++i) ASSERT_NEAR(canvas.colour[i], wanted.colour[i], 4);
}

}  // namespace

}  // namespace tool_tests
