// Icons: a reduced image shrunk once more, by picking pixels. A smaller image is enlarged by repeating them.

#include <algorithm>
#include <cstring>
#include <vector>

#include "iocache/canvas/canvas.h"
#include "iocache/reduced/reduced.h"

namespace {

using namespace iocache;

constexpr double rounding_guard = 0.01;  // keeps the last entry from falling just short of the image's size

// Source coordinates of the icon's columns, and of its rows: one table serves both, whatever the icon's shape. The
// sum is added up, not multiplied out.
std::vector<int32_t> icon_table(int32_t icon_width, int32_t icon_height, const cv_geometry& view)
{
    const double factor = view.lres_height < view.lres_width ? static_cast<double>(view.lres_width) / icon_width
                                                             : static_cast<double>(view.lres_height) / icon_height;
    std::vector<int32_t> table(static_cast<size_t>(std::max(icon_width, icon_height)) + 1);
    double sum = 0.0;
    for (int32_t& entry : table) {
        entry = static_cast<int32_t>(sum + rounding_guard);
        sum += factor;
    }
    return table;
}

// Rows and columns that the image does not reach keep what they held; the icon is not cleared first, as hosts expect.
int32_t make_icon(const cv_canvas& record, const uint8_t* source, size_t pixel_bytes)
{
    const int32_t icon_width = record.header->icon_width;
    const int32_t icon_height = record.header->icon_height;
    const cv_geometry& view = record.geom_orig;
    if (icon_width < 1 || icon_height < 1) return 0;
    const std::vector<int32_t> table = icon_table(icon_width, icon_height, view);

    for (size_t row = 0; row < static_cast<size_t>(icon_height) && table[row] < view.lres_height; ++row) {
        uint8_t* target = record.icon + row * static_cast<size_t>(icon_width) * pixel_bytes;
        for (size_t column = 0; column < static_cast<size_t>(icon_width) && table[column] < view.lres_width;
             ++column, target += pixel_bytes) {
            const size_t pixel = static_cast<size_t>(table[row]) * static_cast<size_t>(view.lres_width) +
                                 static_cast<size_t>(table[column]);
            std::memcpy(target, source + pixel * pixel_bytes, pixel_bytes);
        }
    }
    return 0;
}

constexpr size_t picture_pixel_bytes = 4;
constexpr size_t mask_pixel_bytes = 1;

}  // namespace

int32_t cv_make_pic_buffer_icon(cv_canvas* canvas, const void* source)
{
    return make_icon(*canvas, static_cast<const uint8_t*>(source), picture_pixel_bytes);
}

int32_t cv_make_mask_buffer_icon(cv_canvas* canvas, const void* source)
{
    return make_icon(*canvas, static_cast<const uint8_t*>(source), mask_pixel_bytes);
}

void cv_make_pic_icon(cv_canvas* canvas)
{
    cv_make_pic_buffer_icon(canvas, cv_visu_pic);
}

void cv_make_pic_icon_Rbuf(cv_canvas* canvas)
{
    cv_make_pic_buffer_icon(canvas, Rbuf);
}

void cv_make_mask_icon(cv_canvas* canvas)
{
    cv_make_mask_buffer_icon(canvas, cv_visu_mask);
}

void cv_make_mask_icon_Rbuf(cv_canvas* canvas)
{
    cv_make_mask_buffer_icon(canvas, Rbuf);
}
