// The picture of the benchmarks: a square canvas whose pixels are the pattern's, written once and used again.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include <iocache/iocache.h>

#include "bench/support/pattern.h"
#include "bench/support/picture_format.h"

namespace iocache_bench {

// Place of a tile among all, row by row.
inline size_t tile_index(int32_t column, int32_t row, int32_t across)
{
    return static_cast<size_t>(row) * static_cast<size_t>(across) + static_cast<size_t>(column);
}

// One row of one tile. The compiler does not see the numbers, or it would put something of its own in the place of the
// limits' memcpy.
struct tile_row_bytes {
    size_t colour;
    size_t alpha;
};
tile_row_bytes bytes_of_tile_row();

struct picture_place {
    std::filesystem::path folder;
    int32_t side;
};

// Both buffers of one line or column.
struct line {
    explicit line(int32_t pixels)
        : colour(static_cast<size_t>(pattern::colour_bytes) * static_cast<size_t>(pixels)),
          alpha(static_cast<size_t>(pixels))
    {}
    std::vector<uint8_t> colour;
    std::vector<uint8_t> alpha;
};

// An open canvas; the file stays at the end. The library must be running.
class open_picture {
public:
    explicit open_picture(const std::filesystem::path& path);
    ~open_picture();
    open_picture(const open_picture&) = delete;
    open_picture& operator=(const open_picture&) = delete;

    [[nodiscard]] int32_t number() const { return number_; }
    [[nodiscard]] cv_canvas& record() const { return *canvastable[number_]; }
    [[nodiscard]] int32_t side() const { return record().geom.width; }
    // The tile of a pixel that is in memory.
    [[nodiscard]] uint8_t* tile_in_memory(int32_t x, int32_t y) const;
    // Where the tile of a pixel is in the file.
    [[nodiscard]] int64_t tile_offset(int32_t x, int32_t y) const;

    // Whether every pixel of this square is the pattern's.
    [[nodiscard]] bool has_pattern(const pattern& expected, int32_t square_side, int32_t turn = 0) const;

private:
    int32_t number_;
};

std::filesystem::path picture_path(const picture_place& place);
// Writes the picture unless the folder has it. The library must be running.
void make_picture(const picture_place& place, const pattern& pixels);
// Stores the pattern into every row of an open canvas.
void store_rows(int32_t canvas, const pattern& pixels, int32_t rows);

}  // namespace iocache_bench
