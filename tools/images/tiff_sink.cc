// Tiled TIFF files, written tile by tile.
#include "tools/images/image_sink.h"

namespace iocache::tools {

namespace {

// Where a classic TIFF ends, less room for its tables and for compression that makes data longer.
constexpr std::uint64_t classic_bytes = (std::uint64_t{1} << 32) - (std::uint64_t{128} << 20);

std::uint16_t number_of(tiff_compression compression)
{
    switch (compression) {
        case tiff_compression::none:
            return COMPRESSION_NONE;
        case tiff_compression::lzw:
            return COMPRESSION_LZW;
        case tiff_compression::deflate:
            return COMPRESSION_ADOBE_DEFLATE;
    }
    return COMPRESSION_NONE;
}

std::uint16_t photometric_of(colour_model model)
{
    switch (model) {
        case colour_model::grey:
            return PHOTOMETRIC_MINISBLACK;
        case colour_model::rgb:
            return PHOTOMETRIC_RGB;
        case colour_model::cmyk:
            return PHOTOMETRIC_SEPARATED;
    }
    return PHOTOMETRIC_MINISBLACK;
}

void set_tags(TIFF* file, const sink_description& image, tiff_compression compression)
{
    constexpr int sample_bits = 8;
    TIFFSetField(file, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(image.width));
    TIFFSetField(file, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(image.height));
    TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, sample_bits);
    TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, static_cast<int>(image.pixel_bytes()));
    TIFFSetField(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(file, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(file, TIFFTAG_TILEWIDTH, tiff_sink::tile_side);
    TIFFSetField(file, TIFFTAG_TILELENGTH, tiff_sink::tile_side);
    TIFFSetField(file, TIFFTAG_PHOTOMETRIC, photometric_of(image.model));
    if (image.model == colour_model::cmyk) TIFFSetField(file, TIFFTAG_INKSET, INKSET_CMYK);
    if (image.alpha) {
        const std::uint16_t kind = EXTRASAMPLE_UNASSALPHA;
        TIFFSetField(file, TIFFTAG_EXTRASAMPLES, 1, &kind);
    }
    TIFFSetField(file, TIFFTAG_COMPRESSION, number_of(compression));
    if (compression != tiff_compression::none) TIFFSetField(file, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    if (!image.profile.empty()) {
        TIFFSetField(file, TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(image.profile.size()), image.profile.data());
    }
    TIFFSetField(file, TIFFTAG_SOFTWARE, "iocache " IOCACHE_TOOL_VERSION);
}

}  // namespace

std::uint64_t tiff_bytes(const sink_description& image)
{
    constexpr std::uint64_t side = tiff_sink::tile_side;
    const std::uint64_t across = (static_cast<std::uint64_t>(image.width) + side - 1) / side;
    const std::uint64_t down = (static_cast<std::uint64_t>(image.height) + side - 1) / side;
    return across * down * side * side * image.pixel_bytes() + image.profile.size();
}

tiff_sink::tiff_sink(const std::string& path, const sink_description& image, tiff_compression compression)
    : file_(tiff_file::create(path, tiff_bytes(image) > classic_bytes))
{
    set_tags(file_.handle(), image, compression);
}

void tiff_sink::write_tile(std::int32_t x, std::int32_t y, std::span<std::uint8_t> pixels)
{
    if (TIFFWriteTile(file_.handle(), pixels.data(), static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y), 0,
                      0) < 0) {
        throw file_.last_failure();
    }
}

void tiff_sink::finish()
{
    file_.finish();
}

}  // namespace iocache::tools
