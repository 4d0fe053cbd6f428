// Everything here stands in another function's place, or prepares it: the cache writes tiles through this file, and
// the library asks this host for room.
#include "tests/model/watched_disk.h"

#include <array>
#include <atomic>
#include <csignal>
#include <span>

#include <sys/resource.h>
#include <unistd.h>

#include <iocache/iocache.h>

#include "iocache/platform/platform.h"
#include "tests/support/real_function.h"

namespace {

using namespace iocache_test;

constexpr int canvas_slots = 50;

std::array<std::atomic<file_note*>, canvas_slots> watched{};
std::atomic<model_notes*> dying_notes{nullptr};
std::atomic<int32_t> writes_left{0};  // until the process dies; 0: it does not
std::atomic<bool> dies_before{false};
std::atomic<bool> full{false};
std::atomic<bool> refuses{false};

void limit_files(rlim_t most_bytes)
{
    rlimit now{};
    getrlimit(RLIMIT_FSIZE, &now);
    now.rlim_cur = most_bytes;
    setrlimit(RLIMIT_FSIZE, &now);
}

uint64_t content_of(const cv_tile& tile)
{
    return content_number({tile.buffer, static_cast<size_t>(tile.size)});
}

oracle::tile* note_of(const cv_tile& tile)
{
    file_note* const note = watched.at(static_cast<size_t>(tile.id)).load();
    const auto number =
        static_cast<size_t>(tile.y) * static_cast<size_t>(tile.canvas->tiles_across) + static_cast<size_t>(tile.x);
    return note == nullptr ? nullptr : &note->tiles.at(number);
}

}  // namespace

void watched_disk::watch(int32_t canvas, file_note* note)
{
    watched.at(static_cast<size_t>(canvas)) = note;
}

void watched_disk::die_at_write(model_notes& notes, int32_t number, bool before)
{
    notes.may_die = true;
    dying_notes = &notes;
    dies_before = before;
    writes_left = number;
}

void watched_disk::die(model_notes& notes)
{
    notes.may_die = true;
    ++notes.kills;
    kill(getpid(), SIGKILL);
    for (;;) pause();
}

void watched_disk::fill(size_t most_bytes, host_will will)
{
    std::signal(SIGXFSZ, SIG_IGN);
    limit_files(most_bytes);
    refuses = will == host_will::refuse;
    full = true;
}

void watched_disk::make_room()
{
    limit_files(RLIM_INFINITY);
    full = false;
    refuses = false;
}

bool watched_disk::is_full()
{
    return full;
}

bool watched_disk::host_refuses()
{
    return full && refuses;
}

extern "C" {

// A client may change a tile in memory while it is written: what is in the file is known only when it did not.
IOCACHE_API int32_t cv_write_tile(cv_tile* tile)
{
    static auto* const forward = iocache_test::real<decltype(cv_write_tile)>("cv_write_tile");
    oracle::tile* const note = note_of(*tile);
    if (note == nullptr) return forward(tile);
    const bool dies = writes_left > 0 && --writes_left == 0;
    if (dies && dies_before) watched_disk::die(*dying_notes);
    const uint64_t before = content_of(*tile);
    note->on_its_way = before;
    const int32_t result = forward(tile);
    if (result == 0 && content_of(*tile) == before) {
        note->written = before;
        note->on_its_way = 0;
    }
    if (dies) watched_disk::die(*dying_notes);
    return result;
}

IOCACHE_API int32_t start_another_program(const char* /*name*/)
{
    if (refuses) return -1;
    watched_disk::make_room();
    return 0;
}

int32_t platform_statfs(const char* /*path*/, int64_t* block_size, int64_t* free_blocks)
{
    constexpr int64_t bytes_of_a_block = 4096;
    constexpr int64_t blocks_of_room = 10'000;
    *block_size = bytes_of_a_block;
    *free_blocks = full ? 0 : blocks_of_room;
    return 0;
}

}  // extern "C"
