// CMYK with an alpha that is not multiplied in, 256 x 256, not compressed, samples together.
#include "bench/peers/tiled_tiff.h"

#include <cstring>
#include <memory>

#include <tiffio.h>

#include "bench/support/fail.h"

namespace iocache_bench {

namespace {

struct closer {
    void operator()(TIFF* file) const { TIFFClose(file); }
};

void describe(TIFF* file, int32_t side)
{
    const uint16_t alpha = EXTRASAMPLE_UNASSALPHA;
    TIFFSetField(file, TIFFTAG_IMAGEWIDTH, side);
    TIFFSetField(file, TIFFTAG_IMAGELENGTH, side);
    TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, bands);
    TIFFSetField(file, TIFFTAG_EXTRASAMPLES, 1, &alpha);
    TIFFSetField(file, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_SEPARATED);
    TIFFSetField(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(file, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(file, TIFFTAG_TILEWIDTH, tile_side);
    TIFFSetField(file, TIFFTAG_TILELENGTH, tile_side);
}

}  // namespace

void write_tiled_tiff(const std::filesystem::path& path, int32_t side, const peer_rows& rows)
{
    const std::unique_ptr<TIFF, closer> file(TIFFOpen(path.c_str(), "w"));
    if (!file) fail("cannot create " + path.string());
    describe(file.get(), side);
    const int32_t across = side / tile_side;
    constexpr int64_t row_bytes = picture_pixel_bytes * tile_side;
    std::vector<uint8_t> tiles(static_cast<size_t>(across * tile_bytes));
    for (int32_t tile_row = 0; tile_row < across; ++tile_row) {
        for (int32_t y = 0; y < tile_side; ++y) {
            const uint8_t* const row = rows.row(tile_row * tile_side + y);
            for (int32_t column = 0; column < across; ++column) {
                std::memcpy(&tiles[static_cast<size_t>(column * tile_bytes + y * row_bytes)], row + column * row_bytes,
                            static_cast<size_t>(row_bytes));
            }
        }
        for (int32_t column = 0; column < across; ++column) {
            const auto tile = static_cast<uint32_t>(tile_row * across + column);
            uint8_t* const bytes = &tiles[static_cast<size_t>(column * tile_bytes)];
            if (TIFFWriteRawTile(file.get(), tile, bytes, tile_bytes) != tile_bytes) fail("cannot write a tile");
        }
    }
}

}  // namespace iocache_bench
