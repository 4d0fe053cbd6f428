// JPEG files, with the marks that matter to a reader.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include <jpeglib.h>

#include "tests/tools/support/canvas_reader.h"
#include "tests/tools/support/images.h"

namespace tool_tests {

namespace {

struct file_closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using file = std::unique_ptr<std::FILE, file_closer>;

file open(const std::string& path, const char* mode)
{
    file opened(std::fopen(path.c_str(), mode));
    if (!opened) throw std::runtime_error("cannot open " + path);
    return opened;
}

// A directory with one entry: the orientation.
std::array<std::uint8_t, 32> exif_block(int orientation)
{
    return {'E', 'x', 'i', 'f',  0, 0, 'M', 'M', 0, 42, 0, 0,
            0,   8,  // the directory begins at byte 8
            0,   1,   1,   0x12, 0, 3, 0,   0,   0, 1,  0, static_cast<std::uint8_t>(orientation),
            0,   0,   0,   0};
}

}  // namespace

void write_jpeg(const std::string& path, const image& source, const jpeg_options& options)
{
    const file target = open(path, "wb");
    jpeg_compress_struct encoder{};
    jpeg_error_mgr errors{};
    encoder.err = jpeg_std_error(&errors);  // ends the test program on failure
    jpeg_create_compress(&encoder);
    jpeg_stdio_dest(&encoder, target.get());
    encoder.image_width = static_cast<JDIMENSION>(source.width);
    encoder.image_height = static_cast<JDIMENSION>(source.height);
    encoder.input_components = source.colour_samples();
    encoder.in_color_space = source.colours == model::grey  ? JCS_GRAYSCALE
                             : source.colours == model::rgb ? JCS_RGB
                                                            : JCS_CMYK;
    jpeg_set_defaults(&encoder);
    if (options.ycck) jpeg_set_colorspace(&encoder, JCS_YCCK);
    jpeg_set_quality(&encoder, 90, TRUE);
    if (options.progressive) jpeg_simple_progression(&encoder);
    if (source.colours == model::cmyk) encoder.write_Adobe_marker = options.adobe ? TRUE : FALSE;
    jpeg_start_compress(&encoder, TRUE);
    if (options.exif_orientation != 0) {
        const auto block = exif_block(options.exif_orientation);
        jpeg_write_marker(&encoder, JPEG_APP0 + 1, block.data(), block.size());
    }
    if (!options.profile.empty()) {
        const std::vector<std::uint8_t> profile = read_bytes(options.profile);
        jpeg_write_icc_profile(&encoder, profile.data(), static_cast<unsigned>(profile.size()));
    }
    std::vector<std::uint8_t> bytes = source.bytes();
    const std::size_t row_bytes = bytes.size() / static_cast<std::size_t>(source.height);
    for (int y = 0; y < source.height; ++y) {
        JSAMPROW row = bytes.data() + static_cast<std::size_t>(y) * row_bytes;
        jpeg_write_scanlines(&encoder, &row, 1);
    }
    jpeg_finish_compress(&encoder);
    jpeg_destroy_compress(&encoder);
}

image read_jpeg(const std::string& path)
{
    const file origin = open(path, "rb");
    jpeg_decompress_struct decoder{};
    jpeg_error_mgr errors{};
    decoder.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&decoder);
    jpeg_stdio_src(&decoder, origin.get());
    jpeg_read_header(&decoder, TRUE);
    const int samples = decoder.num_components;
    decoder.out_color_space = samples == 1 ? JCS_GRAYSCALE : samples == 3 ? JCS_RGB : JCS_CMYK;
    jpeg_start_decompress(&decoder);
    image result{static_cast<int>(decoder.output_width),
                 static_cast<int>(decoder.output_height),
                 samples == 1   ? model::grey
                 : samples == 3 ? model::rgb
                                : model::cmyk,
                 false,
                 8,
                 {}};
    std::vector<std::uint8_t> line(static_cast<std::size_t>(result.width * samples));
    while (decoder.output_scanline < decoder.output_height) {
        JSAMPROW row = line.data();
        jpeg_read_scanlines(&decoder, &row, 1);
        result.samples.insert(result.samples.end(), line.begin(), line.end());
    }
    jpeg_finish_decompress(&decoder);
    jpeg_destroy_decompress(&decoder);
    return result;
}

}  // namespace tool_tests
