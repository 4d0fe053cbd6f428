// Test images: made from numbers, written with the format libraries, and what they are as CMYK,
// computed on the whole image at once.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <tiffio.h>

namespace tool_tests {

enum class model { grey, rgb, cmyk };

[[nodiscard]] std::string profile_path(const std::string& name);  // of a profile that Debian brings along
[[nodiscard]] std::string cmyk_profile();                         // what the tool takes when it is not told

struct image {
    int width = 0;
    int height = 0;
    model colours = model::rgb;
    bool alpha = false;
    int bits = 8;                        // 8 or 16
    std::vector<std::uint16_t> samples;  // colour, then alpha, pixel after pixel; 0..255 or 0..65535

    [[nodiscard]] int colour_samples() const { return colours == model::grey ? 1 : colours == model::rgb ? 3 : 4; }
    [[nodiscard]] int pixel_samples() const { return colour_samples() + (alpha ? 1 : 0); }
    [[nodiscard]] std::size_t pixels() const
    {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }
    // Samples as bytes or native words, side by side.
    [[nodiscard]] std::vector<std::uint8_t> bytes() const;
};

// Something with slopes, noise and edges in it, the same on every run.
[[nodiscard]] image make_image(int width, int height, model colours, bool alpha = false, int bits = 8);

// The same picture turned by an orientation of 1 to 8, computed from the definition of each.
[[nodiscard]] image turned(const image& source, int orientation);

struct cmyk_pixels {
    std::vector<std::uint8_t> colour;
    std::vector<std::uint8_t> alpha;
};

// What the canvas must hold. `source_profile` is a profile file; empty for sRGB, grey of gamma 2.2, or,
// for CMYK, the numbers as they stand.
[[nodiscard]] cmyk_pixels expected(const image& source, const std::string& source_profile = {},
                                   const std::string& target_profile = cmyk_profile(), unsigned intent = 0);
// The same picture's grey values for a mask.
[[nodiscard]] std::vector<std::uint8_t> expected_mask(const image& source);
// CMYK bytes as sRGB.
[[nodiscard]] std::vector<std::uint8_t> expected_proof(const std::vector<std::uint8_t>& colour);

struct tiff_options {
    bool tiled = false;
    int tile_width = 64;
    int tile_height = 48;
    int rows_per_strip = 7;
    bool separate = false;
    int compression = COMPRESSION_NONE;
    const char* mode = "w";  // libtiff's: wl and wb choose the byte order, w8 makes a BigTIFF
    int photometric = -1;    // chosen by the model when negative
    int alpha_kind = EXTRASAMPLE_UNASSALPHA;
    bool declare_alpha = true;
    bool inverted_dots = false;
    int orientation = 1;
    std::string profile;  // file
};
void write_tiff(const std::string& path, const image& source, const tiff_options& options = {});
// Grey or palette images with 1, 2 or 4 bits a sample, or a palette with 8; `samples` are the raw numbers.
void write_packed_tiff(const std::string& path, const image& source, int bits,
                       const std::vector<std::uint16_t>& palette, bool tiled, int photometric);

struct jpeg_options {
    bool progressive = false;
    bool adobe = true;         // whether the mark is written
    bool ycck = false;         // CMYK files only
    int exif_orientation = 0;  // none when 0
    std::string profile;
};
void write_jpeg(const std::string& path, const image& source, const jpeg_options& options = {});
// Decodes the whole file at once; CMYK numbers as they stand in the file.
[[nodiscard]] image read_jpeg(const std::string& path);

struct png_options {
    bool interlaced = false;
    int packed_bits = 0;                // 1, 2 or 4: grey samples are the raw numbers of that depth
    std::vector<std::uint8_t> palette;  // RGB; samples (grey) are then indices
    std::vector<std::uint8_t> palette_alpha;
    std::string profile;
};
void write_png(const std::string& path, const image& source, const png_options& options = {});
[[nodiscard]] image read_png(const std::string& path);

struct tiff_content {
    image pixels;
    int photometric = 0;
    int inkset = 0;
    int alpha_kind = -1;
    bool tiled = false;
    std::vector<std::uint8_t> profile;
};
[[nodiscard]] tiff_content read_tiff(const std::string& path);

}  // namespace tool_tests
