// libvips: a tiled TIFF behind vips_tilecache, read through a region. It makes new images instead of changing old ones,
// so nothing is stored into what is open.
//
// Settings: the tile cache holds as many tiles of 256 x 256 as fit the cache's size, access is random, the cache of
// operations is off (nothing is asked for twice). Every row and every column of the cached part is a call, as it is for
// the others: a program that had a whole strip of tiles prepared and took 256 rows from it would measure its own copies.
// Where the whole image is read in order, and for the reduced image, such strips are what serves best. W6 saves an image
// whose pixels are generated as they are asked for.
#include <cstring>

#include <vips/vips.h>

#include "bench/peers/peer.h"
#include "bench/support/fail.h"

namespace {

using namespace iocache_bench;

class libvips_peer final : public peer {
public:
    [[nodiscard]] std::string name() const override { return "libvips"; }
    [[nodiscard]] std::string settings() const override
    {
        return "tiled TIFF 256 x 256, not compressed; vips_tilecache of the cache's size, random access; "
               "vips_region_prepare for each row, column and pixel; the reduced image from strips of tiles in a "
               "region; "
               "W6 saves a generated image as such a TIFF";
    }
    [[nodiscard]] bool takes_part_in(const std::string& workload) const override { return workload != "W2"; }

    void start(int64_t cache_bytes) override
    {
        if (VIPS_INIT("bench") != 0) fail("libvips does not start");
        vips_cache_set_max(0);
        tiles_ = static_cast<int>(cache_bytes / tile_bytes);
    }
    void write(const std::filesystem::path& path, int32_t side, const peer_rows& rows) override;
    void open(const std::filesystem::path& path, bool /*for_writing*/) override
    {
        VipsImage* const file = vips_image_new_from_file(path.c_str(), "access", VIPS_ACCESS_RANDOM, nullptr);
        if (file == nullptr) fail("cannot open " + path.string());
        if (vips_tilecache(file, &image_, "tile_width", tile_side, "tile_height", tile_side, "max_tiles", tiles_,
                           "access", VIPS_ACCESS_RANDOM, nullptr) != 0)
            fail("no tile cache");
        g_object_unref(file);
        region_ = vips_region_new(image_);
    }
    void close() override
    {
        g_object_unref(region_);
        g_object_unref(image_);
        region_ = nullptr;
        image_ = nullptr;
    }

    void get_row(int32_t x, int32_t y, int32_t count, uint8_t* target, int64_t /*plane_bytes*/) override
    {
        if (count == vips_image_get_width(image_)) {
            need({x, y, count, 1}, {x, y / tile_side * tile_side, count, tile_side});
        } else {
            prepare({x, y, count, 1});
        }
        std::memcpy(target, VIPS_REGION_ADDR(region_, x, y), static_cast<size_t>(picture_pixel_bytes * count));
    }
    void get_column(int32_t x, int32_t y, int32_t count, uint8_t* target, int64_t /*plane_bytes*/) override
    {
        prepare({x, y, 1, count});
        const uint8_t* pixel = VIPS_REGION_ADDR(region_, x, y);
        for (int32_t i = 0; i < count; ++i, pixel += VIPS_REGION_LSKIP(region_))
            std::memcpy(target + picture_pixel_bytes * i, pixel, picture_pixel_bytes);
    }
    void get_pixel(int32_t x, int32_t y, uint8_t* five_bytes) override
    {
        prepare({x, y, 1, 1});
        std::memcpy(five_bytes, VIPS_REGION_ADDR(region_, x, y), picture_pixel_bytes);
    }
    void get_reduced(int32_t reduced_side, uint8_t* image) override;

private:
    int tiles_ = 0;
    VipsImage* image_ = nullptr;
    VipsRegion* region_ = nullptr;

    // The wanted pixels are in the region; when they are not, a whole strip of tiles is brought into it.
    void need(const VipsRect& at, const VipsRect& strip)
    {
        if (vips_rect_includesrect(&region_->valid, &at) == 0) prepare(strip);
    }
    void prepare(const VipsRect& at)
    {
        if (vips_region_prepare(region_, &at) != 0) fail("cannot read a region");
    }
};

// Rows are generated when the writer asks for them.
int generate(VipsRegion* region, void* /*sequence*/, void* rows, void* /*unused*/, gboolean* /*stop*/)
{
    const VipsRect& at = region->valid;
    for (int y = at.top; y < at.top + at.height; ++y) {
        std::memcpy(VIPS_REGION_ADDR(region, at.left, y),
                    static_cast<const peer_rows*>(rows)->row(y) + picture_pixel_bytes * at.left,
                    static_cast<size_t>(picture_pixel_bytes * at.width));
    }
    return 0;
}

void libvips_peer::write(const std::filesystem::path& path, int32_t side, const peer_rows& rows)
{
    VipsImage* const made = vips_image_new();
    vips_image_init_fields(made, side, side, bands, VIPS_FORMAT_UCHAR, VIPS_CODING_NONE, VIPS_INTERPRETATION_CMYK, 1,
                           1);
    vips_image_pipelinev(made, VIPS_DEMAND_STYLE_ANY, nullptr);
    if (vips_image_generate(made, nullptr, generate, nullptr, const_cast<peer_rows*>(&rows), nullptr) != 0 ||
        vips_tiffsave(made, path.c_str(), "tile", TRUE, "tile_width", tile_side, "tile_height", tile_side, nullptr) !=
            0)
        fail(std::string("cannot write the image: ") + vips_error_buffer());
    g_object_unref(made);
}

// Out of strips of tiles: vips_subsample would ask the tile cache for every pixel by itself.
void libvips_peer::get_reduced(int32_t reduced_side, uint8_t* image)
{
    const int32_t side = vips_image_get_width(image_);
    const int32_t factor = side / reduced_side;
    for (int32_t y = 0; y < side; y += factor) {
        need({0, y, side, 1}, {0, y / tile_side * tile_side, side, tile_side});
        for (int32_t x = 0; x < side; x += factor, image += picture_pixel_bytes)
            std::memcpy(image, VIPS_REGION_ADDR(region_, x, y), picture_pixel_bytes);
    }
}

}  // namespace

int main(int argument_count, char** arguments)
{
    libvips_peer candidate;
    return measure_peer(candidate, argument_count, arguments);
}
