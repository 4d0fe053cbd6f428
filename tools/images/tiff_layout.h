// What the tags of a TIFF file say about its pixels, and how they become whole samples.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/images/image_source.h"
#include "tools/images/tiff_file.h"

namespace iocache::tools {

struct tiff_layout {
    enum class packing {
        whole,    // samples are bytes or words
        bits,     // several grey samples in a byte
        palette,  // numbers of colours
    };
    using colour = std::array<std::uint8_t, 3>;

    packing packed = packing::whole;
    std::int32_t bits = 8;          // of a sample in the file
    std::int32_t file_samples = 1;  // of a pixel in the file
    bool separate = false;          // one plane for each sample
    bool tiled = false;
    std::uint32_t tile_width = 0;
    std::uint32_t tile_height = 0;
    std::vector<colour> palette;

    // Bytes of `pixels` pixels of one row as the file has them; of one plane when planes are separate.
    [[nodiscard]] std::size_t row_bytes(std::int32_t pixels) const;
    // Makes whole samples of the first `pixels` pixels of a packed row.
    void unpack(std::span<const std::uint8_t> row, std::int32_t pixels, std::uint8_t* target) const;
};

// Reads the tags; fills in `description` too. Throws `failure` for what is not supported.
[[nodiscard]] tiff_layout read_tiff_layout(const tiff_file& file, const std::string& path,
                                           image_description& description);

}  // namespace iocache::tools
