// Writing a changed tile to its slot, and giving it one when it has none. Cache side only.
//
// Order of an append, so that a file cut off anywhere opens: the file grows, the table names the slot, the header
// counts it, the tile's bytes fill it.

#include "iocache/cache/write_back.h"

#include <atomic>
#include <mutex>

#include "iocache/cache/tile_entry.h"
#include "iocache/canvas/canvas.h"

int32_t cv_disk_full = 0;

namespace {

using namespace iocache;
using namespace iocache::cache;

std::atomic<int64_t> changes_not_written{0};

// The tile that send_on_its_way was told of: its canvas's number above its index; or none. One at a time: tiles are
// written one after the other.
constexpr int64_t no_tile = -1;
std::atomic<int64_t> on_its_way = no_tile;

int64_t place_number(const cv_canvas& canvas, int64_t index)
{
    constexpr int index_bits = 32;
    return (int64_t{canvas.index} << index_bits) | index;
}

enum class claim { always, unless_locked };

// Clean before the write, so that a change made meanwhile makes it dirty again. False when there is nothing to write.
bool claim_for_writing(cv_tile& tile, claim when)
{
    if (dirty(tile).load(std::memory_order_relaxed) != 1) return false;
    const tile_access_guard held;
    if (tile.canvas == nullptr) return false;
    if (when == claim::unless_locked && locked(tile).load(std::memory_order_acquire) != 0) return false;
    send_on_its_way(tile);
    dirty(tile).store(0, std::memory_order_release);
    entry_of(tile).writing = true;
    return true;
}

void end_writing(cv_tile& tile, bool still_dirty)
{
    forget_tile_on_its_way();
    const tile_access_guard held;
    entry_of(tile).writing = false;
    if (still_dirty) dirty(tile).store(1, std::memory_order_relaxed);
}

int32_t write_dirty_header(cv_canvas& canvas)
{
    {
        const std::lock_guard held(canvas::header_guard);
        canvas.header->dirty = 1;
    }
    return cv_write_header2(canvas.index);
}

int32_t mark_file_dirty(cv_canvas& canvas)
{
    canvas::hold_every_slot(canvas);
    return write_dirty_header(canvas);
}

// -255 when table or header cannot be written. The tile then counts as clean with a slot, as hosts expect: its changes
// reach the file when it is changed again.
int32_t append_slot(cv_tile& tile)
{
    cv_canvas& canvas = *tile.canvas;
    cv_header& header = *canvas.header;
    {
        const std::lock_guard held(canvas::header_guard);
        std::atomic_ref(canvas.tile_table[index_of(canvas, tile)])
            .store(header.tiles_written, std::memory_order_relaxed);
        tile.file_pos = int64_t{header.tiles_written} * tile.size + header.tiles_offset;
        ++header.tiles_written;
    }
    const bool is_long_enough = canvas::hold_new_slot(canvas);
    if (cv_write_tile_table2(tile.id) != 0) return -255;
    return is_long_enough ? write_dirty_header(canvas) : mark_file_dirty(canvas);
}

int32_t write_back(cv_tile& tile, claim when)
{
    if (!claim_for_writing(tile, when)) return 0;
    if (tile.file_pos == 0 && append_slot(tile) != 0) {
        ++changes_not_written;
        end_writing(tile, false);
        return -255;
    }
    if (cv_write_tile(&tile) != 0) {
        set_disk_full(1);
        end_writing(tile, true);
        return -255;
    }
    end_writing(tile, false);
    return tile.canvas->header->dirty == 1 ? 0 : mark_file_dirty(*tile.canvas);
}

}  // namespace

int32_t cv_write_dirty_tile(cv_tile* tile)
{
    return write_back(*tile, claim::always);
}

void iocache::cache::send_on_its_way(const cv_tile& tile)
{
    on_its_way.store(place_number(*tile.canvas, index_of(*tile.canvas, tile)), std::memory_order_release);
}

bool iocache::cache::is_on_its_way(const cv_canvas& canvas, int64_t index)
{
    return on_its_way.load(std::memory_order_acquire) == place_number(canvas, index);
}

void iocache::cache::forget_tile_on_its_way()
{
    on_its_way.store(no_tile, std::memory_order_release);
}

int64_t iocache::cache::tiles_left_unwritten()
{
    return changes_not_written;
}

int32_t iocache::cache::write_unlocked_dirty_tile(cv_tile& tile)
{
    return write_back(tile, claim::unless_locked);
}
