// Whole low-resolution images for the host: the stored reduced image, or the canvas itself when it fits the frame.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "iocache/access/access.h"
#include "iocache/cache/cache.h"
#include "iocache/canvas/canvas.h"

uint8_t cv_visu_pic[5242880] = {};
uint8_t cv_visu_mask[1048576] = {};
uint8_t* cv_visu_alfa = nullptr;

namespace {

using namespace iocache;

constexpr int64_t alpha_place_in_xbuf = 4'194'304;  // behind the largest colour plane of the standard frame

struct free_memory {
    void operator()(void* memory) const { std::free(memory); }
};
using owned_image = std::unique_ptr<uint8_t, free_memory>;

owned_image allocate_image(int64_t bytes)
{
    return owned_image(static_cast<uint8_t*>(platform_allocate(bytes)));
}

// Visits every tile of the image; copy_tile(request, first pixel's index in the image) moves its pixels.
template <class CopyTile> bool walk_tiles(const cv_canvas& record, CopyTile copy_tile)
{
    const cv_geometry& view = record.geom_orig;
    cache::tile_visit visit(record.index, view.x_max, view.y_max, false);
    for (int64_t y = view.y_min; y <= view.y_max;) {
        for (int64_t x = view.x_min; x <= view.x_max;) {
            if (!visit.at(static_cast<int32_t>(x), static_cast<int32_t>(y))) return false;
            copy_tile(visit.request(), (y - view.y_min) * view.width + (x - view.x_min));
            x += visit.request().run_x;
        }
        y += visit.request().run_y;
    }
    return true;
}

// Lines of one plane of a tile to an image of `width` pixels a line.
void copy_plane(uint8_t* image, int64_t first_pixel, int64_t width, int32_t pixel_bytes, const uint8_t* tile_pixels,
                int32_t tile_line_bytes, const cv_tile_request& tile)
{
    uint8_t* target = image + first_pixel * pixel_bytes;
    const uint8_t* source = tile_pixels;
    for (int32_t line = 0; line < tile.run_y; ++line, target += width * pixel_bytes, source += tile_line_bytes)
        std::memcpy(target, source, static_cast<size_t>(tile.run_x) * static_cast<size_t>(pixel_bytes));
}

uint8_t* read_stored_image(cv_canvas& record)
{
    // At least what the reduced image's size promises the caller, whatever the header says.
    const int64_t bytes = std::max<int64_t>(record.header->subsampled_bytes, canvas::reduced_image_bytes(record));
    owned_image image = allocate_image(bytes);
    if (image == nullptr || cv_read_subsampled_buffer(&record, image.get()) != 0) return nullptr;
    return image.release();
}

// The colour plane only; a canvas without data costs no request.
uint8_t* copy_colour_plane(const cv_canvas& record)
{
    const cv_geometry& view = record.geom_orig;
    const int64_t line_bytes = int64_t{view.width} * record.bytes_per_pixel;
    owned_image image = allocate_image(line_bytes * view.height);
    if (image == nullptr) return nullptr;
    if (cv_test_if_canvas_empty(record.index) == 0) {
        MP_memset(image.get(), 0, static_cast<int32_t>(line_bytes), view.height);
        return image.release();
    }
    const bool copied = walk_tiles(record, [&](const cv_tile_request& tile, int64_t first_pixel) {
        copy_plane(image.get(), first_pixel, view.width, record.bytes_per_pixel, tile.pixel, tile.line_bytes, tile);
    });
    return copied ? image.release() : nullptr;
}

}  // namespace

uint8_t* cv_get_visualisation(int32_t canvas, int32_t* width, int32_t* height)
{
    cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr || record->kind == canvas::mask_kind) return nullptr;
    const cv_geometry& view = record->geom_orig;
    const bool is_reduced = view.subsampled == 1;
    *width = is_reduced ? view.lres_width : view.width;
    *height = is_reduced ? view.lres_height : view.height;
    return is_reduced ? read_stored_image(*record) : copy_colour_plane(*record);
}

int32_t cv_get_lowres_visu(int32_t canvas)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr || record->geom_orig.subsampled == 1) return -255;
    const cv_geometry& view = record->geom_orig;
    // In a frame configured larger than the standard one a picture would run into the alpha plane's place.
    if (int64_t{view.width} * view.height * record->bytes_per_pixel > alpha_place_in_xbuf) return -255;
    const bool has_alpha = record->kind == canvas::picture_kind;
    const bool copied = walk_tiles(*record, [&](const cv_tile_request& tile, int64_t first_pixel) {
        copy_plane(Xbuf, first_pixel, view.width, record->bytes_per_pixel, tile.pixel, tile.line_bytes, tile);
        if (has_alpha) {
            copy_plane(Xbuf + alpha_place_in_xbuf, first_pixel, view.width, 1, tile.alfa_pixel, tile.alfa_line_bytes,
                       tile);
        }
    });
    return copied ? 0 : -255;
}
