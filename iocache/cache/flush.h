// Emptying the cache for one canvas or for all. Cache side, while the client waits.
#pragma once

#include <cstdint>

#include <iocache/iocache.h>

namespace iocache::cache {

enum class walk { flush, write_back, drop };

void flush_everything();
void walk_canvas(cv_canvas* canvas, walk what);

// A write failed in the last flush or write-back and ended it early. Read by the client after the rendezvous.
bool last_walk_failed();
void begin_walk();

}  // namespace iocache::cache
