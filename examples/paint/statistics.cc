#include "statistics.h"

#include <span>

#include <iocache/iocache.h>

namespace {

constexpr int32_t meet_only = 99;
constexpr int64_t zone_bytes = 327'680;

void count_tiles(paint::cache_statistics& counted)
{
    for (const cv_tile* tile = first_tile; tile != nullptr; tile = tile->next) {
        if (tile->canvas == nullptr) continue;  // of a canvas that is closed: room for the next one
        ++counted.tiles;
        if (tile->dirty != 0) ++counted.dirty_tiles;
        counted.bytes_used += tile->size;
    }
}

void count_zones(paint::cache_statistics& counted)
{
    counted.zones = cv_alloc_zones;
    counted.bytes = cv_alloc_zones * zone_bytes;
    for (const uint32_t blocks : std::span(cv_alloc_bits, static_cast<size_t>(cv_alloc_zones))) {
        if (blocks != 0) ++counted.zones_used;
    }
}

}  // namespace

paint::cache_statistics paint::count_cache()
{
    parg.opcode = meet_only;
    cv_tile_access();

    cache_statistics counted;
    count_tiles(counted);
    count_zones(counted);
    if (cv_prewrite_allowed == 0) cv_start_prewrite();  // what it was doing when it was met
    return counted;
}
