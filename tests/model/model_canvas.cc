// The oracle's pixels and tiles, and its comparison with a file.
#include "tests/model/model_canvas.h"

#include <algorithm>
#include <cstring>
#include <set>

#include "tests/support/file_reader.h"

namespace iocache_test {

namespace {

constexpr int32_t tile_side = 256;
constexpr size_t tile_pixels = size_t{tile_side} * tile_side;
constexpr int32_t canvas_magic = 414141;

int32_t tiles_in(int32_t length, int32_t offset)
{
    return (length - 1 + offset) / tile_side + 1;
}

}  // namespace

model_canvas::model_canvas(std::string path, int32_t kind, const model_extent& extent)
    : path_(std::move(path)),
      kind_(kind),
      extent_(extent),
      tiles_across_(tiles_in(extent.width, extent.x_offset)),
      tiles_down_(tiles_in(extent.height, extent.y_offset)),
      tiles_(static_cast<size_t>(tiles_across_) * static_cast<size_t>(tiles_down_)),
      drawn_(tiles_.size(), drawn::no)
{}

size_t model_canvas::tile_bytes() const
{
    return tile_pixels * (is_picture() ? 5 : 1);
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

run_pixels model_canvas::room_for(const run& where) const
{
    run_pixels pixels;
    pixels.colour.resize(static_cast<size_t>(where.length) * pixel_bytes());
    if (is_picture()) pixels.alpha.resize(static_cast<size_t>(where.length));
    return pixels;
}

run_pixels model_canvas::random_pixels(const run& where, std::mt19937& random) const
{
    std::uniform_int_distribution<int> byte(0, 255);
    run_pixels pixels = room_for(where);
    for (uint8_t& b : pixels.colour) b = static_cast<uint8_t>(byte(random));
    for (uint8_t& b : pixels.alpha) b = static_cast<uint8_t>(byte(random));
    return pixels;
}

bool model_canvas::is_in_grid(int32_t x, int32_t y) const
{
    const int32_t grid_x = x + extent_.x_offset;
    const int32_t grid_y = y + extent_.y_offset;
    return grid_x >= 0 && grid_y >= 0 && grid_x < tiles_across_ * tile_side && grid_y < tiles_down_ * tile_side;
}

model_canvas::place model_canvas::place_of(int32_t x, int32_t y) const
{
    const int32_t grid_x = x + extent_.x_offset;
    const int32_t grid_y = y + extent_.y_offset;
    return {static_cast<size_t>(grid_y / tile_side * tiles_across_ + grid_x / tile_side),
            static_cast<size_t>(grid_y % tile_side * tile_side + grid_x % tile_side)};
}

size_t model_canvas::tile_of(int32_t x, int32_t y) const
{
    return place_of(x, y).tile;
}

std::vector<size_t> model_canvas::tiles_of(const run& where) const
{
    std::set<size_t> numbers;
    each_pixel(where, [&](size_t /*position*/, const place& at) { numbers.insert(at.tile); });
    return {numbers.begin(), numbers.end()};
}

template <class Visit> void model_canvas::each_pixel(const run& where, Visit visit) const
{
    for (int32_t i = 0; i < where.length; ++i)
        visit(static_cast<size_t>(i), place_of(where.x + (where.is_row ? i : 0), where.y + (where.is_row ? 0 : i)));
}

void model_canvas::store(const run& where, const run_pixels& pixels)
{
    each_pixel(where, [&](size_t position, const place& at) {
        std::vector<uint8_t>& tile = tiles_[at.tile];
        if (tile.empty()) tile.resize(tile_bytes());
        drawn_[at.tile] = drawn::yes;
        std::memcpy(&tile[at.pixel * pixel_bytes()], &pixels.colour[position * pixel_bytes()], pixel_bytes());
        if (is_picture()) tile[tile_pixels * 4 + at.pixel] = pixels.alpha[position];
    });
}

run_pixels model_canvas::load(const run& where) const
{
    run_pixels pixels = room_for(where);
    each_pixel(where, [&](size_t position, const place& at) {
        const std::vector<uint8_t>& tile = tiles_[at.tile];
        if (tile.empty()) return;
        std::memcpy(&pixels.colour[position * pixel_bytes()], &tile[at.pixel * pixel_bytes()], pixel_bytes());
        if (is_picture()) pixels.alpha[position] = tile[tile_pixels * 4 + at.pixel];
    });
    return pixels;
}

std::vector<uint8_t> model_canvas::tile(size_t number) const
{
    return tiles_[number].empty() ? std::vector<uint8_t>(tile_bytes()) : tiles_[number];
}

// Of tiles that hold a part of the image; the others are left as they are.
void model_canvas::clear_margins()
{
    for (size_t number = 0; number < tiles_.size(); ++number) {
        if (!tiles_[number].empty()) clear_margin(number);
    }
}

void model_canvas::clear_margin(size_t number)
{
    const auto across = static_cast<size_t>(tiles_across_);
    const int32_t left = static_cast<int32_t>(number % across) * tile_side - extent_.x_offset;
    const int32_t top = static_cast<int32_t>(number / across) * tile_side - extent_.y_offset;
    const bool has_image = left <= extent_.x_max() && left + tile_side > extent_.x_min && top <= extent_.y_max() &&
                           top + tile_side > extent_.y_min;
    if (!has_image) return;
    std::vector<uint8_t>& tile = tiles_[number];
    for (size_t pixel = 0; pixel < tile_pixels; ++pixel) {
        const int32_t x = left + static_cast<int32_t>(pixel % tile_side);
        const int32_t y = top + static_cast<int32_t>(pixel / tile_side);
        const bool is_image = x >= extent_.x_min && x <= extent_.x_max() && y >= extent_.y_min && y <= extent_.y_max();
        if (is_image) continue;
        std::memset(&tile[pixel * pixel_bytes()], 0, pixel_bytes());
        if (is_picture()) tile[tile_pixels * 4 + pixel] = 0;
    }
}

std::string model_canvas::difference_to_file() const
{
    const canvas_file file(path_);
    if (file.magic() != canvas_magic) return path_ + ": no canvas";
    if (file.dirty() != 0) return path_ + ": not closed";
    if (file.is_picture() != is_picture()) return path_ + ": another kind";
    const bool same_bounds = file.x_min() == extent_.x_min && file.x_max() == extent_.x_max() &&
                             file.y_min() == extent_.y_min && file.y_max() == extent_.y_max();
    if (!same_bounds) return path_ + ": other bounds";
    if (file.tiles_across() != tiles_across_ || file.tiles_down() != tiles_down_) return path_ + ": another grid";
    return difference_to_tiles(file);
}

std::string model_canvas::difference_to_tiles(const canvas_file& file) const
{
    std::set<int32_t> slots;
    for (size_t number = 0; number < tiles_.size(); ++number) {
        const auto column = static_cast<int32_t>(number) % tiles_across_;
        const auto row = static_cast<int32_t>(number) / tiles_across_;
        const std::string name = path_ + ": tile " + std::to_string(column) + ", " + std::to_string(row) + " ";
        const int32_t slot = file.slot(column, row);
        if (drawn_[number] == drawn::yes && slot < 0) return name + "was drawn on and has no slot";
        if (drawn_[number] == drawn::no && slot >= 0) return name + "was never drawn on and has a slot";
        if (slot >= file.tiles_written()) return name + "has a slot that is not counted";
        if (slot >= 0 && !slots.insert(slot).second) return name + "has a slot that another has too";
        const std::vector<uint8_t> found = file.tile(column, row);
        const std::vector<uint8_t> expected = tile(number);
        const auto [f, e] = std::mismatch(found.begin(), found.end(), expected.begin());
        if (f == found.end()) continue;
        return name + "byte " + std::to_string(f - found.begin()) + " is " + std::to_string(*f) + " instead of " +
               std::to_string(*e);
    }
    return "";
}

}  // namespace iocache_test
