// A host's line or column into a reduced image: only its sampled pixels, one after the other. No lock, no tile.
// The target holds the reduced image without its margins.

#include <cstring>
#include <optional>

#include "iocache/access/access.h"
#include "iocache/canvas/canvas.h"
#include "iocache/reduced/reduced.h"

namespace {

using namespace iocache;
using reduced::reduced_planes;

constexpr size_t picture_pixel_bytes = 4;

// A place in the reduced image, in pixels.
struct reduced_place {
    uint32_t column;
    uint32_t row;
};

// Where the first sampled pixel from (x, y) on goes. Nothing when that lies outside the image, as it does with tables
// of another canvas.
std::optional<reduced_place> place_of(const cv_geometry& view, int32_t x, int32_t y)
{
    if (view.step < 1) return std::nullopt;
    const auto step = static_cast<uint32_t>(view.step);
    const reduced_place place{(reduced::column_entry(x).frame_place() - static_cast<uint32_t>(view.frame_x)) / step,
                              (reduced::row_entry(y).frame_place() - static_cast<uint32_t>(view.frame_y)) / step};
    const bool inside =
        place.column < static_cast<uint32_t>(view.lres_width) && place.row < static_cast<uint32_t>(view.lres_height);
    return inside ? std::optional(place) : std::nullopt;
}

// Copies pixels of a run into a reduced image, advancing by `stride` pixels after each.
class pixel_writer {
public:
    pixel_writer(const cv_canvas& record, const reduced_planes& target, const void* colour, const void* alpha,
                 int64_t first, int64_t stride)
        : target_(target),
          colour_(static_cast<const uint8_t*>(colour)),
          alpha_(static_cast<const uint8_t*>(alpha)),
          is_picture_(record.kind == canvas::picture_kind),
          place_(first),
          stride_(stride),
          end_(reduced::reduced_pixels(record.geom))
    {}

    // The pixel at this position of the run goes to the next place.
    void put(int64_t position)
    {
        if (place_ >= end_) return;
        if (is_picture_) {
            std::memcpy(target_.colour + place_ * int64_t{picture_pixel_bytes},
                        colour_ + position * int64_t{picture_pixel_bytes}, picture_pixel_bytes);
            target_.alpha[place_] = alpha_[position];
        } else {
            target_.colour[place_] = colour_[position];
        }
        place_ += stride_;
    }

private:
    reduced_planes target_;
    const uint8_t* colour_;
    const uint8_t* alpha_;
    bool is_picture_;
    int64_t place_;
    int64_t stride_;
    int64_t end_;
};

// The planes of a caller's target; without a separate alpha plane it lies behind the colour plane.
reduced_planes target_planes(const cv_canvas& record, void* target, void* alpha_target)
{
    reduced_planes planes = reduced::planes_in(record, target);
    if (planes.alpha != nullptr && alpha_target != nullptr) planes.alpha = static_cast<uint8_t*>(alpha_target);
    return planes;
}

int64_t pixel_index(const cv_geometry& view, const reduced_place& place)
{
    return int64_t{place.row} * view.lres_width + place.column;
}

int32_t subsample_line(const cv_canvas& record, const void* colour, const void* alpha, int32_t y, int32_t x_first,
                       int32_t x_last, const reduced_planes& target)
{
    if (!reduced::rows_covered().covers(y, y) || !reduced::columns_covered().covers(x_first, x_last)) return 0;
    if (!reduced::row_entry(y).is_sampled()) return 0;
    const auto start = place_of(record.geom, x_first, y);
    if (!start) return 0;
    pixel_writer writer(record, target, colour, alpha, pixel_index(record.geom, *start), 1);
    for (int64_t x = x_first; x <= x_last; ++x) {
        if (reduced::column_entry(x).is_sampled()) writer.put(x - x_first);
    }
    return 0;
}

int32_t subsample_column(const cv_canvas& record, const void* colour, const void* alpha, int32_t x, int32_t y_first,
                         int32_t y_last, const reduced_planes& target)
{
    if (!reduced::columns_covered().covers(x, x) || !reduced::rows_covered().covers(y_first, y_last)) return 0;
    if (!reduced::column_entry(x).is_sampled()) return 0;
    const auto start = place_of(record.geom, x, y_first);
    if (!start) return 0;
    pixel_writer writer(record, target, colour, alpha, pixel_index(record.geom, *start), record.geom.lres_width);
    for (int64_t y = y_first; y <= y_last; ++y) {
        if (reduced::row_entry(y).is_sampled()) writer.put(y - y_first);
    }
    return 0;
}

}  // namespace

int32_t cv_subsample_line_in_buf(int32_t canvas, const void* colour, const void* alpha, int32_t y, int32_t x_first,
                                 int32_t x_last, void* target, void* alpha_target)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return -255;
    return subsample_line(*record, colour, alpha, y, x_first, x_last, target_planes(*record, target, alpha_target));
}

int32_t cv_subsample_line(int32_t canvas, const void* colour, const void* alpha, int32_t y, int32_t x_first,
                          int32_t x_last)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return -255;
    const reduced_planes target = reduced::own_buffers(*record);
    if (target.colour == nullptr) return -255;
    return subsample_line(*record, colour, alpha, y, x_first, x_last, target);
}

int32_t cv_subsample_column_in_buf(int32_t canvas, const void* colour, const void* alpha, int32_t x, int32_t y_first,
                                   int32_t y_last, void* target, void* alpha_target)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return -255;
    return subsample_column(*record, colour, alpha, x, y_first, y_last, target_planes(*record, target, alpha_target));
}

int32_t cv_subsample_column(int32_t canvas, const void* colour, const void* alpha, int32_t x, int32_t y_first,
                            int32_t y_last)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return -255;
    const reduced_planes target = reduced::own_buffers(*record);
    if (target.colour == nullptr) return -255;
    return subsample_column(*record, colour, alpha, x, y_first, y_last, target);
}
