// Lines and columns: requests of the client for tiles that follow each other.

#include <algorithm>

#include "iocache/cache/cache.h"
#include "iocache/cache/lookup.h"
#include "iocache/cache/opcodes.h"
#include "iocache/cache/tile_entry.h"
#include "iocache/cache/tile_place.h"

namespace {

using namespace iocache;
using namespace iocache::cache;

// Tiles from one place to another that lies right of it, or below it, at most as far as the grid reaches; at least one.
int64_t tiles_to(const cv_canvas& canvas, const tile_place& from, const cv_tile_request& line, bool across)
{
    const tile_place last = place_of(canvas, line.x_end, line.y_end);
    const int32_t tiles = across ? std::min(last.column, canvas.tiles_across - 1) - from.column
                                 : std::min(last.row, canvas.tiles_down - 1) - from.row;
    return std::max(tiles, 0) + 1;
}

template <int for_writing> void prefetch(const uint8_t* first, int64_t count)
{
    for (int64_t at = 0; at < count; at += static_cast<int64_t>(platform::cache_line_bytes))
        __builtin_prefetch(first + at, for_writing);
}

// Asks the processor for a tile's part of a line ahead of its copy: a lock, and a tile's own stores, would make it wait
// otherwise. Only a hint, so the tile need not be locked; memory of entries and tiles is never unmapped.
void prefetch_row(const cv_canvas& canvas, cv_tile* tile, int32_t x_in_tile, int32_t y_in_tile, int64_t pixels,
                  bool writing)
{
    if (tile == nullptr) return;
    pixels = std::min<int64_t>(pixels, canvas.tile_width - x_in_tile);
    const uint8_t* const buffer = std::atomic_ref(tile->buffer).load(std::memory_order_relaxed);
    const int64_t first = int64_t{y_in_tile} * canvas.tile_width + x_in_tile;
    const uint8_t* const colour = buffer + (first << canvas.pixel_shift);
    const int64_t colour_bytes = pixels << canvas.pixel_shift;
    writing ? prefetch<1>(colour, colour_bytes) : prefetch<0>(colour, colour_bytes);
    if (canvas.kind != canvas::picture_kind) return;
    const uint8_t* const alpha = buffer + tile_offset_alfa + first;
    writing ? prefetch<1>(alpha, pixels) : prefetch<0>(alpha, pixels);
}

}  // namespace

iocache::cache::line_visit::line_visit(const cv_canvas& canvas, pixel from, pixel to, bool writing)
    : canvas_(canvas),
      writing_(writing),
      across_(from.y == to.y)
{
    cv_tile_request& slot = parg.req[0];
    slot.canvas = canvas.index;
    slot.x_end = to.x;
    slot.y_end = to.y;
    slot.write = writing ? 1 : 0;
}

iocache::cache::line_visit::~line_visit()
{
    release_current();
    while (next_ < held_) release_tile(tiles_[next_++]);
}

void iocache::cache::line_visit::release_current()
{
    if (current_ != nullptr) release_tile(current_);
    current_ = nullptr;
}

bool iocache::cache::line_visit::at(int32_t x, int32_t y)
{
    release_current();
    cv_tile_request& slot = parg.req[0];
    slot.x = x;
    slot.y = y;
    parg.opcode = opcode::tiles_first;
    if (!hand_out_held({x, y}) && cv_tile_access() != 0) return false;
    current_ = slot.tile;
    return true;
}

// False when the tile is not in memory, or the request for it is to be refused.
bool iocache::cache::line_visit::hand_out_held(pixel where)
{
    cv_tile_request& slot = parg.req[0];
    const tile_place place = place_of(canvas_, where.x, where.y);
    if (!may_serve(canvas_, place)) return false;
    if (next_ == held_) {
        const int64_t tiles = std::min<int64_t>(tiles_to(canvas_, place, slot, across_), most_together);
        const int64_t step = across_ ? 1 : canvas_.tiles_across;
        next_ = 0;
        if (across_) {
            prefetch_row(canvas_, cached_tile(canvas_, place.index), place.x_in_tile, place.y_in_tile,
                         int64_t{slot.x_end} - slot.x + 1, writing_);
        }
        held_ = find_tiles(canvas_, place.index, step, writing_, std::span(tiles_).first(static_cast<size_t>(tiles)));
        if (held_ == 0) return false;
    }
    slot.tile = tiles_[next_++];
    fill_results(slot, canvas_, place, *slot.tile);
    if (across_ && next_ < held_) {
        const int64_t pixels_behind = int64_t{slot.x_end} - slot.x + 1 - slot.run_x;
        prefetch_row(canvas_, tiles_[next_], 0, place.y_in_tile, pixels_behind, writing_);
    }
    return true;
}
