// Creating a canvas: a record in the lowest free slot and a complete, valid file before any tile exists.
// Client only. What a failing step reports is a row below; rows and steps keep the same order.

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <span>

#include "iocache/canvas/canvas.h"
#include "iocache/canvas/undo.h"
#include "iocache/platform/platform.h"
#include "iocache/setup/setup.h"

namespace {

using namespace iocache;
using namespace iocache::canvas;
using setup::fail;
using setup::failure;

// clang-format off
//                                result  error   message
constexpr failure no_free_slot       {-1, 999103, "Create canvas : No more canvasses available !"};
constexpr failure unknown_kind       {-2, 999104, "Create canvas : illegal parameters"};
constexpr failure bounds_reversed    {-3, 999105, "Create canvas : illegal parameters"};
constexpr failure too_many_pixels    {-4, 999106, "Create canvas : resolution to big for this configuration"};
constexpr failure no_record          {-5, 999107, "Create canvas : malloc problem"};
constexpr failure no_header          {-6, 999108, "Create canvas : malloc problem"};
constexpr failure header_not_made    {-7, 999109, "Create canvas : header creation problem"};
constexpr failure cannot_open        {-8, 999110, "Create canvas : cannot open the file"};
constexpr failure file_exists       {-20, 999111, "Create canvas : file already exists"};
constexpr failure header_not_written {-9, 999112, "Create canvas : cannot write header"};
constexpr failure no_icon           {-10, 999113, "Create canvas : malloc problem"};
constexpr failure icon_not_written  {-11, 999114, "Create canvas : cannot write icon"};
constexpr failure ink_not_written   {-11, 999114, "Create canvas : cannot write ink color def"};
constexpr failure tqcms_not_written {-11, 999114, "Create canvas : cannot write tqcms proc table"};
constexpr failure image_not_written {-13, 999115, "Create canvas : cannot write subsampled image"};
constexpr failure no_tile_cache     {-14, 999116, "Create canvas : malloc problem"};
constexpr failure no_tile_table     {-15, 999117, "Create canvas : malloc problem"};
constexpr failure table_not_written {-16, 999118, "Create canvas : cannot write tile table"};
constexpr failure no_tile_flags     {-17, 999119, "Create canvas : malloc problem"};
// clang-format on

constexpr int32_t open_failed = -255;
constexpr int32_t was_there = -30;

// A mask has no region for the opaque blocks: a set that is refused with a code below this wrote nothing, and that is
// success here.
constexpr int32_t first_transfer_code = 4;

bool wrote_or_had_no_region(int32_t result)
{
    return result == 0 || cv_errno < first_transfer_code;
}

template <class Item> bool allocate(Item*& target, int64_t bytes)
{
    target = static_cast<Item*>(platform_allocate(bytes));
    return target != nullptr;
}

// Writes a black reduced image from Rbuf; the whole region is cleared, so that no file carries what Rbuf held.
bool write_empty_reduced_image(const cv_canvas& record)
{
    std::memset(Rbuf, 0, static_cast<size_t>(record.header->subsampled_bytes));
    return cv_write_subsampled_Rbuf(record.index) == 0;
}

}  // namespace

int32_t canvas_new(const char* path, int32_t kind, int32_t x_min, int32_t y_min, int32_t x_max, int32_t y_max,
                   int32_t x_offset, int32_t y_offset)
{
    const int32_t open_already = canvas_if_already_open(path);
    if (open_already >= 0) return open_already;

    const int32_t slot = lowest_free_slot();
    if (slot < 0) return fail(no_free_slot);
    if (kind != mask_kind && kind != picture_kind) return fail(unknown_kind);
    if (x_max < x_min || y_max < y_min) return fail(bounds_reversed);
    const extent bounds{x_min, y_min, x_max, y_max, x_offset, y_offset};
    if (pixel_count(bounds) >= cv_max_resolution) return fail(too_many_pixels);

    bool kept = false;
    cv_canvas* const record = canvastable[slot] = allocate_record(slot, path);
    if (record == nullptr) return fail(no_record);
    const undo free_slot{kept, [&] { canvastable[slot] = nullptr, release_record(record); }};
    set_format(*record, kind, cv_tilesize_hor, cv_tilesize_vert);
    if (!set_geometry(*record, bounds)) return fail(bounds_reversed);  // offsets that leave no tile, or too many
    cv_set_dirtybits_mask(record, 0);

    if (!allocate(record->header, header_bytes)) return fail(no_header);
    if (cv_create_header(record) != 0) return fail(header_not_made);

    const int32_t opened = canvas_open_file(slot);
    const undo close_streams{kept, [&] { canvas_close_file(slot); }};  // closes what got open
    if (opened == open_failed) return fail(cannot_open);
    if (opened == was_there) return fail(file_exists);  // someone's file: leave it alone
    note_new_name(*record, true);
    const undo delete_file{kept, [&] { canvas_unlink_file(slot); }};

    const cv_header& header = *record->header;
    if (cv_write_header(slot) != 0) return fail(header_not_written);
    if (!allocate(record->icon, header.icon_bytes)) return fail(no_icon);
    if (cv_write_icon(slot) != 0) return fail(icon_not_written);
    std::ranges::fill(ink_color_def, uint8_t{0});
    if (!wrote_or_had_no_region(cv_ink_color_def_set(slot, ink_color_def))) return fail(ink_not_written);
    std::ranges::fill(tqcms_proc, uint8_t{0});
    if (!wrote_or_had_no_region(cv_tqcms_proc_set(slot, tqcms_proc))) return fail(tqcms_not_written);
    if (header.subsampled_bytes != 0 && !write_empty_reduced_image(*record)) return fail(image_not_written);

    const int64_t tiles = tile_count(*record);
    if (!allocate(record->tile_cache, tiles * int64_t{sizeof(cv_tile*)})) return fail(no_tile_cache);
    if (!allocate(record->tile_table, header.tile_table_bytes)) return fail(no_tile_table);
    std::fill_n(record->tile_table, tiles, never_written);  // the padding behind stays zero
    if (cv_write_tile_table(slot) != 0) return fail(table_not_written);
    if (!allocate(record->tile_flags, tiles)) return fail(no_tile_flags);

    kept = true;
    return slot;
}
