// What a canvas should hold, tile by tile in plain arrays: the oracle of the random tests. Knows nothing of the
// library, and of the file only what its independent reader tells.
#ifndef IOCACHE_TESTS_MODEL_MODEL_CANVAS_H
#define IOCACHE_TESTS_MODEL_MODEL_CANVAS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace iocache_test {

struct model_extent {
    int32_t x_min, y_min, width, height, x_offset, y_offset;
    int32_t x_max() const { return x_min + width - 1; }
    int32_t y_max() const { return y_min + height - 1; }
};

// A straight run of pixels: along a row, or down a column.
struct run {
    bool is_row;
    int32_t x, y;  // first pixel
    int32_t length;
    int32_t x_end() const { return is_row ? x + length - 1 : x; }
    int32_t y_end() const { return is_row ? y : y + length - 1; }
    run first(int32_t pixels) const { return {is_row, x, y, pixels}; }
};

// Pixels of a run, first pixel first, as the library takes and gives them.
struct run_pixels {
    std::vector<uint8_t> colour;
    std::vector<uint8_t> alpha;  // empty for a mask
    bool operator==(const run_pixels&) const = default;
};

class model_canvas {
public:
    model_canvas(std::string path, int32_t kind, const model_extent& extent);

    const std::string& path() const { return path_; }
    void set_path(std::string path) { path_ = std::move(path); }
    int32_t kind() const { return kind_; }
    bool is_picture() const { return kind_ == 1; }
    const model_extent& extent() const { return extent_; }
    size_t pixel_bytes() const { return is_picture() ? 4 : 1; }
    int32_t tiles_across() const { return tiles_across_; }
    int32_t tiles_down() const { return tiles_down_; }
    size_t tile_count() const { return tiles_.size(); }
    size_t tile_bytes() const;

    run random_run(std::mt19937& random) const;
    run_pixels random_pixels(const run& where, std::mt19937& random) const;
    run_pixels room_for(const run& where) const;

    // Runs may lie in the margins, but not outside the grid.
    void store(const run& where, const run_pixels& pixels);
    run_pixels load(const run& where) const;
    run_pixels load_pixel(int32_t x, int32_t y) const { return load({true, x, y, 1}); }

    bool is_in_grid(int32_t x, int32_t y) const;
    size_t tile_of(int32_t x, int32_t y) const;
    std::vector<size_t> tiles_of(const run& where) const;
    std::vector<uint8_t> tile(size_t number) const;  // its bytes, as they lie in a file
    void set_tile(size_t number, std::vector<uint8_t> contents) { tiles_[number] = std::move(contents); }
    void clear_margins();

    // Whether the tile was ever drawn on, so that it has, or will have, a place in the file.
    enum class drawn { no, yes, not_known };
    drawn is_drawn(size_t number) const { return drawn_[number]; }
    void set_drawn(size_t number, drawn how) { drawn_[number] = how; }

    // How the closed file differs from this: any tile byte, margins included, or a header that says something else.
    // Empty when it does not.
    std::string difference_to_file() const;

private:
    struct place {
        size_t tile;
        size_t pixel;  // in the tile
    };
    place place_of(int32_t x, int32_t y) const;
    void clear_margin(size_t number);
    template <class Visit> void each_pixel(const run& where, Visit visit) const;
    std::string difference_to_tiles(const class canvas_file& file) const;

    std::string path_;
    int32_t kind_;
    model_extent extent_;
    int32_t tiles_across_;
    int32_t tiles_down_;
    std::vector<std::vector<uint8_t>> tiles_;  // empty: nothing but zeros
    std::vector<drawn> drawn_;
};

}  // namespace iocache_test

#endif
