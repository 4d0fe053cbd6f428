// The content of test images and what becomes of it.
#include "tests/tools/support/images.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <stdexcept>

#include <lcms2.h>

namespace tool_tests {

namespace {

struct profile_closer {
    void operator()(void* profile) const { cmsCloseProfile(profile); }
};
using profile = std::unique_ptr<void, profile_closer>;

profile open_profile(const std::string& path)
{
    profile opened(cmsOpenProfileFromFile(path.c_str(), "r"));
    if (!opened) throw std::runtime_error("cannot open the profile " + path);
    return opened;
}

profile grey_profile()
{
    cmsToneCurve* const curve = cmsBuildGamma(nullptr, 2.2);
    profile made(cmsCreateGrayProfile(cmsD50_xyY(), curve));
    cmsFreeToneCurve(curve);
    return made;
}

std::uint32_t format_of(const image& source)
{
    const std::uint32_t space = source.colours == model::grey  ? PT_GRAY
                                : source.colours == model::rgb ? PT_RGB
                                                               : PT_CMYK;
    return COLORSPACE_SH(space) | CHANNELS_SH(static_cast<std::uint32_t>(source.colour_samples())) |
           BYTES_SH(source.bits == 16 ? 2U : 1U);
}

image without_alpha(const image& source)
{
    if (!source.alpha) return source;
    image plain = source;
    plain.alpha = false;
    plain.samples.clear();
    const auto samples = static_cast<std::size_t>(source.pixel_samples());
    for (std::size_t i = 0; i < source.samples.size(); ++i) {
        if (i % samples != samples - 1) plain.samples.push_back(source.samples[i]);
    }
    return plain;
}

std::vector<std::uint8_t> transform(const image& plain, cmsHPROFILE from, cmsHPROFILE to, std::uint32_t format,
                                    unsigned intent)
{
    const std::uint32_t flags = intent == INTENT_RELATIVE_COLORIMETRIC ? cmsFLAGS_BLACKPOINTCOMPENSATION : 0;
    void* const made = cmsCreateTransform(from, format_of(plain), to, format, intent, flags);
    if (made == nullptr) throw std::runtime_error("no transform");
    std::vector<std::uint8_t> converted(plain.pixels() * T_CHANNELS(format));
    cmsDoTransform(made, plain.bytes().data(), converted.data(), static_cast<std::uint32_t>(plain.pixels()));
    cmsDeleteTransform(made);
    return converted;
}

profile assumed(const image& source)
{
    return source.colours == model::grey ? grey_profile() : profile(cmsCreate_sRGBProfile());
}

std::uint8_t to_byte(std::uint16_t sample, int bits)
{
    return bits == 8 ? static_cast<std::uint8_t>(sample) : static_cast<std::uint8_t>(std::lround(sample / 257.0));
}

}  // namespace

std::string profile_path(const std::string& name)
{
    return "/usr/share/color/icc/ghostscript/" + name;
}

std::string cmyk_profile()
{
    return profile_path("default_cmyk.icc");
}

std::vector<std::uint8_t> image::bytes() const
{
    std::vector<std::uint8_t> all;
    if (bits == 8) {
        all.assign(samples.begin(), samples.end());
    } else {
        all.resize(samples.size() * 2);
        std::memcpy(all.data(), samples.data(), all.size());
    }
    return all;
}

image make_image(int width, int height, model colours, bool alpha, int bits)
{
    image made{width, height, colours, alpha, bits, {}};
    const int most = bits == 8 ? 255 : 65535;
    std::uint32_t noise = 12345;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int s = 0; s < made.pixel_samples(); ++s) {
                noise = noise * 1664525U + 1013904223U;
                const int slope = (s % 2 == 0 ? x * most / width : y * most / height);
                const int edge = (x / 37 + y / 23 + s) % 3 == 0 ? most / 2 : 0;
                const auto grain = static_cast<int>((noise >> 16) % static_cast<std::uint32_t>(most / 16));
                made.samples.push_back(static_cast<std::uint16_t>((slope + edge + grain) % (most + 1)));
            }
        }
    }
    return made;
}

image turned(const image& source, int orientation)
{
    image result = source;
    const int w = source.width;
    const int h = source.height;
    if (orientation >= 5) std::swap(result.width, result.height);
    const auto samples = static_cast<std::size_t>(source.pixel_samples());
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            // Which corner row 0 and column 0 of the stored picture are, by orientation.
            int to_x = x;
            int to_y = y;
            switch (orientation) {
                case 2:
                    to_x = w - 1 - x;
                    break;
                case 3:
                    to_x = w - 1 - x, to_y = h - 1 - y;
                    break;
                case 4:
                    to_y = h - 1 - y;
                    break;
                case 5:
                    to_x = y, to_y = x;
                    break;
                case 6:
                    to_x = h - 1 - y, to_y = x;
                    break;
                case 7:
                    to_x = h - 1 - y, to_y = w - 1 - x;
                    break;
                case 8:
                    to_x = y, to_y = w - 1 - x;
                    break;
                default:
                    break;
            }
            const auto from = static_cast<std::size_t>(y * w + x) * samples;
            const auto to = static_cast<std::size_t>(to_y * result.width + to_x) * samples;
            for (std::size_t s = 0; s < samples; ++s) result.samples[to + s] = source.samples[from + s];
        }
    }
    return result;
}

cmyk_pixels expected(const image& source, const std::string& source_profile, const std::string& target_profile,
                     unsigned intent)
{
    cmyk_pixels result;
    const auto samples = static_cast<std::size_t>(source.pixel_samples());
    for (std::size_t i = 0; i < source.pixels(); ++i) {
        result.alpha.push_back(source.alpha ? to_byte(source.samples[(i + 1) * samples - 1], source.bits) : 255);
    }
    const image plain = without_alpha(source);
    if (source.colours == model::cmyk && source_profile.empty()) {
        for (const std::uint16_t sample : plain.samples) result.colour.push_back(to_byte(sample, plain.bits));
        return result;
    }
    const profile from = source_profile.empty() ? assumed(source) : open_profile(source_profile);
    result.colour = transform(plain, from.get(), open_profile(target_profile).get(), TYPE_CMYK_8, intent);
    return result;
}

std::vector<std::uint8_t> expected_mask(const image& source)
{
    const image plain = without_alpha(source);
    if (source.colours == model::grey) {
        std::vector<std::uint8_t> grey;
        for (const std::uint16_t sample : plain.samples) grey.push_back(to_byte(sample, plain.bits));
        return grey;
    }
    const profile from = source.colours == model::rgb ? profile(cmsCreate_sRGBProfile()) : open_profile(cmyk_profile());
    return transform(plain, from.get(), grey_profile().get(), TYPE_GRAY_8, INTENT_PERCEPTUAL);
}

std::vector<std::uint8_t> expected_proof(const std::vector<std::uint8_t>& colour)
{
    image source{static_cast<int>(colour.size() / 4), 1, model::cmyk, false, 8, {colour.begin(), colour.end()}};
    const profile to(cmsCreate_sRGBProfile());
    return transform(source, open_profile(cmyk_profile()).get(), to.get(), TYPE_RGB_8, INTENT_PERCEPTUAL);
}

}  // namespace tool_tests
