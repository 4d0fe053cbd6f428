// How the pixels of a decoded image lie in memory: samples side by side, colour first, then what the
// file calls extra samples, every sample one or two bytes in the machine's own order.
#pragma once

#include <cstddef>
#include <cstdint>

namespace iocache::tools {

enum class colour_model { grey, rgb, cmyk };

[[nodiscard]] constexpr std::int32_t colour_samples(colour_model model)
{
    switch (model) {
        case colour_model::grey:
            return 1;
        case colour_model::rgb:
            return 3;
        case colour_model::cmyk:
            return 4;
    }
    return 0;
}

struct pixel_layout {
    static constexpr std::int32_t no_alpha = -1;

    colour_model model = colour_model::grey;
    std::int32_t sample_bytes = 1;         // 1 or 2
    std::int32_t extra_samples = 0;        // after the colour samples
    std::int32_t alpha_sample = no_alpha;  // which of the extra samples is the alpha, from 0
    bool premultiplied = false;            // the colours have been multiplied by the alpha
    bool inverted = false;                 // 0 stands for full ink (CMYK) or for white (grey)

    [[nodiscard]] constexpr std::int32_t samples() const { return colour_samples(model) + extra_samples; }
    [[nodiscard]] constexpr std::size_t pixel_bytes() const
    {
        return static_cast<std::size_t>(samples()) * static_cast<std::size_t>(sample_bytes);
    }
};

}  // namespace iocache::tools
