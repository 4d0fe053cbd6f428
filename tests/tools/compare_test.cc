// compare finds every difference and nothing else.
#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

class compare_test : public import_test {
protected:
    void SetUp() override
    {
        source_ = make_image(701, 533, model::cmyk, true);
        write_tiff(path("photo.tif"), source_);
        import("photo.tif", process_mode());
    }

    // Changes samples of the image, so that it differs from the canvas in these pixels.
    void change(const std::vector<std::pair<int, int>>& pixels, std::size_t sample)
    {
        image changed = source_;
        for (const auto& [x, y] : pixels) {
            auto& value = changed.samples[static_cast<std::size_t>(y * source_.width + x) * 5 + sample];
            value = static_cast<std::uint16_t>(255 - value);
        }
        write_tiff(path("photo.tif"), changed);
    }

    outcome compare(const std::vector<std::string>& options)
    {
        return iocache(std::vector<std::string>{"compare", path("canvas"), path("photo.tif")} + options);
    }

    image source_;
};

TEST_F(compare_test, the_image_it_was_made_from_is_the_same)
{
    for (const auto& mode : {process_mode(), in_line_mode()}) {
        const outcome result = compare(mode);
        EXPECT_EQ(result.exit_code, 0) << result.err;
        EXPECT_EQ(result.out, "same: 373633 pixels\n");
    }
}

TEST_F(compare_test, one_byte_of_colour_or_alpha_is_found)
{
    for (const std::size_t sample : {0U, 3U, 4U}) {
        change({{399, 517}}, sample);
        const outcome result = compare(process_mode());
        EXPECT_EQ(result.exit_code, 1);
        EXPECT_NE(result.out.find("different: 1 of 373633 pixels; the first at (399, 517)"), std::string::npos)
            << result.out;
    }
}

TEST_F(compare_test, the_first_difference_is_told_and_all_are_counted)
{
    change({{600, 8}, {20, 9}, {0, 532}, {700, 532}}, 1);
    const outcome result = compare(process_mode());
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_NE(result.out.find("different: 4 of 373633 pixels; the first at (600, 8)"), std::string::npos) << result.out;
}

TEST_F(compare_test, exceptions_are_left_out)
{
    change({{10, 10}, {19, 19}, {500, 100}}, 2);
    EXPECT_EQ(compare({"--except", "10,10,10,10", "--except", "500,100,1,1"}).exit_code, 0);
    EXPECT_EQ(compare({"--except", "10,10,10,9", "--except", "500,100,1,1"}).exit_code, 1);
    EXPECT_EQ(compare({"--except", "10,10,10,10"}).exit_code, 1);
}

TEST_F(compare_test, another_size_is_different)
{
    write_tiff(path("photo.tif"), make_image(700, 533, model::cmyk, true));
    const outcome result = compare({});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.out, "different: the canvas is 701 x 533 pixels, the image 700 x 533\n");
}

TEST_F(compare_test, masks_are_compared_as_masks)
{
    import("photo.tif", {"--mask"});
    EXPECT_EQ(compare({}).exit_code, 0);
    change({{5, 5}}, 3);
    EXPECT_EQ(compare({}).exit_code, 1);
}

TEST_F(compare_test, damage_in_the_image_is_no_difference_but_a_failure)
{
    std::vector<std::uint8_t> bytes = read_bytes(path("photo.tif"));
    bytes.resize(bytes.size() / 2);
    write_bytes(path("photo.tif"), bytes);
    EXPECT_EQ(compare({}).exit_code, 3);
}

}  // namespace

}  // namespace tool_tests
