// Rebuilding a whole reduced image from its tiles and storing it. Client only.
//
// The loops compare with x_max and y_max strictly although those are inclusive: a last column (row) that is the first
// of a tile is not visited, as hosts expect. Nothing is cleared first.

#include <cstring>
#include <span>

#include "iocache/cache/cache.h"
#include "iocache/canvas/canvas.h"
#include "iocache/reduced/reduced.h"

namespace {

using namespace iocache;
using namespace iocache::reduced;

constexpr int64_t picture_pixel_bytes = 4;
constexpr int32_t file_level = 0;    // views of this level are stored in the canvas file
constexpr int32_t window_level = 1;  // and of this one in the window file

// Where the alpha bytes of a row go that starts at pixel d: d itself, or, in the remake of a picture, 5 * d. There the
// alpha pointer is taken from the colour pointer, which stands at 4 * d already, as hosts expect.
constexpr int64_t plain_alpha_start = 1;
constexpr int64_t remake_alpha_start = 5;

struct destination {
    reduced_planes planes;
    int64_t alpha_start;
};

// The sampled pixels of one row of a tile.
void sample_row(const cv_canvas& record, const cv_tile_request& tile, int32_t row, std::span<const uint16_t> columns,
                const destination& to)
{
    const cv_geometry& view = record.geom;
    const int64_t y = int64_t{tile.y} + row;
    const int64_t end = reduced_pixels(view);
    int64_t pixel = (int64_t{row_entry(y).frame_place()} - view.frame_y) * view.lres_width +
                    column_entry(tile.x).frame_place() - view.frame_x;
    if (pixel < 0) return;
    const bool is_picture = record.kind == canvas::picture_kind;
    const int64_t source = int64_t{row} * record.tile_width;
    int64_t alpha = pixel * to.alpha_start;
    for (const uint16_t column : columns) {
        if (pixel >= end) return;
        if (is_picture) {
            std::memcpy(to.planes.colour + pixel * picture_pixel_bytes,
                        tile.pixel + (source + column) * picture_pixel_bytes, size_t{picture_pixel_bytes});
            to.planes.alpha[alpha] = tile.alfa_pixel[source + column];
        } else {
            to.planes.colour[pixel] = tile.pixel[source + column];
        }
        ++pixel;
        ++alpha;
    }
}

// Every tile of canvas `number`, with the view of `record`. False when a request failed.
bool sample_tiles(const cv_canvas& record, int32_t number, const destination& to)
{
    const cv_geometry& view = record.geom;
    const bool have_tables =
        columns_covered().covers(view.x_min, view.x_max) && rows_covered().covers(view.y_min, view.y_max);
    if (!have_tables || to.planes.colour == nullptr) return false;
    cache::tile_visit visit(number, view.x_max, view.y_max, false);
    for (int64_t y = view.y_min; y < view.y_max;) {
        int32_t rows = 0;
        for (int64_t x = view.x_min; x < view.x_max;) {
            if (!visit.at(static_cast<int32_t>(x), static_cast<int32_t>(y))) return false;
            rows = visit.request().run_y;
            const auto columns = sampled_columns(visit.request());
            for (int32_t row = 0; row < rows; ++row) {
                if (row_entry(y + row).is_sampled()) sample_row(record, visit.request(), row, columns, to);
            }
            x += visit.request().run_x;
        }
        if (rows == 0) break;  // one column wide: no tile was visited and none ever will be
        y += rows;
    }
    return true;
}

int32_t resample(cv_canvas* record, int32_t number)
{
    if (record == nullptr) return 0;
    if (!sample_tiles(*record, number, {own_buffers(*record), plain_alpha_start})) return 0;
    if (record->geom.level == file_level) cv_write_subsampled(number);
    if (record->geom.level == window_level) canvas_write_subsampled_window(record);
    return 0;
}

void remake(cv_canvas& record, int64_t alpha_start)
{
    if (!sample_tiles(record, record.index, {planes_in(record, Rbuf), alpha_start})) return;
    if (record.geom.level == file_level) cv_write_subsampled_Rbuf(record.index);
    if (record.geom.level == window_level) canvas_write_subsampled_window_Rbuf(&record);
}

}  // namespace

int32_t cv_resample_picture(void)
{
    return resample(current_cp, current_canvas);
}

int32_t cv_resample_mask(void)
{
    return resample(current_mp, current_mask);
}

void iocache::reduced::remake_picture_in_rbuf(cv_canvas& record)
{
    remake(record, remake_alpha_start);
}

void iocache::reduced::remake_mask_in_rbuf(cv_canvas& record)
{
    remake(record, plain_alpha_start);
}
