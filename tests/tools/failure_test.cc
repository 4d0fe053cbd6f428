// When something cannot be done, the exit code says what sort of thing, one line says why, and nothing
// half made is left behind.
#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

class failure_test : public import_test {
protected:
    void expect_failure(const std::vector<std::string>& arguments, int exit_code, const std::string& reason)
    {
        const std::vector<std::string> before = files();
        const outcome result = iocache(arguments);
        EXPECT_EQ(result.exit_code, exit_code) << result.signal << result.err;
        EXPECT_NE(result.err.find(reason), std::string::npos) << result.err;
        EXPECT_TRUE(result.err.starts_with("iocache: ")) << result.err;
        EXPECT_EQ(files(), before);
    }

    void make_canvas()
    {
        write_png(path("photo.png"), make_image(301, 277, model::rgb));
        import("photo.png", process_mode());
    }
};

TEST_F(failure_test, senseless_command_lines_are_told_by_code_2)
{
    make_canvas();
    expect_failure({}, 2, "");
    expect_failure({"paint"}, 2, "iocache: there is no command 'paint', only import, export, info, compare");
    expect_failure({"import"}, 2, "PHOTO");
    expect_failure({"import", path("photo.png")}, 2, "CANVAS");
    expect_failure({"import", path("photo.png"), path("new"), "--cache", "much"}, 2, "--cache");
    expect_failure({"import", path("photo.png"), path("new"), "--cache", "1k"}, 2, "--cache");
    expect_failure({"import", path("photo.png"), path("new"), "--workers", "0"}, 2, "--workers");
    expect_failure({"import", path("photo.png"), path("new"), "--intent", "bad"}, 2,
                   "iocache: --intent: 'bad' is none of perceptual, relative, saturation, absolute (iocache import");
    expect_failure({"import", path("photo.png"), path("new"), "--cmyk-jpeg", "bad"}, 2, "none of auto, ink, inverted");
    expect_failure({"info", path("canvas"), "--paint"}, 2, "--paint");
    expect_failure({"export", path("canvas"), path("new.bmp")}, 2, ".tif, .tiff or .png");
    expect_failure({"export", path("canvas"), path("new.tif"), "--compress", "zip"}, 2, "none of none, lzw, deflate");
    expect_failure({"export", path("canvas"), path("new.png"), "--compress", "lzw"}, 2, "--compress: is for TIFF only");
    for (const char* const command : {"export", "preview"}) {
        expect_failure({command, path("canvas"), path("new.png"), "--region", "0,0,9,9", "--region", "1,1,9,9"}, 2,
                       "--region: may be given once only");
    }
    for (const char* const region : {"1,2,3", "1,2,3,4,5", "0,0,0,1", "a,b,c,d", "1,2,3,99999999999"}) {
        expect_failure({"export", path("canvas"), path("new.png"), "--region", region}, 2, "--region");
    }
    expect_failure({"export", path("canvas"), path("new.png"), "--region", "0,0,302,277"}, 2, "outside the canvas");
    expect_failure({"export", path("canvas"), path("new.png"), "--region", "300,0,2147483647,1"}, 2, "outside");
}

TEST_F(failure_test, every_command_explains_itself)
{
    EXPECT_NE(iocache({"--help"}).out.find("Exit codes"), std::string::npos);
    for (const char* const command : {"import", "export", "info", "compare", "preview", "separations", "refresh"}) {
        const outcome result = iocache({command, "--help"});
        EXPECT_EQ(result.exit_code, 0);
        EXPECT_NE(result.out.find("Usage: iocache " + std::string(command)), std::string::npos) << result.out;
    }
    EXPECT_EQ(iocache({"--version"}).exit_code, 0);
}

TEST_F(failure_test, what_is_not_there_or_not_readable_is_code_3)
{
    make_canvas();
    expect_failure({"import", path("nothing"), path("new")}, 3, "cannot open");
    expect_failure({"import", folder().string(), path("new")}, 3, "");
    expect_failure({"import", path("photo.png"), path("no/such/folder")}, 3, "");
    expect_failure({"import", path("photo.png"), path("new"), "--profile", path("nothing")}, 3, "cannot open");
    expect_failure({"export", path("nothing"), path("new.png")}, 3, "cannot open");
    expect_failure({"export", path("canvas"), path("no/such/folder.png")}, 3, "");
    expect_failure({"export", path("canvas"), path("no/such/folder.tif")}, 3, "");
    expect_failure({"info", path("nothing")}, 3, "cannot open");
    expect_failure({"compare", path("canvas"), path("nothing")}, 3, "cannot open");
}

TEST_F(failure_test, an_existing_file_is_left_alone_unless_it_may_be_replaced)
{
    make_canvas();
    const std::vector<std::uint8_t> before = read_bytes(path("canvas"));
    expect_failure({"import", path("photo.png"), path("canvas")}, 3, "exists already");
    EXPECT_TRUE(read_bytes(path("canvas")) == before);
    // A replacement that fails leaves the old one too.
    std::vector<std::uint8_t> image = read_bytes(path("photo.png"));
    image.resize(image.size() / 2);
    write_bytes(path("photo.png"), image);
    expect_failure({"import", path("photo.png"), path("canvas"), "--force"}, 3, "photo.png");
    EXPECT_TRUE(read_bytes(path("canvas")) == before);
    std::filesystem::create_directory(path("folder"));
    expect_failure({"import", path("photo.png"), path("folder"), "--force"}, 3, "not an ordinary file");
}

TEST_F(failure_test, what_is_no_canvas_never_gets_to_the_library)
{
    make_canvas();
    std::vector<std::uint8_t> almost = read_bytes(path("canvas"));
    almost[0x36F] ^= 1;  // the magic number
    write_bytes(path("almost"), almost);
    write_bytes(path("short"), {0, 6, 81, 189});
    write_bytes(path("empty"), {});
    for (const char* const name : {"almost", "short", "empty", "photo.png"}) {
        const std::vector<std::uint8_t> before = read_bytes(path(name));
        expect_failure({"export", path(name), path("new.tif")}, 4, "not a canvas");
        expect_failure({"compare", path(name), path("photo.png")}, 4, "not a canvas");
        expect_failure({"info", path(name)}, 4, "not a canvas");
        EXPECT_TRUE(read_bytes(path(name)) == before);
    }
}

TEST_F(failure_test, what_is_no_image_or_of_an_unsupported_sort_is_code_4)
{
    write_bytes(path("text"), {'h', 'e', 'l', 'l', 'o'});
    write_bytes(path("empty"), {});
    expect_failure({"import", path("text"), path("new")}, 4, "not a TIFF, JPEG or PNG");
    expect_failure({"import", path("empty"), path("new")}, 4, "not a TIFF, JPEG or PNG");
    write_png(path("photo.png"), make_image(9, 9, model::rgb));
    expect_failure({"import", path("photo.png"), path("new"), "--profile", path("text")}, 4, "not a colour profile");
    expect_failure({"import", path("photo.png"), path("new"), "--profile", profile_path("srgb.icc")}, 4,
                   "not a colour profile for CMYK");
    tiff_options options;
    options.photometric = PHOTOMETRIC_CIELAB;
    write_tiff(path("lab.tif"), make_image(9, 9, model::rgb), options);
    expect_failure({"import", path("lab.tif"), path("new")}, 4, "photometric interpretation 8");
}

TEST_F(failure_test, damaged_canvases_are_refused)
{
    make_canvas();
    std::vector<std::uint8_t> bytes = read_bytes(path("canvas"));
    bytes.resize(bytes.size() - 1);
    write_bytes(path("canvas"), bytes);
    expect_failure({"export", path("canvas"), path("new.tif")}, 4, "damaged");
    EXPECT_TRUE(read_bytes(path("canvas")) == bytes);
}

TEST_F(failure_test, masks_of_an_older_version_are_not_converted_by_the_way)
{
    make_canvas();
    import("photo.png", {"--mask"});
    std::vector<std::uint8_t> bytes = read_bytes(path("canvas"));
    bytes[0x373] = 1;
    write_bytes(path("canvas"), bytes);
    expect_failure({"export", path("canvas"), path("new.tif")}, 4, "older version");
    EXPECT_TRUE(read_bytes(path("canvas")) == bytes);
}

TEST_F(failure_test, what_would_not_fit_is_code_5)
{
    image line = make_image(32768, 1, model::grey);
    write_png(path("wide.png"), line);
    expect_failure({"import", path("wide.png"), path("new")}, 5, "would not fit");
    std::swap(line.width, line.height);
    write_tiff(path("high.tif"), line);
    expect_failure({"import", path("high.tif"), path("new")}, 5, "would not fit");
    // A tile that cannot be decoded in bounded memory.
    tiff_options options;
    options.tiled = true;
    options.tile_width = options.tile_height = 8192;
    options.compression = COMPRESSION_ADOBE_DEFLATE;
    write_tiff(path("tile.tif"), make_image(9, 9, model::rgb), options);
    expect_failure({"import", path("tile.tif"), path("new")}, 5, "would not fit");
}

TEST_F(failure_test, a_cache_that_memory_cannot_hold_is_code_5)
{
    if (under_sanitizer()) GTEST_SKIP() << "sanitizers reserve more than the limit";
    write_png(path("photo.png"), make_image(9, 9, model::rgb));
    const outcome result = run({"/bin/bash", "-c", "ulimit -v 1000000; exec \"$@\"", "bash", tool(), "import",
                                path("photo.png"), path("new"), "--cache", "4G"});
    EXPECT_EQ(result.exit_code, 5) << result.signal;
    EXPECT_NE(result.err.find("would not fit"), std::string::npos) << result.err;
    EXPECT_EQ(files(), std::vector<std::string>{"photo.png"});
}

TEST_F(failure_test, nothing_replaces_what_is_read)
{
    make_canvas();
    std::filesystem::create_hard_link(path("canvas"), path("canvas.tif"));
    std::filesystem::create_hard_link(path("photo.png"), path("other"));
    expect_failure({"import", path("photo.png"), path("other"), "--force"}, 2, "would replace what is read");
    expect_failure({"export", path("canvas"), path("canvas.tif"), "--force"}, 2, "would replace what is read");
}

TEST_F(failure_test, a_bar_is_drawn_on_a_terminal_and_wiped_away)
{
    write_png(path("photo.png"), make_image(2500, 2500, model::grey));
    const outcome result = run({"/usr/bin/script", "--quiet", "--return", "--command",
                                tool() + " import " + path("photo.png") + " " + path("new"), "/dev/null"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_NE(result.out.find("import ["), std::string::npos) << result.out;
    EXPECT_TRUE(result.out.ends_with("\r\033[K")) << result.out;
}

TEST_F(failure_test, the_longest_sides_fit)
{
    const image source = make_image(32767, 3, model::cmyk);
    write_tiff(path("photo.tif"), source);
    expect_picture("photo.tif", source, expected(source));
    image high = source;
    std::swap(high.width, high.height);
    write_tiff(path("high.tif"), high);
    expect_picture("high.tif", high, expected(high));
}

TEST_F(failure_test, a_write_that_fails_half_way_leaves_nothing)
{
    write_png(path("photo.png"), make_image(1500, 1500, model::rgb));
    // Files may not grow beyond 2 MiB, which stops the import in the middle.
    const std::vector<std::string> limited{"/bin/bash", "-c", "ulimit -f 2048; trap '' XFSZ; exec \"$@\"", "bash",
                                           tool()};
    const std::vector<std::string> before = files();
    for (const auto& mode : {process_mode(), in_line_mode()}) {
        const outcome result =
            run(limited + std::vector<std::string>{"import", path("photo.png"), path("new"), "--cache", "2M"} +
                (mode.back() == "--in-line" ? std::vector<std::string>{"--in-line"} : std::vector<std::string>{}));
        EXPECT_EQ(result.exit_code, 5) << result.signal << result.err;
        EXPECT_NE(result.err.find("new: "), std::string::npos) << result.err;
        EXPECT_EQ(result.err.find("partial"), std::string::npos) << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(files(), before);
    }
    import("photo.png", process_mode());
    for (const char* const name : {"new.tif", "new.png"}) {
        const outcome result = run(limited + std::vector<std::string>{"export", path("canvas"), path(name)});
        EXPECT_EQ(result.exit_code, 5) << result.signal << result.err;
        EXPECT_NE(result.err.find("File too large"), std::string::npos) << result.err;
        EXPECT_EQ(files(), (std::vector<std::string>{"canvas", "photo.png"}));
    }
}

TEST_F(failure_test, longest_name_that_a_file_can_have_is_no_failure)
{
    write_png(path("photo.png"), make_image(15, 15, model::rgb));
    const std::string name(255, 'n');
    EXPECT_EQ(iocache({"import", path("photo.png"), path(name)}).exit_code, 0);
    EXPECT_EQ(iocache({"export", path(name), path(std::string(251, 'o') + ".png")}).exit_code, 0);
    EXPECT_EQ(files().size(), 3U);
}

TEST_F(failure_test, output_that_nobody_can_take_is_a_failure)
{
    make_canvas();
    const outcome result = run({"/bin/sh", "-c", "exec \"$@\" > /dev/full", "sh", tool(), "info", path("canvas")});
    EXPECT_EQ(result.exit_code, 3);
}

TEST_F(failure_test, truncated_images_are_told_from_whole_ones)
{
    const image source = make_image(301, 277, model::rgb);
    jpeg_options progressive;
    progressive.progressive = true;
    png_options interlaced;
    interlaced.interlaced = true;
    tiff_options compressed;
    compressed.compression = COMPRESSION_LZW;
    write_jpeg(path("a.jpg"), source);
    write_jpeg(path("b.jpg"), source, progressive);
    write_png(path("c.png"), source);
    write_png(path("d.png"), source, interlaced);
    write_tiff(path("e.tif"), source);
    write_tiff(path("f.tif"), source, compressed);
    for (const std::string name : {"a.jpg", "b.jpg", "c.png", "d.png", "e.tif", "f.tif"}) {
        const std::vector<std::uint8_t> whole = read_bytes(path(name));
        for (const std::size_t part : {std::size_t{10}, std::size_t{100}, whole.size() / 2, whole.size() - 600}) {
            SCOPED_TRACE(name + " " + std::to_string(part));
            std::vector<std::uint8_t> cut = whole;
            cut.resize(part);
            write_bytes(path("cut"), cut);
            const outcome result = iocache({"import", path("cut"), path("new")});
            EXPECT_EQ(result.exit_code, 3) << result.signal << result.err;
            EXPECT_FALSE(std::filesystem::exists(path("new")));
            std::filesystem::remove(path("cut"));
        }
    }
}

TEST_F(failure_test, damaged_images_never_bring_the_command_down)
{
    const image source = make_image(61, 47, model::rgb, true);
    jpeg_options progressive;
    progressive.progressive = true;
    progressive.exif_orientation = 6;
    png_options interlaced;
    interlaced.interlaced = true;
    tiff_options tiles;
    tiles.tiled = true;
    tiles.compression = COMPRESSION_LZW;
    tiff_options planes;
    planes.separate = true;
    planes.compression = COMPRESSION_ADOBE_DEFLATE;
    image plain = make_image(61, 47, model::rgb);
    write_jpeg(path("a.jpg"), plain, progressive);
    write_png(path("b.png"), source, interlaced);
    write_tiff(path("c.tif"), source, tiles);
    write_tiff(path("d.tif"), source, planes);
    std::uint32_t noise = 7;
    for (const std::string name : {"a.jpg", "b.png", "c.tif", "d.tif"}) {
        const std::vector<std::uint8_t> whole = read_bytes(path(name));
        for (int round = 0; round < 60; ++round) {
            std::vector<std::uint8_t> bytes = whole;
            for (int change = 0; change < 4; ++change) {
                noise = noise * 1664525U + 1013904223U;
                // Where the structure is: the beginning, and for TIFF the end.
                const std::size_t reach = std::min<std::size_t>(bytes.size(), 400);
                const std::size_t at = (noise >> 8) % reach;
                const bool tail = name.ends_with("tif") && change % 2 == 0;
                bytes[tail ? bytes.size() - 1 - at : at] = static_cast<std::uint8_t>(noise >> 24);
            }
            write_bytes(path("bad"), bytes);
            const outcome result = iocache({"import", path("bad"), path("new"), "--force", "--cache", "4M"});
            ASSERT_TRUE(result.exit_code == 0 || (result.exit_code >= 3 && result.exit_code <= 5))
                << name << " " << result.exit_code << " " << result.signal << result.err;
            ASSERT_EQ(std::filesystem::exists(path("new")), result.exit_code == 0);
            std::filesystem::remove(path("new"));
        }
    }
}

}  // namespace

}  // namespace tool_tests
