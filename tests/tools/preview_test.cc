// A preview shows the pixels it says, in the colours of the screen.
#include "tests/tools/support/import_check.h"
#include "tests/tools/support/reduced_check.h"

namespace tool_tests {

namespace {

class preview_test : public import_test {
protected:
    void SetUp() override
    {
        write_png(path("photo.png"), make_image(1500, 1100, model::rgb, true));
        canvas_ = import("photo.png", process_mode());
    }

    outcome preview(const std::vector<std::string>& options)
    {
        return iocache(std::vector<std::string>{"preview", path("canvas"), path("out.png")} + options);
    }

    image shown(const std::vector<std::string>& options)
    {
        const outcome result = preview(options + std::vector<std::string>{"--force"});
        EXPECT_EQ(result.exit_code, 0) << result.err;
        EXPECT_EQ(result.err, "");
        if (result.exit_code != 0) return {};
        return read_png(path("out.png"));
    }

    // As a screen shows it: without alpha, laid on squares of 8 pixels, white and light grey.
    static std::vector<std::uint8_t> on_board(const point_image& image)
    {
        std::vector<std::uint8_t> rgb = expected_proof(image.colour);
        for (int y = 0; y < image.height; ++y) {
            for (int x = 0; x < image.width; ++x) {
                const auto pixel = static_cast<std::size_t>(y * image.width + x);
                const double board = (x / 8 + y / 8) % 2 == 0 ? 255 : 204;
                const double alpha = image.alpha[pixel] / 255.0;
                for (std::size_t s = 0; s < 3; ++s) {
                    std::uint8_t& value = rgb[pixel * 3 + s];
                    value = static_cast<std::uint8_t>(value * alpha + board * (1 - alpha) + 0.5);
                }
            }
        }
        return rgb;
    }

    static std::vector<std::uint8_t> with_alpha(const point_image& image)
    {
        const std::vector<std::uint8_t> rgb = expected_proof(image.colour);
        std::vector<std::uint8_t> all;
        for (std::size_t pixel = 0; pixel < image.alpha.size(); ++pixel) {
            for (std::size_t s = 0; s < 3; ++s) all.push_back(rgb[pixel * 3 + s]);
            all.push_back(image.alpha[pixel]);
        }
        return all;
    }

    // The view, once on the board and once with its alpha, in both modes.
    void expect_view(const std::vector<std::string>& view, const point_image& wanted)
    {
        for (const auto& mode : {process_mode(), in_line_mode()}) {
            SCOPED_TRACE((view.empty() ? "reduced" : view.front()) + " " + mode.back());
            const image flat = shown(view + mode);
            EXPECT_EQ(flat.colours, model::rgb);
            EXPECT_FALSE(flat.alpha);
            ASSERT_EQ(flat.width, wanted.width);
            ASSERT_EQ(flat.height, wanted.height);
            EXPECT_EQ(first_difference(flat.bytes(), on_board(wanted)), "");
            const image kept = shown(view + mode + std::vector<std::string>{"--alpha"});
            EXPECT_TRUE(kept.alpha);
            ASSERT_EQ(kept.width, wanted.width);
            EXPECT_EQ(first_difference(kept.bytes(), with_alpha(wanted)), "");
        }
    }

    canvas_pixels canvas_;
};

TEST_F(preview_test, the_reduced_image_is_the_usual_view)
{
    expect_view({}, expected_reduced(canvas_));
    expect_view({"--reduced"}, expected_reduced(canvas_));
}

TEST_F(preview_test, the_reduced_image_is_the_one_in_the_file)
{
    std::vector<std::uint8_t> file = read_bytes(path("canvas"));
    const std::size_t at = regions_of(file).reduced;
    point_image wanted = expected_reduced(canvas_);
    for (std::size_t i = 5000; i < 9000; ++i) file[at + i] = wanted.colour[i] = 200;
    write_bytes(path("canvas"), file);
    EXPECT_EQ(first_difference(shown({"--alpha"}).bytes(), with_alpha(wanted)), "");
}

TEST_F(preview_test, a_canvas_within_the_frame_is_its_own_reduced_image)
{
    write_png(path("photo.png"), make_image(700, 530, model::rgb, true));
    canvas_ = import("photo.png", process_mode());
    expect_view({}, picked(canvas_, every(1, 700), every(1, 530)));
}

TEST_F(preview_test, the_icon_has_no_alpha)
{
    const point_image icon = expected_icon(canvas_);
    for (const auto& options : {std::vector<std::string>{}, std::vector<std::string>{"--alpha"}}) {
        const image content = shown(options + std::vector<std::string>{"--icon"});
        EXPECT_FALSE(content.alpha);
        ASSERT_EQ(content.width, 100);
        ASSERT_EQ(content.height, 100);
        EXPECT_EQ(first_difference(content.bytes(), expected_proof(icon.colour)), "");
    }
}

TEST_F(preview_test, a_level_takes_every_nth_pixel)
{
    for (const int level : {0, 1, 3, 7, 9, 15}) {
        expect_view({"--level", std::to_string(level)},
                    picked(canvas_, every(1 << level, 1500), every(1 << level, 1100)));
    }
}

TEST_F(preview_test, a_region_is_shown_pixel_by_pixel)
{
    std::vector<std::int32_t> columns = every(1, 1500);
    std::vector<std::int32_t> rows = every(1, 1100);
    columns = {columns.begin() + 250, columns.begin() + 250 + 600};
    rows = {rows.begin() + 500, rows.begin() + 500 + 300};
    expect_view({"--region", "250,500,600,300"}, picked(canvas_, columns, rows));
    expect_view({"--region", "1499,1099,1,1"}, picked(canvas_, {1499}, {1099}));
}

TEST_F(preview_test, a_mask_is_grey)
{
    canvas_ = import("photo.png", {"--mask"});
    const auto expect_grey = [&](const std::vector<std::string>& options, const point_image& wanted) {
        const image content = shown(options);
        EXPECT_EQ(content.colours, model::grey);
        EXPECT_FALSE(content.alpha);
        ASSERT_EQ(content.width, wanted.width);
        EXPECT_EQ(first_difference(content.bytes(), wanted.colour), "");
    };
    expect_grey({}, expected_reduced(canvas_));
    expect_grey({"--icon"}, expected_icon(canvas_));
    expect_grey({"--level", "2", "--alpha"}, picked(canvas_, every(4, 1500), every(4, 1100)));
}

TEST_F(preview_test, the_canvas_stays_as_it_was)
{
    const std::vector<std::uint8_t> before = read_bytes(path("canvas"));
    for (const char* const view : {"--reduced", "--icon"}) shown({view});
    shown({"--level", "1"});
    EXPECT_TRUE(read_bytes(path("canvas")) == before);
}

TEST_F(preview_test, failures_have_their_codes_and_leave_nothing)
{
    const std::vector<std::string> before = files();
    EXPECT_EQ(preview({"--icon", "--reduced"}).exit_code, 2);
    EXPECT_EQ(preview({"--level", "1", "--region", "0,0,1,1"}).exit_code, 2);
    EXPECT_EQ(preview({"--level", "16"}).exit_code, 2);
    EXPECT_EQ(preview({"--level", "-1"}).exit_code, 2);
    EXPECT_EQ(preview({"--region", "1499,0,2,1"}).exit_code, 2);
    EXPECT_EQ(iocache({"preview", path("canvas")}).exit_code, 2);
    EXPECT_EQ(iocache({"preview", path("canvas"), path("out.jpg")}).exit_code, 2);
    EXPECT_EQ(iocache({"preview", path("nothing"), path("out.png")}).exit_code, 3);
    EXPECT_EQ(iocache({"preview", path("photo.png"), path("out.png")}).exit_code, 4);
    EXPECT_EQ(preview({"--profile", path("nothing.icc")}).exit_code, 3);
    EXPECT_EQ(preview({"--profile", path("photo.png")}).exit_code, 4);
    EXPECT_EQ(files(), before);
    write_bytes(path("out.png"), {1, 2, 3});
    EXPECT_EQ(preview({}).exit_code, 3);
    EXPECT_EQ(read_bytes(path("out.png")), (std::vector<std::uint8_t>{1, 2, 3}));
}

TEST_F(preview_test, a_reduced_image_of_another_size_is_refused)
{
    std::vector<std::uint8_t> file = read_bytes(path("canvas"));
    file[0x358 + 1] = static_cast<std::uint8_t>(file[0x358 + 1] / 2);
    write_bytes(path("canvas"), file);
    EXPECT_EQ(preview({}).exit_code, 4);
    EXPECT_EQ(iocache({"refresh", path("canvas")}).exit_code, 4);
    EXPECT_EQ(preview({"--level", "2"}).exit_code, 0);
}

}  // namespace

}  // namespace tool_tests
