// The reduced image and the icon of a painting, computed from their definition and from nothing of the library.
#ifndef IOCACHE_TESTS_REDUCED_REDUCED_MODEL_H
#define IOCACHE_TESTS_REDUCED_REDUCED_MODEL_H

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "tests/support/painting.h"

namespace iocache_test {

struct frame_size {
    int32_t width = 1024;
    int32_t height = 1024;
};

// One direction: which offsets from the first coordinate are sampled.
class sampled_axis {
public:
    sampled_axis() = default;
    sampled_axis(int32_t first, int32_t length, double scale) : first_(first)
    {
        double next = 0.0;
        for (int32_t offset = 0; offset < length; ++offset) {
            if (offset < next) continue;
            coordinates_.push_back(first + offset);
            next += scale;
        }
    }
    // Sampled coordinates, in order: the n-th one goes to place n.
    const std::vector<int32_t>& coordinates() const { return coordinates_; }
    // Those of them from `from` to `to`.
    std::span<const int32_t> between(int32_t from, int32_t to) const
    {
        const auto begin = std::lower_bound(coordinates_.begin(), coordinates_.end(), from);
        return {begin, std::upper_bound(begin, coordinates_.end(), to)};
    }
    int32_t first() const { return first_; }
    bool is_sampled(int32_t coordinate) const
    {
        return std::binary_search(coordinates_.begin(), coordinates_.end(), coordinate);
    }
    // Place of this coordinate, or of the next sampled one.
    int32_t place(int32_t coordinate) const
    {
        return static_cast<int32_t>(std::lower_bound(coordinates_.begin(), coordinates_.end(), coordinate) -
                                    coordinates_.begin());
    }

private:
    int32_t first_ = 0;
    std::vector<int32_t> coordinates_;
};

class reduced_model {
public:
    explicit reduced_model(const painting& image, frame_size frame = {}) : image_(image)
    {
        const double across = static_cast<double>(image.width()) / frame.width;
        const double down = static_cast<double>(image.height()) / frame.height;
        is_subsampled_ = image.width() > frame.width || image.height() > frame.height;
        scale_ = is_subsampled_ ? std::max(across, down) : 1.0;
        width_ = is_subsampled_ ? static_cast<int32_t>((image.width() - 1) / scale_ + 1.0) : image.width();
        height_ = is_subsampled_ ? static_cast<int32_t>((image.height() - 1) / scale_ + 1.0) : image.height();
        frame_x_ = (frame.width - width_) / 2;
        frame_y_ = (frame.height - height_) / 2;
        columns_ = sampled_axis(image.x_min, image.width(), scale_);
        rows_ = sampled_axis(image.y_min, image.height(), scale_);
    }

    const painting& image() const { return image_; }
    bool is_subsampled() const { return is_subsampled_; }
    double scale() const { return scale_; }
    int32_t width() const { return width_; }
    int32_t height() const { return height_; }
    int32_t frame_x() const { return frame_x_; }
    int32_t frame_y() const { return frame_y_; }
    const sampled_axis& columns() const { return columns_; }
    const sampled_axis& rows() const { return rows_; }
    size_t pixels() const { return static_cast<size_t>(width_) * static_cast<size_t>(height_); }
    size_t image_bytes() const { return pixels() * (image_.is_picture() ? 5 : 1); }
    size_t stored_bytes() const { return (image_bytes() + 511) / 512 * 512; }
    size_t place(int32_t x, int32_t y) const
    {
        return static_cast<size_t>(rows_.place(y)) * static_cast<size_t>(width_) +
               static_cast<size_t>(columns_.place(x));
    }

    // Puts the sampled pixels of a part of the image where they belong, as an update of a tile does.
    void put(const rectangle& part, uint8_t* colour, uint8_t* alpha) const
    {
        if (part.is_empty()) return;
        for (const int32_t y : rows_.between(part.top, part.bottom)) {
            size_t to = place(part.left, y);
            for (const int32_t x : columns_.between(part.left, part.right)) {
                put_pixel(x, y, colour, to, alpha, to);
                ++to;
            }
        }
    }
    // The same into a buffer with the alpha plane behind the colour plane.
    void put(const rectangle& part, bytes& buffer) const { put(part, buffer.data(), buffer.data() + 4 * pixels()); }

    // What a resampling visits: not a last column (row) that is the first of its tile, and nothing of an image that is
    // one pixel wide or high.
    rectangle visited() const
    {
        rectangle all = image_.bounds();
        if (all.right == all.left || (all.right + image_.x_offset) % image_.tile_width == 0) --all.right;
        if (all.bottom == all.top || (all.bottom + image_.y_offset) % image_.tile_height == 0) --all.bottom;
        return all;
    }
    void put_resampled(uint8_t* colour, uint8_t* alpha) const { put(visited(), colour, alpha); }

    // The remake: in every tile the alpha bytes of a row that starts at place d start at 5 * d of the alpha plane.
    void put_remade(bytes& buffer) const
    {
        const rectangle all = visited();
        if (all.is_empty()) return;
        for (int32_t tile = 0; tile < image_.tiles_across() * image_.tiles_down(); ++tile) {
            const rectangle in_tile = image_.part_in_tile(tile);
            const rectangle part{in_tile.left, in_tile.top, std::min(in_tile.right, all.right),
                                 std::min(in_tile.bottom, all.bottom)};
            if (!part.is_empty()) put_remade(part, buffer);
        }
    }

private:
    void put_pixel(int32_t x, int32_t y, uint8_t* colour, size_t colour_place, uint8_t* alpha, size_t alpha_place) const
    {
        if (colour_place >= pixels()) return;  // nothing lands behind the image
        const auto parts = image_.colour(x, y);
        std::copy_n(parts.begin(), image_.pixel_bytes(), colour + colour_place * image_.pixel_bytes());
        if (image_.is_picture()) alpha[alpha_place] = image_.alpha(x, y);
    }
    void put_remade(const rectangle& part, bytes& buffer) const
    {
        uint8_t* const alpha = buffer.data() + 4 * pixels();
        for (const int32_t y : rows_.between(part.top, part.bottom)) {
            const size_t start = place(part.left, y);
            size_t in_row = 0;
            for (const int32_t x : columns_.between(part.left, part.right)) {
                put_pixel(x, y, buffer.data(), start + in_row, alpha, 5 * start + in_row);
                ++in_row;
            }
        }
    }

    painting image_;
    bool is_subsampled_ = false;
    double scale_ = 1.0;
    int32_t width_ = 0, height_ = 0, frame_x_ = 0, frame_y_ = 0;
    sampled_axis columns_, rows_;
};

struct icon_size {
    int32_t width = 100;
    int32_t height = 100;
};

// Shrinks a reduced image of `width` x `height` pixels into an icon; pixels that it does not reach keep their value.
inline void put_icon(bytes& icon, icon_size size, const bytes& source, int32_t width, int32_t height,
                     size_t pixel_bytes)
{
    const double factor =
        height < width ? static_cast<double>(width) / size.width : static_cast<double>(height) / size.height;
    std::vector<int32_t> at;
    double sum = 0.0;
    for (int32_t i = 0; i <= std::max(size.width, size.height); ++i, sum += factor)
        at.push_back(static_cast<int32_t>(sum + 0.01));
    for (int32_t row = 0; row < size.height && at[static_cast<size_t>(row)] < height; ++row) {
        for (int32_t column = 0; column < size.width && at[static_cast<size_t>(column)] < width; ++column) {
            const int64_t from = int64_t{at[static_cast<size_t>(row)]} * width + at[static_cast<size_t>(column)];
            const int64_t to = int64_t{row} * size.width + column;
            std::copy_n(source.begin() + from * static_cast<int64_t>(pixel_bytes), pixel_bytes,
                        icon.begin() + to * static_cast<int64_t>(pixel_bytes));
        }
    }
}

}  // namespace iocache_test

#endif
