// From the pixels of an image file to those of a canvas: CMYK (0 no ink, 255 full ink) and alpha (255
// opaque) for a picture, one grey byte for a mask.
//
// Colours come from the profile embedded in the image, else they are sRGB, or grey of gamma 2.2. An
// image that is CMYK already, without a profile or with the target's own, is taken as it stands, and so
// is a grey image for a mask, whose bytes are no colours.
#pragma once

#include <cstdint>
#include <span>

#include "tools/canvas/canvas_kind.h"
#include "tools/colour/profile.h"
#include "tools/images/image_source.h"

namespace iocache::tools {

class converter {
public:
    // `target` is the profile of the canvas; a mask does not use it for its own bytes.
    converter(const image_description& source, canvas_kind kind, const colour_profile& target, rendering_intent intent);

    // Converts `pixels` pixels. `alpha` has as many bytes for a picture and none for a mask.
    void convert(std::span<const std::uint8_t> source, std::size_t pixels, std::span<std::uint8_t> colour,
                 std::span<std::uint8_t> alpha) const;

    [[nodiscard]] canvas_kind kind() const { return kind_; }

private:
    pixel_layout layout_;
    canvas_kind kind_;
    colour_transform transform_;

    void convert_alpha(std::span<const std::uint8_t> source, std::span<std::uint8_t> alpha) const;
};

}  // namespace iocache::tools
