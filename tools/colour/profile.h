// ICC profiles: what the numbers of an image or a canvas mean as colours.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <lcms2.h>

#include "tools/images/pixel_layout.h"

namespace iocache::tools {

// The CMYK profile of Debian's libgs-common: the colours of a canvas unless the user says otherwise.
inline constexpr const char* default_cmyk_profile = "/usr/share/color/icc/ghostscript/default_cmyk.icc";

class colour_profile {
public:
    // Reads a profile file. Throws `failure` when it cannot be read, is none, or is not for `model`.
    [[nodiscard]] static colour_profile from_file(const std::string& path, colour_model model);
    // A profile found in an image. Null when it is none, or not for `model`: then it says nothing about the image.
    [[nodiscard]] static std::unique_ptr<colour_profile> embedded(std::vector<std::uint8_t> bytes, colour_model model);
    [[nodiscard]] static colour_profile srgb();
    // Grey of gamma 2.2 on D50 white.
    [[nodiscard]] static colour_profile grey();

    [[nodiscard]] cmsHPROFILE handle() const { return handle_.get(); }
    // The profile as a file holds it; empty for a built-in one.
    [[nodiscard]] std::span<const std::uint8_t> bytes() const { return bytes_; }

private:
    struct closer {
        void operator()(void* profile) const { cmsCloseProfile(profile); }
    };
    std::unique_ptr<void, closer> handle_;
    std::vector<std::uint8_t> bytes_;

    colour_profile(cmsHPROFILE handle, std::vector<std::uint8_t> bytes);
};

// How colours that the target cannot show are brought into it.
enum class rendering_intent { perceptual, relative, saturation, absolute };

class colour_transform {
public:
    // From pixels described by `source_format` to pixels described by `target_format` (lcms2's TYPE_ words).
    colour_transform(const colour_profile& source, std::uint32_t source_format, const colour_profile& target,
                     std::uint32_t target_format, rendering_intent intent);
    // Changes the layout of pixels and leaves their colours alone.
    [[nodiscard]] static colour_transform layout_only(std::uint32_t source_format, std::uint32_t target_format);

    // Converts so many pixels, with the help of all processors. `target` is elsewhere than `source`.
    void apply(std::span<const std::uint8_t> source, std::span<std::uint8_t> target, std::size_t pixels) const;

private:
    struct deleter {
        void operator()(void* transform) const { cmsDeleteTransform(transform); }
    };
    std::unique_ptr<void, deleter> handle_;
    std::size_t source_bytes_;  // a pixel
    std::size_t target_bytes_;

    colour_transform(cmsHTRANSFORM handle, std::uint32_t source_format, std::uint32_t target_format);
};

}  // namespace iocache::tools
