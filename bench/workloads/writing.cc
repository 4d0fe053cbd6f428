// W6: create a canvas, write all rows in order, close it: without and with the synchronisation to the disk that closing
// ends with. The limit copies the rows into a row of tiles and writes each tile with one pwrite, to the same places.
// The file is new in every run; taking the old one away is not counted.
#include <cstdlib>
#include <cstring>

#include <iocache/iocache.h>

#include "bench/support/fail.h"
#include "bench/support/picture.h"
#include "bench/support/raw_file.h"
#include "bench/workloads/workloads.h"

namespace iocache_bench {

namespace {

constexpr const char* no_synchronisation = "CV_NO_CLOSE_SYNC";

double write_with_library(const std::filesystem::path& path, const pattern& pixels, bool synchronise)
{
    std::filesystem::remove(path);
    if (synchronise) {
        ::unsetenv(no_synchronisation);
    } else {
        ::setenv(no_synchronisation, "1", 1);
    }
    const int32_t side = pixels.width();
    const stopwatch time;
    const int32_t canvas = canvas_new(path.c_str(), 1, 0, 0, side - 1, side - 1, 0, 0);
    if (canvas < 0) fail("cannot create " + path.string());
    store_rows(canvas, pixels, side);
    cv_mark_canvas_save(canvas);
    if (canvas_close(canvas) != 0) fail("cannot close " + path.string());
    return time.seconds();
}

void copy_rows_in(const pattern& pixels, int32_t tile_row, uint8_t* tiles)
{
    const tile_row_bytes bytes = bytes_of_tile_row();
    const int32_t across = pixels.width() / tile_side;
    for (int32_t row = 0; row < tile_side; ++row) {
        const int32_t y = tile_row * tile_side + row;
        for (int32_t column = 0; column < across; ++column) {
            uint8_t* const tile = tiles + column * tile_bytes;
            std::memcpy(tile + static_cast<size_t>(row) * bytes.colour,
                        pixels.colour_row(y) + static_cast<size_t>(column) * bytes.colour, bytes.colour);
            std::memcpy(tile + alpha_plane + int64_t{row} * tile_side,
                        pixels.alpha_row(y) + int64_t{column} * tile_side, bytes.alpha);
        }
        keep_memory();
    }
}

double write_bare(const std::filesystem::path& path, const pattern& pixels, const page_memory& tiles,
                  int64_t first_offset, bool synchronise)
{
    std::filesystem::remove(path);
    const int32_t across = pixels.width() / tile_side;
    const stopwatch time;
    const raw_file file(path, raw_file::purpose::create);
    int64_t offset = first_offset;
    for (int32_t tile_row = 0; tile_row < across; ++tile_row) {
        copy_rows_in(pixels, tile_row, tiles.data());
        for (int32_t column = 0; column < across; ++column, offset += tile_bytes)
            file.write(tiles.part(column * tile_bytes, tile_bytes), offset);
    }
    if (synchronise) file.synchronise();
    return time.seconds();
}

}  // namespace

void write_all_rows(const options& wanted, report& found)
{
    const int32_t side = wanted.amounts.side;
    const pattern pixels(side);
    std::filesystem::create_directories(wanted.scratch);
    const std::filesystem::path written = wanted.scratch / "written.canvas";
    const std::filesystem::path bare = wanted.scratch / "written.bare";
    const running_library library(wanted.library(wanted.amounts.out_of_core_mib));
    write_with_library(written, pixels, false);
    int64_t first_offset = 0;
    {
        const open_picture picture(written);
        first_offset = picture.record().header->tiles_offset;
        found.pixels_are_right = picture.has_pattern(pixels, side);
    }
    const page_memory tiles(side / tile_side * tile_bytes);
    const unit terms = unit::gigabytes_a_second(static_cast<double>(picture_pixel_bytes) * side * side);
    for (const bool synchronise : {false, true}) {
        const std::string what = synchronise ? ", with the final sync" : "";
        // Each begins with neither file there: the pages of two new files together would be more than the kernel keeps
        // before it starts to write them out, in the middle of whichever run comes next.
        const auto by_hand = [&] {
            std::filesystem::remove(written);
            return write_bare(bare, pixels, tiles, first_offset, synchronise);
        };
        const auto by_library = [&] {
            std::filesystem::remove(bare);
            return write_with_library(written, pixels, synchronise);
        };
        found.add(measure_in_turn({{"limit" + what, by_hand}, {"library" + what, by_library}}, wanted.runs, terms));
    }
    {
        const open_picture picture(written);
        found.pixels_are_right = found.pixels_are_right && picture.has_pattern(pixels, side);
    }
    std::filesystem::remove(written);
    std::filesystem::remove(bare);
}

}  // namespace iocache_bench
