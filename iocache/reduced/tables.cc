// The coordinate tables of the reduced image.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>
#include <span>

#include "iocache/canvas/canvas.h"
#include "iocache/platform/platform.h"
#include "iocache/reduced/reduced.h"

int16_t cv_xvirttbl[1024] = {};
int16_t cv_yvirttbl[1024] = {};
int16_t* cv_xsubtbl = nullptr;
int16_t* cv_ysubtbl = nullptr;
int32_t cv_txsubtbl = 0;
int32_t cv_tysubtbl = 0;

namespace {

using namespace iocache;
using namespace iocache::reduced;

constexpr int16_t nothing_there = -1;
constexpr int32_t place_unit = 16;  // a frame coordinate's place in a table entry
constexpr int16_t sampled_bit = 1;

// One axis of the geometry.
struct axis {
    int32_t frame_length;  // configured
    int32_t margin;
    int32_t first;        // canvas coordinate
    int32_t length;       // of the current view
    int32_t orig_length;  // of the view at creation
    double scale;
    int32_t step;
};

// A subsampling table: owned memory, and the coordinates that may index the exported pointer.
struct owned_table {
    int16_t* memory = nullptr;
    table_range range;
};
owned_table column_table;
owned_table row_table;

int16_t low_bits(uint32_t coordinate)
{
    return static_cast<int16_t>(static_cast<uint16_t>(coordinate));
}

// Every frame place's canvas coordinate, -1 before the image. The sign counts before the fraction is cut off.
void fill_frame_table(const axis& a, std::span<int16_t> frame_table)
{
    const int32_t places = std::min(a.frame_length, static_cast<int32_t>(frame_table.size()));
    for (int32_t i = 0; i < places; ++i) {
        const double coordinate = (i - a.margin) * a.scale + a.first;
        frame_table[static_cast<size_t>(i)] =
            coordinate < 0 ? nothing_there : low_bits(static_cast<uint32_t>(coordinate));
    }
}

// Memory for every coordinate the bounds allow, negative ones too, and for 0 up to the image's length.
int16_t* allocate_table(const axis& a, owned_table& table)
{
    std::free(table.memory);
    table = {};
    const int64_t first = std::min(a.first, 0);
    const int64_t last = std::max<int64_t>(int64_t{a.first} + a.length, a.orig_length) - 1;
    table.memory = static_cast<int16_t*>(platform_allocate((last - first + 1) * int64_t{sizeof(int16_t)}));
    if (table.memory == nullptr) return nullptr;
    table.range = {first, last};
    return table.memory - first;
}

// A column is sampled when it is the first at or past a running sum. The sum is added up, not multiplied out: hosts
// compute the same tables.
void fill_subsampling_table(const axis& a, std::span<int16_t> frame_table, int16_t* subsampling_table)
{
    int32_t place = a.margin * place_unit;
    double threshold = 0.0;
    for (int32_t j = 0; j < a.length; ++j) {
        const int64_t coordinate = int64_t{a.first} + j;
        if (threshold > j) {
            subsampling_table[coordinate] = low_bits(static_cast<uint32_t>(place));
            continue;
        }
        for (int32_t k = 0; k < a.step; ++k) {
            const int64_t frame_place = place / place_unit + k;
            if (frame_place >= 0 && frame_place < static_cast<int64_t>(frame_table.size()))
                frame_table[static_cast<size_t>(frame_place)] = low_bits(static_cast<uint32_t>(coordinate));
        }
        subsampling_table[coordinate] = static_cast<int16_t>(low_bits(static_cast<uint32_t>(place)) + sampled_bit);
        place += a.step * place_unit;
        threshold += a.scale;
    }
}

void make_tables(const axis& a, std::span<int16_t> frame_table, owned_table& table, int16_t*& exported)
{
    fill_frame_table(a, frame_table);
    exported = allocate_table(a, table);
    if (exported != nullptr) fill_subsampling_table(a, frame_table, exported);
}

}  // namespace

void iocache::reduced::forget_tables()
{
    for (owned_table* const table : {&column_table, &row_table}) {
        std::free(table->memory);
        *table = {};
    }
    cv_xsubtbl = nullptr;
    cv_ysubtbl = nullptr;
}

std::span<const uint16_t> iocache::reduced::sampled_columns(const cv_tile_request& tile)
{
    constexpr size_t most_columns = size_t{std::numeric_limits<uint16_t>::max()} + 1;  // bounds have 16 bits
    static std::array<uint16_t, most_columns> columns;
    size_t found = 0;
    for (int32_t column = 0; column < tile.run_x; ++column) {
        if (column_entry(int64_t{tile.x} + column).is_sampled()) columns[found++] = static_cast<uint16_t>(column);
    }
    return std::span(columns).first(found);
}

table_range iocache::reduced::columns_covered()
{
    return column_table.range;
}

table_range iocache::reduced::rows_covered()
{
    return row_table.range;
}

int32_t canvas_make_tables(int32_t canvas)
{
    const cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return 0;
    const cv_geometry& view = record->geom;
    const axis columns{cv_max_lres_hor,         view.frame_x, view.x_min, view.width,
                       record->geom_orig.width, view.scale,   view.step};
    const axis rows{cv_max_lres_vert,         view.frame_y, view.y_min, view.height,
                    record->geom_orig.height, view.scale,   view.step};
    make_tables(columns, cv_xvirttbl, column_table, cv_xsubtbl);
    make_tables(rows, cv_yvirttbl, row_table, cv_ysubtbl);
    return 0;
}
