// An image file that is written piece by piece. Samples are bytes, side by side.
//
// Pieces come in the order that the format wants: whole rows for PNG, tiles for TIFF. finish() writes
// what is left and tells whether all of it got to the file; without it the file is not complete.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "tools/images/pixel_layout.h"
#include "tools/images/tiff_file.h"

namespace iocache::tools {

struct sink_description {
    std::int32_t width = 0;
    std::int32_t height = 0;
    colour_model model = colour_model::grey;
    bool alpha = false;                     // after the colour samples, not multiplied into them
    std::span<const std::uint8_t> profile;  // to be embedded; may be empty

    [[nodiscard]] std::size_t pixel_bytes() const
    {
        return static_cast<std::size_t>(colour_samples(model)) + (alpha ? 1 : 0);
    }
};

enum class tiff_compression { none, lzw, deflate };

// Bytes of an uncompressed TIFF of this size.
[[nodiscard]] std::uint64_t tiff_bytes(const sink_description& image);

// A tiled TIFF; a BigTIFF when a classic one could not hold it.
class tiff_sink {
public:
    static constexpr std::int32_t tile_side = 256;

    tiff_sink(const std::string& path, const sink_description& image, tiff_compression compression);

    // Writes the tile whose top left pixel is (x, y): tile_side rows of tile_side pixels.
    void write_tile(std::int32_t x, std::int32_t y, std::span<std::uint8_t> pixels);
    void finish();

private:
    tiff_file file_;
};

// For a PNG that replaces an older one without being asked to: throws `failure` when what is there is something else.
void refuse_unless_png(const std::string& path);

// A PNG in grey or RGB; RGB is marked as sRGB.
class png_sink {
public:
    png_sink(const std::string& path, const sink_description& image);
    png_sink(const png_sink&) = delete;
    png_sink& operator=(const png_sink&) = delete;
    ~png_sink();

    // Writes the next rows, as many as `pixels` holds.
    void write_rows(std::span<const std::uint8_t> pixels);
    void finish();

private:
    struct writer;
    std::unique_ptr<writer> writer_;
    std::size_t row_bytes_;
};

}  // namespace iocache::tools
