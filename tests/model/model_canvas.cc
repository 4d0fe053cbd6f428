#include "tests/model/model_canvas.h"

#include <algorithm>
#include <cstring>

#include <gtest/gtest.h>

#include "tests/support/file_reader.h"

namespace iocache_test {

namespace {

constexpr int32_t tile_side = 256;

}  // namespace

model_canvas::model_canvas(std::string path, int32_t kind, const model_extent& extent)
    : path_(std::move(path)),
      kind_(kind),
      extent_(extent)
{
    const auto pixels = static_cast<size_t>(extent.width) * static_cast<size_t>(extent.height);
    colour_.assign(pixels * pixel_bytes(), 0);
    if (is_picture()) alpha_.assign(pixels, 0);
}

run model_canvas::random_run(std::mt19937& random) const
{
    const auto below = [&random](int32_t limit) {
        return std::uniform_int_distribution<int32_t>(0, limit - 1)(random);
    };
    const int32_t x = below(extent_.width);
    const int32_t y = below(extent_.height);
    const bool is_row = below(2) == 0;
    const int32_t most = is_row ? extent_.width - x : extent_.height - y;
    return {is_row, extent_.x_min + x, extent_.y_min + y, 1 + below(most)};
}

run_pixels model_canvas::random_pixels(const run& where, std::mt19937& random) const
{
    std::uniform_int_distribution<int> byte(0, 255);
    run_pixels pixels;
    pixels.colour.resize(static_cast<size_t>(where.length) * pixel_bytes());
    if (is_picture()) pixels.alpha.resize(static_cast<size_t>(where.length));
    for (uint8_t& b : pixels.colour) b = static_cast<uint8_t>(byte(random));
    for (uint8_t& b : pixels.alpha) b = static_cast<uint8_t>(byte(random));
    return pixels;
}

template <class Visit> void model_canvas::each_pixel(const run& where, Visit visit) const
{
    for (int32_t i = 0; i < where.length; ++i) {
        const int32_t x = where.x - extent_.x_min + (where.is_row ? i : 0);
        const int32_t y = where.y - extent_.y_min + (where.is_row ? 0 : i);
        visit(static_cast<size_t>(i),
              static_cast<size_t>(y) * static_cast<size_t>(extent_.width) + static_cast<size_t>(x));
    }
}

void model_canvas::store(const run& where, const run_pixels& pixels)
{
    each_pixel(where, [&](size_t position, size_t pixel) {
        std::memcpy(&colour_[pixel * pixel_bytes()], &pixels.colour[position * pixel_bytes()], pixel_bytes());
        if (is_picture()) alpha_[pixel] = pixels.alpha[position];
    });
}

run_pixels model_canvas::load(const run& where) const
{
    run_pixels pixels;
    pixels.colour.resize(static_cast<size_t>(where.length) * pixel_bytes());
    if (is_picture()) pixels.alpha.resize(static_cast<size_t>(where.length));
    each_pixel(where, [&](size_t position, size_t pixel) {
        std::memcpy(&pixels.colour[position * pixel_bytes()], &colour_[pixel * pixel_bytes()], pixel_bytes());
        if (is_picture()) pixels.alpha[position] = alpha_[pixel];
    });
    return pixels;
}

std::vector<uint8_t> model_canvas::expected_tile(int32_t column, int32_t row) const
{
    constexpr size_t tile_pixels = size_t{tile_side} * tile_side;
    std::vector<uint8_t> tile(tile_pixels * (is_picture() ? 5 : 1), 0);
    for (int32_t in_y = 0; in_y < tile_side; ++in_y) {
        const int32_t y = row * tile_side + in_y - extent_.y_offset - extent_.y_min;
        if (y < 0 || y >= extent_.height) continue;
        for (int32_t in_x = 0; in_x < tile_side; ++in_x) {
            const int32_t x = column * tile_side + in_x - extent_.x_offset - extent_.x_min;
            if (x < 0 || x >= extent_.width) continue;
            const size_t pixel = static_cast<size_t>(y) * static_cast<size_t>(extent_.width) + static_cast<size_t>(x);
            const size_t place = static_cast<size_t>(in_y) * tile_side + static_cast<size_t>(in_x);
            std::memcpy(&tile[place * pixel_bytes()], &colour_[pixel * pixel_bytes()], pixel_bytes());
            if (is_picture()) tile[tile_pixels * 4 + place] = alpha_[pixel];
        }
    }
    return tile;
}

void model_canvas::expect_file_holds_this() const
{
    const canvas_file file(path_);
    EXPECT_EQ(file.magic(), 414141) << path_;
    EXPECT_EQ(file.dirty(), 0) << path_;
    EXPECT_EQ(file.is_picture(), is_picture()) << path_;
    EXPECT_EQ(file.x_min(), extent_.x_min) << path_;
    EXPECT_EQ(file.x_max(), extent_.x_max()) << path_;
    EXPECT_EQ(file.y_min(), extent_.y_min) << path_;
    EXPECT_EQ(file.y_max(), extent_.y_max()) << path_;
    std::vector<bool> slot_taken(static_cast<size_t>(file.tiles_written()), false);
    for (int32_t row = 0; row < file.tiles_down(); ++row) {
        for (int32_t column = 0; column < file.tiles_across(); ++column) {
            ASSERT_EQ(file.tile(column, row), expected_tile(column, row)) << path_ << " tile " << column << ", " << row;
            const int32_t slot = file.slot(column, row);
            if (slot < 0) continue;
            ASSERT_LT(slot, file.tiles_written()) << path_;
            EXPECT_FALSE(slot_taken[static_cast<size_t>(slot)]) << path_ << " slot " << slot << " is named twice";
            slot_taken[static_cast<size_t>(slot)] = true;
        }
    }
}

}  // namespace iocache_test
