// Profiles and transforms, on top of lcms2.
#include "tools/colour/profile.h"

#include <array>
#include <cstdio>

#include "tools/colour/in_pieces.h"
#include "tools/failure.h"
#include "tools/file.h"

namespace iocache::tools {

namespace {

// Larger than any profile in use; what is larger is not one.
constexpr std::size_t largest_profile = std::size_t{64} << 20;

// What a thread converts at a time: long beside the start of a thread, short beside a block of an image.
constexpr std::size_t piece_pixels = 32768;

cmsColorSpaceSignature signature_of(colour_model model)
{
    switch (model) {
        case colour_model::grey:
            return cmsSigGrayData;
        case colour_model::rgb:
            return cmsSigRgbData;
        case colour_model::cmyk:
            return cmsSigCmykData;
    }
    return cmsSigGrayData;
}

const char* name_of(colour_model model)
{
    switch (model) {
        case colour_model::grey:
            return "grey";
        case colour_model::rgb:
            return "RGB";
        case colour_model::cmyk:
            return "CMYK";
    }
    return "";
}

std::vector<std::uint8_t> read_whole(const std::string& path)
{
    const file_stream file = open_input(path);
    std::vector<std::uint8_t> bytes;
    std::array<std::uint8_t, 65536> piece{};
    while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), file.get())) {
        bytes.insert(bytes.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(count));
        if (bytes.size() > largest_profile) throw failure(exit_code::unsupported, path + ": not a colour profile");
    }
    if (std::ferror(file.get()) != 0) throw system_failure(path, "cannot read");
    return bytes;
}

cmsHPROFILE open_bytes(const std::vector<std::uint8_t>& bytes)
{
    return bytes.empty() ? nullptr : cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size()));
}

std::size_t pixel_bytes(std::uint32_t format)
{
    return std::size_t{T_BYTES(format)} * (T_CHANNELS(format) + T_EXTRA(format));
}

cmsUInt32Number number_of(rendering_intent intent)
{
    switch (intent) {
        case rendering_intent::perceptual:
            return INTENT_PERCEPTUAL;
        case rendering_intent::relative:
            return INTENT_RELATIVE_COLORIMETRIC;
        case rendering_intent::saturation:
            return INTENT_SATURATION;
        case rendering_intent::absolute:
            return INTENT_ABSOLUTE_COLORIMETRIC;
    }
    return INTENT_PERCEPTUAL;
}

}  // namespace

colour_profile::colour_profile(cmsHPROFILE handle, std::vector<std::uint8_t> bytes)
    : handle_(handle),
      bytes_(std::move(bytes))
{
    if (handle == nullptr) throw std::bad_alloc();
}

colour_profile colour_profile::from_file(const std::string& path, colour_model model)
{
    auto profile = embedded(read_whole(path), model);
    if (!profile) { throw failure(exit_code::unsupported, path + ": not a colour profile for " + name_of(model)); }
    return std::move(*profile);
}

std::unique_ptr<colour_profile> colour_profile::embedded(std::vector<std::uint8_t> bytes, colour_model model)
{
    void* const handle = open_bytes(bytes);
    if (handle == nullptr) return nullptr;
    colour_profile profile(handle, std::move(bytes));
    if (cmsGetColorSpace(profile.handle()) != signature_of(model)) return nullptr;
    return std::make_unique<colour_profile>(std::move(profile));
}

colour_profile colour_profile::srgb()
{
    return {cmsCreate_sRGBProfile(), {}};
}

colour_profile colour_profile::grey()
{
    constexpr cmsFloat64Number gamma = 2.2;
    const std::unique_ptr<cmsToneCurve, decltype(&cmsFreeToneCurve)> curve(cmsBuildGamma(nullptr, gamma),
                                                                           &cmsFreeToneCurve);
    if (!curve) throw std::bad_alloc();
    return {cmsCreateGrayProfile(cmsD50_xyY(), curve.get()), {}};
}

colour_transform::colour_transform(cmsHTRANSFORM handle, std::uint32_t source_format, std::uint32_t target_format)
    : handle_(handle),
      source_bytes_(pixel_bytes(source_format)),
      target_bytes_(pixel_bytes(target_format))
{
    if (handle == nullptr) {
        throw failure(exit_code::unsupported, "the colours cannot be converted with these profiles");
    }
}

colour_transform::colour_transform(const colour_profile& source, std::uint32_t source_format,
                                   const colour_profile& target, std::uint32_t target_format, rendering_intent intent)
    : colour_transform(cmsCreateTransform(source.handle(), source_format, target.handle(), target_format,
                                          number_of(intent),
                                          intent == rendering_intent::relative ? cmsFLAGS_BLACKPOINTCOMPENSATION : 0),
                       source_format, target_format)
{}

colour_transform colour_transform::layout_only(std::uint32_t source_format, std::uint32_t target_format)
{
    return {
        cmsCreateTransform(nullptr, source_format, nullptr, target_format, INTENT_PERCEPTUAL, cmsFLAGS_NULLTRANSFORM),
        source_format, target_format};
}

void colour_transform::apply(std::span<const std::uint8_t> source, std::span<std::uint8_t> target,
                             std::size_t pixels) const
{
    in_pieces(pixels, piece_pixels, [&](std::size_t first, std::size_t count) {
        cmsDoTransform(handle_.get(), source.subspan(first * source_bytes_).data(),
                       target.subspan(first * target_bytes_).data(), static_cast<cmsUInt32Number>(count));
    });
}

}  // namespace iocache::tools
