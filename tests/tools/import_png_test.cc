// PNG files of every colour type and depth become the canvas they should.
#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

struct sort {
    const char* name;
    model colours;
    bool alpha;
    int bits;
};

// Keeps the bytes of a sort out of the names of tests.
void PrintTo(const sort& chosen, std::ostream* out)
{
    *out << chosen.name;
}

constexpr sort sorts[] = {
    {"grey", model::grey, false, 8},      {"grey_16", model::grey, false, 16},
    {"grey_alpha", model::grey, true, 8}, {"grey_alpha_16", model::grey, true, 16},
    {"rgb", model::rgb, false, 8},        {"rgb_16", model::rgb, false, 16},
    {"rgb_alpha", model::rgb, true, 8},   {"rgb_alpha_16", model::rgb, true, 16},
};

class import_png : public import_test, public ::testing::WithParamInterface<sort> {};

TEST_P(import_png, gives_the_pixels_of_the_file)
{
    const sort& chosen = GetParam();
    const image source = make_image(301, 277, chosen.colours, chosen.alpha, chosen.bits);
    for (const bool interlaced : {false, true}) {
        png_options options;
        options.interlaced = interlaced;
        write_png(path("photo.png"), source, options);
        expect_picture("photo.png", source, expected(source));
    }
    EXPECT_EQ(files(), (std::vector<std::string>{"canvas", "photo.png"}));
}

INSTANTIATE_TEST_SUITE_P(every, import_png, ::testing::ValuesIn(sorts),
                         [](const auto& chosen) { return std::string(chosen.param.name); });

class import_png_detail : public import_test {};

TEST_F(import_png_detail, few_bits_a_sample_become_whole_greys)
{
    for (const int bits : {1, 2, 4}) {
        for (const bool interlaced : {false, true}) {
            image source = make_image(131, 77, model::grey);
            const int most = (1 << bits) - 1;
            for (auto& sample : source.samples) sample = static_cast<std::uint16_t>(sample & most);
            png_options options;
            options.packed_bits = bits;
            options.interlaced = interlaced;
            write_png(path("photo.png"), source, options);
            for (auto& sample : source.samples) sample = static_cast<std::uint16_t>(sample * 255 / most);
            expect_picture("photo.png", source, expected(source));
        }
    }
}

TEST_F(import_png_detail, palettes_become_colours_with_their_transparency)
{
    image source = make_image(131, 77, model::grey);
    constexpr int entries = 200;
    for (auto& sample : source.samples) sample = static_cast<std::uint16_t>(sample % entries);
    png_options options;
    for (int i = 0; i < 3 * entries; ++i) options.palette.push_back(static_cast<std::uint8_t>(i * 97 % 256));
    for (const bool transparent : {false, true}) {
        if (transparent) {
            for (int i = 0; i < entries / 2; ++i) options.palette_alpha.push_back(static_cast<std::uint8_t>(i * 2));
        }
        write_png(path("photo.png"), source, options);
        image colours{source.width, source.height, model::rgb, true, 8, {}};
        for (const auto sample : source.samples) {
            const auto entry = std::size_t{sample} * 3;
            const std::uint16_t alpha =
                sample < options.palette_alpha.size() ? options.palette_alpha[sample] : std::uint16_t{255};
            colours.samples.insert(colours.samples.end(), {options.palette[entry], options.palette[entry + 1],
                                                           options.palette[entry + 2], alpha});
        }
        expect_picture("photo.png", source, expected(colours));
    }
}

TEST_F(import_png_detail, an_embedded_profile_decides_what_the_colours_are)
{
    const std::string adobe = profile_path("a98.icc");
    const image source = make_image(90, 60, model::rgb);
    png_options options;
    options.profile = adobe;
    write_png(path("photo.png"), source, options);
    expect_picture("photo.png", source, expected(source, adobe));
}

TEST_F(import_png_detail, masks_take_the_grey)
{
    const image source = make_image(301, 277, model::grey, true);
    write_png(path("photo.png"), source);
    expect_mask("photo.png", source, expected_mask(source));
}

}  // namespace

}  // namespace tool_tests
