// The client's side of a request: hits are served here, everything else is posted to the cache side and waited for.
//
// The two loops around a full disk differ, as hosts expect: a tile request runs the host's handler once before each
// attempt, every other request runs it until there is room again and only then asks once more.

#include <cstring>
#include <span>

#include "iocache/cache/cache.h"
#include "iocache/cache/doorbell.h"
#include "iocache/cache/flush.h"
#include "iocache/cache/lookup.h"
#include "iocache/cache/opcodes.h"
#include "iocache/cache/tile_entry.h"
#include "iocache/cache/tile_place.h"
#include "iocache/setup/setup.h"

cv_request_block parg = {};

namespace {

using namespace iocache;
using namespace iocache::cache;

using request_slots = std::span<cv_tile_request>;

void release_and_clear(request_slots slots)
{
    for (cv_tile_request& slot : slots) {
        if (slot.tile != nullptr) release_tile(slot.tile);
        clear_results(slot);
    }
}

bool all_may_be_served(request_slots slots)
{
    for (const cv_tile_request& slot : slots) {
        if (!may_serve(slot)) return false;
    }
    return true;
}

// Asks the cache side for every slot, again and again while the disk is full and the host wants to go on.
int32_t ask_for_tiles(int32_t code, request_slots slots)
{
    do {
        if (disk_is_full() && canvas_disk_full() == -255) return -255;
        release_and_clear(slots);  // what an attempt that met a full disk had handed out
        if (post(code, posting::wait) != 0 || parg.opcode == opcode::failed) {
            release_and_clear(slots);
            return -255;
        }
    } while (disk_is_full());
    return 0;
}

int32_t access_tiles(int32_t code, request_slots slots)
{
    if (!all_may_be_served(slots)) {
        for (cv_tile_request& slot : slots) clear_results(slot);
        return -255;
    }
    for (size_t i = 0; i < slots.size(); ++i) {
        if (find_tile(slots[i]) == lookup::hit) continue;
        // The cache side serves all slots again, hits included.
        release_and_clear(slots.first(i));
        for (cv_tile_request& slot : slots) clear_results(slot);
        const int32_t result = ask_for_tiles(code, slots);
        if (result != 0) release_and_clear(slots);
        return result;
    }
    return 0;
}

// A single slot, mostly: no look ahead at the others, so that a hit costs one look.
int32_t access_one_tile(int32_t code, cv_tile_request& slot)
{
    switch (find_tile(slot)) {
        case lookup::hit:
            return 0;
        case lookup::miss:
            break;
        default:
            clear_results(slot);
            return -255;
    }
    const request_slots slots(&slot, 1);
    clear_results(slot);
    const int32_t result = ask_for_tiles(code, slots);
    if (result != 0) release_and_clear(slots);
    return result;
}

int32_t ask_and_wait(int32_t code)
{
    for (;;) {
        if (post(code, posting::wait) != 0) return -255;
        if (!disk_is_full()) return last_walk_failed() ? -255 : 0;
        while (disk_is_full()) {
            if (canvas_disk_full() == -255) return -255;
        }
    }
}

int32_t ask_about_canvas(int32_t code)
{
    return canvas::find(parg.req[0].canvas) == nullptr ? -255 : ask_and_wait(code);
}

int32_t value_at(const uint8_t* pixel, int32_t code)
{
    if (code == opcode::mask_pixel) return *pixel;
    int32_t value = 0;
    std::memcpy(&value, pixel, sizeof value);
    return value;
}

// The value of one pixel; a tile that was never written reads as zero and is not fetched for it.
int32_t pixel_value(int32_t code)
{
    cv_tile_request& slot = parg.req[0];
    switch (find_pixel(slot)) {
        case lookup::never_written:
            return 0;
        case lookup::refused:
            return -255;
        case lookup::hit:
            break;
        case lookup::miss:
            parg.opcode = opcode::tiles_first;
            slot.x_end = slot.x;
            slot.y_end = slot.y;
            slot.write = 0;
            const int32_t result = cv_tile_access();
            parg.opcode = code;
            if (result != 0) return -255;
            break;
    }
    const int32_t value = value_at(slot.pixel, code);
    release_tile(slot.tile);
    return value;
}

int32_t ask_canvas_operation(int32_t code, int32_t canvas)
{
    parg.opcode = code;
    parg.req[0].canvas = canvas;
    return cv_tile_access();
}

void pass_barrier_only(void* /*args*/)
{
    MP_barrier();
}

}  // namespace

void iocache::cache::release_tile(cv_tile* tile)
{
    locked(*tile).store(0, std::memory_order_release);
}

int32_t cv_tile_access(void)
{
    const int32_t code = parg.opcode;
    const request_slots slots(parg.req);
    switch (code) {
        case opcode::tiles_first:
            return access_one_tile(code, slots[0]);
        case opcode::tiles_first + 1:
        case opcode::tiles_last:
            return access_tiles(code, slots.first(static_cast<size_t>(code)));
        case opcode::one_tile_first:
        case opcode::one_tile_first + 1:
        case opcode::one_tile_last:
            return access_one_tile(code, slots[static_cast<size_t>(code - opcode::one_tile_first)]);
        case opcode::picture_pixel:
        case opcode::mask_pixel:
            return pixel_value(code);
        case opcode::pre_write:
            return post(code, posting::go_on);
        case opcode::flush_canvas:
        case opcode::write_canvas:
        case opcode::drop_canvas:
        case opcode::open_stream:
        case opcode::close_stream:
            return ask_about_canvas(code);
        case opcode::flush_all:
        case opcode::meet_only:
            return ask_and_wait(code);
        default:
            return setup::fail({-255, 999009, "cv_tile_access : illegal opcode"});
    }
}

iocache::cache::tile_visit::tile_visit(int32_t canvas, int32_t x_end, int32_t y_end, bool writing)
{
    cv_tile_request& slot = parg.req[0];
    slot.canvas = canvas;
    slot.x_end = x_end;
    slot.y_end = y_end;
    slot.write = writing ? 1 : 0;
}

bool iocache::cache::tile_visit::at(int32_t x, int32_t y)
{
    release();
    cv_tile_request& slot = parg.req[0];
    slot.x = x;
    slot.y = y;
    parg.opcode = opcode::tiles_first;
    holds_ = access_one_tile(opcode::tiles_first, slot) == 0;
    return holds_;
}

void iocache::cache::tile_visit::release()
{
    if (holds_) release_tile(parg.req[0].tile);
    holds_ = false;
}

int32_t cv_start_prewrite(void)
{
    parg.opcode = opcode::pre_write;
    return cv_tile_access();
}

int32_t canvas_flush_all(void)
{
    parg.opcode = opcode::flush_all;
    cv_tile_access();  // its result is not passed on, as hosts expect
    return 0;
}

int32_t cv_flush_tiles(int32_t canvas)
{
    return ask_canvas_operation(opcode::flush_canvas, canvas);
}

int32_t cv_flush_tiles_keep(int32_t canvas)
{
    return ask_canvas_operation(opcode::write_canvas, canvas);
}

int32_t cv_delete_tiles(int32_t canvas)
{
    return ask_canvas_operation(opcode::drop_canvas, canvas);
}

// The workers through their barrier, then the cache process through its own: whoever answers has finished before.
void start_all_processes(void)
{
    for (int32_t i = 0; i < nr_procs; ++i) {
        MP_def_proc_fun(i, pass_barrier_only);
        MP_def_proc_args(i, &proc_args[i]);
    }
    MP_run_procs();
    parg.opcode = opcode::meet_only;
    cv_tile_access();
}
