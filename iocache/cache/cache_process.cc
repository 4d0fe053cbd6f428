// The cache process: waits for the doorbell, serves one request, meets the client, then uses the idle time. In in-line
// mode the client calls the same handler for one request at a time.

#include <atomic>
#include <cstdio>

#include "iocache/cache/cache.h"
#include "iocache/cache/doorbell.h"
#include "iocache/cache/flush.h"
#include "iocache/cache/opcodes.h"
#include "iocache/cache/serve.h"
#include "iocache/cache/tile_entry.h"
#include "iocache/canvas/canvas.h"
#include "iocache/setup/setup.h"
#include "iocache/zones/zones.h"

namespace {

using namespace iocache;
using namespace iocache::cache;

enum class next_step { go_on, leave };

thread_local bool runs_cache_process = false;

// After the rendezvous parg belongs to the client again.
void use_idle_time()
{
    if (cv_prefetch_allowed == 0) cv_prefetch();
    if (request_is_waiting()) return;
    if (cv_prewrite_allowed == 0) cv_prewrite();
}

// The console's text differs in its way only: cv_printf for the block's slots, printf for a single one, as hosts expect.
void report_unreadable_tile(int32_t code)
{
    constexpr const char* text = "Cannot read tile\n";
    if (opcode::asks_for_tiles(code)) {
        setup::print("%s", text);
    } else {
        setup::print_plainly(text);
    }
}

next_step serve_tiles(int32_t code)
{
    switch (hand_out_tiles(code)) {
        case handed_out::all:
            break;
        case handed_out::not_served:
            parg.opcode = opcode::failed;
            break;
        case handed_out::disk_full:
            // A client that asked for a single slot is not met and stays blocked, as hosts expect.
            if (opcode::asks_for_one_tile(code)) return next_step::go_on;
            break;
        case handed_out::unreadable:
            report_unreadable_tile(code);
            parg.opcode = opcode::failed;
            setup::kill_host();
            return next_step::leave;
    }
    meet_client();
    use_idle_time();
    return next_step::go_on;
}

void serve_canvas_operation(int32_t code)
{
    cv_canvas* const record = canvas::find(parg.req[0].canvas);
    if (record == nullptr) {
        parg.opcode = opcode::failed;
        return;
    }
    switch (code) {
        case opcode::flush_canvas:
            walk_canvas(record, walk::flush);
            break;
        case opcode::write_canvas:
            walk_canvas(record, walk::write_back);
            break;
        case opcode::drop_canvas:
            walk_canvas(record, walk::drop);
            break;
        case opcode::open_stream:
            if (canvas::open_kept_stream(*record, "r+") == nullptr) parg.opcode = opcode::failed;
            break;
        default:
            canvas::close_kept_stream(*record);
            break;
    }
}

next_step serve(int32_t code)
{
    switch (code) {
        case opcode::pre_write:
            cv_prewrite();
            return next_step::go_on;
        case opcode::flush_all:
        case opcode::meet_only:
            begin_walk();
            if (code == opcode::flush_all) flush_everything();
            meet_client();
            return next_step::go_on;
        case opcode::flush_canvas:
        case opcode::write_canvas:
        case opcode::drop_canvas:
        case opcode::open_stream:
        case opcode::close_stream:
            begin_walk();
            serve_canvas_operation(code);
            meet_client();
            return next_step::go_on;
        default:
            const bool is_known = opcode::asks_for_tiles(code) || opcode::asks_for_one_tile(code);
            return is_known ? serve_tiles(code) : next_step::go_on;  // others are ignored
    }
}

bool told_to_leave()
{
    return std::atomic_ref(cv_tile_access_exit_flag).load(std::memory_order_acquire) == 1;
}

}  // namespace

bool iocache::cache::is_cache_process()
{
    return runs_cache_process;
}

void cv_tile_access_read(void* /*unused*/)
{
    if (cv_access_process == 1) {
        serve(parg.opcode);
        return;
    }
    runs_cache_process = true;
    zones::prepare_first_zone();  // while the host opens its first canvas
    next_step step = next_step::go_on;
    while (step == next_step::go_on) {
        uspsema(cv_tile_access_sema);
        if (told_to_leave()) break;
        step = serve(take_posted_opcode());
    }
    platform_break_barrier(cv_tile_access_barrier);  // nobody may wait for this process any more
}
