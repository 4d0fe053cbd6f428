#include "tests/paint/painted_file.h"

#include <algorithm>

namespace paint_test {

namespace {

using iocache_test::bytes;

// Columns (or rows) that a reduced image takes: each first one at or past a running sum of the scale.
std::vector<int32_t> sampled(int32_t first, int32_t length, double scale)
{
    std::vector<int32_t> places;
    double next = 0.0;
    for (int32_t i = 0; i < length; ++i) {
        if (next > i) continue;
        places.push_back(first + i);
        next += scale;
    }
    return places;
}

// Where the reduced image is looked at for an icon: a running sum again.
std::vector<size_t> icon_places(size_t count, double factor)
{
    std::vector<size_t> places;
    double sum = 0.0;
    while (places.size() < count) {
        places.push_back(static_cast<size_t>(sum + 0.01));
        sum += factor;
    }
    return places;
}

}  // namespace

const bytes& painted_file::tile(int32_t column, int32_t row) const
{
    const auto key = std::pair(column, row);
    const auto found = tiles_.find(key);
    return found != tiles_.end() ? found->second : tiles_.emplace(key, file_.tile(column, row)).first->second;
}

bytes painted_file::pixel(int32_t x, int32_t y) const
{
    const int32_t grid_x = x + file_.x_offset();
    const int32_t grid_y = y + file_.y_offset();
    const bytes& data = tile(grid_x / file_.tile_width(), grid_y / file_.tile_height());
    const auto width = static_cast<size_t>(file_.tile_width());
    const size_t place =
        static_cast<size_t>(grid_y % file_.tile_height()) * width + static_cast<size_t>(grid_x % file_.tile_width());
    const size_t start = place * colour_bytes();
    bytes result(data.begin() + static_cast<std::ptrdiff_t>(start),
                 data.begin() + static_cast<std::ptrdiff_t>(start + colour_bytes()));
    if (file_.is_picture()) result.push_back(data.at(width * static_cast<size_t>(file_.tile_height()) * 4 + place));
    return result;
}

bytes painted_file::expected_reduced_image() const
{
    const std::vector<int32_t> columns = sampled(file_.x_min(), width(), file_.scale());
    const std::vector<int32_t> rows = sampled(file_.y_min(), height(), file_.scale());
    bytes colour;
    bytes alpha;
    for (const int32_t y : rows) {
        for (const int32_t x : columns) {
            const bytes whole = pixel(x, y);
            colour.insert(colour.end(), whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(colour_bytes()));
            if (file_.is_picture()) alpha.push_back(whole.back());
        }
    }
    colour.insert(colour.end(), alpha.begin(), alpha.end());
    return colour;
}

bytes painted_file::stored_reduced_image() const
{
    bytes stored = file_.reduced_image();
    const auto padding = stored.size() - std::min(stored.size(), expected_reduced_image().size());
    stored.resize(stored.size() - padding);
    return stored;
}

painted_file::icon_check painted_file::check_icon() const
{
    const auto icon_width = static_cast<size_t>(iocache_test::int16_at(file_.contents(), 0x024));
    const auto icon_height = static_cast<size_t>(iocache_test::int16_at(file_.contents(), 0x026));
    const size_t image_width = sampled(0, width(), file_.scale()).size();
    const size_t image_height = sampled(0, height(), file_.scale()).size();
    const double factor = image_height < image_width
                              ? static_cast<double>(image_width) / static_cast<double>(icon_width)
                              : static_cast<double>(image_height) / static_cast<double>(icon_height);
    const bytes image = expected_reduced_image();
    const bytes icon = file_.icon();
    icon_check found;
    const std::vector<size_t> places = icon_places(std::max(icon_width, icon_height), factor);
    for (size_t row = 0; row < icon_height; ++row) {
        for (size_t column = 0; column < icon_width; ++column) {
            const size_t source_x = places[column];
            const size_t source_y = places[row];
            const bool inside = source_x < image_width && source_y < image_height;
            bool wrong = false;
            bool painted = false;
            for (size_t k = 0; k < colour_bytes(); ++k) {
                const uint8_t shown = icon.at((row * icon_width + column) * colour_bytes() + k);
                const size_t source = (source_y * image_width + source_x) * colour_bytes() + k;
                wrong = wrong || shown != (inside ? image.at(source) : 0);
                painted = painted || shown != 0;
            }
            found.wrong += wrong ? 1 : 0;
            found.painted += painted ? 1 : 0;
        }
    }
    return found;
}

}  // namespace paint_test
