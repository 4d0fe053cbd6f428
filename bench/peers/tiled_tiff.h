// A tiled TIFF written with libtiff, row of tiles by row of tiles.
#pragma once

#include <filesystem>

#include "bench/peers/peer.h"

namespace iocache_bench {

void write_tiled_tiff(const std::filesystem::path& path, int32_t side, const peer_rows& rows);

}  // namespace iocache_bench
