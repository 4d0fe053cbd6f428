// The tile cache: tiles of all canvases in memory, one LRU list, one cache process that fetches, evicts and writes.
//
// Two sides. The client looks tiles up and uses their buffers; everything else (fetch, eviction, write-back, flushes,
// read-ahead, pre-write) runs on the cache side: in the cache process, or in the caller in in-line mode. While a
// client waits for a request the cache side owns parg and every record the request names; a client that is not
// waiting owns parg, and the cache side works on tiles only.
//
// Locks, in this order (each may be taken inside the one before it, never the other way round):
//   cv_tile_access_cut_lock   clients that use parg for single pixels
//   cv_tile_access_lock       LRU list, tile_cache and tile_flags of every canvas, locked and dirty of every tile.
//                             Never held across a file transfer, a zone call or a message.
//   cv_tile_access_ask_lock   a victim's entry in its canvas's tile_cache
#pragma once

#include <array>
#include <cstdint>

#include <iocache/iocache.h>

#include "iocache/platform/platform.h"

namespace iocache::cache {

// Proof that cv_tile_access_lock is held.
class tile_access_guard {
public:
    tile_access_guard() { _lock(cv_tile_access_lock); }
    ~tile_access_guard() { _ulock(cv_tile_access_lock); }
    tile_access_guard(const tile_access_guard&) = delete;
    tile_access_guard& operator=(const tile_access_guard&) = delete;
};

// The client is done with the buffer; its writes are seen by whoever finds the tile unlocked.
void release_tile(cv_tile* tile);

// One opcode-1 request of the client, in slot 0 of parg: asks, hands out, releases.
//   tile_visit visit(number, x_end, y_end, writing);
//   if (!visit.at(x, y)) return -255;        // refused or failed; nothing is held
//   ... visit.request().pixel ...            // until the next at() or the end of scope
class tile_visit {
public:
    tile_visit(int32_t canvas, int32_t x_end, int32_t y_end, bool writing);
    ~tile_visit() { release(); }
    tile_visit(const tile_visit&) = delete;
    tile_visit& operator=(const tile_visit&) = delete;

    bool at(int32_t x, int32_t y);
    const cv_tile_request& request() const { return parg.req[0]; }

private:
    void release();

    bool holds_ = false;
};

// The tiles that a straight line or column meets, in order: the same as an opcode-1 request each, but neighbours that
// are in memory are found and locked together, so that a line takes the lock once for many tiles. Used like tile_visit;
// the first at() is for `from`, each later one for the first pixel behind the tile before.
class line_visit {
public:
    struct pixel {
        int32_t x, y;
    };
    line_visit(const cv_canvas& canvas, pixel from, pixel to, bool writing);
    ~line_visit();
    line_visit(const line_visit&) = delete;
    line_visit& operator=(const line_visit&) = delete;

    bool at(int32_t x, int32_t y);
    const cv_tile_request& request() const { return parg.req[0]; }

private:
    // Enough to make the lock's price per tile small; few beside what a cache holds.
    static constexpr size_t most_together = 16;

    bool hand_out_held(pixel where);
    void release_current();

    const cv_canvas& canvas_;
    const bool writing_;
    const bool across_;
    std::array<cv_tile*, most_together> tiles_;
    size_t held_ = 0;  // tiles_[next_] to tiles_[held_ - 1] are locked for this line and not visited yet
    size_t next_ = 0;
    cv_tile* current_ = nullptr;
};

// Close: no tile in memory, and no read-ahead hint, names this canvas afterwards; unwritten changes are gone.
// The cache process must be waiting or have ended.
void detach_tiles(cv_canvas& canvas);

// How many tiles ever counted as written although a failure kept their changes from the file. Whoever is about to give
// up the only other copy of the pixels looks whether it has grown.
int64_t tiles_left_unwritten();

// The calling thread is the cache process, in one of the host's functions perhaps.
bool is_cache_process();

// Start of the library: no tile in memory, no request under way.
void forget_all_tiles();
void forget_posted_requests();

}  // namespace iocache::cache
