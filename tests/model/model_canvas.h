// What a canvas should hold, as plain arrays: the oracle of the random tests. Knows nothing of tiles but when it
// checks a closed file.
#ifndef IOCACHE_TESTS_MODEL_MODEL_CANVAS_H
#define IOCACHE_TESTS_MODEL_MODEL_CANVAS_H

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

    run random_run(std::mt19937& random) const;
    run_pixels random_pixels(const run& where, std::mt19937& random) const;
    void store(const run& where, const run_pixels& pixels);
    run_pixels load(const run& where) const;

    // The closed file holds exactly this: every tile byte, margins included, and a header that says so. Adds test
    // failures where it does not.
    void expect_file_holds_this() const;

private:
    template <class Visit> void each_pixel(const run& where, Visit visit) const;
    std::vector<uint8_t> expected_tile(int32_t column, int32_t row) const;

    std::string path_;
    int32_t kind_;
    model_extent extent_;
    std::vector<uint8_t> colour_;
    std::vector<uint8_t> alpha_;
};

}  // namespace iocache_test

#endif
