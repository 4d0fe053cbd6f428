// Memory stays within the cache and 64 MiB, whatever the image's size and layout. Content is checked
// elsewhere; here images are large and dull.
//
// A process begins with the peak of the one that started it, so the test itself has to stay small:
// images are made in a process of their own.
#include <functional>

#include <sys/wait.h>
#include <unistd.h>

#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

constexpr std::int64_t mebibyte = std::int64_t{1} << 20;
constexpr std::int64_t cache = 20 * mebibyte;
constexpr std::int64_t allowance = 64 * mebibyte;

class memory_test : public import_test {
protected:
    void SetUp() override
    {
        if (under_sanitizer()) GTEST_SKIP() << "sanitizers have a memory of their own";
    }

    void expect_bounded(const std::vector<std::string>& arguments)
    {
        const outcome result = iocache(arguments + std::vector<std::string>{"--cache", "20M"});
        ASSERT_EQ(result.exit_code, 0) << result.err;
        EXPECT_LE(result.peak_bytes, cache + allowance) << result.peak_bytes / mebibyte << " MiB";
        std::printf("%s: %ld MiB\n", arguments.front().c_str(), static_cast<long>(result.peak_bytes / mebibyte));
    }

    static void elsewhere(const std::function<void()>& work)
    {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            work();
            ::_exit(0);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_EQ(status, 0);
    }

    // Every row is the same.
    void write_rows(const std::string& name, int width, int height, int samples, int bits, bool separate,
                    int compression, int rows_per_strip)
    {
        elsewhere([&] { write_tiff_rows(name, width, height, samples, bits, separate, compression, rows_per_strip); });
    }

    void write_tiff_rows(const std::string& name, int width, int height, int samples, int bits, bool separate,
                         int compression, int rows_per_strip)
    {
        TIFF* const file = TIFFOpen(path(name).c_str(), "w");
        if (file == nullptr) ::_exit(1);
        TIFFSetField(file, TIFFTAG_IMAGEWIDTH, width);
        TIFFSetField(file, TIFFTAG_IMAGELENGTH, height);
        TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, bits);
        TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, samples);
        TIFFSetField(file, TIFFTAG_PHOTOMETRIC, samples < 4 ? PHOTOMETRIC_RGB : PHOTOMETRIC_SEPARATED);
        TIFFSetField(file, TIFFTAG_PLANARCONFIG, separate ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
        TIFFSetField(file, TIFFTAG_COMPRESSION, compression);
        TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, rows_per_strip);
        if (compression == COMPRESSION_ADOBE_DEFLATE) TIFFSetField(file, TIFFTAG_ZIPQUALITY, 1);
        std::vector<std::uint8_t> row(static_cast<std::size_t>(TIFFScanlineSize(file)));
        for (std::size_t i = 0; i < row.size(); ++i) row[i] = static_cast<std::uint8_t>(i / 600);
        for (int plane = 0; plane < (separate ? samples : 1); ++plane) {
            for (int y = 0; y < height; ++y) {
                TIFFWriteScanline(file, row.data(), static_cast<std::uint32_t>(y), static_cast<std::uint16_t>(plane));
            }
        }
        TIFFClose(file);
    }
};

TEST_F(memory_test, import_and_export_of_a_large_picture)
{
    write_rows("photo.tif", 12000, 9000, 3, 8, false, COMPRESSION_ADOBE_DEFLATE, 64);
    expect_bounded({"import", path("photo.tif"), path("canvas")});
    expect_bounded({"export", path("canvas"), path("out.tif")});
    expect_bounded({"export", path("canvas"), path("out.png")});
    expect_bounded({"compare", path("canvas"), path("photo.tif")});
    expect_bounded({"refresh", path("canvas")});
    expect_bounded({"preview", path("canvas"), path("small.png")});
    expect_bounded({"preview", path("canvas"), path("level.png"), "--level", "1"});
}

TEST_F(memory_test, one_strip_that_is_larger_than_memory_may_be)
{
    write_rows("photo.tif", 12000, 6000, 3, 8, false, COMPRESSION_NONE, 6000);
    expect_bounded({"import", path("photo.tif"), path("canvas"), "--force"});
    write_rows("photo.tif", 12000, 6000, 3, 8, true, COMPRESSION_LZW, 6000);
    expect_bounded({"import", path("photo.tif"), path("canvas"), "--force"});
}

TEST_F(memory_test, the_widest_rows_of_16_bits)
{
    write_rows("photo.tif", 32767, 600, 4, 16, false, COMPRESSION_ADOBE_DEFLATE, 8);
    expect_bounded({"import", path("photo.tif"), path("canvas")});
    expect_bounded({"export", path("canvas"), path("out.png")});
    expect_bounded({"refresh", path("canvas")});
    expect_bounded({"preview", path("canvas"), path("level.png"), "--level", "0"});
    expect_bounded({"separations", path("canvas"), path("plates")});
}

TEST_F(memory_test, a_picture_on_its_side)
{
    elsewhere([this] {
        tiff_options options;
        options.orientation = 6;
        options.compression = COMPRESSION_ADOBE_DEFLATE;
        image source{9000, 4000, model::cmyk, false, 8, {}};
        source.samples.resize(source.pixels() * 4, 100);
        write_tiff(path("photo.tif"), source, options);
    });
    expect_bounded({"import", path("photo.tif"), path("canvas")});
}

TEST_F(memory_test, images_that_come_in_several_passes)
{
    elsewhere([this] {
        image source{6000, 4000, model::rgb, false, 8, {}};
        source.samples.resize(source.pixels() * 3);
        for (std::size_t i = 0; i < source.samples.size(); ++i) {
            source.samples[i] = static_cast<std::uint16_t>(i / 700 % 256);
        }
        jpeg_options progressive;
        progressive.progressive = true;
        write_jpeg(path("photo.jpg"), source, progressive);
        png_options interlaced;
        interlaced.interlaced = true;
        write_png(path("photo.png"), source, interlaced);
    });
    expect_bounded({"import", path("photo.jpg"), path("canvas"), "--force"});
    expect_bounded({"import", path("photo.png"), path("canvas"), "--force"});
}

TEST_F(memory_test, tiles_of_a_mebipixel)
{
    elsewhere([this] {
        image source{4000, 3000, model::cmyk, true, 16, {}};
        source.samples.resize(source.pixels() * 5, 30000);
        tiff_options options;
        options.tiled = options.separate = true;
        options.tile_width = options.tile_height = 1024;
        options.compression = COMPRESSION_ADOBE_DEFLATE;
        write_tiff(path("photo.tif"), source, options);
    });
    expect_bounded({"import", path("photo.tif"), path("canvas")});
}

}  // namespace

}  // namespace tool_tests
