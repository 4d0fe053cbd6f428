// GDAL: a tiled GeoTIFF behind the block cache, with the samples of a pixel together or each band by itself.
//
// Settings: blocks of 256 x 256, no compression; the block cache has the cache's size (GDAL_CACHEMAX); only the GeoTIFF
// driver is registered and neighbouring files are not looked for, which is what start-up would otherwise spend its time
// on. All five bands move in one call, in the layout of the file.
#include <array>
#include <memory>

#include <cpl_conv.h>
#include <gdal.h>
#include <gdal_frmts.h>

#include "bench/peers/peer.h"
#include "bench/support/fail.h"

namespace {

using namespace iocache_bench;

class gdal_peer final : public peer {
public:
    explicit gdal_peer(row_layout layout) : layout_(layout) {}

    [[nodiscard]] std::string name() const override { return together() ? "gdal-pixel" : "gdal-band"; }
    [[nodiscard]] std::string settings() const override
    {
        return std::string("GeoTIFF, blocks of 256 x 256, INTERLEAVE=") + (together() ? "PIXEL" : "BAND") +
               ", not compressed, GDAL_CACHEMAX of the cache's size, five bands a call";
    }
    [[nodiscard]] row_layout layout() const override { return layout_; }
    [[nodiscard]] bool takes_part_in(const std::string& /*workload*/) const override { return true; }

    void start(int64_t cache_bytes) override
    {
        CPLSetConfigOption("GDAL_DISABLE_READDIR_ON_OPEN", "EMPTY_DIR");
        CPLSetConfigOption("GTIFF_REPORT_COMPD_CS", "NO");
        GDALRegister_GTiff();
        GDALSetCacheMax64(cache_bytes);
    }
    void write(const std::filesystem::path& path, int32_t side, const peer_rows& rows) override
    {
        std::array options = {const_cast<char*>("TILED=YES"),
                              const_cast<char*>("BLOCKXSIZE=256"),
                              const_cast<char*>("BLOCKYSIZE=256"),
                              const_cast<char*>("COMPRESS=NONE"),
                              const_cast<char*>(together() ? "INTERLEAVE=PIXEL" : "INTERLEAVE=BAND"),
                              static_cast<char*>(nullptr)};
        set_.reset(GDALCreate(GDALGetDriverByName("GTiff"), path.c_str(), side, side, bands, GDT_Byte, options.data()));
        if (!set_) fail("cannot create " + path.string());
        for (int32_t y = 0; y < side; ++y) put_row(0, y, side, rows.row(y), rows.plane_bytes());
        set_.reset();
    }
    void open(const std::filesystem::path& path, bool for_writing) override
    {
        set_.reset(GDALOpen(path.c_str(), for_writing ? GA_Update : GA_ReadOnly));
        if (!set_) fail("cannot open " + path.string());
        side_ = GDALGetRasterXSize(set_.get());
    }
    void close() override { set_.reset(); }

    void get_row(int32_t x, int32_t y, int32_t count, uint8_t* target, int64_t plane_bytes) override
    {
        move(GF_Read, {x, y, count, 1}, target, {count, 1}, plane_bytes);
    }
    void put_row(int32_t x, int32_t y, int32_t count, const uint8_t* source, int64_t plane_bytes) override
    {
        move(GF_Write, {x, y, count, 1}, const_cast<uint8_t*>(source), {count, 1}, plane_bytes);
    }
    void get_column(int32_t x, int32_t y, int32_t count, uint8_t* target, int64_t plane_bytes) override
    {
        move(GF_Read, {x, y, 1, count}, target, {1, count}, plane_bytes);
    }
    void get_pixel(int32_t x, int32_t y, uint8_t* five_bytes) override
    {
        move(GF_Read, {x, y, 1, 1}, five_bytes, {1, 1}, 1);
    }
    // A row of blocks at a time, so that no block is read twice; nearest neighbour is what RasterIO does by itself. The
    // image's pixels are always together.
    void get_reduced(int32_t reduced_side, uint8_t* image) override
    {
        constexpr GSpacing pixel = picture_pixel_bytes;
        const int32_t rows = tile_side / (side_ / reduced_side);
        for (int32_t y = 0; y < side_; y += tile_side, image += pixel * reduced_side * rows) {
            check(GDALDatasetRasterIOEx(set_.get(), GF_Read, 0, y, side_, tile_side, image, reduced_side, rows,
                                        GDT_Byte, bands, nullptr, pixel, pixel * reduced_side, 1, nullptr));
        }
    }

private:
    struct window {
        int32_t x, y, width, height;
    };
    struct extent {
        int32_t width, height;
    };
    struct closer {
        void operator()(void* set) const { GDALClose(set); }
    };
    row_layout layout_;
    std::unique_ptr<void, closer> set_;
    int32_t side_ = 0;

    [[nodiscard]] bool together() const { return layout_ == row_layout::interleaved; }
    static void check(CPLErr result)
    {
        if (result != CE_None) fail("GDAL cannot move pixels");
    }
    void move(GDALRWFlag direction, const window& at, uint8_t* bytes, const extent& size, int64_t plane_bytes)
    {
        const GSpacing pixel = together() ? picture_pixel_bytes : 1;
        check(GDALDatasetRasterIOEx(set_.get(), direction, at.x, at.y, at.width, at.height, bytes, size.width,
                                    size.height, GDT_Byte, bands, nullptr, pixel, pixel * size.width, plane_bytes,
                                    nullptr));
    }
};

}  // namespace

int main(int argument_count, char** arguments)
{
    gdal_peer candidate(IOCACHE_GDAL_LAYOUT);
    return measure_peer(candidate, argument_count, arguments);
}
