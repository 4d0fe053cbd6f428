// TIFF with libtiff: strips of 16 rows, LZW with the horizontal predictor, as photographs are kept.
#include <memory>
#include <vector>

#include <tiffio.h>

#include "bench/imports/photograph.h"
#include "bench/support/fail.h"
#include "bench/support/measure.h"

namespace iocache_bench {

namespace {

constexpr int32_t strip_rows = 16;

struct closer {
    void operator()(TIFF* file) const { TIFFClose(file); }
};
using tiff = std::unique_ptr<TIFF, closer>;

tiff open_tiff(const std::filesystem::path& path, const char* how)
{
    tiff file(TIFFOpen(path.c_str(), how));
    if (!file) fail("cannot open " + path.string());
    return file;
}

}  // namespace

void make_tiff(const std::filesystem::path& path, int32_t side)
{
    const tiff file = open_tiff(path, "w");
    TIFFSetField(file.get(), TIFFTAG_IMAGEWIDTH, side);
    TIFFSetField(file.get(), TIFFTAG_IMAGELENGTH, side);
    TIFFSetField(file.get(), TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(file.get(), TIFFTAG_SAMPLESPERPIXEL, photograph_bytes);
    TIFFSetField(file.get(), TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(file.get(), TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(file.get(), TIFFTAG_ROWSPERSTRIP, strip_rows);
    TIFFSetField(file.get(), TIFFTAG_COMPRESSION, COMPRESSION_LZW);
    TIFFSetField(file.get(), TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    std::vector<uint8_t> row(static_cast<size_t>(side) * photograph_bytes);
    for (int32_t y = 0; y < side; ++y) {
        photograph_row(y, side, row.data());
        if (TIFFWriteScanline(file.get(), row.data(), static_cast<uint32_t>(y)) != 1) fail("cannot write a row");
    }
}

double decode_tiff(const std::filesystem::path& path)
{
    const stopwatch time;
    const tiff file = open_tiff(path, "r");
    std::vector<uint8_t> strip(static_cast<size_t>(TIFFStripSize(file.get())));
    const uint32_t strips = TIFFNumberOfStrips(file.get());
    for (uint32_t i = 0; i < strips; ++i) {
        if (TIFFReadEncodedStrip(file.get(), i, strip.data(), -1) < 0) fail("cannot read a strip");
    }
    return time.seconds();
}

}  // namespace iocache_bench
