// An open canvas and its reduced image.
//
// The library keeps one reduced image of a picture and one of a mask, with one set of coordinate tables, so a program
// has at most one document at a time. Painting goes straight into the canvas: the cache writes it to the file when it
// likes. What the file lacks until save() or close() is the reduced image and the icon.
//
// Everything here belongs to the thread that started the library.
#ifndef IOCACHE_EXAMPLES_PAINT_DOCUMENT_H
#define IOCACHE_EXAMPLES_PAINT_DOCUMENT_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <iocache/iocache.h>

#include "area.h"

namespace paint {

enum class canvas_kind : int32_t { mask = 0, picture = 1 };
enum class at_close { keep_file, delete_file };

// A run of pixels on one line; a mask uses `colour` for its bytes and leaves `alpha` empty.
struct pixel_line {
    std::vector<uint8_t> colour;
    std::vector<uint8_t> alpha;
};

class document {
public:
    // Both throw std::runtime_error with what the library said.
    static std::unique_ptr<document> create(const std::string& path, int32_t width, int32_t height, canvas_kind kind,
                                            at_close closing = at_close::keep_file);
    static std::unique_ptr<document> open(const std::string& path);
    // Closes; what goes wrong then is only reported through the library's messages.
    ~document();
    document(const document&) = delete;
    document& operator=(const document&) = delete;

    [[nodiscard]] const cv_canvas& record() const { return *canvastable[number_]; }
    [[nodiscard]] bool is_picture() const { return record().kind == static_cast<int32_t>(canvas_kind::picture); }
    [[nodiscard]] area bounds() const;

    // Pixels (x_first..x_last, y), which lie inside the bounds. False when the library could not.
    bool read_line(int32_t y, int32_t x_first, int32_t x_last, pixel_line& line) const;
    bool store_line(int32_t y, int32_t x_first, int32_t x_last, const pixel_line& line);

    // Brings every tile whose dirty bit says so into the reduced image and clears the bit. Returns the pixels of the
    // reduced image that may have changed.
    area refresh_reduced_image();

    [[nodiscard]] int32_t reduced_width() const { return record().geom.lres_width; }
    [[nodiscard]] int32_t reduced_height() const { return record().geom.lres_height; }
    // Pixels x_first.. of row y of the reduced image as screen pixels, as many as rgba has room for.
    void reduced_row_as_rgba(int32_t y, int32_t x_first, std::span<uint8_t> rgba) const;

    // Writes tiles, reduced image and icon; the canvas stays open.
    bool save();
    // The same, and closes. Nothing else may be called afterwards.
    bool close();

private:
    explicit document(int32_t number);
    void become_current() const;
    void load_reduced_image();
    [[nodiscard]] size_t reduced_pixels() const;
    [[nodiscard]] std::span<uint8_t> reduced_image() const;
    [[nodiscard]] area reduced_area_of_tile(int32_t tile) const;

    int32_t number_ = -1;  // -1 once closed
};

}  // namespace paint

#endif
