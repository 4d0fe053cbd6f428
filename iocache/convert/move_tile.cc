#include "iocache/convert/move_tile.h"

#include "iocache/cache/tile_entry.h"

int32_t iocache::convert::move_tile(cv_tile& tile, cv_canvas& from, cv_canvas& to)
{
    const int64_t index = cache::index_of(from, tile);
    {
        const cache::tile_access_guard held;
        cache::set_cached_tile(from, index, nullptr, held);
        tile.id = to.index;
        tile.canvas = &to;
        tile.file_pos = 0;
        cache::set_cached_tile(to, index, &tile, held);
        cache::tiles_fetched(from).fetch_sub(1, std::memory_order_relaxed);
        cache::tiles_fetched(to).fetch_add(1, std::memory_order_relaxed);
    }
    cache::release_tile(&tile);
    return static_cast<int32_t>(index);
}
