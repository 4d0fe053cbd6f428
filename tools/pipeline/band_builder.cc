// Rows become bands, bands become upright blocks.
#include "tools/pipeline/band_builder.h"

#include <algorithm>
#include <utility>

namespace iocache::tools {

bool band_builder::add(const image_block& block, canvas_block& band, const std::function<bool(canvas_block&)>& full)
{
    for (std::int32_t taken = 0; taken < block.place.height;) {
        if (filled_ == 0) {
            rectangle place = block.place;
            place.y += taken;
            place.height = source_.in_rows ? std::min(rows_, source_.height - place.y) : block.place.height;
            band.shape(place, colours_.kind());
        }
        const std::int32_t count = std::min(block.place.height - taken, band.place.height - filled_);
        convert_rows(block, taken, count, band);
        taken += count;
        filled_ += count;
        if (filled_ < band.place.height) continue;
        filled_ = 0;
        turn(band);
        if (!full(band)) return false;
    }
    return true;
}

void band_builder::convert_rows(const image_block& block, std::int32_t first, std::int32_t count, canvas_block& band)
{
    const auto width = static_cast<std::size_t>(block.place.width);
    const std::size_t pixels = width * static_cast<std::size_t>(count);
    const std::size_t done = width * static_cast<std::size_t>(filled_);
    const std::size_t skipped = width * static_cast<std::size_t>(first) * source_.layout.pixel_bytes();
    const std::size_t bytes = colour_bytes(colours_.kind());
    std::span<std::uint8_t> alpha(band.alpha);
    if (!alpha.empty()) alpha = alpha.subspan(done, pixels);
    colours_.convert(std::span(block.pixels).subspan(skipped), pixels,
                     std::span(band.colour).subspan(done * bytes, pixels * bytes), alpha);
}

void band_builder::turn(canvas_block& band)
{
    if (source_.orientation == upright) return;
    const picture_size part{band.place.width, band.place.height};
    spare_.shape(turned(band.place, {source_.width, source_.height}, source_.orientation), colours_.kind());
    turn_pixels(band.colour, spare_.colour, part, colour_bytes(colours_.kind()), source_.orientation);
    if (!band.alpha.empty()) turn_pixels(band.alpha, spare_.alpha, part, 1, source_.orientation);
    std::swap(band, spare_);
}

}  // namespace iocache::tools
