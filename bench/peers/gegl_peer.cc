// GEGL: a GeglBuffer that is larger than the tile cache and lies in GEGL's swap, as the pictures of its applications do.
//
// Settings: the buffer's tiles are 256 x 256 (its own default is 128), tile-cache-size is the cache's size, pixels are
// asked for in the buffer's own format, so that nothing is converted; OpenCL is off, swap is not compressed.
#include <cstdlib>
#include <filesystem>

#include <gegl.h>

#include "bench/peers/peer.h"
#include "bench/support/fail.h"

namespace {

using namespace iocache_bench;

// A folder for this process alone; gone with it.
class swap_folder {
public:
    swap_folder()
    {
        std::string name = std::string(IOCACHE_BENCH_SCRATCH) + "/gegl-swap-XXXXXX";
        std::filesystem::create_directories(IOCACHE_BENCH_SCRATCH);
        if (::mkdtemp(name.data()) == nullptr) fail("cannot make a folder for swap");
        path_ = name;
    }
    ~swap_folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    swap_folder(const swap_folder&) = delete;
    swap_folder& operator=(const swap_folder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

class gegl_peer final : public peer {
public:
    [[nodiscard]] std::string name() const override { return "gegl"; }
    [[nodiscard]] std::string settings() const override
    {
        return "GeglBuffer in swap, tiles of 256 x 256, tile-cache-size of the cache's size, format CMYKA u8, "
               "swap not "
               "compressed, no OpenCL";
    }
    [[nodiscard]] bool takes_part_in(const std::string& workload) const override
    {
        return workload != "W8" && workload != "W9";  // swap is gone with the process; it makes no such images
    }
    [[nodiscard]] bool keeps_pictures() const override { return false; }
    [[nodiscard]] std::filesystem::path file_of(const std::filesystem::path& /*path*/) const override
    {
        for (const auto& entry : std::filesystem::directory_iterator(swap_.path())) {
            if (entry.is_regular_file() && entry.file_size() > 0) return entry.path();
        }
        fail("no swap");
    }

    void start(int64_t cache_bytes) override
    {
        gegl_init(nullptr, nullptr);
        g_object_set(gegl_config(), "tile-cache-size", static_cast<guint64>(cache_bytes), "tile-width", tile_side,
                     "tile-height", tile_side, "use-opencl", FALSE, "swap", swap_.path().c_str(), "swap-compression",
                     "none", nullptr);
        format_ = babl_format("CMYKA u8");
    }
    void write(const std::filesystem::path& /*path*/, int32_t side, const peer_rows& rows) override
    {
        if (buffer_ != nullptr) g_object_unref(buffer_);
        const GeglRectangle extent{0, 0, side, side};
        buffer_ = gegl_buffer_new(&extent, format_);
        if (buffer_ == nullptr) fail("no buffer");
        for (int32_t y = 0; y < side; ++y) put_row(0, y, side, rows.row(y), 0);
        gegl_buffer_flush(buffer_);
    }
    void open(const std::filesystem::path& /*path*/, bool /*for_writing*/) override {}
    void close() override {}

    void get_row(int32_t x, int32_t y, int32_t count, uint8_t* target, int64_t /*plane_bytes*/) override
    {
        get({x, y, count, 1}, target);
    }
    void put_row(int32_t x, int32_t y, int32_t count, const uint8_t* source, int64_t /*plane_bytes*/) override
    {
        const GeglRectangle at{x, y, count, 1};
        gegl_buffer_set(buffer_, &at, 0, format_, source, GEGL_AUTO_ROWSTRIDE);
    }
    void get_column(int32_t x, int32_t y, int32_t count, uint8_t* target, int64_t /*plane_bytes*/) override
    {
        get({x, y, 1, count}, target);
    }
    void get_pixel(int32_t x, int32_t y, uint8_t* five_bytes) override { get({x, y, 1, 1}, five_bytes); }

private:
    swap_folder swap_;
    GeglBuffer* buffer_ = nullptr;
    const Babl* format_ = nullptr;

    void get(const GeglRectangle& at, uint8_t* target)
    {
        gegl_buffer_get(buffer_, &at, 1.0, format_, target, GEGL_AUTO_ROWSTRIDE, GEGL_ABYSS_NONE);
    }
};

}  // namespace

int main(int argument_count, char** arguments)
{
    gegl_peer candidate;
    return measure_peer(candidate, argument_count, arguments);
}
