// JPEG with libjpeg: quality 90, and the decoder's defaults.
#include <cstddef>
#include <cstdio>
#include <memory>
#include <vector>

#include <jpeglib.h>

#include "bench/imports/photograph.h"
#include "bench/support/fail.h"
#include "bench/support/measure.h"

namespace iocache_bench {

namespace {

constexpr int quality = 90;

struct closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using stream = std::unique_ptr<std::FILE, closer>;

stream open_stream(const std::filesystem::path& path, const char* how)
{
    stream file(std::fopen(path.c_str(), how));
    if (!file) fail("cannot open " + path.string());
    return file;
}

}  // namespace

void make_jpeg(const std::filesystem::path& path, int32_t side)
{
    const stream file = open_stream(path, "wb");
    jpeg_compress_struct encoder{};
    jpeg_error_mgr errors{};
    encoder.err = jpeg_std_error(&errors);
    jpeg_create_compress(&encoder);
    jpeg_stdio_dest(&encoder, file.get());
    encoder.image_width = static_cast<JDIMENSION>(side);
    encoder.image_height = static_cast<JDIMENSION>(side);
    encoder.input_components = photograph_bytes;
    encoder.in_color_space = JCS_RGB;
    jpeg_set_defaults(&encoder);
    jpeg_set_quality(&encoder, quality, TRUE);
    jpeg_start_compress(&encoder, TRUE);
    std::vector<uint8_t> row(static_cast<size_t>(side) * photograph_bytes);
    for (int32_t y = 0; y < side; ++y) {
        photograph_row(y, side, row.data());
        JSAMPROW line = row.data();
        jpeg_write_scanlines(&encoder, &line, 1);
    }
    jpeg_finish_compress(&encoder);
    jpeg_destroy_compress(&encoder);
}

double decode_jpeg(const std::filesystem::path& path)
{
    const stopwatch time;
    const stream file = open_stream(path, "rb");
    jpeg_decompress_struct decoder{};
    jpeg_error_mgr errors{};
    decoder.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&decoder);
    jpeg_stdio_src(&decoder, file.get());
    jpeg_read_header(&decoder, TRUE);
    jpeg_start_decompress(&decoder);
    std::vector<uint8_t> row(size_t{decoder.output_width} * photograph_bytes);
    while (decoder.output_scanline < decoder.output_height) {
        JSAMPROW line = row.data();
        jpeg_read_scanlines(&decoder, &line, 1);
    }
    jpeg_finish_decompress(&decoder);
    jpeg_destroy_decompress(&decoder);
    return time.seconds();
}

}  // namespace iocache_bench
