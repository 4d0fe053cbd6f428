// OpenImageIO: a tiled TIFF behind the ImageCache, which only reads. Writing goes through ImageOutput, a row of tiles
// at a time.
//
// Settings: max_memory_MB of the cache's size, the file's own tiles of 256 x 256 (no autotile), bytes stay bytes
// (forcefloat 0), alpha is left as it is (unassociatedalpha 1), files and threads' records are looked up once and not
// by name.
#include <cstring>

#include <OpenImageIO/imagecache.h>
#include <OpenImageIO/imageio.h>

#include "bench/peers/peer.h"
#include "bench/support/fail.h"

namespace {

using namespace iocache_bench;

class openimageio_peer final : public peer {
public:
    openimageio_peer() = default;
    ~openimageio_peer() override
    {
        if (cache_ != nullptr) OIIO::ImageCache::destroy(cache_);
    }

    [[nodiscard]] std::string name() const override { return "openimageio"; }
    [[nodiscard]] std::string settings() const override
    {
        return "tiled TIFF 256 x 256, not compressed; ImageCache with max_memory_MB of the cache's size, forcefloat 0, "
               "unassociatedalpha 1, handles instead of names; W6 with ImageOutput::write_tiles";
    }
    [[nodiscard]] bool takes_part_in(const std::string& workload) const override
    {
        return workload != "W2" && workload != "W9";  // it does not write to what it caches
    }

    void start(int64_t cache_bytes) override
    {
        constexpr float mebibyte = 1'048'576;
        cache_ = OIIO::ImageCache::create(false);
        cache_->attribute("max_memory_MB", static_cast<float>(cache_bytes) / mebibyte);
        cache_->attribute("forcefloat", 0);
        cache_->attribute("unassociatedalpha", 1);
        thread_ = cache_->get_perthread_info();
    }
    void write(const std::filesystem::path& path, int32_t side, const peer_rows& rows) override
    {
        const auto file = OIIO::ImageOutput::create(path.string());
        OIIO::ImageSpec spec(side, side, bands, OIIO::TypeDesc::UINT8);
        spec.tile_width = tile_side;
        spec.tile_height = tile_side;
        spec.alpha_channel = pattern::colour_bytes;
        spec.attribute("compression", "none");
        spec.attribute("oiio:UnassociatedAlpha", 1);
        spec.attribute("planarconfig", "contig");
        if (!file || !file->open(path.string(), spec)) fail("cannot create " + path.string());
        std::vector<uint8_t> tiles(static_cast<size_t>(picture_pixel_bytes * side * tile_side));
        for (int32_t first = 0; first < side; first += tile_side) {
            const auto row_bytes = static_cast<size_t>(picture_pixel_bytes * side);
            for (int32_t y = 0; y < tile_side; ++y)
                std::memcpy(&tiles[row_bytes * static_cast<size_t>(y)], rows.row(first + y), row_bytes);
            if (!file->write_tiles(0, side, first, first + tile_side, 0, 1, OIIO::TypeDesc::UINT8, tiles.data()))
                fail("cannot write tiles");
        }
        file->close();
    }
    void open(const std::filesystem::path& path, bool /*for_writing*/) override
    {
        path_ = path.string();
        image_ = cache_->get_image_handle(OIIO::ustring(path_), thread_);
    }
    void close() override
    {
        cache_->invalidate(OIIO::ustring(path_), true);
        image_ = nullptr;
    }

    void get_row(int32_t x, int32_t y, int32_t count, uint8_t* target, int64_t /*plane_bytes*/) override
    {
        get({x, y, count, 1}, target);
    }
    void get_column(int32_t x, int32_t y, int32_t count, uint8_t* target, int64_t /*plane_bytes*/) override
    {
        get({x, y, 1, count}, target);
    }
    void get_pixel(int32_t x, int32_t y, uint8_t* five_bytes) override { get({x, y, 1, 1}, five_bytes); }

private:
    struct window {
        int32_t x, y, width, height;
    };
    OIIO::ImageCache* cache_ = nullptr;
    OIIO::ImageCache::Perthread* thread_ = nullptr;
    OIIO::ImageCache::ImageHandle* image_ = nullptr;
    std::string path_;

    void get(const window& at, uint8_t* target)
    {
        if (!cache_->get_pixels(image_, thread_, 0, 0, at.x, at.x + at.width, at.y, at.y + at.height, 0, 1, 0, bands,
                                OIIO::TypeDesc::UINT8, target))
            fail("cannot get pixels: " + cache_->geterror());
    }
};

}  // namespace

int main(int argument_count, char** arguments)
{
    openimageio_peer candidate;
    return measure_peer(candidate, argument_count, arguments);
}
