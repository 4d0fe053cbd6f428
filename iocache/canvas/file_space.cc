// How much room there is, and how much a canvas would take.

#include <algorithm>
#include <cstdint>

#include "iocache/canvas/canvas.h"
#include "iocache/platform/platform.h"

namespace {

using namespace iocache::canvas;

// Four bytes of icon and five of reduced image whatever the kind: the estimate is this formula, not the true size.
constexpr int64_t icon_pixel_bytes = 4;
constexpr int64_t reduced_pixel_bytes = 5;
constexpr int64_t picture_pixel_bytes = 5;
constexpr int64_t table_entry_bytes = 4;

int64_t reduced_estimate(int32_t width, int32_t height)
{
    if (width <= cv_max_lres_hor && height <= cv_max_lres_vert) return 0;
    const double factor =
        std::max(static_cast<double>(width) / cv_max_lres_hor, static_cast<double>(height) / cv_max_lres_vert);
    const auto reduced = [factor](int32_t length) { return static_cast<int64_t>((length - 1) / factor) + 1; };
    return round_up_region(reduced(width) * reduced(height) * reduced_pixel_bytes);
}

}  // namespace

uint32_t cv_get_disk_free(const char* path)
{
    int64_t block_size = 0;
    int64_t free_blocks = 0;
    if (platform_statfs(path, &block_size, &free_blocks) != 0) return 0;
    return static_cast<uint32_t>(block_size) * static_cast<uint32_t>(free_blocks);  // 32 bits wide, as hosts expect
}

int32_t cv_get_disk_free_blocks(const char* path, int32_t* block_size)
{
    int64_t bytes = 0;
    int64_t free_blocks = 0;
    if (platform_statfs(path, &bytes, &free_blocks) != 0) return 0;
    *block_size = static_cast<int32_t>(bytes);
    return static_cast<int32_t>(free_blocks);
}

int64_t cv_calculate_filesize(int32_t width, int32_t height, int32_t kind)
{
    const int64_t across = (int64_t{width} - 1) / cv_tilesize_hor + 1;
    const int64_t down = (int64_t{height} - 1) / cv_tilesize_vert + 1;
    int64_t bytes = header_bytes + round_up_region(int64_t{cv_iconsize_hor} * cv_iconsize_vert * icon_pixel_bytes);
    bytes += reduced_estimate(width, height);
    bytes += round_up_region(across * down * table_entry_bytes);
    bytes += across * down * cv_tilesize_hor * cv_tilesize_vert * (kind == picture_kind ? picture_pixel_bytes : 1);
    return bytes;
}
