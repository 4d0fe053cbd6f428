// A painted canvas file, read without the library: its pixels, and whether the reduced image and the icon in it are the
// ones that these pixels make.
#ifndef IOCACHE_TESTS_PAINT_PAINTED_FILE_H
#define IOCACHE_TESTS_PAINT_PAINTED_FILE_H

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/file_reader.h"

namespace paint_test {

class painted_file {
public:
    explicit painted_file(const std::string& path) : file_(path) {}

    [[nodiscard]] const iocache_test::canvas_file& file() const { return file_; }
    [[nodiscard]] int32_t width() const { return file_.x_max() - file_.x_min() + 1; }
    [[nodiscard]] int32_t height() const { return file_.y_max() - file_.y_min() + 1; }
    // Colour bytes and alpha of a picture's pixel, the byte of a mask's.
    [[nodiscard]] iocache_test::bytes pixel(int32_t x, int32_t y) const;
    [[nodiscard]] uint8_t alpha(int32_t x, int32_t y) const { return pixel(x, y).back(); }

    // The reduced image that the pixels make: planes as in the file, without the padding.
    [[nodiscard]] iocache_test::bytes expected_reduced_image() const;
    [[nodiscard]] iocache_test::bytes stored_reduced_image() const;
    // Pixels of the icon that differ from what the reduced image makes, and pixels that are not 0 at all.
    struct icon_check {
        int32_t wrong = 0, painted = 0;
    };
    [[nodiscard]] icon_check check_icon() const;

private:
    [[nodiscard]] const iocache_test::bytes& tile(int32_t column, int32_t row) const;
    [[nodiscard]] size_t colour_bytes() const { return file_.is_picture() ? 4 : 1; }

    iocache_test::canvas_file file_;
    mutable std::map<std::pair<int32_t, int32_t>, iocache_test::bytes> tiles_;
};

}  // namespace paint_test

#endif
