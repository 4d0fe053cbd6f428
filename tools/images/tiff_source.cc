// TIFF files: grey, RGB, CMYK and palettes, strips and tiles, samples side by side or in planes.
//
// Strips are decoded row by row, however long they are. When every sample has a plane of its own, each
// plane is read through a handle of its own, because a handle can only go forwards within a strip.
// Tiles are decoded one at a time and handed out in blocks of their rows.
#include <algorithm>
#include <cstring>
#include <limits>

#include <fmt/format.h>

#include "tools/images/image_source.h"
#include "tools/images/tiff_file.h"
#include "tools/images/tiff_layout.h"

namespace iocache::tools {

namespace {

// A tile must be decoded as a whole; larger ones would break the promise of bounded memory.
constexpr std::uint64_t largest_tile_bytes = std::uint64_t{16} << 20;
constexpr std::size_t forget_after = std::size_t{4} << 20;

// Puts the samples of one plane at every `stride`-th place of `target`.
void interleave(const std::uint8_t* plane, std::size_t samples, std::size_t sample_bytes, std::size_t stride,
                std::uint8_t* target)
{
    for (std::size_t i = 0; i < samples; ++i) {
        std::memcpy(target + i * stride * sample_bytes, plane + i * sample_bytes, sample_bytes);
    }
}

class tiff_source : public image_source {
protected:
    tiff_source(tiff_file file, tiff_layout layout, image_description description)
        : layout_(std::move(layout)),
          pixel_bytes_(description.layout.pixel_bytes()),
          sample_bytes_(static_cast<std::size_t>(description.layout.sample_bytes)),
          samples_(static_cast<std::size_t>(description.layout.samples()))
    {
        description_ = std::move(description);
        files_.push_back(std::move(file));
    }

    // The pages of the file that have been decoded are not needed again.
    void decoded(std::size_t bytes)
    {
        decoded_ += bytes;
        if (decoded_ < forget_after) return;
        for (tiff_file& file : files_) file.forget_pages();
        decoded_ = 0;
    }

    tiff_layout layout_;
    std::vector<tiff_file> files_;  // one, or one for each plane
    std::size_t pixel_bytes_;
    std::size_t sample_bytes_;
    std::size_t samples_;

private:
    std::size_t decoded_ = 0;
};

class strip_source final : public tiff_source {
public:
    strip_source(tiff_file file, const std::string& path, const tiff_layout& layout, image_description description)
        : tiff_source(std::move(file), layout, std::move(description))
    {
        if (layout_.separate) {
            while (files_.size() < samples_) files_.push_back(tiff_file::open(path));
        }
        const auto scanline = static_cast<std::size_t>(std::max<tmsize_t>(0, TIFFScanlineSize(files_[0].handle())));
        if (scanline != layout_.row_bytes(description_.width)) {
            throw failure(exit_code::unsupported, path + ": a TIFF file of this layout is not supported");
        }
        row_.resize(scanline);
    }

    bool read(image_block& block) override
    {
        if (next_row_ == description_.height) return false;
        block.place = next_rows(next_row_);
        const std::size_t row_bytes = static_cast<std::size_t>(description_.width) * pixel_bytes_;
        block.pixels.resize(row_bytes * static_cast<std::size_t>(block.place.height));
        std::uint8_t* target = block.pixels.data();
        for (; next_row_ < block.place.bottom(); ++next_row_, target += row_bytes) read_row(target);
        decoded(block.pixels.size());
        return true;
    }

private:
    std::int32_t next_row_ = 0;
    std::vector<std::uint8_t> row_;

    void read_row(std::uint8_t* target)
    {
        if (layout_.packed != tiff_layout::packing::whole) {
            scan(0, row_.data());
            layout_.unpack(row_, description_.width, target);
        } else if (!layout_.separate) {
            scan(0, target);
        } else {
            for (std::size_t plane = 0; plane < samples_; ++plane) {
                scan(plane, row_.data());
                interleave(row_.data(), static_cast<std::size_t>(description_.width), sample_bytes_, samples_,
                           target + plane * sample_bytes_);
            }
        }
    }

    void scan(std::size_t plane, std::uint8_t* target)
    {
        const tiff_file& file = files_[plane];
        if (TIFFReadScanline(file.handle(), target, static_cast<std::uint32_t>(next_row_),
                             static_cast<std::uint16_t>(plane)) < 0) {
            throw file.last_failure();
        }
    }
};

class tile_source final : public tiff_source {
public:
    tile_source(tiff_file file, const std::string& path, const tiff_layout& layout, image_description description)
        : tiff_source(std::move(file), layout, std::move(description))
    {
        description_.in_rows = false;
        constexpr std::uint32_t widest = std::numeric_limits<std::int32_t>::max() / 2;
        const std::uint64_t pixels = std::uint64_t{layout_.tile_width} * layout_.tile_height;
        if (pixels == 0 || layout_.tile_width > widest || layout_.tile_height > widest ||
            pixels > largest_tile_bytes / pixel_bytes_) {
            throw failure(exit_code::no_room,
                          fmt::format("{}: would not fit: tiles of {} x {} pixels are too large to be decoded", path,
                                      layout_.tile_width, layout_.tile_height));
        }
        const std::size_t plane_bytes = layout_.row_bytes(tile_width()) * layout_.tile_height;
        if (static_cast<std::size_t>(std::max<tmsize_t>(0, TIFFTileSize(files_[0].handle()))) != plane_bytes) {
            throw failure(exit_code::unsupported, path + ": a TIFF file of this layout is not supported");
        }
        tile_.resize(pixels * pixel_bytes_);
        // Whole samples side by side are decoded to where they are wanted.
        if (layout_.separate || layout_.packed != tiff_layout::packing::whole) packed_.resize(plane_bytes);
    }

    bool read(image_block& block) override
    {
        if (place_.height == 0 && !next_tile()) return false;
        const std::size_t row_bytes = static_cast<std::size_t>(place_.width) * pixel_bytes_;
        const auto rows = static_cast<std::int32_t>(std::max<std::size_t>(1, block_bytes / row_bytes));
        block.place = place_;
        block.place.height = std::min(rows, place_.height);
        block.pixels.resize(row_bytes * static_cast<std::size_t>(block.place.height));

        const std::size_t tile_row_bytes = std::size_t{layout_.tile_width} * pixel_bytes_;
        const std::uint8_t* source = tile_.data() + tile_row_bytes * static_cast<std::size_t>(place_.y - tile_y_);
        for (std::int32_t row = 0; row < block.place.height; ++row, source += tile_row_bytes) {
            std::memcpy(block.pixels.data() + row_bytes * static_cast<std::size_t>(row), source, row_bytes);
        }
        place_.y += block.place.height;
        place_.height -= block.place.height;
        return true;
    }

private:
    std::int32_t next_x_ = 0;  // of the tile to be decoded next
    std::int32_t next_y_ = 0;
    std::int32_t tile_y_ = 0;  // of the tile in memory
    rectangle place_;          // what is left of it
    std::vector<std::uint8_t> tile_;
    std::vector<std::uint8_t> packed_;  // as the file has it

    [[nodiscard]] std::int32_t tile_width() const { return static_cast<std::int32_t>(layout_.tile_width); }
    [[nodiscard]] std::int32_t tile_height() const { return static_cast<std::int32_t>(layout_.tile_height); }

    bool next_tile()
    {
        if (next_y_ >= description_.height) return false;
        decode();
        tile_y_ = next_y_;
        place_ = {next_x_, next_y_, std::min(tile_width(), description_.width - next_x_),
                  std::min(tile_height(), description_.height - next_y_)};
        next_x_ += tile_width();
        if (next_x_ >= description_.width) {
            next_x_ = 0;
            next_y_ += tile_height();
        }
        decoded(tile_.size());
        return true;
    }

    void decode()
    {
        if (packed_.empty()) {
            read_tile(0, tile_.data());
        } else if (layout_.separate) {
            for (std::size_t plane = 0; plane < samples_; ++plane) {
                read_tile(plane, packed_.data());
                interleave(packed_.data(), packed_.size() / sample_bytes_, sample_bytes_, samples_,
                           tile_.data() + plane * sample_bytes_);
            }
        } else {
            read_tile(0, packed_.data());
            const std::size_t packed_bytes = layout_.row_bytes(tile_width());
            for (std::size_t row = 0; row < layout_.tile_height; ++row) {
                layout_.unpack(std::span(packed_).subspan(row * packed_bytes, packed_bytes), tile_width(),
                               tile_.data() + row * layout_.tile_width * pixel_bytes_);
            }
        }
    }

    void read_tile(std::size_t plane, std::uint8_t* target)
    {
        const tiff_file& file = files_[0];
        if (TIFFReadTile(file.handle(), target, static_cast<std::uint32_t>(next_x_),
                         static_cast<std::uint32_t>(next_y_), 0, static_cast<std::uint16_t>(plane)) < 0) {
            throw file.last_failure();
        }
    }
};

}  // namespace

std::unique_ptr<image_source> open_tiff(const std::string& path)
{
    tiff_file file = tiff_file::open(path);
    if (TIFFLastDirectory(file.handle()) == 0) {
        fmt::print(stderr, "iocache: {}: the file holds several images; only the first is taken\n", path);
    }
    image_description description;
    const tiff_layout layout = read_tiff_layout(file, path, description);
    if (layout.tiled) { return std::make_unique<tile_source>(std::move(file), path, layout, std::move(description)); }
    return std::make_unique<strip_source>(std::move(file), path, layout, std::move(description));
}

}  // namespace iocache::tools
