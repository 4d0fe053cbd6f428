// What the tests put between the cache and the system. Every hook forwards to the real thing unless a test says
// otherwise; a scope of hooks::reset ends with everything forwarding again.
//
// Threads: the plain functions are called by the side that does the work. Set them only while the cache process waits
// for a request (after settle()); the ring of the next request makes them known there.
#ifndef IOCACHE_TESTS_CACHE_HOOKS_H
#define IOCACHE_TESTS_CACHE_HOOKS_H

#include <atomic>
#include <cstdint>
#include <functional>

namespace iocache_test::hooks {

// Before each write to a stream, with its position and its size; true makes the write fail.
extern std::function<bool(int64_t position, size_t bytes)> on_write;
// Before a file is given blocks; 0 lets that happen, anything else is the error that it fails with.
extern std::function<int(int64_t offset, int64_t bytes)> on_blocks;
// The same before a write at a place of its own, past the stream.
extern std::function<int(int64_t offset, size_t bytes)> on_placed_write;
// In place of the program that makes room on a full disk; -1 without.
extern std::function<int32_t(const char* name)> on_program;
// In place of statfs, when set.
extern std::function<int32_t(const char* path, int64_t& block_size, int64_t& free_blocks)> on_statfs;

// Rings of the doorbell, and how often the cache process has come back to wait for one.
extern std::atomic<int> rings;
extern std::atomic<int> waits;

// While closed, a request that was rung for is not picked up.
extern std::atomic<bool> gate_closed;
// Looks at the doorbell until it is said to have been rung; below 0 the truth is told.
extern std::atomic<int> quiet_looks;

// When above 0: the cache process pauses before it takes cv_tile_access_lock for the n-th time, and says so in
// `paused`, until `go_on` is set.
extern std::atomic<int> pause_at_lock;
// The same behind the n-th release of that lock.
extern std::atomic<int> pause_behind_lock;
// As the first, counted from the moment at which it meets its client: its idle work.
extern std::atomic<int> pause_at_idle_lock;
extern std::atomic<bool> paused;
extern std::atomic<bool> go_on;

struct reset {
    reset() { clear(); }
    ~reset() { clear(); }
    reset(const reset&) = delete;
    reset& operator=(const reset&) = delete;
    static void clear();
};

}  // namespace iocache_test::hooks

#endif
