// Reduced image and icon follow the pixels: import leaves them right, and refresh makes them right again.
#include "tests/tools/support/import_check.h"
#include "tests/tools/support/reduced_check.h"

namespace tool_tests {

namespace {

class refresh_test : public import_test {
protected:
    void import_image(int width, int height, const std::vector<std::string>& options)
    {
        write_png(path("photo.png"), make_image(width, height, model::rgb, true));
        import("photo.png", options);
    }

    void expect_right_images()
    {
        const stored_images wanted = expected_stored(read_canvas(path("canvas")));
        const stored_images found = read_stored(path("canvas"));
        EXPECT_EQ(first_difference(found.icon, wanted.icon), "");
        EXPECT_EQ(first_difference(found.reduced, wanted.reduced), "");
    }

    // Overwrites what the file holds of both, and nothing else.
    void spoil_images()
    {
        std::vector<std::uint8_t> file = read_bytes(path("canvas"));
        const stored_images images = read_stored(path("canvas"));
        const stored_regions at = regions_of(file);
        std::fill_n(file.begin() + static_cast<std::ptrdiff_t>(at.reduced), images.reduced.size(), std::uint8_t{77});
        // Pixels that the icon's image does not reach keep what they hold, so only those it reaches are spoilt.
        const std::vector<std::uint8_t> icon = expected_icon(read_canvas(path("canvas"))).colour;
        for (std::size_t i = 0; i < icon.size(); ++i) {
            if (icon[i] != 0) file[at.icon + i] = static_cast<std::uint8_t>(~icon[i]);
        }
        write_bytes(path("canvas"), file);
    }

    outcome refresh(const std::vector<std::string>& mode)
    {
        return iocache(std::vector<std::string>{"refresh", path("canvas")} + mode);
    }
};

struct picture_case {
    int width, height;
    bool mask;
};

// Within the frame, just above it, odd ratios, one side long, last row and column alone in their tiles.
const picture_case cases[] = {{300, 200, false},  {1024, 1024, false}, {1025, 1025, false}, {1537, 513, true},
                              {701, 2309, false}, {2305, 257, false},  {40, 30, true},      {1, 1300, false}};

TEST_F(refresh_test, an_imported_canvas_has_a_right_reduced_image_and_icon)
{
    for (const picture_case& now : cases) {
        for (const auto& mode : {process_mode(), in_line_mode()}) {
            SCOPED_TRACE(std::to_string(now.width) + " x " + std::to_string(now.height) + " " + mode.back());
            import_image(now.width, now.height, now.mask ? mode + std::vector<std::string>{"--mask"} : mode);
            expect_right_images();
        }
    }
}

TEST_F(refresh_test, a_picture_that_is_turned_on_import_is_sampled_upright)
{
    for (const int orientation : {2, 3, 6, 7}) {
        jpeg_options options;
        options.exif_orientation = orientation;
        write_jpeg(path("photo.jpg"), make_image(1400, 1100, model::rgb), options);
        import("photo.jpg", process_mode());
        expect_right_images();
    }
}

TEST_F(refresh_test, spoilt_images_are_made_again_and_nothing_else_changes)
{
    for (const picture_case& now : cases) {
        import_image(now.width, now.height, now.mask ? std::vector<std::string>{"--mask"} : std::vector<std::string>{});
        const std::vector<std::uint8_t> before = read_bytes(path("canvas"));
        for (const auto& mode : {process_mode(), in_line_mode()}) {
            SCOPED_TRACE(std::to_string(now.width) + " x " + std::to_string(now.height) + " " + mode.back());
            spoil_images();
            ASSERT_FALSE(read_bytes(path("canvas")) == before);
            const outcome result = refresh(mode);
            EXPECT_EQ(result.exit_code, 0) << result.err;
            EXPECT_EQ(result.err, "");
            EXPECT_EQ(first_difference(read_bytes(path("canvas")), before), "");
        }
    }
}

TEST_F(refresh_test, tiles_that_were_changed_in_the_file_show)
{
    import_image(1500, 1300, process_mode());
    std::vector<std::uint8_t> file = read_bytes(path("canvas"));
    const auto tiles = static_cast<std::size_t>(iocache_test::big_endian(file, 0x34C, 4));
    for (std::size_t i = tiles + 100'000; i < tiles + 2'000'000; ++i) file[i] = static_cast<std::uint8_t>(~file[i]);
    write_bytes(path("canvas"), file);
    EXPECT_NE(
        first_difference(read_stored(path("canvas")).reduced, expected_stored(read_canvas(path("canvas"))).reduced),
        "");
    EXPECT_EQ(refresh(process_mode()).exit_code, 0);
    expect_right_images();
}

TEST_F(refresh_test, a_tile_that_was_never_written_is_empty_in_the_image)
{
    import_image(1500, 1300, process_mode());
    std::vector<std::uint8_t> file = read_bytes(path("canvas"));
    // The entry of the last tile, which is the last slot too, is taken out of the table.
    const auto table = static_cast<std::size_t>(iocache_test::big_endian(file, 0x348, 4));
    const std::size_t last = table + (std::size_t{6} * 6 - 1) * 4;
    std::fill_n(file.begin() + static_cast<std::ptrdiff_t>(last), 4, std::uint8_t{255});
    file[0x364 + 3] = 35;
    write_bytes(path("canvas"), file);
    EXPECT_EQ(refresh(process_mode()).exit_code, 0);
    expect_right_images();
    const point_image reduced = expected_reduced(read_canvas(path("canvas")));
    EXPECT_EQ(reduced.alpha.back(), 0);
}

TEST_F(refresh_test, failures_are_told)
{
    EXPECT_EQ(iocache({"refresh"}).exit_code, 2);
    EXPECT_EQ(iocache({"refresh", path("nothing")}).exit_code, 3);
    write_bytes(path("text"), std::vector<std::uint8_t>(5000, 'x'));
    EXPECT_EQ(iocache({"refresh", path("text")}).exit_code, 4);
}

}  // namespace

}  // namespace tool_tests
