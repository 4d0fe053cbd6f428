// One changed tile, or one changed pixel, into a reduced image. A tile's rows are spread over the host's workers.

#include <algorithm>
#include <cstring>
#include <span>

#include "iocache/cache/cache.h"
#include "iocache/canvas/canvas.h"
#include "iocache/reduced/reduced.h"

namespace {

using namespace iocache;
using namespace iocache::reduced;

constexpr int64_t picture_pixel_bytes = 4;

// The request block survives the update: a caller may be in the middle of a request of its own.
class kept_request {
public:
    kept_request() : before_(parg) {}
    ~kept_request() { parg = before_; }
    kept_request(const kept_request&) = delete;
    kept_request& operator=(const kept_request&) = delete;

private:
    cv_request_block before_;
};

struct rectangle {
    int32_t left, top, right, bottom;
    bool is_empty() const { return right < left || bottom < top; }
};

// The tile's part of the current view.
rectangle part_of_view(const cv_canvas& record, int32_t tile)
{
    const cv_geometry& view = record.geom;
    const int64_t left = int64_t{record.tile_width} * (tile % record.tiles_across) - view.x_offset;
    const int64_t top = int64_t{record.tile_height} * (tile / record.tiles_across) - view.y_offset;
    const auto clip = [](int64_t value, int32_t low, int32_t high) {
        return static_cast<int32_t>(std::clamp<int64_t>(value, int64_t{low} - 1, int64_t{high} + 1));
    };
    return {std::max(clip(left, view.x_min, view.x_max), view.x_min),
            std::max(clip(top, view.y_min, view.y_max), view.y_min),
            std::min(clip(left + record.tile_width - 1, view.x_min, view.x_max), view.x_max),
            std::min(clip(top + record.tile_height - 1, view.y_min, view.y_max), view.y_max)};
}

// The sampled columns of the tile of this run; written before the workers start.
std::span<const uint16_t> run_columns;

struct row_range {
    int32_t first, end;
};

// Sampled rows that a worker takes at a time: two processors that pass the lock to and fro for each row would take
// longer than one that samples them all.
constexpr int32_t sampled_rows_a_claim = 16;

// The rows that a worker takes next; behind the last none, which counts as one. MP_line is shared; cnt_lock guards it.
row_range claim_rows(const cv_tile_request& tile)
{
    MP_set_lock(cnt_lock);
    const int32_t first = MP_line;
    int32_t end = first;
    for (int32_t sampled = 0; end < tile.run_y && sampled < sampled_rows_a_claim; ++end)
        sampled += row_entry(int64_t{tile.y} + end).is_sampled() ? 1 : 0;
    MP_line = std::max(end, first + 1);
    MP_unset_lock(cnt_lock);
    return {first, end};
}

// Calls sample(row) for the sampled rows of the tile that this worker gets, and meets the others.
template <class Sample> void sample_claimed_rows(const cv_tile_request& tile, Sample sample)
{
    for (row_range rows = claim_rows(tile); rows.first < rows.end; rows = claim_rows(tile)) {
        for (int32_t row = rows.first; row < rows.end; ++row) {
            if (row_entry(int64_t{tile.y} + row).is_sampled()) sample(row);
        }
    }
    MP_barrier();
}

// Where the row's first sampled pixel goes; the whole index is divided by the step, in 32 unsigned bits.
uint32_t first_destination(const cv_geometry& view, int32_t x, int32_t y)
{
    const uint32_t row = row_entry(y).frame_place() - static_cast<uint32_t>(view.frame_y);
    const uint32_t column = column_entry(x).frame_place() - static_cast<uint32_t>(view.frame_x);
    return (row * static_cast<uint32_t>(view.lres_width) + column) / static_cast<uint32_t>(view.step);
}

void sample_picture_row(const cv_canvas& record, const cv_tile_request& tile, int32_t row)
{
    const uint8_t* const colour = tile.pixel + int64_t{row} * record.tile_width * picture_pixel_bytes;
    const uint8_t* const alpha = tile.alfa_pixel + int64_t{row} * record.tile_width;
    const int64_t end = reduced_pixels(record.geom);
    int64_t to = first_destination(record.geom, tile.x, tile.y + row);
    for (const uint16_t column : run_columns) {
        if (to >= end) return;
        std::memcpy(MP_target + to * picture_pixel_bytes, colour + column * picture_pixel_bytes,
                    size_t{picture_pixel_bytes});
        MP_alfa_target[to] = alpha[column];
        ++to;
    }
}

void sample_mask_row(const cv_canvas& record, const cv_tile_request& tile, int32_t row)
{
    const uint8_t* const mask = tile.pixel + int64_t{row} * record.tile_width;
    const int64_t end = reduced_pixels(record.geom);
    int64_t to = first_destination(record.geom, tile.x, tile.y + row);
    for (const uint16_t column : run_columns) {
        if (to >= end) return;
        MP_target[to] = mask[column];
        ++to;
    }
}

void picture_worker(void* /*args*/)
{
    const cv_tile_request& tile = parg.req[0];
    const cv_canvas& record = *canvastable[MP_trans];
    sample_claimed_rows(tile, [&](int32_t row) {
        const int32_t y = tile.y + row;
        if (y >= record.geom.y_min && y <= record.geom.y_max) sample_picture_row(record, tile, row);
    });
}

// Unlike the picture's worker it does not ask the bounds, as hosts expect.
void mask_worker(void* /*args*/)
{
    const cv_tile_request& tile = parg.req[0];
    const cv_canvas& record = *canvastable[MP_trans];
    sample_claimed_rows(tile, [&](int32_t row) { sample_mask_row(record, tile, row); });
}

void run_workers(MP_function worker, int32_t canvas, const reduced_planes& target)
{
    run_columns = sampled_columns(parg.req[0]);
    for (int32_t i = 0; i < nr_procs; ++i) {
        MP_def_proc_fun(i, worker);
        MP_def_proc_args(i, &proc_args[i]);
    }
    MP_line = 0;
    MP_trans = canvas;
    MP_target = target.colour;
    if (target.alpha != nullptr) MP_alfa_target = target.alpha;
    MP_run_procs();
}

void update(int32_t canvas, int32_t tile, MP_function worker, const reduced_planes& target)
{
    const cv_canvas& record = *canvas::find(canvas);
    if (tile < 0 || tile >= canvas::tile_count(record) || record.geom.step < 1 || target.colour == nullptr) return;
    const rectangle part = part_of_view(record, tile);
    if (part.is_empty()) return;
    if (!columns_covered().covers(part.left, part.right) || !rows_covered().covers(part.top, part.bottom)) return;

    const kept_request kept;
    cache::tile_visit visit(canvas, part.right, part.bottom, false);
    if (visit.at(part.left, part.top)) run_workers(worker, canvas, target);
}

// Index of a pixel in the reduced image of current_cp; negative when it is not sampled or lies outside.
int64_t sampled_index(const cv_canvas& record, int32_t x, int32_t y)
{
    if (!columns_covered().covers(x, x) || !rows_covered().covers(y, y)) return -1;
    if (!row_entry(y).is_sampled() || !column_entry(x).is_sampled()) return -1;
    const cv_geometry& view = record.geom;
    const int64_t index = (int64_t{row_entry(y).frame_place()} - view.frame_y) * view.lres_width +
                          column_entry(x).frame_place() - view.frame_x;
    return index < reduced_pixels(view) ? index : -1;
}

}  // namespace

void cv_update_virt_subsampled_tile(int32_t canvas, int32_t tile)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return;
    if (record->kind == canvas::mask_kind) {
        cv_update_virt_subsampled_mtile(canvas, tile);
    } else {
        cv_update_virt_subsampled_ptile(canvas, tile);
    }
}

void cv_update_virt_subsampled_ptile(int32_t canvas, int32_t tile)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr || own_buffers(*record).colour == nullptr) return;
    cv_update_virt_subsampled_ptile_buffer(canvas, tile, cv_visu_pic);
}

void cv_update_virt_subsampled_ptile_Rbuf(int32_t canvas, int32_t tile)
{
    cv_update_virt_subsampled_ptile_buffer(canvas, tile, Rbuf);
}

void cv_update_virt_subsampled_ptile_buffer(int32_t canvas, int32_t tile, void* buffer)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr || record->kind != canvas::picture_kind) return;  // a mask has no alpha plane to read
    update(canvas, tile, picture_worker, planes_in(*record, buffer));
}

void cv_update_virt_subsampled_mtile(int32_t canvas, int32_t tile)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr || reduced_pixels(record->geom) > static_cast<int64_t>(sizeof cv_visu_mask)) return;
    cv_update_virt_subsampled_mtile_buffer(canvas, tile, cv_visu_mask);
}

void cv_update_virt_subsampled_mtile_Rbuf(int32_t canvas, int32_t tile)
{
    cv_update_virt_subsampled_mtile_buffer(canvas, tile, Rbuf);
}

void cv_update_virt_subsampled_mtile_buffer(int32_t canvas, int32_t tile, void* buffer)
{
    if (canvas::find(canvas) == nullptr) return;
    update(canvas, tile, mask_worker, {static_cast<uint8_t*>(buffer), nullptr});
}

void cv_subsample_ppixel(int32_t x, int32_t y, uint32_t value, int32_t alpha)
{
    if (current_cp == nullptr) return;
    const int64_t index = sampled_index(*current_cp, x, y);
    const reduced_planes target = own_buffers(*current_cp);
    if (index < 0 || target.alpha == nullptr) return;
    std::memcpy(target.colour + index * picture_pixel_bytes, &value, sizeof value);
    target.alpha[index] = static_cast<uint8_t>(alpha);
}

void cv_subsample_mpixel(int32_t x, int32_t y, int32_t value)
{
    if (current_cp == nullptr) return;
    const int64_t index = sampled_index(*current_cp, x, y);
    if (index >= 0 && index < static_cast<int64_t>(sizeof cv_visu_mask))
        cv_visu_mask[index] = static_cast<uint8_t>(value);
}
