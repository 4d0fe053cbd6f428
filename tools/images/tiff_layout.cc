// Which of the many sorts of TIFF a file is.
#include "tools/images/tiff_layout.h"

#include <algorithm>

#include <fmt/format.h>

namespace iocache::tools {

namespace {

[[noreturn]] void refuse(const std::string& path, const std::string& what)
{
    throw failure(exit_code::unsupported, path + ": a TIFF file " + what + " is not supported");
}

void check_compression(const tiff_file& file, const std::string& path)
{
    const auto compression = file.field<std::uint16_t>(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    if (TIFFIsCODECConfigured(compression) == 0) refuse(path, fmt::format("of compression {}", compression));
}

void read_palette(const tiff_file& file, const std::string& path, tiff_layout& layout)
{
    std::uint16_t* channels[3] = {};
    if (TIFFGetField(file.handle(), TIFFTAG_COLORMAP, &channels[0], &channels[1], &channels[2]) == 0) {
        refuse(path, "without its palette");
    }
    constexpr std::uint32_t full = 65535;
    for (std::size_t i = 0; i < std::size_t{1} << layout.bits; ++i) {
        tiff_layout::colour entry{};
        for (std::size_t c = 0; c < entry.size(); ++c) {
            entry[c] = static_cast<std::uint8_t>((channels[c][i] * 255U + full / 2) / full);
        }
        layout.palette.push_back(entry);
    }
}

// CMYK with 0 for full ink, as the rarely used dot range can say.
bool ink_is_inverted(const tiff_file& file)
{
    std::uint16_t no_ink = 0;
    std::uint16_t full_ink = 0;
    return TIFFGetFieldDefaulted(file.handle(), TIFFTAG_DOTRANGE, &no_ink, &full_ink) != 0 && no_ink > full_ink;
}

void choose_model(const tiff_file& file, const std::string& path, tiff_layout& layout, image_description& description)
{
    const auto photometric = file.field<std::uint16_t>(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    const auto compression = file.field<std::uint16_t>(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    pixel_layout& pixels = description.layout;
    switch (photometric) {
        case PHOTOMETRIC_MINISWHITE:
            pixels.inverted = true;
            [[fallthrough]];
        case PHOTOMETRIC_MINISBLACK:
            pixels.model = colour_model::grey;
            return;
        case PHOTOMETRIC_RGB:
            pixels.model = colour_model::rgb;
            return;
        case PHOTOMETRIC_PALETTE:
            pixels.model = colour_model::rgb;
            layout.packed = tiff_layout::packing::palette;
            return;
        case PHOTOMETRIC_SEPARATED:
            if (file.field<std::uint16_t>(TIFFTAG_INKSET, INKSET_CMYK) != INKSET_CMYK)
                refuse(path, "of inks other than CMYK");
            pixels.model = colour_model::cmyk;
            pixels.inverted = ink_is_inverted(file);
            return;
        case PHOTOMETRIC_YCBCR:
            if (compression != COMPRESSION_JPEG || layout.separate) refuse(path, "of YCbCr that is not JPEG");
            TIFFSetField(file.handle(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
            pixels.model = colour_model::rgb;
            return;
        default:
            refuse(path, fmt::format("of photometric interpretation {}", photometric));
    }
}

void find_alpha(const tiff_file& file, pixel_layout& pixels)
{
    if (pixels.extra_samples == 0) return;
    std::uint16_t count = 0;
    std::uint16_t* kinds = nullptr;
    TIFFGetFieldDefaulted(file.handle(), TIFFTAG_EXTRASAMPLES, &count, &kinds);
    for (std::int32_t i = 0; i < std::min<std::int32_t>(count, pixels.extra_samples); ++i) {
        if (kinds[i] != EXTRASAMPLE_UNASSALPHA && kinds[i] != EXTRASAMPLE_ASSOCALPHA) continue;
        pixels.alpha_sample = i;
        pixels.premultiplied = kinds[i] == EXTRASAMPLE_ASSOCALPHA;
        return;
    }
    // One sample too many and not a word about it: an alpha by long custom, and nothing is lost if it is none.
    if (pixels.extra_samples == 1) pixels.alpha_sample = 0;
}

void check_samples(const std::string& path, tiff_layout& layout, image_description& description)
{
    const bool palette = layout.packed == tiff_layout::packing::palette;
    const bool few_bits = layout.bits == 1 || layout.bits == 2 || layout.bits == 4;
    const bool whole = layout.bits == 8 || layout.bits == 16;
    if ((!few_bits && !whole) || (palette && layout.bits > 8)) {
        refuse(path, fmt::format("of {} bits a sample", layout.bits));
    }
    if (palette || few_bits) {
        if (layout.file_samples != 1) refuse(path, fmt::format("of {} packed samples", layout.file_samples));
        if (!palette) layout.packed = tiff_layout::packing::bits;
        return;
    }
    pixel_layout& pixels = description.layout;
    pixels.extra_samples = layout.file_samples - colour_samples(pixels.model);
    if (pixels.extra_samples < 0) refuse(path, "with too few samples");
    pixels.sample_bytes = layout.bits / 8;
}

}  // namespace

std::size_t tiff_layout::row_bytes(std::int32_t pixels) const
{
    const std::size_t samples = separate ? 1 : static_cast<std::size_t>(file_samples);
    return (static_cast<std::size_t>(pixels) * samples * static_cast<std::size_t>(bits) + 7) / 8;
}

void tiff_layout::unpack(std::span<const std::uint8_t> row, std::int32_t pixels, std::uint8_t* target) const
{
    const auto width = static_cast<std::uint32_t>(bits);
    const std::uint32_t most = (1U << width) - 1;
    for (std::uint32_t i = 0; i < static_cast<std::uint32_t>(pixels); ++i) {
        const std::uint32_t bit = i * width;
        const std::uint32_t value = (row[bit / 8] >> (8 - width - bit % 8)) & most;
        if (packed == packing::palette) {
            target = std::copy(palette[value].begin(), palette[value].end(), target);
        } else {
            *target++ = static_cast<std::uint8_t>(value * 255 / most);
        }
    }
}

tiff_layout read_tiff_layout(const tiff_file& file, const std::string& path, image_description& description)
{
    set_size(description, path, file.field<std::uint32_t>(TIFFTAG_IMAGEWIDTH, 0),
             file.field<std::uint32_t>(TIFFTAG_IMAGELENGTH, 0));
    check_compression(file, path);

    tiff_layout layout;
    layout.bits = file.field<std::uint16_t>(TIFFTAG_BITSPERSAMPLE, 1);
    layout.file_samples = file.field<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL, 1);
    layout.separate = layout.file_samples > 1 &&
                      file.field<std::uint16_t>(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) == PLANARCONFIG_SEPARATE;
    layout.tiled = TIFFIsTiled(file.handle()) != 0;
    if (file.field<std::uint16_t>(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT) != SAMPLEFORMAT_UINT) {
        refuse(path, "of samples that are not whole numbers");
    }
    choose_model(file, path, layout, description);
    check_samples(path, layout, description);
    find_alpha(file, description.layout);
    if (layout.packed == tiff_layout::packing::palette) read_palette(file, path, layout);
    if (layout.tiled) {
        layout.tile_width = file.field<std::uint32_t>(TIFFTAG_TILEWIDTH, 0);
        layout.tile_height = file.field<std::uint32_t>(TIFFTAG_TILELENGTH, 0);
    }
    const auto orientation = file.field<std::uint16_t>(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    description.orientation = orientation >= 1 && orientation <= 8 ? orientation : 1;

    std::uint32_t profile_bytes = 0;
    void* profile = nullptr;
    if (TIFFGetField(file.handle(), TIFFTAG_ICCPROFILE, &profile_bytes, &profile) != 0) {
        const auto* const bytes = static_cast<const std::uint8_t*>(profile);
        description.profile.assign(bytes, bytes + profile_bytes);
    }
    return layout;
}

}  // namespace iocache::tools
