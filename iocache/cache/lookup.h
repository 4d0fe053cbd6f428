// The client's own look into the cache, before anybody is asked.
#pragma once

#include <cstdint>
#include <span>

#include <iocache/iocache.h>

namespace iocache::cache {

enum class lookup {
    hit,            // results filled, tile locked
    miss,           // the cache side must be asked
    never_written,  // single pixels only: reads as zero
    refused,        // no such canvas, or a pixel outside its tiles
};

lookup find_tile(cv_tile_request& request);
lookup find_pixel(cv_tile_request& request);

// As many hits in a row: tiles index, index + step, ... of one canvas, locked in this order until one is not in memory
// or `tiles` is full. How many.
size_t find_tiles(const cv_canvas& canvas, int64_t index, int64_t step, bool writing, std::span<cv_tile*> tiles);

// A write to this tile would be its first since a zoom canvas was made that has not kept the old tile yet.
bool zoom_still_needs(const cv_canvas& record, int64_t index);

// The request names an open canvas and a pixel that its tiles hold.
bool may_serve(const cv_tile_request& request);

}  // namespace iocache::cache
