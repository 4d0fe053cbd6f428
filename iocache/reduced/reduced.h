// Reduced images: which pixels of a canvas stand for it on screen, where they go, and the icon made of them.
//
// A pixel of a reduced image is a copy of one canvas pixel, never an average. Which columns and rows are sampled is
// written in four tables, made for one canvas at a time; whoever works on another canvas makes them again and puts the
// earlier ones back. Workers read the tables during a run; nobody makes tables then.
#pragma once

#include <cstdint>
#include <span>

#include <iocache/iocache.h>

namespace iocache::reduced {

// Start of the library: no tables.
void forget_tables();

// One entry of a subsampling table.
class table_entry {
public:
    explicit table_entry(int16_t raw) : raw_(static_cast<uint16_t>(raw)) {}
    // This column (row) is copied into the reduced image.
    bool is_sampled() const { return (raw_ & sampled_bits) != 0; }
    // Frame column (row) that it, or the next sampled one, goes to; margins included.
    uint32_t frame_place() const { return static_cast<uint32_t>(raw_) >> place_shift; }

private:
    static constexpr uint16_t sampled_bits = 15;
    static constexpr uint16_t place_shift = 4;
    uint16_t raw_;
};

// The coordinates that a table covers; a table that does not exist covers none.
struct table_range {
    int64_t first = 0;
    int64_t last = -1;
    bool covers(int64_t from, int64_t to) const { return from >= first && to <= last && from <= to; }
};
table_range columns_covered();
table_range rows_covered();

// Entries of the tables; the coordinate must be covered.
inline table_entry column_entry(int64_t x)
{
    return table_entry(cv_xsubtbl[x]);
}
inline table_entry row_entry(int64_t y)
{
    return table_entry(cv_ysubtbl[y]);
}

// The columns of a tile's run that are sampled, counted from its first pixel: the same for all of its rows. All of them
// must be covered. Client only; valid until the next call.
std::span<const uint16_t> sampled_columns(const cv_tile_request& tile);

// Pixels of the reduced image that `view` describes.
inline int64_t reduced_pixels(const cv_geometry& view)
{
    return int64_t{view.lres_width} * view.lres_height;
}

// Where a reduced image is being built. The alpha plane is empty for a mask. Sizes are in bytes; nothing is written
// beyond them.
struct reduced_planes {
    uint8_t* colour = nullptr;
    uint8_t* alpha = nullptr;
};

// The library's own buffers, when the reduced image fits them; empty planes otherwise.
reduced_planes own_buffers(const cv_canvas& record);
// A buffer in the standard layout: the alpha plane right behind the colour plane.
reduced_planes planes_in(const cv_canvas& record, void* buffer);

// Rebuild the reduced image of the canvas in Rbuf and store it.
void remake_picture_in_rbuf(cv_canvas& record);
void remake_mask_in_rbuf(cv_canvas& record);

}  // namespace iocache::reduced
