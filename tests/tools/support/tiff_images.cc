// TIFF files of many layouts.
#include <algorithm>
#include <memory>
#include <stdexcept>

#include "tests/tools/support/canvas_reader.h"
#include "tests/tools/support/images.h"

namespace tool_tests {

namespace {

struct tiff_closer {
    void operator()(TIFF* file) const { TIFFClose(file); }
};
using tiff = std::unique_ptr<TIFF, tiff_closer>;

tiff open(const std::string& path, const char* mode)
{
    tiff file(TIFFOpen(path.c_str(), mode));
    if (!file) throw std::runtime_error("cannot open " + path);
    return file;
}

int photometric_of(model colours)
{
    return colours == model::grey  ? PHOTOMETRIC_MINISBLACK
           : colours == model::rgb ? PHOTOMETRIC_RGB
                                   : PHOTOMETRIC_SEPARATED;
}

// Row `y` of the pixels as they go into the file: of all samples, or of one.
std::vector<std::uint8_t> row_of(const image& source, const std::vector<std::uint8_t>& bytes, int y, int plane)
{
    const auto sample_bytes = static_cast<std::size_t>(source.bits / 8);
    const auto samples = static_cast<std::size_t>(source.pixel_samples());
    const std::size_t row_bytes = static_cast<std::size_t>(source.width) * samples * sample_bytes;
    const auto* const row = bytes.data() + static_cast<std::size_t>(y) * row_bytes;
    if (plane < 0) return {row, row + row_bytes};
    std::vector<std::uint8_t> part;
    for (std::size_t x = 0; x < static_cast<std::size_t>(source.width); ++x) {
        const auto* const sample = row + (x * samples + static_cast<std::size_t>(plane)) * sample_bytes;
        part.insert(part.end(), sample, sample + sample_bytes);
    }
    return part;
}

void check(bool written)
{
    if (!written) throw std::runtime_error("libtiff cannot write");
}

void write_plane(TIFF* file, const image& source, const std::vector<std::uint8_t>& bytes, const tiff_options& options,
                 int plane)
{
    const auto sample = static_cast<std::uint16_t>(std::max(0, plane));
    if (!options.tiled) {
        for (int y = 0; y < source.height; ++y) {
            std::vector<std::uint8_t> row = row_of(source, bytes, y, plane);
            check(TIFFWriteScanline(file, row.data(), static_cast<std::uint32_t>(y), sample) > 0);
        }
        return;
    }
    const auto pixel_bytes = static_cast<std::size_t>((plane < 0 ? source.pixel_samples() : 1) * source.bits / 8);
    std::vector<std::uint8_t> tile(static_cast<std::size_t>(TIFFTileSize(file)));
    for (int top = 0; top < source.height; top += options.tile_height) {
        for (int left = 0; left < source.width; left += options.tile_width) {
            std::ranges::fill(tile, std::uint8_t{0x5A});  // what lies beyond the edge must not show
            const int run = std::min(options.tile_width, source.width - left);
            for (int y = top; y < std::min(top + options.tile_height, source.height); ++y) {
                const std::vector<std::uint8_t> row = row_of(source, bytes, y, plane);
                std::copy_n(row.data() + static_cast<std::size_t>(left) * pixel_bytes,
                            static_cast<std::size_t>(run) * pixel_bytes,
                            tile.data() + static_cast<std::size_t>((y - top) * options.tile_width) * pixel_bytes);
            }
            check(TIFFWriteTile(file, tile.data(), static_cast<std::uint32_t>(left), static_cast<std::uint32_t>(top), 0,
                                sample) > 0);
        }
    }
}

void set_size(TIFF* file, const image& source, int bits, int samples)
{
    TIFFSetField(file, TIFFTAG_IMAGEWIDTH, source.width);
    TIFFSetField(file, TIFFTAG_IMAGELENGTH, source.height);
    TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, bits);
    TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, samples);
}

}  // namespace

void write_tiff(const std::string& path, const image& source, const tiff_options& options)
{
    const tiff owned = open(path, options.mode);
    TIFF* const file = owned.get();
    set_size(file, source, source.bits, source.pixel_samples());
    TIFFSetField(file, TIFFTAG_PHOTOMETRIC,
                 options.photometric >= 0 ? options.photometric : photometric_of(source.colours));
    TIFFSetField(file, TIFFTAG_PLANARCONFIG, options.separate ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    TIFFSetField(file, TIFFTAG_COMPRESSION, options.compression);
    TIFFSetField(file, TIFFTAG_ORIENTATION, options.orientation);
    if (options.inverted_dots) TIFFSetField(file, TIFFTAG_DOTRANGE, 255, 0);
    if (source.alpha && options.declare_alpha) {
        const auto kind = static_cast<std::uint16_t>(options.alpha_kind);
        TIFFSetField(file, TIFFTAG_EXTRASAMPLES, 1, &kind);
    }
    if (!options.profile.empty()) {
        const std::vector<std::uint8_t> profile = read_bytes(options.profile);
        TIFFSetField(file, TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(profile.size()), profile.data());
    }
    if (options.tiled) {
        TIFFSetField(file, TIFFTAG_TILEWIDTH, options.tile_width);
        TIFFSetField(file, TIFFTAG_TILELENGTH, options.tile_height);
    } else {
        TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, options.rows_per_strip);
    }
    const std::vector<std::uint8_t> bytes = source.bytes();
    if (!options.separate) {
        write_plane(file, source, bytes, options, -1);
    } else {
        for (int plane = 0; plane < source.pixel_samples(); ++plane) write_plane(file, source, bytes, options, plane);
    }
}

void write_packed_tiff(const std::string& path, const image& source, int bits,
                       const std::vector<std::uint16_t>& palette, bool tiled, int photometric)
{
    const tiff owned = open(path, "w");
    TIFF* const file = owned.get();
    set_size(file, source, bits, 1);
    TIFFSetField(file, TIFFTAG_PHOTOMETRIC, photometric);
    if (!palette.empty()) {
        const std::size_t entries = palette.size() / 3;
        TIFFSetField(file, TIFFTAG_COLORMAP, palette.data(), &palette[entries], &palette[2 * entries]);
    }
    const int width = tiled ? 64 : source.width;
    const int height = tiled ? 32 : 1;
    if (tiled) {
        TIFFSetField(file, TIFFTAG_TILEWIDTH, width);
        TIFFSetField(file, TIFFTAG_TILELENGTH, height);
    } else {
        TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, 5);
    }
    const auto row_bytes = static_cast<std::size_t>((width * bits + 7) / 8);
    for (int top = 0; top < source.height; top += height) {
        for (int left = 0; left < source.width; left += width) {
            std::vector<std::uint8_t> packed(row_bytes * static_cast<std::size_t>(height));
            for (int y = top; y < std::min(top + height, source.height); ++y) {
                for (int x = left; x < std::min(left + width, source.width); ++x) {
                    const auto value =
                        source.samples[static_cast<std::size_t>(y) * static_cast<std::size_t>(source.width) +
                                       static_cast<std::size_t>(x)];
                    const int bit = (x - left) * bits;
                    packed[static_cast<std::size_t>(y - top) * row_bytes + static_cast<std::size_t>(bit / 8)] |=
                        static_cast<std::uint8_t>(value << (8 - bits - bit % 8));
                }
            }
            const auto x = static_cast<std::uint32_t>(left);
            const auto y = static_cast<std::uint32_t>(top);
            check((tiled ? TIFFWriteTile(file, packed.data(), x, y, 0, 0)
                         : TIFFWriteScanline(file, packed.data(), y, 0)) > 0);
        }
    }
}

tiff_content read_tiff(const std::string& path)
{
    const tiff owned = open(path, "r");
    TIFF* const file = owned.get();
    tiff_content content;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t samples = 0;
    std::uint16_t photometric = 0;
    std::uint16_t inkset = 0;
    TIFFGetField(file, TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(file, TIFFTAG_IMAGELENGTH, &height);
    TIFFGetField(file, TIFFTAG_SAMPLESPERPIXEL, &samples);
    TIFFGetField(file, TIFFTAG_PHOTOMETRIC, &photometric);
    TIFFGetField(file, TIFFTAG_INKSET, &inkset);
    content.photometric = photometric;
    content.inkset = inkset;
    content.tiled = TIFFIsTiled(file) != 0;
    std::uint16_t extras = 0;
    std::uint16_t* kinds = nullptr;
    if (TIFFGetField(file, TIFFTAG_EXTRASAMPLES, &extras, &kinds) != 0 && extras == 1) content.alpha_kind = kinds[0];
    std::uint32_t profile_bytes = 0;
    void* profile = nullptr;
    if (TIFFGetField(file, TIFFTAG_ICCPROFILE, &profile_bytes, &profile) != 0) {
        const auto* const bytes = static_cast<const std::uint8_t*>(profile);
        content.profile.assign(bytes, bytes + profile_bytes);
    }
    const model colours = samples < 3 ? model::grey : model::cmyk;
    content.pixels = {static_cast<int>(width), static_cast<int>(height), colours, samples == 2 || samples == 5, 8, {}};
    content.pixels.samples.resize(std::size_t{width} * height * samples);

    std::vector<std::uint8_t> tile(static_cast<std::size_t>(TIFFTileSize(file)));
    std::uint32_t tile_width = 0;
    std::uint32_t tile_height = 0;
    TIFFGetField(file, TIFFTAG_TILEWIDTH, &tile_width);
    TIFFGetField(file, TIFFTAG_TILELENGTH, &tile_height);
    if (tile_width == 0 || tile_height == 0) throw std::runtime_error("not tiled: " + path);
    for (std::uint32_t top = 0; top < height; top += tile_height) {
        for (std::uint32_t left = 0; left < width; left += tile_width) {
            check(TIFFReadTile(file, tile.data(), left, top, 0, 0) > 0);
            for (std::uint32_t y = top; y < std::min(top + tile_height, height); ++y) {
                for (std::uint32_t x = left; x < std::min(left + tile_width, width); ++x) {
                    const std::size_t from = (std::size_t{y - top} * tile_width + (x - left)) * samples;
                    const std::size_t to = (std::size_t{y} * width + x) * samples;
                    for (std::size_t s = 0; s < samples; ++s) content.pixels.samples[to + s] = tile[from + s];
                }
            }
        }
    }
    return content;
}

}  // namespace tool_tests
