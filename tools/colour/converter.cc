// Chooses the transform, and takes the alpha along, which no colour transform touches.
#include "tools/colour/converter.h"

#include <algorithm>
#include <cstring>

namespace iocache::tools {

namespace {

constexpr std::uint8_t opaque = 255;

std::uint32_t pixel_type(colour_model model)
{
    switch (model) {
        case colour_model::grey:
            return PT_GRAY;
        case colour_model::rgb:
            return PT_RGB;
        case colour_model::cmyk:
            return PT_CMYK;
    }
    return PT_ANY;
}

std::uint32_t format_of(const pixel_layout& layout)
{
    const auto bytes = static_cast<std::uint32_t>(layout.sample_bytes);
    // lcms2 divides by the first extra sample.
    const bool divide = layout.premultiplied && layout.alpha_sample == 0;
    return COLORSPACE_SH(pixel_type(layout.model)) |
           CHANNELS_SH(static_cast<std::uint32_t>(colour_samples(layout.model))) |
           EXTRA_SH(static_cast<std::uint32_t>(layout.extra_samples)) | BYTES_SH(bytes) |
           FLAVOR_SH(layout.inverted ? 1U : 0U) | PREMUL_SH(divide ? 1U : 0U);
}

bool same_profile(const colour_profile& one, const colour_profile& other)
{
    return std::ranges::equal(one.bytes(), other.bytes());
}

colour_transform choose(const image_description& source, canvas_kind kind, const colour_profile& canvas_profile,
                        rendering_intent intent)
{
    const std::uint32_t from = format_of(source.layout);
    const auto embedded = colour_profile::embedded(source.profile, source.layout.model);
    if (kind == canvas_kind::mask) {
        if (source.layout.model == colour_model::grey) return colour_transform::layout_only(from, TYPE_GRAY_8);
        const colour_profile grey = colour_profile::grey();
        if (embedded) return {*embedded, from, grey, TYPE_GRAY_8, intent};
        if (source.layout.model == colour_model::cmyk) return {canvas_profile, from, grey, TYPE_GRAY_8, intent};
        return {colour_profile::srgb(), from, grey, TYPE_GRAY_8, intent};
    }
    if (source.layout.model == colour_model::cmyk && (!embedded || same_profile(*embedded, canvas_profile))) {
        return colour_transform::layout_only(from, TYPE_CMYK_8);
    }
    if (embedded) return {*embedded, from, canvas_profile, TYPE_CMYK_8, intent};
    const colour_profile assumed =
        source.layout.model == colour_model::grey ? colour_profile::grey() : colour_profile::srgb();
    return {assumed, from, canvas_profile, TYPE_CMYK_8, intent};
}

}  // namespace

converter::converter(const image_description& source, canvas_kind kind, const colour_profile& target,
                     rendering_intent intent)
    : layout_(source.layout),
      kind_(kind),
      transform_(choose(source, kind, target, intent))
{}

void converter::convert(std::span<const std::uint8_t> source, std::size_t pixels, std::span<std::uint8_t> colour,
                        std::span<std::uint8_t> alpha) const
{
    transform_.apply(source, colour, pixels);
    if (!alpha.empty()) convert_alpha(source, alpha.first(pixels));
}

void converter::convert_alpha(std::span<const std::uint8_t> source, std::span<std::uint8_t> alpha) const
{
    if (layout_.alpha_sample == pixel_layout::no_alpha) {
        std::ranges::fill(alpha, opaque);
        return;
    }
    const std::int32_t sample = colour_samples(layout_.model) + layout_.alpha_sample;
    const std::uint8_t* at = source.data() + static_cast<std::ptrdiff_t>(sample) * layout_.sample_bytes;
    const std::size_t step = layout_.pixel_bytes();
    for (std::uint8_t& value : alpha) {
        if (layout_.sample_bytes == 1) {
            value = *at;
        } else {
            constexpr std::uint32_t full = 65535;
            std::uint16_t wide = 0;
            std::memcpy(&wide, at, sizeof wide);
            value = static_cast<std::uint8_t>((wide * 255U + full / 2) / full);
        }
        at += step;
    }
}

}  // namespace iocache::tools
