// The reduced image and the icon of a canvas file: as the file holds them, and as its tiles make them.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tools/reader/canvas_file.h"
#include "tools/reader/file_map.h"
#include "tools/reader/point_samples.h"
#include "tools/reader/slot_table.h"

namespace iocache::tools {

// A canvas without a region for its reduced image is its own; one larger than this is not built then.
inline constexpr std::int64_t most_reduced_pixels = std::int64_t{1} << 26;

// Planes of a reduced image.
struct reduced_planes {
    std::vector<std::uint8_t> colour;
    std::vector<std::uint8_t> alpha;  // empty for a mask
};

// What opening a file that was not closed makes of it: not every pixel, and a picture's alpha bytes in other places.
struct remade_parts {
    std::vector<bool> pixels;
    std::vector<std::int16_t> alpha;  // -1: not made
};

// Reads one tile. Bytes beyond the end of the file are zero.
[[nodiscard]] std::vector<std::uint8_t> read_slot(const canvas_file& file, const file_map& map, std::int64_t slot);

// Takes the sampled pixels of one tile after the other, in any order for the image itself, in that of the table for
// the remade parts.
class reduced_builder {
public:
    explicit reduced_builder(const file_map& map);

    // Whether there is something to build: not for images beyond most_reduced_pixels.
    [[nodiscard]] bool is_possible() const { return possible_; }
    // A tile that was never written, or cannot be read, has no bytes.
    void take(std::int64_t tile, const std::vector<std::uint8_t>& bytes);
    [[nodiscard]] const reduced_planes& planes() const { return planes_; }
    [[nodiscard]] const remade_parts& remade() const { return remade_; }

private:
    file_map map_;
    sampled_axes axes_;
    bool possible_;
    reduced_planes planes_;
    remade_parts remade_;

    void take_row(const rectangle& part, const std::vector<std::uint8_t>& bytes, std::size_t row, place_range columns);
    void note_remade(std::size_t row, place_range columns);
};

// The file's own, empty when it has none.
[[nodiscard]] reduced_planes stored_reduced(const canvas_file& file, const file_map& map);
[[nodiscard]] std::vector<std::uint8_t> stored_icon_pixels(const canvas_file& file, const file_map& map);

// Puts into the icon every pixel that the image reaches; the others stay.
void put_icon(std::vector<std::uint8_t>& icon, const file_map& map, const reduced_planes& image);

// Pixels of a tile that lie outside of the image and are not zero: how many, and the same made zero.
[[nodiscard]] std::int64_t margin_pixels(const file_map& map, std::int64_t tile, std::span<const std::uint8_t> bytes);
std::int64_t clear_margin(const file_map& map, std::int64_t tile, std::span<std::uint8_t> bytes);

}  // namespace iocache::tools
