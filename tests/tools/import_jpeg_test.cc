// JPEG files become the canvas they should: what a decoder that reads the whole file gives, converted.
#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

class import_jpeg : public import_test {
protected:
    static image inverted(image source)
    {
        for (auto& sample : source.samples) sample = static_cast<std::uint16_t>(255 - sample);
        return source;
    }
};

TEST_F(import_jpeg, grey_and_colours_are_decoded)
{
    for (const model colours : {model::grey, model::rgb}) {
        write_jpeg(path("photo.jpg"), make_image(301, 277, colours));
        const image decoded = read_jpeg(path("photo.jpg"));
        expect_picture("photo.jpg", decoded, expected(decoded));
    }
}

TEST_F(import_jpeg, progressive_files_give_the_same_as_a_decoder_in_memory)
{
    for (const model colours : {model::grey, model::rgb, model::cmyk}) {
        jpeg_options options;
        options.progressive = true;
        options.adobe = false;
        write_jpeg(path("photo.jpg"), make_image(611, 477, colours), options);
        const image decoded = read_jpeg(path("photo.jpg"));
        expect_picture("photo.jpg", decoded, expected(decoded));
    }
    EXPECT_EQ(files(), (std::vector<std::string>{"canvas", "photo.jpg"}));
}

TEST_F(import_jpeg, adobes_cmyk_is_the_other_way_round)
{
    const image source = make_image(301, 277, model::cmyk);
    write_jpeg(path("photo.jpg"), source);  // with the mark
    const image decoded = read_jpeg(path("photo.jpg"));
    expect_picture("photo.jpg", decoded, expected(inverted(decoded)));
}

TEST_F(import_jpeg, cmyk_without_adobes_mark_is_ink)
{
    const image source = make_image(301, 277, model::cmyk);
    jpeg_options options;
    options.adobe = false;
    write_jpeg(path("photo.jpg"), source, options);
    const image decoded = read_jpeg(path("photo.jpg"));
    expect_picture("photo.jpg", decoded, expected(decoded));
}

TEST_F(import_jpeg, ycck_is_decoded_to_cmyk)
{
    const image source = make_image(301, 277, model::cmyk);
    jpeg_options options;
    options.ycck = true;
    write_jpeg(path("photo.jpg"), source, options);
    const image decoded = read_jpeg(path("photo.jpg"));
    expect_picture("photo.jpg", decoded, expected(inverted(decoded)));
}

TEST_F(import_jpeg, the_user_can_overrule_the_mark)
{
    write_jpeg(path("photo.jpg"), make_image(90, 60, model::cmyk));
    const image decoded = read_jpeg(path("photo.jpg"));
    expect_picture("photo.jpg", decoded, expected(decoded), {"--cmyk-jpeg", "ink"});
    jpeg_options options;
    options.adobe = false;
    write_jpeg(path("other.jpg"), make_image(90, 60, model::cmyk), options);
    expect_picture("other.jpg", decoded, expected(inverted(read_jpeg(path("other.jpg")))), {"--cmyk-jpeg", "inverted"});
}

TEST_F(import_jpeg, pictures_stand_upright_as_the_camera_notes)
{
    for (int orientation = 1; orientation <= 8; ++orientation) {
        SCOPED_TRACE(orientation);
        jpeg_options options;
        options.exif_orientation = orientation;
        write_jpeg(path("photo.jpg"), make_image(301, 277, model::rgb), options);
        const image upright = turned(read_jpeg(path("photo.jpg")), orientation);
        expect_picture("photo.jpg", upright, expected(upright));
    }
}

TEST_F(import_jpeg, an_embedded_profile_decides_what_the_colours_are)
{
    const std::string adobe = profile_path("a98.icc");
    jpeg_options options;
    options.profile = adobe;
    write_jpeg(path("photo.jpg"), make_image(90, 60, model::rgb), options);
    const image decoded = read_jpeg(path("photo.jpg"));
    expect_picture("photo.jpg", decoded, expected(decoded, adobe));
}

TEST_F(import_jpeg, masks_take_the_grey)
{
    write_jpeg(path("photo.jpg"), make_image(301, 277, model::grey));
    const image decoded = read_jpeg(path("photo.jpg"));
    expect_mask("photo.jpg", decoded, expected_mask(decoded));
}

}  // namespace

}  // namespace tool_tests
