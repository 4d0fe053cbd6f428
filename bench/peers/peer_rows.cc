// Takes the pattern's long line apart and puts it together the peer's way.
#include "bench/peers/peer.h"

namespace iocache_bench {

peer_rows::peer_rows(const pattern& pixels, row_layout layout)
    : layout_(layout),
      pixel_bytes_(layout == row_layout::interleaved ? picture_pixel_bytes : 1),
      plane_bytes_(layout == row_layout::interleaved ? 1 : pixels.line_pixels()),
      bytes_(static_cast<size_t>(picture_pixel_bytes * pixels.line_pixels()))
{
    // Row 0 begins where the long line does.
    const uint8_t* const colour = pixels.colour_row(0);
    const uint8_t* const alpha = pixels.alpha_row(0);
    for (int64_t i = 0; i < pixels.line_pixels(); ++i) {
        for (int64_t band = 0; band < picture_pixel_bytes; ++band) {
            const bool is_alpha = band == pattern::colour_bytes;
            bytes_[static_cast<size_t>(i * pixel_bytes_ + band * plane_bytes_)] =
                is_alpha ? alpha[i] : colour[i * pattern::colour_bytes + band];
        }
    }
}

}  // namespace iocache_bench
