// The tile cache as its clients see it: requests through parg, and a look at the cache's own books.
//
// The books belong to the cache process; a test reads them after settle(), when that process waits for a request and
// has nothing left to do.
#ifndef IOCACHE_TESTS_CACHE_CACHE_TEST_H
#define IOCACHE_TESTS_CACHE_CACHE_TEST_H

#include <atomic>
#include <chrono>
#include <cstring>
#include <sstream>
#include <string>
#include <thread>

#include "iocache/platform/platform.h"
#include "tests/support/file_reader.h"
#include "tests/support/library.h"

namespace iocache_test {

inline constexpr int32_t tile_side = 256;

namespace opcode {
inline constexpr int32_t one_slot = 1;
inline constexpr int32_t two_slots = 2;
inline constexpr int32_t three_slots = 3;
inline constexpr int32_t flush_all = 11;
inline constexpr int32_t pre_write = 20;
inline constexpr int32_t flush = 21;
inline constexpr int32_t write_back = 22;
inline constexpr int32_t drop = 23;
inline constexpr int32_t picture_pixel = 31;
inline constexpr int32_t mask_pixel = 32;
inline constexpr int32_t first_slot_only = 41;
inline constexpr int32_t second_slot_only = 42;
inline constexpr int32_t third_slot_only = 43;
inline constexpr int32_t open_stream = 50;
inline constexpr int32_t close_stream = 51;
inline constexpr int32_t meet = 99;
}  // namespace opcode

inline cv_canvas& record_of(int32_t canvas)
{
    return *canvastable[canvas];
}

inline int32_t ask(int32_t code)
{
    parg.opcode = code;
    return cv_tile_access();
}

// The cache process has finished whatever it was doing.
inline void settle()
{
    EXPECT_EQ(ask(opcode::meet), 0);
}

struct pixel_range {
    int32_t x, y, x_end, y_end;
};

inline cv_tile_request& fill_slot(int slot, int32_t canvas, const pixel_range& pixels, bool write = false)
{
    cv_tile_request& request = parg.req[slot];
    request.canvas = canvas;
    request.x = pixels.x;
    request.y = pixels.y;
    request.x_end = pixels.x_end;
    request.y_end = pixels.y_end;
    request.write = write ? 1 : 0;
    return request;
}

// A tile's first pixel alone; for canvases without offsets.
inline pixel_range first_pixel_of(int32_t column, int32_t row = 0)
{
    return {column * tile_side, row * tile_side, column * tile_side, row * tile_side};
}

inline int32_t request_tile(int32_t canvas, int32_t column, int32_t row = 0, bool write = false)
{
    fill_slot(0, canvas, first_pixel_of(column, row), write);
    return ask(opcode::one_slot);
}

inline void let_go(cv_tile* tile)
{
    std::atomic_ref(tile->locked).store(0, std::memory_order_release);
}

// Brings a tile into memory and lets it go at once.
inline void read_tile(int32_t canvas, int32_t column, int32_t row = 0)
{
    ASSERT_EQ(request_tile(canvas, column, row), 0);
    let_go(parg.req[0].tile);
}

// Changes every byte of a tile.
inline void write_tile(int32_t canvas, int32_t column, int32_t row, uint8_t value)
{
    ASSERT_EQ(request_tile(canvas, column, row, true), 0);
    std::memset(parg.req[0].buffer, value, static_cast<size_t>(record_of(canvas).tile_bytes));
    let_go(parg.req[0].tile);
}

inline bytes tile_of(int32_t canvas, uint8_t value)
{
    return bytes(static_cast<size_t>(record_of(canvas).tile_bytes), value);
}

// The bytes a reader is shown.
inline bytes shown(int32_t canvas, int32_t column, int32_t row = 0)
{
    if (request_tile(canvas, column, row) != 0) return {};
    const cv_tile_request& request = parg.req[0];
    bytes result(request.buffer, request.buffer + record_of(canvas).tile_bytes);
    let_go(request.tile);
    return result;
}

inline cv_tile* cached(int32_t canvas, int32_t column, int32_t row = 0)
{
    const cv_canvas& record = record_of(canvas);
    return std::atomic_ref(record.tile_cache[row * record.tiles_across + column]).load();
}

inline int32_t slot_in_memory(int32_t canvas, int32_t column, int32_t row = 0)
{
    const cv_canvas& record = record_of(canvas);
    return record.tile_table[row * record.tiles_across + column];
}

// The LRU list as text, oldest first: "canvas:column,row", with "-" for the canvas of a detached tile.
inline std::string lru_order()
{
    std::ostringstream text;
    const char* separator = "";
    _lock(cv_tile_access_lock);
    for (const cv_tile* tile = first_tile; tile != nullptr; tile = tile->next) {
        text << separator;
        tile->canvas != nullptr ? text << tile->id : text << '-';
        text << ':' << tile->x << ',' << tile->y;
        separator = " ";
    }
    _ulock(cv_tile_access_lock);
    return text.str();
}

inline int tiles_in_memory()
{
    int count = 0;
    _lock(cv_tile_access_lock);
    for (const cv_tile* tile = first_tile; tile != nullptr; tile = tile->next) ++count;
    _ulock(cv_tile_access_lock);
    return count;
}

inline int zones_in_use()
{
    int count = 0;
    for (int32_t zone = 0; zone < cv_alloc_zones; ++zone) count += cv_alloc_code[zone] != 0 ? 1 : 0;
    return count;
}

// Waits for what another thread is about to do. False when it does not happen within this long bound.
template <class Condition> bool wait_for(Condition happened)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!happened()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    return true;
}

// A library with a cache of a few zones that does nothing in its idle time, so that what is in memory is known.
class cache_test : public library_test {
protected:
    void start_with_zones(int64_t zones)
    {
        start({.cache_bytes = zones * picture_tile_bytes});
        cv_prefetch_allowed = 1;  // not 0 forbids
        cv_prewrite_allowed = 1;
    }
    canvas_file file(const std::string& name) const { return canvas_file(path(name)); }
};

}  // namespace iocache_test

#endif
