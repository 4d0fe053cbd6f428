// libtiff: a tiled TIFF and no cache.
//
// Settings: tiles of 256 x 256 with the five samples of a pixel together, no compression, memory mapping off (with it
// the page cache would be the memory, without a bound); tiles are read raw, since nothing has to be decoded. Whoever
// reads rows keeps one row of tiles.
#include <algorithm>
#include <cstring>
#include <memory>

#include <tiffio.h>

#include "bench/peers/peer.h"
#include "bench/peers/tiled_tiff.h"
#include "bench/support/fail.h"

namespace {

using namespace iocache_bench;

class libtiff_peer final : public peer {
public:
    [[nodiscard]] std::string name() const override { return "libtiff"; }
    [[nodiscard]] std::string settings() const override
    {
        return "tiles of 256 x 256, samples together, not compressed, not mapped; no cache but one row of tiles";
    }
    [[nodiscard]] bool takes_part_in(const std::string& workload) const override
    {
        return workload == "W5" || workload == "W6" || workload == "W7" || workload == "W8" || workload == "W9" ||
               workload == "W10";
    }

    void start(int64_t /*cache_bytes*/) override {}
    void write(const std::filesystem::path& path, int32_t side, const peer_rows& rows) override
    {
        write_tiled_tiff(path, side, rows);
    }
    void open(const std::filesystem::path& path, bool /*for_writing*/) override
    {
        file_.reset(TIFFOpen(path.c_str(), "rm"));
        if (!file_) fail("cannot open " + path.string());
        uint32_t width = 0;
        TIFFGetField(file_.get(), TIFFTAG_IMAGEWIDTH, &width);
        across_ = static_cast<int32_t>(width) / tile_side;
        tiles_.resize(static_cast<size_t>(across_ * tile_bytes));
        row_in_memory_ = -1;
    }
    void close() override { file_.reset(); }

    void get_row(int32_t x, int32_t y, int32_t count, uint8_t* target, int64_t /*plane_bytes*/) override
    {
        need_row(y / tile_side);
        for (int32_t done = 0; done < count;) {
            const int32_t column = (x + done) / tile_side;
            const int32_t inside = (x + done) % tile_side;
            const int32_t run = std::min(tile_side - inside, count - done);
            const int64_t pixel = int64_t{y % tile_side} * tile_side + inside;
            std::memcpy(target + picture_pixel_bytes * done,
                        &tiles_[static_cast<size_t>(column * tile_bytes + picture_pixel_bytes * pixel)],
                        static_cast<size_t>(picture_pixel_bytes * run));
            done += run;
        }
    }
    void get_column(int32_t /*x*/, int32_t /*y*/, int32_t /*count*/, uint8_t* /*target*/,
                    int64_t /*plane_bytes*/) override
    {}
    void get_pixel(int32_t x, int32_t y, uint8_t* five_bytes) override
    {
        row_in_memory_ = -1;
        read_tile(x / tile_side, y / tile_side, tiles_.data());
        const int64_t pixel = int64_t{y % tile_side} * tile_side + x % tile_side;
        std::memcpy(five_bytes, &tiles_[static_cast<size_t>(picture_pixel_bytes * pixel)], picture_pixel_bytes);
    }
    void get_reduced(int32_t reduced_side, uint8_t* image) override
    {
        const int32_t factor = across_ * tile_side / reduced_side;
        const int32_t samples = tile_side / factor;  // of a tile, in each direction
        row_in_memory_ = -1;
        for (int32_t tile = 0; tile < across_ * across_; ++tile) {
            read_tile(tile % across_, tile / across_, tiles_.data());
            for (int32_t i = 0; i < samples * samples; ++i) {
                const int64_t from = int64_t{i / samples} * factor * tile_side + int64_t{i % samples} * factor;
                const int64_t to = (int64_t{tile / across_} * samples + i / samples) * reduced_side +
                                   int64_t{tile % across_} * samples + i % samples;
                std::memcpy(image + picture_pixel_bytes * to, &tiles_[static_cast<size_t>(picture_pixel_bytes * from)],
                            picture_pixel_bytes);
            }
        }
    }

private:
    struct closer {
        void operator()(TIFF* file) const { TIFFClose(file); }
    };
    std::unique_ptr<TIFF, closer> file_;
    int32_t across_ = 0;
    int32_t row_in_memory_ = -1;
    std::vector<uint8_t> tiles_;  // one row of tiles

    void read_tile(int32_t column, int32_t row, uint8_t* target)
    {
        const auto tile = static_cast<uint32_t>(row * across_ + column);
        if (TIFFReadRawTile(file_.get(), tile, target, tile_bytes) != tile_bytes) fail("cannot read a tile");
    }
    void need_row(int32_t row)
    {
        if (row == row_in_memory_) return;
        for (int32_t column = 0; column < across_; ++column)
            read_tile(column, row, &tiles_[static_cast<size_t>(column * tile_bytes)]);
        row_in_memory_ = row;
    }
};

}  // namespace

int main(int argument_count, char** arguments)
{
    libtiff_peer candidate;
    return measure_peer(candidate, argument_count, arguments);
}
