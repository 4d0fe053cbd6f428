// The two ways out: the orderly one, which writes everything back, and the quick one, which writes nothing.
// Called by the host's main thread, after all other use.

#include <unistd.h>

#include <atomic>
#include <span>

#include "iocache/cache/cache.h"
#include "iocache/canvas/canvas.h"
#include "iocache/platform/platform.h"
#include "iocache/setup/setup.h"
#include "iocache/setup/tile_access.h"

namespace {

using namespace iocache;
using namespace iocache::setup;

// So that no close is refused because of a zoom canvas that is still open.
void untie_every_canvas()
{
    for (cv_canvas* const record : std::span(canvastable)) {
        if (record == nullptr) continue;
        record->zoom_child = nullptr;
        record->link_a = nullptr;
        record->link_b = nullptr;
        record->open_zooms = 0;
        record->is_zoom = nullptr;
    }
}

// A client that is still there keeps what it shares with the cache process: a few hundred bytes and a descriptor.
void remove_arena(locks_to_free which, bool nobody_is_there)
{
    if (nobody_is_there) free_arena_objects(which);
    unlink(cv_tile_sema_file);
}

}  // namespace

// The thread is joined before anything it uses is freed.
bool iocache::setup::stop_cache_process()
{
    if (cv_access_process == 1 || cv_tile_access_sema == nullptr) return true;
    std::atomic_ref(cv_tile_access_exit_flag).store(1);
    usvsema(cv_tile_access_sema);
    const bool is_other = !cache::is_cache_process();
    if (!is_other) platform_break_barrier(cv_tile_access_barrier);  // the client need not wait for the end of the host
    platform_join(cache_process_id);
    cache_process_id = 0;
    return is_other;
}

void cv_kill_tile_access(void)
{
    if (cv_tile_access_switch == 0) return;
    untie_every_canvas();
    canvas_close_all();
    const bool nobody_is_there = stop_cache_process();
    remove_arena(locks_to_free::all, nobody_is_there);
    end_log();
}

void cv_master_exit(void)
{
    cv_kill_tile_access();
    MP_free_lock(cnt_lock);
    MP_exit();
}

// The cut lock stays, as hosts expect: a client may still be inside it when the host leaves in a hurry.
void cv_master_exit_quit(void)
{
    const bool nobody_is_there = stop_cache_process();
    canvas::unlock_all_files();
    remove_arena(locks_to_free::all_but_cut_lock, nobody_is_there);
    MP_free_lock(cnt_lock);
    MP_exit();
}
