// Makes, opens and checks the picture.
#include "bench/support/picture.h"

#include "bench/support/fail.h"

namespace iocache_bench {

tile_row_bytes bytes_of_tile_row()
{
    return {size_t{tile_side} * pattern::colour_bytes, size_t{tile_side}};
}

std::filesystem::path picture_path(const picture_place& place)
{
    return place.folder / ("picture-" + std::to_string(place.side) + ".canvas");
}

void store_rows(int32_t canvas, const pattern& pixels, int32_t rows)
{
    for (int32_t y = 0; y < rows; ++y) {
        if (cv_storeline(canvas, pixels.colour_row(y), pixels.alpha_row(y), y, 0, pixels.width() - 1) != 0)
            fail("cannot store a row");
    }
}

void make_picture(const picture_place& place, const pattern& pixels)
{
    const std::filesystem::path path = picture_path(place);
    if (std::filesystem::exists(path)) return;
    std::filesystem::create_directories(place.folder);
    // Its name comes last: what was interrupted is not taken for a picture.
    const std::filesystem::path working = path.string() + ".part";
    std::filesystem::remove(working);
    const int32_t canvas = canvas_new(working.c_str(), 1, 0, 0, place.side - 1, place.side - 1, 0, 0);
    if (canvas < 0) fail("cannot create " + working.string());
    store_rows(canvas, pixels, place.side);
    cv_mark_canvas_save(canvas);
    if (canvas_close(canvas) != 0) fail("cannot close " + working.string());
    std::filesystem::rename(working, path);
}

open_picture::open_picture(const std::filesystem::path& path) : number_(canvas_old(path.c_str()))
{
    if (number_ < 0) fail("cannot open " + path.string());
}

open_picture::~open_picture()
{
    canvas_close(number_);
}

uint8_t* open_picture::tile_in_memory(int32_t x, int32_t y) const
{
    const cv_tile* const tile = record().tile_cache[(y / tile_side) * record().tiles_across + x / tile_side];
    if (tile == nullptr) fail("a tile that should be in memory is not");
    return tile->buffer;
}

int64_t open_picture::tile_offset(int32_t x, int32_t y) const
{
    const int64_t slot = record().tile_table[(y / tile_side) * record().tiles_across + x / tile_side];
    return record().header->tiles_offset + slot * tile_bytes;
}

bool open_picture::has_pattern(const pattern& expected, int32_t square_side, int32_t turn) const
{
    line pixels(square_side);
    for (int32_t y = 0; y < square_side; ++y) {
        if (cv_getline(number_, pixels.colour.data(), pixels.alpha.data(), y, 0, square_side - 1) != 0) return false;
        if (!expected.has(0, y, square_side, pixels.colour.data(), pixels.alpha.data(), turn)) return false;
    }
    return true;
}

}  // namespace iocache_bench
