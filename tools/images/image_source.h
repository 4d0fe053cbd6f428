// An image file that is decoded piece by piece, so that no image, however large, has to be in memory.
//
// A source hands out blocks of decoded pixels that together cover the image once. Blocks of one source
// are either whole rows from the top down (`in_rows`) or rectangles in the file's own order. A block
// holds about `block_bytes`, or one row when a row is larger.
//
// open_image() is the only way in. Everything throws `failure`.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/images/pixel_layout.h"
#include "tools/rectangle.h"

namespace iocache::tools {

inline constexpr std::size_t block_bytes = std::size_t{512} << 10;

struct image_description {
    std::int32_t width = 0;
    std::int32_t height = 0;
    pixel_layout layout;
    std::vector<std::uint8_t> profile;  // embedded ICC profile, empty when there is none
    std::int32_t orientation = 1;       // how to turn it for viewing, 1..8 as EXIF and TIFF count
    bool in_rows = true;                // blocks are whole rows, from the top down
};

struct image_block {
    rectangle place;                   // in the image as stored, before it is turned
    std::vector<std::uint8_t> pixels;  // row after row, without padding
};

class image_source {
public:
    image_source() = default;
    image_source(const image_source&) = delete;
    image_source& operator=(const image_source&) = delete;
    virtual ~image_source() = default;

    [[nodiscard]] const image_description& description() const { return description_; }

    // Decodes the next block into `block`, whose memory is used again. False when there is none left.
    virtual bool read(image_block& block) = 0;

protected:
    image_description description_;

    // The next block of whole rows, `first_row` being the first one that was not handed out yet.
    [[nodiscard]] rectangle next_rows(std::int32_t first_row) const;
};

// Whether the numbers of a CMYK JPEG mean ink or its absence.
enum class cmyk_polarity {
    automatic,  // absence of ink when the file carries Adobe's mark, ink otherwise
    ink,        // 255 is full ink
    inverted,   // 0 is full ink
};

struct open_image_options {
    std::string scratch_folder;  // where images that must be stored to be decoded may lie meanwhile
    cmyk_polarity polarity = cmyk_polarity::automatic;
};

// Opens a TIFF, JPEG or PNG file, or an old one in blocks; its content decides, not its name.
[[nodiscard]] std::unique_ptr<image_source> open_image(const std::string& path, const open_image_options& options);

[[nodiscard]] std::unique_ptr<image_source> open_tiff(const std::string& path);
[[nodiscard]] std::unique_ptr<image_source> open_jpeg(const std::string& path, const open_image_options& options);
[[nodiscard]] std::unique_ptr<image_source> open_png(const std::string& path, const open_image_options& options);
// Null when the file is no block file.
[[nodiscard]] std::unique_ptr<image_source> open_block_file(const std::string& path);

// The longest side a canvas file can describe; larger images are refused as soon as their size is known.
inline constexpr std::int32_t longest_side = 32767;

// Checks a size that a file claims and stores it in `description`.
void set_size(image_description& description, const std::string& path, std::uint64_t width, std::uint64_t height);

}  // namespace iocache::tools
