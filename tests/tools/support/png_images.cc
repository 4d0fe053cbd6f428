// PNG files of every type.
#include <bit>
#include <cstdio>
#include <memory>
#include <stdexcept>

#include <png.h>

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

[[noreturn]] void fail(png_structp /*png*/, png_const_charp text)
{
    throw std::runtime_error(text);
}

int type_of(const image& source, const png_options& options)
{
    if (!options.palette.empty()) return PNG_COLOR_TYPE_PALETTE;
    return (source.colours == model::rgb ? PNG_COLOR_MASK_COLOR : 0) | (source.alpha ? PNG_COLOR_MASK_ALPHA : 0);
}

}  // namespace

void write_png(const std::string& path, const image& source, const png_options& options)
{
    const file target = open(path, "wb");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, fail, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, target.get());
    const int bits = options.packed_bits != 0 ? options.packed_bits : source.bits;
    png_set_IHDR(png, info, static_cast<png_uint_32>(source.width), static_cast<png_uint_32>(source.height), bits,
                 type_of(source, options), options.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (!options.palette.empty()) {
        png_set_PLTE(png, info, reinterpret_cast<png_const_colorp>(options.palette.data()),
                     static_cast<int>(options.palette.size() / 3));
    }
    if (!options.palette_alpha.empty()) {
        png_set_tRNS(png, info, options.palette_alpha.data(), static_cast<int>(options.palette_alpha.size()), nullptr);
    }
    if (!options.profile.empty()) {
        const std::vector<std::uint8_t> profile = read_bytes(options.profile);
        png_set_iCCP(png, info, "test", PNG_COMPRESSION_TYPE_BASE, profile.data(),
                     static_cast<png_uint_32>(profile.size()));
    }
    png_write_info(png, info);
    if (bits < 8) png_set_packing(png);  // rows are given with a byte for each sample
    if (bits == 16 && std::endian::native == std::endian::little) png_set_swap(png);
    std::vector<std::uint8_t> bytes = source.bytes();
    const std::size_t row_bytes = bytes.size() / static_cast<std::size_t>(source.height);
    std::vector<png_bytep> rows;
    for (std::size_t y = 0; y < static_cast<std::size_t>(source.height); ++y) {
        rows.push_back(bytes.data() + y * row_bytes);
    }
    png_write_image(png, rows.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
}

image read_png(const std::string& path)
{
    const file origin = open(path, "rb");
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, fail, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, origin.get());
    png_read_info(png, info);
    const int type = png_get_color_type(png, info);
    image result{static_cast<int>(png_get_image_width(png, info)),
                 static_cast<int>(png_get_image_height(png, info)),
                 (type & PNG_COLOR_MASK_COLOR) != 0 ? model::rgb : model::grey,
                 (type & PNG_COLOR_MASK_ALPHA) != 0,
                 8,
                 {}};
    if (png_get_bit_depth(png, info) != 8) throw std::runtime_error("unexpected depth");
    std::vector<std::uint8_t> row(png_get_rowbytes(png, info));
    for (int y = 0; y < result.height; ++y) {
        png_read_row(png, row.data(), nullptr);
        result.samples.insert(result.samples.end(), row.begin(), row.end());
    }
    png_destroy_read_struct(&png, &info, nullptr);
    return result;
}

}  // namespace tool_tests
