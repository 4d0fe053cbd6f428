// Where reduced images are built, and whether they fit there.

#include "iocache/canvas/canvas.h"
#include "iocache/reduced/reduced.h"

namespace {

constexpr int64_t picture_pixel_bytes = 5;  // four of colour, one of alpha behind them

}  // namespace

iocache::reduced::reduced_planes iocache::reduced::planes_in(const cv_canvas& record, void* buffer)
{
    auto* const start = static_cast<uint8_t*>(buffer);
    if (record.kind != canvas::picture_kind) return {start, nullptr};
    return {start, start + reduced_pixels(record.geom) * (picture_pixel_bytes - 1)};
}

// A frame configured larger than the standard one may ask for more than the static buffers hold.
iocache::reduced::reduced_planes iocache::reduced::own_buffers(const cv_canvas& record)
{
    const int64_t pixels = reduced_pixels(record.geom);
    if (record.kind != canvas::picture_kind) {
        const bool fits = pixels <= static_cast<int64_t>(sizeof cv_visu_mask);
        return fits ? planes_in(record, cv_visu_mask) : reduced_planes{};
    }
    if (pixels * picture_pixel_bytes > static_cast<int64_t>(sizeof cv_visu_pic)) return {};
    reduced_planes planes = planes_in(record, cv_visu_pic);
    if (cv_visu_alfa != nullptr) planes.alpha = cv_visu_alfa;
    return planes;
}
