// Making and freeing the objects through which clients and the cache process meet, and the process itself.
// Every object is null while it does not exist; nothing in the library uses one that is null.

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>

#include "iocache/cache/cache.h"
#include "iocache/platform/platform.h"
#include "iocache/setup/setup.h"
#include "iocache/setup/tile_access.h"
#include "iocache/setup/unique_file.h"

int32_t cv_access_process = 0;
int32_t cv_prefetch_allowed = 0;
int32_t cv_prewrite_allowed = 0;
int32_t cv_tile_access_exit_flag = 0;
int32_t cv_clear_tile = 0;
char cv_tile_sema_file[100] = "";
int32_t cv_tile_access_fdes_sema = -1;
cv_arena* cv_tile_access_handle = nullptr;
cv_semaphore* cv_tile_access_sema = nullptr;
cv_lock* cv_tile_access_lock = nullptr;
cv_lock* cv_tile_access_ask_lock = nullptr;
cv_lock* cv_tile_access_cut_lock = nullptr;
cv_barrier* cv_tile_access_barrier = nullptr;
int32_t iocache::setup::cache_process_id = 0;

namespace {

using namespace iocache::setup;

constexpr int32_t cannot_start = -256;
constexpr mode_t arena_creation_mask = 0111;
constexpr mode_t arena_file_mode = 0666;
constexpr uint32_t share_everything = 0xffffff;
constexpr int32_t cache_process_workers = 2;  // with fewer, a process of its own would only compete

// One worker and no wish for a cache process: requests run in the caller. The two "allowed" flags read backwards, as
// meant: a value other than 0 forbids the work.
void choose_mode()
{
    const bool in_line = MP_get_nr_procs() < cache_process_workers && std::getenv("CV_CACHE_PROCESS") == nullptr;
    cv_prefetch_allowed = cv_prewrite_allowed = cv_access_process = in_line ? 1 : 0;
}

// The mask is put back only after a successful open, as hosts expect.
bool open_arena_file()
{
    const mode_t kept_mask = umask(arena_creation_mask);
    std::strcpy(cv_tile_sema_file, "/tmp/sematileXXXXXX");
    cv_tile_access_fdes_sema = create_unique_file(cv_tile_sema_file, arena_file_mode);
    if (cv_tile_access_fdes_sema < 0) return false;
    umask(kept_mask);
    return true;
}

// Reports a failed step, takes back the steps before it and ends the host. The arena file stays, as hosts expect.
int32_t give_up(int32_t error, const char* text, const char* console_format)
{
    report(error, text);
    print(console_format, text);
    free_arena_objects(locks_to_free::all);
    kill_host();
    return cannot_start;
}

int32_t give_up(int32_t error, const char* step)
{
    return give_up(error, format_message("Init tile access : %s failed ( %d )", step, errno), "%s\n");
}

}  // namespace

void iocache::setup::free_arena_objects(locks_to_free which)
{
    const auto release = [](auto& object, auto give_back) {
        if (object == nullptr) return;
        give_back(object);
        object = nullptr;
    };
    const auto free_lock = [](cv_lock* lock) { _freelock(lock, cv_tile_access_handle); };

    release(cv_tile_access_barrier, [](cv_barrier* meeting) { free_barrier(meeting); });
    if (which == locks_to_free::all) release(cv_tile_access_cut_lock, free_lock);
    release(cv_tile_access_ask_lock, free_lock);
    release(cv_tile_access_lock, free_lock);
    release(cv_tile_access_sema, [](cv_semaphore* doorbell) { usfreesema(doorbell, cv_tile_access_handle); });
    if (cv_tile_access_fdes_sema >= 0) close(cv_tile_access_fdes_sema);
    cv_tile_access_fdes_sema = -1;
}

int32_t canvas_init_tile_access(void)
{
    choose_mode();
    std::atomic_ref(cv_tile_access_exit_flag).store(0);
    cv_clear_tile = 1;
    cache_process_id = 0;
    iocache::cache::forget_posted_requests();

    if (!open_arena_file()) {
        return give_up(999001, format_message("Init tile access : cannot open %s ( %d )\n", cv_tile_sema_file, errno),
                       "%s");
    }
    cv_tile_access_handle = usinit(cv_tile_sema_file);
    if (cv_tile_access_handle == nullptr) return give_up(999002, "usinit");
    cv_tile_access_sema = usnewsema(cv_tile_access_handle, 0);
    if (cv_tile_access_sema == nullptr) return give_up(999003, "usnewsema");
    cv_tile_access_lock = _nlock(cv_tile_access_handle);
    if (cv_tile_access_lock == nullptr) return give_up(999004, "usnewlock");
    cv_tile_access_ask_lock = _nlock(cv_tile_access_handle);
    if (cv_tile_access_ask_lock == nullptr) return give_up(999005, "usnewlock");
    cv_tile_access_cut_lock = _nlock(cv_tile_access_handle);
    if (cv_tile_access_cut_lock == nullptr) return give_up(999006, "usnewlock");
    cv_tile_access_barrier = new_barrier(cv_tile_access_handle);
    if (cv_tile_access_barrier == nullptr) return give_up(999007, "new_barrier");
    if (cv_access_process == 1) return 0;

    cache_process_id = sproc(cv_tile_access_read, share_everything, nullptr);
    return cache_process_id < 0 ? give_up(999008, "sproc") : 0;
}
